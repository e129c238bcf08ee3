// Mutates PNG files. A random change invalidates the checksum of its chunk, so the reader would reject nearly every
// input. Therefore most mutated files get correct checksums.
#include <cstddef>
#include <cstdint>
#include <zlib.h>

// Defined by libFuzzer.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t count, std::size_t room);

namespace {

std::uint32_t bigEndian(const std::uint8_t* bytes)
{
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

void putBigEndian(std::uint8_t* bytes, std::uint32_t value)
{
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
    }
}

void repairChecksums(std::uint8_t* bytes, std::size_t count)
{
    constexpr std::size_t signature = 8;
    constexpr std::size_t overhead = 12; // length, type and checksum of a chunk
    for (std::size_t chunk = signature; chunk + overhead <= count;) {
        const std::size_t length = bigEndian(bytes + chunk);
        if (length > count - chunk - overhead) {
            return;
        }
        const auto covered = static_cast<uInt>(length + 4);
        putBigEndian(bytes + chunk + 8 + length, static_cast<std::uint32_t>(crc32(0, bytes + chunk + 4, covered)));
        chunk += length + overhead;
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes, std::size_t count, std::size_t room,
                                               unsigned int seed)
{
    const std::size_t mutated = LLVMFuzzerMutate(bytes, count, room);
    constexpr unsigned int keepBrokenEvery = 16;
    if (seed % keepBrokenEvery != 0) {
        repairChecksums(bytes, mutated);
    }
    return mutated;
}
