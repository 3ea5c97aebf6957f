#include "platform/snapshot.h"
#include "platform/utility.h"
#include "recorder/ahead/ahead.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/logging/logfile.h"
#include "recorder/module/module.h"
#include "recorder/run/taps.h"
#include "recorder/snapshot/jpeg.h"
#include "recorder/support/bytesource.h"
#include "recorder/support/error.h"
#include "recorder/support/medianames.h"
#include "recorder/support/openfolder.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/support/wholefile.h"

#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

constexpr int64_t kMaxPictureBytes = 64L * 1024 * 1024;
constexpr mode_t kFolderMode = 0750;

std::vector<uint8_t> ReadPicture(const std::string& path) {
    FileSource source(path);
    if (source.Size() > kMaxPictureBytes) {
        throw Error("the file has " + std::to_string(source.Size()) + " bytes; expected at most " +
                    std::to_string(kMaxPictureBytes));
    }
    return ReadAll(source);
}

// Opens the folder for thumbnails within a folder of pictures, never through a link. Creates it if
// it does not exist.
UniqueFd OpenThumbnailFolder(const std::string& picturesPath) {
    const std::string path = picturesPath + "/" + kThumbnailDirName;
    const UniqueFd pictures(Uninterrupted(
        [&] { return open(picturesPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); }));
    if (!pictures.IsOpen()) {
        throw SystemError("open folder " + picturesPath);
    }
    UniqueFd folder = OpenSubFolder(pictures, kThumbnailDirName, path, FolderUse::List);
    if (!folder.IsOpen()) {
        if (Uninterrupted(
                [&] { return mkdirat(pictures.Get(), kThumbnailDirName, kFolderMode); }) != 0 &&
            errno != EEXIST) {
            throw SystemError("create folder " + path);
        }
        folder = OpenSubFolder(pictures, kThumbnailDirName, path, FolderUse::List);
    }
    if (!folder.IsOpen()) {
        throw Error("can't open folder " + path + ": it was removed");
    }
    return folder;
}

void MakeThumbnail(const std::string& fullPath) {
    RequireLog();
    if (AheadMadeThumbnail(GetDirPath(fullPath), GetBaseName(fullPath))) {
        return;
    }
    static auto* const makeSmallJpeg = ModuleFunction<MakeSmallJpegFunction>(kThumbnailsModule);
    std::vector<uint8_t> thumbnail;
    makeSmallJpeg(ReadPicture(fullPath), kMaxThumbnailWidth, thumbnail);
    const UniqueFd folder = OpenThumbnailFolder(GetDirPath(fullPath));
    WriteWholeFile(folder.Get(), GetBaseName(fullPath), thumbnail);
}

} // namespace

} // namespace recorder

int CreateThumbnail(const std::string& fullPath) {
    return recorder::LogExceptions(-1, [&] {
        try {
            recorder::MakeThumbnail(fullPath);
        } catch (const std::exception& error) {
            recorder::NoteUnreadable(fullPath, error.what());
            throw recorder::Error("thumbnail of " + fullPath + ": " + error.what());
        }
        return 0;
    });
}
