#include "check/ElementNames.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <utility>

#include <cctype>

namespace zef {

namespace {

constexpr size_t kMaxDistance = 2;
constexpr size_t kLongestKnownName = 32;

const std::map<std::string, std::vector<std::string>> &Tree()
{
    static const std::map<std::string, std::vector<std::string>> tree = {
        {"", {"Config"}},
        {"Config", {"Uuid", "SystemUuid", "Deduplication", "Compression", "StorageObject"}},
        {"StorageObject", {"Name", "User", "LinkType", "Password", "Ips"}},
    };
    return tree;
}

bool Contains(const std::vector<std::string> &names, const std::string &name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string LowerCase(std::string text)
{
    for (char &character : text) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
    return text;
}

// How many characters have to be added, dropped or replaced to make one text of the other (Levenshtein).
size_t EditDistance(const std::string &one, const std::string &other)
{
    std::vector<size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= one.size(); ++i) {
        size_t diagonal = std::exchange(row[0], i);
        for (size_t j = 1; j <= other.size(); ++j) {
            const size_t replaced = diagonal + (one[i - 1] == other[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row.back();
}

// The nearest of the names, or "" when none is near.
std::string Nearest(const std::string &name, const std::vector<std::string> &names)
{
    std::string nearest;
    size_t least = kMaxDistance + 1;
    for (const std::string &candidate : names) {
        const size_t distance = EditDistance(LowerCase(name), LowerCase(candidate));
        if (distance < least && distance < candidate.size() - 1) {
            nearest = candidate;
            least = distance;
        }
    }
    return nearest;
}

}  // namespace

const std::vector<std::string> &KnownChildren(const std::string &parent)
{
    static const std::vector<std::string> none;
    const auto entry = Tree().find(parent);
    return entry == Tree().end() ? none : entry->second;
}

bool IsRepeated(const std::string &name)
{
    return name == "Ips";
}

std::string HintFor(const std::string &name, const std::string &parent)
{
    if (name.size() > kLongestKnownName) {
        return "";
    }
    for (const auto &[itsParent, children] : Tree()) {
        if (itsParent != parent && Contains(children, name)) {
            return itsParent.empty() ? "; it belongs at the top" : "; it belongs under " + itsParent;
        }
    }
    const std::string nearest = Nearest(name, KnownChildren(parent));
    return nearest.empty() ? "" : "; is " + nearest + " meant?";
}

}  // namespace zef
