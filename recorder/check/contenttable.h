// The contents of files on record, in the databases of their rows: what checks of contents compare
// with.

#pragma once

#include "recorder/check/mediarows.h"

#include <optional>
#include <string>
#include <vector>

namespace recorder {

// What is on record of a file's contents.
struct FileContents {
    std::string sha256; // 64 hexadecimal digits; empty: the file was never read to its end
    long size = 0;      // bytes, when it last had this checksum
    long mtimeNs = 0;   // nanoseconds since the epoch, when it last had this checksum
    long takenTm = 0;   // when the checksum was taken, seconds since the epoch
};

struct FileToRead {
    long rowId = 0;
    std::string path; // as in the row
    FileContents known;
    long examination = 0; // the last one that read it; 0: none
};

// All functions throw Error.

// The number of a new check of contents: higher than those on record.
[[nodiscard]] long NewContentExamination();

// The next files of the part that no examination has read, behind `after` in the order of paths.
// Some thousands at most; empty: no more.
[[nodiscard]] std::vector<FileToRead> NextUnreadFiles(const CheckedPart& part,
                                                      const FileToRead& after);

// The next files of the part that examinations before this one have read, behind `after`; those
// that were not read for the longest time come first. All have been read by the same examination.
[[nodiscard]] std::vector<FileToRead> NextFilesReadBefore(const CheckedPart& part, long examination,
                                                          const FileToRead& after);

// Records that the examination has read these files, and their contents.
void RecordContents(const CheckedPart& part, const std::vector<FileToRead>& files,
                    long examination);

struct UnreadRows {
    long count = 0;
    // When those of them that were read before were read, the first of them; nothing: none was.
    std::optional<long> oldestTm;
};
// The rows of the part whose files the examination has not read.
[[nodiscard]] UnreadRows RowsNotRead(const CheckedPart& part, long examination);

// Deletes what is on record of files whose rows are gone, unless an undo can restore them.
void ForgetContentsWithoutRow(const CheckedPart& part);

} // namespace recorder
