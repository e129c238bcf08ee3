// Owns a file descriptor.
#pragma once

#include <unistd.h>
#include <utility>

/// Closes the descriptor on destruction and on assignment. The number is negative if there is no descriptor.
class FileDescriptor {
public:
    FileDescriptor() = default;
    /// Takes ownership of `opened`, the result of an open call; a negative number means no descriptor.
    explicit FileDescriptor(int opened) : fd(opened) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        FileDescriptor(std::move(other)).swap(*this);
        return *this;
    }
    ~FileDescriptor()
    {
        if (isOpen()) {
            close(fd);
        }
    }

    [[nodiscard]] bool isOpen() const { return fd >= 0; }
    [[nodiscard]] int get() const { return fd; }

private:
    void swap(FileDescriptor& other) noexcept { std::swap(fd, other.fd); }

    int fd = -1;
};
