#include "platform/utility.h"
#include "recorder/camera/cameratable.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/privacy.h"
#include "tools/krctl/doctor/check.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

constexpr const char* kSubject = "modes";

// Returns the paths as arguments of a shell command.
std::string Arguments(const std::vector<std::string>& paths) {
    std::string text;
    for (const std::string& path : paths) {
        text += (text.empty() ? "" : " ") + ShellQuoted(path);
    }
    return text;
}

// Checks the files whose modes krctl init corrects.
Check CheckDatabaseModes() {
    const std::vector<std::string> open = recorder::OpenToOthersIn(recorder::kDatabaseDir);
    if (open.empty()) {
        return Ok(kSubject, "databases: no access for other users");
    }
    return Warning(kSubject, "accessible to other users: " + Arguments(open), "run krctl init");
}

// Returns none if the cameras can't be read: the camera check reports the reason.
std::vector<std::string> StorageFolders() {
    std::vector<std::string> folders;
    try {
        for (const recorder::CameraRow& camera : recorder::ListCameras()) {
            if (camera.dsId == 0) {
                folders.push_back(camera.storagePath);
            }
        }
    } catch (const recorder::Error&) {
        return {};
    }
    return folders;
}

Check CheckOtherModes() {
    std::vector<std::string> open = recorder::OpenToOthersIn(GetDirPath(recorder::kLogFile));
    std::vector<std::string> folders = StorageFolders();
    folders.push_back(recorder::SettingsOrDefaults().snapshot.folder);
    folders.emplace_back(recorder::kEmapDir);
    for (const std::string& folder : folders) {
        const bool isNew = std::find(open.begin(), open.end(), folder) == open.end();
        if (isNew && recorder::IsOpenToOthers(folder)) {
            open.push_back(folder);
        }
    }
    if (open.empty()) {
        return Ok(kSubject, "log and media folders: no access for other users");
    }
    return Warning(kSubject, "log or media folders are accessible to other users",
                   "run chmod o-rwx " + Arguments(open));
}

} // namespace

Checks CheckModes() {
    return {CheckDatabaseModes(), CheckOtherModes()};
}
