#include "tools/krctl/commands.h"

#include "recorder/backup/backupjob.h"
#include "recorder/backup/databasecopy.h"
#include "recorder/backup/restore.h"
#include "recorder/database/schema.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/format.h"
#include "tools/common/exitstatus.h"
#include "tools/common/json.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"
#include "tools/krctl/plan/planreader.h"
#include "tools/krctl/plan/plansummary.h"
#include "tools/krctl/plan/planview.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

using recorder::BackupSet;
using recorder::FolderBackup;

struct BackupOptions {
    std::vector<std::string> folders;
    bool onlyIfChanged = false;
    bool lists = false;
    bool asJson = false;
};

std::string SizeText(int64_t bytes) {
    constexpr double kMib = 1024.0 * 1024.0;
    return recorder::Format("%.1f MiB", static_cast<double>(bytes) / kMib);
}

Json JsonOf(const BackupSet& set) {
    return {{"set", JsonText(set.folder)},
            {"number", set.number},
            {"taken", JsonTime(set.takenTm)},
            {"recorder", set.recorder},
            {"size_bytes", set.sizeBytes}};
}

std::string AbsolutePath(const std::string& path) {
    return recorder::WithoutTrailingSlashes(
        std::filesystem::absolute(path).lexically_normal().string());
}

std::vector<std::string> FoldersOf(const BackupOptions& options) {
    std::vector<std::string> folders;
    for (const std::string& folder : options.folders) {
        folders.push_back(AbsolutePath(folder));
    }
    if (folders.empty()) {
        folders = recorder::GetSettings().backup.folders;
    }
    if (folders.empty()) {
        throw UsageError(std::string("no folder for backups: name one with --to, or set folder "
                                     "in [backup] of ") +
                         recorder::kSettingsFile);
    }
    return folders;
}

void PrintSets(const std::vector<BackupSet>& sets, const std::vector<FolderBackup>& failures,
               bool asJson) {
    for (const FolderBackup& failure : failures) {
        std::fprintf(stderr, "krctl: %s: %s\n", Printable(failure.folder).c_str(),
                     Printable(failure.failure).c_str());
    }
    if (!asJson) {
        for (const BackupSet& set : sets) {
            std::printf("%s  %s  %s\n", Printable(set.folder).c_str(),
                        TimeText(set.takenTm).c_str(), SizeText(set.sizeBytes).c_str());
        }
        return;
    }
    Json json{{"sets", Json::array()}, {"failures", Json::array()}};
    for (const BackupSet& set : sets) {
        json["sets"].push_back(JsonOf(set));
    }
    for (const FolderBackup& failure : failures) {
        json["failures"].push_back(
            {{"folder", JsonText(failure.folder)}, {"reason", JsonText(failure.failure)}});
    }
    PrintJson("backup", json);
}

// Prints the sets, and the folders that failed.
void End(const std::vector<BackupSet>& sets, const std::vector<FolderBackup>& failures,
         bool asJson) {
    PrintSets(sets, failures, asJson);
    if (!failures.empty()) {
        throw CLI::RuntimeError(kExitFailed);
    }
}

void List(const BackupOptions& options) {
    recorder::OpenDatabasesReadOnly();
    std::vector<BackupSet> sets;
    std::vector<FolderBackup> failures;
    for (const std::string& folder : FoldersOf(options)) {
        try {
            const recorder::BackupSets found = recorder::ListBackupSets(folder);
            sets.insert(sets.end(), found.sets.begin(), found.sets.end());
            for (const recorder::UnreadableSet& set : found.unreadable) {
                failures.push_back({set.folder, std::nullopt, set.reason});
            }
        } catch (const recorder::Error& error) {
            failures.push_back({folder, std::nullopt, error.what()});
        }
    }
    End(sets, failures, options.asJson);
}

void TakeBackups(const BackupOptions& options) {
    const recorder::BackupWhen when =
        options.onlyIfChanged ? recorder::BackupWhen::Changed : recorder::BackupWhen::Always;
    std::vector<BackupSet> sets;
    std::vector<FolderBackup> failures;
    for (const FolderBackup& backup :
         recorder::BackUp(FoldersOf(options), recorder::GetSettings().backup.keep, when)) {
        if (!backup.failure.empty()) {
            failures.push_back(backup);
        }
        if (backup.set) {
            sets.push_back(*backup.set);
        }
    }
    End(sets, failures, options.asJson);
}

// A recorder on PostgreSQL has a separate exit status.
template <typename Command> void RunCommand(const Command& command) {
    try {
        recorder::RequireSqlite();
        command();
    } catch (const recorder::NotSqlite& error) {
        std::fprintf(stderr, "krctl: %s\n", error.what());
        throw CLI::RuntimeError(kExitRefused);
    }
}

// Shows what a run would change now. The databases are restored even if that is not possible.
void ShowPlan() {
    PlanSummary plan;
    try {
        const int status = ReadPlan({}, [&](const plan::Note& note) { plan.Add(note); });
        if (status != 0) {
            throw recorder::Error(plan.NoPlanReason());
        }
    } catch (const recorder::Error& error) {
        std::fprintf(stderr, "krctl: the databases are restored, but no plan can be made: %s\n",
                     Printable(error.what()).c_str());
        throw CLI::RuntimeError(kExitFailed);
    }
    std::puts("\nA run would now change:\n");
    PrintPlan(plan);
}

void Restore(const std::string& folder) {
    const recorder::Restored restored = recorder::RestoreBackup(AbsolutePath(folder));
    std::printf("restored the databases from %s, taken %s\n",
                Printable(restored.set.folder).c_str(), TimeText(restored.set.takenTm).c_str());
    if (!restored.replaced.folder.empty()) {
        std::printf("the replaced databases are in %s\n",
                    Printable(restored.replaced.folder).c_str());
    }
    for (const std::string& path : restored.replaced.damaged) {
        std::printf("%s was damaged and has been moved there\n", path.c_str());
    }
    ShowPlan();
}

void AddBackup(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("backup", "copy the databases into a backup set, or list the sets");
    const auto options = std::make_shared<BackupOptions>();
    command->add_option("--to", options->folders, "store the set in this folder; can be repeated")
        ->type_name("DIR")
        ->allow_extra_args(false);
    command->add_flag("--if-changed", options->onlyIfChanged,
                      "only if a run has changed rows since the last set");
    command->add_flag("--list", options->lists, "list the sets; take no backup");
    command->add_flag("--json", options->asJson, "print JSON");
    command->callback([options] {
        RunCommand([&] { options->lists ? List(*options) : TakeBackups(*options); });
    });
}

void AddRestore(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("restore", "replace the databases by those of a backup set");
    const auto set = std::make_shared<std::string>();
    command->add_option("SET", *set, "the folder of the set")->required();
    command->callback([set] { RunCommand([&] { Restore(*set); }); });
}

} // namespace

void AddBackupCommands(CLI::App& app) {
    AddBackup(app);
    AddRestore(app);
}
