#include "recorder/krahead/preparation.h"

#include "recorder/container/container.h"
#include "recorder/support/bytesource.h"
#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <optional>

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

using Clock = std::chrono::steady_clock;

// A file whose reads are timed.
class TimedSource : public ByteSource {
public:
    TimedSource(FileSource& source, const NoteRequest& note) : m_source(source), m_note(note) {}

    [[nodiscard]] int64_t Size() const override { return m_source.Size(); }

    [[nodiscard]] std::size_t ReadAt(int64_t offset, std::span<uint8_t> buffer) override {
        const Clock::time_point start = Clock::now();
        const std::size_t length = m_source.ReadAt(offset, buffer);
        m_note(DiskRequest::Bytes, Clock::now() - start);
        return length;
    }

private:
    FileSource& m_source;
    const NoteRequest& m_note;
};

} // namespace

bool PrepareStatus(const UniqueFd& folder, const NamedFile& file, const NoteRequest& note) {
    struct stat64 st = {};
    const Clock::time_point start = Clock::now();
    const int failed = Uninterrupted(
        [&] { return fstatat64(folder.Get(), file.name.c_str(), &st, AT_SYMLINK_NOFOLLOW); });
    note(DiskRequest::Status, Clock::now() - start);
    return failed == 0 && S_ISREG(st.st_mode);
}

void PrepareHeaders(const UniqueFd& folder, const NamedFile& file, const NoteRequest& note) {
    const std::optional<ContainerKind> kind = ContainerKindOf(file.name);
    if (!kind) {
        return;
    }
    try {
        FileSource source(file.name, folder.Get());
        TimedSource timed(source, note);
        (void)ReadContainerHeader(timed, *kind);
    } catch (const Error&) {
        // The tool reports what it can't read itself.
    }
}

} // namespace recorder
