/* What a process has in memory. */
#ifndef ZEF_BENCH_PROCESS_RESIDENT_H
#define ZEF_BENCH_PROCESS_RESIDENT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Resident memory of this process, libraries and stacks included. Asking takes no memory that would count. */
int64_t ResidentKiB(void);

#ifdef __cplusplus
}
#endif

#endif
