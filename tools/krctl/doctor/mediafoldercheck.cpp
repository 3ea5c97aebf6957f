#include "recorder/database/databases.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/paths.h"
#include "tools/common/words.h"
#include "tools/krctl/doctor/checks.h"

#include <string>

namespace {

struct MediaFolder {
    const char* subject;
    KRDB::DB_INSTANCE instance;
    std::string path;
    const char* table;
    const char* option; // of the run that removes rows
};

// Empty when it can be.
std::string WhyItCantBeListed(const std::string& folder) {
    try {
        const recorder::FolderListing listing =
            recorder::ListFolder(folder, [](const recorder::FolderEntry&) { return false; });
        return listing == recorder::FolderListing::Absent ? folder + " is not there" : "";
    } catch (const recorder::Error& error) {
        return error.what();
    }
}

// By the tool's fixed rules the rows go, whether the folder is gone or only out of reach.
Check CheckFolder(const MediaFolder& folder) {
    const DBResult_tag rows = recorder::Execute(
        folder.instance, std::string("SELECT count(*) AS count FROM ") + folder.table + ";",
        {.readOnly = true});
    const long count = rows.Long(0, "count");
    const std::string obstacle = WhyItCantBeListed(folder.path);
    if (obstacle.empty()) {
        return Ok(folder.subject, folder.path + " can be read");
    }
    if (count == 0) {
        return Ok(folder.subject, obstacle + ", and there are no rows to lose");
    }
    return Problem(folder.subject,
                   obstacle + ": a run with " + folder.option + " would remove its " +
                       Counted(count, "row"),
                   "bring it back, or let its user read it, before the next run");
}

} // namespace

Checks CheckMediaFolders() {
    return {CheckFolder({"snapshots", KRDB::DB_SNAPSHOT, recorder::GetSettings().snapshot.folder,
                         gszTableSnapshot, "-s"}),
            CheckFolder({"emaps", KRDB::DB_SYSTEM, recorder::kEmapDir, gszTableEmap, "-e"})};
}
