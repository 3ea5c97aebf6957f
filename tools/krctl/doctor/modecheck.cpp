#include "platform/utility.h"
#include "recorder/camera/cameratable.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/privacy.h"
#include "tools/krctl/doctor/checks.h"

#include <string>
#include <vector>

namespace {

constexpr const char* kSubject = "modes";

std::string Joined(const std::vector<std::string>& paths) {
    std::string text;
    for (const std::string& path : paths) {
        text += (text.empty() ? "" : " ") + ShellWord(path);
    }
    return text;
}

// What krctl init closes.
Check CheckDatabaseModes() {
    const std::vector<std::string> open = recorder::OpenToOthersIn(recorder::kDatabaseDir);
    if (open.empty()) {
        return Ok(kSubject, "the databases are not open to others");
    }
    return Warning(kSubject, "open to others: " + Joined(open), "krctl init");
}

// None where the cameras can't be read: another check says why.
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
        if (recorder::IsOpenToOthers(folder)) {
            open.push_back(folder);
        }
    }
    if (open.empty()) {
        return Ok(kSubject, "log and media folders are not open to others");
    }
    const std::string paths = Joined(open);
    return Warning(kSubject, "open to others: " + paths, "chmod o-rwx " + paths);
}

} // namespace

Checks CheckModes() {
    return {CheckDatabaseModes(), CheckOtherModes()};
}
