#include "check/Encoding.h"

#include <strings.h>

namespace zef {

namespace {

constexpr const char *kLabel = "encoding";

bool IsUtf16(const std::string &bytes)
{
    return bytes.compare(0, 2, "\xfe\xff") == 0 || bytes.compare(0, 2, "\xff\xfe") == 0;
}

// The encoding that the XML declaration names, or "".
std::string DeclaredEncoding(const std::string &text)
{
    if (text.compare(0, 5, "<?xml") != 0) {
        return "";
    }
    const std::string declaration = text.substr(0, text.find("?>"));
    const size_t label = declaration.find(kLabel);
    const size_t begin = label == std::string::npos ? label : declaration.find_first_of("\"'", label);
    const size_t end = begin == std::string::npos ? begin : declaration.find(declaration[begin], begin + 1);
    return end == std::string::npos ? "" : declaration.substr(begin + 1, end - begin - 1);
}

bool IsOneOf(const std::string &encoding, std::initializer_list<const char *> names)
{
    for (const char *name : names) {
        if (strcasecmp(encoding.c_str(), name) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

void AddEncodingFindings(const std::string &bytes, const SourceText &source, FindingList &findings)
{
    const std::string declared = DeclaredEncoding(source.Text());
    if (IsUtf16(bytes)) {
        findings.Warn({1, 1}, "save-changes-encoding", "the file is UTF-16; a save would write it as UTF-8");
    } else if (!declared.empty() && !IsOneOf(declared, {"UTF-8", "UTF8", "US-ASCII", "ASCII"})) {
        findings.Warn({1, 1}, "encoding-declaration",
                      "the declared encoding " + Quoted(declared) + " is not looked at; the file is read as UTF-8");
    }
}

}  // namespace zef
