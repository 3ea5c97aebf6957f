// Findings: what is wrong with files, on record until it is seen to be right again. They are in the
// database of the rows of their kind.

#pragma once

#include "recorder/database/mediaselection.h"

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace recorder {

enum class FindingType {
    Missing,    // the row has no file
    Moved,      // the row's file is in another folder
    Size,       // the file has another size than the row
    NotAFile,   // something else than a regular file has the name
    TwoFolders, // two folders have a file of this name
    Unreadable, // the file or folder can't be read
    Length,     // the recording has another length than the row
    Codec,      // the recording has other codecs or another picture size than the row
    Changed,    // the contents changed, and the size or the modification time
    Rot,        // the contents changed, but neither the size nor the modification time
    ReadError,  // the headers may be sound, but the file can't be read to its end
};

// The type's name in the database, in JSON and in options: "missing", "not-a-file".
[[nodiscard]] const char* NameOf(FindingType type);
// The type with this name; nothing for any other text.
[[nodiscard]] std::optional<FindingType> FindingTypeOf(const std::string& name);

struct Finding {
    std::string kind; // the table of the file's kind
    int camId = 0;    // 0: the kind has no cameras
    // As in the row (path or filename), any bytes. The absolute path if there need not be a row, as
    // for a folder.
    std::string path;
    FindingType type = FindingType::Unreadable;
    std::string detail; // for people: a reason, or what differs: "1,024 bytes, row 2,314"
    bool hasRow = true; // false: the finding is valid without a row of this path
    long firstTm = 0;   // seconds since the epoch; set by RecordFindings
    long lastTm = 0;    // seconds since the epoch; set by RecordFindings
    long run = 0;       // the last run that found it; 0: a check
};

// All functions throw Error. A finding whose row is gone is neither listed nor counted.

// The number of a new examination of files: higher than all before, also those whose findings are
// gone, unless all findings are.
[[nodiscard]] long NewExamination();

// Records findings, or renews those that are on record: their first time stays. Some thousands are
// one transaction.
void RecordFindings(const std::vector<Finding>& findings, long examination);

// Removes the findings of these types for a kind and camera that the examination did not find
// again. The caller has examined all files of the kind and camera for them.
void ResolveFindings(const std::string& kind, int camId, const std::vector<FindingType>& types,
                     long examination);

// Counts findings of one file as found by the examination, which could not examine the file.
void KeepFindingsOf(const std::string& kind, int camId, const std::string& path,
                    const std::vector<FindingType>& types, long examination);

// Removes findings of one file.
void ResolveFindingsOf(const std::string& kind, int camId, const std::string& path,
                       const std::vector<FindingType>& types);

// Findings of runs about what every run tries again: folders, and the thumbnails of snapshots and
// e-maps. Recordings that can't be read are not among them, as only one run opens them. The first
// function returns the cameras that have any, 0 for a kind without cameras; the second one removes
// those that the examination did not find.
[[nodiscard]] std::set<int> CamerasWithRetriedFindings(const std::string& kind);
void ResolveRetriedFindings(const std::string& kind, int camId, long examination);

// Removes the findings of runs about folders for which `isListed` returns true.
void ResolveFolderFindings(const std::string& kind, int camId,
                           const std::function<bool(const std::string& path)>& isListed);

// Removes the findings of a kind whose rows are gone, so that they don't come back with a new row
// of the same path, and those about folders of cameras that are not among `cameras`. With no
// cameras, the camera table may have been lost: these stay then.
void RemoveVoidFindings(const std::string& kind, const std::vector<int>& cameras);

// Calls `take` with the findings of the selection by kind, camera, path and type. Reads them in
// pages, so that few are in memory at a time.
void ForEachFinding(const MediaSelection& selection,
                    const std::function<void(const Finding&)>& take);

// The same findings, all at once.
[[nodiscard]] std::vector<Finding> ListFindings(const MediaSelection& selection);

// The findings that this run was the last to find, in the same order.
[[nodiscard]] std::vector<Finding> FindingsOfRun(long run);

struct FindingCount {
    std::string kind;
    int camId = 0;
    FindingType type = FindingType::Unreadable;
    long count = 0;
};
// The number of findings of the selection, by kind, camera and type.
[[nodiscard]] std::vector<FindingCount> CountFindings(const MediaSelection& selection);

// The number of all findings of the selection.
[[nodiscard]] long FindingsOnRecord(const MediaSelection& selection = {});

} // namespace recorder
