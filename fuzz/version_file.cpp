// The version files, as the screen tells of them when the drive has been decrypted.
#include "fuzz/fuzz_target.h"
#include "fuzz/memory_file.h"
#include "graphics/font.h"
#include "graphics/image_store.h"
#include "tests/support/system_calls.h"
#include "updater/updater.h"

#include <string>
#include <string_view>

namespace {

constexpr std::int32_t askUpdate = 3;
constexpr std::int32_t askFactoryReset = 4;
constexpr std::uint64_t firstDriveCheck = 501;

const std::string question = "\n\nDo not unplug the power during the process.\n\nDo you want to continue?";

bool isBlank(char character)
{
    return character == ' ' || (character >= '\t' && character <= '\r');
}

std::string firstWord(std::string_view text)
{
    const auto* const begin = std::find_if_not(text.begin(), text.end(), isBlank);
    return {begin, std::find_if(begin, text.end(), isBlank)};
}

std::string messageAfter(Updater& screen, std::int32_t action)
{
    screen.notify("a button", action, {});
    return static_cast<const Text&>(*screen.getChildren().at(3)).getText();
}

void checkQuestions(Updater& screen, const std::string& oldVersion, const std::string& newVersion)
{
    const std::string updateStart =
        oldVersion.empty() ? "to " + newVersion : "from " + oldVersion + " to " + newVersion + ".";
    require(messageAfter(screen, askUpdate) == "I will update the firmware " + updateStart + question,
            "the update is asked for with the first words of both files");
    require(messageAfter(screen, askFactoryReset) == "I will do a factory reset to firmware " + newVersion +
                                                         ".\n\nALL DATA/PRESETS WILL BE LOST!" + question,
            "the factory reset is asked for with the first word of the new version's file");
}

void prepareImages()
{
    static const bool isPrepared = [] {
        buildImageStore();
        buildFont("font8", "img/font8", 1, 2, 1);
        buildFont("font16", "img/font8", 2, 4, 2);
        return true;
    }();
    require(isPrepared, "the images are there");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
    prepareImages();
    FuzzInput input(bytes, count);
    const std::string oldText = input.takeString(input.take<std::uint16_t>());
    const std::string newText = input.takeString(count);
    static const MemoryFile oldFile;
    static const MemoryFile newFile;
    oldFile.write(oldText);
    newFile.write(newText);

    SystemCalls calls;
    calls.setLogging(false);
    calls.placeFile("/dev/sda", "/dev/null");
    calls.placeFile("/tmp/fw/version.old.txt", oldFile.path());
    calls.placeFile("/tmp/fw/version.txt", newFile.path());
    calls.script("/usr/sbin/decrypt.sh /dev/sda", {.reads = {{"", 0}}, .waitStatus = 0});

    Updater screen;
    screen.setSize(256, 160);
    screen.update(firstDriveCheck);
    require(screen.getState() == UpdateState::Choosing, "the drive leads to the menu");
    const bool isUpdateOffered = screen.getChildren().at(2)->isVisible();
    require(isUpdateOffered == !firstWord(oldText).empty(), "an update is offered when something is installed");
    checkQuestions(screen, firstWord(oldText), firstWord(newText));
    screen.drawTree();
    return 0;
}
