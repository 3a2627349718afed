// `vorn replay`: drives the library through a raw log exactly as a device would
// (init, optional configuration and state import, subscription, then per row
// sensor control at the row's time, the measurements it asks for, one processing
// step) and writes every output as CSV, with a summary of how the run went.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "log_format.h"

namespace vorn::tools {

struct ReplayOptions {
    std::vector<std::string> logs;  // raw logs of one sensor, replayed in time order; "-": stdin
    std::string log;                // the one being replayed
    std::string output = "-";       // outputs CSV, "-" for stdout
    std::string configIn, stateIn, configOut, stateOut;
    LogFormatOptions format;       // columns, delimiter, times, units, missing markers
    std::vector<uint8_t> outputs;  // output identifiers, ascending
    bool outputsGiven = false;     // chosen by the user, not the default list
    std::string rate = "auto";     // "auto", Hz ("0.0033333"), a fraction ("1/300") or "300s"
    std::optional<float> temperatureOffset;
    bool strict = false;
    bool progress = true;  // shown only when stderr is a terminal
    int maxReportedBadRows = 20;
};

struct ReplayReport {
    std::string log;                 // as named in messages
    uint64_t rows = 0;               // data rows read
    uint64_t steps = 0;              // processing steps run
    uint64_t beforePlannedCall = 0;  // rows a device would have slept through
    uint64_t notAsked = 0;           // rows at which the library asked for no measurement
    uint64_t zeroTimeRows = 0;       // rows at time 0 ("no sample yet" to the library)
    std::array<uint64_t, kRoleCount> missingReadings{};  // by role: given as a missing marker
    float rateHz = 0.0f;                                 // the rate the outputs ran at
    std::string rateReason;                              // how it was chosen
    int64_t medianSpacingNs = 0;                         // of the first rows; 0 when unknown
    uint64_t outputRows = 0;                             // rows written to the outputs CSV
    std::map<std::string, uint64_t> badRows;             // by reason
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
    bool interrupted = false;  // stopped by SIGINT or SIGTERM
    double seconds = 0.0;      // wall time of the whole replay
    uint64_t badRowCount() const;
};

// Parses --rate: "auto" gives nullopt; Hz, a fraction ("1/300") or a period
// ("300s"). Throws ToolError naming the text.
std::optional<double> parseRate(const std::string& text);

// Runs the replay. Throws ToolError for problems that stop it (unreadable files, a
// refused blob or subscription, a bad row with --strict).
// Several logs are replayed in the order of their first time stamps as a device that
// restarts between them: the learnt state is exported at the end of one and imported
// into a fresh library at the start of the next. One report per log.
std::vector<ReplayReport> replay(const ReplayOptions& options, FILE* diagnostics);

// The reports of several logs as one.
ReplayReport overall(const std::vector<ReplayReport>& reports);

void printSummary(const ReplayReport& report, FILE* out);

}  // namespace vorn::tools
