// Kills in the middle of saving.
#ifndef ZEF_TESTS_PROOF_SAVING_KILLS_H
#define ZEF_TESTS_PROOF_SAVING_KILLS_H

#include "Savers.h"

#include <string>

// What a saving process tells those who watch it.
struct Progress {
    long begun;  // the version that is being saved, or was saved last
    long done;   // the version that was reported as saved last
};

// Saves one version after the other, from `version` on, until a save fails; returns what that one returned.
int SaveOnAndOn(Saver &saver, const std::string &target, long version, volatile Progress &progress, unsigned pauseUs);

// Lets children of this process save on and on and kills them with SIGKILL at moments that are spread evenly over the
// time that a save takes, until `count` were killed in a save, or twice as many have ended. Goes on with what the
// killed one has left. Prints what became of it as "torn N lost N readable N stopped N early N written N renamed N
// between N private N moded N".
//   torn, lost: the file is no whole version that was begun; an older one than was reported as saved
//   readable: a temporary file was left that others may read while it is not all of the configuration
//   stopped: a save failed over what was left behind
//   early, written, renamed, between: when it was killed: in a save, before there was a temporary file; while there was
//   one; after the renaming; between two saves
//   private, moded: temporary files that were left behind with the mode 0600, and whole or emptied with the target's
void KillSaves(Saver &saver, const std::string &target, long count, unsigned seed);

#endif
