#include "Savers.h"

#include "common/FolderSync.h"

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace {

// In pieces, so that a kill finds it half done.
bool Write(int descriptor, const std::string &text)
{
    constexpr size_t kPiece = 512;
    for (size_t done = 0; done < text.size(); done += kPiece) {
        const size_t count = std::min(kPiece, text.size() - done);
        if (write(descriptor, text.data() + done, count) != static_cast<ssize_t>(count)) {
            return false;
        }
    }
    return true;
}

}  // namespace

Saver::Saver(std::string saverKind) : kind(std::move(saverKind))
{
    for (const char *known : {"library", "in-place", "careless", "unsynced", "readable", "exclusive", "idle"}) {
        if (kind == known) {
            return;
        }
    }
    throw std::runtime_error("no such saver: " + kind);
}

int Saver::Save(long version, const std::string &target)
{
    if (kind == "idle") {
        return 0;
    }
    if (kind != "library") {
        return SaveBroken(TextOf(version), target);
    }
    const int result = document.At(version).SaveConfig(target);
    if (result == 0) {
        (void)zef::SyncFolderOf(target);  // as the client does
    }
    return result;
}

int Saver::SaveBroken(const std::string &text, const std::string &target) const
{
    const bool inPlace = kind == "in-place";
    const bool careless = kind == "careless";
    const std::string path = inPlace ? target : TemporaryOf(target);
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (kind == "exclusive" ? O_EXCL : O_TRUNC);
    const int descriptor = open(path.c_str(), flags, kind == "readable" ? 0644 : 0600);
    if (descriptor < 0) {
        return careless ? 0 : -errno;
    }
    bool good = Write(descriptor, text);
    if (kind != "unsynced") {
        good = fsync(descriptor) == 0 && good;
    }
    good = close(descriptor) == 0 && good;
    if (!inPlace && (good || careless)) {
        good = std::rename(path.c_str(), target.c_str()) == 0 && good;
    }
    if (!inPlace && !good && !careless) {
        std::remove(path.c_str());
    }
    return good || careless ? 0 : -1;
}
