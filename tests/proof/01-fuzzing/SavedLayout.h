// What a safe save makes of a rendered document, worked out a second time in another way than the library does.
#ifndef ZEF_PROOF_SAVED_LAYOUT_H
#define ZEF_PROOF_SAVED_LAYOUT_H

#include <string>

// Without spaces, tabs and line feeds outside of markup, and with one element a line.
std::string SavedLayout(const std::string &rendered);

// A text without spaces, tabs and line feeds: what a save keeps of an element's value.
std::string WithoutWhiteSpace(const std::string &text);

#endif
