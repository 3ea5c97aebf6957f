// krahead, as the recorder sees it: a helper process that works ahead of the tool.

#pragma once

#include "recorder/ahead/aheadpage.h"
#include "recorder/support/helperprocess.h"

#include <memory>
#include <string>

namespace recorder {

class AheadProcess {
public:
    // Starts krahead, which prepares at most so many files at the same time. Throws Error.
    explicit AheadProcess(int maxConcurrent);

    // Asks krahead to end, and kills it if it doesn't.
    ~AheadProcess();
    AheadProcess(const AheadProcess&) = delete;
    AheadProcess& operator=(const AheadProcess&) = delete;
    AheadProcess(AheadProcess&&) = delete;
    AheadProcess& operator=(AheadProcess&&) = delete;

    // Lets krahead work in this open folder, whose files the tool reaches from now on. Returns
    // false if krahead has ended or doesn't respond.
    [[nodiscard]] bool TurnTo(int folder);

    // The tool has left the folder.
    void LeaveFolder() noexcept;

    [[nodiscard]] bool HasEnded();

    [[nodiscard]] AheadPage& Page() const { return *m_page; }

    // The slot of the thumbnail of this picture, the file that the tool reached last, if krahead
    // makes or made it; else null. The caller sets the state to Claimed or Refused. Waits while the
    // thumbnail is being made.
    [[nodiscard]] AheadThumbnail* ClaimThumbnail(const std::string& name);

private:
    struct Unmap {
        void operator()(AheadPage* page) const;
    };

    bool AwaitThumbnail(AheadThumbnail& thumbnail);

    std::unique_ptr<AheadPage, Unmap> m_page;
    HelperProcess m_process;
    uint64_t m_folders = 0;
};

} // namespace recorder
