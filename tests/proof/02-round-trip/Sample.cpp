#include "Sample.h"

#include <set>

#include <climits>

namespace {

constexpr int kMaxDepth = 4;
constexpr size_t kMaxRenderedBytes = 32767;
constexpr size_t kDeclarationBytes = 64;
constexpr size_t kLongestEntity = 6;

// Everything that means something to somebody on the way.
const std::vector<std::string> kPieces = {
    "<", ">", "&", "\"", "'", "/", "=", ";", "&amp;", "&lt;", "&#65;", "&#x0;", "&nbsp;", "&", "]]>", "<![CDATA[",
    "<!--", "-->", "--", "<?", "?>", "</", "/>", "<A>", "</Config>", "type=\"int\"", "%s", "%n", "\\", "\\n", "{", "}",
    " ", "  ", "\t", "\n", "\r", "\r\n", "\x7f", "\xc2\x80", "\xc2\x85", "\xc2\xa0", "\xc3\xa4", "\xe2\x82\xac",
    "\xe2\x80\xa8", "\xef\xbf\xbd", "\xee\x80\x80", "\xf0\x90\x8d\x88", "\xf4\x8f\xbf\xbd", "a", "Z", "0", "9", "-",
    "+",
    "true", "FALSE", "ON", "OFF", "10.0.0.1", "0123abcd-ABCD-0a1B-9f9F-00112233aabb", "9223372036854775807",
    "9223372036854775808", "-9223372036854775808", "-9223372036854775809", "18446744073709551615", "2147483648",
    "-2147483649", "1e9", "0x10",
};

const std::vector<std::string> kNameStarts = {"A", "Config", "Uuid", "Ips", "x", "_", "\xc3\xa4", "\xe5\xa4\xa7"};
const std::vector<std::string> kNameParts = {"", "a", "B", "0", "-", ".", "_", ":c", "\xc3\x9f", "StorageObject"};

const std::vector<int> kIntegers = {0, 1, -1, INT_MAX, INT_MIN, INT_MAX - 1, INT_MIN + 1, 10, -10, 65536, 1000000000};

}  // namespace

size_t Sample::RenderedBytes() const
{
    size_t bytes = 2 * name.size() + text.size() * kLongestEntity + 64;
    for (const auto &[attribute, value] : attributes) {
        bytes += attribute.size() + value.size() * kLongestEntity + 4;
    }
    for (const Sample &child : children) {
        bytes += child.RenderedBytes();
    }
    return bytes;
}

Sample SampleMaker::Make()
{
    Sample sample;
    do {
        sample = Sample();
        sample.name = "Config";
        AddChildren(sample, 1);
        if (Any(100) == 0) {
            Sample last;
            last.name = "Last";  // no name of the others
            last.kind = Sample::Kind::String;
            last.text = LongText();
            sample.children.push_back(last);
        }
    } while (sample.RenderedBytes() > kMaxRenderedBytes - kDeclarationBytes);
    return sample;
}

Sample SampleMaker::Element(int depth)
{
    Sample sample;
    sample.name = Name();
    for (size_t count = Any(3); count > 0; --count) {
        sample.attributes[Name()] = Text();
    }
    // These have a meaning of their own here.
    sample.attributes.erase("type");
    sample.attributes.erase("id");
    if (depth < kMaxDepth && Any(4) == 0) {
        AddChildren(sample, depth + 1);
    } else {
        SetValue(sample);
    }
    return sample;
}

// Where a name stands more than once, the elements are told apart by an attribute.
void SampleMaker::AddChildren(Sample &parent, int depth)
{
    std::map<std::string, int> names;
    for (size_t count = Any(5); count > 0; --count) {
        parent.children.push_back(Element(depth));
        ++names[parent.children.back().name];
    }
    for (Sample &child : parent.children) {
        if (names[child.name] > 1) {
            child.attributes["id"] = std::to_string(&child - parent.children.data());
        }
    }
}

void SampleMaker::SetValue(Sample &sample)
{
    switch (Any(6)) {
        case 0:
            sample.kind = Sample::Kind::Bool;
            sample.boolean = Any(2) == 0;
            break;
        case 1:
            sample.kind = Sample::Kind::Integer;
            sample.integer = Integer();
            break;
        case 2:
            break;
        default:
            sample.kind = Sample::Kind::String;
            sample.text = Text();
    }
}

std::string SampleMaker::Name()
{
    std::string name = kNameStarts[Any(kNameStarts.size())];
    for (size_t count = Any(3); count > 0; --count) {
        name += kNameParts[Any(kNameParts.size())];
    }
    return name;
}

std::string SampleMaker::Text()
{
    std::string text;
    for (size_t count = Any(8); count > 0; --count) {
        text += kPieces[Any(kPieces.size())];
    }
    return text;
}

// One piece again and again; now and then as much as a document holds.
std::string SampleMaker::LongText()
{
    const std::string piece = kPieces[Any(kPieces.size())];
    const size_t most = (kMaxRenderedBytes - 2 * kDeclarationBytes) / (piece.size() * kLongestEntity);
    std::string text;
    for (size_t count = most - Any(most / 4); count > 0; --count) {
        text += piece;
    }
    return text;
}

int SampleMaker::Integer()
{
    return Any(2) == 0 ? kIntegers[Any(kIntegers.size())] : static_cast<int>(static_cast<unsigned int>(random()));
}
