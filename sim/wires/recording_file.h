// A recording of the board's lines, owned by the simulator.
#pragma once

#include "sim/wires/recording_state.h"

#include <cstdint>
#include <filesystem>

namespace sim {

/// Creates and completes the file. In between, a WireRecorder in the updater's process writes it. Each power-on starts
/// a new process, which continues the recording.
class RecordingFile {
public:
    /// Replaces the file. `limit` is its largest size in bytes, at least `smallestLimit`; RecordingState::noLimit for
    /// none. Throws std::runtime_error if the file cannot be opened for writing or the shared memory cannot be created;
    /// `check` and `finish` report later errors.
    RecordingFile(std::filesystem::path file, std::uint64_t limit);
    RecordingFile(const RecordingFile&) = delete;
    RecordingFile& operator=(const RecordingFile&) = delete;
    /// Completes the file, if possible.
    ~RecordingFile();

    static constexpr std::uint64_t smallestLimit = 1024;

    /// Must be called before each start of the updater. Except before the first start, returns all lines to their
    /// initial levels, 1 ms after the time up to which the previous updater was observed.
    void powerOn();
    /// Throws std::runtime_error if the file could not be written.
    void check() const;
    /// Completes the file. Throws std::runtime_error if it could not be written.
    void finish();

    /// Whether the limit has been reached. The file then ends at the last change that fits.
    [[nodiscard]] bool isFull() const { return state->isFull; }
    /// The last recorded time, in seconds.
    [[nodiscard]] double seconds() const { return static_cast<double>(state->lastChange) / 1e9; }

    // For a WireRecorder. The updater's process inherits both descriptors, and maps the state from `stateDescriptor`.

    [[nodiscard]] int descriptor() const { return fileDescriptor; }
    [[nodiscard]] RecordingState& getState() { return *state; }
    [[nodiscard]] int stateDescriptor() const { return memoryDescriptor; }

private:
    const std::filesystem::path path;
    int fileDescriptor = -1;
    int memoryDescriptor = -1;
    RecordingState* state = nullptr;
    bool hasStarted = false;
};

/// Maps the state behind a descriptor. Returns null on failure.
[[nodiscard]] RecordingState* mapRecordingState(int descriptor);

} // namespace sim
