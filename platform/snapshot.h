// Snapshots and thumbnails: where they lie, a snapshot's row, making a thumbnail.

#pragma once

#include <cstdint>
#include <string>

// The folder that holds the snapshot pictures, from the recorder's settings: an absolute path
// without a trailing "/". Whether it exists isn't checked. Empty when the settings are invalid; the
// log then has the reason.
[[nodiscard]] std::string GetSnapshotFullPath();

// The SQL text, one statement ended by ";", that stores a snapshot's row in DB_SNAPSHOT: the
// picture at `fullPath`, named `fileName`, taken at `startTm` (seconds since the epoch), of `size`
// bytes. A row of that name is brought up to date instead. Texts of several snapshots can be
// concatenated.
[[nodiscard]] std::string ReindexSnapshotSql(const std::string& fullPath,
                                             const std::string& fileName, int64_t startTm,
                                             int size);

// Makes the thumbnail of the picture at `fullPath`: a JPEG of the same name in the sub-folder
// "@Thumbnail" of the picture's folder, which is made if it is missing. A thumbnail appears whole
// or not at all.
//
// Returns 0 on success. Otherwise no thumbnail was made, one that was there is unchanged, and the
// log names the picture and the reason.
[[nodiscard]] int CreateThumbnail(const std::string& fullPath);

// The folder that holds the thumbnails of the recordings in the storage folder `storagePath`
// (absolute, no trailing "/"), likewise without a trailing "/". Whether it exists isn't checked.
[[nodiscard]] std::string GetRecThmbnailDirPath(const std::string& storagePath);
