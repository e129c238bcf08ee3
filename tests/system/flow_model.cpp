// The transitions of the flow model.
#include "tests/system/flow_model.h"

#include <utility>

FlowModel::FlowModel(std::string installedVersion, std::string firmwareVersion)
    : oldVersion(std::move(installedVersion)), newVersion(std::move(firmwareVersion))
{}

bool FlowModel::isScriptRunning() const
{
    return current == Place::Preparing || current == Place::Formatting || current == Place::Installing;
}

void FlowModel::driveFound(std::uint64_t iteration)
{
    current = Place::Preparing;
    driveFoundAt = iteration;
    header = text = texts::preparingHeader;
    startWheel(iteration);
}

void FlowModel::turned(bool right)
{
    const bool isMenu = current == Place::Menu;
    if (!isMenu && current != Place::Dialog) {
        return;
    }
    if (isMenu && oldVersion.empty()) {
        selection = Selection::First;
    } else if (selection == Selection::None) {
        selection = right ? Selection::First : Selection::Second;
    } else {
        selection = selection == Selection::First ? Selection::Second : Selection::First;
    }
}

void FlowModel::clicked(std::uint64_t iteration)
{
    if (selection == Selection::None) {
        return;
    }
    if (current == Place::Menu) {
        factoryReset = selection == Selection::First;
        current = Place::Dialog;
        text = question();
        selection = Selection::First;
    } else if (current == Place::Dialog && selection == Selection::First) {
        current = Place::Menu;
        selection = Selection::None;
    } else if (current == Place::Dialog) {
        work(iteration);
    }
}

std::string FlowModel::question() const
{
    return factoryReset ? texts::factoryQuestion(newVersion) : texts::updateQuestion(oldVersion, newVersion);
}

void FlowModel::work(std::uint64_t iteration)
{
    current = Place::Formatting;
    selection = Selection::None;
    header = text = texts::updatingHeader;
    startWheel(iteration);
}

void FlowModel::progressPrinted(const std::string& progress)
{
    text = header + progress;
}

void FlowModel::scriptEnded(int status, std::uint64_t iteration)
{
    if (status != 0) {
        fail(status, iteration);
    } else if (current == Place::Preparing) {
        current = Place::Menu;
        wheelStart.reset();
    } else if (current == Place::Formatting) {
        current = Place::Installing;
    } else {
        current = Place::Done;
        text = texts::done;
        wheelStart.reset();
    }
}

void FlowModel::fail(int status, std::uint64_t iteration)
{
    if (current == Place::Formatting) {
        text = factoryReset ? texts::resetFormatFailed : texts::updateFormatFailed;
    } else if (current == Place::Installing) {
        text = factoryReset ? texts::resetInstallFailed : texts::updateInstallFailed;
    } else if (status == 1) {
        text = texts::driveFailed;
    } else if (status == 2) {
        text = texts::firmwareNotFound;
    } else if (status == 3) {
        text = texts::firmwareCorrupt;
    } else if (!isRedrawnAfter(iteration)) {
        frozenWheel = wheelFrameAt(iteration);
    }
    current = Place::Failed;
    wheelStart.reset();
}

/// True if the drive was found or the wheel turned after the last drawing before `iteration`. The updater then draws
/// once more, without the wheel.
bool FlowModel::isRedrawnAfter(std::uint64_t iteration) const
{
    const std::uint64_t drawn = (iteration - 1) / drawingInterval * drawingInterval;
    return drawn < driveFoundAt || wheelFrameAt(drawn) != wheelFrameAt(iteration);
}

std::optional<int> FlowModel::wheelFrameAt(std::uint64_t iteration) const
{
    if (frozenWheel || !wheelStart) {
        return frozenWheel;
    }
    return ::wheelFrameAt(iteration, *wheelStart);
}

sim::Screen FlowModel::screenDrawnAt(std::uint64_t iteration) const
{
    ScreenPainter painter;
    if (current == Place::Menu) {
        return painter.menu(!oldVersion.empty(), selection).screen();
    }
    painter.message(text);
    if (const auto frame = wheelFrameAt(iteration)) {
        painter.wheel(*frame);
    }
    if (current == Place::Dialog) {
        painter.dialogButtons(selection);
    }
    return painter.screen();
}
