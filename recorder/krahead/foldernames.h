// The names of the regular files in a folder, in the order in which the tool reaches them.

#pragma once

#include "recorder/support/uniquefd.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <dirent.h>

namespace recorder {

struct NamedFile {
    uint64_t index = 0; // 0 for the first one
    std::string name;
};

class FolderNames {
public:
    // Begins a listing of its own. If the folder can't be listed, it has no names.
    explicit FolderNames(const UniqueFd& folder);

    // Returns the next file whose index is at least `from`; nothing at the end.
    [[nodiscard]] std::optional<NamedFile> Next(uint64_t from);

    // The index of the file that would be next.
    [[nodiscard]] uint64_t NextIndex() const { return m_next; }

private:
    struct Close {
        void operator()(DIR* dir) const { closedir(dir); }
    };

    std::unique_ptr<DIR, Close> m_dir;
    uint64_t m_next = 0;
};

} // namespace recorder
