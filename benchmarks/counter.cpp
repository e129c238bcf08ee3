// The marks around the measured code are plain writes, which take few instructions.
#include "benchmarks/counter.h"

#include <cstdio>
#include <string_view>
#include <unistd.h>

namespace {

/// Ignores errors: a mark that could not be written is missing from the log.
void writeMark(std::string_view mark)
{
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, mark.data(), mark.size());
}

} // namespace

Counter::Counter(const std::string& rowName, int divisor) : row(std::to_string(divisor) + ' ' + rowName)
{
    allocations.emplace();
    writeMark("mark: begin\n");
}

Counter::~Counter()
{
    writeMark("mark: end\n");
    std::fprintf(stderr, "mark: row %zu %s\n", allocations->count(), row.c_str());
}
