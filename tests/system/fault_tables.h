// The fault matrix: the tables of moments, faults, and faults of scripts, and the rules that derive the result of every
// cell.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace matrix {

enum class Operation { Update, Reset };

enum class Stage { Waiting, Decrypting, Menu, Dialog, Formatting, Installing, Done };

/// The contents of the internal memory. A memory without version.txt is incomplete.
enum class Memory { Old, Incomplete, New, Destroyed };

/// The contents of the spare partition. A complete backup contains the saved presets; an empty or incomplete one is
/// `Empty`.
enum class Backup { Empty, Complete, Destroyed };

/// What the work after a moment, up to the next moment, requires.
enum Need : unsigned {
    nothing = 0,
    settings = 1U << 0,
    lock = 1U << 1,
    driveAttached = 1U << 2,
    driveContent = 1U << 3,
    roomForFirmware = 1U << 4,
    roomForFiles = 1U << 5,
    /// Without it, the updater offers only the factory reset.
    oldVersion = 1U << 6,
    memoryAttached = 1U << 7,
    memoryContent = 1U << 8,
    memoryWrites = 1U << 9,
    /// All files that have been written; they are compared with the originals.
    memoryFiles = 1U << 10,
    backupAttached = 1U << 11,
    backupContent = 1U << 12,
    backupWrites = 1U << 13,
};

enum Storage : unsigned { none = 0, drive = 1, memory = 2, backup = 4 };

struct Moment {
    /// The progress line that the script has just printed, or the screen.
    const char* name;
    Stage stage;
    /// Moments up to the menu belong to the update, but the factory reset passes through them as well.
    Operation operation;
    unsigned needs;
    /// The mounted storage. Faults replace the contents of an image file only while it is not mounted.
    unsigned mounted;
    Memory memory;
    Backup backup;
    /// What the work after the moment formats. Contents lost earlier do not matter afterwards.
    unsigned formats = none;
};

enum class Effect {
    /// Something is missing or fails from this moment on, so the next work that needs it fails.
    NeedFails,
    /// The device is switched off.
    PowerCut,
    /// SIGKILL ends the process that does the work of the script.
    WorkKilled,
    /// SIGKILL ends the script's first process, and the shell that waits for it, if any. The work continues.
    ScriptKilled,
    /// SIGKILL ends all processes of the script, and the shell that waits for it, if any.
    AllKilled,
    /// The display, the encoder or the LED controller fails for half a second.
    DeviceFails,
};

struct Fault {
    /// A part of the test names.
    const char* name;
    const char* title;
    Effect effect;
    bool (*appliesTo)(const Moment& moment);
    /// The needs that are no longer met.
    unsigned needs = nothing;
    /// The storage whose contents are lost for ever.
    unsigned destroys = none;
    /// The golden screen after decrypt.sh has failed; null if the preparing screen stays, with `message`, or if
    /// decrypt.sh does not fail.
    const char* screen = nullptr;
    /// The last progress line when decrypt.sh exits with status 4.
    const char* message = "";
    /// DeviceFails: the name of the injected fault, and what the owner sees.
    const char* injected = nullptr;
    const char* symptom = nullptr;
};

struct Result {
    /// The golden screen at the end; null if the preparing screen stays, with the progress line `message`.
    const char* screen = nullptr;
    std::string message;
    /// False if the updater offers only the factory reset.
    bool isUpdateOffered = true;
    /// What the owner does: a factory reset if nothing else is offered.
    Operation operation = Operation::Update;
    bool hasFailed = false;
    /// install.sh has been started. Not set after a power cut.
    bool hasInstalled = false;
    Memory memory = Memory::Old;
    Backup backup = Backup::Empty;

    /// The next update succeeds. Otherwise only a factory reset does.
    [[nodiscard]] bool canUpdate() const;
    /// The owner's presets are on the memory or in the complete backup.
    [[nodiscard]] bool arePresetsKept() const;
};

/// A fault that begins at a moment.
struct Cell {
    const Fault* fault;
    const Moment* moment;
};

[[nodiscard]] std::span<const Fault> allFaults();
/// Every moment of an operation, in chronological order.
[[nodiscard]] std::vector<const Moment*> path(Operation operation);
/// The cells of a fault, in the order of the table of moments.
[[nodiscard]] std::vector<Cell> cellsOf(const Fault& fault);
[[nodiscard]] Result expectedResult(const Cell& cell);

/// A way in which a script can misbehave, and the exit status that the updater then reads.
struct ScriptFault {
    const char* name;
    const char* title;
    int status;
};

/// A script of an operation.
struct ScriptRun {
    const char* name;
    const char* title;
    Stage stage;
    Operation operation;
};

[[nodiscard]] std::span<const ScriptFault> allScriptFaults();
[[nodiscard]] std::span<const ScriptRun> allScriptRuns();
/// The golden screen after the script of `stage` has ended with `status`; null if the preparing screen stays on the
/// display, and for stages without a script.
[[nodiscard]] const char* screenAfter(Stage stage, Operation operation, int status);

} // namespace matrix
