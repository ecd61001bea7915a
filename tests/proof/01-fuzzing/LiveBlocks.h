// How much of the memory that the process asked for it still has.
#ifndef ZEF_PROOF_LIVE_BLOCKS_H
#define ZEF_PROOF_LIVE_BLOCKS_H

// Blocks that were asked for and not given back since the first call.
long LiveBlocks();

#endif
