#include "recorder/check/partfolder.h"

#include "recorder/support/openfolder.h"

#include <exception>

namespace recorder {

bool PartFolder::Enter(const std::string& name, std::vector<std::string>& problems) {
    if (m_name == name) {
        return !m_isUnknown;
    }
    m_name = name;
    m_isUnknown = false;
    m_path = name.empty() ? m_root : m_root + "/" + name;
    try {
        m_folder = OpenFolder(m_path, FolderUse::Enter);
    } catch (const std::exception& error) {
        m_isUnknown = true;
        problems.emplace_back(error.what());
    }
    return !m_isUnknown;
}

} // namespace recorder
