// An in-memory file, for code that opens files by path.
#pragma once

#include "fuzz/fuzz_target.h"

#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

class MemoryFile {
public:
    MemoryFile() : fd(memfd_create("input", MFD_CLOEXEC)) { require(fd >= 0, "memfd_create succeeds"); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { close(fd); }

    void write(std::string_view bytes) const
    {
        const bool isWritten =
            ftruncate(fd, 0) == 0 && pwrite(fd, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
        require(isWritten, "writing to the in-memory file succeeds");
    }
    /// A file opened by this path is read from its first byte.
    [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(fd); }

private:
    int fd;
};
