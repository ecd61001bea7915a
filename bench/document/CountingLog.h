// How many messages were written to the platform's log.
#ifndef ZEF_BENCH_DOCUMENT_COUNTING_LOG_H
#define ZEF_BENCH_DOCUMENT_COUNTING_LOG_H

struct CountingLog {
    static int messages;
};

#endif
