#include "recorder/check/rowfix.h"

#include "platform/recording.h"
#include "recorder/check/containercheck.h"
#include "recorder/database/mediaselection.h"
#include "recorder/database/sqltext.h"
#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <optional>

#include <sys/stat.h>

namespace recorder {

namespace {

// Why a row is not fixed.
class NotFixable : public Error {
public:
    using Error::Error;
};

struct stat64 StatusOf(const std::string& path) {
    struct stat64 status = {};
    if (Uninterrupted([&] { return lstat64(path.c_str(), &status); }) != 0) {
        throw NotFixable(SystemError("examine " + path).what());
    }
    if (!S_ISREG(status.st_mode)) {
        throw NotFixable(path + " is no regular file");
    }
    return status;
}

// The row of a recording that could not be read has no length and no codec.
bool WasReadable(const MediaRow& row) {
    return row.endTm != row.startTm || row.vdoType != 0;
}

// Nothing for a recording that was never readable.
std::optional<ContainerInfo> HeadersOf(const MediaRow& row, const std::string& path) {
    try {
        return ReadHeaders(path);
    } catch (const HelperFailure& error) {
        throw NotFixable(error.what());
    } catch (const Error& error) {
        if (WasReadable(row)) {
            throw NotFixable(std::string("the recording can't be read now, but could be before: ") +
                             error.what());
        }
        return std::nullopt;
    }
}

void TakeHeaders(const ContainerInfo& headers, MediaRow& row) {
    row.endTm = row.startTm + headers.durationSec;
    row.vdoType = headers.vdoType;
    row.audFmt = GetAudioType(headers.audType);
    row.imgW = headers.width;
    row.imgH = headers.height;
}

ColumnValues ColumnsOf(const MediaTable& table, const MediaRow& row) {
    ColumnValues columns{{PathColumn(table), Quote(row.path)}};
    if (HasSize(table)) {
        columns.emplace_back("size", std::to_string(row.size));
    }
    if (HasCameras(table)) {
        columns.emplace_back("end_tm", std::to_string(row.endTm));
        columns.emplace_back("vdo_type", std::to_string(row.vdoType));
        columns.emplace_back("aud_fmt", Quote(row.audFmt));
        columns.emplace_back("img_w", std::to_string(row.imgW));
        columns.emplace_back("img_h", std::to_string(row.imgH));
    }
    return columns;
}

std::string MovedPath(const CheckedPart& part, const Difference& difference) {
    if (difference.paths.size() != 1) {
        throw NotFixable("several files have this name");
    }
    if (HasRow(part, difference.paths.front())) {
        throw NotFixable("another row has the path " + difference.paths.front());
    }
    return difference.paths.front();
}

} // namespace

bool RowFix::IsSelected(FindingType type) const {
    switch (type) {
    case FindingType::Moved:
        return m_selection.path;
    case FindingType::Size:
        return m_selection.size;
    case FindingType::Length:
    case FindingType::Codec:
        return m_selection.length;
    default:
        return false;
    }
}

MediaRow RowFix::UpToDate(const CheckedPart& part, const Difference& difference) const {
    MediaRow row = difference.row;
    if (difference.type == FindingType::Moved) {
        row.path = MovedPath(part, difference);
    }
    const std::string path = FolderOf(part) + "/" + row.path;
    const struct stat64 status = StatusOf(path);
    if (HasContainers(part.table)) {
        const std::optional<ContainerInfo> headers = HeadersOf(row, path);
        if (m_selection.length && headers) {
            TakeHeaders(*headers, row);
        }
    }
    if (m_selection.size && HasSize(part.table)) {
        row.size = SizeInRow(part.table, status.st_size);
    }
    if (!IsSameFile(path, status)) {
        throw NotFixable("the file is being written");
    }
    return row;
}

std::vector<FindingType> RowFix::FixedTypes() const {
    std::vector<FindingType> types;
    for (const FindingType type :
         {FindingType::Moved, FindingType::Size, FindingType::Length, FindingType::Codec}) {
        if (IsSelected(type)) {
            types.push_back(type);
        }
    }
    return types;
}

FixResult RowFix::Apply(const CheckedPart& part, const Difference& difference) {
    if (!IsSelected(difference.type)) {
        return {};
    }
    const MediaRow& before = difference.row;
    try {
        const ColumnValues columns = ColumnsOf(part.table, UpToDate(part, difference));
        if (!m_changes.Change(part.table, part.camId, before.id, ColumnsOf(part.table, before),
                              columns)) {
            throw NotFixable("the row was changed during the check");
        }
    } catch (const NotFixable& error) {
        return {FixResult::Outcome::NotFixed, error.what()};
    }
    ResolveFindingsOf(part.table.name, part.camId, before.path, FixedTypes());
    return {FixResult::Outcome::Fixed, ""};
}

} // namespace recorder
