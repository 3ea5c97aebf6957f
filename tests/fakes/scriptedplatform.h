// The scripted platform: an implementation of platform/*.h that does what a test tells it and keeps
// a transcript of every call, one line each, so that a test states the exact conversation.
//
// It behaves as the headers promise unless the script says otherwise. Where the promise is about
// the disk (folders, existence of files) it looks at the real disk; databases, cameras, recordings
// and the task store are what the script holds.

#pragma once

#include "platform/camera.h"
#include "platform/database.h"
#include "platform/recording.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <initializer_list>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace fakes {

using Field = std::optional<std::string>; // nothing: NULL

// What a query yields.
struct Rows {
    std::vector<std::string> columns;
    std::vector<std::vector<Field>> fields;
};

// Rows with the columns "id" and "path", as the indexers ask for them.
Rows IdPathRows(const std::vector<std::pair<Field, Field>>& rows);

// A result row for each inserted row, with the column "id".
Rows IdRows(const std::vector<Field>& ids);

// One call of KRPrintf.
struct Message {
    int type = 0;
    Field categ;
    Field level;
    std::string file;
    int line = 0;
    std::string func;
    std::string format;
    std::string text;
};

// One call of KRDB::Execute.
struct Statement {
    int db = 0;
    std::string sql;
    std::size_t count = 0; // statements in the text
};

class ScriptedPlatform {
public:
    // --- the script -----------------------------------------------------------------------------

    std::map<int, std::string> cameras;          // id to storage folder
    std::optional<std::list<int>> cameraIds;     // what CamGetIdList gives; else all of `cameras`
    std::map<std::string, Rows> queries;         // what a SELECT of exactly this text yields
    std::deque<Rows> insertResults;              // what the next INSERT texts yield; else new ids
    std::map<std::string, Reidx::RecInfo> infos; // full path to properties; else from the name
    std::string snapshotFolder;
    std::map<std::string, std::list<std::string>> subFolders; // what a folder's listing yields, in
                                                              // this order; else what is on disk
    std::vector<std::list<std::string>> listsHandedOver; // to each listing of folders, as they were
    bool resultDespiteFailure = false; // a failed Execute hands out a result all the same
    bool noResult = false;             // a successful Execute hands out none
    bool rawRowIds = false;            // an "id" that is no row id is delivered as it stands

    // Called with the operation's name before a call is recorded and answered.
    std::function<void(std::string_view)> beforeCall;

    // The nth call of this operation from now on (the next is 1) answers `value`.
    void Fail(const std::string& operation, int nth = 1, int value = -1);
    void FailAlways(const std::string& operation, int value = -1);

    // Puts a short word in place of a path that differs from run to run.
    void Abbreviate(const std::string& path, const std::string& word);

    // Appends every line, led by "child: " in another process than this one, to an open file.
    void KeepJournal(int fd) { m_journalFd = fd; }

    // --- the transcript -------------------------------------------------------------------------

    // The calls that the recorder's other parts or the disk take notice of, one a line.
    [[nodiscard]] std::string Transcript() const;

    // Every call, those of pure helpers and of reading a result's rows too.
    [[nodiscard]] std::string FullTranscript() const;

    // The lines of the transcript that begin with this text.
    [[nodiscard]] std::string LinesOf(std::string_view beginning) const;

    // The lines of the messages of a source file; of one of its functions where one is named.
    [[nodiscard]] std::string MessagesOf(std::string_view file, std::string_view func = "") const;

    [[nodiscard]] int CallCnt(const std::string& operation) const;
    void ForgetTranscript();

    std::vector<Message> messages;
    std::vector<Statement> statements;
    std::vector<double> progressValues;
    std::vector<Camera> notifiedCameras; // as NotifyEventListUpdate was handed them

    // --- for the operations ---------------------------------------------------------------------

    enum class Weight { Call, Detail };

    // Writes a line and counts the call.
    void Record(const std::string& operation, const std::string& line, Weight weight);

    // A line that is no call of the platform's.
    void Note(const std::string& line);

    // The scripted answer to the call that was just recorded; 0 where none was scripted.
    [[nodiscard]] int Answer(const std::string& operation) const;

    [[nodiscard]] DBResult_tag* NewResult(const std::string& sql);

    // True when the result was still held by somebody.
    bool Free(DBResult_tag* result);
    [[nodiscard]] std::size_t LiveResultCnt() const { return m_live.size(); }

    double progress = 0.0;
    unsigned long long stamp = 0; // of the last update of the recording counts
    int lastRowId = 1000;

private:
    struct Line {
        std::string text;
        Weight weight;
    };

    [[nodiscard]] std::string Abbreviated(std::string text) const;
    [[nodiscard]] Rows RowsOf(const std::string& sql);
    [[nodiscard]] std::string Join(bool withDetails) const;

    std::vector<Line> m_lines;
    std::map<std::string, int> m_callCnt;
    std::map<std::pair<std::string, int>, int> m_failures;
    std::map<std::string, int> m_lastingFailures;
    std::vector<std::pair<std::string, std::string>> m_abbreviations;
    std::vector<std::unique_ptr<DBResult_tag>> m_results; // until the reset, freed or not
    std::vector<DBResult_tag*> m_live;
    int m_journalFd = -1;
    pid_t m_owner = 0;

    friend void ResetPlatform();
};

// The one platform of a test program.
ScriptedPlatform& Platform();

// An empty script and an empty transcript; no log configuration.
void ResetPlatform();

// The number of statements in a text: the ";" outside of quotes.
std::size_t StatementCnt(std::string_view sql);

// A text in double quotes, with escapes as in a C++ literal.
std::string Quoted(std::string_view text);

// The lines of a transcript, as Transcript() gives them.
std::string Lines(std::initializer_list<std::string> lines);

// The transcript's line of a gated message.
std::string Log(std::string_view level, std::string_view file, std::string_view func,
                std::string_view text);

// The transcript's line of a message that no configuration suppresses.
std::string LogAlways(std::string_view file, std::string_view func, std::string_view text);

} // namespace fakes

// A result in memory.
struct DBResult_tag {
    fakes::Rows rows;
    int next = 0;
};
