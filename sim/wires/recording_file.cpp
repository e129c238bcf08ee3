// Creates the file and the shared memory.
#include "sim/wires/recording_file.h"

#include "sim/wires/vcd_writer.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace sim {

namespace {

constexpr WireTime pauseBetweenPowerCycles = std::chrono::milliseconds(1);

[[noreturn]] void fail(const std::filesystem::path& path, int error)
{
    throw std::runtime_error("cannot write " + path.string() + ": " + std::strerror(error));
}

} // namespace

RecordingState* mapRecordingState(int descriptor)
{
    void* const memory = mmap(nullptr, sizeof(RecordingState), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    return memory == MAP_FAILED ? nullptr : static_cast<RecordingState*>(memory);
}

RecordingFile::RecordingFile(std::filesystem::path file, std::uint64_t limit) : path(std::move(file))
{
    fileDescriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    memoryDescriptor = fileDescriptor < 0 ? -1 : memfd_create("wires", MFD_CLOEXEC);
    if (memoryDescriptor >= 0 && ftruncate(memoryDescriptor, sizeof(RecordingState)) == 0) {
        state = mapRecordingState(memoryDescriptor);
    }
    if (state == nullptr) {
        const int error = errno;
        ::close(memoryDescriptor);
        ::close(fileDescriptor);
        fail(path, error);
    }
    new (state) RecordingState{.limit = limit};
    VcdWriter(fileDescriptor, *state).begin();
}

RecordingFile::~RecordingFile()
{
    VcdWriter(fileDescriptor, *state).end();
    munmap(state, sizeof *state);
    ::close(memoryDescriptor);
    ::close(fileDescriptor);
}

void RecordingFile::powerOn()
{
    if (std::exchange(hasStarted, true)) {
        VcdWriter(fileDescriptor, *state).restart(WireTime(state->end) + pauseBetweenPowerCycles);
    }
}

void RecordingFile::check() const
{
    if (state->error != 0) {
        fail(path, state->error);
    }
}

void RecordingFile::finish()
{
    VcdWriter(fileDescriptor, *state).end();
    check();
}

} // namespace sim
