#include "recorder/krahead/thumbnailsahead.h"

#include "recorder/ahead/filestate.h"
#include "recorder/snapshot/jpeg.h"
#include "recorder/support/bytesource.h"
#include "recorder/support/error.h"
#include "recorder/support/processors.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/support/wholefile.h"

#include <algorithm>
#include <ctime>
#include <exception>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr int64_t kMaxPictureBytes = 4L * 1024 * 1024;

// A file that is written twice within one tick of the clock has the same times after both. A
// picture is therefore left to the tool until its times are older.
constexpr int64_t kSettledNs = 100'000'000;

void SetState(AheadThumbnail& thumbnail, AheadThumbnailState state) {
    thumbnail.state.store(state, std::memory_order_release);
    syscall(SYS_futex, &thumbnail.state, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

struct stat64 StatusOf(const UniqueFd& folder, const char* name) {
    struct stat64 st = {};
    if (Uninterrupted([&] { return fstatat64(folder.Get(), name, &st, AT_SYMLINK_NOFOLLOW); }) !=
        0) {
        throw SystemError(std::string("examine ") + name);
    }
    return st;
}

bool Exists(const UniqueFd& folder, const std::string& name) {
    return faccessat(folder.Get(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

void RequireSettled(const AheadFileState& file) {
    struct timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    constexpr int64_t kNsPerS = 1'000'000'000;
    const int64_t nowNs = now.tv_sec * kNsPerS + now.tv_nsec;
    if (std::max(file.modifiedNs, file.changedNs) > nowNs - kSettledNs) {
        throw Error("the picture was written a moment ago");
    }
}

// A picture's row has the earliest of its times. If that is the time of the last access, the tool
// must see it before the picture is read.
void RequireKeptTime(const struct stat64& picture) {
    if (picture.st_atim.tv_sec < std::min(picture.st_mtim.tv_sec, picture.st_ctim.tv_sec)) {
        throw Error("reading the picture would change its row");
    }
}

// Returns the bytes of the picture, and its state, which was the same before and after.
std::vector<uint8_t> ReadSettledPicture(const UniqueFd& folder, const char* name,
                                        AheadFileState& state) {
    const struct stat64 st = StatusOf(folder, name);
    state = StateOf(st);
    RequireSettled(state);
    RequireKeptTime(st);
    FileSource source(name, folder.Get());
    if (source.Size() > kMaxPictureBytes) {
        throw Error("the picture is large");
    }
    std::vector<uint8_t> bytes = ReadAll(source);
    if (StateOf(StatusOf(folder, name)) != state) {
        throw Error("the picture is changing");
    }
    return bytes;
}

template <std::size_t kSize> void Store(std::array<char, kSize>& field, std::string_view text) {
    field = {};
    text.copy(field.data(), kSize - 1);
}

// Holds one of the processors.
class Processor {
public:
    explicit Processor(std::counting_semaphore<>& all) : m_all(all) { m_all.acquire(); }
    ~Processor() { m_all.release(); }
    Processor(const Processor&) = delete;
    Processor& operator=(const Processor&) = delete;
    Processor(Processor&&) = delete;
    Processor& operator=(Processor&&) = delete;

private:
    std::counting_semaphore<>& m_all;
};

} // namespace

ThumbnailsAhead::ThumbnailsAhead(AheadPage& page)
    : m_page(page), m_processors(UsableProcessors()) {}

bool ThumbnailsAhead::HasPassed(const AheadThumbnail& thumbnail) const {
    return m_page.folder.load(std::memory_order_acquire) != thumbnail.folder ||
           m_page.position.load(std::memory_order_acquire) > thumbnail.index + 1;
}

// Takes the slot, and removes the file that was in it unless the tool claimed it.
bool ThumbnailsAhead::Take(std::size_t number) {
    AheadThumbnail& thumbnail = m_page.thumbnails.at(number);
    AheadThumbnailState state = thumbnail.state.load(std::memory_order_acquire);
    const bool isUnused = state == AheadThumbnailState::Free ||
                          state == AheadThumbnailState::Claimed ||
                          state == AheadThumbnailState::Refused ||
                          (state == AheadThumbnailState::Made && HasPassed(thumbnail));
    if (!isUnused ||
        !thumbnail.state.compare_exchange_strong(state, AheadThumbnailState::Filling)) {
        return false;
    }
    Slot& slot = m_slots.at(number);
    if (slot.file && state == AheadThumbnailState::Claimed) {
        slot.file->Keep();
    }
    slot.file.reset();
    slot.folder.reset();
    return true;
}

bool ThumbnailsAhead::Fill(const std::shared_ptr<const PictureFolder>& folder,
                           const NamedFile& picture) {
    const std::scoped_lock lock(m_mutex);
    const std::size_t number = picture.index % kAheadThumbnails;
    if (!Take(number)) {
        return false;
    }
    m_slots.at(number).folder = folder;
    AheadThumbnail& thumbnail = m_page.thumbnails.at(number);
    thumbnail.folder = folder->number;
    thumbnail.index = picture.index;
    Store(thumbnail.name, picture.name);
    thumbnail.state.store(AheadThumbnailState::Working, std::memory_order_release);
    return true;
}

void ThumbnailsAhead::MakeIn(Slot& slot, AheadThumbnail& thumbnail, const NamedFile& picture,
                             const NoteRequest& note) {
    if (!PrepareStatus(slot.folder->pictures, picture, note) ||
        Exists(slot.folder->thumbnails, picture.name)) {
        throw Error("there is nothing to make");
    }
    const std::vector<uint8_t> bytes =
        ReadSettledPicture(slot.folder->pictures, thumbnail.name.data(), thumbnail.picture);
    std::vector<uint8_t> small;
    {
        const Processor processor(m_processors);
        small = MakeSmallJpeg(bytes, kMaxThumbnailWidth);
    }
    const UniqueFd& thumbnails = slot.folder->thumbnails;
    slot.file = std::make_unique<TemporaryFile>(thumbnails.Get());
    WriteAndFlush(slot.file->Fd(), small);
    Store(thumbnail.temporaryName, slot.file->Name());
    const struct stat64 temporary = StatusOf(thumbnails, slot.file->Name().c_str());
    thumbnail.temporaryDevice = temporary.st_dev;
    thumbnail.temporaryNumber = temporary.st_ino;
}

void ThumbnailsAhead::Make(const std::shared_ptr<const PictureFolder>& folder,
                           const NamedFile& picture, const NoteRequest& note) {
    // The slot comes first: a tool that has caught up waits for it, instead of doing the same.
    if (!folder->thumbnails.IsOpen() || !Fill(folder, picture)) {
        return;
    }
    const std::size_t number = picture.index % kAheadThumbnails;
    AheadThumbnail& thumbnail = m_page.thumbnails.at(number);
    try {
        MakeIn(m_slots.at(number), thumbnail, picture, note);
        SetState(thumbnail, AheadThumbnailState::Made);
    } catch (const std::exception&) {
        // The tool makes it, and reports why it can't.
        m_slots.at(number).file.reset();
        SetState(thumbnail, AheadThumbnailState::Free);
    }
}

} // namespace recorder
