// The real screen on a fake board, for the tests of its building, its input and its flow.
#pragma once

#include "graphics/font.h"
#include "graphics/image_store.h"
#include "tests/support/picture.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/system_calls.h"
#include "updater/updater.h"

#include <cerrno>
#include <cstdint>
#include <functional>
#include <gmock/gmock.h>
#include <optional>
#include <string>
#include <vector>

inline const ScriptedRead nothingNow = {"", EAGAIN};

class ScreenTest : public testing::Test {
protected:
    // What the buttons send.
    static constexpr std::int32_t askUpdate = 3;
    static constexpr std::int32_t askFactoryReset = 4;
    static constexpr std::int32_t cancel = 5;
    static constexpr std::int32_t confirm = 6;

    ScreenTest()
    {
        buildImageStore();
        buildFont("font8", "img/font8", 1, 2, 1);
        buildFont("font16", "img/font8", 2, 4, 2);
        build();
    }

    /// Builds the screen anew.
    void build()
    {
        screen.reset();
        screen.emplace();
        screen->setSize(256, 160);
        iteration = 0;
    }

    // Time.

    void tick(int count = 1)
    {
        for (int i = 0; i < count; ++i) {
            screen->update(++iteration);
        }
    }
    void tickTo(std::uint64_t target)
    {
        while (iteration < target) {
            tick();
        }
    }

    // The world around.

    void plugDrive(bool hasPartition = true)
    {
        calls.placeFile("/dev/sda", folder.path().string());
        if (hasPartition) {
            calls.placeFile("/dev/sda1", folder.path().string());
        }
    }
    void placeVersion(const std::string& path, const std::string& contents)
    {
        const std::string name = path.substr(path.rfind('/') + 1);
        folder.write(name, contents);
        calls.placeFile(path, (folder / name).string());
    }
    /// The next start of `commandLine` gives one of `reads` after the other, then ends with `exitCode`.
    void script(const std::string& commandLine, std::deque<ScriptedRead> reads, int exitCode)
    {
        reads.push_back({"", 0});
        calls.script(commandLine, {"exit " + std::to_string(exitCode), std::move(reads)});
    }

    // Ways through the flow.

    void startPreparing(std::deque<ScriptedRead> reads, int exitCode)
    {
        plugDrive();
        script("/usr/sbin/decrypt.sh /dev/sda1", std::move(reads), exitCode);
        tickTo(501);
    }
    void reachMenu(const std::string& oldVersion, const std::string& newVersion)
    {
        placeVersion("/tmp/fw/version.old.txt", oldVersion);
        placeVersion("/tmp/fw/version.txt", newVersion);
        startPreparing({}, 0);
        ASSERT_EQ(screen->getState(), UpdateState::Choosing);
    }
    /// Through menu and dialog, up to the running format script.
    void startWork(bool factoryReset, std::deque<ScriptedRead> reads, int exitCode)
    {
        reachMenu("1.0", "1.1");
        script(factoryReset ? "/usr/sbin/format.sh 1" : "/usr/sbin/format.sh 0", std::move(reads), exitCode);
        notify(factoryReset ? askFactoryReset : askUpdate);
        notify(confirm);
        ASSERT_EQ(screen->getState(), UpdateState::Formatting);
    }

    void notify(std::int32_t code) { screen->notify("somebody", code, {}); }

    // What can be seen.

    template <typename Kind>
    Kind& child(std::size_t index)
    {
        return static_cast<Kind&>(*screen->getChildren().at(index));
    }
    Text& title() { return child<Text>(0); }
    Button& factoryButton() { return child<Button>(1); }
    Button& updateButton() { return child<Button>(2); }
    Text& message() { return child<Text>(3); }
    Button& noButton() { return child<Button>(4); }
    Button& yesButton() { return child<Button>(5); }

    /// The visible children, a selected one in brackets.
    [[nodiscard]] std::string visible()
    {
        static constexpr const char* names[] = {"title", "factory", "update", "message", "no", "yes"};
        std::string result;
        for (std::size_t i = 0; i < 6; ++i) {
            const Widget& widget = child<Widget>(i);
            if (widget.isVisible()) {
                const std::string name = widget.isSelected() ? '[' + std::string(names[i]) + ']' : names[i];
                result += (result.empty() ? "" : " ") + name;
            }
        }
        return result;
    }

    const Bitmap& draw()
    {
        screen->drawTree();
        return screen->getSurface();
    }

    /// The number of the wheel frame on the screen; -1 when its place is empty, -2 for any other content.
    [[nodiscard]] int shownWheel()
    {
        draw();
        Bitmap place(51, 51);
        for (std::int32_t y = 0; y < 51; ++y) {
            for (std::int32_t x = 0; x < 51; ++x) {
                place.fillRect(x, y, 1, 1, screen->getSurface().pixel(103 + x, 104 + y));
            }
        }
        Bitmap empty(51, 51);
        empty.fill(0);
        if (pictureOf(place) == pictureOf(empty)) {
            return -1;
        }
        for (int i = 0; i < 8; ++i) {
            Bitmap expected = empty;
            expected.drawBitmap(0, 0, getImage("img/wheel_" + std::to_string(i) + ".png"), false);
            if (pictureOf(place) == pictureOf(expected)) {
                return i;
            }
        }
        return -2;
    }

    /// What `action` writes to standard output.
    static std::string printedBy(const std::function<void()>& action)
    {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    SystemCalls calls;
    ScratchFolder folder;
    std::optional<Updater> screen;
    std::uint64_t iteration = 0;
};
