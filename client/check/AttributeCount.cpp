#include "check/AttributeCount.h"

namespace zef {

namespace {

bool StandsAt(const std::string &text, size_t position, const char *mark)
{
    return text.compare(position, std::char_traits<char>::length(mark), mark) == 0;
}

// Just behind the next such mark, or the end of the text.
size_t Behind(const std::string &text, size_t position, const char *mark)
{
    const size_t found = text.find(mark, position);
    return found == std::string::npos ? text.size() : found + std::char_traits<char>::length(mark);
}

struct Tag {
    size_t end;
    size_t attributes;
};

// The tag that begins here, by its "=" outside of quotes.
Tag Measure(const std::string &text, size_t begin)
{
    Tag tag = {begin + 1, 0};
    char quote = '\0';
    for (; tag.end < text.size() && (quote != '\0' || text[tag.end] != '>'); ++tag.end) {
        const char character = text[tag.end];
        if (quote != '\0') {
            quote = character == quote ? '\0' : quote;
        } else if (character == '"' || character == '\'') {
            quote = character;
        } else if (character == '=') {
            ++tag.attributes;
        }
    }
    return tag;
}

}  // namespace

std::optional<size_t> FindCrowdedTag(const std::string &text)
{
    size_t position = text.find('<');
    while (position < text.size()) {
        size_t end = position;
        if (StandsAt(text, position, "<!--")) {
            end = Behind(text, position, "-->");
        } else if (StandsAt(text, position, "<![CDATA[")) {
            end = Behind(text, position, "]]>");
        } else {
            const Tag tag = Measure(text, position);
            if (tag.attributes > kMaxAttributes) {
                return position;
            }
            end = tag.end;
        }
        position = text.find('<', end);
    }
    return std::nullopt;
}

}  // namespace zef
