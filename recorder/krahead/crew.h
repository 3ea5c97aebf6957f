// The threads that prepare files, ahead of the tool and as many at a time as the disk can serve.

#pragma once

#include "recorder/ahead/aheadpage.h"
#include "recorder/krahead/concurrency.h"
#include "recorder/krahead/foldernames.h"
#include "recorder/krahead/preparation.h"
#include "recorder/krahead/thumbnailsahead.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace recorder {

class Crew {
public:
    // `most` is the highest number of files that are prepared at the same time.
    Crew(AheadPage& page, int most);

    // The tool walks this folder now. The work on the previous one ends.
    void TurnTo(uint64_t number, UniqueFd folder);

private:
    struct Folder {
        std::shared_ptr<const PictureFolder> files;
        std::optional<FolderNames> names; // nothing at the end of the listing
        uint32_t work = 0;                // AheadWork that is done for the files of the listing
    };

    struct Job {
        std::shared_ptr<const PictureFolder> folder;
        NamedFile file;
        uint32_t work = 0; // AheadWork
    };

    [[noreturn]] void Work();
    [[nodiscard]] Job AwaitJob();
    [[nodiscard]] std::optional<Job> NextJob();
    [[nodiscard]] std::optional<NamedFile> NextFile(uint32_t work);
    [[nodiscard]] int Allowed(uint32_t work) const;
    void NoteStart();
    void Do(const Job& job);
    void AddThreads();

    AheadPage& m_page;
    int m_most;
    int m_thumbnailsAtOnce;
    ThumbnailsAhead m_thumbnails;
    NoteRequest m_note;

    std::mutex m_mutex; // for all that follows
    std::condition_variable m_mayContinue;
    Concurrency m_concurrency;
    Folder m_folder;
    std::vector<std::thread> m_threads;
    int m_working = 0;         // threads that prepare a file
    bool m_isFarAhead = false; // no file is prepared until the tool has reached more of them
    bool m_isWatched = false;  // a thread watches which file the tool has reached
};

} // namespace recorder
