// ConfigNode::Get beside the plain way to the same list, a std::set of elements, and beside other readers' lookups.
#include <zef_config/ConfigNode.h>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <mxml.h>
#include <pugixml.hpp>
#include <tinyxml2.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <cstring>

namespace {

const std::string wanted = "Ips";

struct TreeDeleter {
    void operator()(mxml_node_t *tree) const { mxmlDelete(tree); }
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};

// The same children in the documents of everybody.
struct Sample {
    explicit Sample(const std::string &text)
        : tree(mxmlLoadString(MXML_NO_PARENT, text.c_str(), MXML_OPAQUE_CALLBACK)),
          libxml2(xmlReadMemory(text.data(), static_cast<int>(text.size()), "", nullptr, 0))
    {
        if (tree == nullptr || libxml2 == nullptr || !pugixml.load_string(text.c_str()) ||
            tinyxml2.Parse(text.c_str()) != tinyxml2::XML_SUCCESS) {
            throw std::runtime_error("no document");
        }
    }

    std::unique_ptr<mxml_node_t, TreeDeleter> tree;
    std::unique_ptr<xmlDoc, TreeDeleter> libxml2;
    pugi::xml_document pugixml;
    tinyxml2::XMLDocument tinyxml2;
};

std::vector<mxml_node_t *> ListBySet(mxml_node_t *element)
{
    std::set<mxml_node_t *> found;
    for (mxml_node_t *child = mxmlGetFirstChild(element); child != nullptr;
         child = mxmlWalkNext(child, element, MXML_NO_DESCEND)) {
        const char *const name = mxmlGetElement(child);
        if (name != nullptr && std::string(name) == wanted) {
            found.insert(child);
        }
    }
    std::vector<mxml_node_t *> list;
    for (mxml_node_t *child : found) {
        list.push_back(child);
    }
    return list;
}

std::vector<const tinyxml2::XMLElement *> ListOfTinyxml2(const Sample &sample)
{
    std::vector<const tinyxml2::XMLElement *> list;
    for (const tinyxml2::XMLElement *child = sample.tinyxml2.RootElement()->FirstChildElement(wanted.c_str());
         child != nullptr; child = child->NextSiblingElement(wanted.c_str())) {
        list.push_back(child);
    }
    return list;
}

std::vector<pugi::xml_node> ListOfPugixml(const Sample &sample)
{
    std::vector<pugi::xml_node> list;
    for (const pugi::xml_node child : sample.pugixml.document_element().children(wanted.c_str())) {
        list.push_back(child);
    }
    return list;
}

std::vector<xmlNodePtr> ListOfLibxml2(const Sample &sample)
{
    std::vector<xmlNodePtr> list;
    for (xmlNodePtr child = xmlFirstElementChild(xmlDocGetRootElement(sample.libxml2.get())); child != nullptr;
         child = xmlNextElementSibling(child)) {
        if (xmlStrcmp(child->name, reinterpret_cast<const xmlChar *>(wanted.c_str())) == 0) {
            list.push_back(child);
        }
    }
    return list;
}

// What no lookup can do without: each child, and the first character of its name.
size_t Walk(mxml_node_t *element)
{
    size_t named = 0;
    for (mxml_node_t *child = mxmlGetFirstChild(element); child != nullptr;
         child = mxmlWalkNext(child, element, MXML_NO_DESCEND)) {
        const char *const name = mxmlGetElement(child);
        named += name != nullptr && *name != '\0' ? 1 : 0;
    }
    return named;
}

// Everybody finds as many, and the library finds the same ones in the same order as the set has them.
void RequireSame(const Sample &sample)
{
    const std::vector<mxml_node_t *> expected = ListBySet(sample.tree.get());
    const ConfigNode found = ConfigNode(sample.tree.get()).Get(wanted);
    bool isSame = found.Size() == static_cast<int>(expected.size()) &&
                  ListOfTinyxml2(sample).size() == expected.size() && ListOfPugixml(sample).size() == expected.size() &&
                  ListOfLibxml2(sample).size() == expected.size();
    for (int i = 0; isSame && i < found.Size(); ++i) {
        isSame = found[i].GetAttr("id") == mxmlElementGetAttr(expected[static_cast<size_t>(i)], "id");
    }
    if (!isSame) {
        throw std::runtime_error("not everybody finds the same");
    }
}

std::shared_ptr<Sample> SampleOf(int children, bool areAllWanted, const std::string &other = {})
{
    std::string text = "<Config>";
    for (int i = 0; i < children; ++i) {
        const std::string name = areAllWanted || i == children / 2 ? wanted : other;
        text += "<" + name + " id=\"" + std::to_string(i) + "\">10.0.0.1</" + name + ">";
    }
    auto sample = std::make_shared<Sample>(text + "</Config>");
    RequireSame(*sample);
    return sample;
}

// Its children hang in another order than that of their addresses, as after many edits.
std::shared_ptr<Sample> Shuffled(int children)
{
    auto sample = SampleOf(children, true);
    mxml_node_t *const element = sample->tree.get();
    std::vector<mxml_node_t *> list = ListBySet(element);
    std::shuffle(list.begin(), list.end(), std::mt19937(1));
    for (mxml_node_t *child : list) {
        mxmlAdd(element, MXML_ADD_AFTER, MXML_ADD_TO_PARENT, child);
    }
    RequireSame(*sample);
    return sample;
}

void Register(const std::string &name, const std::shared_ptr<Sample> &sample)
{
    const auto add = [&](const char *who, auto list) {
        benchmark::RegisterBenchmark((name + "/" + who).c_str(), [sample, list](benchmark::State &state) {
            for (auto _ : state) {
                benchmark::DoNotOptimize(list());
            }
        });
    };
    const Sample *const raw = sample.get();
    mxml_node_t *const element = raw->tree.get();
    const ConfigNode node(element);
    add("ours", [node] { return node.Get(wanted); });
    add("std::set", [element] { return ListBySet(element); });
    add("tinyxml2", [raw] { return ListOfTinyxml2(*raw); });
    add("pugixml", [raw] { return ListOfPugixml(*raw); });
    add("libxml2", [raw] { return ListOfLibxml2(*raw); });
    add("bare walk", [element] { return Walk(element); });
}

[[maybe_unused]] const bool isRegistered = [] {
    for (const int children : {10, 1000, 100000}) {
        Register(std::to_string(children) + " all", SampleOf(children, true));
        Register(std::to_string(children) + " one", SampleOf(children, false, "Name"));
    }
    // The name of a child has to be read to its end to know that it is another one.
    Register("1000 alike", SampleOf(1000, false, "Ip6"));
    Register("1000 shuffled", Shuffled(1000));
    Register("100000 shuffled", Shuffled(100000));
    return true;
}();

}  // namespace
