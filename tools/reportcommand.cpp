#include "tools/reportcommand.h"

#include "recorder/support/error.h"
#include "recorder/support/uniquefd.h"
#include "recorder/support/wholefile.h"
#include "tools/joboptions.h"
#include "tools/report/dates.h"
#include "tools/report/page.h"
#include "tools/report/planreport.h"
#include "tools/report/runreport.h"

#include <ctime>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

using recorder::Error;
using recorder::SystemError;
using recorder::UniqueFd;

UniqueFd OpenFolder(const std::filesystem::path& folder) {
    UniqueFd fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd.IsOpen()) {
        throw SystemError("open folder " + folder.string());
    }
    return fd;
}

// A device or a link isn't replaced by a page.
void DemandReplaceable(const UniqueFd& folder, const std::string& name, const std::string& file) {
    struct stat64 st = {};
    const bool isThere = fstatat64(folder.Get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0;
    if (name.empty() || (isThere && S_ISDIR(st.st_mode))) {
        throw Error(file + " is a folder; expected the name of a file");
    }
    if (isThere && !S_ISREG(st.st_mode)) {
        throw Error(file + " is no regular file; it is left as it is");
    }
}

void Write(const std::string& file, const std::string& page) {
    const std::filesystem::path path(file);
    const UniqueFd folder = OpenFolder(path.has_parent_path() ? path.parent_path() : ".");
    const std::string name = path.filename();
    DemandReplaceable(folder, name, file);
    try {
        recorder::WriteWholeFile(folder.Get(), name,
                                 {reinterpret_cast<const uint8_t*>(page.data()), page.size()});
    } catch (const Error& error) {
        throw Error("can't write " + file + ": " + error.what());
    }
}

struct ReportOptions {
    std::string file;
    bool ofPlan = false;
    JobOptions jobs;
};

Report ReportOf(const ReportOptions& options) {
    return options.ofPlan ? PlanReport(options.jobs) : NewestRunReport();
}

void MakeReport(const ReportOptions& options) {
    Report report = ReportOf(options);
    report.footer =
        "Made by krctl report on " + LongTimeText(std::time(nullptr)) + ". Days are UTC.";
    Write(options.file, PageOf(report));
}

} // namespace

void AddReportCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "report", "the newest run or a plan, and every camera's recordings by day, as a page");
    const auto options = std::make_shared<ReportOptions>();
    command->add_option("--html", options->file, "the page, which is written or replaced")
        ->type_name("FILE")
        ->required();
    CLI::Option* const ofPlan = command->add_flag(
        "--plan", options->ofPlan, "of what krindexer would do, as \"krctl plan\" tells it");
    AddJobOptions(*command, options->jobs);
    for (const char* const name : {"-r", "-a", "-s", "-e"}) {
        command->get_option(name)->needs(ofPlan);
    }
    command->callback([options] { MakeReport(*options); });
}
