#include "tools/krctl/check/checkview.h"

#include "recorder/check/containercheck.h"
#include "tools/common/findingview.h"
#include "tools/common/json.h"
#include "tools/common/table.h"
#include "tools/common/terminal.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <numeric>
#include <utility>

namespace {

constexpr long kFindingsShown = 20;

long Sum(const std::vector<CheckedView>& parts,
         const std::function<long(const CheckedView&)>& number) {
    return std::accumulate(parts.begin(), parts.end(), 0L,
                           [&](long sum, const CheckedView& part) { return sum + number(part); });
}

std::vector<std::string> ProblemsOf(const CheckedView& view) {
    std::vector<std::string> problems = view.result.problems;
    if (view.contents) {
        for (const std::string& problem : view.contents->problems) {
            if (std::find(problems.begin(), problems.end(), problem) == problems.end()) {
                problems.push_back(problem);
            }
        }
    }
    return problems;
}

long FindingsOf(const CheckedView& view) {
    return view.result.findings + (view.contents ? view.contents->findings : 0);
}

Json JsonOfContents(const std::optional<recorder::PartContents>& contents) {
    if (!contents) {
        return {};
    }
    return {{"same", contents->same},
            {"first", contents->taken},
            {"accepted", contents->accepted},
            {"bytes", contents->bytes},
            {"not_read", contents->notRead},
            {"oldest", contents->oldestTm ? JsonTime(*contents->oldestTm) : Json()}};
}

// What was compared of the files of a kind besides their contents.
std::vector<std::string> Compared(const recorder::MediaTable& table, const CheckLevels& levels) {
    std::vector<std::string> compared{"names"};
    if (recorder::HasSize(table)) {
        compared.emplace_back("sizes");
    }
    if (levels.containers && recorder::HasContainers(table)) {
        compared.emplace_back("headers");
    }
    return compared;
}

// "compared: names and sizes of recordings and snapshots; names of e-maps"
std::string ComparedText(const std::vector<CheckedView>& parts, const CheckLevels& levels) {
    std::vector<std::pair<std::string, std::vector<std::string>>> kinds; // by what was compared
    for (const CheckedView& view : parts) {
        const std::string what = Enumerated(Compared(view.part.table, levels));
        const std::string kind = KindText(view.part.table.name);
        const auto same = std::find_if(kinds.begin(), kinds.end(),
                                       [&](const auto& entry) { return entry.first == what; });
        if (same == kinds.end()) {
            kinds.push_back({what, {kind}});
        } else if (same->second.back() != kind) {
            same->second.push_back(kind);
        }
    }
    std::string text;
    for (const auto& [what, names] : kinds) {
        text += (text.empty() ? "compared: " : "; ") + what + " of " + Enumerated(names);
    }
    return text.empty() ? "nothing was compared" : text;
}

Json JsonOfPart(const CheckedView& view, const CheckLevels& levels) {
    Json json;
    json["kind"] = KindKey(view.part.table.name);
    json["camera"] = view.part.camId == 0 ? Json() : Json(view.part.camId);
    json["compared"] = Compared(view.part.table, levels);
    json["rows"] = view.result.rows;
    json["findings"] = FindingsOf(view);
    json["fixed"] = view.result.fixed;
    json["being_written"] = view.BeingWritten();
    json["contents"] = JsonOfContents(view.contents);
    json["problems"] = Json::array();
    for (const std::string& problem : ProblemsOf(view)) {
        json["problems"].push_back(JsonText(problem));
    }
    return json;
}

void PrintParts(const CameraNames& names, const std::vector<CheckedView>& parts, bool contents) {
    std::vector<Table::Column> columns{{"kind"}, {"camera"}, {"rows", true}, {"findings", true}};
    if (contents) {
        columns.push_back({"same contents", true, 2});
        columns.push_back({"first read", true, 3});
        columns.push_back({"not read", true, 1});
    }
    Table table(columns);
    for (const CheckedView& view : parts) {
        std::vector<std::string> cells{
            KindText(view.part.table.name), CameraText(names, view.part.camId),
            std::to_string(view.result.rows), std::to_string(FindingsOf(view))};
        if (view.contents) {
            for (const long files :
                 {view.contents->same, view.contents->taken, view.contents->notRead}) {
                cells.push_back(std::to_string(files));
            }
        }
        table.AddRow(cells);
    }
    PrintTable(table);
}

void PrintProblems(const CameraNames& names, const std::vector<CheckedView>& parts) {
    for (const CheckedView& view : parts) {
        for (const std::string& problem : ProblemsOf(view)) {
            const std::string camera =
                view.part.camId == 0 ? "" : CameraText(names, view.part.camId);
            const std::string text =
                "NOT CHECKED: " + PartText(view.part.table.name, camera) + ": " + problem;
            std::printf("%s\n", Coloured(Colour::Red, Printable(text)).c_str());
        }
    }
}

std::string FilesText(long files, const std::string& verb) {
    return Counted(files, "file") + (files == 1 ? " was " : " were ") + verb;
}

// When the file that was not read for the longest time was read; nothing: never, or all were.
std::optional<long> OldestOf(const std::vector<CheckedView>& parts) {
    std::optional<long> oldest;
    for (const CheckedView& view : parts) {
        if (view.contents && view.contents->oldestTm) {
            oldest = std::min(oldest.value_or(*view.contents->oldestTm), *view.contents->oldestTm);
        }
    }
    return oldest;
}

// What a check of contents read, and what it left out.
std::string ContentsText(const std::vector<CheckedView>& parts) {
    const auto count = [&](long recorder::PartContents::*number) {
        return Sum(parts, [number](const CheckedView& view) {
            return view.contents ? (*view.contents).*number : 0;
        });
    };
    std::string text =
        "Contents: " +
        FilesText(count(&recorder::PartContents::same), "the same as when first read") + "; " +
        FilesText(count(&recorder::PartContents::taken), "read for the first time");
    if (const long files = count(&recorder::PartContents::accepted); files > 0) {
        text += "; " + FilesText(files, "changed, and accepted as right");
    }
    text += ".\n";
    if (const long files = count(&recorder::PartContents::notRead); files > 0) {
        const std::optional<long> oldest = OldestOf(parts);
        text += FilesText(files, "not read") + "; the next check of contents begins here" +
                (oldest ? "; one was last read at " + TimeText(*oldest) : "") + ".\n";
    }
    return text;
}

std::string FixPrefix(const recorder::FixResult& fix) {
    switch (fix.outcome) {
    case recorder::FixResult::Outcome::Fixed:
        return "fixed: ";
    case recorder::FixResult::Outcome::NotFixed:
        return "NOT FIXED: ";
    case recorder::FixResult::Outcome::NotSelected:
        break;
    }
    return "";
}

Json JsonOfDifference(const recorder::Finding& finding, const recorder::FixResult& fix) {
    using Outcome = recorder::FixResult::Outcome;
    Json json = JsonOf(finding);
    json["fixed"] =
        fix.outcome == Outcome::NotSelected ? Json() : Json(fix.outcome == Outcome::Fixed);
    json["reason"] = fix.outcome == Outcome::NotFixed ? JsonText(fix.why) : Json();
    return json;
}

Json LevelsJson(const CheckLevels& levels) {
    Json names{"names"};
    if (levels.containers) {
        names.push_back("containers");
    }
    if (levels.contents) {
        names.push_back("contents");
    }
    return {{"levels", names}};
}

} // namespace

CheckPrinter::CheckPrinter(CheckView view)
    : m_view(std::move(view)), m_json("check", "findings", LevelsJson(m_view.levels)) {}

bool CheckedView::IsComplete() const {
    return result.problems.empty() && (!contents || contents->problems.empty());
}

long CheckedView::BeingWritten() const {
    return result.beingWritten + (contents ? contents->beingWritten : 0);
}

bool IsComplete(const std::vector<CheckedView>& parts) {
    return std::all_of(parts.begin(), parts.end(), std::mem_fn(&CheckedView::IsComplete));
}

void CheckPrinter::Print(const recorder::Finding& finding, const recorder::FixResult& fix) {
    ++m_printed;
    m_fixed += fix.outcome == recorder::FixResult::Outcome::Fixed ? 1 : 0;
    if (m_view.asJson) {
        m_json.Add(JsonOfDifference(finding, fix));
    } else if (m_printed <= kFindingsShown) {
        const std::string text = FixPrefix(fix) + FindingText(finding, m_view.names) +
                                 (fix.why.empty() ? "" : "; " + fix.why);
        std::printf("%s\n", Printable(text).c_str());
    }
}

void CheckPrinter::End(const std::vector<CheckedView>& parts, const CheckTotals& totals) {
    m_view.asJson ? EndJson(parts, totals) : EndText(parts, totals);
}

void CheckPrinter::EndJson(const std::vector<CheckedView>& parts, const CheckTotals& totals) {
    Json json;
    json["complete"] = ::IsComplete(parts);
    json["run"] = totals.fixRun == 0 ? Json() : Json(totals.fixRun);
    json["findings_on_record"] = totals.onRecord;
    json["rows_without_part"] = totals.rowsWithoutPart;
    json["parts"] = Json::array();
    for (const CheckedView& view : parts) {
        json["parts"].push_back(JsonOfPart(view, m_view.levels));
    }
    m_json.End(json);
}

void CheckPrinter::EndText(const std::vector<CheckedView>& parts, const CheckTotals& totals) const {
    if (m_printed > kFindingsShown) {
        std::printf("and %ld more\n", m_printed - kFindingsShown);
    }
    if (m_printed > 0) {
        std::putchar('\n');
    }
    PrintParts(m_view.names, parts, m_view.levels.contents);
    PrintProblems(m_view.names, parts);
    if (const long rows = totals.rowsWithoutPart; rows > 0) {
        std::printf("%s of deleted cameras, or of cameras of other recorders: not checked.\n",
                    Counted(rows, "row").c_str());
    }
    if (const long files = Sum(parts, std::mem_fn(&CheckedView::BeingWritten)); files > 0) {
        std::printf("%s.\n", FilesText(files, "being written and not compared").c_str());
    }
    if (m_view.levels.contents) {
        std::fputs(ContentsText(parts).c_str(), stdout);
    }
    if (totals.fixRun != 0) {
        std::printf("%s brought up to date; to reverse this: krctl undo %ld\n",
                    Counted(m_fixed, "row").c_str(), totals.fixRun);
    }
    std::string found = Findings() == 0
                            ? (m_fixed == 0 ? "Nothing found; " : "Nothing else found; ") +
                                  ComparedText(parts, m_view.levels)
                            : Counted(Findings(), "finding") + "; krctl findings lists them";
    if (const long others = totals.onRecord - Findings(); others > 0) {
        found += "; " + Counted(others, "other finding") + " of earlier checks or runs on record";
    }
    std::printf("%s%s\n", found.c_str(), ::IsComplete(parts) ? "." : "; the check is incomplete.");
}
