// Decodes a capture file into a folder with the results.
#pragma once

#include "sim/decode/capture_file.h"
#include "sim/decode/decode_options.h"
#include "sim/decode/decoder.h"
#include "sim/decode/diagnosis.h"
#include "sim/decode/output_folder.h"
#include "sim/decode/report.h"
#include "sim/decode/results.h"
#include "sim/decode/vcd_reader.h"
#include "sim/session/reference_screens.h"

#include <functional>
#include <string>

namespace sim {

/// Throws DecodeUsageError if an expected screen is not a golden screen.
void requireKnownScreens(const DecodeOptions& options, const ReferenceScreens& references);

class Decoding {
public:
    /// Called by `run` after each read from the file.
    using Progress = std::function<void(const CaptureFile& file)>;

    /// Opens the capture and reads its header. Throws CaptureError if the file cannot be read, its header is invalid,
    /// or the lines cannot be assigned to its channels, and std::runtime_error if the folder cannot be created or must
    /// not be replaced.
    Decoding(DecodeOptions decodeOptions, const ReferenceScreens& references);

    /// Decodes the capture up to its end or to the first damage, which is reported in Report::damage, and completes the
    /// folder with the results. Throws CaptureError if `diagnose` finds a reason, and std::runtime_error if the
    /// results cannot be written.
    void run(const Progress& progress);
    /// Describes the decoded capture; call it after `run`.
    [[nodiscard]] Report report() const;

private:
    [[nodiscard]] Decoder::Setup connect();
    void noteLimits();
    [[nodiscard]] std::vector<Expectation> expectations() const;
    [[nodiscard]] Expectation initialisation() const;
    [[nodiscard]] Expectation screen(const std::string& name) const;

    DecodeOptions options;
    Progress onRead;
    CaptureFile file;
    VcdReader reader;
    ChannelMap channels;
    Decoder::Setup setup;
    OutputFolder folder;
    Results results;
    Decoder decoder;
    EdgeHistory history;
    std::string damage;
};

} // namespace sim
