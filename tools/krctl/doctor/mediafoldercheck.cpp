#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/presence.h"
#include "tools/common/mediafolder.h"
#include "tools/common/texts.h"
#include "tools/krctl/doctor/check.h"

#include <string>

namespace {

// Returns why the folder can't be listed; empty if it can.
std::string ListingFault(const std::string& folder) {
    try {
        const recorder::FolderListing listing =
            recorder::ListFolder(folder, [](const recorder::FolderEntry&) { return false; });
        return listing == recorder::FolderListing::Absent ? folder + " does not exist" : "";
    } catch (const recorder::Error& error) {
        return error.what();
    }
}

std::string RemedyWithoutRows(const MediaFolder& folder) {
    if (recorder::ExistingPart(folder.path) == folder.path) {
        return "make it readable";
    }
    const std::string obstacle = ObstacleToCreating(folder);
    return obstacle.empty() ? "run krctl init, which creates it" : obstacle;
}

// By krindexer's fixed rules a run removes the rows of a folder that is missing or unreadable.
Check CheckFolder(const MediaFolder& folder) {
    const long count = RowCount(folder);
    const std::string fault = ListingFault(folder.path);
    if (fault.empty()) {
        return Ok(folder.name, folder.path + " can be read");
    }
    if (count == 0) {
        return Problem(folder.name, fault + ": runs and plans of " + folder.name + " fail",
                       RemedyWithoutRows(folder));
    }
    return Problem(folder.name,
                   fault + ": a run with " + folder.option + " would remove its " +
                       Counted(count, "row"),
                   "restore the folder, or make it readable, before the next run");
}

} // namespace

Checks CheckMediaFolders() {
    Checks checks;
    for (const MediaFolder& folder : MediaFolders()) {
        checks.push_back(CheckFolder(folder));
    }
    return checks;
}
