#include "check/WellFormedness.h"

#include <fmt/format.h>

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>

#include <memory>
#include <mutex>

namespace zef {

namespace {

// The first tells what is wrong; what follows is mostly its consequence.
constexpr size_t kMaxXmlFindings = 5;
constexpr const char *kId = "not-well-formed";

struct ContextFreer {
    void operator()(xmlParserCtxt *context) const { xmlFreeParserCtxt(context); }
};

struct DocumentFreer {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};

struct Parse {
    const SourceText &source;
    xmlParserCtxt *context;
    XmlReport report;
};

// In words of our own: libxml2's would quote the text.
std::string Describe(int code)
{
    switch (code) {
        case XML_ERR_DOCUMENT_EMPTY:
        case XML_ERR_DOCUMENT_START:
            return "there is no XML here";
        case XML_ERR_DOCUMENT_END:
            return "something follows the end of the top element";
        case XML_ERR_TAG_NAME_MISMATCH:
            return "a closing tag does not match its opening tag";
        case XML_ERR_TAG_NOT_FINISHED:
            return "an element is not closed";
        case XML_ERR_GT_REQUIRED:
        case XML_ERR_LTSLASH_REQUIRED:
            return "a tag is not complete";
        case XML_ERR_LT_REQUIRED:
        case XML_ERR_NAME_REQUIRED:
            return "a name is missing; a \"<\" or \"&\" in a value is written &lt; or &amp;";
        case XML_ERR_INVALID_CHAR:
        case XML_ERR_INVALID_ENCODING:
            return "a character that XML does not allow, or bytes that are not UTF-8";
        case XML_ERR_UNDECLARED_ENTITY:
        case XML_WAR_UNDECLARED_ENTITY:
            return "an entity that is not known; there are &amp; &lt; &gt; &quot; and &apos;";
        case XML_ERR_ENTITYREF_SEMICOL_MISSING:
        case XML_ERR_ENTITYREF_NO_NAME:
            return "a \"&\" that begins no entity; it is written &amp;";
        case XML_ERR_INVALID_CHARREF:
        case XML_ERR_INVALID_HEX_CHARREF:
        case XML_ERR_INVALID_DEC_CHARREF:
            return "a character reference that stands for no character";
        case XML_ERR_LT_IN_ATTRIBUTE:
            return "a \"<\" in the value of an attribute; it is written &lt;";
        case XML_ERR_ATTRIBUTE_REDEFINED:
            return "an attribute stands twice in one element";
        case XML_ERR_ATTRIBUTE_WITHOUT_VALUE:
        case XML_ERR_ATTRIBUTE_NOT_STARTED:
        case XML_ERR_ATTRIBUTE_NOT_FINISHED:
            return "an attribute without a value in quotes";
        case XML_ERR_SPACE_REQUIRED:
            return "white space is missing";
        case XML_ERR_COMMENT_NOT_FINISHED:
            return "a comment is not closed";
        case XML_ERR_HYPHEN_IN_COMMENT:
            return "\"--\" within a comment";
        case XML_ERR_CDATA_NOT_FINISHED:
            return "a CDATA section is not closed";
        case XML_ERR_MISPLACED_CDATA_END:
            return "\"]]>\" outside of a CDATA section";
        case XML_ERR_PI_NOT_STARTED:
        case XML_ERR_PI_NOT_FINISHED:
            return "a processing instruction is not complete";
        case XML_ERR_RESERVED_XML_NAME:
            return "an XML declaration that does not stand at the very beginning of the file";
        case XML_ERR_XMLDECL_NOT_STARTED:
        case XML_ERR_XMLDECL_NOT_FINISHED:
        case XML_ERR_VERSION_MISSING:
        case XML_ERR_STANDALONE_VALUE:
        case XML_ERR_ENCODING_NAME:
        case XML_ERR_STRING_NOT_STARTED:
        case XML_ERR_STRING_NOT_CLOSED:
            return "a malformed XML declaration or quoted text";
        case XML_ERR_DOCTYPE_NOT_FINISHED:
            return "a document type declaration is not complete";
        case XML_WAR_UNKNOWN_VERSION:
        case XML_ERR_UNKNOWN_VERSION:
            return "a version of XML that is not 1.0";
        case XML_NS_ERR_UNDEFINED_NAMESPACE:
            return "a name with a prefix that no attribute xmlns declares";
        case XML_ERR_INTERNAL_ERROR:
            return "elements nested more than 256 deep, or another limit of XML parsers";
        default:
            return fmt::format("not well-formed XML (code {} of libxml2)", code);
    }
}

void AddError(void *data, xmlErrorPtr error)
{
    XmlReport &report = static_cast<Parse *>(data)->report;
    if (report.findings.size() >= kMaxXmlFindings) {
        return;
    }
    const Severity severity = error->level == XML_ERR_WARNING ? Severity::Warning : Severity::Error;
    report.findings.push_back({{error->line, error->int2}, severity, kId, Describe(error->code), false, ""});
}

// At this moment the parser has read the whole tag but for its end, and a tag holds no second "<". Without its own
// copy in another encoding, so the position in its input is that in the text.
void AddElement(void *data, const xmlChar *name, const xmlChar *prefix, const xmlChar *, int, const xmlChar **, int,
                int, const xmlChar **)
{
    Parse &parse = *static_cast<Parse *>(data);
    const xmlParserInput &input = *parse.context->input;
    if (input.buf == nullptr || input.buf->encoder != nullptr) {
        return;
    }
    const size_t end = input.consumed + static_cast<size_t>(input.cur - input.base);
    const size_t start = parse.source.Text().rfind('<', end);
    std::string fullName = prefix == nullptr ? "" : reinterpret_cast<const char *>(prefix) + std::string(":");
    fullName += reinterpret_cast<const char *>(name);
    parse.report.offsets[fullName].push_back(start == std::string::npos ? 0 : static_cast<uint32_t>(start));
}

void AddDocumentType(void *data, const xmlChar *, const xmlChar *, const xmlChar *)
{
    Parse &parse = *static_cast<Parse *>(data);
    const Position position = parse.source.At(parse.source.Text().find("<!DOCTYPE"));
    parse.report.findings.push_back({position, Severity::Warning, "document-type",
                                     "a document type declaration; nothing looks at it, and entities are not expanded",
                                     false, ""});
}

xmlSAXHandler Handler()
{
    xmlSAXHandler handler = {};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = AddElement;
    handler.internalSubset = AddDocumentType;
    handler.serror = AddError;
    return handler;
}

void InitialiseOnce()
{
    static std::once_flag done;
    std::call_once(done, xmlInitParser);
}

}  // namespace

XmlReport ParseStrictly(const SourceText &source)
{
    InitialiseOnce();
    const std::unique_ptr<xmlParserCtxt, ContextFreer> context(xmlNewParserCtxt());
    if (context == nullptr) {
        throw std::bad_alloc();
    }
    Parse parse = {source, context.get(), {}};
    *context->sax = Handler();
    context->userData = &parse;
    // A zero byte ends the text: what follows is not XML in any encoding that is read here.
    const size_t end = std::min(source.Text().find('\0'), source.Text().size());
    const std::unique_ptr<xmlDoc, DocumentFreer> document(
        xmlCtxtReadMemory(context.get(), source.Text().data(), static_cast<int>(end), nullptr, nullptr,
                          XML_PARSE_NONET | XML_PARSE_RECOVER | XML_PARSE_IGNORE_ENC));
    if (end < source.Text().size()) {
        parse.report.findings.insert(parse.report.findings.begin(), {source.At(end), Severity::Error, kId,
                                                                     "a zero byte", false, ""});
    }
    return std::move(parse.report);
}

}  // namespace zef
