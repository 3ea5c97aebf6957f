// What a run could not read, as findings. A recording that can't be read gets a row all the same,
// and no later run opens it again: only the finding keeps the damage visible.

#pragma once

#include "recorder/finding/finding.h"
#include "recorder/run/runlist.h"
#include "recorder/run/taps.h"

#include <string>
#include <unordered_set>
#include <vector>

namespace recorder {

class UnreadableFiles {
public:
    // Notes a file or folder of a part of the run. `path` is absolute.
    void Note(const RunPart& part, const std::string& path, const std::string& why,
              Unreadable what);

    // Notes a folder of the current part that was read to its end.
    void NoteListed(const std::string& folder) { m_listedInPart.insert(folder); }

    // Ends the current part. If its rows could not be loaded, its findings can't be resolved
    // either, and an attempt would only fail once more.
    void EndPart(const RunPart& ended, bool hasLoadedRows);

    // Puts what was noted on record as found by run `run`. To be called before the rows of the
    // files are added, so that a killed run leaves no such row without its finding. Throws Error;
    // a later call tries again.
    void Record(long run);

    // Resolves the findings about what every run tries again, folders and thumbnails, of the
    // finished parts without failures, and removes the void findings of their kinds. Of the other
    // parts, resolves the findings about folders that were read to their end. Throws Error.
    void ResolveRepaired(const std::vector<RunPart>& finished) const;

private:
    std::vector<Finding> m_noted;
    long m_examination = 0;                         // 0: nothing was recorded yet
    std::unordered_set<std::string> m_listedInPart; // folders
    std::unordered_set<std::string> m_listed;       // the same, of ended parts with failures
};

} // namespace recorder
