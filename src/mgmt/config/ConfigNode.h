/// \file
/// The handle through which everything reads and writes the configuration document.
#ifndef ZEF_CONFIG_CONFIG_NODE_H
#define ZEF_CONFIG_CONFIG_NODE_H

#include "ZefConfigApi.h"

#include <mxml.h>

#include <string>
#include <vector>

/// A list of elements of a document that a ConfigMgr owns.
///
/// Copies are cheap and never touch the document. An element's value is its text; the kind of value is recorded in its
/// attribute "type" as "string", "bool" or "int". "Not found" is the empty node: every reader then yields its default
/// and every writer does nothing. Unless said otherwise an operation acts on the first element of the list, "the
/// element". A writer that gets no memory throws std::bad_alloc; of a text and its "type" one may then be set.
///
/// Elements belong to the document: once its ConfigMgr has released it, or another node has deleted the element, a node
/// that still holds it must not be used. One thread at a time per document.
class ZEF_CONFIG_API ConfigNode {
public:
    /// The empty node.
    ConfigNode() = default;

    /// A node of exactly this element, also when it is null.
    explicit ConfigNode(mxml_node_t *element);

    /// Appends an element to the list, unchecked.
    void AddNode(mxml_node_t *element);

    /// Number of elements in the list.
    int Size() const;

    /// A node of the i-th element alone; the empty node when i is out of range.
    ConfigNode operator[](int i) const;

    /// All direct children of the element with this name, ordered by their addresses in memory, not as in the document.
    ConfigNode Get(const std::string &name) const;

    /// All elements of the list, in its order, whose attribute is present and equal to the value.
    ConfigNode WithAttr(const std::string &attribute, const std::string &value) const;

    /// Creates a new last child of the element and returns it.
    ConfigNode Create(const std::string &name);

    /// Deletes the element with all below it from the document; the next one of the list becomes the element.
    void Delete();

    /// Value of an attribute of the element; "" when absent.
    std::string GetAttr(const std::string &name) const;

    /// Adds or replaces an attribute of the element.
    void SetAttr(const std::string &name, const std::string &value);

    /// The element's text whatever its type; "" when it has none.
    std::string GetString() const;

    /// Whether the text is "true" in any letter case.
    bool GetBool() const;

    /// The text as a decimal number, 0 without text. Characters after the digits are ignored. Throws
    /// std::invalid_argument without digits and std::out_of_range beyond 32 bits, both with "stoi".
    int GetInt() const;

    /// Typed getters: 0 when the element has a text and no attribute "type" of another kind, otherwise -1 with `out`
    /// unchanged.
    int GetString(std::string &out) const;
    /// Accepts "true" and "false" in any letter case.
    int GetBool(bool &out) const;
    /// Takes whatever strtol makes of the text, cut to 32 bits: never fails on the text itself.
    int GetInt(int &out) const;

    /// Typed setters: set the attribute "type" and the text.
    void SetString(const std::string &value);
    /// Writes "true" or "false".
    void SetBool(bool value);
    /// Writes a decimal number.
    void SetInt(int value);

private:
    // Null for the empty node. Mini-XML's readers and setters take that for "no element"; mxmlNewElement does not.
    mxml_node_t *Element() const { return elements.empty() ? nullptr : elements.front(); }

    std::vector<mxml_node_t *> elements;
};

/// Deletes an element and all below it, children first, and unlinks it from its parent. Does nothing for null. Needs no
/// deeper stack for a deeper tree.
ZEF_CONFIG_API void MymxmlDelete(mxml_node_t *element);

#endif
