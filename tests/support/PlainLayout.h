// The layout of saved documents in the words of its rules, character by character: what is compared with the library's.
#ifndef ZEF_TESTS_SUPPORT_PLAIN_LAYOUT_H
#define ZEF_TESTS_SUPPORT_PLAIN_LAYOUT_H

#include <string>

// Without spaces, tabs and line feeds outside of markup, up to the first zero byte.
inline std::string StripPlainly(const std::string &text)
{
    std::string output;
    output.reserve(text.size());
    bool insideMarkup = false;
    for (const char *character = text.c_str(); *character != '\0'; ++character) {
        if (*character == '<') {
            insideMarkup = true;
        } else if (*character == '>') {
            insideMarkup = false;
        }
        const bool isSpace = *character == ' ' || *character == '\t' || *character == '\n';
        if (insideMarkup || !isSpace) {
            output += *character;
        }
    }
    return output;
}

inline void IndentPlainly(std::string &output, int level)
{
    for (int i = 0; i < level; ++i) {
        output += "    ";
    }
}

// A stripped text with a line for each element.
inline std::string BreakLinesPlainly(const std::string &text)
{
    std::string output;
    output.reserve(text.size() * 2);
    int depth = -1;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool hasNext = i + 1 < text.size();
        if (text[i] == '<' && hasNext && text[i + 1] == '/') {
            --depth;
            const bool followsText = i > 0 && text[i - 1] != '>';
            IndentPlainly(output, followsText ? 0 : depth);
        } else if (text[i] == '<') {
            IndentPlainly(output, depth);
            ++depth;
        }
        output += text[i];
        if (text[i] == '>' && !(hasNext && text[i + 1] != '<')) {
            output += '\n';
        }
    }
    return output;
}

inline std::string LayOutPlainly(const std::string &text)
{
    return BreakLinesPlainly(StripPlainly(text));
}

#endif
