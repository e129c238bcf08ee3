// Paints the screens of each scene from the source pictures, with the progress lines of the example scripts.
#include "tests/board/scene.h"

#include "tests/system/screen_painter.h"
#include "updater/screen_texts.h"

#include <algorithm>

namespace {

/// The progress lines of decrypt.sh, except the "Unpacking..." lines.
const std::vector<std::string> preparingLines = {
    "Reading the drive... 5%",
    "Checking the signature... 10%",
    "Reading the old version... 85%",
    "Checking the files... 90%",
    "Ready 100%",
};

/// The progress lines that format.sh prints only with the argument 0 (update).
const std::vector<std::string> savingLines = {
    "Checking the memory... 5%",         "Saving the presets... 15%",
    "Checking the saved presets... 30%", "Continuing with saved presets... 30%",
    "Restoring the presets... 75%",      "Checking the presets... 90%",
};
/// The progress line that format.sh prints only with the argument 1 (factory reset).
const std::string discardingLine = "Discarding saved presets... 15%";
const std::vector<std::string> formattingLines = {"Formatting... 45%", "Formatted 100%"};

/// The progress lines of install.sh, except the "Installing..." lines.
const std::vector<std::string> installingLines = {
    "Checking the memory... 5%",
    "Writing to the disk... 75%",
    "Checking the files... 80%",
    "Writing the version... 95%",
    "Installed 100%",
};

/// Appends `text` followed by each percentage from `first` to `last`.
void addPercentages(std::vector<std::string>& lines, const std::string& text, int first, int last)
{
    for (int percent = first; percent <= last; ++percent) {
        lines.push_back(text + std::to_string(percent) + "%");
    }
}

void addWheelFrames(Scene& scene, const std::string& message)
{
    for (int frame = 0; frame < 8; ++frame) {
        scene.screens.push_back(ScreenPainter().message(message).wheel(frame).screen());
    }
}

Scene sceneWithWheel(const std::string& name, const std::string& header, const std::vector<std::string>& lines)
{
    Scene scene{name, {}};
    addWheelFrames(scene, header);
    for (const std::string& line : lines) {
        addWheelFrames(scene, header + line);
    }
    return scene;
}

Scene singleScreen(const std::string& name, const ScreenPainter& painter)
{
    return {name, {painter.screen()}};
}

} // namespace

bool Scene::has(const sim::Screen& screen) const
{
    return std::find(screens.begin(), screens.end(), screen) != screens.end();
}

testing::AssertionResult showsInOrder(const std::vector<sim::Screen>& screens, const std::vector<Scene>& expected)
{
    auto scene = expected.begin();
    bool wasShown = false;
    for (std::size_t i = 0; i < screens.size(); ++i) {
        while (scene != expected.end() && !scene->has(screens[i])) {
            if (!wasShown) {
                return testing::AssertionFailure() << "screen " << i << " is not \"" << scene->name << "\"";
            }
            ++scene;
            wasShown = false;
        }
        if (scene == expected.end()) {
            return testing::AssertionFailure()
                   << "screen " << i << " of " << screens.size() << " does not belong to the last scene";
        }
        wasShown = true;
    }
    if (screens.empty()) {
        return testing::AssertionFailure() << "no screens";
    }
    return scene + 1 == expected.end() ? testing::AssertionSuccess()
                                       : testing::AssertionFailure()
                                             << "the last scene shown is \"" << scene->name << "\", expected \""
                                             << expected.back().name << "\"";
}

namespace scenes {

Scene waiting()
{
    return sceneWithWheel("waiting", texts::waiting, {});
}

Scene preparing()
{
    std::vector<std::string> lines = preparingLines;
    addPercentages(lines, "Unpacking... ", 15, 80);
    return sceneWithWheel("preparing", texts::preparingHeader, lines);
}

Scene menu()
{
    return singleScreen("menu", ScreenPainter().menu(true, Selection::None));
}

Scene updateSelected()
{
    return singleScreen("update selected", ScreenPainter().menu(true, Selection::Second));
}

Scene factoryResetSelected()
{
    return singleScreen("factory reset selected", ScreenPainter().menu(true, Selection::First));
}

Scene question(bool factoryReset, bool yes, const std::vector<std::string>& oldVersions)
{
    Scene scene{yes ? "Yes selected" : "No selected", {}};
    for (const std::string& oldVersion : oldVersions) {
        scene.screens.push_back(ScreenPainter()
                                    .message(factoryReset ? texts::factoryQuestion(newVersion)
                                                          : texts::updateQuestion(oldVersion, newVersion))
                                    .dialogButtons(yes ? Selection::Second : Selection::First)
                                    .screen());
    }
    return scene;
}

Scene working(bool factoryReset)
{
    std::vector<std::string> lines = formattingLines;
    lines.insert(lines.end(), installingLines.begin(), installingLines.end());
    if (factoryReset) {
        lines.push_back(discardingLine);
    } else {
        lines.insert(lines.end(), savingLines.begin(), savingLines.end());
    }
    addPercentages(lines, "Installing... ", 10, 70);
    return sceneWithWheel("working", texts::updatingHeader, lines);
}

Scene done()
{
    return singleScreen("done", ScreenPainter().message(texts::done));
}

Scene failed(const std::string& message)
{
    return singleScreen(message, ScreenPainter().message(message));
}

} // namespace scenes
