// A deterministic model of a room watched by a gsx410 sensor, for demonstrations and
// tests without hardware: occupancy, cooking, cleaning, showers and ventilation drive
// VOC, humidity and temperature; the metal-oxide resistance falls with a power law of
// VOC and with absolute humidity, drifts slowly and carries noise. The same seed
// always gives the same file, byte for byte, on this platform.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace vorn::tools {

// Faults that can be injected to show how the library and the replay cope.
struct FaultSet {
    bool gaps = false;   // rows missing for 30 minutes
    bool stuck = false;  // the gas reading frozen for two hours
    bool range = false;  // one humidity above 100 %, one gas resistance below 170 ohm
    bool nan = false;    // one temperature written as "nan"
    bool any() const { return gaps || stuck || range || nan; }
};

// Parses "gaps,stuck,range,nan", "all" or "none". Throws ToolError.
FaultSet parseFaults(std::string_view list);

struct SimulateOptions {
    double days = 7.0;
    double intervalSeconds = 3.0;
    uint64_t seed = 1;
    FaultSet faults;
};

struct SimulateReport {
    uint64_t rows = 0;
    uint32_t cooking = 0;
    uint32_t cleaning = 0;
    uint32_t ventilation = 0;
    uint32_t showers = 0;
    double peakVocPpb = 0.0;
};

// Header of every log.
inline constexpr const char* kLogHeader =
    "time_s,temperature_c,pressure_pa,humidity_pct,gas_ohm,voc_ppb";

// Throws a ToolError naming the option and its valid range unless days and interval are
// usable; a caller checks before it creates the output, so a refusal leaves no file.
void checkSimulateOptions(const SimulateOptions& options);
// Writes the log (header and one row per interval, from one interval up to `days`)
// to `out`. Throws ToolError on invalid options or a write error.
SimulateReport simulate(const SimulateOptions& options, FILE* out);

}  // namespace vorn::tools
