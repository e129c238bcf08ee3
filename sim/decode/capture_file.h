// Opens a capture: a VCD file, or another format that sigrok-cli converts to VCD.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <sys/types.h>
#include <vector>

namespace sim {

class CaptureFile {
public:
    /// "-" is standard input. Throws CaptureError if the file cannot be read or is empty, or if its format is not VCD
    /// and it is standard input or not a regular file. Throws Interrupted after a termination signal.
    explicit CaptureFile(const std::filesystem::path& path);
    CaptureFile(const CaptureFile&) = delete;
    CaptureFile& operator=(const CaptureFile&) = delete;
    /// Kills sigrok-cli if it is still running.
    ~CaptureFile();

    /// Reads the next bytes of the VCD text; returns 0 at its end. Throws CaptureError if reading or converting fails,
    /// and Interrupted after a termination signal.
    std::size_t read(std::span<char> buffer);

    /// The name for messages.
    [[nodiscard]] const std::string& name() const { return fileName; }
    /// The size of the VCD text in bytes; 0 if it is unknown, as for a pipe or during a conversion.
    [[nodiscard]] std::uint64_t size() const { return fileSize; }
    /// The number of bytes read from the VCD text.
    [[nodiscard]] std::uint64_t position() const { return bytesRead; }

private:
    std::size_t readDescriptor(std::span<char> buffer);
    void convert(const std::filesystem::path& path);
    void awaitConverter();
    [[nodiscard]] std::string converterMessage() const;
    [[noreturn]] void fail(const std::string& reason) const;

    std::string fileName;
    int descriptor = -1;
    std::uint64_t fileSize = 0;
    std::uint64_t bytesRead = 0;
    /// The first bytes, which were read to recognise the format.
    std::vector<char> start;
    std::size_t startRead = 0;
    /// The process of sigrok-cli, and the file with its standard error.
    pid_t converter = -1;
    int messages = -1;
};

} // namespace sim
