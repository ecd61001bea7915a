// A configuration document as the library loads it.
#ifndef ZEF_CLIENT_CHECK_CONFIG_DOCUMENT_H
#define ZEF_CLIENT_CHECK_CONFIG_DOCUMENT_H

#include "check/SourceText.h"
#include "check/WellFormedness.h"

#include <mxml.h>

#include <string>
#include <vector>

namespace zef {

// ConfigMgr's loading, of bytes that were read already and with access to the tree: what is judged is what was read
// once, and elements can be walked in the order of the document. Takes Mini-XML's error callback of the calling thread
// for itself while it loads and leaves none set. One thread at a time.
class ConfigDocument {
public:
    explicit ConfigDocument(const std::string &bytes);
    ~ConfigDocument();

    ConfigDocument(const ConfigDocument &) = delete;
    ConfigDocument &operator=(const ConfigDocument &) = delete;

    // The document's first node; null when the library finds no document in these bytes.
    mxml_node_t *Root() const { return root; }

    // Tells the elements where they stand. The source and the offsets are those of the same bytes; the source stays
    // the caller's and outlives the document.
    void Locate(const SourceText &source, const ElementOffsets &offsets);

    // Where the element, or else the nearest one above it, begins; the first character when that is not known.
    Position At(mxml_node_t *element) const;

private:
    mxml_node_t *root;
    const SourceText *source = nullptr;
};

// Comments, CDATA sections, processing instructions and declarations are elements to Mini-XML.
bool IsMarkup(mxml_node_t *node);

// The children that are elements, in the order of the document. Those named alone, when a name is given.
std::vector<mxml_node_t *> ChildElements(mxml_node_t *parent, const std::string &name = "");

// The element's name; "" for a text.
std::string NameOf(mxml_node_t *node);

// The text as the library's untyped reader sees it: "" also for a text that a comment or another element precedes.
std::string TextOf(mxml_node_t *element);

}  // namespace zef

#endif
