// Snapshots and thumbnails: their folders, a snapshot's row, and making a thumbnail.
//
// A file directly in the snapshot folder is a snapshot if its name matches one of
//
//   .*-[0-9]{8}-[0-9]{10}\.jpg$
//   .*-[0-9]{8}-[0-9]{10}-Modified-[0-9]+\.jpg$
//
// as in Front-20140312-1394590500.jpg and, for an edited copy, ...-Modified-2.jpg. Nothing is read
// from the name; the time of the row is the earliest of the file's times. Thumbnails lie in the
// sub-folder "@Thumbnail" of the snapshot folder, under the snapshot's own name.
//
// Threads, processes and exceptions: platform/taskstatus.h.

#pragma once

#include <cstdint>
#include <string>

// The folder that holds the snapshot pictures, from the recorder's settings: an absolute path
// without a trailing "/". Whether it exists isn't checked. Empty when the settings are invalid; the
// log then has the reason.
[[nodiscard]] std::string GetSnapshotFullPath();

// The SQL text, one statement ended by ";", that stores a snapshot's row in DB_SNAPSHOT: the
// picture at `fullPath`, named `fileName`, taken at `startTm` (seconds since the epoch), of `size`
// bytes (the low 32 bits of the file's size). An existing row of that name is updated instead.
// Texts of several snapshots can be concatenated.
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

// The folder that holds the thumbnails of the recordings in `storagePath` (a camera's storage
// folder or its "laRec"; absolute, no trailing "/"), also without a trailing "/". Whether it
// exists isn't checked.
[[nodiscard]] std::string GetRecThmbnailDirPath(const std::string& storagePath);
