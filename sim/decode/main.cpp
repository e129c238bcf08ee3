// Decodes a capture of the device's wires.
#include "sim/decode/capture_error.h"
#include "sim/decode/capture_file.h"
#include "sim/decode/decode_options.h"
#include "sim/decode/decoding.h"
#include "sim/session/signals.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

bool isColourful(int descriptor)
{
    const char* const terminal = std::getenv("TERM");
    return isatty(descriptor) == 1 && std::getenv("NO_COLOR") == nullptr && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

/// Prints the progress if the file has at least 20 MB and standard error is a terminal. The destructor clears the line.
class Progress {
public:
    Progress() = default;
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress()
    {
        if (shown >= 0) {
            std::cerr << "\r\033[K" << std::flush;
        }
    }

    void update(const sim::CaptureFile& file)
    {
        constexpr std::uint64_t longFile = 20'000'000;
        if (!isTerminal || file.size() < longFile) {
            return;
        }
        const int percent = static_cast<int>(file.position() * 100 / file.size());
        if (percent != shown) {
            shown = percent;
            std::cerr << "\rDecoding " << file.name() << ", " << percent << " %" << std::flush;
        }
    }

private:
    bool isTerminal = isatty(STDERR_FILENO) == 1;
    int shown = -1;
};

int run(const sim::DecodeOptions& options)
{
    const sim::ReferenceScreens references(TONECRATE_SCREENS);
    requireKnownScreens(options, references);
    sim::Decoding decoding(options, references);
    {
        Progress progress;
        decoding.run([&](const sim::CaptureFile& file) { progress.update(file); });
    }
    const sim::Report report = decoding.report();
    report.print(std::cout, isColourful(STDOUT_FILENO));
    std::cout.flush();
    sim::checkSignals();
    if (!std::cout) {
        throw std::runtime_error("cannot write to standard output");
    }
    if (!report.damage.empty()) {
        throw sim::CaptureError(report.damage);
    }
    return report.isPassed() ? 0 : failed;
}

} // namespace

int main(int argc, char** argv)
{
    sim::watchSignals();
    try {
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        const sim::DecodeOptions options = sim::parseDecodeOptions(arguments);
        if (options.wantsHelp) {
            std::cout << sim::decodeHelpText();
            return 0;
        }
        return run(options);
    } catch (const sim::DecodeUsageError& error) {
        const std::string help = sim::decodeHelpText();
        std::cerr << "tonecrate-decode: " << error.what() << '\n' << help.substr(0, help.find("\n\n")) << '\n';
        return wrongUsage;
    } catch (const sim::Interrupted&) {
        sim::endBySignal(sim::caughtSignal());
    } catch (const std::exception& error) {
        std::cerr << "tonecrate-decode: " << error.what() << '\n';
        return failed;
    }
}
