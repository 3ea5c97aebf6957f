#include "recorder/krahead/crew.h"

#include "recorder/support/medianames.h"
#include "recorder/support/processors.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <system_error>

#include <fcntl.h>

namespace recorder {

namespace {

// How far krahead may be ahead of the tool. What the kernel has in memory is not dropped again so
// soon, and a network file system still trusts what it knows of a file.
constexpr uint64_t kMaxLead = 256;
constexpr uint64_t kMaxThumbnailsAhead = kAheadThumbnails - 1; // the tool may hold one more slot

constexpr std::chrono::milliseconds kWatchEvery{1};

constexpr int kThumbnailsPerProcessor = 2; // one is computed while another is read or flushed

// The folder for thumbnails is not opened through a link.
std::shared_ptr<const PictureFolder> OpenPictureFolder(uint64_t number, UniqueFd pictures) {
    UniqueFd thumbnails(Uninterrupted([&] {
        return openat(pictures.Get(), kThumbnailDirName,
                      O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    }));
    return std::make_shared<const PictureFolder>(
        PictureFolder{number, std::move(pictures), std::move(thumbnails)});
}

// The same folder, with the folder for thumbnails that the tool has made since.
std::shared_ptr<const PictureFolder> Reopen(const PictureFolder& folder) {
    return OpenPictureFolder(folder.number,
                             UniqueFd(fcntl(folder.pictures.Get(), F_DUPFD_CLOEXEC, 0)));
}

} // namespace

Crew::Crew(AheadPage& page, int most)
    : m_page(page), m_most(most), m_thumbnailsAtOnce(kThumbnailsPerProcessor * UsableProcessors()),
      m_thumbnails(page), m_concurrency(most) {
    m_note = [this](DiskRequest request, std::chrono::nanoseconds took) {
        const std::scoped_lock lock(m_mutex);
        m_concurrency.Note(request, took);
    };
}

void Crew::TurnTo(uint64_t number, UniqueFd folder) {
    const std::scoped_lock lock(m_mutex);
    m_folder = {.files = OpenPictureFolder(number, std::move(folder)), .names = {}, .work = 0};
    m_folder.names.emplace(m_folder.files->pictures);
    AddThreads();
    m_mayContinue.notify_all();
}

// A thread that can't be made is not missed.
void Crew::AddThreads() {
    const int wanted = std::max(m_concurrency.Allowed(), std::min(m_most, m_thumbnailsAtOnce));
    try {
        while (static_cast<int>(m_threads.size()) < wanted) {
            m_threads.emplace_back([this] { Work(); });
        }
    } catch (const std::system_error&) {
        m_most = static_cast<int>(m_threads.size());
    }
}

void Crew::Work() {
    while (true) {
        Do(AwaitJob());
        const std::scoped_lock lock(m_mutex);
        --m_working;
        m_page.isIdle.store(m_concurrency.IsIdle() && (m_page.work.load() & AHEAD_THUMBNAILS) == 0,
                            std::memory_order_relaxed);
        AddThreads();
        m_mayContinue.notify_one();
    }
}

int Crew::Allowed(uint32_t work) const {
    const int computing = (work & AHEAD_THUMBNAILS) != 0 ? m_thumbnailsAtOnce : 0;
    return std::min(m_most, std::max(m_concurrency.Allowed(), computing));
}

Crew::Job Crew::AwaitJob() {
    std::unique_lock lock(m_mutex);
    std::optional<Job> job = NextJob();
    while (!job) {
        if (m_isFarAhead && !m_isWatched) {
            m_isWatched = true;
            m_mayContinue.wait_for(lock, kWatchEvery);
            m_isWatched = false;
        } else {
            m_mayContinue.wait(lock);
        }
        job = NextJob();
    }
    NoteStart();
    return std::move(*job);
}

void Crew::NoteStart() {
    ++m_working;
    m_page.files.fetch_add(1, std::memory_order_relaxed);
    const auto working = static_cast<uint32_t>(m_working);
    m_page.concurrent.store(std::max(m_page.concurrent.load(), working));
    m_mayContinue.notify_one();
}

std::optional<Crew::Job> Crew::NextJob() {
    m_isFarAhead = false;
    const uint32_t work = m_page.work.load(std::memory_order_relaxed);
    if (!m_folder.files || m_working >= Allowed(work) ||
        m_page.folder.load(std::memory_order_acquire) != m_folder.files->number) {
        return std::nullopt;
    }
    std::optional<NamedFile> file = NextFile(work);
    if (!file) {
        m_isFarAhead = true;
        return std::nullopt;
    }
    return Job{m_folder.files, std::move(*file), work};
}

// Begins again at the tool's position when more has to be done for each file than before.
std::optional<NamedFile> Crew::NextFile(uint32_t work) {
    const bool makesThumbnails = (work & AHEAD_THUMBNAILS) != 0;
    if ((work & ~m_folder.work) != 0) {
        m_folder.files = Reopen(*m_folder.files);
        m_folder.names.emplace(m_folder.files->pictures);
    }
    if (makesThumbnails && !m_folder.files->thumbnails.IsOpen()) {
        return std::nullopt; // the tool has not made the folder for thumbnails yet
    }
    m_folder.work |= work;
    const uint64_t position = m_page.position.load(std::memory_order_acquire);
    const uint64_t lead = makesThumbnails ? kMaxThumbnailsAhead : kMaxLead;
    if (!m_folder.names || m_folder.names->NextIndex() >= position + lead) {
        return std::nullopt;
    }
    std::optional<NamedFile> file = m_folder.names->Next(position);
    if (!file) {
        m_folder.names.reset();
    }
    return file;
}

void Crew::Do(const Job& job) {
    const UniqueFd& folder = job.folder->pictures;
    if ((job.work & AHEAD_THUMBNAILS) != 0) {
        m_thumbnails.Make(job.folder, job.file, m_note);
        return;
    }
    const bool isFile = PrepareStatus(folder, job.file, m_note);
    if (isFile && (job.work & AHEAD_HEADERS) != 0) {
        PrepareHeaders(folder, job.file, m_note);
    }
}

} // namespace recorder
