// Tests for the folder that contains the results.
#include "sim/decode/output_folder.h"

#include "tests/sim/comparisons.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;

void complete(const fs::path& path, const Lines& files)
{
    sim::OutputFolder folder(path);
    for (const std::string& file : files) {
        std::ofstream(folder.file(file)) << "text";
    }
    folder.complete();
}

TEST(OutputFolder, AppearsWhenItIsComplete)
{
    const ScratchFolder scratch;
    {
        const sim::OutputFolder folder(scratch / "results");
        std::ofstream(folder.file("log.txt")) << "text";
        EXPECT_FALSE(scratch.contains("results"));
    }
    EXPECT_TRUE(fs::is_empty(scratch.path()));
    complete(scratch / "results", {"log.txt"});
    EXPECT_TRUE(scratch.contains("results/log.txt"));
}

TEST(OutputFolder, DoesNotUseATemporaryFolderThatExists)
{
    const ScratchFolder scratch;
    const sim::OutputFolder first(scratch / "results");
    const std::string message = thrownMessage([&] { const sim::OutputFolder second(scratch / "results"); });
    EXPECT_TRUE(message.ends_with(": it exists")) << message;
}

TEST(OutputFolder, CreatesTheParentFolders)
{
    const ScratchFolder scratch;
    complete(scratch / "a/b/", {"log.txt"});
    EXPECT_TRUE(scratch.contains("a/b/log.txt"));
}

TEST(OutputFolder, ReplacesResultsAndEmptyFolders)
{
    const ScratchFolder scratch;
    complete(scratch / "results", {"log.txt", "report.txt", "00000.123456.png", "12345.000000-menu.png"});
    complete(scratch / "results", {"log.txt"});
    EXPECT_FALSE(scratch.contains("results/report.txt"));
    fs::create_directory(scratch / "empty");
    complete(scratch / "empty", {"log.txt"});
    EXPECT_TRUE(scratch.contains("empty/log.txt"));
}

TEST(OutputFolder, DoesNotReplaceAFolderThatContainsFilesOtherThanResults)
{
    for (const char* name :
         {"notes.txt", "photo.png", "1.png", "00000.1234567.png", "log.txt.bak", "00000.12345x.png"}) {
        const ScratchFolder scratch;
        fs::create_directory(scratch / "results");
        scratch.write("results/log.txt", "text");
        scratch.write(std::string("results/") + name, "text");
        const fs::path path = scratch / "results";
        EXPECT_EQ(thrownMessage([&] { const sim::OutputFolder folder(path); }),
                  "will not replace " + path.string() + ": it contains " + name +
                      ", which is not a result of this program");
    }
}

TEST(OutputFolder, ReportsAPathThatCannotBeAFolder)
{
    const ScratchFolder scratch;
    scratch.write("file", "text");
    EXPECT_EQ(thrownMessage([&] { const sim::OutputFolder folder(scratch / "file"); }),
              "cannot write to " + (scratch / "file").string() + ": not a folder");
    EXPECT_TRUE(
        contains(thrownMessage([&] { const sim::OutputFolder folder(scratch / "file/results"); }), "Not a directory"));
}

} // namespace
