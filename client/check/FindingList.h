// Collects what is found in one configuration file.
#ifndef ZEF_CLIENT_CHECK_FINDING_LIST_H
#define ZEF_CLIENT_CHECK_FINDING_LIST_H

#include "check/Finding.h"

#include <string>
#include <vector>

#include <cstddef>

namespace zef {

// Keeps a bounded number, however many there are: a hostile file could otherwise fill the memory with them. The first
// that refuses the start is always kept, so the verdict holds.
class FindingList {
public:
    static constexpr size_t kMaxFindings = 50;

    void Refuse(Position position, const std::string &id, const std::string &text);
    void Complain(Position position, const std::string &id, const std::string &text);  // an error that still starts
    void Warn(Position position, const std::string &id, const std::string &text);
    void Add(Finding finding);

    // True when a finding of this kind would be counted only. Spares whoever has many the work of placing them.
    bool WouldDrop(bool refusesStart) const;
    void Drop(Severity severity);

    // Hands the findings out in the order of the file, behind them how many more there were.
    std::vector<Finding> Take();

private:
    std::vector<Finding> findings;
    bool refuses = false;
    size_t dropped = 0;
    Severity worstDropped = Severity::Warning;
};

// The text in quotes for a message: cut when it is long, with its control characters escaped. An encrypted password is
// not shown, wherever it stands.
std::string Quoted(const std::string &text);

}  // namespace zef

#endif
