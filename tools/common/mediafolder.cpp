#include "tools/common/mediafolder.h"

#include "platform/utility.h"
#include "recorder/database/databases.h"
#include "recorder/settings/settings.h"
#include "recorder/support/folder.h"
#include "recorder/support/mount.h"
#include "recorder/support/paths.h"
#include "recorder/support/presence.h"
#include "tools/common/texts.h"
#include "tools/common/user.h"

#include <optional>

#include <sys/stat.h>
#include <unistd.h>

namespace {

// The command that creates the folder for the user of the runs.
std::string CreateCommand(const std::string& path) {
    struct stat64 st = {};
    const std::string command = "mkdir -m 0750 " + ShellQuoted(path);
    const bool isOthers = stat64(recorder::kDatabaseDir, &st) == 0 && st.st_uid != geteuid();
    return isOthers ? AsUser(st.st_uid, command) : command;
}

std::string ObstacleOutsideThePackage(const std::string& path) {
    const std::string parent = GetDirPath(path);
    if (recorder::ExistingPart(parent) != parent) {
        return parent + " does not exist: if it is on a disk, mount the disk; if not, create it, "
                        "then run krctl init";
    }
    if (recorder::AreOnOneMount(parent, "/") ||
        recorder::AreOnOneMount(parent, recorder::kDatabaseDir)) {
        return "no disk is mounted at or above it except the system's: if it is on another disk, "
               "mount that; if not, run " +
               CreateCommand(path);
    }
    return "";
}

} // namespace

std::array<MediaFolder, 2> MediaFolders() {
    const std::string& snapshots = recorder::GetSettings().snapshot.folder;
    return {MediaFolder{"snapshots", KRDB::DB_SNAPSHOT, gszTableSnapshot, "-s", snapshots,
                        snapshots == recorder::kDefaultSnapshotDir},
            MediaFolder{"e-maps", KRDB::DB_SYSTEM, gszTableEmap, "-e", recorder::kEmapDir, true}};
}

long RowCount(const MediaFolder& folder) {
    return recorder::Execute(folder.instance,
                             std::string("SELECT count(*) AS count FROM ") + folder.table + ";",
                             {.readOnly = true})
        .Long(0, "count");
}

std::string ObstacleToCreating(const MediaFolder& folder) {
    if (const long rows = RowCount(folder); rows > 0) {
        return "the database has " + Counted(rows, "row") + " of " + folder.name +
               ", and a run would remove them if the folder were empty: mount its disk, or restore "
               "the folder";
    }
    if (const std::optional<std::string> point = recorder::UnmountedPointAbove(folder.path)) {
        return "nothing is mounted at " + *point +
               ", a mount point in /etc/fstab: mount its disk, "
               "then run krctl init";
    }
    return folder.isOfPackage ? "" : ObstacleOutsideThePackage(folder.path);
}
