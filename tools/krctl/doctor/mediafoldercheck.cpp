#include "recorder/database/databases.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/paths.h"
#include "tools/common/texts.h"
#include "tools/krctl/doctor/check.h"

#include <string>

namespace {

struct MediaFolder {
    const char* subject;
    KRDB::DB_INSTANCE instance;
    std::string path;
    const char* table;
    const char* option; // the option of krindexer whose run removes the rows
};

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

// By krindexer's fixed rules a run removes the rows of a folder that is missing or unreadable.
Check CheckFolder(const MediaFolder& folder) {
    const DBResult_tag rows = recorder::Execute(
        folder.instance, std::string("SELECT count(*) AS count FROM ") + folder.table + ";",
        {.readOnly = true});
    const long count = rows.Long(0, "count");
    const std::string fault = ListingFault(folder.path);
    if (fault.empty()) {
        return Ok(folder.subject, folder.path + " can be read");
    }
    if (count == 0) {
        return Ok(folder.subject, fault + ", but there are no rows that a run could remove");
    }
    return Problem(folder.subject,
                   fault + ": a run with " + folder.option + " would remove its " +
                       Counted(count, "row"),
                   "restore the folder, or make it readable, before the next run");
}

} // namespace

Checks CheckMediaFolders() {
    return {CheckFolder({"snapshots", KRDB::DB_SNAPSHOT, recorder::GetSettings().snapshot.folder,
                         gszTableSnapshot, "-s"}),
            CheckFolder({"e-maps", KRDB::DB_SYSTEM, recorder::kEmapDir, gszTableEmap, "-e"})};
}
