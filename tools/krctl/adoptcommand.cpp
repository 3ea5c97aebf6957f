#include "tools/krctl/commands.h"

#include "recorder/camera/adoption.h"
#include "recorder/support/error.h"
#include "tools/common/terminal.h"
#include "tools/krctl/binding.h"

#include <cstdio>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

namespace {

using recorder::Adoption;
using recorder::AdoptionOutcome;
using recorder::AdoptionReport;

std::string OutcomeText(const Adoption& adoption) {
    switch (adoption.outcome) {
    case AdoptionOutcome::Added:
        return "adopted";
    case AdoptionOutcome::TakenOver:
        return "adopted, its row had no identity";
    case AdoptionOutcome::Moved:
        return "adopted, previously in " + adoption.remark;
    case AdoptionOutcome::Known:
        return "already known";
    case AdoptionOutcome::Refused:
        break;
    }
    return "not adopted: " + adoption.remark;
}

void PrintAdoption(const Adoption& adoption) {
    const recorder::FoundCamera& camera = adoption.camera;
    const std::string line =
        Printable(NameOf(camera.identity) + " in " + camera.folder + ": " + OutcomeText(adoption));
    if (adoption.outcome == AdoptionOutcome::Refused) {
        std::fprintf(stderr, "krctl: %s\n", line.c_str());
        return;
    }
    std::puts(line.c_str());
    if (adoption.outcome != AdoptionOutcome::Known) {
        recorder::CameraRow row;
        row.id = camera.identity.id;
        row.storagePath = camera.folder;
        PrintBinding({row, adoption.volume, std::nullopt});
    }
}

// Returns true if every camera that was found has a row now.
bool PrintAdoptions(const AdoptionReport& report) {
    bool isWhole = report.search.obstacles.empty();
    for (const Adoption& adoption : report.adoptions) {
        PrintAdoption(adoption);
        isWhole = isWhole && adoption.outcome != AdoptionOutcome::Refused;
    }
    for (const std::string& folder : report.search.otherFileSystems) {
        std::printf("%s is on another file system and was not searched\n",
                    Printable(folder).c_str());
    }
    for (const std::string& obstacle : report.search.obstacles) {
        std::fprintf(stderr, "krctl: %s\n", Printable(obstacle).c_str());
    }
    return isWhole;
}

void Adopt(const std::string& folder) {
    const AdoptionReport report = recorder::AdoptCamerasIn(folder);
    if (!PrintAdoptions(report)) {
        throw CLI::RuntimeError(1);
    }
    if (report.adoptions.empty()) {
        throw recorder::Error(folder +
                              ": expected a folder with storage folders that have an identity");
    }
}

} // namespace

void AddAdoptCommand(CLI::App& command) {
    const auto folder = std::make_shared<std::string>();
    CLI::App* const adopt =
        command.add_subcommand("adopt", "add the cameras whose storage folders are on a disk");
    adopt
        ->add_option("DIR", *folder, "the disk's root folder or a storage folder, an absolute path")
        ->required();
    adopt->callback([folder] { Adopt(*folder); });
}
