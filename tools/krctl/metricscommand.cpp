#include "tools/krctl/commands.h"

#include "recorder/backup/backupset.h"
#include "recorder/finding/finding.h"
#include "recorder/run/live.h"
#include "recorder/run/runlist.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "tools/common/json.h"
#include "tools/common/outputfile.h"
#include "tools/common/texts.h"
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

constexpr mode_t kMode = 0644; // because the collector runs as another user
constexpr double kMsPerSecond = 1000.0;
constexpr const char* kPrefix = "kestora_reindex_";

// The text as it is written within a label's quotes, in UTF-8.
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

// If a run has two parts with the same labels, they are added up to one series.
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
    return Gauge("last_run_id", "Number of the last finished run.", static_cast<double>(run.id)) +
           Gauge("last_run_start_timestamp_seconds", "Start of the last finished run.",
                 static_cast<double>(run.startTm)) +
           Gauge("last_run_end_timestamp_seconds", "End of the last finished run.",
                 static_cast<double>(run.endTm.value_or(0))) +
           Gauge("last_run_duration_seconds", "Duration of the last finished run.",
                 static_cast<double>(run.endTm.value_or(run.startTm) - run.startTm)) +
           Gauge("last_run_failures",
                 "Failures in the last finished run. 0 does not mean that every recording can be "
                 "read: a recording that has a row is not read again.",
                 static_cast<double>(run.failures)) +
           Gauge("last_run_refusals", "Refusals in the last finished run.",
                 static_cast<double>(run.refusals));
}

std::string PartsText(const PartsByLabels& parts) {
    using recorder::RunPart;
    return Gauges(parts, "part_duration_seconds", "Duration of the part.",
                  [](const RunPart& part) {
                      return static_cast<double>(part.durationMs) / kMsPerSecond;
                  }) +
           Gauges(parts, "part_files", "Files examined, thumbnails of e-maps included.",
                  [](const RunPart& part) { return static_cast<double>(part.files); }) +
           Gauges(parts, "part_rows_before", "Rows before the run.",
                  [](const RunPart& part) { return static_cast<double>(part.known); }) +
           Gauges(parts, "part_rows_added", "Rows added.",
                  [](const RunPart& part) { return static_cast<double>(part.added); }) +
           Gauges(parts, "part_rows_removed", "Rows removed.",
                  [](const RunPart& part) { return static_cast<double>(part.removed); }) +
           Gauges(parts, "part_failures", "Failures in the part.",
                  [](const RunPart& part) { return static_cast<double>(part.failures); }) +
           Gauges(parts, "part_refusals", "Changes that the recorder refused for safety.",
                  [](const RunPart& part) { return static_cast<double>(part.refusals); });
}

// Without an answer there is no sample, because any value would claim one.
std::string RunningText(Answer inProgress) {
    return inProgress == Answer::Unknown
               ? ""
               : Gauge("running",
                       "1 while a run is in progress, 0 while none is; absent if this could not be "
                       "determined.",
                       inProgress == Answer::Yes ? 1.0 : 0.0);
}

// Kinds and types without findings have no sample.
std::string FindingsText() {
    std::map<std::string, long> counts;
    for (const recorder::FindingCount& found : recorder::CountFindings({})) {
        counts["kind=\"" + KindKey(found.kind) + "\",finding=\"" + NameOf(found.type) + "\""] +=
            found.count;
    }
    std::string text =
        Help("findings", "Findings on record: what checks and runs found wrong with files.");
    for (const auto& [labels, count] : counts) {
        text += Sample("findings", labels, static_cast<double>(count));
    }
    return text;
}

// A folder whose sets can't be listed has no sample.
std::string BackupsText() {
    const recorder::Settings& settings = recorder::GetSettings();
    if (settings.database.postgres || settings.backup.folders.empty()) {
        return "";
    }
    std::string sets = Help("backup_sets", "Backup sets of this recorder in the folder.");
    std::string newest = Help("last_backup_timestamp_seconds", "When the newest set was taken.");
    for (const std::string& folder : settings.backup.folders) {
        const std::string label = "folder=\"" + Escaped(folder) + "\"";
        try {
            const recorder::BackupSets found = recorder::ListBackupSets(folder);
            sets += Sample("backup_sets", label, static_cast<double>(found.sets.size()));
            if (!found.sets.empty()) {
                newest += Sample("last_backup_timestamp_seconds", label,
                                 static_cast<double>(found.sets.front().takenTm));
            }
        } catch (const recorder::Error&) {
            continue; // krctl doctor has the reason
        }
    }
    return sets + newest;
}

std::string MetricsText() {
    std::string text =
        RunningText(recorder::FindRunInProgress().answer) + FindingsText() + BackupsText();
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
    CLI::App* const command =
        app.add_subcommand("metrics", "print the last finished run as Prometheus metrics");
    const auto output = std::make_shared<std::string>();
    command->add_option("--output", *output, "replace this file instead, for a textfile collector")
        ->type_name("FILE");
    command->callback([output] { Metrics(*output); });
}
