// Compares rows of recordings with the headers of their files.

#pragma once

#include "recorder/check/namecheck.h"
#include "recorder/container/container.h"
#include "recorder/container/librarycontainer.h"

#include <string>

namespace recorder {

// The types that ContainerCheck finds.
[[nodiscard]] const std::vector<FindingType>& ContainerFindings();

// Returns true for the kinds whose files are containers.
[[nodiscard]] bool HasContainers(const MediaTable& table);

// Reads the headers of a recording with the readers that a run uses. Throws HelperFailure if
// krcontainers failed, Error if the recording can't be read.
[[nodiscard]] ContainerInfo ReadHeaders(const std::string& path);

// Returns true if the file at `path` is the one whose status was `before`, unchanged.
[[nodiscard]] bool IsSameFile(const std::string& path, const struct stat64& before);

// Reads the headers of files with the readers that a run uses. If it could not be determined
// whether a file can be read, because the user may not open it or krcontainers failed, that is a
// problem and not a difference.
class ContainerCheck {
public:
    ContainerCheck(const CheckedPart& part, const std::function<void(const Difference&)>& found)
        : m_part(part), m_found(found) {}

    // Checks the file at `path`, whose status was `status`.
    void Check(const MediaRow& row, const std::string& path, const struct stat64& status);

    [[nodiscard]] const std::vector<std::string>& Problems() const { return m_problems; }
    // The paths in the rows of files that changed while they were read.
    [[nodiscard]] const std::vector<std::string>& BeingWritten() const { return m_beingWritten; }

private:
    void Report(const Difference& difference, const std::string& path, const struct stat64& status);

    const CheckedPart& m_part;
    const std::function<void(const Difference&)>& m_found;
    std::vector<std::string> m_problems;
    std::vector<std::string> m_beingWritten;
};

} // namespace recorder
