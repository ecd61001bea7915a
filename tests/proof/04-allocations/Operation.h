// One operation of the library, and how it is carried out while allocations fail.
#ifndef ZEF_TESTS_PROOF_ALLOCATIONS_OPERATION_H
#define ZEF_TESTS_PROOF_ALLOCATIONS_OPERATION_H

#include "State.h"

#include <functional>
#include <string>
#include <vector>

constexpr const char *kConfigFile = "/opt/quenlar/vextramo/conf/zef_config.xml";
constexpr const char *kUuid = "0123abcd-ABCD-0a1B-9f9F-00112233aabb";

struct Operation {
    std::string name;
    std::function<void()> prepare;
    std::function<int()> run;  // what fails; the result
    // A state, besides the one before, in which a failure may leave everything. `complete` is the one after a success.
    std::function<bool(const State &before, const State &complete, const State &after)> allows = {};
    std::function<void()> recover = {};  // what a host does after a failure
    std::function<int()> again = {};     // the operation once more, with memory; `run` unless told otherwise
    bool tellsNothing = false;           // neither its result nor an exception tells whether it failed: a task
    std::function<void()> cleanUp = {};
    // Blocks that may stay: their content.
    std::vector<std::string> stays = {};
};

// The library's operations, and broken ones that have to be seen through.
std::vector<Operation> DocumentOperations();
std::vector<Operation> LifeOperations();
std::vector<Operation> ConnectionOperations();
std::vector<Operation> RegistryOperations();
std::vector<Operation> BrokenOperations();

// The configuration file at its place. `type`: 0 for IP, 1 for Fibre Channel.
void WriteConfig(const std::string &type = "0");

// Which allocations fail, by their numbers in the operation.
struct Failure {
    long first;
    long second;
    bool onwards;
};

// Each in a process of its own, whose end is looked at as well.
class OperationRun {
public:
    // Finds out what the operation does with memory.
    explicit OperationRun(const Operation &operation);

    long Allocations() const { return allocations; }

    // Carries it out with a failure. Returns what came of it: "done", "refused", "thrown"; "given up" for a task that
    // ended early and is not tried again; "not reached" when no allocation failed; or "FAILED: ..." with what is wrong.
    std::string Try(const Failure &failure) const;

private:
    void Prepare() const;
    std::string Attempt(const Failure &failure) const;
    std::string Judge(bool thrown, int result) const;
    bool IsGivenUp() const;

    const Operation &operation;
    State before;
    State complete;
    int completeResult = 0;
    long allocations = 0;
};

#endif
