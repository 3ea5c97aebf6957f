#include "recorder/check/namecheck.h"

#include "recorder/check/filenames.h"
#include "recorder/check/partfolder.h"
#include "recorder/database/mediaselection.h"
#include "recorder/support/error.h"
#include "recorder/support/filetype.h"
#include "recorder/support/format.h"
#include "recorder/support/medianames.h"
#include "recorder/support/openfolder.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <exception>
#include <iterator>
#include <optional>
#include <utility>

#include <fcntl.h>

namespace recorder {

namespace {

// The clock of a file server may be ahead by this much.
constexpr long kClockDifferenceS = 60;

std::string BytesText(long bytes) {
    return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
}

class NameCheck {
public:
    NameCheck(const CheckedPart& part, long startTm,
              const std::function<void(const Difference&)>& found, const TakeFile& take)
        : m_part(part), m_startTm(startTm), m_found(found), m_take(take) {}

    CheckResult Run() {
        try {
            m_root = FolderOf(m_part);
            m_rootFolder = OpenFolder(m_root, FolderUse::Enter);
            if (!m_rootFolder.IsOpen() && !MayBeAbsent()) {
                throw Error("the folder " + m_root + " does not exist");
            }
            m_folder.emplace(m_root);
        } catch (const std::exception& error) {
            m_result.problems.emplace_back(error.what());
            return m_result;
        }
        ForEachRow(m_part, [this](const MediaRow& row) { Check(row); });
        FindNamesElsewhere();
        return m_result;
    }

private:
    // The folder of alert recordings is made with the first one.
    [[nodiscard]] bool MayBeAbsent() const { return m_part.table.name == gszTableAlertEvent; }

    void Check(const MediaRow& row) {
        ++m_result.rows;
        const auto place = PlaceOf(m_part.table, row.path);
        if (!place) {
            m_missing.push_back({row.id, row.path});
            return;
        }
        const auto& [folder, name] = *place;
        if (!m_folder->Enter(folder, m_result.problems)) {
            return;
        }
        struct stat64 status = {};
        if (!m_folder->Folder().IsOpen() || !Examine(name, status)) {
            if (!m_isUnknown) {
                m_missing.push_back({row.id, row.path});
            }
            return;
        }
        Compare(row, name, status);
    }

    // Returns false if there is no such file, or m_isUnknown if that could not be determined.
    bool Examine(const std::string& name, struct stat64& status) {
        m_isUnknown = false;
        if (Uninterrupted([&] {
                return fstatat64(m_folder->Folder().Get(), name.c_str(), &status,
                                 AT_SYMLINK_NOFOLLOW);
            }) == 0) {
            return true;
        }
        if (errno != ENOENT && errno != ENAMETOOLONG) {
            m_isUnknown = true;
            m_result.problems.emplace_back(
                SystemError("examine " + m_folder->Path() + "/" + name).what());
        }
        return false;
    }

    void Compare(const MediaRow& row, const std::string& name, const struct stat64& status) {
        if (!S_ISREG(status.st_mode)) {
            Report({FindingType::NotAFile, row, {}, 0, FileTypeText(status.st_mode)});
            return;
        }
        if (HasOtherSize(row, status)) {
            ReportSize(row, status);
        }
        if (m_take) {
            m_take(row, m_folder->Path() + "/" + name, status);
        }
    }

    [[nodiscard]] bool HasOtherSize(const MediaRow& row, const struct stat64& status) const {
        return HasSize(m_part.table) &&
               SizeInRow(m_part.table, status.st_size) != SizeInRow(m_part.table, row.size);
    }

    void ReportSize(const MediaRow& row, const struct stat64& status) {
        if (IsBeingWritten(status)) {
            m_result.beingWritten.push_back(row.path);
            return;
        }
        Report({FindingType::Size,
                row,
                {},
                status.st_size,
                BytesText(status.st_size) + ", row " + BytesText(row.size)});
    }

    // Returns true if the file changed since the check began. A time far in the future shows
    // nothing: the clock was set back, or somebody set the file's time.
    [[nodiscard]] bool IsBeingWritten(const struct stat64& status) const {
        const long latestTm = std::time(nullptr) + kClockDifferenceS;
        const auto isRecent = [&](long tm) { return tm >= m_startTm && tm <= latestTm; };
        return isRecent(status.st_mtim.tv_sec) || isRecent(status.st_ctim.tv_sec);
    }

    // The row may have changed after its page was read, together with the file.
    void Report(const Difference& difference) {
        if (IsUnchanged(m_part, difference.row)) {
            m_found(difference);
        }
    }

    // Searches for the files that are missing, and for files of one name in two folders.
    void FindNamesElsewhere() {
        try {
            FileNames names(m_part.table, m_root);
            names.Read(m_missing);
            RequireSameDisk();
            m_result.listed = m_rootFolder.IsOpen() ? m_root : "";
            m_result.notListed = names.NotListed();
            ReportMissing(names);
            ReportTwoFolders(names);
            m_result.problems.insert(m_result.problems.end(), names.Problems().begin(),
                                     names.Problems().end());
        } catch (const std::exception& error) {
            m_result.problems.emplace_back(error.what());
        }
    }

    // The disk must still be there after the walk, or files would seem to be missing.
    void RequireSameDisk() const {
        struct stat64 open = {};
        struct stat64 now = {};
        const std::string root = FolderOf(m_part);
        if (m_rootFolder.IsOpen() &&
            (fstat64(m_rootFolder.Get(), &open) != 0 || stat64(root.c_str(), &now) != 0 ||
             open.st_dev != now.st_dev || open.st_ino != now.st_ino)) {
            throw Error("the folder " + root + " was replaced during the check");
        }
    }

    void ReportMissing(const FileNames& names) {
        const std::string text =
            names.Problems().empty()
                ? "no file of this name exists"
                : "no file of this name was found, but folders could not be read";
        for (const MissingFile& missing : m_missing) {
            const std::vector<std::string> paths = names.PathsOf(missing);
            const bool isBack = std::find(paths.begin(), paths.end(), missing.path) != paths.end();
            const std::optional<MediaRow> row =
                isBack ? std::nullopt : FindRow(m_part, missing.id, missing.path);
            if (row) {
                m_found(MissingOrMoved(*row, paths, text));
            }
        }
    }

    [[nodiscard]] Difference MissingOrMoved(const MediaRow& row,
                                            const std::vector<std::string>& paths,
                                            const std::string& missing) const {
        Difference difference{FindingType::Missing, row, {}, 0, missing};
        for (const std::string& path : paths) {
            if (!HasRow(m_part, path)) { // else it is the file of that row
                difference.paths.push_back(path);
            }
        }
        if (!difference.paths.empty()) {
            difference.type = FindingType::Moved;
            difference.detail = "now at " + Joined(difference.paths);
        }
        return difference;
    }

    void ReportTwoFolders(FileNames& names) {
        for (const std::vector<std::string>& paths : names.InSeveralFolders()) {
            for (const std::string& path : paths) {
                if (const std::optional<MediaRow> row = FindRowOfPath(m_part, path)) {
                    m_found(TwoFolders(*row, paths));
                }
            }
        }
    }

    static Difference TwoFolders(const MediaRow& row, const std::vector<std::string>& paths) {
        Difference difference{FindingType::TwoFolders, row, {}, 0, ""};
        std::copy_if(paths.begin(), paths.end(), std::back_inserter(difference.paths),
                     [&](const std::string& path) { return path != row.path; });
        difference.detail = "also at " + Joined(difference.paths);
        return difference;
    }

    static std::string Joined(const std::vector<std::string>& paths) {
        std::string text;
        for (const std::string& path : paths) {
            text += (text.empty() ? "" : ", ") + path;
        }
        return text;
    }

    const CheckedPart& m_part;
    const long m_startTm;
    const std::function<void(const Difference&)>& m_found;
    const TakeFile& m_take;
    CheckResult m_result;
    std::string m_root;
    UniqueFd m_rootFolder;
    std::optional<PartFolder> m_folder; // nothing: before Run
    bool m_isUnknown = false;
    std::vector<MissingFile> m_missing;
};

} // namespace

Finding FindingOf(const CheckedPart& part, const Difference& difference) {
    Finding finding;
    finding.kind = part.table.name;
    finding.camId = part.camId;
    finding.path = difference.row.path;
    finding.type = difference.type;
    finding.detail = difference.detail;
    return finding;
}

const std::vector<FindingType>& NameFindings() {
    static const std::vector<FindingType> types{FindingType::Missing, FindingType::Moved,
                                                FindingType::Size, FindingType::NotAFile,
                                                FindingType::TwoFolders};
    return types;
}

CheckResult CheckNames(const CheckedPart& part, long startTm,
                       const std::function<void(const Difference&)>& found, const TakeFile& take) {
    return NameCheck(part, startTm, found, take).Run();
}

} // namespace recorder
