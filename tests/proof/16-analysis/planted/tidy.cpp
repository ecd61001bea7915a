#include <string>
#include <utility>

// clang-tidy: used after it was moved away.
std::string Twice(std::string text)
{
    std::string first = std::move(text);
    return first + text;
}
