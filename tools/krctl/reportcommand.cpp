#include "tools/krctl/commands.h"

#include "tools/common/joboptions.h"
#include "tools/common/outputfile.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"
#include "tools/krctl/report/dates.h"
#include "tools/krctl/report/page.h"
#include "tools/krctl/report/reports.h"

#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include <sys/types.h>

namespace {

constexpr mode_t kMode = 0640; // the page shows when each camera recorded

struct ReportOptions {
    std::string file;
    bool ofPlan = false;
    JobSelection jobs;
};

Report ReportOf(const ReportOptions& options) {
    return options.ofPlan ? PlanReport(options.jobs) : LastRunReport(options.jobs.media);
}

void MakeReport(const ReportOptions& options) {
    Report report = ReportOf(options);
    report.footer = "Created by krctl report on " + LongTimeText(std::time(nullptr)) +
                    ". Days of the calendars are in UTC.";
    const std::string page = PageOf(report);
    WriteOutputFile(options.file, page, kMode);
    std::printf("wrote %s, %s bytes\n", Printable(options.file).c_str(),
                Grouped(static_cast<long>(page.size())).c_str());
}

} // namespace

void AddReportCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("report", "write an HTML page about the last run");
    const auto options = std::make_shared<ReportOptions>();
    command->add_option("--html", options->file, "write the page to this file")
        ->type_name("FILE")
        ->required();
    CLI::Option* const ofPlan =
        command->add_flag("--plan", options->ofPlan, "report what a run would change instead");
    AddJobOptions(*command, options->jobs);
    for (const char* const name : {"-r", "-a", "-s", "-e"}) {
        command->get_option(name)->needs(ofPlan)->group("Options with --plan");
    }
    command->callback([options] { MakeReport(*options); });
}
