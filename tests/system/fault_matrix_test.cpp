// Runs the cells of the fault matrix with the example scripts on image files.
#include "sim/session/process.h"
#include "tests/support/process_census.h"
#include "tests/system/fault_injection.h"
#include "tests/system/fault_tables.h"
#include "tests/system/golden_screen.h"
#include "tests/system/owner.h"
#include "tests/system/script_tools.h"
#include "updater/screen_texts.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace matrix {

void PrintTo(const Cell& cell, std::ostream* stream)
{
    *stream << cell.fault->name << " at " << cell.moment->name;
}

void PrintTo(const Fault* fault, std::ostream* stream)
{
    *stream << fault->title;
}

namespace {

std::string contentsOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// One cell.

class FaultMatrix : public testing::TestWithParam<Cell>, protected Owner {
protected:
    void visit(const Moment& moment) override;

    void expectMenu();
    void expectEnd();
    void expectStorage();
    void expectNextOperation();
    void verifyMemory(bool arePresetsKept);

    const Result expected = expectedResult(GetParam());
    bool hasBegun = false;
};

void FaultMatrix::visit(const Moment& moment)
{
    if (&moment != GetParam().moment || hasBegun) {
        return;
    }
    hasBegun = true;
    beginFault(*GetParam().fault, device);
}

void FaultMatrix::expectMenu()
{
    EXPECT_TRUE(matchesGolden(device->screen(), expected.isUpdateOffered ? "menu" : "menu-without-update"));
}

void FaultMatrix::expectEnd()
{
    device->run(600); // the screen must not change any more
    if (expected.screen != nullptr) {
        EXPECT_TRUE(matchesGolden(device->screen(), expected.screen));
    } else {
        EXPECT_TRUE(isShown(texts::preparingHeader + expected.message, false)) << expected.message;
    }
    EXPECT_EQ(device->standardOutput(), std::string("Starting updater...\n") +
                                            (expected.hasInstalled ? "Started install.sh\n" : "") +
                                            (expected.hasFailed ? "A command failed...\n" : "Everything done"));
    EXPECT_EQ(device->waitStatus(), std::nullopt);
    EXPECT_TRUE(device->violations().empty());
    EXPECT_EQ(takeCensus(device->processId()).children, 0U);
}

void FaultMatrix::verifyMemory(bool arePresetsKept)
{
    EXPECT_NO_THROW(runTool(SCRIPTS_DIR "/verify_memory.sh", {device.path(), DeviceParts::shared().firmware(), "2.0.0",
                                                              arePresetsKept ? "kept" : "lost"}));
}

/// Returns the paths and contents of the files on an image.
std::string listingOf(const fs::path& image)
{
    const ScratchFolder folder;
    static_cast<void>(sim::runProcess(*sim::findTool("debugfs"), {"-R", "rdump / " + folder.path().string(), image}));
    std::set<std::string> entries;
    for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
        const std::string content = entry.is_regular_file() ? contentsOf(entry.path()) : "";
        entries.insert(fs::relative(entry.path(), folder.path()).string() + "\n" + content + "\n");
    }
    std::string listing;
    for (const std::string& entry : entries) {
        listing += entry;
    }
    return listing;
}

void FaultMatrix::expectStorage()
{
    static const std::string oldFiles = listingOf(DeviceParts::shared().device() / "dev/memory");
    if (expected.memory == Memory::Old) {
        EXPECT_TRUE(listingOf(device.memory()) == oldFiles) << "the files on the memory have changed";
    } else if (expected.memory == Memory::New) {
        verifyMemory(expected.arePresetsKept());
    }
}

/// Whether an operation succeeds depends only on the files on the memory and on the spare partition, so each
/// combination is tested once.
void FaultMatrix::expectNextOperation()
{
    static std::map<std::string, std::pair<bool, bool>> tested;
    const std::string files = listingOf(device.memory()) + "\nbackup\n" + listingOf(device.backup());
    const std::pair next{expected.canUpdate(), expected.arePresetsKept()};
    if (const auto [earlier, isNew] = tested.emplace(files, next); !isNew) {
        EXPECT_EQ(earlier->second, next);
        return;
    }
    ASSERT_TRUE(reachMenu());
    EXPECT_TRUE(matchesGolden(device->screen(), expected.canUpdate() ? "menu" : "menu-without-update"));
    operate(expected.canUpdate() ? Operation::Update : Operation::Reset);
    EXPECT_TRUE(matchesGolden(device->screen(), "done"));
    verifyMemory(expected.arePresetsKept());
}

TEST_P(FaultMatrix, EndsAndRecoversAsExpected)
{
    if (reachMenu()) {
        expectMenu();
        operate(expected.operation);
    }
    ASSERT_TRUE(hasBegun) << "the moment was not reached";
    if (device.isOn()) {
        expectEnd();
        device.switchOff();
    }
    endFault(device);
    expectStorage();
    expectNextOperation();
}

// Several cells in one run, for faults of devices other than the storage.

constexpr std::uint64_t faultTime = 500; // iterations

struct Walk {
    const Fault* fault;
    Operation operation;
};

void PrintTo(const Walk& walk, std::ostream* stream)
{
    *stream << walk.fault->name;
}

class DeviceFaults : public testing::TestWithParam<Walk>, protected Owner {
protected:
    void visit(const Moment& moment) override;
    void expectFaultHasNoLastingEffect(const Moment& moment);
    [[nodiscard]] bool isDisplayFault() const
    {
        return fault().starts_with("failing spi") || fault().ends_with(" spi");
    }
    [[nodiscard]] std::string fault() const { return GetParam().fault->injected; }

    std::vector<const Moment*> visited;
};

void DeviceFaults::visit(const Moment& moment)
{
    SCOPED_TRACE(moment.name);
    visited.push_back(&moment);
    settle();
    const auto leds = device->leds();
    const std::uint64_t frames = device->frameCount();
    const sim::Screen before = device->screen();
    device->setInjectedFault(fault(), true);
    if (moment.stage == Stage::Menu || moment.stage == Stage::Dialog) {
        device->turn(1);
    }
    device->run(faultTime);
    if (isDisplayFault()) {
        EXPECT_EQ(device->frameCount(), frames) << "a picture arrived during the fault";
    } else if (moment.stage == Stage::Menu || moment.stage == Stage::Dialog) {
        EXPECT_EQ(device->screen() == before, fault() != sim::fault::failingLeds);
    }
    device->setInjectedFault(fault(), false);
    device->run(3 * faultTime);
    EXPECT_EQ(device->leds(), leds);
    expectFaultHasNoLastingEffect(moment);
}

/// After the fault, the wheel or the next turn of the knob causes the next picture.
void DeviceFaults::expectFaultHasNoLastingEffect(const Moment& moment)
{
    const bool isReset = GetParam().operation == Operation::Reset;
    switch (moment.stage) {
    case Stage::Waiting:
        EXPECT_TRUE(isShown(texts::waiting, true));
        break;
    case Stage::Decrypting:
        EXPECT_TRUE(isShown(texts::preparingHeader + std::string(moment.name), true));
        break;
    case Stage::Formatting:
    case Stage::Installing:
        EXPECT_TRUE(isShown(texts::updatingHeader + std::string(moment.name), true));
        break;
    case Stage::Menu: // the turn during the fault has selected the first entry
        device->turn(1);
        settle();
        EXPECT_TRUE(matchesGolden(device->screen(), "menu-update"));
        break;
    case Stage::Dialog: // the turn during the fault has selected "Yes"
        device->turn(1);
        settle();
        EXPECT_TRUE(matchesGolden(device->screen(), isReset ? "factory-reset-no" : "update-no"));
        break;
    case Stage::Done:
        EXPECT_TRUE(matchesGolden(device->screen(), "done"));
        break;
    }
}

TEST_P(DeviceFaults, HaveNoLastingEffectAtAnyMoment)
{
    const Operation operation = GetParam().operation;
    ASSERT_TRUE(reachMenu());
    operate(operation);
    EXPECT_EQ(visited, path(operation));
    EXPECT_EQ(unknownLines, std::vector<std::string>());
    EXPECT_TRUE(device->standardOutput().ends_with("Everything done"));
    for (const std::string& violation : device->violations()) {
        EXPECT_EQ(violation, "a frame is short: 5120 of 10240 bytes");
    }
    EXPECT_NO_THROW(runTool(SCRIPTS_DIR "/verify_memory.sh", {device.path(), DeviceParts::shared().firmware(), "2.0.0",
                                                              operation == Operation::Update ? "kept" : "lost"}));
}

// The parts of the matrix. Each part is a separate test suite, so parts can run at the same time.

std::vector<Cell> cellsOfFaults(std::initializer_list<const char*> names)
{
    std::vector<Cell> cells;
    for (const Fault& fault : allFaults()) {
        const bool isChosen = std::any_of(names.begin(), names.end(), [&](const char* name) {
            return std::string_view(fault.name).starts_with(name) && fault.effect != Effect::DeviceFails;
        });
        if (isChosen) {
            const auto more = cellsOf(fault);
            cells.insert(cells.end(), more.begin(), more.end());
        }
    }
    return cells;
}

/// The cell in the middle of the matrix.
std::vector<Cell> sample()
{
    const auto all = cellsOfFaults({""});
    return {all[all.size() / 2]};
}

std::vector<Walk> walks(bool isSample)
{
    std::vector<Walk> result;
    for (const Fault& fault : allFaults()) {
        if (fault.effect == Effect::DeviceFails) {
            result.push_back({&fault, Operation::Update});
            if (!isSample) {
                result.push_back({&fault, Operation::Reset});
            }
        }
    }
    result.resize(isSample ? 1 : result.size());
    return result;
}

constexpr auto nameOfCell = [](const auto& test) {
    const Moment& moment = *test.param.moment;
    constexpr const char* stages[] = {"Waiting", "Decrypting", "Menu", "Dialog", "Formatting", "Installing", "Done"};
    std::string name = std::string(test.param.fault->name) + (moment.operation == Operation::Reset ? "_Reset_" : "_") +
                       stages[static_cast<std::size_t>(moment.stage)] + "_";
    for (const char letter : std::string_view(moment.name)) {
        name += std::isalnum(static_cast<unsigned char>(letter)) != 0 ? std::string(1, letter) : "";
    }
    return name;
};

constexpr auto nameOfWalk = [](const auto& test) {
    return std::string(test.param.fault->name) + (test.param.operation == Operation::Reset ? "_Reset" : "_Update");
};

INSTANTIATE_TEST_SUITE_P(Short, FaultMatrix, testing::ValuesIn(sample()), nameOfCell);
INSTANTIATE_TEST_SUITE_P(LongDrivePulled, FaultMatrix, testing::ValuesIn(cellsOfFaults({"DrivePulled"})), nameOfCell);
INSTANTIATE_TEST_SUITE_P(LongDriveContent, FaultMatrix,
                         testing::ValuesIn(cellsOfFaults({"DriveWith", "Firmware", "Signing", "NoRoom", "Other"})),
                         nameOfCell);
INSTANTIATE_TEST_SUITE_P(LongMemoryDetached, FaultMatrix, testing::ValuesIn(cellsOfFaults({"MemoryDetached"})),
                         nameOfCell);
INSTANTIATE_TEST_SUITE_P(LongMemoryContent, FaultMatrix,
                         testing::ValuesIn(cellsOfFaults({"MemoryDestroyed", "MemoryLosesFiles"})), nameOfCell);
INSTANTIATE_TEST_SUITE_P(LongMemoryReadOnly, FaultMatrix, testing::ValuesIn(cellsOfFaults({"MemoryReadOnly"})),
                         nameOfCell);
INSTANTIATE_TEST_SUITE_P(LongBackupDetached, FaultMatrix, testing::ValuesIn(cellsOfFaults({"BackupDetached"})),
                         nameOfCell);
INSTANTIATE_TEST_SUITE_P(LongBackupDestroyed, FaultMatrix, testing::ValuesIn(cellsOfFaults({"BackupDestroyed"})),
                         nameOfCell);
INSTANTIATE_TEST_SUITE_P(LongBackupReadOnly, FaultMatrix, testing::ValuesIn(cellsOfFaults({"BackupReadOnly"})),
                         nameOfCell);
INSTANTIATE_TEST_SUITE_P(LongPowerCut, FaultMatrix, testing::ValuesIn(cellsOfFaults({"PowerCut"})), nameOfCell);
INSTANTIATE_TEST_SUITE_P(LongScriptKilled, FaultMatrix, testing::ValuesIn(cellsOfFaults({"ScriptKilled"})), nameOfCell);
INSTANTIATE_TEST_SUITE_P(LongWorkKilled, FaultMatrix, testing::ValuesIn(cellsOfFaults({"WorkKilled"})), nameOfCell);
INSTANTIATE_TEST_SUITE_P(LongAllKilled, FaultMatrix, testing::ValuesIn(cellsOfFaults({"AllKilled"})), nameOfCell);
INSTANTIATE_TEST_SUITE_P(Short, DeviceFaults, testing::ValuesIn(walks(true)), nameOfWalk);
INSTANTIATE_TEST_SUITE_P(LongDevices, DeviceFaults, testing::ValuesIn(walks(false)), nameOfWalk);

} // namespace
} // namespace matrix
