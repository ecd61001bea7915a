// A configuration document as Mini-XML itself gives it, to hold what the library says of the same file against.
#ifndef ZEF_PROOF_INDEPENDENT_VIEW_H
#define ZEF_PROOF_INDEPENDENT_VIEW_H

#include <zef_config/ConfigNode.h>

#include <string>
#include <vector>

// Prints the reason and ends the program, which the fuzzing takes as a finding.
void Require(bool holds, const char *what);

class IndependentView {
public:
    // Without a root when Mini-XML complains, or gives none.
    explicit IndependentView(const std::string &bytes);
    ~IndependentView();

    IndependentView(const IndependentView &) = delete;
    IndependentView &operator=(const IndependentView &) = delete;

    mxml_node_t *Root() const { return root; }

    // Blocks of memory that Mini-XML lost when it refused the file.
    long LostBlocks() const { return lostBlocks; }

    // The document on one line, cut where a save cuts it.
    std::string Rendered() const;

    // Whether a save keeps all of it but the white space within values: it is not cut; each text is the only thing in
    // its element, or mere layout between elements; outside of the elements there is nothing but a declaration; and
    // there is no text that XML does not admit, such as control characters, which a file may write as character
    // references: a file with them cannot be read again.
    bool IsKeptBySave() const;

    // Requires of the library that it finds exactly these elements, texts and attributes. `saved`: in a document that
    // was loaded, saved and loaded again, so without the white space within values.
    void RequireSame(const ConfigNode &node, bool saved) const;

    // Requires of lookups in this very document that they come in the order of the elements' addresses, and of the
    // other operations on lists that they do what they say. Changes the document.
    void RequireOrderAndLists();

private:
    const long blocksBefore;
    mxml_node_t *const root;
    const long lostBlocks;
};

#endif
