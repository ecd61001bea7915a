// The XML Schema that editors use says of each file of the corpus what the check says of its structure.
#include "CheckTest.h"

#include <libxml/parser.h>
#include <libxml/xmlschemas.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>

namespace zef {
namespace {

struct Freer {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
    void operator()(xmlSchema *schema) const { xmlSchemaFree(schema); }
    void operator()(xmlSchemaParserCtxt *context) const { xmlSchemaFreeParserCtxt(context); }
    void operator()(xmlSchemaValidCtxt *context) const { xmlSchemaFreeValidCtxt(context); }
};

template <class T>
using Held = std::unique_ptr<T, Freer>;

void Ignore(void *, xmlErrorPtr) {}

// What a schema is able to say. It does not see the XML declaration and its encoding ("declaration-missing",
// "encoding-declaration"), keys and passwords ("keys-...", "password-undecryptable"), what a save does ("save-..."),
// what one value means for another ("switch-rule", "addresses-unused") and what is merely left out or ignored
// ("no-storage", "no-addresses", "link-type-missing", "document-type").
const std::set<std::string> &StructuralIds()
{
    static const std::set<std::string> ids = {
        "config-missing",   "config-nested",   "uuid-missing",      "uuid-malformed",           "uuid-fallback",
        "wrong-type",       "empty-value",     "switch-missing",    "system-uuid-malformed",    "switch-invalid",
        "name-missing",     "name-invalid",    "user-missing",      "user-invalid",             "password-missing",
        "address-invalid",  "address-empty",   "address-order",
           "address-list",      "address-repeated",         "link-type-unknown",
        "unknown-element",  "stray-text",      "duplicate-element", "too-many-storage-objects", "nested-element",
        "unknown-attribute", "too-many-addresses"};
    return ids;
}

bool HasStructuralFinding(const CheckResult &result)
{
    for (const Finding &finding : result.findings) {
        if (StructuralIds().count(finding.id) != 0) {
            return true;
        }
    }
    return false;
}

// Values that the library does not see, because a comment or a CDATA section stands before them, are there for a
// schema; and addresses of Fibre Channel, which are never read, are judged by it.
bool IsBeyondTheSchema(const std::string &name)
{
    static const std::set<std::string> names = {"cdata-value", "cdata-name", "comment-before-text",
                                                "fibre-channel-with-ips"};
    return names.count(name) != 0;
}

class SchemaTest : public CheckTest {
protected:
    SchemaTest()
    {
        const Held<xmlSchemaParserCtxt> parser(xmlSchemaNewParserCtxt(ZEF_CHECK_SCHEMA));
        schema.reset(xmlSchemaParse(parser.get()));
    }

    bool IsValid(xmlDoc *document) const
    {
        const Held<xmlSchemaValidCtxt> context(xmlSchemaNewValidCtxt(schema.get()));
        xmlSchemaSetValidStructuredErrors(context.get(), Ignore, nullptr);
        return xmlSchemaValidateDoc(context.get(), document) == 0;
    }

    static Held<xmlDoc> Parse(const std::string &text)
    {
        return Held<xmlDoc>(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                          XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    }

    Held<xmlSchema> schema;
};

TEST_F(SchemaTest, AgreesWithTheCheckOnEveryFileOfTheCorpus)
{
    ASSERT_NE(schema, nullptr);
    size_t compared = 0;
    for (const auto &entry : std::filesystem::directory_iterator(ZEF_CHECK_CORPUS)) {
        const std::string name = entry.path().stem().string();
        if (entry.path().extension() != ".xml") {
            continue;
        }
        const std::string content = WithPassword(ReadFile(entry.path().string()), sealed);
        const CheckResult result = Check(content);
        const Held<xmlDoc> document = Parse(content);
        if (document == nullptr || result.Has("no-document")) {
            EXPECT_TRUE(result.HasErrors()) << name;
            continue;
        }
        EXPECT_EQ(IsValid(document.get()) != HasStructuralFinding(result), !IsBeyondTheSchema(name)) << name;
        ++compared;
    }
    EXPECT_GT(compared, 90u);
}

TEST_F(SchemaTest, TakesTheElementsOfAStorageObjectInAnyOrder)
{
    std::vector<std::string> elements = {"<Ips>127.0.0.1</Ips>", "<LinkType>0</LinkType>", "<Name>array-1</Name>",
                                         "<Password>x</Password>", "<User>zefuser</User>"};
    const std::string top = std::string("<Uuid>") + kUuid +
                            "</Uuid><Deduplication>ON</Deduplication><Compression>ON</Compression>";
    int orders = 0;
    do {
        std::string storage;
        for (const std::string &element : elements) {
            storage += element;
        }
        EXPECT_TRUE(IsValid(Parse(ConfigWith(top, storage + "<Ips>127.0.0.2</Ips>")).get())) << storage;
        EXPECT_FALSE(IsValid(Parse(ConfigWith(top, storage + "<Name>b</Name>")).get()));
        ++orders;
    } while (std::next_permutation(elements.begin(), elements.end()));
    EXPECT_EQ(orders, 120);
}

}  // namespace
}  // namespace zef
