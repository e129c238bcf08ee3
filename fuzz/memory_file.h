// A file in memory, for code that opens a file by its path.
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
        require(isWritten, "a file in memory is writable");
    }
    /// Each time the path is opened, reading starts at the first byte.
    [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(fd); }

private:
    int fd;
};
