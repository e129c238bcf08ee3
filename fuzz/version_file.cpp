// Reads version files with arbitrary contents and checks the screen after decryption.
#include "fuzz/fuzz_target.h"
#include "fuzz/memory_file.h"
#include "graphics/font.h"
#include "graphics/image_store.h"
#include "tests/support/system_calls.h"
#include "updater/screen_texts.h"
#include "updater/timing.h"
#include "updater/updater.h"

#include <string>
#include <string_view>

namespace {

constexpr std::int32_t askUpdate = 3;
constexpr std::int32_t askFactoryReset = 4;

/// The updater with its protected fields accessible.
class TestUpdater : public Updater {
public:
    using Updater::message;
    using Updater::state;
    using Updater::updateButton;
};

struct TextFields : Text {
    using Text::text;
};

bool isBlank(char character)
{
    return character == ' ' || (character >= '\t' && character <= '\r');
}

std::string firstWord(std::string_view text)
{
    const auto* const begin = std::find_if_not(text.begin(), text.end(), isBlank);
    return {begin, std::find_if(begin, text.end(), isBlank)};
}

std::string messageAfter(TestUpdater& screen, std::int32_t action)
{
    screen.notify("sender", action, {});
    return screen.message.*&TextFields::text;
}

void checkQuestions(TestUpdater& screen, const std::string& oldVersion, const std::string& newVersion)
{
    require(messageAfter(screen, askUpdate) == texts::updateQuestion(oldVersion, newVersion),
            "the update question contains the first words of both files");
    require(messageAfter(screen, askFactoryReset) == texts::factoryQuestion(newVersion),
            "the factory reset question contains the first word of the new version's file");
}

void prepareImages()
{
    static const bool isPrepared = [] {
        buildImageStore();
        buildFont("font8", "img/font8", 1, 2, 1);
        buildFont("font16", "img/font8", 2, 4, 2);
        return true;
    }();
    require(isPrepared, "the images and fonts are built");
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

    TestUpdater screen;
    screen.setSize(256, 160);
    screen.update(usbCheckPeriod);
    require(screen.state == UpdateState::Choosing, "the menu is shown after decryption");
    require(screen.updateButton.isVisible() == !firstWord(oldText).empty(),
            "the update is offered if and only if the installed version is known");
    checkQuestions(screen, firstWord(oldText), firstWord(newText));
    screen.drawTree();
    return 0;
}
