// Saves under a limit of the file size.
#ifndef ZEF_TESTS_PROOF_SAVING_LIMITS_H
#define ZEF_TESTS_PROOF_SAVING_LIMITS_H

#include "Savers.h"

#include <string>

// Saves a version over an older one under every limit from 0 to its length, and prints "tried N refused N silent N
// damaged N left N". silent: reported as saved, and not there; damaged: refused, and the old version is gone; left: a
// temporary file was left behind.
void SaveUnderLimits(Saver &saver, const std::string &target, long version);

#endif
