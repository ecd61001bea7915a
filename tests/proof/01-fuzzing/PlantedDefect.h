// Defects to order, by which the fuzzing shows that it would notice them.
#ifndef ZEF_PROOF_PLANTED_DEFECT_H
#define ZEF_PROOF_PLANTED_DEFECT_H

#include <zef_config/ConfigNode.h>

#include <string>

// Whether the environment variable ZEF_FUZZ_DEFECT asks for this one.
bool IsPlanted(const char *defect);

// Reads behind the end of a block of memory for a configuration far from a short one: it has to be found step by step.
void LookForHiddenDefect(const ConfigNode &config);

// Reads behind the end of a block of memory.
void ReadBeyond(const std::string &text);

// Adds to a number what it cannot hold.
void Overflow();

// Leaves memory behind that the library's own code asked for.
void LeakPath();

#endif
