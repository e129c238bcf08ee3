// The menu and the dialog that asks before anything is destroyed.
#include "tests/system/system_test.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

class Menu : public SystemTest {};

struct InstalledVersion {
    const char* name;
    const char* contents; ///< of the version file; null for no file
    bool offersUpdate;
};

class MenuWith : public SystemTest, public testing::WithParamInterface<InstalledVersion> {};

TEST_P(MenuWith, OffersTheUpdateOnlyWhenSomethingIsInstalled)
{
    device.setVersions("", "2.0");
    if (GetParam().contents == nullptr) {
        fs::remove(device.root() / "tmp/fw/version.old.txt");
    } else {
        device.writeFile("tmp/fw/version.old.txt", GetParam().contents);
    }
    device.toPreparing();
    device.decrypt.exit(*device, 0);
    device.settle();
    device.turn(-1);
    EXPECT_TRUE(
        sameScreen(device->screen(),
                   ScreenPainter()
                       .menu(GetParam().offersUpdate, GetParam().offersUpdate ? Selection::Second : Selection::First)
                       .screen(),
                   GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(InstalledVersion, MenuWith,
                         testing::Values(InstalledVersion{"Missing", nullptr, false},
                                         InstalledVersion{"Empty", "", false},
                                         InstalledVersion{"WhiteSpace", " \n\t \n", false},
                                         InstalledVersion{"AWord", "1.0", true},
                                         InstalledVersion{"AWordBehindWhiteSpace", "\n\n  1.0", true},
                                         InstalledVersion{"NotText", "\x01\xff", true}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(Menu, WithoutAnInstalledVersionHasOnlyTheFactoryReset)
{
    device.toMenu("", "2.0.0");
    device.turn(1);
    device.turn(1); // the only one stays selected
    device.click();
    EXPECT_TRUE(
        sameScreen(device->screen(),
                   ScreenPainter().message(texts::factoryQuestion("2.0.0")).dialogButtons(Selection::First).screen(),
                   "only_factory"));
}

TEST_F(Menu, AVersionFileThatIsAFolderIsNoVersion)
{
    fs::create_directory(device.root() / "tmp/fw/version.old.txt");
    device.writeFile("tmp/fw/version.txt", "2.0");
    device.toPreparing();
    device.decrypt.exit(*device, 0);
    device.settle();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(false, Selection::None).screen(), "folder"));
}

class Dialog : public SystemTest {
protected:
    void expectDialog(const std::string& question, Selection selection, const std::string& name)
    {
        EXPECT_TRUE(
            sameScreen(device->screen(), ScreenPainter().message(question).dialogButtons(selection).screen(), name));
    }
};

TEST_F(Dialog, AsksBeforeAnUpdateWithNoPreselected)
{
    device.toUpdateDialog();
    expectDialog(texts::updateQuestion("1.4.2", "2.0.0"), Selection::First, "dialog_update_painted");
}

TEST_F(Dialog, AsksBeforeAFactoryResetWithNoPreselected)
{
    device.toFactoryDialog();
    expectDialog(texts::factoryQuestion("2.0.0"), Selection::First, "dialog_factory_painted");
}

TEST_F(Dialog, NoLeadsBackToTheMenuWithNothingSelected)
{
    device.toUpdateDialog();
    device.click();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(true, Selection::None).screen(), "back"));
    EXPECT_EQ(device.format.calls(), "");
}

TEST_F(Dialog, TurnsBetweenNoAndYes)
{
    device.toUpdateDialog();
    device.turn(1);
    device.turn(1);
    expectDialog(texts::updateQuestion("1.4.2", "2.0.0"), Selection::First, "around_right");
    device.turn(-1);
    expectDialog(texts::updateQuestion("1.4.2", "2.0.0"), Selection::Second, "around_left");
}

TEST_F(Dialog, ALongPressConfirmsNothing)
{
    device.toUpdateDialog();
    device.turn(1);
    device->press();
    device->run(3000);
    device->release();
    device->run(200);
    expectDialog(texts::updateQuestion("1.4.2", "2.0.0"), Selection::Second, "long_press");
    EXPECT_EQ(device.format.calls(), "");
}

TEST_F(Dialog, CanBeChangedForTheOther)
{
    device.toUpdateDialog();
    device.click();
    device.turn(1);
    device.click();
    expectDialog(texts::factoryQuestion("2.0.0"), Selection::First, "changed");
    device.turn(1);
    device.click();
    device.format.print(*device, "started");
    EXPECT_EQ(device.format.calls(), "1\n");
}

struct Version {
    const char* name;
    std::string contents;
    std::string word;
};

class DialogWith : public Dialog, public testing::WithParamInterface<Version> {};

TEST_P(DialogWith, ShowsTheFirstWordOfTheVersion)
{
    device.setVersions("1.0", GetParam().contents);
    device.toPreparing();
    device.decrypt.exit(*device, 0);
    device.settle();
    device.turn(1);
    device.click();
    expectDialog(texts::factoryQuestion(GetParam().word), Selection::First, GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(NewVersion, DialogWith,
                         testing::Values(Version{"Plain", "2.0.1\n", "2.0.1"},
                                         Version{"FirstWordOnly", "2.0 beta\nmore", "2.0"},
                                         Version{"BehindWhiteSpace", "\r\n\t 2.0", "2.0"}, Version{"Empty", "", ""},
                                         Version{"NotAscii", "2.0-\xc3\xa9\x7f\x01", "2.0-\xc3\xa9\x7f\x01"},
                                         Version{"Degree", "20\x80", "20\x80"},
                                         Version{"ZeroByte", std::string("2\0x", 3), std::string("2\0x", 3)},
                                         Version{"Long", std::string(300, 'v'), std::string(300, 'v')},
                                         Version{"Huge", std::string(3000000, 'w'), std::string(3000000, 'w')}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(Dialog, ConfirmingShowsTheHeaderAndTurnsTheWheelAtOnce)
{
    device.toUpdateDialog();
    device.turn(1);
    device->runTo(device->iteration() / 1136 * 1136 + 1136 + 10); // so that the wheel is still at its first frame
    device.click();
    EXPECT_TRUE(
        sameScreen(device->screen(), ScreenPainter().message(texts::updatingHeader).wheel(1).screen(), "updating2"));
}

} // namespace
