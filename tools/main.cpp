// The `vorn` command line: simulate a raw sensor log, replay a log through the
// library, and inspect, create and edit configuration and state blobs. Each
// subcommand lives in its own module; this file only declares the options.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "blob_commands.h"
#include "names.h"
#include "replay.h"
#include "simulate.h"
#include "tool_error.h"
#include "vorn/vorn.h"

namespace {

using namespace vorn::tools;

constexpr float kHostRateHz = 0.33333f;  // the host layer's 1/3 Hz: interval 300

std::string versionText() {
    VersionInfo v{};
    vorn_get_version(&v);
    return fmt::format("vorn {}.{}.{}.{}", v.major, v.minor, v.patch, v.build);
}

struct SimulateArgs {
    SimulateOptions options;
    std::string faults = "none";
    std::string output = "-";
};

void addSimulate(CLI::App& app, SimulateArgs& a) {
    auto* cmd = app.add_subcommand("simulate", "Write a realistic raw sensor log (CSV) of a room");
    cmd->add_option("--days", a.options.days, "Days to simulate")->capture_default_str();
    cmd->add_option("--interval", a.options.intervalSeconds, "Seconds between rows")
        ->capture_default_str();
    cmd->add_option("--seed", a.options.seed, "Random seed: the same seed gives the same file")
        ->capture_default_str();
    cmd->add_option("--faults", a.faults,
                    "Faults to inject: gaps,stuck,range,nan (comma list), all or none")
        ->capture_default_str();
    cmd->add_option("-o,--output", a.output, "Output file ('-': stdout)")->capture_default_str();
    cmd->footer(std::string("Columns: ") + kLogHeader +
                "\nvoc_ppb is the ground truth the sensor does not see.");
}

struct ReplayArgs {
    ReplayOptions options;
    std::string outputs = "host";
    bool noProgress = false;
    bool quiet = false;
    float offset = 0.0f;
};

void addReplay(CLI::App& app, ReplayArgs& a) {
    auto* cmd = app.add_subcommand("replay", "Run a raw log through the library as a device would");
    cmd->add_option("logs", a.options.logs,
                    "Raw log CSV ('-': stdin); several logs of one sensor are replayed in time "
                    "order, the learnt state carried from one to the next")
        ->required();
    cmd->add_option("-o,--output", a.options.output, "Outputs CSV ('-': stdout)")
        ->capture_default_str();
    cmd->add_option("--outputs", a.outputs,
                    "Outputs to subscribe: names or ids (comma list), 'host' (the host layer's "
                    "ten) or 'all'")
        ->capture_default_str();
    cmd->add_option("--rate", a.options.rate,
                    "auto (from the log's spacing: 1/3 Hz for rows every 3 s or closer, else "
                    "1/300 Hz), a rate in Hz, a fraction (1/300) or a period (300s)")
        ->capture_default_str();
    auto& f = a.options.format;
    cmd->add_option("--columns", f.columns,
                    "Where each reading is: time=NAME|POS,temperature=..,pressure=..,humidity=..,"
                    "gas=.. (header names or 1-based positions)");
    cmd->add_flag("--no-header", f.noHeader,
                  "The first line is data (columns by position; default order time, "
                  "temperature, pressure, humidity, gas)");
    cmd->add_option("--skip-lines", f.skipLines, "Lines to drop before the header or the data");
    cmd->add_option("--delimiter", f.delimiter, "Field separator: , ; or tab (default: sniffed)");
    cmd->add_option("--time-unit", f.timeUnit,
                    "Unit of numeric times: s, ms, us or ns (ISO 8601 and DD/MM/YYYY times are "
                    "recognised by themselves)");
    cmd->add_option("--time-zone", f.timeZone,
                    "Zone of dates written without one: UTC (default) or an offset like +01:00");
    cmd->add_option("--units", f.units,
                    "Units of the log: gas=ohm|kohm|mohm, pressure=pa|hpa|kpa, temperature=c|f|k, "
                    "humidity=percent|fraction (comma list)");
    cmd->add_option("--missing", f.missing,
                    "Values that mean \"no reading\" (comma list, e.g. -200,-1): that reading is "
                    "skipped, the rest of the row used");
    cmd->add_option("--config-in", a.options.configIn, "Configuration blob to import first");
    cmd->add_option("--state-in", a.options.stateIn,
                    "State blob or savedState.dat file to import first");
    cmd->add_option("--config-out", a.options.configOut,
                    "Write the configuration blob at the end (a .dat name: state-file format)");
    cmd->add_option("--state-out", a.options.stateOut,
                    "Write the state blob at the end (a .dat name: state-file format)");
    cmd->add_option("--temperature-offset", a.offset,
                    "Pass this temperature offset (degC) with every temperature sample");
    cmd->add_flag("--strict", a.options.strict, "Stop with an error at the first bad row");
    cmd->add_flag("--no-progress", a.noProgress, "Never show the progress bar");
    cmd->add_flag("-q,--quiet", a.quiet, "Print no summary");
    cmd->footer(
        "Outputs CSV: time_s, then <name>,<name>_accuracy for every subscribed output in "
        "ascending id order; an output not produced in a step leaves its two fields empty.\n"
        "The summary goes to stdout when --output names a file, else to stderr.");
}

struct BlobArgs {
    ShowOptions show;
    SetOptions set;
    std::string defaultOutput;
};

void addBlobCommands(CLI::App& app, BlobArgs& a, CLI::App*& stateShow, CLI::App*& configShow,
                     CLI::App*& configDefault, CLI::App*& configSet, CLI::App*& configNames) {
    auto* state = app.add_subcommand("state", "Inspect state blobs");
    state->require_subcommand(1);
    stateShow = state->add_subcommand("show", "Decode a state blob or savedState.dat file");
    stateShow->add_option("file", a.show.path, "Blob or state file")->required();
    stateShow->add_flag("--json", a.show.json, "Print JSON");

    auto* config = app.add_subcommand("config", "Inspect, create and edit configuration blobs");
    config->require_subcommand(1);
    configShow = config->add_subcommand("show", "Decode a configuration blob");
    configShow->add_option("file", a.show.path, "Configuration blob")->required();
    configShow->add_flag("--json", a.show.json, "Print JSON");
    configDefault = config->add_subcommand("default", "Write the default configuration blob");
    configDefault->add_option("-o,--output", a.defaultOutput, "Output file ('-': stdout)")
        ->required();
    configSet = config->add_subcommand("set", "Change parameters of a configuration blob");
    configSet->add_option("file", a.set.input, "Configuration blob to start from")->required();
    configSet
        ->add_option("assignments", a.set.assignments,
                     "section.field=value, section.field[i]=value or "
                     "section.field=v1,v2,... (see `vorn config names`)")
        ->required();
    configSet->add_option("-o,--output", a.set.output, "Output file ('-': stdout)")->required();
    configNames = config->add_subcommand("names", "List every parameter `config set` can change");
}

int runSimulate(SimulateArgs& sim) {
    sim.options.faults = parseFaults(sim.faults);
    checkSimulateOptions(sim.options);  // before the output file exists
    struct Closer {
        void operator()(FILE* f) const {
            if (f != stdout) std::fclose(f);
        }
    };
    std::unique_ptr<FILE, Closer> out(sim.output == "-" ? stdout
                                                        : std::fopen(sim.output.c_str(), "wb"));
    if (!out) throw ToolError("cannot create '" + sim.output + "'");
    const SimulateReport r = simulate(sim.options, out.get());
    if (out.get() != stdout && std::fclose(out.release()) != 0) {
        throw ToolError("cannot write '" + sim.output + "'");
    }
    fmt::print(stderr,
               "simulated {:g} days: {} rows every {:g} s (seed {}); {} cookings, {} cleanings, "
               "{} airings, {} showers; VOC peak {:.0f} ppb\n",
               sim.options.days, r.rows, sim.options.intervalSeconds, sim.options.seed, r.cooking,
               r.cleaning, r.ventilation, r.showers, r.peakVocPpb);
    return 0;
}

int runReplay(ReplayArgs& rep, bool offsetGiven, bool outputsGiven) {
    rep.options.outputs = parseOutputList(rep.outputs);
    rep.options.outputsGiven = outputsGiven;
    rep.options.progress = !rep.noProgress;
    if (offsetGiven) rep.options.temperatureOffset = rep.offset;
    const std::vector<ReplayReport> reports = replay(rep.options, stderr);
    const ReplayReport all = reports.size() == 1 ? reports.front() : overall(reports);
    if (!rep.quiet) {
        FILE* out = rep.options.output == "-" ? stderr : stdout;
        for (const ReplayReport& r : reports) printSummary(r, out);
        if (reports.size() > 1) printSummary(all, out);
    }
    if (all.interrupted) return 130;
    if (all.steps == 0) {
        fmt::print(stderr, "error: no row of {} could be used ({} rows read)\n",
                   reports.size() == 1 ? "'" + all.log + "'" : all.log, all.rows);
        return 1;
    }
    return 0;
}

int run(int argc, char** argv) {
    CLI::App app("vorn: simulate, replay and inspect data of the vorn gas-sensor library", "vorn");
    app.set_version_flag("--version", versionText());
    app.require_subcommand(1);
    SimulateArgs sim;
    addSimulate(app, sim);
    ReplayArgs rep;
    addReplay(app, rep);
    BlobArgs blob;
    CLI::App *stateShow, *configShow, *configDefault, *configSet, *configNames;
    addBlobCommands(app, blob, stateShow, configShow, configDefault, configSet, configNames);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }

    if (app.got_subcommand("simulate")) return runSimulate(sim);
    if (app.got_subcommand("replay")) {
        auto* cmd = app.get_subcommand("replay");
        return runReplay(rep, cmd->count("--temperature-offset") > 0, cmd->count("--outputs") > 0);
    }
    if (*stateShow || *configShow) {
        blob.show.kind = *stateShow ? BlobKind::State : BlobKind::Configuration;
        return showBlob(blob.show, stdout);
    }
    if (*configDefault) {
        writeDefaultConfiguration(blob.defaultOutput);
        return 0;
    }
    if (*configSet) {
        setConfiguration(blob.set, blob.set.output == "-" ? stderr : stdout);
        return 0;
    }
    if (*configNames) {
        fmt::print("{}", configurationNames());
        return 0;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const ToolError& e) {
        fmt::print(stderr, "error: {}\n", e.what());
        return 1;
    } catch (const std::exception& e) {
        fmt::print(stderr, "error: {}\n", e.what());
        return 1;
    }
}
