// Drives the updater to the measured screens.
#include "benchmarks/screens.h"

#include "hw/frame_packer.h"
#include "tests/support/scratch_folder.h"
#include "updater/timing.h"

#include <cerrno>

namespace {

/// A command that prints one progress line and is still running after 99 polls.
ScriptedCommand endlessCommand()
{
    ScriptedCommand command{.reads = {{.bytes = "SHOW: " + progressText + '\n'}}, .waitStatus = 0};
    command.reads.resize(100, {.bytes = {}, .error = EAGAIN});
    return command;
}

} // namespace

void MeasuredUpdater::markAllDirty()
{
    markDirty();
    for (Widget* child : children) {
        child->markDirty();
    }
}

void MeasuredUpdater::turnWheel()
{
    wheelFrame = (wheelFrame + 1) & 7;
    markDirty();
}

ProductScreen::ProductScreen(SystemCalls& calls) : systemCalls(calls)
{
    updater.setSize(displayWidth, displayHeight);
}

void ProductScreen::goToMenu()
{
    const ScratchFolder folder;
    folder.write("version", "1.0\n");
    systemCalls.placeFile("/dev/sda", "/dev/null");
    systemCalls.placeFile("/tmp/fw/version.old.txt", folder / "version");
    systemCalls.placeFile("/tmp/fw/version.txt", folder / "version");
    systemCalls.script("/usr/sbin/decrypt.sh /dev/sda", {.reads = {{}}, .waitStatus = 0});
    updater.update(usbCheckPeriod);
    updater.update(usbCheckPeriod + 1);
    updater.onInput(InputEvent::RotateRight);
}

void ProductScreen::goToMessage()
{
    goToMenu();
    systemCalls.script("/usr/sbin/format.sh 0", endlessCommand());
    // Selects and clicks the second button of the menu, then the second button of the dialog. Initially, the first
    // button of each is selected.
    for (const InputEvent event :
         {InputEvent::RotateRight, InputEvent::Release, InputEvent::RotateRight, InputEvent::Release}) {
        updater.onInput(event);
    }
    updater.update(usbCheckPeriod + 2);
}

const Frame& ProductScreen::render()
{
    updater.drawTree();
    packFrame(updater.getSurface(), frame);
    return frame;
}
