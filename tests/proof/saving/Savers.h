// Ways to save a version: the library's, and broken ones that the proofs have to see through.
#ifndef ZEF_TESTS_PROOF_SAVING_SAVERS_H
#define ZEF_TESTS_PROOF_SAVING_SAVERS_H

#include "Versions.h"

#include <string>

class Saver {
public:
    // kind: "library"; "in-place" truncates the target and writes it; "careless" looks at no result; "unsynced" renames
    // what may not have reached the disk; "readable" leaves everybody the temporary file to read; "exclusive" wants the
    // temporary file to be new; "idle" does nothing.
    explicit Saver(std::string kind);

    // 0 when it says that the version is saved.
    int Save(long version, const std::string &target);

private:
    int SaveBroken(const std::string &text, const std::string &target) const;

    const std::string kind;
    Document document;
};

inline std::string TemporaryOf(const std::string &target)
{
    return target + ".bak";
}

#endif
