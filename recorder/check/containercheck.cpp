#include "recorder/check/containercheck.h"

#include "platform/recording.h"
#include "recorder/support/bytesource.h"
#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <cerrno>
#include <exception>
#include <optional>

#include <fcntl.h>
#include <unistd.h>

namespace recorder {

namespace {

std::string SecondsText(long seconds) {
    return std::to_string(seconds) + " s";
}

std::string CodecText(int vdoType, const std::string& audFmt, int width, int height) {
    static constexpr const char* kNames[] = {"no known video", "MJPEG", "MPEG-4", "H.264", "H.265"};
    const bool isKnown = vdoType > 0 && vdoType <= VIDEO_H265;
    return std::string(kNames[isKnown ? vdoType : 0]) + " " + std::to_string(width) + "x" +
           std::to_string(height) + ", " + (audFmt.empty() ? "no known audio" : audFmt);
}

std::optional<Difference> LengthDifference(const MediaRow& row, const ContainerInfo& now) {
    const long length = row.endTm - row.startTm;
    if (length == now.durationSec) {
        return std::nullopt;
    }
    return Difference{FindingType::Length,
                      row,
                      {},
                      0,
                      SecondsText(now.durationSec) + ", row " + SecondsText(length)};
}

std::optional<Difference> CodecDifference(const MediaRow& row, const ContainerInfo& now) {
    const std::string inFile =
        CodecText(now.vdoType, GetAudioType(now.audType), now.width, now.height);
    const std::string inRow = CodecText(row.vdoType, row.audFmt, row.imgW, row.imgH);
    if (inFile == inRow) {
        return std::nullopt;
    }
    return Difference{FindingType::Codec, row, {}, 0, inFile + "; row: " + inRow};
}

bool MayRead(const std::string& path) {
    return Uninterrupted([&] { return faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS); }) ==
               0 ||
           (errno != EACCES && errno != EPERM);
}

} // namespace

const std::vector<FindingType>& ContainerFindings() {
    static const std::vector<FindingType> types{FindingType::Unreadable, FindingType::Length,
                                                FindingType::Codec};
    return types;
}

bool HasContainers(const MediaTable& table) {
    return table.name == gszTableEvent || table.name == gszTableAlertEvent;
}

ContainerInfo ReadHeaders(const std::string& path) {
    FileSource source(path);
    const std::optional<ContainerKind> kind = ContainerKindOf(path);
    if (!kind) {
        throw Error("expected the extension mp4, avi or mxg");
    }
    return ReadContainer(source, *kind);
}

bool IsSameFile(const std::string& path, const struct stat64& before) {
    struct stat64 now = {};
    return Uninterrupted([&] { return lstat64(path.c_str(), &now); }) == 0 &&
           now.st_ino == before.st_ino && now.st_size == before.st_size &&
           now.st_mtim.tv_sec == before.st_mtim.tv_sec &&
           now.st_mtim.tv_nsec == before.st_mtim.tv_nsec;
}

void ContainerCheck::Check(const MediaRow& row, const std::string& path,
                           const struct stat64& status) {
    try {
        const ContainerInfo now = ReadHeaders(path);
        for (const auto& difference : {LengthDifference(row, now), CodecDifference(row, now)}) {
            if (difference) {
                Report(*difference, path, status);
            }
        }
    } catch (const HelperFailure& error) {
        m_problems.push_back(path + ": " + error.what());
    } catch (const std::exception& error) {
        if (MayRead(path)) {
            Report({FindingType::Unreadable, row, {}, 0, error.what()}, path, status);
        } else {
            m_problems.emplace_back(error.what());
        }
    }
}

// A file or row that changed during the check is left to the next one.
void ContainerCheck::Report(const Difference& difference, const std::string& path,
                            const struct stat64& status) {
    if (!IsSameFile(path, status)) {
        m_beingWritten.push_back(difference.row.path);
    } else if (IsUnchanged(m_part, difference.row)) {
        m_found(difference);
    }
}

} // namespace recorder
