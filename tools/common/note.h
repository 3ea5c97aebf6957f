// The notes that krplan writes to its standard output and krctl reads: one a line, six fields
// separated by tabs.
//
//   reason   as NameOf gives it
//   kind     the table: event, alert_event, snapshot, emap; empty where it is of no kind
//   camera   its id; 0 where it is of no camera
//   text     a path, or what the reason says; bytes, but tab, newline and backslash are written as
//            \t, \n and \\ .
//   number   a row's id, or what the reason says; 0 where there is none
//   files    of a part: regular files that were looked at; else 0
//
// A note of every camera comes first, then those of a part, then the part itself. A plan without
// its End is none: krplan did not come to its end, whatever its exit status says.

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace plan {

enum class Reason {
    // What krindexer would find and do. The text is an absolute path: that of the file, and of a
    // row the place where its file is missing.
    FileWithoutRow,    // a row would be added
    RowWithoutFile,    // the row `number` would be removed
    RowRenewed,        // the row `number` would be written anew: two files have its name
    BadlyNamed,        // the file would be left alone
    ChangedAfterStart, // the file would be left to the next run
    ThumbnailMissing,  // the picture's thumbnail would be made
    FolderEmpty,       // the folder would be removed
    Damaged,           // the recording's row would have no length and codecs
    // What people should know. The text is for them.
    Warning, // something would be passed over
    Refusal, // something would be declined, as it might do harm
    Failure, // something could not be looked at
    // What it is about.
    Camera, // the camera's name
    Going,  // a run is in progress, process `number`; with a text, that could not be told
    Part,   // a kind, of one camera where it has cameras, is planned; `number` rows there were
    NoPlan, // there is no plan; the text says why
    End,    // the last note of a whole plan; `number` notes were before it
};

struct Note {
    Reason reason{};
    std::string kind;
    int camId = 0;
    std::string text;
    long number = 0;
    long files = 0;
};

// "file-without-row" and so on.
[[nodiscard]] const char* NameOf(Reason reason);

// Whether it is one that krindexer would find or do: those before Warning.
[[nodiscard]] bool IsItem(Reason reason);

// With the newline.
[[nodiscard]] std::string LineOf(const Note& note);

// Without the newline; nothing where it isn't one.
[[nodiscard]] std::optional<Note> ParseLine(std::string_view line);

} // namespace plan
