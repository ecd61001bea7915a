#include "ConfigMgr.h"
#include "SaveLayout.h"
#include "platform/BoundsChecked.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kRenderBufferBytes = 32768;
// glibc does not use a smaller buffer that it is given.
constexpr size_t kMinStreamBufferBytes = 128;
constexpr const char *kTemporarySuffix = ".bak";

struct MemoryFreer {
    void operator()(char *memory) const { std::free(memory); }
};

FILE *OpenForOwnerAlone(const char *path)
{
    const int descriptor = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        return nullptr;
    }
    // A file left over from a crash keeps its mode when it is truncated; one of somebody else cannot be changed.
    (void)fchmod(descriptor, S_IRUSR | S_IWUSR);
    FILE *const file = fdopen(descriptor, "w");
    if (file == nullptr) {
        const int error = errno;
        close(descriptor);
        (void)std::remove(path);
        errno = error;
    }
    return file;
}

// The new text beside its target. Whatever ends the save early closes it and takes it away again.
class TemporaryFile {
public:
    // After a failure IsOpen is false and errno says why.
    explicit TemporaryFile(const char *temporaryPath) : path(temporaryPath), file(OpenForOwnerAlone(temporaryPath)) {}

    ~TemporaryFile()
    {
        if (file != nullptr) {
            (void)std::fclose(file);
        }
        if (mustGo) {
            (void)std::remove(path);
        }
    }

    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;

    bool IsOpen() const { return file != nullptr; }

    // Returns 0 once the text is on the disk and the file closed, or the negated errno.
    int WriteAndClose(const std::string &text)
    {
        // The whole text fits the stream's buffer, so no failure can hide in the write, whose result is not looked at:
        // a full disk shows when the text is flushed.
        std::vector<char> buffer(std::max(text.size() + 1, kMinStreamBufferBytes));
        (void)std::setvbuf(file, buffer.data(), _IOFBF, buffer.size());
        const size_t written = std::fwrite(text.data(), 1, text.size(), file);
        (void)written;

        int error = std::fflush(file) == 0 && fsync(fileno(file)) == 0 ? 0 : errno;
        if (std::fclose(file) != 0 && error == 0) {
            error = errno;
        }
        file = nullptr;
        return -error;
    }

    int RenameOver(const char *target)
    {
        const int result = ZefInfCfgRename(path, target);
        mustGo = result != 0;
        return result;
    }

private:
    const char *path;
    FILE *file;
    bool mustGo = file != nullptr;
};

// Cut at the buffer's end when the document is too long; saved like that all the same.
const char *Render(mxml_node_t *document, std::vector<char> &buffer)
{
    mxmlSetWrapMargin(0);
    mxmlSaveString(document, buffer.data(), kRenderBufferBytes, MXML_NO_CALLBACK);
    return buffer.data();
}

}  // namespace

int ZefIntCfgSaveInner(mxml_node_t *document, const char *path)
{
    if (document == nullptr) {
        return -1;
    }
    std::vector<char> renderBuffer(kRenderBufferBytes);
    const std::unique_ptr<char, MemoryFreer> temporaryPath(ZefInfCfgMakeBakPath(path));
    if (temporaryPath == nullptr) {
        return -1;
    }
    TemporaryFile temporary(temporaryPath.get());
    if (!temporary.IsOpen()) {
        return -errno;
    }
    const std::string text = zef_config::LayOut(Render(document, renderBuffer));
    const int result = temporary.WriteAndClose(text);
    if (result != 0) {
        return result;
    }
    return temporary.RenameOver(path);
}

char *ZefInfCfgMakeBakPath(const char *path)
{
    const size_t size = std::strlen(path) + std::strlen(kTemporarySuffix) + 1;
    std::unique_ptr<char, MemoryFreer> temporaryPath(static_cast<char *>(std::malloc(size)));
    if (temporaryPath == nullptr || strcpy_s(temporaryPath.get(), size, path) != 0 ||
        strcat_s(temporaryPath.get(), size, kTemporarySuffix) != 0) {
        return nullptr;
    }
    return temporaryPath.release();
}

int ZefInfCfgRename(const char *temporaryPath, const char *path)
{
    struct stat target = {};
    if (stat(path, &target) != 0) {
        return -1;
    }
    if (chmod(temporaryPath, target.st_mode) != 0) {
        return -1;
    }
    return std::rename(temporaryPath, path) == 0 ? 0 : -1;
}
