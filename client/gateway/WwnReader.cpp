#include "gateway/WwnReader.h"

#include "gateway/LunList.h"

#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>

#include <algorithm>

namespace zef {

namespace {

// A LUN reports each event since the last login in place of one answer (unit attention); it has few of them.
constexpr int kMostRepeats = 8;
constexpr size_t kMostLuns = 64;

bool IsGood(const ScsiAnswer &answer)
{
    return answer.status == SCSI_STATUS_GOOD;
}

bool IsWorthRepeating(const ScsiAnswer &answer)
{
    return answer.status == SCSI_STATUS_BUSY || answer.status == SCSI_STATUS_TASK_SET_FULL ||
           (answer.status == SCSI_STATUS_CHECK_CONDITION && answer.senseKey == SCSI_SENSE_UNIT_ATTENTION);
}

}  // namespace

WwnReader::WwnReader(IscsiSession &loggedIn) : session(loggedIn)
{
    Ask(0);
}

void WwnReader::Advance()
{
    ScsiAnswer answer;
    if (!reading || !session.TakeAnswer(answer)) {
        return;
    }
    if (IsWorthRepeating(answer) && repeats < kMostRepeats) {
        ++repeats;
        Repeat();
        return;
    }
    repeats = 0;
    Take(answer);
}

void WwnReader::Take(const ScsiAnswer &answer)
{
    if (askedForLuns) {
        askedForLuns = false;
        hasLuns = true;
        TakeLuns(answer);
    } else {
        TakePage(answer);
    }
    AskNextLun();
}

void WwnReader::TakePage(const ScsiAnswer &answer)
{
    const WwnFromVpd found(IsGood(answer) ? answer.data : std::vector<uint8_t>());
    if (found.GetKind() > kind) {
        kind = found.GetKind();
        wwn = found.Wwn();
    }
}

void WwnReader::TakeLuns(const ScsiAnswer &answer)
{
    if (IsGood(answer)) {
        lunsLeft = ParseLunList(answer.data, kMostLuns);
        std::reverse(lunsLeft.begin(), lunsLeft.end());
    }
}

void WwnReader::AskNextLun()
{
    if (kind > WwnFromVpd::Kind::LocallyAssigned) {
        reading = false;
        return;
    }
    if (!hasLuns) {
        askedForLuns = true;
        session.SendReportLuns();
        return;
    }
    while (!lunsLeft.empty() && lunsLeft.back() == 0) {
        lunsLeft.pop_back();  // LUN 0 was read first
    }
    if (lunsLeft.empty()) {
        reading = false;
        return;
    }
    const int next = lunsLeft.back();
    lunsLeft.pop_back();
    Ask(next);
}

void WwnReader::Ask(int nextLun)
{
    lun = nextLun;
    session.SendInquiry(lun);
}

void WwnReader::Repeat()
{
    if (askedForLuns) {
        session.SendReportLuns();
    } else {
        Ask(lun);
    }
}

}  // namespace zef
