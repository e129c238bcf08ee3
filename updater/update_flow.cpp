// The state machine of the update: runs the scripts and sets the messages.
#include "updater/updater.h"

#include "updater/screen_texts.h"
#include "updater/timing.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <string_view>

namespace {

// Constructed once, because polling for the drive must not allocate.
const std::filesystem::path drivePath = "/dev/sda";
const std::filesystem::path partitionPath = "/dev/sda1";

constexpr std::string_view progressPrefix = "SHOW: ";

struct FailureMessage {
    UpdateState state;
    // An empty condition matches every value.
    std::optional<std::uint32_t> status;
    std::optional<std::uint32_t> isFactoryReset;
    const char* text;
};

constexpr std::array<FailureMessage, 7> failureMessages = {{
    {UpdateState::Preparing, 1, {}, texts::driveFailed},
    {UpdateState::Preparing, 2, {}, texts::firmwareNotFound},
    {UpdateState::Preparing, 3, {}, texts::firmwareCorrupt},
    {UpdateState::Formatting, {}, 0, texts::updateFormatFailed},
    {UpdateState::Formatting, {}, 1, texts::resetFormatFailed},
    {UpdateState::Installing, {}, 0, texts::updateInstallFailed},
    {UpdateState::Installing, {}, 1, texts::resetInstallFailed},
}};

/// Returns the first word of the file; empty if there is none or the file cannot be read.
std::string readVersion(const char* path)
{
    std::string word;
    std::ifstream file(path);
    if (!(file >> word)) {
        word.clear(); // a failed read or allocation may leave a part of the word
    }
    return word;
}

} // namespace

void Updater::update(std::uint64_t iteration)
{
    turnWheel(iteration);
    checkForDrive(iteration);
    if (runner != nullptr) {
        pollCommand();
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

void Updater::checkForDrive(std::uint64_t iteration)
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
    progressHeader = texts::preparingHeader;
    setMessage(progressHeader);
    wheelFrame = 0;
}

void Updater::pollCommand()
{
    const std::uint32_t status = runner->poll();
    showProgress();
    if (status == 0) {
        commandSucceeded();
    } else if (status != CommandRunner::running) {
        commandFailed(status);
    }
}

/// Shows the next progress line, at most one per iteration, and discards any other lines before it.
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
        setMessage(texts::done);
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
    updateQuestion = texts::updateQuestion(oldVersion, newVersion);
    factoryQuestion = texts::factoryQuestion(newVersion);
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
            break;
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
    progressHeader = texts::updatingHeader;
    setMessage(progressHeader);
    runner.reset();
    runner = std::make_unique<CommandRunner>("/usr/sbin/format.sh " + std::to_string(isFactoryReset));
    noButton.setVisible(false);
    yesButton.setVisible(false);
    wheelFrame = 0;
    state = UpdateState::Formatting;
    markDirty();
}
