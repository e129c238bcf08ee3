// Reads the resources of a process from /proc.
#include "tests/support/process_census.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

fs::path folderOf(pid_t pid)
{
    return fs::path("/proc") / std::to_string(pid);
}

std::size_t countEntries(const fs::path& folder)
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

/// Returns the letter of the process's state, as in ps(1); 0 if the process does not exist.
char stateOf(pid_t pid)
{
    std::ifstream file(folderOf(pid) / "stat");
    file.ignore(std::numeric_limits<std::streamsize>::max(), ')');
    char state = 0;
    file >> state;
    return state;
}

void countChildren(pid_t pid, ProcessCensus& census)
{
    for (const auto& thread : fs::directory_iterator(folderOf(pid) / "task")) {
        std::ifstream children(thread.path() / "children");
        for (pid_t child = 0; children >> child;) {
            ++census.children;
            census.zombies += stateOf(child) == 'Z' ? 1 : 0;
        }
    }
}

std::size_t residentKib(pid_t pid)
{
    std::ifstream file(folderOf(pid) / "smaps_rollup"); // exact, unlike the counters in statm
    for (std::string word; file >> word;) {
        if (word == "Rss:") {
            std::size_t size = 0;
            file >> size;
            return size;
        }
    }
    throw std::runtime_error("cannot read the memory size of process " + std::to_string(pid));
}

} // namespace

ProcessCensus takeCensus(pid_t pid)
{
    ProcessCensus census;
    census.descriptors = countEntries(folderOf(pid) / "fd");
    census.descriptors -= pid == getpid() ? 1 : 0; // the descriptor that countEntries uses
    census.threads = countEntries(folderOf(pid) / "task");
    census.residentKib = residentKib(pid);
    countChildren(pid, census);
    return census;
}

bool isRunning(pid_t pid)
{
    const char state = stateOf(pid);
    return state != 0 && state != 'Z' && state != 'X';
}

pid_t parentOf(pid_t pid)
{
    std::ifstream file(folderOf(pid) / "status");
    for (std::string word; file >> word;) {
        if (word == "PPid:") {
            pid_t parent = 0;
            file >> parent;
            return parent;
        }
    }
    throw std::runtime_error("cannot read the parent of process " + std::to_string(pid));
}
