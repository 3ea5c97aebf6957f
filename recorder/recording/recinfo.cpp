#include "platform/recording.h"
#include "platform/utility.h"
#include "recorder/ahead/ahead.h"
#include "recorder/container/container.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/run/taps.h"
#include "recorder/support/error.h"
#include "recorder/support/medianames.h"
#include "recorder/support/uninterrupted.h"

#include <optional>

#include <sys/stat.h>

namespace recorder {

namespace {

// The half-day folder and the file name, without the storage folder: a volume can be mounted
// elsewhere later.
std::string RowPath(const std::string& fullPath) {
    return GetBaseName(GetDirPath(fullPath)) + "/" + GetBaseName(fullPath);
}

uint64_t FileSize(const std::string& path) {
    struct stat64 st = {};
    if (Uninterrupted([&] { return stat64(path.c_str(), &st); }) != 0) {
        throw SystemError("stat " + path);
    }
    return static_cast<uint64_t>(st.st_size);
}

// A file that can't be opened still has a size, which is then read by its name.
FileSource OpenRecording(Reidx::RecInfo& info, const std::string& fullPath) {
    try {
        return FileSource(fullPath);
    } catch (const Error&) {
        info.size = FileSize(fullPath);
        throw;
    }
}

void FillFromContainer(Reidx::RecInfo& info, const ContainerInfo& container) {
    info.duration = container.durationSec;
    info.endTm = info.startTm + container.durationSec;
    info.vdoType = container.vdoType;
    info.audType = container.audType;
    info.imgWidth = container.width;
    info.imgHeight = container.height;
}

// The opened file already has the size, which saves a system call.
void FillFromFile(Reidx::RecInfo& info, const std::string& fullPath, ContainerKind kind) {
    FileSource source = OpenRecording(info, fullPath);
    info.size = static_cast<uint64_t>(source.Size());
    FillFromContainer(info, ReadContainer(source, kind));
}

void Fill(Reidx::RecInfo& info, const std::string& fullPath) {
    // The start time comes from the name, without the disk: a failing disk must not put the
    // recording on the wrong day.
    const std::optional<int64_t> startTm = StartTmOfName(fullPath);
    info.startTm = startTm.value_or(0);
    info.endTm = info.startTm;
    const std::optional<ContainerKind> kind = ContainerKindOf(fullPath);
    if (startTm && kind) {
        FillFromFile(info, fullPath, *kind);
        return;
    }
    info.size = FileSize(fullPath);
    throw Error(startTm ? "expected the extension mp4, avi or mxg"
                        : "expected ten digits, the start time, before the extension");
}

} // namespace

} // namespace recorder

int Reidx::GetEvtRecInfo(RecInfo& info, const std::string& fullPath, bool alert) {
    return recorder::LogExceptions(-1, [&] {
        info.alert = alert;
        info.path = recorder::RowPath(fullPath);
        recorder::AheadReadsHeaders();
        try {
            recorder::Fill(info, fullPath);
        } catch (const std::exception& error) {
            recorder::NoteUnreadable(fullPath, error.what());
            throw recorder::Error("recording " + fullPath + ": " + error.what());
        }
        return 0;
    });
}
