// The ways through the updater's flow to the measured screens.
#include "benchmarks/screens.h"

#include "benchmarks/board.h"
#include "hw/frame_packer.h"

#include <string_view>

namespace {

constexpr std::uint64_t driveIsFound = 501;
constexpr std::uint64_t wheelPeriod = 142;

// What the dialog's buttons send.
constexpr std::int32_t askUpdate = 3;
constexpr std::int32_t confirm = 6;

constexpr std::string_view progressLine = "SHOW: Formatting the internal memory, 42 %\n";

} // namespace

ProductScreen::ProductScreen()
{
    updater.setSize(displayWidth, displayHeight);
}

void ProductScreen::goToMenu()
{
    board::hasDrive = true;
    board::setOutput({}, 0, true);
    updater.update(driveIsFound);
    updater.update(driveIsFound + 1);
    board::hasDrive = false;
    updater.onInput(InputEvent::RotateRight);
}

void ProductScreen::goToMessage()
{
    goToMenu();
    board::setOutput(progressLine, progressLine.size(), false);
    updater.notify({}, askUpdate, {});
    updater.notify({}, confirm, {});
    updater.update(driveIsFound + 2);
}

void ProductScreen::markEverythingDirty()
{
    updater.markDirty();
    for (Widget* child : updater.getChildren()) {
        child->markDirty();
    }
}

void ProductScreen::turnWheel()
{
    iteration += wheelPeriod;
    updater.update(iteration);
}

const Frame& ProductScreen::render()
{
    updater.drawTree();
    packFrame(updater.getSurface(), frame);
    return frame;
}
