#include "SaveLayout.h"

#include "ConfigMgr.h"

#include <algorithm>

#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

constexpr size_t kSpacesALevel = 4;

bool IsBracket(char character)
{
    return character == '<' || character == '>';
}

bool IsSpace(char character)
{
    return character == ' ' || character == '\t' || character == '\n';
}

#ifdef __SSE2__

// Sixteen characters, looked at all at once. Some of them are a number with a bit for each, the lowest for the first.
class Characters {
public:
    static constexpr size_t kCount = 16;

    // How many come before the first of them.
    static size_t CountBefore(unsigned some) { return some == 0 ? kCount : static_cast<size_t>(__builtin_ctz(some)); }

    explicit Characters(const char *from) : characters(_mm_loadu_si128(reinterpret_cast<const __m128i *>(from))) {}

    void CopyTo(char *to) const { _mm_storeu_si128(reinterpret_cast<__m128i *>(to), characters); }

    // The two brackets differ in one bit.
    unsigned Brackets() const { return Where(_mm_cmpeq_epi8(_mm_or_si128(characters, All('<' ^ '>')), All('>'))); }

    unsigned Spaces() const { return Where(_mm_or_si128(_mm_or_si128(Are(' '), Are('\t')), Are('\n'))); }

private:
    static __m128i All(char character) { return _mm_set1_epi8(character); }
    static unsigned Where(__m128i bytes) { return static_cast<unsigned>(_mm_movemask_epi8(bytes)); }
    __m128i Are(char character) const { return _mm_cmpeq_epi8(characters, All(character)); }

    __m128i characters;
};

#endif

// Copies a text piece by piece to where there is room for it. Sixteen characters at a time; those that are left at the
// end, or all of them on a processor without such instructions, one by one.
class Copier {
public:
    Copier(const char *text, size_t length, char *output) : from(text), end(text + length), to(output) {}

    bool IsAtEnd() const { return from == end; }
    size_t Rest() const { return static_cast<size_t>(end - from); }
    // What comes next, and what behind it; a zero byte behind the end.
    char Next() const { return from[0]; }
    char Second() const { return from[1]; }

    char *Output() const { return to; }
    void SetOutput(char *output) { to = output; }
    void Put(char character, size_t count)
    {
        std::memset(to, character, count);
        to += count;
    }

    void CopyOne() { *to++ = *from++; }

    // Up to the next bracket.
    void CopyMarkup()
    {
#ifdef __SSE2__
        while (Rest() >= Characters::kCount) {
            const Characters next(from);
            next.CopyTo(to);
            const size_t count = Characters::CountBefore(next.Brackets());
            Advance(count);
            if (count < Characters::kCount) {
                return;
            }
        }
#endif
        while (!IsAtEnd() && !IsBracket(Next())) {
            CopyOne();
        }
    }

    // Up to the next bracket, without white space.
    void CopyText()
    {
#ifdef __SSE2__
        while (Rest() >= Characters::kCount) {
            const Characters next(from);
            const size_t count = Characters::CountBefore(next.Brackets());
            const unsigned piece = (1U << count) - 1;
            const unsigned spaces = next.Spaces() & piece;
            if (spaces == piece) {
                from += count;
            } else if (spaces == 0) {
                next.CopyTo(to);
                Advance(count);
            } else {
                CopyWithoutSpaces(from + count);
            }
            if (count < Characters::kCount) {
                return;
            }
        }
#endif
        CopyWithoutSpaces(std::find_if(from, end, IsBracket));
    }

private:
    void Advance(size_t count)
    {
        from += count;
        to += count;
    }

    void CopyWithoutSpaces(const char *pieceEnd)
    {
        for (; from != pieceEnd; ++from) {
            *to = *from;
            to += IsSpace(*from) ? 0 : 1;  // no branch: which ones are white space cannot be foreseen
        }
    }

    const char *from;
    const char *end;
    char *to;
};

// The output always has room for twice what is left: for each character, and a line feed behind it. Indentation comes
// on top.
void Indent(std::string &output, Copier &copier, int level)
{
    if (level <= 0) {
        return;
    }
    const auto size = static_cast<size_t>(copier.Output() - output.data());
    const size_t spaces = kSpacesALevel * static_cast<size_t>(level);
    const size_t needed = size + spaces + 2 * copier.Rest();
    if (needed > output.size()) {
        output.resize(std::max(needed, 2 * output.size()));
        copier.SetOutput(&output[size]);
    }
    copier.Put(' ', spaces);
}

}  // namespace

std::string zef_config::LayOut(const char *rendering)
{
    const size_t length = std::strlen(rendering);
    std::string output(2 * length, '\0');
    Copier copier(rendering, length, output.data());
    int depth = -1;
    bool followsText = false;  // of no matter in front of the first tag, which is never indented
    copier.CopyText();
    while (!copier.IsAtEnd()) {
        if (copier.Next() == '<') {
            const bool isClosing = copier.Second() == '/';
            depth -= isClosing ? 1 : 0;
            if (!isClosing || !followsText) {
                Indent(output, copier, depth);
            }
            depth += isClosing ? 0 : 1;
            copier.CopyOne();
            copier.CopyMarkup();
            followsText = true;
        } else {
            copier.CopyOne();
            const char *const text = copier.Output();
            copier.CopyText();
            followsText = copier.Output() != text;
            if (!followsText && (copier.IsAtEnd() || copier.Next() == '<')) {
                copier.Put('\n', 1);
            }
        }
    }
    output.resize(static_cast<size_t>(copier.Output() - output.data()));
    return output;
}

std::string XmlRmSpace(const std::string &text)
{
    std::string output(std::strlen(text.c_str()), '\0');
    Copier copier(text.c_str(), output.size(), output.data());
    copier.CopyText();
    while (!copier.IsAtEnd()) {
        const bool isOpening = copier.Next() == '<';
        copier.CopyOne();
        isOpening ? copier.CopyMarkup() : copier.CopyText();
    }
    output.resize(static_cast<size_t>(copier.Output() - output.data()));
    return output;
}

void XmlAddSpace(std::string &output, int level)
{
    if (level > 0) {
        output.append(kSpacesALevel * static_cast<size_t>(level), ' ');
    }
}
