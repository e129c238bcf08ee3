// A fixture with the updater's screen and the test double of the system calls.
#pragma once

#include "graphics/font.h"
#include "graphics/image_store.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/system_calls.h"
#include "updater/screen_texts.h"
#include "updater/timing.h"
#include "updater/updater.h"

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

/// Exposes the protected fields that the tests use.
class TestUpdater final : public Updater {
public:
    using Updater::children;
    using Updater::dirty;
    using Updater::factoryButton;
    using Updater::message;
    using Updater::name;
    using Updater::noButton;
    using Updater::parent;
    using Updater::state;
    using Updater::tick;
    using Updater::title;
    using Updater::updateButton;
    using Updater::wheelFrame;
    using Updater::yesButton;
};

/// Gives access to protected fields of widgets and texts through pointers to members: `widget.*&TextFields::x`.
struct TextFields : Text {
    using Text::name;
    using Text::parent;
    using Text::text;
    using Text::tick;
    using Text::x;
    using Text::y;
};

class ScreenTest : public testing::Test {
protected:
    // The notification codes of the buttons.
    static constexpr std::int32_t askUpdate = 3;
    static constexpr std::int32_t askFactoryReset = 4;
    static constexpr std::int32_t cancel = 5;
    static constexpr std::int32_t confirm = 6;

    static constexpr const char* decrypt = "/usr/sbin/decrypt.sh /dev/sda1";
    static constexpr const char* install = "/usr/sbin/install.sh";

    ScreenTest()
    {
        buildImageStore();
        buildFont("font8", "img/font8", 1, 2, 1);
        buildFont("font16", "img/font8", 2, 4, 2);
        build();
    }

    /// Replaces the screen with a new screen and restarts the iteration count.
    void build()
    {
        screen.reset();
        screen.emplace();
        screen->setSize(256, 160);
        iteration = 0;
    }

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

    // Environment.

    void plugDrive(bool hasPartition = true)
    {
        calls.placeFile("/dev/sda", folder.path().string());
        if (hasPartition) {
            calls.placeFile("/dev/sda1", folder.path().string());
        }
    }
    void placeVersion(const std::string& name, const std::string& contents)
    {
        folder.write(name, contents);
        calls.placeFile("/tmp/fw/" + name, (folder / name).string());
    }
    /// Sets the read results and the exit code for the next start of `commandLine`.
    void script(const std::string& commandLine, std::deque<ScriptedRead> reads, int exitCode)
    {
        reads.push_back({"", 0});
        calls.script(commandLine, {.reads = std::move(reads), .waitStatus = exitCode << 8});
    }

    // Operations that bring the screen to a state.

    void startPreparing(std::deque<ScriptedRead> reads, int exitCode)
    {
        plugDrive();
        script(decrypt, std::move(reads), exitCode);
        tickTo(usbCheckPeriod);
    }
    void reachMenu(const std::string& oldVersion = "1.0", const std::string& newVersion = "1.1")
    {
        placeVersion("version.old.txt", oldVersion);
        placeVersion("version.txt", newVersion);
        startPreparing({}, 0);
        ASSERT_EQ(screen->state, UpdateState::Choosing);
    }
    /// Reaches the menu, then chooses and confirms the operation, which starts the format script.
    void startWork(bool factoryReset, std::deque<ScriptedRead> reads, int exitCode)
    {
        reachMenu();
        script(factoryReset ? "/usr/sbin/format.sh 1" : "/usr/sbin/format.sh 0", std::move(reads), exitCode);
        notify(factoryReset ? askFactoryReset : askUpdate);
        notify(confirm);
        ASSERT_EQ(screen->state, UpdateState::Formatting);
    }

    void notify(std::int32_t code) { screen->notify("sender", code, {}); }

    // Results.

    [[nodiscard]] const std::string& message() const { return screen->message.*&TextFields::text; }

    /// Returns the names of the visible children in child order, the selected child in brackets.
    [[nodiscard]] std::string visible() const
    {
        const std::pair<const Widget*, std::string> widgets[] = {
            {&screen->title, "title"},     {&screen->factoryButton, "factory"}, {&screen->updateButton, "update"},
            {&screen->message, "message"}, {&screen->noButton, "no"},           {&screen->yesButton, "yes"},
        };
        std::string result;
        for (const auto& [widget, name] : widgets) {
            if (widget->isVisible()) {
                result += (result.empty() ? "" : " ") + (widget->isSelected() ? "[" + name + "]" : name);
            }
        }
        return result;
    }

    const Bitmap& draw()
    {
        screen->drawTree();
        return screen->getSurface();
    }

    /// Returns the text that `action` prints to standard output.
    static std::string printedBy(const std::function<void()>& action)
    {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    /// Returns the message of the exception that `action` throws, or "no exception".
    template <typename Exception>
    static std::string thrownBy(const std::function<void()>& action)
    {
        try {
            action();
        } catch (const Exception& exception) {
            return exception.what();
        }
        return "no exception";
    }

    SystemCalls calls;
    ScratchFolder folder;
    std::optional<TestUpdater> screen;
    std::uint64_t iteration = 0;
};
