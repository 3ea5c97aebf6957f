#include "tools/krctl/plan/planview.h"

#include "recorder/support/format.h"
#include "tools/common/table.h"
#include "tools/common/terminal.h"

#include <algorithm>
#include <array>
#include <cstdio>

using plan::Reason;

namespace {

constexpr std::size_t kProblemsShown = 20;

struct Column {
    Reason reason;
    const char* title;
    int rank = 0; // of Table::Column
};

constexpr std::array kColumns{
    Column{Reason::FileWithoutRow, "to add", 2},
    Column{Reason::RowWithoutFile, "to remove", 1},
    Column{Reason::BadlyNamed, "badly named", 5},
    Column{Reason::ChangedAfterStart, "changing", 6},
    Column{Reason::ThumbnailMissing, "no thumbnail", 7},
    Column{Reason::FolderEmpty, "empty folder", 8},
};

// The reasons that are too rare for a column.
constexpr std::array kRemarks{
    Column{Reason::RowRenewed, "to be rewritten, because two files have its name"},
    Column{Reason::Damaged, "without a length, because the recording can't be read"},
};

std::vector<std::string> Cells(std::string camera, std::string kind, const PlanPart& part) {
    std::vector<std::string> cells{std::move(camera), std::move(kind), std::to_string(part.files),
                                   std::to_string(part.rows)};
    for (const Column& column : kColumns) {
        cells.push_back(std::to_string(part.Count(column.reason)));
    }
    return cells;
}

Table TableOf(const PlanSummary& plan) {
    std::vector<Table::Column> columns{
        {"camera"}, {"kind"}, {"files", true, 4, FilesLegend(plan.Parts())}, {"rows", true, 3}};
    for (const Column& column : kColumns) {
        columns.push_back({column.title, true, column.rank});
    }
    Table table(columns);
    for (const PlanPart& part : plan.Parts()) {
        table.AddRow(Cells(CameraText(plan.Cameras(), part.camId), KindText(part.kind), part));
    }
    table.AddRow(Cells("total", "", plan.Total()));
    return table;
}

void PrintProblem(const PlanSummary& plan, const plan::Note& problem) {
    const std::string text = Printable(ProblemText(plan, problem));
    switch (problem.reason) {
    case Reason::Refusal:
        std::printf("%s\n", Coloured(Colour::Red, "REFUSED: " + text).c_str());
        break;
    case Reason::Failure:
        std::printf("%s\n", Coloured(Colour::Red, "FAILED: " + text).c_str());
        break;
    default:
        std::printf("%s\n", Coloured(Colour::Yellow, "warning: " + text).c_str());
        break;
    }
}

void PrintRemarks(const PlanSummary& plan) {
    const PlanPart total = plan.Total();
    for (const Column& remark : kRemarks) {
        if (const long count = total.Count(remark.reason); count > 0) {
            std::printf("%s %s\n", Counted(count, "row").c_str(), remark.title);
        }
    }
}

void PrintProblems(const PlanSummary& plan) {
    const std::vector<plan::Note>& problems = plan.Problems();
    const std::size_t shown = std::min(problems.size(), kProblemsShown);
    for (std::size_t i = 0; i < shown; ++i) {
        PrintProblem(plan, problems[i]);
    }
    if (shown < problems.size()) {
        std::printf("... and %zu more; --json lists all\n", problems.size() - shown);
    }
}

void PrintRunInProgress(const PlanSummary& plan) {
    const std::optional<plan::Note>& run = plan.RunInProgress();
    if (run && !run->text.empty()) {
        std::printf("%s\n", Coloured(Colour::Yellow, Printable(run->text)).c_str());
    } else if (run) {
        const std::string process =
            run->number == 0 ? "" : ", process " + std::to_string(run->number);
        std::printf("A run is in progress%s: the plan shows what it has not done yet.\n",
                    process.c_str());
    }
}

// Null if this could not be determined.
Json IsRunInProgress(const PlanSummary& plan) {
    const std::optional<plan::Note>& run = plan.RunInProgress();
    return run && !run->text.empty() ? Json() : Json(run.has_value());
}

std::string Hex(std::string_view bytes) {
    std::string hex;
    for (const char c : bytes) {
        hex += recorder::Format("%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
    }
    return hex;
}

Json CameraOrNull(int camId) {
    return camId == 0 ? Json() : Json(camId);
}

std::string KeyOf(Reason reason) {
    std::string key = plan::NameOf(reason);
    std::replace(key.begin(), key.end(), '-', '_');
    return key;
}

void AddCounts(Json& json, const PlanPart& part) {
    json["files"] = part.files;
    json["rows"] = part.rows;
    for (const Column& column : kColumns) {
        json[KeyOf(column.reason)] = part.Count(column.reason);
    }
    for (const Column& remark : kRemarks) {
        json[KeyOf(remark.reason)] = part.Count(remark.reason);
    }
}

Json JsonOfPart(const PlanPart& part, const CameraNames& names) {
    Json json;
    json["kind"] = KindKey(part.kind);
    json["camera"] = CameraOrNull(part.camId);
    const auto name = names.find(part.camId);
    json["camera_name"] = name == names.end() ? Json() : JsonText(name->second);
    AddCounts(json, part);
    return json;
}

Json JsonOfProblem(const plan::Note& problem) {
    Json json;
    json["reason"] = plan::NameOf(problem.reason);
    json["kind"] = problem.kind.empty() ? Json() : Json(KindKey(problem.kind));
    json["camera"] = CameraOrNull(problem.camId);
    json["text"] = JsonText(problem.text);
    return json;
}

} // namespace

void PrintPlan(const PlanSummary& plan) {
    PrintTable(TableOf(plan));
    PrintRemarks(plan);
    PrintProblems(plan);
    PrintRunInProgress(plan);
    const bool hasNothingToDo =
        plan.IsComplete() && !plan.HasChanges() && plan.KnownFindings() == 0;
    std::printf("%s\n", hasNothingToDo ? Coloured(Colour::Green, plan.Sentence()).c_str()
                                       : plan.Sentence().c_str());
}

std::string ProblemText(const PlanSummary& plan, const plan::Note& problem) {
    const std::string place = problem.camId == 0
                                  ? (problem.kind.empty() ? "" : KindText(problem.kind) + ": ")
                                  : "camera " + CameraText(plan.Cameras(), problem.camId) + ": ";
    return place + problem.text;
}

std::string ListLine(const plan::Note& item) {
    return std::string(plan::NameOf(item.reason)) + '\t' + KindKey(item.kind) + '\t' +
           (item.camId == 0 ? "-" : std::to_string(item.camId)) + '\t' + Printable(item.text);
}

Json JsonOf(const PlanSummary& plan) {
    Json json;
    json["parts"] = Json::array();
    for (const PlanPart& part : plan.Parts()) {
        json["parts"].push_back(JsonOfPart(part, plan.Cameras()));
    }
    AddCounts(json["total"], plan.Total());
    json["problems"] = Json::array();
    for (const plan::Note& problem : plan.Problems()) {
        json["problems"].push_back(JsonOfProblem(problem));
    }
    json["run_in_progress"] = IsRunInProgress(plan);
    json["complete"] = plan.IsComplete();
    json["nothing_to_change"] = plan.IsComplete() && !plan.HasChanges();
    const std::optional<long> findings = plan.KnownFindings();
    json["known_findings"] = findings ? Json(*findings) : Json();
    json["summary"] = plan.Sentence();
    return json;
}

Json JsonOfItem(const plan::Note& item) {
    Json json;
    json["reason"] = plan::NameOf(item.reason);
    json["kind"] = KindKey(item.kind);
    json["camera"] = CameraOrNull(item.camId);
    json["path"] = JsonText(item.text);
    if (json["path"] != item.text) {
        json["bytes"] = Hex(item.text);
    }
    json["row"] = item.number == 0 ? Json() : Json(item.number);
    return json;
}
