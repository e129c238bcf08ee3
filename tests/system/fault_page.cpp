// Writes one table per fault, in which consecutive moments with the same result share a row, and a table of the faults
// of scripts.
#include "tests/system/fault_page.h"

#include "tests/system/fault_tables.h"

#include <sstream>

namespace matrix {

namespace {

std::string link(const std::string& screen)
{
    return "[" + screen + "]";
}

std::string code(const std::string& line)
{
    return "`" + line + "`";
}

/// The operation and the script that the moment belongs to, each if any. Both operations share the moments up to the
/// menu.
std::string contextOf(const Moment& moment)
{
    const std::string operation = moment.operation == Operation::Reset ? "factory reset: " : "update: ";
    switch (moment.stage) {
    case Stage::Decrypting:
        return "`decrypt.sh`, ";
    case Stage::Formatting:
        return operation + "`format.sh`, ";
    case Stage::Installing:
        return operation + "`install.sh`, ";
    case Stage::Dialog:
    case Stage::Done:
        return operation;
    default:
        return "";
    }
}

std::string nameOf(const Moment& moment)
{
    const bool isLine =
        moment.stage == Stage::Decrypting || moment.stage == Stage::Formatting || moment.stage == Stage::Installing;
    return isLine ? code(moment.name) : moment.name;
}

std::string sightOf(const Cell& cell, const Result& result)
{
    std::string text;
    if (cell.fault->effect == Effect::PowerCut) {
        return "nothing; after switching on, " + link(result.screen);
    }
    if (cell.fault->symptom != nullptr) {
        text = std::string(cell.fault->symptom) + "; at the end ";
    }
    if (!result.isUpdateOffered) {
        text += link("menu-without-update") + ", then ";
    }
    if (result.screen != nullptr) {
        text += link(result.screen);
    } else if (result.message.empty()) {
        text += link("preparing") + ", with the wheel stopped or hidden";
    } else {
        text += link("preparing-progress") + " with " + code(result.message) + ", with the wheel stopped or hidden";
    }
    const bool isWrong = !result.hasFailed && result.memory == Memory::Incomplete;
    return text + (isWrong ? ", although the memory is not complete" : "");
}

std::string presetsOf(const Cell& cell, const Result& result)
{
    if (result.arePresetsKept()) {
        const bool areOnMemory = result.memory == Memory::Old || result.memory == Memory::New;
        return areOnMemory ? "kept" : "kept on the spare partition";
    }
    if (cell.moment->operation == Operation::Update) {
        return "**lost**";
    }
    return result.memory == Memory::New ? "factory presets" : "deleted by the factory reset";
}

std::string firmwareOf(const Result& result)
{
    return result.memory == Memory::Old ? "old" : result.memory == Memory::New ? "new" : "none";
}

/// The columns after the first two.
std::string resultOf(const Cell& cell)
{
    const Result result = expectedResult(cell);
    return sightOf(cell, result) + " | " + presetsOf(cell, result) + " | " + firmwareOf(result) + " | " +
           (result.canUpdate() ? "update or factory reset" : "only factory reset") + " |";
}

void writeRow(std::ostream& page, const std::vector<Cell>& cells, std::size_t first, std::size_t last)
{
    const Moment& begin = *cells[first].moment;
    const Moment& end = *cells[last].moment;
    page << "| " << contextOf(begin) << nameOf(begin);
    if (last > first) {
        page << " up to " << (contextOf(begin) == contextOf(end) ? "" : contextOf(end)) << nameOf(end);
    }
    page << " | " << last - first + 1 << " | " << resultOf(cells[first]) << '\n';
}

void writeFault(std::ostream& page, const Fault& fault)
{
    const std::vector<Cell> cells = cellsOf(fault);
    page << "\n## " << fault.title << "\n\n"
         << "| When | Cells | What the owner sees | Presets | Firmware | Next |\n|---|---|---|---|---|---|\n";
    for (std::size_t first = 0; first < cells.size();) {
        std::size_t last = first;
        while (last + 1 < cells.size() && cells[last + 1].moment->operation == cells[first].moment->operation &&
               resultOf(cells[last + 1]) == resultOf(cells[first])) {
            ++last;
        }
        writeRow(page, cells, first, last);
        first = last + 1;
    }
}

void writeScriptFaults(std::ostream& page)
{
    page << "\n## A device's own script does not do what the updater expects\n\n"
            "Tested with scripts that print progress lines and otherwise do only what the first column says; what "
            "survives depends on\nthe script. Each entry is the screen after the script has ended. [preparing] and "
            "[updating] keep the last progress line,\nif any; the wheel of [preparing] has stopped or is "
            "hidden.\n\n| The script";
    for (const ScriptRun& run : allScriptRuns()) {
        page << " | " << run.title;
    }
    page << " |\n|---|---|---|---|---|---|\n";
    for (const ScriptFault& fault : allScriptFaults()) {
        page << "| " << fault.title;
        for (const ScriptRun& run : allScriptRuns()) {
            const char* screen = screenAfter(run.stage, run.operation, fault.status);
            page << " | " << link(screen == nullptr ? "preparing" : screen);
        }
        page << " |\n";
    }
}

/// The definitions of the links to the golden screens.
void writeLinks(std::ostream& page)
{
    constexpr const char* screens[] = {
        "done",           "failed-corrupt",       "failed-drive",       "failed-format", "failed-format-reset",
        "failed-install", "failed-install-reset", "failed-no-firmware", "menu",          "menu-without-update",
        "preparing",      "preparing-progress",   "updating",           "waiting",
    };
    page << '\n';
    for (const char* screen : screens) {
        page << '[' << screen << "]: ../screens/" << screen << ".png\n";
    }
}

} // namespace

std::size_t cellCount()
{
    std::size_t count = allScriptFaults().size() * allScriptRuns().size();
    for (const Fault& fault : allFaults()) {
        count += cellsOf(fault).size();
    }
    return count;
}

std::string faultPage()
{
    std::ostringstream page;
    page
        << "# Faults\n\n"
           "This page lists what the owner sees and what survives when a fault begins at a moment of an update or a "
           "factory reset.\n"
           "A cell is a fault that begins at one moment, or an entry of the last table. `./dev test --all` tests all "
        << cellCount()
        << " cells\n"
           "on the simulated device, with the example scripts unless a section says otherwise. Do not edit this page:\n"
           "`./dev screens` generates it from the tables in `tests/system/fault_tables.cpp`.\n\n"
           "- When: the screen or the latest progress line when the fault begins, or the first and last of several.\n"
           "  Unless its heading says otherwise, a fault lasts until the owner switches the device off.\n"
           "- Cells: the number of moments in the row.\n"
           "- Firmware: the firmware on the internal memory afterwards. With \"none\", the normal system cannot "
           "start.\n"
           "- Next: what succeeds when the owner switches the device on again and the fault has ended.\n";
    for (const Fault& fault : allFaults()) {
        writeFault(page, fault);
    }
    writeScriptFaults(page);
    writeLinks(page);
    return page.str();
}

} // namespace matrix
