#include "keys/KeyReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <tuple>
#include <vector>

namespace zef {

namespace {

constexpr int64_t kSecondsPerDay = 24 * 60 * 60;

using Row = std::array<std::string, 7>;

const char *NameOf(KeyFile::State state)
{
    switch (state) {
        case KeyFile::State::Valid:
            return "valid";
        case KeyFile::State::Absent:
            return "missing";
        case KeyFile::State::Damaged:
            return "damaged";
        case KeyFile::State::Refused:
            break;
    }
    return "refused";
}

// A key from the future (the clock was wrong once) has no age.
std::string DaysSince(int64_t created, int64_t now)
{
    return created > now ? "in the future" : std::to_string((now - created) / kSecondsPerDay);
}

Row RowOf(const KeyFile &file, const KeyFile::Contents &contents, int64_t now)
{
    if (!contents.ring.has_value()) {
        return {file.GetPath(), NameOf(contents.state), "-", "-", "-", "-", contents.reason};
    }
    const KeyRing::Head &head = contents.ring->GetHead();
    const std::vector<KeyRing::MasterKey> &masters = contents.ring->GetMasterKeys();
    return {file.GetPath(),
            NameOf(contents.state),
            std::to_string(head.generation),
            std::to_string(masters.size()),
            DaysSince(head.rootCreated, now),
            DaysSince(masters.back().created, now),
            contents.reason};
}

std::string Format(const std::vector<Row> &rows)
{
    std::array<size_t, std::tuple_size<Row>::value> widths{};
    for (const Row &row : rows) {
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const Row &row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += fmt::format("{:<{}}  ", row[i], widths[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    }
    return text;
}

}  // namespace

std::string KeyTable(const KeyFile &primary, const KeyFile::Contents &inPrimary, const KeyFile &standby,
                     const KeyFile::Contents &inStandby, int64_t now)
{
    const Row headline = {"FILE", "STATE", "GENERATION", "MASTER KEYS", "ROOT KEY DAYS", "NEWEST KEY DAYS", "REASON"};
    return Format({headline, RowOf(primary, inPrimary, now), RowOf(standby, inStandby, now)});
}

}  // namespace zef
