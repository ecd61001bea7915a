#include "TextList.h"

#include <algorithm>

namespace zef_config {

std::vector<std::string> SplitList(const std::string &text, char separator)
{
    std::vector<std::string> pieces;
    size_t begin = 0;
    while (begin < text.size()) {
        const size_t end = std::min(text.find(separator, begin), text.size());
        pieces.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return pieces;
}

}  // namespace zef_config
