#include "check/AddressRules.h"

#include "check/ConfigLimits.h"

#include <zef_config/platform/IpUtil.h>

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace zef {

namespace {

constexpr char kSeparator = ';';

// As the library splits: a separator at the very end of the whole list yields no empty piece behind it.
std::vector<std::string> Split(const std::string &text)
{
    std::vector<std::string> pieces;
    size_t begin = 0;
    while (begin < text.size()) {
        const size_t end = std::min(text.find(kSeparator, begin), text.size());
        pieces.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return pieces;
}

// What one element adds to the list, which start-up joins with ";" and splits again. An element that is not the last
// ends with a separator, so an empty one adds an empty address there, and nothing at the end. In which order start-up
// takes several elements is not defined: each may come before another.
std::vector<std::string> PiecesOf(mxml_node_t *element, bool isAlone)
{
    return Split(TextOf(element) + (isAlone ? "" : std::string(1, kSeparator)));
}

bool EndsEmpty(const std::string &text)
{
    return text.empty() || text.back() == kSeparator;
}

void CheckPiece(mxml_node_t *element, const std::string &address, std::set<std::string> &seen, DocumentReport &report)
{
    if (!IpUtil::IsIpV4Valid(address)) {
        report.Refuse(element, "address-invalid", "Ips " + Quoted(address) + " is not an IPv4 address");
    } else if (!seen.insert(address).second) {
        report.Warn(element, "address-repeated", "Ips " + Quoted(address) + " is there twice; it counts once");
    }
}

void CheckElement(mxml_node_t *element, bool isAlone, std::set<std::string> &seen, DocumentReport &report)
{
    const std::string text = TextOf(element);
    if (text.empty() && isAlone) {
        report.Warn(element, "address-empty", "Ips is empty and adds no address");
    }
    if (text.find(kSeparator) != std::string::npos) {
        report.Warn(element, "address-list", "Ips holds several addresses; write each into an element Ips of its own");
    }
    std::vector<std::string> pieces = PiecesOf(element, isAlone);
    if (EndsEmpty(text) && !isAlone) {
        pieces.pop_back();
        report.Refuse(element, "address-order",
                      "Ips ends with an empty address; start-up refuses that unless it takes this element last, and "
                      "the order is not defined");
    }
    for (const std::string &address : pieces) {
        CheckPiece(element, address, seen, report);
    }
}

}  // namespace

void CheckAddresses(mxml_node_t *storage, DocumentReport &report)
{
    const std::vector<mxml_node_t *> elements = ChildElements(storage, "Ips");
    if (elements.empty()) {
        report.Warn(storage, "no-addresses", "StorageObject has no Ips; start-up accepts it, but makes no link");
    }
    if (elements.size() > kMaxAddresses) {
        report.Refuse(elements[kMaxAddresses], "too-many-addresses",
                      fmt::format("StorageObject has {} elements Ips; at most {} are allowed", elements.size(),
                                  kMaxAddresses));
    }
    std::set<std::string> seen;
    for (mxml_node_t *element : elements) {
        CheckElement(element, elements.size() == 1, seen, report);
    }
}

std::vector<std::string> EffectiveAddresses(mxml_node_t *storage)
{
    const std::vector<mxml_node_t *> elements = ChildElements(storage, "Ips");
    std::set<std::string> addresses;
    for (mxml_node_t *element : elements) {
        for (const std::string &address : PiecesOf(element, elements.size() == 1)) {
            addresses.insert(address);
        }
    }
    return {addresses.begin(), addresses.end()};
}

}  // namespace zef
