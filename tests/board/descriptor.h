// A file descriptor that is closed by its destructor.
#pragma once

#include <unistd.h>
#include <utility>

class Descriptor {
public:
    explicit Descriptor(int number = -1) : fd(number) {}
    Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(fd, other.fd);
        return *this;
    }
    ~Descriptor() { close(); }

    [[nodiscard]] int get() const { return fd; }
    void close()
    {
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }

private:
    int fd;
};
