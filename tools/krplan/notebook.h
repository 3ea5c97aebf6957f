// Writes the notes of a plan, and keeps track of the part of the run that they belong to.

#pragma once

#include "tools/common/note.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace plan {

// One object per process, because the platform's operations, which use it, are free functions.
class Notebook {
public:
    [[nodiscard]] static Notebook& OfThisProcess();

    // Notes a camera and its storage folder.
    void NoteCamera(int camId, const std::string& name, const std::string& storagePath);

    // Notes a run in progress in process `pid`, or the reason why it is unknown if there is one.
    void NoteRunInProgress(int pid, const std::string& unknownWhy = "");

    // The driver begins a job: the following notes are about this kind.
    void BeginJob(const std::string& kind);

    // These correspond to the functions of recorder/run/taps.h.
    void BeginPart(const std::string& kind, int camId);
    void TurnToCamera(int camId);
    void CountFile(int folder);
    void NoteKnownRows(long rows);
    void EndPart();

    // Adds a note about the part in progress.
    void Add(Reason reason, const std::string& text);
    // Adds a note about a file that the tool names without its folder.
    void AddFileOfWalk(Reason reason, const std::string& fileName);
    // Adds a note about a row. `path` is the value in the row.
    void AddRow(Reason reason, const std::string& kind, int camId, const std::string& path,
                long id = 0);

    // Writes the buffered notes.
    void Flush();

    // Ends a complete plan: writes the buffered notes and End.
    void End();

private:
    struct Part {
        std::string kind; // empty: no part in progress
        int camId = 0;
        bool isKindKnown = false;
        long rows = 0;
        long files = 0;
    };

    void Write(const Note& note);
    [[nodiscard]] std::string PathOf(const std::string& kind, int camId,
                                     const std::string& path) const;

    std::string m_job;
    Part m_part;
    int m_folder = -1; // the folder of the file that was counted last
    std::map<int, std::string> m_storagePaths;
    std::string m_unwritten;
    long m_notes = 0; // written or buffered
};

} // namespace plan
