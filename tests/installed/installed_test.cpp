// The life cycle of the packages on a device: installation, first start, operations, failures, upgrade, removal.
#include "tests/installed/debian_board.h"
#include "updater/screen_texts.h"

#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

namespace {

using boardTest::chooseAndConfirm;
using boardTest::hasNoViolations;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// In seconds. Less than 90 s, the time for which systemd waits for a device that does not appear.
constexpr double longestStart = 75;

/// The tests share one boot and run in the order of their definition; each one continues from the state that the
/// previous test leaves.
class InstalledPackage : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const auto switchedOn = std::chrono::steady_clock::now();
        board = std::make_unique<DebianBoard>("Installed", "new.img", DebianBoard::Options{});
        std::cout << "booted in "
                  << std::chrono::duration<double>(std::chrono::steady_clock::now() - switchedOn).count() << " s\n";
    }
    static void TearDownTestSuite() { board.reset(); }

    void SetUp() override
    {
        if (isBroken) {
            GTEST_SKIP() << "an earlier test failed";
        }
    }
    void TearDown() override
    {
        if (!isBroken) {
            EXPECT_TRUE(hasNoViolations(*board));
        }
        isBroken = isBroken || HasFailure();
    }

    static std::string state()
    {
        return board->query("systemctl show --property=ActiveState --value tonecrate-updater");
    }

    /// Plugs in the drive, chooses the operation and confirms it. The updater must be running.
    static void begin(bool factoryReset, const std::string& oldVersion)
    {
        board->plug("drive.img");
        chooseAndConfirm(*board, factoryReset, {oldVersion});
    }
    static void finishWith(const Scene& scene)
    {
        board->waitForScene(scene);
        board->pull();
    }
    /// Starts the updater, performs the operation and stops the updater.
    static void perform(bool factoryReset, const std::string& oldVersion)
    {
        board->startAndMeasure();
        begin(factoryReset, oldVersion);
        finishWith(scenes::done());
        board->stopUpdater();
    }
    /// Mounts the internal memory, runs a shell command there, and unmounts the memory. Returns the command's output.
    static std::string inMemory(const std::string& command)
    {
        return board->query("mount /dev/mmcblk0p3 /mnt && { cd /mnt && " + command +
                            "; status=$?; cd / && umount /mnt && exit $status; }");
    }
    /// Types, modes, owners and contents of the presets.
    static std::string presets()
    {
        return inMemory("find presets -exec stat -c '%A %u:%g %n' {} + | sort && "
                        "find presets -type f -exec sha256sum {} + | sort");
    }
    static std::string version() { return inMemory("cat version.txt"); }

    static std::unique_ptr<DebianBoard> board;
    static bool isBroken;
    static std::string presetsBefore;
};

std::unique_ptr<DebianBoard> InstalledPackage::board;
bool InstalledPackage::isBroken = false;
std::string InstalledPackage::presetsBefore;

/// A command that lists the files on the root file system, except caches, logs, temporary files and the states of dpkg,
/// apt and systemd.
const std::string listFiles = "find / -xdev -path /var/cache -prune -o -path /var/lib/dpkg -prune -o "
                              "-path /var/log -prune -o -path /var/lib/apt -prune -o -path /var/lib/systemd -prune -o "
                              "-path /var/tmp -prune -o -path /tmp -prune -o -print | sort";

TEST_F(InstalledPackage, TheSystemStartsWithoutFailedUnits)
{
    EXPECT_THAT(board->query("systemctl --failed --no-legend"), IsEmpty());
    board->query(listFiles + " >/run/files.before");
}

TEST_F(InstalledPackage, InstallsWithoutANetworkAndDoesNotStartTheService)
{
    board->query("apt-get --yes install /srv/packages/*.deb");
    EXPECT_EQ(state(), "inactive\n");
    EXPECT_FALSE(board->succeeds("systemctl is-active tonecrate-updater"));
    EXPECT_THAT(board->query("systemctl is-enabled tonecrate-updater || true"), "static\n");
}

/// No reboot is necessary: the devices have their udev tags, and spidev accepts a frame.
TEST_F(InstalledPackage, StartsDirectlyAfterItsInstallation)
{
    const double seconds = board->startAndMeasure();
    std::cout << "waiting screen " << seconds << " s after systemctl start\n";
    EXPECT_LT(seconds, longestStart);
    EXPECT_EQ(state(), "active\n");
    EXPECT_THAT(board->withBus([](const Bus& bus) { return bus.ledOutputs(); }), testing::Contains(255).Times(6));
    board->stopUpdater();
}

TEST_F(InstalledPackage, StartsInTimeWithoutAnLedController)
{
    board->query("modprobe --remove i2c-bcm2835 && udevadm settle && test ! -e /dev/i2c-22");
    const double seconds = board->startAndMeasure();
    std::cout << "waiting screen " << seconds << " s after systemctl start, without an LED controller\n";
    EXPECT_LT(seconds, longestStart);
    board->stopUpdater();
    board->query("modprobe i2c-bcm2835 && udevadm settle && test -e /dev/i2c-22");
}

TEST_F(InstalledPackage, HasAnExposureLevelOfAtMostTwo)
{
    const std::string report = board->query("systemd-analyze security --no-pager tonecrate-updater || true");
    std::cout << report.substr(report.rfind("Overall"));
    EXPECT_TRUE(board->succeeds("systemd-analyze security --no-pager --threshold=20 tonecrate-updater")) << report;
}

/// The drop-in in docs/device.md.
std::string documentedDropIn()
{
    std::ifstream page(DEVICE_PAGE);
    std::string text;
    bool isInExample = false;
    for (std::string line; std::getline(page, line);) {
        isInExample =
            line.starts_with("    ") && (isInExample || line.ends_with("tonecrate-updater.service.d/stop.conf"));
        if (isInExample) {
            text += line.substr(4) + "\n";
        }
    }
    return text;
}

/// Creates the service `player`, which keeps a file in the internal memory open. The next test also uses the service.
TEST_F(InstalledPackage, AMemoryThatAProgramUsesIsNotFormatted)
{
    inMemory("chown -R 1000:29 presets && chmod -R g+xs presets");
    presetsBefore = presets();
    ASSERT_THAT(presetsBefore, HasSubstr("-rw-r-sr-- 1000:29 presets/"));
    board->writeFile("/etc/systemd/system/srv-memory.mount", "[Mount]\nWhat=/dev/mmcblk0p3\nWhere=/srv/memory\n");
    board->writeFile("/etc/systemd/system/player.service",
                     "[Unit]\nRequiresMountsFor=/srv/memory\n"
                     "[Service]\nExecStart=/bin/sh -c \"exec sleep infinity <>/srv/memory/version.txt\"\n");
    board->query("systemctl daemon-reload && systemctl start player");
    board->startAndMeasure();
    begin(false, scenes::preparedVersion);
    finishWith(scenes::failed(texts::updateFormatFailed));
    EXPECT_THAT(board->journal(), HasSubstr("/dev/mmcblk0p3 is mounted at /srv/memory"));
    EXPECT_TRUE(board->succeeds("systemctl is-active player"));
    EXPECT_EQ(board->query("cat /srv/memory/version.txt"), scenes::preparedVersion + "\n");
    board->stopUpdater();
}

TEST_F(InstalledPackage, TheDocumentedDropInStopsWhatUsesTheMemory)
{
    ASSERT_THAT(documentedDropIn(), HasSubstr("Conflicts="));
    board->writeFile("/etc/systemd/system/tonecrate-updater.service.d/stop.conf", documentedDropIn());
    board->query("systemctl daemon-reload");
    board->startAndMeasure();
    EXPECT_FALSE(board->succeeds("systemctl is-active player.service"));
    EXPECT_FALSE(board->succeeds("systemctl is-active srv-memory.mount"));
    board->query("cd /etc/systemd/system && rm -r srv-memory.mount player.service tonecrate-updater.service.d && "
                 "rmdir /srv/memory && systemctl daemon-reload");
}

/// Continues with the updater that the previous test has started.
TEST_F(InstalledPackage, AnUpdateKeepsThePresetsWithOwnersAndSetgidBits)
{
    begin(false, scenes::preparedVersion);
    finishWith(scenes::done());
    board->stopUpdater();
    EXPECT_EQ(presets(), presetsBefore);
    EXPECT_EQ(version(), scenes::newVersion + "\n");
}

TEST_F(InstalledPackage, TheJournalContainsTheMessagesOfAnUpdate)
{
    const std::string messages = board->journal();
    EXPECT_THAT(messages, HasSubstr("Starting updater...\nStarted install.sh\n"));
    EXPECT_THAT(messages, HasSubstr("Everything done\n"));
    EXPECT_THAT(messages, Not(HasSubstr("A command failed...")));
    EXPECT_THAT(messages, Not(HasSubstr("SHOW:")));
    EXPECT_THAT(
        board->query("! journalctl --boot --output=cat | grep --fixed-strings --file /etc/tonecrate/firmware.key"),
        IsEmpty());
}

TEST_F(InstalledPackage, AFactoryResetReplacesThePresets)
{
    perform(true, scenes::newVersion);
    EXPECT_NE(presets(), presetsBefore);
    EXPECT_THAT(inMemory("diff -r presets firmware/presets-factory"), IsEmpty());
}

TEST_F(InstalledPackage, AFailureIsExplainedInTheJournal)
{
    board->startAndMeasure();
    board->plug("drive_with_corrupt_firmware.img");
    finishWith(scenes::failed(texts::firmwareCorrupt));
    const std::string messages = board->journal();
    EXPECT_THAT(messages, HasSubstr("decrypt.sh: tonecrate.fw: "));
    EXPECT_THAT(messages, HasSubstr("A command failed...\n"));
    EXPECT_EQ(state(), "active\n");
    board->stopUpdater();
}

TEST_F(InstalledPackage, KillingTheProgramEndsItsScriptsAndLeavesNoMounts)
{
    inMemory("echo changed >presets/own.preset");
    presetsBefore = presets();
    board->startAndMeasure();
    begin(false, scenes::newVersion);
    board->query("systemctl kill --kill-who=main --signal=KILL tonecrate-updater");
    board->query("while systemctl is-active tonecrate-updater; do sleep 0.2; done; "
                 "while [ -e /sys/fs/cgroup/system.slice/tonecrate-updater.service ]; do sleep 0.2; done");
    EXPECT_EQ(board->query("systemctl show --property=ActiveState,Result --value tonecrate-updater | sort"),
              "failed\nsignal\n");
    EXPECT_THAT(
        board->query("grep tonecrate /proc/*/mountinfo; ls -d /run/tonecrate /tmp/*tonecrate* 2>/dev/null; true"),
        IsEmpty());
    EXPECT_THAT(board->journal(), HasSubstr("code=killed, status=9/KILL"));
    board->pull();
}

TEST_F(InstalledPackage, TheNextUpdateAfterAKilledProgramKeepsThePresets)
{
    perform(false, scenes::newVersion);
    EXPECT_EQ(presets(), presetsBefore);
    EXPECT_EQ(version(), scenes::newVersion + "\n");
}

TEST_F(InstalledPackage, AnUpgradeDoesNotStopTheUpdaterAndKeepsTheSettings)
{
    board->startAndMeasure();
    const std::string mainProcess = "systemctl show --property=MainPID --value tonecrate-updater";
    const std::string before = board->query(mainProcess);
    board->query("echo '# edited' >>/etc/tonecrate/updater.conf");
    board->query("dpkg --install /srv/packages/next/*.deb");
    EXPECT_THAT(board->query("dpkg-query --show --showformat='${Version}\\n' tonecrate-updater"), HasSubstr("+next"));
    EXPECT_EQ(board->query(mainProcess), before);
    EXPECT_EQ(board->query("tail -n 1 /etc/tonecrate/updater.conf"), "# edited\n");
    board->stopUpdater();
    EXPECT_LT(board->startAndMeasure(), longestStart);
}

/// Continues with the running updater of the previous test.
TEST_F(InstalledPackage, RemovalStopsTheUpdater)
{
    EXPECT_EQ(state(), "active\n");
    board->query("dpkg --remove tonecrate-updater tonecrate-updater-scripts");
    EXPECT_EQ(state(), "inactive\n");
    EXPECT_FALSE(board->succeeds("grep --files-with-matches tonecrate-updater /proc/[0-9]*/comm"));
    EXPECT_TRUE(board->succeeds("test -e /etc/tonecrate/updater.conf"));
}

TEST_F(InstalledPackage, PurgeLeavesNothingBehind)
{
    board->query("dpkg --purge tonecrate-updater tonecrate-updater-scripts");
    board->query(listFiles + " >/run/files.after");
    EXPECT_THAT(board->query("diff /run/files.before /run/files.after; find /run /tmp /var -name '*tonecrate*'; true"),
                IsEmpty());
    EXPECT_THAT(board->query("systemctl list-units --all --no-legend '*tonecrate*'"), IsEmpty());
    board->query("udevadm settle");
    EXPECT_FALSE(board->succeeds("systemctl is-active dev-spidev0.0.device"));
}

} // namespace
