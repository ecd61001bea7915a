#include "check/SavedText.h"

#include "check/ConfigLimits.h"

#include <zef_config/ConfigMgr.h>

#include <algorithm>
#include <vector>

namespace zef {

namespace {

constexpr int kDeepestIndentation = 64;

// The library's layout, which it does not offer without a file to save to. A test holds the two together.
std::string Indent(const std::string &text)
{
    std::string output;
    int depth = -1;
    for (size_t i = 0; i < text.size(); ++i) {
        const char next = i + 1 < text.size() ? text[i + 1] : '<';
        const bool closes = text[i] == '<' && next == '/';
        depth -= closes ? 1 : 0;
        const bool followsText = closes && i > 0 && text[i - 1] != '>';
        if (text[i] == '<' && !followsText) {
            XmlAddSpace(output, std::min(depth, kDeepestIndentation));
        }
        depth += text[i] == '<' && !closes ? 1 : 0;
        output += text[i];
        if (text[i] == '>' && next == '<') {
            output += '\n';
        }
    }
    return output;
}

}  // namespace

std::optional<std::string> SavedText(mxml_node_t *document)
{
    std::vector<char> buffer(kMaxRenderedBytes + 2);
    mxmlSetWrapMargin(0);
    const int length =
        mxmlSaveString(document, buffer.data(), static_cast<int>(buffer.size()), MXML_NO_CALLBACK);
    if (length < 0 || static_cast<size_t>(length) > kMaxRenderedBytes + 1) {
        return std::nullopt;
    }
    // The line feed that ends a rendering is layout: cut off, it is not missed.
    if (static_cast<size_t>(length) == kMaxRenderedBytes + 1 && buffer[kMaxRenderedBytes] != '\n') {
        return std::nullopt;
    }
    return Indent(XmlRmSpace(buffer.data()));
}

}  // namespace zef
