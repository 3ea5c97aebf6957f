// The folders of a part's files, one of which is open at a time.

#pragma once

#include "recorder/support/uniquefd.h"

#include <optional>
#include <string>
#include <vector>

namespace recorder {

class PartFolder {
public:
    // `root` is the folder of the files or, for recordings, of their half-day folders.
    explicit PartFolder(std::string root) : m_root(std::move(root)) {}

    // Opens the half-day folder `name` unless it is open; an empty name is the root. Returns false
    // if it could not be determined whether the folder exists, and adds the reason to `problems`
    // when it is asked for the first time.
    [[nodiscard]] bool Enter(const std::string& name, std::vector<std::string>& problems);

    // The folder entered last; not open if it does not exist.
    [[nodiscard]] const UniqueFd& Folder() const { return m_folder; }
    [[nodiscard]] const std::string& Path() const { return m_path; }

private:
    std::string m_root;
    std::optional<std::string> m_name; // nothing: none was entered yet
    std::string m_path;
    UniqueFd m_folder;
    bool m_isUnknown = false;
};

} // namespace recorder
