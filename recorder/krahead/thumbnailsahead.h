// Thumbnails made ahead of the tool. Each lies under a temporary name in the folder for thumbnails
// until the tool claims it, or its slot is used for another one. The recorder removes the others
// when it leaves the folder.

#pragma once

#include "recorder/ahead/aheadpage.h"
#include "recorder/krahead/foldernames.h"
#include "recorder/krahead/preparation.h"
#include "recorder/support/temporaryfile.h"
#include "recorder/support/uniquefd.h"

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <semaphore>

namespace recorder {

// A folder of pictures and, if it exists, its folder for thumbnails.
struct PictureFolder {
    uint64_t number = 0; // AheadPage::folder
    UniqueFd pictures;
    UniqueFd thumbnails;
};

// May be used by several threads.
class ThumbnailsAhead {
public:
    explicit ThumbnailsAhead(AheadPage& page);

    // Makes the thumbnail of a picture. Leaves it to the tool if its slot is in use, or the picture
    // can't be read, has a thumbnail, is large or has just been written. Reports the first request
    // to the disk.
    void Make(const std::shared_ptr<const PictureFolder>& folder, const NamedFile& picture,
              const NoteRequest& note);

private:
    // What only this process knows of a slot.
    struct Slot {
        std::shared_ptr<const PictureFolder> folder;
        std::unique_ptr<TemporaryFile> file; // in `folder`
    };

    [[nodiscard]] bool Take(std::size_t number);
    [[nodiscard]] bool HasPassed(const AheadThumbnail& thumbnail) const;
    [[nodiscard]] bool Fill(const std::shared_ptr<const PictureFolder>& folder,
                            const NamedFile& picture);
    void MakeIn(Slot& slot, AheadThumbnail& thumbnail, const NamedFile& picture,
                const NoteRequest& note);

    AheadPage& m_page;
    std::counting_semaphore<> m_processors; // one thumbnail for each is made at a time
    std::mutex m_mutex;                     // for which thread takes a slot
    std::array<Slot, kAheadThumbnails> m_slots;
};

} // namespace recorder
