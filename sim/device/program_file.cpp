// Reads the headers of ELF files.
#include "sim/device/program_file.h"

#include <cstring>
#include <elf.h>
#include <fstream>
#include <link.h>
#include <stdexcept>
#include <sys/stat.h>

namespace sim {

namespace fs = std::filesystem;

namespace {

using FileHeader = ElfW(Ehdr);
using ProgramHeader = ElfW(Phdr);

template <typename Header>
bool readAt(std::ifstream& file, std::uint64_t offset, Header& header)
{
    file.seekg(static_cast<std::streamoff>(offset));
    return static_cast<bool>(file.read(reinterpret_cast<char*>(&header), sizeof header));
}

std::string readText(std::ifstream& file, std::uint64_t offset, std::uint64_t size)
{
    constexpr std::uint64_t longest = 4096;
    std::string text(size <= longest ? size : 0, '\0');
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    return file ? text.substr(0, text.find('\0')) : "";
}

bool isForThisMachine(const FileHeader& header)
{
    constexpr unsigned char wordClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 && header.e_ident[EI_CLASS] == wordClass &&
           header.e_phentsize == sizeof(ProgramHeader);
}

/// The loader ignores LD_PRELOAD for set-user-ID and set-group-ID programs.
bool changesItsUser(const fs::path& program)
{
    struct stat status = {};
    return stat(program.c_str(), &status) != 0 || (status.st_mode & (S_ISUID | S_ISGID)) != 0;
}

} // namespace

std::string interpreterOf(const fs::path& program)
{
    std::ifstream file(program, std::ios::binary);
    FileHeader header{};
    if (!readAt(file, 0, header) || !isForThisMachine(header)) {
        return "";
    }
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ProgramHeader part{};
        if (!readAt(file, header.e_phoff + i * sizeof part, part)) {
            return "";
        }
        if (part.p_type == PT_INTERP) {
            return readText(file, part.p_offset, part.p_filesz);
        }
    }
    return "";
}

void requireDynamic(const fs::path& program)
{
    const std::string loader = interpreterOf(program);
    if (loader.empty() || loader != interpreterOf("/proc/self/exe") || changesItsUser(program)) {
        throw std::runtime_error("cannot preload the simulated hardware into " + program.string());
    }
}

} // namespace sim
