// The screens with the progress lines of the example scripts, painted from the source pictures.
#include "tests/board/scene.h"

#include "tests/system/screen_painter.h"
#include "updater/screen_texts.h"

#include <algorithm>

namespace {

/// The progress of decrypt.sh.
const std::vector<std::string> preparingLines = {
    "Reading the drive... 10%", "Reading the drive... 30%", "Checking the signature... 50%",
    "Decrypting... 65%",        "Unpacking... 80%",         "Ready 100%",
};

/// The progress that only format.sh 0 prints.
const std::vector<std::string> savingLines = {
    "Checking the memory... 5%",         "Saving the presets... 15%",
    "Checking the saved presets... 30%", "Going on with the saved presets... 30%",
    "Restoring the presets... 75%",      "Checking the presets... 90%",
};
const std::vector<std::string> formattingLines = {"Formatting... 45%", "Formatted 100%"};

/// The progress of install.sh except the percentages of the files.
const std::vector<std::string> installingLines = {
    "Checking the memory... 5%",
    "Writing to the disk... 75%",
    "Checking the files... 80%",
    "Writing the version... 95%",
    "Installed 100%",
};

void addAtWork(Scene& scene, const std::string& message)
{
    for (int frame = 0; frame < 8; ++frame) {
        scene.screens.push_back(ScreenPainter().message(message).wheel(frame).screen());
    }
}

Scene atWork(const std::string& name, const std::string& header, const std::vector<std::string>& lines)
{
    Scene scene{name, {}};
    addAtWork(scene, header);
    for (const std::string& line : lines) {
        addAtWork(scene, header + line);
    }
    return scene;
}

Scene still(const std::string& name, const ScreenPainter& painter)
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
                   << "screen " << i << " of " << screens.size() << " does not belong to any scene";
        }
        wasShown = true;
    }
    return scene + 1 == expected.end() && wasShown
               ? testing::AssertionSuccess()
               : testing::AssertionFailure() << "the last scene is \"" << scene->name << "\"";
}

namespace scenes {

Scene waiting()
{
    return atWork("waiting", texts::waiting, {});
}

Scene preparing()
{
    return atWork("preparing", texts::preparingHeader, preparingLines);
}

Scene menu()
{
    return still("menu", ScreenPainter().menu(true, Selection::None));
}

Scene updateSelected()
{
    return still("update selected", ScreenPainter().menu(true, Selection::Second));
}

Scene factoryResetSelected()
{
    return still("factory reset selected", ScreenPainter().menu(true, Selection::First));
}

Scene question(bool factoryReset, bool yes, const std::vector<std::string>& oldVersions)
{
    Scene scene{yes ? "\"Yes\"" : "\"No\"", {}};
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
    if (!factoryReset) {
        lines.insert(lines.end(), savingLines.begin(), savingLines.end());
    }
    for (int percent = 10; percent <= 70; ++percent) {
        lines.push_back("Installing... " + std::to_string(percent) + "%");
    }
    return atWork("working", texts::updatingHeader, lines);
}

Scene done()
{
    return still("done", ScreenPainter().message(texts::done));
}

Scene failed(const std::string& message)
{
    return still(message, ScreenPainter().message(message));
}

} // namespace scenes
