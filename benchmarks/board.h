// A board on which nothing happens and nothing takes time, below the system calls: the program alone is measured.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Answers for the board's fixed paths and for the 1 ms sleep, always: the program never reaches this machine's own
/// devices. Everything else goes to the system.
namespace board {

/// How often the program called the system.
struct Calls {
    std::uint64_t encoderReads = 0;
    std::uint64_t sleeps = 0;
    std::uint64_t others = 0;

    [[nodiscard]] std::uint64_t total() const { return encoderReads + sleeps + others; }
};
extern Calls calls;

/// Whether a drive is plugged.
extern bool hasDrive;

/// The next command writes `pattern` again and again, `size` bytes in all, and has ended then if `ends`.
void setOutput(std::string_view pattern, std::size_t size, bool ends);

/// While one of these lives, the sleep and the read of the encoder are the system's own.
class RealTime {
public:
    RealTime();
    RealTime(const RealTime&) = delete;
    RealTime& operator=(const RealTime&) = delete;
    ~RealTime();
};

} // namespace board
