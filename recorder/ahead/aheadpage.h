// The memory that the recorder shares with krahead, and the messages that it sends to krahead.
//
// The recorder shows which file the tool has reached. krahead shows what it has prepared. Neither
// waits for the other, except that the tool waits a moment for a thumbnail that is being made.

#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace recorder {

// What krahead prepares for each file, as bits of AheadPage::work.
enum AheadWork : uint32_t {
    AHEAD_HEADERS = 1,    // reads the headers of recordings
    AHEAD_THUMBNAILS = 2, // makes the thumbnails of pictures
};

// A file as it was at one moment. Any change of a file changes one of these values.
struct AheadFileState {
    uint64_t device = 0;
    uint64_t number = 0;
    int64_t size = 0;
    int64_t modifiedNs = 0; // since the epoch
    int64_t changedNs = 0;

    bool operator==(const AheadFileState&) const = default;
};

enum class AheadThumbnailState : uint32_t {
    Free,     // krahead may use the slot
    Filling,  // krahead changes the slot; the recorder must not read it
    Working,  // krahead makes the thumbnail
    Made,     // the thumbnail lies flushed under its temporary name
    Claiming, // the recorder examines the thumbnail
    Claimed,  // the recorder has renamed the thumbnail
    Refused,  // not claimed: krahead removes the temporary file
};

// One slot for a thumbnail that is made ahead. The file with the index `index` has the slot
// `index % kAheadThumbnails`.
struct AheadThumbnail {
    std::atomic<AheadThumbnailState> state; // also a futex
    uint64_t folder;                        // AheadPage::folder
    uint64_t index;                         // of the picture in the folder
    std::array<char, 256> name;             // of the picture
    AheadFileState picture;                 // as it was read
    std::array<char, 48> temporaryName;
    uint64_t temporaryDevice;
    uint64_t temporaryNumber; // its inode
};

constexpr std::size_t kAheadThumbnails = 64;

struct AheadPage {
    // Written by the recorder.
    std::atomic<uint64_t> folder;   // the number of the folder that the tool walks; 0: none
    std::atomic<uint64_t> position; // how many files of the folder the tool has reached
    std::atomic<uint32_t> work;     // AheadWork

    // Written by krahead.
    std::atomic<uint64_t> files;      // how many files were prepared
    std::atomic<uint32_t> concurrent; // how many files were prepared at the same time, at most
    std::atomic<bool> isIdle;         // the disk answers at once: there is nothing to prepare
    std::array<AheadThumbnail, kAheadThumbnails> thumbnails;
};

static_assert(std::atomic<uint64_t>::is_always_lock_free);
static_assert(sizeof(std::atomic<AheadThumbnailState>) == sizeof(uint32_t));

// The first message, with the descriptor of the shared memory.
struct AheadHello {
    std::array<char, 32> version; // KESTORA_VERSION; krahead of another version ends
    uint32_t maxConcurrent;       // how many files krahead may prepare at the same time
};

// Each further message, with the descriptor of the folder that the tool walks now.
struct AheadFolder {
    uint64_t number; // AheadPage::folder
};

} // namespace recorder
