#include "tools/krctl/newfolders.h"

#include "platform/utility.h"
#include "recorder/support/error.h"
#include "recorder/support/presence.h"
#include "tools/common/mediafolder.h"
#include "tools/common/terminal.h"

#include <cerrno>
#include <cstdio>

#include <sys/stat.h>

namespace {

constexpr mode_t kMode = 0750; // as of the package; recordings show people

// Creates the folder and those above it that are missing.
void Create(const std::string& path) {
    if (recorder::ExistingPart(path) == path) {
        return;
    }
    Create(GetDirPath(path));
    if (mkdir(path.c_str(), kMode) != 0 && errno != EEXIST) {
        throw recorder::SystemError("create the folder " + path);
    }
    std::printf("created %s\n", Printable(path).c_str());
}

// Throws Error if something other than a folder has the name, and if that can't be determined.
bool Exists(const std::string& path) {
    if (recorder::ExistingPart(path) != path) {
        return false;
    }
    if (recorder::FolderPresence(path) != recorder::Presence::Yes) {
        throw recorder::Error("expected a folder");
    }
    return true;
}

bool CreateIfMissing(const MediaFolder& folder) {
    std::string obstacle;
    try {
        if (Exists(folder.path)) {
            std::printf("%s exists\n", Printable(folder.path).c_str());
            return true;
        }
        obstacle = ObstacleToCreating(folder);
        if (obstacle.empty()) {
            Create(folder.path);
            return true;
        }
    } catch (const recorder::Error& error) {
        obstacle = error.what();
    }
    std::fprintf(stderr, "krctl: did not create %s: %s\n", Printable(folder.path).c_str(),
                 Printable(obstacle).c_str());
    return false;
}

} // namespace

bool CreateMediaFolders() {
    bool isComplete = true;
    for (const MediaFolder& folder : MediaFolders()) {
        isComplete = CreateIfMissing(folder) && isComplete;
    }
    return isComplete;
}
