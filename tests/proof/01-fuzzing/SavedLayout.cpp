#include "SavedLayout.h"

#include <algorithm>
#include <vector>

namespace {

bool IsWhiteSpace(char character)
{
    return character == ' ' || character == '\t' || character == '\n';
}

// Piece by piece: what stands between "<" and the next ">" is kept as it is.
std::string Stripped(const std::string &rendered)
{
    std::string stripped;
    size_t position = 0;
    while (position < rendered.size()) {
        const size_t markup = std::min(rendered.find('<', position), rendered.size());
        stripped += WithoutWhiteSpace(rendered.substr(position, markup - position));
        const size_t end = std::min(rendered.find('>', markup), rendered.size());
        stripped.append(rendered, markup, end - markup);
        position = end;
        if (position < rendered.size()) {
            stripped += '>';
            ++position;
        }
    }
    return stripped;
}

bool Closes(const std::string &text, size_t position)
{
    return position + 1 < text.size() && text[position + 1] == '/';
}

}  // namespace

std::string WithoutWhiteSpace(const std::string &text)
{
    std::string kept = text;
    kept.erase(std::remove_if(kept.begin(), kept.end(), IsWhiteSpace), kept.end());
    return kept;
}

// The depth of a "<" is the number of those before it that open, less those that close, counted from -1.
std::string SavedLayout(const std::string &rendered)
{
    const std::string text = Stripped(rendered);
    std::string saved;
    saved.reserve(text.size() * 2);
    long opened = 0;
    long closed = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '<') {
            const bool closes = Closes(text, i);
            closed += closes ? 1 : 0;
            const bool isIndented = !closes || i == 0 || text[i - 1] == '>';
            const long depth = opened - closed - 1;
            saved.append(isIndented && depth > 0 ? static_cast<size_t>(depth) * 4 : 0, ' ');
            opened += closes ? 0 : 1;
        }
        saved += text[i];
        if (text[i] == '>' && (i + 1 == text.size() || text[i + 1] == '<')) {
            saved += '\n';
        }
    }
    return saved;
}
