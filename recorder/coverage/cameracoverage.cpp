#include "recorder/coverage/cameracoverage.h"

#include "recorder/check/mediarows.h"
#include "recorder/container/container.h"
#include "recorder/container/librarycontainer.h"
#include "recorder/database/databases.h"
#include "recorder/database/sqltext.h"
#include "recorder/finding/finding.h"
#include "recorder/support/bytesource.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/medianames.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <deque>
#include <exception>
#include <optional>
#include <set>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr int kRowsOfPage = 20000;
constexpr long kInProgressSec = 120; // recorders write at least once a minute
constexpr long kDaySec = 86400;
constexpr long kHalfDayHours = 12;

struct Row {
    std::string path;
    Interval interval; // Removed until its file is found
};

using Rows = std::deque<Row>; // a vector would need twice the memory while it grows

struct RowRange {
    Rows::iterator first;
    Rows::iterator behindLast;
};

constexpr char kBehindSlash = '/' + 1; // follows the paths below a folder in their order

bool IsPathLess(const Row& row, const std::string& path) {
    return row.path < path;
}

struct tm MidnightOf(const std::string& folder) {
    const auto number = [&](std::size_t from, std::size_t digits) {
        int value = 0;
        std::from_chars(folder.data() + from, folder.data() + from + digits, value);
        return value;
    };
    struct tm date = {};
    date.tm_year = number(0, 4) - 1900;
    date.tm_mon = number(4, 2) - 1;
    date.tm_mday = number(6, 2);
    date.tm_isdst = -1;
    return date;
}

// The time of the recordings in a half-day folder, which has its name from their local start time.
Interval TimeOf(const std::string& folder) {
    struct tm begin = MidnightOf(folder);
    begin.tm_hour = folder.ends_with("PM") ? kHalfDayHours : 0;
    struct tm end = begin;
    end.tm_hour += kHalfDayHours;
    return {std::mktime(&begin), std::mktime(&end), Coverage::Unknown};
}

std::string_view FolderIn(std::string_view path) {
    return path.substr(0, path.find('/'));
}

std::string_view PathBelowFolder(std::string_view path) {
    return path.substr(path.find('/') + 1);
}

std::string_view NameIn(std::string_view path) {
    return path.substr(path.rfind('/') + 1); // npos + 1 is 0
}

class Reading {
public:
    Reading(int camId, long sinceTm, long untilTm, long nowTm)
        : m_part{MediaTableOf(gszTableEvent), camId}, m_sinceTm(sinceTm), m_untilTm(untilTm),
          m_nowTm(nowTm) {}

    CameraCoverage Read() {
        ReadRows();
        ReadFolders();
        RestoreMoved();
        MarkUnreadable();
        return {Combined(), std::move(m_problems)};
    }

private:
    // The rows of the time and of the day before it, in pages, by path.
    void ReadRows() {
        const std::string camera = std::to_string(m_part.camId);
        const std::string since = std::to_string(m_sinceTm);
        std::string after;
        for (;;) {
            const DBResult_tag rows =
                Execute(m_part.table.instance,
                        "SELECT path, start_tm, end_tm FROM event WHERE camera_id = " + camera +
                            " AND path IS NOT NULL" + after + " AND start_tm < " +
                            std::to_string(m_untilTm) + " AND (end_tm > " + since +
                            " OR start_tm >= " + std::to_string(m_sinceTm - kDaySec) +
                            ") ORDER BY camera_id, path LIMIT " + std::to_string(kRowsOfPage) + ";",
                        {.readOnly = true});
            for (int row = 0; row < rows.RowCount(); ++row) {
                m_rows.push_back({rows.Text(row, "path"),
                                  Within(rows.Long(row, "start_tm"), rows.Long(row, "end_tm"))});
            }
            if (rows.RowCount() < kRowsOfPage) {
                return;
            }
            after = " AND path > " + Quote(m_rows.back().path);
        }
    }

    // Limits times, which may be any numbers in a damaged row.
    [[nodiscard]] Interval Within(long beginTm, long endTm) const {
        return {std::max(beginTm, m_sinceTm - kDaySec), std::min(endTm, m_untilTm),
                Coverage::Removed};
    }

    void ReadFolders() {
        try {
            m_root = FolderOf(m_part);
            for (const std::string& folder : Folders()) {
                ReadFolder(folder);
            }
            if (FolderOf(m_part) != m_root) { // throws if the disk has gone in the meantime
                throw Error("the storage folder was changed in the meantime");
            }
        } catch (const std::exception& error) {
            m_problems.emplace_back(error.what());
            m_others.push_back({m_sinceTm, m_untilTm, Coverage::Unknown});
            for (Row& row : m_rows) {
                row.interval.coverage = Coverage::Unknown;
            }
        }
    }

    // The half-day folders of the time, and those of its rows.
    std::set<std::string> Folders() {
        std::set<std::string> folders;
        std::string last; // rows of a folder follow each other
        for (Row& row : m_rows) {
            if (!last.empty() && FolderIn(row.path) == last &&
                PathBelowFolder(row.path) == NameIn(row.path)) {
                continue;
            }
            if (const std::optional<RowPlace> place = PlaceOf(m_part.table, row.path)) {
                folders.insert(place->folder);
                last = place->folder;
            } else {
                row.interval.coverage = Coverage::Unknown;
                m_problems.push_back("the row's path \"" + row.path +
                                     "\" is not directly in a half-day folder");
            }
        }
        ListFolder(m_root, [&](const FolderEntry& entry) {
            if (IsHalfDayName(entry.name)) {
                const Interval time = TimeOf(entry.name);
                if (time.beginTm < m_untilTm + kDaySec && time.endTm > m_sinceTm - kDaySec) {
                    folders.insert(entry.name);
                }
            }
            return true;
        });
        return folders;
    }

    void ReadFolder(const std::string& folder) {
        const RowRange rows{FirstFrom(folder + "/"), FirstFrom(folder + kBehindSlash)};
        try {
            ListFolder(m_root + "/" + folder, [&](const FolderEntry& entry) {
                TakeEntry(folder, entry, FindName(rows, entry.name));
                return true;
            });
        } catch (const std::exception& error) {
            m_problems.emplace_back(error.what());
            m_others.push_back(TimeOf(folder));
            std::for_each(rows.first, rows.behindLast,
                          [](Row& row) { row.interval.coverage = Coverage::Unknown; });
        }
    }

    Rows::iterator FirstFrom(const std::string& path) {
        return std::lower_bound(m_rows.begin(), m_rows.end(), path, IsPathLess);
    }

    // The row of a file in the folder of the rows; null: none. There may be millions of files, so
    // this compares with few rows, and allocates nothing.
    static Row* FindName(const RowRange& rows, std::string_view name) {
        const auto row = std::lower_bound(rows.first, rows.behindLast, name,
                                          [](const Row& each, std::string_view wanted) {
                                              return PathBelowFolder(each.path) < wanted;
                                          });
        return row == rows.behindLast || PathBelowFolder(row->path) != name ? nullptr : &*row;
    }

    void TakeEntry(const std::string& folder, const FolderEntry& entry, Row* row) {
        if (entry.isRegularFile && row == nullptr) {
            m_withoutRow.push_back(folder + "/" + entry.name);
        } else if (entry.isRegularFile) {
            TakeFileOf(*row, row->path);
        } else if (row != nullptr) {
            // A link or a folder instead of a row's file is not a recording that was removed.
            row->interval.coverage = Coverage::Damaged;
        }
    }

    // A row gets its length at the end of the recording.
    void TakeFileOf(Row& row, const std::string& path) {
        Interval& time = row.interval;
        if (time.endTm > time.beginTm) {
            time.coverage = Coverage::Recorded;
            return;
        }
        struct stat64 status = {};
        const std::string file = m_root + "/" + path;
        if (Uninterrupted([&] { return lstat64(file.c_str(), &status); }) == 0 &&
            IsInProgress(status, time.beginTm)) {
            time = {time.beginTm, std::max(m_nowTm, time.beginTm), Coverage::Recorded};
        } else {
            time.coverage = Coverage::Damaged;
        }
    }

    [[nodiscard]] bool IsInProgress(const struct stat64& status, long startTm) const {
        return status.st_mtim.tv_sec >= m_nowTm - kInProgressSec && startTm >= m_nowTm - kDaySec;
    }

    // A recording is known by its name: in another folder it is still the one of its row.
    void RestoreMoved() {
        std::vector<Row*> missing; // by name
        for (Row& row : m_rows) {
            if (row.interval.coverage == Coverage::Removed) {
                missing.push_back(&row);
            }
        }
        std::stable_sort(missing.begin(), missing.end(), [](const Row* a, const Row* b) {
            return NameIn(a->path) < NameIn(b->path);
        });
        for (const std::string& path : m_withoutRow) {
            const std::string_view name = NameIn(path);
            const auto row = std::lower_bound(missing.begin(), missing.end(), name,
                                              [](const Row* each, std::string_view wanted) {
                                                  return NameIn(each->path) < wanted;
                                              });
            if (row != missing.end() && NameIn((*row)->path) == name) {
                TakeFileOf(**row, path);
            } else {
                TakeFileWithoutRow(path);
            }
        }
    }

    void TakeFileWithoutRow(const std::string& path) {
        const std::optional<int64_t> startTm = StartTmOfName(path);
        const std::optional<ContainerKind> kind = ContainerKindOf(path);
        if (!startTm || !kind || *startTm >= m_untilTm || *startTm < m_sinceTm - kDaySec) {
            return;
        }
        const std::string file = m_root + "/" + path;
        struct stat64 status = {};
        if (Uninterrupted([&] { return lstat64(file.c_str(), &status); }) != 0) {
            if (errno != ENOENT) {
                AddUnknown(*startTm, SystemError("examine " + file).what());
            }
            return; // it was removed in the meantime
        }
        if (const std::optional<MediaRow> row = FindRowOfPath(m_part, path)) {
            // The row has another start than the name, or was added in the meantime.
            m_others.push_back(Within(row->startTm, row->endTm));
            m_others.back().coverage =
                row->endTm > row->startTm ? Coverage::Recorded : Coverage::Damaged;
        } else if (IsInProgress(status, *startTm)) {
            m_others.push_back({*startTm, std::max<long>(m_nowTm, *startTm), Coverage::Recorded});
        } else {
            ReadLength(file, *kind, *startTm);
        }
    }

    void ReadLength(const std::string& file, ContainerKind kind, long startTm) {
        try {
            FileSource source(file);
            const long lengthSec = ReadContainer(source, kind).durationSec;
            m_others.push_back({startTm, startTm + lengthSec, Coverage::NotIndexed});
        } catch (const HelperFailure& error) {
            AddUnknown(startTm, file + ": " + error.what());
        } catch (const std::exception& error) {
            if (faccessat(AT_FDCWD, file.c_str(), R_OK, AT_EACCESS) == 0) {
                m_others.push_back({startTm, startTm, Coverage::Damaged});
            } else {
                AddUnknown(startTm, error.what());
            }
        }
    }

    void AddUnknown(long startTm, const std::string& problem) {
        m_problems.push_back(problem);
        m_others.push_back({startTm, startTm, Coverage::Unknown});
    }

    // Findings of runs and checks: a file that was seen to be unreadable.
    void MarkUnreadable() {
        ForEachFinding({.cameras = {m_part.camId}, .kinds = {m_part.table.name}},
                       [this](const Finding& finding) { MarkUnreadable(finding); });
    }

    void MarkUnreadable(const Finding& finding) {
        if (finding.type != FindingType::Unreadable && finding.type != FindingType::ReadError) {
            return;
        }
        const std::string path = finding.path.starts_with(m_root + "/")
                                     ? finding.path.substr(m_root.size() + 1)
                                     : finding.path;
        const auto row = FirstFrom(path);
        if (row != m_rows.end() && row->path == path &&
            row->interval.coverage == Coverage::Recorded) {
            row->interval.coverage = Coverage::Damaged;
        }
    }

    std::vector<Interval> Combined() {
        std::vector<Interval> all;
        all.reserve(m_rows.size() + m_others.size());
        for (const Row& row : m_rows) {
            all.push_back(row.interval);
        }
        m_rows.clear(); // there may be millions
        all.insert(all.end(), m_others.begin(), m_others.end());
        std::sort(all.begin(), all.end(),
                  [](const Interval& a, const Interval& b) { return a.beginTm < b.beginTm; });
        EstimateLengths(all);
        return CoverageOf(all, m_sinceTm, m_untilTm);
    }

    CheckedPart m_part;
    long m_sinceTm;
    long m_untilTm;
    long m_nowTm;
    std::string m_root;
    Rows m_rows; // by path
    std::vector<std::string> m_withoutRow;
    std::vector<Interval> m_others;
    std::vector<std::string> m_problems;
};

} // namespace

CameraCoverage CoverageOfCamera(int camId, long sinceTm, long untilTm, long nowTm) {
    return Reading(camId, sinceTm, untilTm, nowTm).Read();
}

} // namespace recorder
