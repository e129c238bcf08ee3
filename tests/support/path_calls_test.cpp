// Tests that the test double intercepts the device's paths in the functions that open a file or query its status. If
// these tests fail, the test double may be the cause of other failures.
#include "tests/support/scratch_folder.h"
#include "tests/support/system_calls.h"

#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char* const path = "/tmp/fw/version.txt";

bool opens(int fd)
{
    return fd >= 0 && close(fd) == 0;
}

bool opens(std::FILE* file)
{
    return file != nullptr && std::fclose(file) == 0;
}

/// A function whose result depends on whether the path exists.
struct Query {
    const char* name;
    std::function<bool()> exists;
};

struct stat status;
struct stat64 status64;
struct statx statusX;

const Query queries[] = {
    {"open", [] { return opens(open(path, O_RDONLY)); }},
    {"open64", [] { return opens(open64(path, O_RDONLY)); }},
    {"openat", [] { return opens(openat(AT_FDCWD, path, O_RDONLY)); }},
    {"openat64", [] { return opens(openat64(AT_FDCWD, path, O_RDONLY)); }},
    {"fopen", [] { return opens(fopen(path, "r")); }},
    {"fopen64", [] { return opens(fopen64(path, "r")); }},
    {"freopen", [] { return opens(freopen(path, "r", fopen("/dev/null", "r"))); }},
    {"freopen64", [] { return opens(freopen64(path, "r", fopen("/dev/null", "r"))); }},
    {"stat", [] { return stat(path, &status) == 0; }},
    {"stat64", [] { return stat64(path, &status64) == 0; }},
    {"lstat", [] { return lstat(path, &status) == 0; }},
    {"lstat64", [] { return lstat64(path, &status64) == 0; }},
    {"fstatat", [] { return fstatat(AT_FDCWD, path, &status, 0) == 0; }},
    {"fstatat64", [] { return fstatat64(AT_FDCWD, path, &status64, 0) == 0; }},
    {"statx", [] { return statx(AT_FDCWD, path, 0, STATX_BASIC_STATS, &statusX) == 0; }},
    {"access", [] { return access(path, F_OK) == 0; }},
    {"faccessat", [] { return faccessat(AT_FDCWD, path, F_OK, 0) == 0; }},
    {"euidaccess", [] { return euidaccess(path, F_OK) == 0; }},
    {"eaccess", [] { return eaccess(path, F_OK) == 0; }},
    {"std::filesystem::exists", [] { return std::filesystem::exists(path); }},
    {"std::ifstream", [] { return std::ifstream(path).is_open(); }},
};

TEST(PathCalls, EveryFunctionFindsAPlacedFile)
{
    const ScratchFolder folder;
    folder.write("version", "1.0");
    SystemCalls calls;
    calls.placeFile(path, (folder / "version").string());
    for (const Query& query : queries) {
        EXPECT_TRUE(query.exists()) << query.name << " bypasses the test double";
    }
}

TEST(PathCalls, NoFunctionFindsAnUnplacedFile)
{
    SystemCalls calls;
    for (const Query& query : queries) {
        EXPECT_FALSE(query.exists()) << query.name << " found " << path;
        EXPECT_EQ(errno, ENOENT) << query.name;
    }
}

TEST(PathCalls, CreatesAPlacedFile)
{
    const ScratchFolder folder;
    SystemCalls calls;
    calls.placeFile(path, (folder / "new").string());
    for (const auto create : {creat, creat64}) {
        EXPECT_TRUE(opens(create(path, 0600)));
        EXPECT_TRUE(std::filesystem::remove(folder / "new"));
    }
    EXPECT_TRUE(opens(open(path, O_WRONLY | O_CREAT, 0640)));
    ASSERT_EQ(stat(path, &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640U);
}

TEST(PathCalls, FileStreamsReadAPlacedFile)
{
    const ScratchFolder folder;
    folder.write("version", "1.0 beta");
    SystemCalls calls;
    calls.placeFile(path, (folder / "version").string());
    std::string word;
    std::ifstream(path) >> word;
    EXPECT_EQ(word, "1.0");
}

} // namespace
