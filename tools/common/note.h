// The notes that krplan writes to its standard output and krctl reads: one per line, six fields
// separated by tabs.
//
//   reason   as returned by NameOf
//   kind     the table: event, alert_event, snapshot, emap; empty if the note is about no kind
//   camera   the camera's id; 0 if the note is about no camera
//   text     a path, or see the reason; any bytes, with tab, newline and backslash written as
//            \t, \n and \\ .
//   number   a row's id, or see the reason; else 0
//   files    for a part: the regular files that were examined; else 0
//
// The cameras come first. The notes of a part precede the part itself. Without an End the plan is
// invalid: krplan did not finish, whatever its exit status.

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace plan {

enum class Reason {
    // Items: what krindexer would find or do. The text is the absolute path of the file, or for a
    // row the path at which its file is missing.
    FileWithoutRow,    // a row would be added
    RowWithoutFile,    // the row `number` would be removed
    RowRenewed,        // the row `number` would be rewritten: two files have its name
    BadlyNamed,        // the file would be skipped
    ChangedAfterStart, // the file would be left to the next run
    ThumbnailMissing,  // the picture's thumbnail would be made
    FolderEmpty,       // the folder would be removed
    Damaged,           // the recording's row would have no duration and codecs
    // Messages for the operator, in the text.
    Warning, // something would be skipped
    Refusal, // something would not be changed, to prevent the loss of rows
    Failure, // something could not be examined
    // The plan itself.
    Camera,        // the camera's name
    RunInProgress, // process `number` is a run in progress; with a text, unknown, for that reason
    Part,          // a kind (of one camera) is planned; it has `number` rows
    NoPlan,        // the plan failed, for the reason in the text
    End,           // the last note of a complete plan, after `number` others
};

struct Note {
    Reason reason{};
    std::string kind;
    int camId = 0;
    std::string text;
    long number = 0;
    long files = 0;
};

// Returns the reason's name: "file-without-row" etc.
[[nodiscard]] const char* NameOf(Reason reason);

// Returns true for an item: a reason before Warning.
[[nodiscard]] bool IsItem(Reason reason);

// Returns the note as a line, with the newline.
[[nodiscard]] std::string LineOf(const Note& note);

// Parses a line without its newline. Returns nothing if the line is not a note.
[[nodiscard]] std::optional<Note> ParseLine(std::string_view line);

} // namespace plan
