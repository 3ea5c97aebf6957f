#include "tools/krctl/commands.h"

#include "recorder/support/error.h"
#include "tools/common/exitstatus.h"
#include "tools/common/joboptions.h"
#include "tools/common/json.h"
#include "tools/krctl/plan/planreader.h"
#include "tools/krctl/plan/plansummary.h"
#include "tools/krctl/plan/planview.h"

#include <cstdio>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

namespace {

struct PlanOptions {
    JobSelection jobs;
    bool withItems = false;
    bool asJson = false;
};

// Prints each item when it arrives, because there may be millions.
class ItemPrinter {
public:
    explicit ItemPrinter(bool asJson) : m_asJson(asJson) {}

    void Print(const plan::Note& item) {
        if (m_asJson) {
            std::printf("%s    %s", m_hasPrinted ? ",\n" : (JsonBegin() + "\n").c_str(),
                        JsonOfItem(item).dump().c_str());
        } else {
            std::puts(ListLine(item).c_str());
        }
        m_hasPrinted = true;
    }

    // Prints the plan after the items.
    void End(const PlanSummary& plan) const {
        if (m_asJson) {
            std::string rest = JsonOf(plan).dump(2);
            rest.erase(0, rest.find('{') + 1);
            std::printf("%s],%s\n", m_hasPrinted ? "\n  " : JsonBegin().c_str(), rest.c_str());
            return;
        }
        if (m_hasPrinted) {
            std::putchar('\n');
        }
        PrintPlan(plan);
    }

private:
    static std::string JsonBegin() {
        return "{\n  \"schema\": \"" + SchemaName("plan") + "\",\n  \"items\": [";
    }

    bool m_asJson;
    bool m_hasPrinted = false;
};

void Plan(const PlanOptions& options) {
    PlanSummary plan;
    ItemPrinter items(options.asJson);
    const int status = ReadPlan(options.jobs, [&](const plan::Note& note) {
        plan.Add(note);
        if (options.withItems && plan::IsItem(note.reason)) {
            items.Print(note);
        }
    });
    if (status != 0 && plan.NoPlanReason().empty()) {
        throw recorder::Error("krplan ended with status " + std::to_string(status));
    }
    if (status != 0) {
        std::fprintf(stderr, "krctl: can't make a plan: %s\n", plan.NoPlanReason().c_str());
        throw CLI::RuntimeError(status);
    }
    if (options.withItems) {
        items.End(plan);
    } else if (options.asJson) {
        PrintJson("plan", JsonOf(plan));
    } else {
        PrintPlan(plan);
    }
    if (!plan.IsComplete()) {
        throw CLI::RuntimeError(kExitFailed);
    }
}

} // namespace

void AddPlanCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("plan", "show what a run would change; changes nothing");
    const auto options = std::make_shared<PlanOptions>();
    AddJobOptions(*command, options->jobs);
    command->add_flag("--list", options->withItems, "list every file, row and folder");
    command->add_flag("--json", options->asJson, "print JSON");
    command->footer(kAllJobsText);
    command->callback([options] { Plan(*options); });
}
