#include "platform/utility.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/logging/logfile.h"
#include "recorder/support/openfolder.h"

#include <fcntl.h>
#include <unistd.h>

int KRRm(const std::string& path) {
    return recorder::LogExceptions(-1, [&] {
        recorder::RequireLog();
        const std::string parent = GetDirPath(path);
        if (parent.empty()) {
            return rmdir(path.c_str());
        }
        const recorder::UniqueFd folder = recorder::OpenFolder(parent, recorder::FolderUse::Enter);
        return unlinkat(folder.Get(), GetBaseName(path).c_str(), AT_REMOVEDIR);
    });
}
