// `vorn replay`: drives the library through a raw log exactly as a device would
// (init, optional configuration and state import, subscription, then per row
// sensor control at the row's time, the measurements it asks for, one processing
// step) and writes every output as CSV, with a summary of how the run went.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vorn::tools {

struct ReplayOptions {
    std::string log;           // raw log CSV, "-" for stdin
    std::string output = "-";  // outputs CSV, "-" for stdout
    std::string configIn, stateIn, configOut, stateOut;
    std::vector<uint8_t> outputs;  // output identifiers, ascending
    float rateHz = 0.33333f;       // 1/3 Hz: the interval 300 (3 s)
    std::optional<float> temperatureOffset;
    bool strict = false;
    bool progress = true;  // shown only when stderr is a terminal
    int maxReportedBadRows = 20;
};

struct ReplayReport {
    uint64_t rows = 0;                        // data rows read
    uint64_t steps = 0;                       // processing steps run
    uint64_t beforePlannedCall = 0;           // rows a device would have slept through
    uint64_t notAsked = 0;                    // rows at which the library asked for no measurement
    uint64_t outputRows = 0;                  // rows written to the outputs CSV
    std::map<std::string, uint64_t> badRows;  // by reason
    std::map<int32_t, uint64_t> sensorControlWarnings;
    std::map<int32_t, uint64_t> doStepsWarnings;
    int64_t firstNs = 0, lastNs = 0;
    std::optional<int64_t> iaqAccuracy3Ns;  // time of the first IAQ output with accuracy 3
    std::optional<int64_t> accumulatedFlagNs, continuousFlagNs;
    uint64_t continuousFlagLosses = 0;
    uint64_t iaqSteps = 0, iaqSteps3 = 0;
    bool iaqSubscribed = false, flagsTracked = false;
    float finalIaq = 0.0f;
    int finalIaqAccuracy = -1;
    double seconds = 0.0;  // wall time of the whole replay
    uint64_t badRowCount() const;
};

// Runs the replay. Throws ToolError for problems that stop it (unreadable files, a
// refused blob or subscription, a bad row with --strict).
ReplayReport replay(const ReplayOptions& options, FILE* diagnostics);

void printSummary(const ReplayOptions& options, const ReplayReport& report, FILE* out);

}  // namespace vorn::tools
