// Copies the data between the holes.
#include "sim/models/sparse_copy.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace sim {

namespace fs = std::filesystem;

namespace {

constexpr off_t largestPart = 1 << 20; // bytes; limits the memory that a copy needs

[[noreturn]] void failToRead(const fs::path& path)
{
    const int reason = errno;
    throw std::runtime_error("cannot read " + path.string() + ": " + std::strerror(reason));
}

/// Returns the parts of the extent that are not holes. Without support by the file system, nothing is a hole.
std::vector<Extent> dataIn(const fs::path& path, const Extent& extent)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) {
        failToRead(path);
    }
    const auto seek = [&](off_t from, int kind) {
        const off_t found = lseek(fileno(file.get()), from, kind);
        if (found < 0 && errno != ENXIO) { // ENXIO: no more data
            failToRead(path);
        }
        return found;
    };
    const auto end = static_cast<off_t>(extent.offset + extent.size);
    std::vector<Extent> parts;
    off_t data = seek(static_cast<off_t>(extent.offset), SEEK_DATA);
    while (data >= 0 && data < end) {
        const off_t partEnd = std::min({seek(data, SEEK_HOLE), end, data + largestPart});
        parts.push_back({static_cast<std::uint64_t>(data), static_cast<std::uint64_t>(partEnd - data)});
        data = seek(partEnd, SEEK_DATA);
    }
    return parts;
}

} // namespace

void copySparse(const fs::path& from, const Extent& extent, const fs::path& to)
{
    std::ifstream in(from, std::ios::binary);
    std::ofstream out(to, std::ios::binary);
    for (const Extent& part : dataIn(from, extent)) {
        std::string bytes(part.size, '\0');
        in.seekg(static_cast<std::streamoff>(part.offset));
        in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.seekp(static_cast<std::streamoff>(part.offset - extent.offset));
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    if (!in || !out.flush()) {
        throw std::runtime_error("cannot copy " + from.string() + " to " + to.string());
    }
    fs::resize_file(to, extent.size);
}

void copyFolderSparse(const fs::path& from, const fs::path& to)
{
    fs::create_directory(to, from);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(from)) {
        const fs::path copy = to / entry.path().lexically_relative(from);
        if (entry.is_directory()) {
            fs::create_directory(copy, entry.path());
        } else {
            copySparse(entry.path(), {0, entry.file_size()}, copy);
            fs::permissions(copy, entry.status().permissions());
        }
    }
}

} // namespace sim
