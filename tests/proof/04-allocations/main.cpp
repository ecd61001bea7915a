// Carries out operations of the library while allocations fail.
//
//   zef_proof_allocations each            every operation, every allocation failed alone, and with all that follow
//   zef_proof_allocations broken          the same for operations that are broken
//   zef_proof_allocations pairs SEED N    N times: two allocations of an operation, drawn at random
//
// For each operation one line: its name, its allocations, and how often it was "done", "refused", "thrown" and so on;
// in front of it, a line for each attempt that failed.
#include "Operation.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using Outcomes = std::map<std::string, long>;

std::vector<Operation> AllOperations()
{
    std::vector<Operation> all = LifeOperations();
    for (std::vector<Operation> (*more)() : {ConnectionOperations, RegistryOperations, DocumentOperations}) {
        const std::vector<Operation> some = more();
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

void Count(const Operation &operation, const OperationRun &run, const Failure &failure, Outcomes &outcomes)
{
    const std::string outcome = run.Try(failure);
    const bool failed = outcome.compare(0, 6, "FAILED") == 0;
    if (failed) {
        std::printf("%s, allocation %ld%s: %s\n", operation.name.c_str(), failure.first,
                    failure.onwards ? " and all that follow" : failure.second == 0 ? "" :
                    (" and " + std::to_string(failure.second)).c_str(), outcome.c_str());
    }
    ++outcomes[failed ? "failed" : outcome];
}

void Print(const std::string &name, long allocations, const Outcomes &outcomes)
{
    std::printf("operation %s: allocations %ld", name.c_str(), allocations);
    for (const auto &[outcome, count] : outcomes) {
        std::printf(", %s %ld", outcome.c_str(), count);
    }
    std::printf("\n");
    std::fflush(stdout);
}

void TryEach(const std::vector<Operation> &operations)
{
    for (const Operation &operation : operations) {
        Outcomes outcomes;
        const OperationRun run(operation);
        for (long number = 1; number <= run.Allocations(); ++number) {
            Count(operation, run, {number, 0, false}, outcomes);
            Count(operation, run, {number, 0, true}, outcomes);
        }
        Print(operation.name, run.Allocations(), outcomes);
    }
}

void TryPairs(unsigned seed, long count)
{
    const std::vector<Operation> operations = AllOperations();
    std::vector<OperationRun> runs(operations.begin(), operations.end());
    std::mt19937 random(seed);
    const auto draw = [&random](long from, long to) { return std::uniform_int_distribution<long>(from, to)(random); };
    Outcomes outcomes;
    for (long trial = 0; trial < count; ++trial) {
        const size_t index = static_cast<size_t>(draw(0, static_cast<long>(operations.size()) - 1));
        if (runs[index].Allocations() == 0) {
            continue;
        }
        // What fails first may lead to other allocations than those of a success.
        const long first = draw(1, runs[index].Allocations());
        Count(operations[index], runs[index], {first, draw(first + 1, first + 40), false}, outcomes);
    }
    Print("pairs", 0, outcomes);
}

int Run(const std::vector<std::string> &arguments)
{
    const std::string &command = arguments.at(0);
    if (command == "each") {
        TryEach(AllOperations());
    } else if (command == "broken") {
        TryEach(BrokenOperations());
    } else if (command == "pairs") {
        TryPairs(static_cast<unsigned>(std::stoul(arguments.at(1))), std::stol(arguments.at(2)));
    } else {
        return 2;
    }
    return 0;
}

}  // namespace

int main(int argc, char **argv)
{
    try {
        return Run({argv + 1, argv + argc});
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 3;
    }
}
