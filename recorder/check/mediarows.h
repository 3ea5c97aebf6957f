// The rows of one kind and, where the kind has cameras, one camera, read in the order of their
// paths, and where their files are.

#pragma once

#include "recorder/database/mediatable.h"

#include <functional>
#include <optional>
#include <string>

namespace recorder {

// One kind of media or, where the kind has cameras, of one camera.
struct CheckedPart {
    MediaTable table;
    int camId = 0; // 0: the kind has no cameras
};

// A row of any kind. What the kind's table doesn't have is 0 or empty.
struct MediaRow {
    long id = 0;
    std::string path; // "20140312AM/NAME"; the name of a snapshot or e-map
    long size = 0;    // bytes
    long startTm = 0; // seconds since the epoch
    long endTm = 0;   // seconds since the epoch
    int vdoType = 0;  // VideoType
    std::string audFmt;
    int imgW = 0; // pixels
    int imgH = 0; // pixels

    bool operator==(const MediaRow&) const = default;
};

// The column with the path: "path" or "filename".
[[nodiscard]] std::string PathColumn(const MediaTable& table);

// Returns true if rows of the table have the sizes of their files.
[[nodiscard]] bool HasSize(const MediaTable& table);

// The size of a file, in bytes, as the rows of the table have it: that of a snapshot is the low 32
// bits.
[[nodiscard]] long SizeInRow(const MediaTable& table, long size);

// Reads the rows in pages, so that few are in memory at a time, and calls `take` with each. Rows
// without a path are left out. Throws Error.
void ForEachRow(const CheckedPart& part, const std::function<void(const MediaRow&)>& take);

struct RowPlace {
    std::string folder; // half-day folder; empty for kinds without cameras
    std::string name;
};

// The folder and the name of a row's path. Recordings are in half-day folders, files of other kinds
// directly in the folder of their kind. Nothing for a path elsewhere: runs read no other folder.
[[nodiscard]] std::optional<RowPlace> PlaceOf(const MediaTable& table, const std::string& path);

// Returns true if the row still exists and is as it was read. Throws Error.
[[nodiscard]] bool IsUnchanged(const CheckedPart& part, const MediaRow& row);

// The row with this id, if it still has this path; nothing otherwise. Throws Error.
[[nodiscard]] std::optional<MediaRow> FindRow(const CheckedPart& part, long id,
                                              const std::string& path);

// A row of the part with this path. Throws Error.
[[nodiscard]] std::optional<MediaRow> FindRowOfPath(const CheckedPart& part,
                                                    const std::string& path);

// Returns true if a row of the part has this path. Throws Error.
[[nodiscard]] bool HasRow(const CheckedPart& part, const std::string& path);

// The folder of the part's files or, for recordings, of their half-day folders. Throws Error if it
// can't be relied upon: the camera's disk is not mounted, or its identity is missing.
[[nodiscard]] std::string FolderOf(const CheckedPart& part);

} // namespace recorder
