// An XML document for tests, made without the library under test.
#ifndef ZEF_TESTS_SUPPORT_XML_DOCUMENT_H
#define ZEF_TESTS_SUPPORT_XML_DOCUMENT_H

#include <mxml.h>

#include <stdexcept>
#include <string>

// Owner of a tree that is loaded the way configuration documents are: each text one opaque child. Throws when the text
// is no XML.
class XmlDocument {
public:
    explicit XmlDocument(const std::string &text) : root(mxmlLoadString(MXML_NO_PARENT, text.c_str(), mxml_opaque_cb))
    {
        if (root == nullptr) {
            throw std::invalid_argument("no XML: " + text);
        }
    }

    ~XmlDocument() { mxmlDelete(root); }

    XmlDocument(const XmlDocument &) = delete;
    XmlDocument &operator=(const XmlDocument &) = delete;

    mxml_node_t *Root() const { return root; }

    // The first element with this name, wherever it stands; null when there is none.
    mxml_node_t *Find(const char *name) const
    {
        mxml_node_t *node = root;
        while (node != nullptr && (mxmlGetElement(node) == nullptr || std::string(mxmlGetElement(node)) != name)) {
            node = mxmlWalkNext(node, root, MXML_DESCEND);
        }
        return node;
    }

    // The tree as text, on one line where the document had no line feeds of its own.
    std::string Text() const
    {
        mxmlSetWrapMargin(0);
        const int length = mxmlSaveString(root, nullptr, 0, MXML_NO_CALLBACK);
        std::string text(static_cast<size_t>(length) + 1, '\0');
        mxmlSaveString(root, &text[0], length + 1, MXML_NO_CALLBACK);
        text.resize(static_cast<size_t>(length));
        while (!text.empty() && text.back() == '\n') {
            text.pop_back();
        }
        return text;
    }

private:
    mxml_node_t *root;
};

#endif
