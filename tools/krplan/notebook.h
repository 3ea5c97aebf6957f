// What krplan notes, and of which part of the run it is.

#pragma once

#include "tools/common/note.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace plan {

// One for the process: what stands in for the platform's operations is called from everywhere.
class Notebook {
public:
    [[nodiscard]] static Notebook& OfThisProcess();

    // The camera's recordings lie in `storagePath`.
    void NoteCamera(int camId, const std::string& name, const std::string& storagePath);

    // A run is in progress, in this process; or whether one is could not be told, and why.
    void NoteGoing(int pid, const std::string& unknownWhy = "");

    // The driver begins a job: what follows is of this kind, whatever it comes to.
    void BeginJob(const std::string& kind);

    // As recorder/run/run.h has it.
    void BeginPart(const std::string& kind, int camId);
    void TurnToCamera(int camId);
    void CountFile(int folder);
    void NoteKnownRows(long rows);
    void EndPart();

    // Of the part that goes on.
    void Add(Reason reason, const std::string& text);
    // A file that the tool names without its folder.
    void AddFileOfWalk(Reason reason, const std::string& fileName);
    // A row: `path` as it stands in its table.
    void AddRow(Reason reason, const std::string& kind, int camId, const std::string& path,
                long id = 0);

    // Writes what isn't written yet.
    void Flush();

    // The plan is whole: writes the rest of it, and that this was all.
    void End();

private:
    struct Part {
        std::string kind; // empty: none goes on
        int camId = 0;
        bool isKindKnown = false;
        long rows = 0;
        long files = 0;
    };

    void Write(const Note& note);
    [[nodiscard]] std::string PlaceOf(const std::string& kind, int camId,
                                      const std::string& path) const;

    std::string m_job;
    Part m_part;
    int m_folder = -1; // of the file that the walk came to last
    std::map<int, std::string> m_storagePaths;
    std::string m_unwritten;
    long m_notes = 0; // so far
};

} // namespace plan
