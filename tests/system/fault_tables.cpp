// The tables, and one rule for each effect.
#include "tests/system/fault_tables.h"

#include "sim/protocol/injected_faults.h"

#include <algorithm>

namespace matrix {

namespace {

using enum Stage;
using enum Operation;

constexpr unsigned memoryUse = memoryAttached | memoryContent | memoryWrites;
constexpr unsigned backupUse = backupAttached | backupContent | backupWrites;

// The test's firmware has two files, so install.sh prints two lines "Installing...".
constexpr Moment moments[] = {
    // name, stage, operation, needs, mounted, memory, backup, formats
    {"waiting", Waiting, Update, settings | lock, none, Memory::Old, Backup::Empty},
    {"Reading the drive... 5%", Decrypting, Update, driveAttached | driveContent, none, Memory::Old, Backup::Empty},
    {"Checking the signature... 10%", Decrypting, Update, driveAttached | roomForFirmware, drive, Memory::Old,
     Backup::Empty},
    {"Unpacking... 15%", Decrypting, Update, driveAttached | roomForFiles, drive, Memory::Old, Backup::Empty},
    {"Unpacking... 79%", Decrypting, Update, driveAttached, drive, Memory::Old, Backup::Empty},
    {"Reading the old version... 85%", Decrypting, Update, driveAttached | oldVersion, none, Memory::Old,
     Backup::Empty},
    {"Checking the files... 90%", Decrypting, Update, driveAttached, memory, Memory::Old, Backup::Empty},
    {"Ready 100%", Decrypting, Update, driveAttached, memory, Memory::Old, Backup::Empty},
    {"menu", Menu, Update, nothing, none, Memory::Old, Backup::Empty},

    {"dialog", Dialog, Update, lock | memoryAttached, none, Memory::Old, Backup::Empty},
    {"Checking the memory... 5%", Formatting, Update, memoryAttached | memoryContent | backupAttached, none,
     Memory::Old, Backup::Empty},
    {"Saving the presets... 15%", Formatting, Update, memoryAttached | backupAttached | backupWrites, memory,
     Memory::Old, Backup::Empty, backup},
    {"Checking the saved presets... 30%", Formatting, Update, memoryAttached | backupUse, memory, Memory::Old,
     Backup::Empty},
    {"Formatting... 45%", Formatting, Update, memoryAttached | memoryWrites, memory, Memory::Old, Backup::Complete},
    {"Restoring the presets... 75%", Formatting, Update, memoryAttached | memoryWrites | backupAttached | backupContent,
     none, Memory::Incomplete, Backup::Complete, memory},
    {"Checking the presets... 90%", Formatting, Update, memoryAttached | memoryContent | memoryFiles, backup,
     Memory::Incomplete, Backup::Complete},
    {"Formatted 100%", Formatting, Update, nothing, none, Memory::Incomplete, Backup::Complete},
    {"Checking the memory... 5%", Installing, Update, memoryUse, none, Memory::Incomplete, Backup::Complete},
    {"Installing... 40%", Installing, Update, memoryAttached | memoryWrites, memory, Memory::Incomplete,
     Backup::Complete},
    {"Installing... 70%", Installing, Update, memoryAttached | memoryWrites, memory, Memory::Incomplete,
     Backup::Complete},
    {"Writing to the disk... 75%", Installing, Update, memoryAttached | memoryWrites, memory, Memory::Incomplete,
     Backup::Complete},
    {"Checking the files... 80%", Installing, Update, memoryAttached | memoryContent | memoryFiles, none,
     Memory::Incomplete, Backup::Complete},
    {"Writing the version... 95%", Installing, Update, memoryAttached | memoryWrites, memory | backup,
     Memory::Incomplete, Backup::Complete},
    {"Installed 100%", Installing, Update, nothing, none, Memory::New, Backup::Empty},
    {"done", Done, Update, nothing, none, Memory::New, Backup::Empty},

    // The factory reset, after the menu.
    {"dialog", Dialog, Reset, lock | memoryAttached, none, Memory::Old, Backup::Empty},
    {"Discarding saved presets... 15%", Formatting, Reset, nothing, none, Memory::Old, Backup::Empty, backup},
    {"Formatting... 45%", Formatting, Reset, memoryAttached | memoryWrites, none, Memory::Old, Backup::Empty, memory},
    {"Formatted 100%", Formatting, Reset, nothing, none, Memory::Incomplete, Backup::Empty},
    {"Checking the memory... 5%", Installing, Reset, memoryUse, none, Memory::Incomplete, Backup::Empty},
    {"Installing... 40%", Installing, Reset, memoryAttached | memoryWrites, memory, Memory::Incomplete, Backup::Empty},
    {"Installing... 70%", Installing, Reset, memoryAttached | memoryWrites, memory, Memory::Incomplete, Backup::Empty},
    {"Writing to the disk... 75%", Installing, Reset, memoryAttached | memoryWrites, memory, Memory::Incomplete,
     Backup::Empty},
    {"Checking the files... 80%", Installing, Reset, memoryAttached | memoryContent | memoryFiles, none,
     Memory::Incomplete, Backup::Empty},
    {"Writing the version... 95%", Installing, Reset, memoryAttached | memoryWrites, memory, Memory::Incomplete,
     Backup::Empty},
    {"Installed 100%", Installing, Reset, nothing, none, Memory::New, Backup::Empty},
    {"done", Done, Reset, nothing, none, Memory::New, Backup::Empty},
};

bool always(const Moment& /*moment*/)
{
    return true;
}

bool whileWaiting(const Moment& moment)
{
    return moment.stage == Waiting;
}

bool afterWaiting(const Moment& moment)
{
    return moment.stage != Waiting;
}

bool whileScriptRuns(const Moment& moment)
{
    return moment.stage == Decrypting || moment.stage == Formatting || moment.stage == Installing;
}

bool beforeDriveIsRead(const Moment& moment)
{
    return moment.stage == Waiting || (moment.needs & driveContent) != 0;
}

/// The moments at which another script can take the lock before the next script needs it. A running script holds it.
bool whileNoScriptRuns(const Moment& moment)
{
    return !whileScriptRuns(moment) && moment.stage != Done;
}

bool beforeRoomIsChecked(const Moment& moment)
{
    return beforeDriveIsRead(moment) || (moment.needs & roomForFirmware) != 0;
}

bool whenFilesAreUnpacked(const Moment& moment)
{
    return (moment.needs & roomForFiles) != 0;
}

/// From format.sh on, nothing accesses the drive.
bool whenDriveCanBeSwapped(const Moment& moment)
{
    return (moment.mounted & drive) == 0 && moment.stage <= Dialog;
}

bool whileMemoryIsNotMounted(const Moment& moment)
{
    return (moment.mounted & memory) == 0;
}

bool whileBackupIsNotMounted(const Moment& moment)
{
    return (moment.mounted & backup) == 0;
}

bool beforeFilesAreCompared(const Moment& moment)
{
    return (moment.needs & memoryFiles) != 0;
}

constexpr const char* tooOld = "Failed: older than the minimum version";
constexpr const char* stale = "the picture from before the fault, until the next change";
constexpr const char* noTurning = "turning the knob has no effect during the fault";

constexpr Fault faults[] = {
    // The drive.
    {"DrivePulled", "The drive is pulled", Effect::NeedFails, afterWaiting, driveAttached, none, "failed-drive"},
    {"DriveWithWrongByte", "The drive contains, or is swapped for one that contains, a firmware file with a wrong byte",
     Effect::NeedFails, whenDriveCanBeSwapped, driveContent, none, "failed-corrupt"},
    {"DriveWithForeignSignature", "The firmware file is signed with another key", Effect::NeedFails, beforeDriveIsRead,
     driveContent, none, "failed-corrupt"},
    {"DriveWithHalfAFile", "The firmware file is cut off in the middle", Effect::NeedFails, beforeDriveIsRead,
     driveContent, none, "failed-corrupt"},
    {"DriveWithOtherFile", "Another kind of file has the name of the firmware file", Effect::NeedFails,
     beforeDriveIsRead, driveContent, none, "failed-corrupt"},
    {"DriveWithoutFirmware", "The drive contains no firmware file", Effect::NeedFails, beforeDriveIsRead, driveContent,
     none, "failed-no-firmware"},
    {"DriveWithoutFileSystem", "The drive has no file system", Effect::NeedFails, beforeDriveIsRead, driveContent, none,
     "failed-drive"},

    // The settings and the system.
    {"FirmwareTooOld", "The firmware is older than the minimum version", Effect::NeedFails, whileWaiting, settings,
     none, nullptr, tooOld},
    {"SigningKeyMissing", "The device's copy of the public key is missing", Effect::NeedFails, whileWaiting, settings,
     none, nullptr, "Failed: signing.pub is missing"},
    {"FirmwareKeyMissing", "The pass phrase for decryption is missing", Effect::NeedFails, whileWaiting, settings, none,
     nullptr, "Failed: firmware.key is missing"},
    {"FirmwareKeyWrong", "The pass phrase for decryption is wrong", Effect::NeedFails, whileWaiting, settings, none,
     "failed-corrupt"},
    {"NoRoomForFirmware", "/tmp is full", Effect::NeedFails, beforeRoomIsChecked, roomForFirmware, none, nullptr,
     "Failed: needs 10 MB of memory"},
    {"NoRoomForFiles", "/tmp becomes full while the firmware is unpacked", Effect::NeedFails, whenFilesAreUnpacked,
     roomForFiles, none, nullptr, "Failed: not enough memory in /tmp"},
    {"OtherScriptRuns", "Another script is running", Effect::NeedFails, whileNoScriptRuns, lock, none, nullptr,
     "Failed: another script is running"},

    // The internal memory and the spare partition. Temporary faults end when the device is switched off.
    {"MemoryDetached", "The internal memory does not respond", Effect::NeedFails, always, memoryUse | oldVersion},
    {"MemoryDestroyed", "The internal memory loses its contents for ever", Effect::NeedFails, whileMemoryIsNotMounted,
     memoryContent | oldVersion, memory},
    {"MemoryReadOnly", "The internal memory rejects writes", Effect::NeedFails, always, memoryWrites},
    {"MemoryLosesFiles", "The internal memory loses some of the files that have been written", Effect::NeedFails,
     beforeFilesAreCompared, memoryFiles},
    {"BackupDetached", "The spare partition does not respond", Effect::NeedFails, whileBackupIsNotMounted, backupUse},
    {"BackupDestroyed", "The spare partition loses its contents for ever", Effect::NeedFails, whileBackupIsNotMounted,
     backupContent, backup},
    {"BackupReadOnly", "The spare partition rejects writes", Effect::NeedFails, always, backupWrites},

    // Power and signals.
    {"PowerCut", "The power is cut", Effect::PowerCut, always},
    {"WorkKilled", "SIGKILL ends the process that does the script's work", Effect::WorkKilled, whileScriptRuns},
    {"ScriptKilled", "SIGKILL ends the script's first process and the shell that waits for it, if any",
     Effect::ScriptKilled, whileScriptRuns},
    {"AllKilled", "SIGKILL ends all processes of the script and the shell that waits for it, if any", Effect::AllKilled,
     whileScriptRuns},

    // The display, the knob and the LEDs.
    {"DisplayFails", "The display's bus rejects every transfer for half a second", Effect::DeviceFails, always, nothing,
     none, nullptr, "", sim::fault::failingDisplay, stale},
    {"DisplayCutsFrames", "The display's bus transfers only the first half of each frame for half a second",
     Effect::DeviceFails, always, nothing, none, nullptr, "", sim::fault::shortTransfers,
     "half of each new picture, until the next change"},
    {"DisplayHangs", "For half a second, each transfer to the display takes a second", Effect::DeviceFails, always,
     nothing, none, nullptr, "", sim::fault::hangingDisplay, "each new picture up to a second late"},
    {"EncoderFails", "Reading the encoder fails for half a second", Effect::DeviceFails, always, nothing, none, nullptr,
     "", sim::fault::failingEncoder, noTurning},
    {"EncoderEnds", "Reading the encoder returns end-of-file for half a second", Effect::DeviceFails, always, nothing,
     none, nullptr, "", sim::fault::endedEncoder, noTurning},
    {"LedsFail", "The LED controller does not respond for half a second", Effect::DeviceFails, always, nothing, none,
     nullptr, "", sim::fault::failingLeds, "no change"},
};

constexpr ScriptRun scriptRuns[] = {
    {"Preparing", "decrypt.sh", Decrypting, Update},
    {"FormattingForUpdate", "format.sh, update", Formatting, Update},
    {"FormattingForReset", "format.sh, factory reset", Formatting, Reset},
    {"InstallingForUpdate", "install.sh, update", Installing, Update},
    {"InstallingForReset", "install.sh, factory reset", Installing, Reset},
};

constexpr ScriptFault scriptFaults[] = {
    {"ExitsWith1", "exits with status 1", 1},
    {"ExitsWith2", "exits with status 2", 2},
    {"ExitsWith3", "exits with status 3", 3},
    {"ExitsWith4", "exits with status 4", 4},
    {"ExitsWith126", "exits with status 126", 126},
    {"ExitsWith127", "exits with status 127", 127},
    {"ExitsWith255", "exits with status 255", 255},
    {"IsKilled", "is killed by SIGKILL together with the shell that waits for it, if any", 0},
    {"Crashes", "is killed by SIGSEGV together with the shell that waits for it, if any", 0},
    {"Hangs", "hangs for an hour, then exits with status 0", 0},
    {"FloodsWith64MB", "prints 64 MB, then exits with status 1", 1},
    {"PrintsNoNewline", "prints its last line without a line feed, then exits with status 0", 0},
    {"PrintsZeroBytes", "prints NUL bytes, then exits with status 3", 3},
    {"ClosesItsOutputAndContinues", "closes its output, continues, then exits with status 1", 1},
    {"LeavesAChildWithAnOpenPipe", "exits with status 2 and leaves a child that keeps the output open", 2},
    {"IsMissing", "is missing", 127},
    {"IsNotExecutable", "is not executable", 126},
};

bool belongsTo(const Moment& moment, Operation operation)
{
    const bool isShared = moment.stage <= Menu;
    return moment.operation == operation || isShared;
}

/// The first moment, starting with `first`, whose work fails; null if there is none.
const Moment* firstFailure(const Cell& cell, Operation operation, const Moment* first)
{
    for (const Moment* moment : path(operation)) {
        if (moment >= first && (moment->needs & cell.fault->needs) != 0) {
            return moment;
        }
        if (moment >= first && (moment->formats & cell.fault->destroys) != 0) {
            return nullptr;
        }
    }
    return nullptr;
}

/// The moment at which the dialog asks for confirmation of the operation.
const Moment* confirmation(Operation operation)
{
    const auto all = path(operation);
    return *std::find_if(all.begin(), all.end(), [](const Moment* moment) { return moment->stage == Dialog; });
}

void destroyContents(const Fault& fault, Result& result)
{
    if ((fault.destroys & memory) != 0) {
        result.memory = Memory::Destroyed;
    }
    if ((fault.destroys & backup) != 0) {
        result.backup = Backup::Destroyed;
    }
}

/// A completed operation has written new contents to the memory; a fault after the completion can destroy them.
Result success(const Cell& cell, Operation operation)
{
    Result result;
    result.screen = "done";
    result.operation = operation;
    result.hasInstalled = true;
    result.memory = Memory::New;
    if (cell.moment->memory == Memory::New) {
        destroyContents(*cell.fault, result);
    }
    return result;
}

/// The result if the script of the moment's stage fails; for the dialog, format.sh.
Result failure(const Moment& moment, Operation operation)
{
    Result result;
    const Stage stage = moment.stage == Dialog ? Formatting : moment.stage;
    result.screen = screenAfter(stage, operation, 1);
    result.operation = operation;
    result.hasFailed = true;
    result.hasInstalled = stage == Installing;
    result.memory = moment.memory;
    result.backup = moment.backup;
    return result;
}

Result afterUnmetNeed(const Cell& cell)
{
    const Fault& fault = *cell.fault;
    Operation operation = cell.moment->operation;
    const Moment* failing = firstFailure(cell, operation, cell.moment);
    const bool isUpdateOffered = failing == nullptr || (failing->needs & fault.needs) != oldVersion;
    if (!isUpdateOffered) { // the owner chooses the only entry of the menu
        operation = Reset;
        failing = firstFailure(cell, operation, confirmation(operation));
    }
    Result result = failing == nullptr ? success(cell, operation) : failure(*failing, operation);
    result.isUpdateOffered = isUpdateOffered;
    if (failing != nullptr) {
        destroyContents(fault, result);
        if (failing->stage <= Decrypting) {
            result.screen = fault.screen;
            result.message = fault.message;
        }
    }
    return result;
}

Result afterWorkKilled(const Moment& moment)
{
    Result result = failure(moment, moment.operation);
    if (moment.stage == Decrypting) {
        result.screen = nullptr;
        result.message = "Failed: the script was interrupted";
    }
    return result;
}

/// The updater reads status 0 and continues as if the script had succeeded.
Result afterAllKilled(const Moment& moment)
{
    Result result = failure(moment, moment.operation);
    if (moment.stage == Decrypting) { // no firmware and no version: format.sh fails
        result = failure(moment, Reset);
        result.screen = screenAfter(Formatting, Reset, 1);
        result.isUpdateOffered = false;
    } else if (moment.stage == Formatting) { // install.sh requires that format.sh has finished
        result.screen = screenAfter(Installing, moment.operation, 1);
        result.hasInstalled = true;
    } else {
        result.screen = "done";
        result.hasFailed = false;
    }
    return result;
}

Result afterPowerCut(const Moment& moment)
{
    Result result;
    result.screen = "waiting";
    result.operation = moment.operation;
    result.memory = moment.memory;
    result.backup = moment.backup;
    return result;
}

} // namespace

bool Result::canUpdate() const
{
    return memory == Memory::Old || memory == Memory::New || backup == Backup::Complete;
}

bool Result::arePresetsKept() const
{
    return memory == Memory::Old || backup == Backup::Complete ||
           (memory == Memory::New && operation == Operation::Update);
}

std::span<const Fault> allFaults()
{
    return faults;
}

std::vector<const Moment*> path(Operation operation)
{
    std::vector<const Moment*> result;
    for (const Moment& moment : moments) {
        if (belongsTo(moment, operation)) {
            result.push_back(&moment);
        }
    }
    return result;
}

std::vector<Cell> cellsOf(const Fault& fault)
{
    std::vector<Cell> cells;
    for (const Moment& moment : moments) {
        if (fault.appliesTo(moment)) {
            cells.push_back({&fault, &moment});
        }
    }
    return cells;
}

Result expectedResult(const Cell& cell)
{
    switch (cell.fault->effect) {
    case Effect::NeedFails:
        return afterUnmetNeed(cell);
    case Effect::PowerCut:
        return afterPowerCut(*cell.moment);
    case Effect::WorkKilled:
        return afterWorkKilled(*cell.moment);
    case Effect::AllKilled:
        return afterAllKilled(*cell.moment);
    case Effect::ScriptKilled: // the work continues, and the updater waits for the end of its output
    case Effect::DeviceFails:
        return success(cell, cell.moment->operation);
    }
    return {};
}

std::span<const ScriptFault> allScriptFaults()
{
    return scriptFaults;
}

std::span<const ScriptRun> allScriptRuns()
{
    return scriptRuns;
}

const char* screenAfter(Stage stage, Operation operation, int status)
{
    const bool isReset = operation == Reset;
    switch (stage) {
    case Decrypting:
        return status == 0   ? "menu"
               : status == 1 ? "failed-drive"
               : status == 2 ? "failed-no-firmware"
               : status == 3 ? "failed-corrupt"
                             : nullptr;
    case Formatting:
        return status == 0 ? "updating" : isReset ? "failed-format-reset" : "failed-format";
    case Installing:
        return status == 0 ? "done" : isReset ? "failed-install-reset" : "failed-install";
    default:
        return nullptr;
    }
}

} // namespace matrix
