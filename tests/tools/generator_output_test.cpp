// The image table generator: its usage, the file it writes, and that equal pictures give an equal table.
#include "tests/tools/generator_fixture.h"

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

using GenerateImageTable = GeneratorFixture;

// Arguments

TEST_F(GenerateImageTable, ShowsTheUsageWhenTheNumberOfArgumentsIsWrong)
{
    const std::vector<std::vector<std::string>> wrong = {{}, {"img"}, {"img", "table.cpp", "more"}};
    for (const std::vector<std::string>& arguments : wrong) {
        SCOPED_TRACE(arguments.size());
        std::vector<std::string> command = {GENERATE_IMAGE_TABLE};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const ProcessResult result = runProcess(command, {.workingFolder = folder.path()});
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.standardOutput, "");
        EXPECT_EQ(result.standardError, "usage: generate_image_table IMG_DIR OUTPUT.cpp\n");
    }
    EXPECT_THAT(outputFolderContent(), IsEmpty());
}

// The output

TEST_F(GenerateImageTable, WritesAFileThatCompilesWithoutWarnings)
{
    addPicture("a.png", greyRow({255, 170, 84, 0}));
    addPicture("font8/41.png", greyRow({0}));
    ASSERT_EQ(table().entries.size(), 2U);

    const ProcessResult compiler =
        runProcess({CXX_COMPILER, "-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror",
                    "-fsyntax-only", "-I", SOURCE_DIR, output.string()});
    EXPECT_EQ(compiler.exitCode, 0) << compiler.standardError;
    EXPECT_EQ(compiler.standardError, "");
}

TEST_F(GenerateImageTable, ReplacesTheOutputOfAnEarlierRun)
{
    addPicture("a.png");
    writeFile(output, std::string(10000, 'x'));
    EXPECT_EQ(table().pixels, "3");
    EXPECT_THAT(outputText(), Not(HasSubstr("xx")));
    EXPECT_THAT(outputFolderContent(), ElementsAre("table.cpp"));
}

TEST_F(GenerateImageTable, ReportsAnOutputFolderThatIsMissing)
{
    addPicture("a.png");
    output = folder / "nowhere" / "table.cpp";
    const ProcessResult result = run();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.standardError, "generate_image_table: " + output.string() + ": cannot be written\n");
    EXPECT_FALSE(fs::exists(output.parent_path()));
}

TEST_F(GenerateImageTable, RefusesToReplaceAFolder)
{
    addPicture("a.png");
    fs::create_directory(output);
    const ProcessResult result = run();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.standardError, "generate_image_table: " + output.string() + ": is not a regular file\n");
    EXPECT_THAT(outputFolderContent(), ElementsAre("table.cpp"));
}

TEST_F(GenerateImageTable, RefusesToReplaceAPipe)
{
    addPicture("a.png");
    ASSERT_EQ(mkfifo(output.c_str(), 0600), 0);
    const ProcessResult result = run();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.standardError, "generate_image_table: " + output.string() + ": is not a regular file\n");
    EXPECT_TRUE(fs::is_fifo(output));
}

TEST_F(GenerateImageTable, KeepsTheOldOutputWhenTheDiskIsFull)
{
    addPicture("a.png", greyRow(std::vector<unsigned int>(4000, 0)));
    writeFile(output, "the old table");
    const ProcessResult result = run({.largestFile = 2000});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.standardError, "generate_image_table: " + output.string() + ": cannot be written\n");
    EXPECT_EQ(outputText(), "the old table");
    EXPECT_THAT(outputFolderContent(), ElementsAre("table.cpp"));
}

TEST_F(GenerateImageTable, LeavesNothingWhenTheFirstRunFails)
{
    addPicture("a.png", greyRow({99}));
    EXPECT_EQ(run().exitCode, 1);
    EXPECT_THAT(outputFolderContent(), IsEmpty());
}

TEST_F(GenerateImageTable, NamesItselfInFrontOfWhatIsWrong)
{
    addPicture("a.png", greyRow({99}));
    EXPECT_THAT(run().standardError, StartsWith("generate_image_table: " + (imgDir / "a.png").string() + ": "));
}

// Equal pictures, equal table

/// The output for the same pictures, written in the given order into a folder elsewhere.
class EqualPictures : public GeneratorFixture {
protected:
    [[nodiscard]] std::string outputAfter(const std::vector<std::string>& order) const
    {
        fs::remove_all(imgDir);
        for (const std::string& name : order) {
            addPicture(name, greyRow({255, name.size() % 2 == 0 ? 0U : 84U}));
        }
        EXPECT_EQ(run().exitCode, 0);
        return outputText();
    }

    std::vector<std::string> names = {"wheel_1.png", "font8/41.png", "wheel_0.png", "b/z.png",
                                      "b.png",       "font8/00.png", "b_0.png",     "icons/ok.png"};
};

TEST_F(EqualPictures, GiveTheSameBytesAgain)
{
    EXPECT_EQ(outputAfter(names), outputAfter(names));
}

TEST_F(EqualPictures, GiveTheSameBytesInWhateverOrderTheyWereMade)
{
    const std::string first = outputAfter(names);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(outputAfter(names), first);
    std::reverse(names.begin(), names.end());
    EXPECT_EQ(outputAfter(names), first);
}

TEST_F(EqualPictures, GiveTheSameBytesWhereverTheFolderIs)
{
    const std::string first = outputAfter(names);
    imgDir = folder / "another" / "place" / "pictures";
    const std::string second = outputAfter(names);
    EXPECT_EQ(second, first);
    EXPECT_THAT(second, Not(HasSubstr(folder.path().string())));
}

TEST_F(EqualPictures, GiveTheSameBytesHoweverTheFolderIsSpelled)
{
    const std::string first = outputAfter(names);
    for (const char* spelling : {"img", "img/", "./img", "output/../img//"}) {
        SCOPED_TRACE(spelling);
        fs::remove(output);
        const std::vector<std::string> command = {GENERATE_IMAGE_TABLE, spelling, "output/table.cpp"};
        EXPECT_EQ(runProcess(command, {.workingFolder = folder.path()}).exitCode, 0);
        EXPECT_EQ(outputText(), first);
    }
}

TEST_F(EqualPictures, GiveTheSameBytesInEveryLocale)
{
    const std::string first = outputAfter(names);
    for (const char* locale : {"C", "C.UTF-8", "de_DE.UTF-8", "tr_TR.UTF-8", "nowhere"}) {
        SCOPED_TRACE(locale);
        EXPECT_EQ(run({.locale = locale}).exitCode, 0);
        EXPECT_EQ(outputText(), first);
    }
}

} // namespace
