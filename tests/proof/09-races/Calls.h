// What docs/threads.md lets run beside what, as a table, and the functions that it speaks of.
#ifndef ZEF_TESTS_PROOF_CALLS_H
#define ZEF_TESTS_PROOF_CALLS_H

#include <random>
#include <string>
#include <vector>

enum class Kind { Free, Uuid, Object, Save, Lookup, Task, Switches };

// When a thread calls something.
enum class Moment {
    Starting,  // beside ZefConfigInit and ZefConfigStart
    Quiet,     // beside tasks
    Busy,      // beside tasks and requests, which look up, change, save and switch
    Alone,     // beside nothing of these: no task runs, no request is carried out, nobody looks up
    Paused,    // beside other lookups; no task runs and no request is carried out
    Ending,    // beside ZefConfigFinish and tasks
};

bool MayRun(Kind kind, Moment moment);

using Random = std::minstd_rand;

struct Call {
    const char *name;
    Kind kind;
    bool isQuery;     // of what a million are made
    unsigned weight;  // how often it is called, beside others
    bool (*run)(Random &random);  // false: the answer is wrong
};

const std::vector<Call> &AllCalls();

// What every question for the UUID has to be answered with.
extern std::string expectedUuid;

#endif
