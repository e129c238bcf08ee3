// The state machine of the update: which script runs when, and what the user is told.
#include "updater/updater.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <string_view>

namespace {

/// Iterations. Keep the odd value: one turn of the wheel is to take 1136.
constexpr std::uint64_t wheelPeriod = 142;
constexpr std::uint64_t usbCheckPeriod = 501;

// Built once: the drive is looked for at run time without an allocation.
const std::filesystem::path drivePath = "/dev/sda";
const std::filesystem::path partitionPath = "/dev/sda1";

constexpr std::string_view progressPrefix = "SHOW: ";

constexpr const char* preparingHeader = "Preparing new firmware...\n\n";
constexpr const char* updatingHeader =
    "Updating...\n\nDo not unplug the power.\n\nThis may take a few minutes.\n\nState: ";
constexpr const char* doneMessage = "Everything done!\nYou can now restart the device";

struct FailureMessage {
    UpdateState state;
    /// Matches every value when empty.
    std::optional<std::uint32_t> status;
    std::optional<std::uint32_t> isFactoryReset;
    const char* text;
};

// After a failed update the factory reset is what is left to try; after a failed factory reset, nothing is.
constexpr std::array<FailureMessage, 7> failureMessages = {{
    {UpdateState::Preparing, 1, {}, "Failed: Unable to access the USB drive."},
    {UpdateState::Preparing, 2, {}, "Failed: Firmware file \"tonecrate.fw\" not found."},
    {UpdateState::Preparing, 3, {}, "Failed: Firmware file is corrupt."},
    {UpdateState::Formatting, {}, 0, "Failed: Unable to format internal memory.\nYou can try a factory reset."},
    {UpdateState::Formatting,
     {},
     1,
     "Failed: Unable to format internal memory.\nThis should not happen, please contact us."},
    {UpdateState::Installing, {}, 0, "Failed: Unable to install files.\nYou can try a factory reset."},
    {UpdateState::Installing, {}, 1, "Failed: Unable to install files.\nThis should not happen, please contact us."},
}};

/// The first word of the file; empty when there is none or it cannot be read.
std::string readVersion(const char* path)
{
    std::string word;
    std::ifstream file(path);
    if (!(file >> word)) {
        word.clear(); // a failing read, or no memory for the word, may have left a part of it
    }
    return word;
}

std::string updateQuestionFor(const std::string& oldVersion, const std::string& newVersion)
{
    // Deliberate: the wording without an old version has no full stop behind the new one.
    const std::string action = oldVersion.empty()
                                   ? "I will update the firmware to " + newVersion
                                   : "I will update the firmware from " + oldVersion + " to " + newVersion + ".";
    return action + "\n\nDo not unplug the power during the process.\n\nDo you want to continue?";
}

std::string factoryQuestionFor(const std::string& newVersion)
{
    return "I will do a factory reset to firmware " + newVersion +
           ".\n\nALL DATA/PRESETS WILL BE LOST!\n\nDo not unplug the power during the process.\n\n"
           "Do you want to continue?";
}

} // namespace

void Updater::update(std::uint64_t iteration)
{
    turnWheel(iteration);
    lookForDrive(iteration);
    if (runner != nullptr) {
        followCommand();
    }
    Widget::update(iteration);
}

void Updater::turnWheel(std::uint64_t iteration)
{
    if (wheelFrame != noWheel && iteration % wheelPeriod == 0) {
        wheelFrame = (wheelFrame + 1) & 7;
        markDirty();
    }
}

void Updater::lookForDrive(std::uint64_t iteration)
{
    if (state != UpdateState::WaitingForUsb || iteration - lastUsbCheck < usbCheckPeriod) {
        return;
    }
    lastUsbCheck = iteration;
    if (!std::filesystem::exists(drivePath)) {
        return;
    }
    const bool hasPartition = std::filesystem::exists(partitionPath);
    runner = std::make_unique<CommandRunner>(hasPartition ? "/usr/sbin/decrypt.sh /dev/sda1"
                                                          : "/usr/sbin/decrypt.sh /dev/sda");
    state = UpdateState::Preparing;
    progressHeader = preparingHeader;
    setMessage(progressHeader);
    wheelFrame = 0;
}

void Updater::followCommand()
{
    const std::uint32_t status = runner->poll();
    showProgress();
    if (status == 0) {
        commandSucceeded();
    } else if (status != CommandRunner::running) {
        commandFailed(status);
    }
}

/// Shows the next progress line, at most one an iteration, and drops the other lines before it.
void Updater::showProgress()
{
    while (runner->lineCount() > 0) {
        const std::string line = runner->takeLine();
        if (line.starts_with(progressPrefix)) {
            setMessage(progressHeader + line.substr(progressPrefix.size()));
            return;
        }
    }
}

void Updater::commandSucceeded()
{
    switch (state) {
    case UpdateState::Preparing:
        offerChoice();
        break;
    case UpdateState::Formatting:
        runner.reset();
        runner = std::make_unique<CommandRunner>("/usr/sbin/install.sh");
        state = UpdateState::Installing;
        std::cout << "Started install.sh" << std::endl;
        break;
    case UpdateState::Installing:
        std::cout << "Everything done" << std::flush;
        runner.reset();
        setMessage(doneMessage);
        wheelFrame = noWheel;
        markDirty();
        state = UpdateState::Done;
        break;
    default:
        break;
    }
}

void Updater::offerChoice()
{
    oldVersion = readVersion("/tmp/fw/version.old.txt");
    newVersion = readVersion("/tmp/fw/version.txt");
    updateQuestion = updateQuestionFor(oldVersion, newVersion);
    factoryQuestion = factoryQuestionFor(newVersion);
    showMenu();
    runner.reset();
}

void Updater::commandFailed(std::uint32_t status)
{
    std::cout << "A command failed..." << std::endl;
    for (const FailureMessage& failure : failureMessages) {
        if (failure.state == state && failure.status.value_or(status) == status &&
            failure.isFactoryReset.value_or(isFactoryReset) == isFactoryReset) {
            setMessage(failure.text);
        }
    }
    wheelFrame = noWheel;
    state = UpdateState::Failed;
    noButton.setVisible(false);
    yesButton.setVisible(false);
    runner.reset();
}

void Updater::startWork()
{
    progressHeader = updatingHeader;
    setMessage(progressHeader);
    runner.reset();
    runner = std::make_unique<CommandRunner>("/usr/sbin/format.sh " + std::to_string(isFactoryReset));
    noButton.setVisible(false);
    yesButton.setVisible(false);
    wheelFrame = 0;
    state = UpdateState::Formatting;
    markDirty();
}
