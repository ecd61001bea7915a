// Changes a file by whole elements and values most of the time: byte by byte alone, few files would be XML any more.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <cstddef>
#include <cstdint>

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t maxSize);

namespace {

const std::vector<std::string> kElements = {
    "<Uuid>0123abcd-ABCD-0a1B-9f9F-00112233aabb</Uuid>",
    "<SystemUuid>FFFFFFFF-eeee-dddd-cccc-bbbbbbbbbbbb</SystemUuid>",
    "<Deduplication type=\"string\">ON</Deduplication>",
    "<Compression>ON</Compression>",
    "<StorageObject></StorageObject>",
    "<Name>array</Name>",
    "<User>storage_user</User>",
    "<LinkType type=\"int\">1</LinkType>",
    "<Password>sealed:x</Password>",
    "<Ips>10.0.0.1</Ips>",
    "<Ips>10.0.0.2</Ips>",
    "<Ips/>",
    "<A type=\"bool\">TRUE</A>",
    "<A b=\"&lt;&#65;'\">&amp;</A>",
    "<!-- > -->",
    "<![CDATA[ > ]]>",
    "<?pi?>",
    " ",
    "\n",
};

const std::vector<std::string> kValues = {
    "", "0", "1", "ON", "OFF", "true", "False", "10.0.0.1;10.0.0.2", "10.0.0.1;", "-2147483649", "99999999999999999999",
    "12x", "&#1;", "&gt;", "a b", "\xc3\xa4", "sealed:y", "sealed:", "name/of.an-array_1", "two_words",
};

// A file in pieces that each begin with a tag; the text behind the tag belongs to it.
class Pieces {
public:
    Pieces(const std::string &text, unsigned int seed) : random(seed)
    {
        size_t begin = 0;
        while (begin < text.size()) {
            const size_t end = std::min(text.find('<', begin + 1), text.size());
            pieces.push_back(text.substr(begin, end - begin));
            begin = end;
        }
    }

    void Change()
    {
        switch (Any(5)) {
            case 0:
                Insert(kElements[Any(kElements.size())]);
                break;
            case 1:
                Insert(Some());
                break;
            case 2:
                Remove();
                break;
            case 3:
                std::swap(pieces[Any(pieces.size())], pieces[Any(pieces.size())]);
                break;
            default:
                SetValue(pieces[Any(pieces.size())]);
        }
    }

    bool IsEmpty() const { return pieces.empty(); }

    std::string Text() const
    {
        std::string text;
        for (const std::string &piece : pieces) {
            text += piece;
        }
        return text;
    }

private:
    size_t Any(size_t count) { return count == 0 ? 0 : random() % count; }

    static std::ptrdiff_t Place(size_t index) { return static_cast<std::ptrdiff_t>(index); }

    void Insert(const std::string &text) { pieces.insert(pieces.begin() + Place(Any(pieces.size() + 1)), text); }

    // A few pieces in a row, such as an element with what is in it.
    std::string Some()
    {
        const size_t begin = Any(pieces.size());
        const size_t end = std::min(pieces.size(), begin + 2 * (1 + Any(4)));
        std::string text;
        for (size_t i = begin; i < end; ++i) {
            text += pieces[i];
        }
        return text;
    }

    void Remove()
    {
        const size_t begin = Any(pieces.size());
        const size_t end = std::min(pieces.size(), begin + 1 + Any(3));
        pieces.erase(pieces.begin() + Place(begin), pieces.begin() + Place(end));
    }

    void SetValue(std::string &piece)
    {
        const size_t tag = std::min(piece.find('>'), piece.size() - 1) + 1;
        piece = piece.substr(0, tag) + kValues[Any(kValues.size())];
    }

    std::mt19937 random;
    std::vector<std::string> pieces;
};

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t maxSize, unsigned int seed)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    Pieces pieces(text, seed);
    if ((seed >> 16) % 4 == 0 || pieces.IsEmpty()) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    pieces.Change();
    const std::string changed = pieces.Text();
    const size_t changedSize = std::min(changed.size(), maxSize);
    std::copy_n(changed.begin(), changedSize, data);
    return changedSize;
}
