#include "tools/krctl/commands.h"

#include "recorder/run/live.h"
#include "recorder/run/runlist.h"
#include "recorder/support/format.h"
#include "tools/common/json.h"
#include "tools/common/outputfile.h"
#include "tools/common/words.h"
#include "tools/krctl/run/runview.h"

#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace {

using Answer = recorder::RunInProgress::Answer;

constexpr mode_t kMode = 0644; // the collector runs as another user
constexpr double kMsPerSecond = 1000.0;
constexpr const char* kPrefix = "kestora_reindex_";

// Within a label's quotes; it has to be UTF-8.
std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char c : JsonText(text).get<std::string>()) {
        if (c == '\\' || c == '"') {
            escaped += '\\';
        }
        escaped += c == '\n' ? "\\n" : std::string(1, c);
    }
    return escaped;
}

std::string Help(const std::string& name, const std::string& help) {
    return "# HELP " + (kPrefix + name) + " " + help + "\n# TYPE " + (kPrefix + name) + " gauge\n";
}

std::string Sample(const std::string& name, const std::string& labels, double value) {
    return (kPrefix + name) + (labels.empty() ? "" : "{" + labels + "}") +
           recorder::Format(" %.15g\n", value);
}

std::string Gauge(const std::string& name, const std::string& help, double value) {
    return Help(name, help) + Sample(name, "", value);
}

// A camera twice in a run is one series: the parts are added up.
using PartsByLabels = std::map<std::string, recorder::RunPart>;

PartsByLabels PartsOf(const RunView& run) {
    const CameraNames names = ReadCameraNames();
    PartsByLabels parts;
    for (const recorder::RunPart& part : run.parts) {
        const auto name = names.find(part.camId);
        recorder::RunPart& sum =
            parts["kind=\"" + KindKey(part.kind) + "\",camera=\"" +
                  (part.camId == 0 ? "" : std::to_string(part.camId)) + "\",name=\"" +
                  (name == names.end() ? "" : Escaped(name->second)) + "\""];
        AddUp(sum, part);
    }
    return parts;
}

template <typename Value>
std::string Gauges(const PartsByLabels& parts, const std::string& name, const std::string& help,
                   const Value& value) {
    std::string text = Help(name, help);
    for (const auto& [labels, part] : parts) {
        text += Sample(name, labels, value(part));
    }
    return text;
}

std::string RunText(const recorder::RunRecord& run) {
    return Gauge("last_run_id", "Number of the newest run that ended.",
                 static_cast<double>(run.id)) +
           Gauge("last_run_start_timestamp_seconds", "When it began.",
                 static_cast<double>(run.startTm)) +
           Gauge("last_run_end_timestamp_seconds", "When it ended.",
                 static_cast<double>(run.endTm.value_or(0))) +
           Gauge("last_run_duration_seconds", "How long it took.",
                 static_cast<double>(run.endTm.value_or(run.startTm) - run.startTm)) +
           Gauge("last_run_failures",
                 "Failures in the last run that ended. Later runs do not read again what "
                 "could not be read: 0 does not say that every recording can be.",
                 static_cast<double>(run.failures)) +
           Gauge("last_run_refusals", "What was refused in it, parts and all.",
                 static_cast<double>(run.refusals));
}

std::string PartsText(const PartsByLabels& parts) {
    using recorder::RunPart;
    return Gauges(parts, "part_duration_seconds", "How long the part took.",
                  [](const RunPart& part) {
                      return static_cast<double>(part.durationMs) / kMsPerSecond;
                  }) +
           Gauges(parts, "part_files", "Files that were looked at.",
                  [](const RunPart& part) { return static_cast<double>(part.files); }) +
           Gauges(parts, "part_rows_before", "Rows that there were before.",
                  [](const RunPart& part) { return static_cast<double>(part.known); }) +
           Gauges(parts, "part_rows_added", "Rows that were added.",
                  [](const RunPart& part) { return static_cast<double>(part.added); }) +
           Gauges(parts, "part_rows_removed", "Rows that were removed.",
                  [](const RunPart& part) { return static_cast<double>(part.removed); }) +
           Gauges(parts, "part_failures", "What failed.",
                  [](const RunPart& part) { return static_cast<double>(part.failures); }) +
           Gauges(parts, "part_refusals", "What the recorder declined to do, for safety.",
                  [](const RunPart& part) { return static_cast<double>(part.refusals); });
}

// No sample where it can't be told: any value would claim that it can.
std::string RunningText(Answer inProgress) {
    return inProgress == Answer::Unknown
               ? ""
               : Gauge("running",
                       "1 while a run is in progress, 0 while none is; absent where that can't be "
                       "told.",
                       inProgress == Answer::Yes ? 1.0 : 0.0);
}

std::string MetricsText() {
    std::string text = RunningText(recorder::FindRunInProgress().answer);
    if (const std::optional<recorder::RunRecord> run = recorder::NewestEndedRun()) {
        text += RunText(*run) + PartsText(PartsOf(ViewOf(*run)));
    }
    return text;
}

void Metrics(const std::string& output) {
    const std::string text = MetricsText();
    if (output.empty()) {
        std::fputs(text.c_str(), stdout);
        return;
    }
    WriteOutputFile(output, text, kMode);
}

} // namespace

void AddMetricsCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "metrics", "the newest run that ended, in the text format of Prometheus");
    const auto output = std::make_shared<std::string>();
    command
        ->add_option("--output", *output,
                     "write them to this file, whole or not at all: for the textfile collector "
                     "of the node exporter")
        ->type_name("FILE");
    command->callback([output] { Metrics(*output); });
}
