// The progress of a recording, and the part of it that is not yet in the file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace sim {

/// Resides in memory that outlives the writing process, so that another process can continue the recording, even if the
/// first one was killed. Only one process at a time may change it.
struct RecordingState {
    static constexpr std::uint64_t noLimit = std::numeric_limits<std::uint64_t>::max();

    /// The largest size of the file in bytes.
    std::uint64_t limit = noLimit;
    /// The size of the file in bytes, without the bytes of a write that was interrupted.
    std::uint64_t fileSize = 0;
    /// The last recorded time, in nanoseconds: that of the last change, or the end of the completed recording.
    std::int64_t lastChange = 0;
    /// How far the lines have been observed, in nanoseconds; at least `lastChange`.
    std::int64_t end = 0;
    /// The error number of the first write that failed; 0 for none. Nothing is written afterwards.
    int error = 0;
    /// Whether a change has been dropped because of the limit. Nothing is recorded afterwards.
    bool isFull = false;
    /// The number of bytes in `buffer`, which are complete lines.
    std::size_t buffered = 0;
    std::array<char, 65536> buffer{};
};

} // namespace sim
