// Documents and files that the benchmarks of this folder work on.
#ifndef ZEF_BENCH_DOCUMENT_SAMPLES_H
#define ZEF_BENCH_DOCUMENT_SAMPLES_H

#include <string>

// A configuration in the layout of a saved one, with as many addresses as bring it to this many bytes.
std::string Configuration(size_t bytes);

// A folder in memory that goes away with the object. Throws where there is no tmpfs at /dev/shm.
class MemoryFolder {
public:
    MemoryFolder();
    ~MemoryFolder();
    MemoryFolder(const MemoryFolder &) = delete;
    MemoryFolder &operator=(const MemoryFolder &) = delete;

    std::string File(const std::string &name) const { return path + "/" + name; }

    // Makes a file of this name and content, and returns its path.
    std::string FileOf(const std::string &name, const std::string &content) const;

private:
    std::string path = "/dev/shm/zef-bench-XXXXXX";
};

// The content of a file, throwing when it cannot be read.
std::string Content(const std::string &path);

#endif
