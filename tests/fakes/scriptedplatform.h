// The scripted platform: an implementation of platform/*.h that follows a test's script and records
// every call as one line of a transcript, so that a test can state the exact sequence of calls.
//
// The platform fulfils the contract in the headers unless the script overrides it. Operations on
// folders and files use the real disk; databases, cameras, recordings and the task come from the
// script.

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

using Field = std::optional<std::string>; // nullopt: NULL

// The result of a query.
struct Rows {
    std::vector<std::string> columns;
    std::vector<std::vector<Field>> fields;
};

// Rows with the columns "id" and "path", which the indexers select.
Rows IdPathRows(const std::vector<std::pair<Field, Field>>& rows);

// Rows with the column "id", the result of an INSERT.
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
    std::optional<std::list<int>> cameraIds;     // CamGetIdList's result; default: all `cameras`
    std::map<std::string, Rows> queries;         // the result of a SELECT with exactly this text
    std::deque<Rows> insertResults;              // results of the next INSERTs; default: new ids
    std::map<std::string, Reidx::RecInfo> infos; // by full path; default: from name and status
    std::string snapshotFolder;
    std::map<std::string, std::list<std::string>> subFolders; // by folder, in the listed order;
                                                              // default: the folders on the disk
    std::vector<std::list<std::string>> listsHandedOver;      // the lists passed to GetDirsInDir
    bool resultDespiteFailure = false;                        // a failed Execute sets a result
    bool noResult = false;                                    // a successful Execute sets no result
    bool rawRowIds = false;                                   // invalid ids are not withheld

    // Called with the operation's name before a call is recorded and answered.
    std::function<void(std::string_view)> beforeCall;

    // Makes the nth call of this operation from now on (the next is 1) return `value`.
    void Fail(const std::string& operation, int nth = 1, int value = -1);
    void FailAlways(const std::string& operation, int value = -1);

    // Replaces a path that differs from run to run by a short name in the transcript.
    void Abbreviate(const std::string& path, const std::string& name);

    // Also appends every line to an open file, after "parent: " or, in a forked process, "child: ".
    void KeepJournal(int fd) { m_journalFd = fd; }

    // --- the transcript -------------------------------------------------------------------------

    // The calls that other parts of the recorder or the disk notice, one per line.
    [[nodiscard]] std::string Transcript() const;

    // All calls, including those of pure helpers and of reading a result's rows.
    [[nodiscard]] std::string FullTranscript() const;

    // The lines of the transcript that begin with this text.
    [[nodiscard]] std::string LinesOf(std::string_view beginning) const;

    // The lines of the messages of a source file, or of one of its functions if one is named.
    [[nodiscard]] std::string MessagesOf(std::string_view file, std::string_view func = "") const;

    [[nodiscard]] int CallCnt(const std::string& operation) const;
    void ForgetTranscript();

    std::vector<Message> messages;
    std::vector<Statement> statements;
    std::vector<double> progressValues;
    std::vector<Camera> notifiedCameras; // the arguments of NotifyEventListUpdate

    // --- for the operations ---------------------------------------------------------------------

    enum class Weight { Call, Detail };

    // Adds a line to the transcript and counts the call.
    void Record(const std::string& operation, const std::string& line, Weight weight);

    // Adds a line that is not a call of the platform.
    void Note(const std::string& line);

    // The scripted result of the call that was just recorded; 0 by default.
    [[nodiscard]] int Answer(const std::string& operation) const;

    [[nodiscard]] DBResult_tag* NewResult(const std::string& sql);

    // Returns true if the result was not freed before.
    bool Free(DBResult_tag* result);
    [[nodiscard]] std::size_t LiveResultCnt() const { return m_live.size(); }

    double progress = 0.0;
    unsigned long long stamp = 0; // the last update of the recording counts
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
    std::vector<std::unique_ptr<DBResult_tag>> m_results; // all results, also freed ones
    std::vector<DBResult_tag*> m_live;
    int m_journalFd = -1;
    pid_t m_owner = 0;

    friend void ResetPlatform();
};

// The platform of the test program.
ScriptedPlatform& Platform();

// Clears the script, the transcript and the log configuration.
void ResetPlatform();

// The number of statements in a text: of the semicolons outside quotes.
std::size_t StatementCnt(std::string_view sql);

// The text in double quotes, with escapes like in a C++ literal.
std::string Quoted(std::string_view text);

// The lines joined in the form of Transcript().
std::string Lines(std::initializer_list<std::string> lines);

// The transcript's line of a message with a category and a level.
std::string Log(std::string_view level, std::string_view file, std::string_view func,
                std::string_view text);

// The transcript's line of a message without a level, which is always logged.
std::string LogAlways(std::string_view file, std::string_view func, std::string_view text);

} // namespace fakes

// A result in memory.
struct DBResult_tag {
    fakes::Rows rows;
    int next = 0;
};
