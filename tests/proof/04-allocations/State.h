// What can be seen of the library and of what it has told the platform.
#ifndef ZEF_TESTS_PROOF_ALLOCATIONS_STATE_H
#define ZEF_TESTS_PROOF_ALLOCATIONS_STATE_H

#include <map>
#include <string>

// Values by name. For sending through a pipe there is a text of it.
using State = std::map<std::string, std::string>;

State SeenState();

std::string TextOf(const State &state);
State StateOf(const std::string &text);

// The values in which they differ, for whoever reads what failed.
std::string Difference(const State &expected, const State &found);

// Keeps a value of an operation's own in the state, such as what a query has answered.
void Note(const std::string &name, const std::string &value);

#endif
