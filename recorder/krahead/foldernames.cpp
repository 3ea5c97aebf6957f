#include "recorder/krahead/foldernames.h"

#include "recorder/support/uninterrupted.h"

#include <fcntl.h>

namespace recorder {

FolderNames::FolderNames(const UniqueFd& folder) {
    UniqueFd list(Uninterrupted(
        [&] { return openat(folder.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (list.IsOpen()) {
        m_dir.reset(fdopendir(list.Get()));
        if (m_dir) {
            (void)list.Release();
        }
    }
}

std::optional<NamedFile> FolderNames::Next(uint64_t from) {
    while (const struct dirent64* const entry = m_dir ? readdir64(m_dir.get()) : nullptr) {
        if (entry->d_type != DT_REG) {
            continue;
        }
        if (m_next++ >= from) {
            return NamedFile{.index = m_next - 1, .name = entry->d_name};
        }
    }
    m_dir.reset();
    return std::nullopt;
}

} // namespace recorder
