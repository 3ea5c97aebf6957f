#include "tools/krctl/commands.h"

#include "recorder/finding/finding.h"
#include "recorder/support/error.h"
#include "tools/common/exitstatus.h"
#include "tools/common/joboptions.h"
#include "tools/common/json.h"
#include "tools/common/terminal.h"
#include "tools/krctl/help.h"
#include "tools/krctl/plan/itemlist.h"
#include "tools/krctl/plan/planreader.h"
#include "tools/krctl/plan/plansummary.h"
#include "tools/krctl/plan/planview.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct PlanOptions {
    JobSelection jobs;
    bool withItems = false;
    std::vector<std::string> reasons; // of the items that are listed; empty: all
    bool asJson = false;
    bool withExitCode = false;
};

bool IsListed(const PlanOptions& options, const plan::Note& note) {
    return (options.withItems || !options.reasons.empty()) && plan::IsItem(note.reason) &&
           (options.reasons.empty() || std::find(options.reasons.begin(), options.reasons.end(),
                                                 NameOf(note.reason)) != options.reasons.end());
}

void PrintItemsAsJson(ItemList& items, const PlanSummary& plan) {
    std::printf("{\n  \"schema\": \"%s\",\n  \"items\": [", SchemaName("plan").c_str());
    const char* between = "\n    ";
    items.ForEachByPath([&](const plan::Note& item) {
        std::printf("%s%s", between, JsonOfItem(item).dump().c_str());
        between = ",\n    ";
    });
    std::string rest = JsonOf(plan).dump(2);
    rest.erase(0, rest.find('{') + 1);
    std::printf("%s],%s\n", *between == ',' ? "\n  " : "", rest.c_str());
}

void PrintItems(ItemList& items, const PlanSummary& plan) {
    bool hasPrinted = false;
    items.ForEachByPath([&](const plan::Note& item) {
        std::puts(ListLine(item).c_str());
        hasPrinted = true;
    });
    if (hasPrinted) {
        std::putchar('\n');
    }
    PrintPlan(plan);
}

void Print(const PlanOptions& options, const PlanSummary& plan, ItemList& items) {
    const bool withItems = options.withItems || !options.reasons.empty();
    if (withItems && options.asJson) {
        PrintItemsAsJson(items, plan);
    } else if (withItems) {
        PrintItems(items, plan);
    } else if (options.asJson) {
        PrintJson("plan", JsonOf(plan));
    } else {
        PrintPlan(plan);
    }
}

int StatusOf(const PlanOptions& options, const PlanSummary& plan) {
    if (plan.HasRefusals()) {
        return kExitRefused;
    }
    if (!plan.IsComplete()) {
        return kExitFailed;
    }
    return options.withExitCode && plan.HasChanges() ? kExitFindings : kExitOk;
}

// The findings on record; nothing, with a warning, if they can't be read.
std::optional<long> ReadKnownFindings() {
    try {
        return recorder::FindingsOnRecord();
    } catch (const recorder::Error& error) {
        const std::string text = std::string("the known findings can't be read: ") + error.what();
        std::fprintf(stderr, "krctl: warning: %s\n", Printable(text).c_str());
        return std::nullopt;
    }
}

void Plan(const PlanOptions& options) {
    PlanSummary plan;
    ItemList items;
    const int failure = ReadPlan(options.jobs, [&](const plan::Note& note) {
        plan.Add(note);
        if (IsListed(options, note)) {
            items.Add(note);
        }
    });
    if (failure != 0) {
        FailWithoutPlan(failure, plan);
    }
    plan.SetKnownFindings(ReadKnownFindings());
    Print(options, plan, items);
    if (const int status = StatusOf(options, plan); status != kExitOk) {
        throw CLI::RuntimeError(status);
    }
}

std::vector<std::string> ItemReasons() {
    std::vector<std::string> names;
    for (int i = 0; plan::IsItem(static_cast<plan::Reason>(i)); ++i) {
        names.emplace_back(plan::NameOf(static_cast<plan::Reason>(i)));
    }
    return names;
}

} // namespace

void AddPlanCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("plan", "show what a run would change; changes nothing");
    const auto options = std::make_shared<PlanOptions>();
    AddJobOptions(*command, options->jobs);
    command->add_flag("--list", options->withItems,
                      "list every file, row and folder, sorted by path");
    command
        ->add_option("--reason", options->reasons,
                     "list only items with this reason; can be repeated")
        ->type_name("REASON")
        ->allow_extra_args(false)
        ->check(OneOf(ItemReasons()));
    command->add_flag("--json", options->asJson, "print JSON");
    command->add_flag("--exit-code", options->withExitCode,
                      "end with 2 if a run would change something");
    command->footer(kAllJobsText);
    command->callback([options] { Plan(*options); });
}
