#include "StrictReading.h"

#include <zef_config/UuidConfig.h>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <memory>
#include <sstream>

namespace {

struct DocumentFreer {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};

bool IsElement(const xmlNode *node, const std::string &name)
{
    return node->type == XML_ELEMENT_NODE && name == reinterpret_cast<const char *>(node->name);
}

std::vector<const xmlNode *> Children(const xmlNode *parent, const std::string &name)
{
    std::vector<const xmlNode *> children;
    for (const xmlNode *child = parent == nullptr ? nullptr : parent->children; child != nullptr;
         child = child->next) {
        if (IsElement(child, name)) {
            children.push_back(child);
        }
    }
    return children;
}

const xmlNode *Child(const xmlNode *parent, const std::string &name)
{
    const std::vector<const xmlNode *> children = Children(parent, name);
    return children.empty() ? nullptr : children.front();
}

// What stands in front of any markup within the element.
std::string Text(const xmlNode *element)
{
    const xmlNode *const first = element == nullptr ? nullptr : element->children;
    return first != nullptr && first->type == XML_TEXT_NODE ? reinterpret_cast<const char *>(first->content) : "";
}

std::string ChildText(const xmlNode *parent, const std::string &name)
{
    return Text(Child(parent, name));
}

// The top element; under a file without an XML declaration, the one within it.
const xmlNode *FindConfig(xmlDoc *document, bool hasDeclaration)
{
    const xmlNode *const top = xmlDocGetRootElement(document);
    if (hasDeclaration) {
        return IsElement(top, "Config") ? top : nullptr;
    }
    return Child(top, "Config");
}

// All of them make one list with ";" between, in which addresses may stand likewise; nothing follows the last ";".
std::set<std::string> Addresses(const xmlNode *storage)
{
    std::string list;
    for (const xmlNode *element : Children(storage, "Ips")) {
        list += (list.empty() ? "" : ";") + Text(element);
    }
    std::istringstream pieces(list);
    std::set<std::string> addresses;
    for (std::string address; std::getline(pieces, address, ';');) {
        addresses.insert(address);
    }
    return addresses;
}

}  // namespace

std::optional<Registry> ReadStrictly(const std::string &text)
{
    const std::unique_ptr<xmlDoc, DocumentFreer> document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_IGNORE_ENC));
    const xmlNode *const config =
        document == nullptr ? nullptr : FindConfig(document.get(), text.compare(0, 5, "<?xml") == 0);
    if (config == nullptr) {
        return std::nullopt;
    }
    Registry registry;
    const std::string uuid = ChildText(config, "Uuid");
    registry.uuid = UuidConfig::GetInstance().IsValidUuid(uuid) ? uuid : ChildText(config, "SystemUuid");
    registry.deduplication = ChildText(config, "Deduplication");
    registry.compression = ChildText(config, "Compression");
    for (const xmlNode *storage : Children(config, "StorageObject")) {
        ++registry.storageObjects;
        registry.name = ChildText(storage, "Name");
        registry.user = ChildText(storage, "User");
        registry.password = ChildText(storage, "Password");
        registry.isFibreChannel = ChildText(storage, "LinkType") == "1";
        if (!registry.isFibreChannel) {
            registry.addresses = Addresses(storage);
        }
    }
    return registry;
}
