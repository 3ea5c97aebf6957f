#include "recorder/support/folder.h"
#include "platform/utility.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/run/taps.h"
#include "recorder/support/error.h"
#include "recorder/support/openfolder.h"
#include "recorder/support/presence.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <string>
#include <vector>

namespace recorder {

namespace {

struct FolderSearch {
    bool fullPath;
    bool recursive;
    std::optional<KRRegEx> pattern; // nothing: all names
};

// Returns false if `dir` is truly absent.
bool CollectFolders(const std::string& dir, const FolderSearch& search,
                    std::vector<std::string>& found) {
    std::vector<std::string> subFolders;
    const FolderListing listing = ListFolder(dir, [&](const FolderEntry& entry) {
        if (entry.isFolder) {
            subFolders.push_back(entry.name);
        }
        return true;
    });
    if (listing == FolderListing::Absent) {
        return false;
    }
    std::sort(subFolders.begin(), subFolders.end());
    for (const std::string& name : subFolders) {
        const std::string path = dir + "/" + name;
        if (!search.pattern || search.pattern->IsMatch(name)) {
            found.push_back(search.fullPath ? path : name);
        }
        if (search.recursive && !CollectFolders(path, search, found)) {
            throw Error("can't list folder " + path + ": it went away");
        }
    }
    return true;
}

// Like CollectFolders, but also returns false if `dir` or a part of its path is not a folder or is
// a dangling link. A link that is not followed still throws, so that it is logged.
bool CollectFoldersIfThere(const std::string& dir, const FolderSearch& search,
                           std::vector<std::string>& found) {
    try {
        return CollectFolders(dir, search, found);
    } catch (const LinkInPath&) {
        throw;
    } catch (const Error&) {
        if (FolderPresence(dir) != Presence::No) {
            throw;
        }
        return false;
    }
}

// Like CollectFoldersIfThere, but also notes the result for the record of the run.
bool CollectOrNote(const std::string& dir, const FolderSearch& search,
                   std::vector<std::string>& found) {
    try {
        const bool isThere = CollectFoldersIfThere(dir, search, found);
        NoteListed(dir);
        return isThere;
    } catch (const std::exception& error) {
        NoteUnreadable(dir, error.what(), Unreadable::InWalk);
        throw;
    }
}

} // namespace

} // namespace recorder

bool IsDirEmpty(const std::string& path) {
    return recorder::LogExceptions(false, [&] {
        return recorder::ListFolder(path, [](const recorder::FolderEntry&) { return false; }) ==
               recorder::FolderListing::Complete;
    });
}

int GetDirsInDir(const std::string& dir, std::list<std::string>& out, bool fullPath, bool recursive,
                 std::string pattern) {
    return recorder::LogExceptions(-1, [&] {
        recorder::FolderSearch search{fullPath, recursive, std::nullopt};
        if (!pattern.empty()) {
            search.pattern.emplace(pattern);
        }
        std::vector<std::string> found;
        if (!recorder::CollectOrNote(dir, search, found)) {
            return -1;
        }
        out.insert(out.end(), found.begin(), found.end());
        return 0;
    });
}
