#include "tools/krctl/run/progressdisplay.h"

#include "tools/common/terminal.h"

#include <climits>
#include <cstdio>

#include <unistd.h>

namespace {

// Back to the beginning of the line, and nothing on it.
constexpr const char* kClearLine = "\r\x1b[K";

std::string PartOf(const recorder::LiveRun& live) {
    return live.kind + " " + std::to_string(live.camId);
}

} // namespace

ProgressDisplay::ProgressDisplay(bool isWanted)
    : m_isWanted(isWanted), m_isTerminal(IsTerminal(STDOUT_FILENO)),
      m_names(isWanted ? ReadCameraNames() : CameraNames()) {}

void ProgressDisplay::Show(const LiveView& view) {
    if (!m_isWanted) {
        return;
    }
    if (m_isTerminal) {
        const auto columns = static_cast<std::size_t>(TerminalColumns(STDOUT_FILENO) - 1);
        std::printf("%s%s", kClearLine, LiveLine(view, m_names, columns).c_str());
    } else if (view.live.kind.empty()) {
        return; // a camera is being loaded: which part it is isn't known yet
    } else if (const std::string part = PartOf(view.live); part != m_part) {
        m_part = part;
        std::puts(LiveLine(view, m_names, INT_MAX).c_str());
    }
    std::fflush(stdout);
}

void ProgressDisplay::End() {
    if (m_isWanted && m_isTerminal) {
        std::fputs(kClearLine, stdout);
        std::fflush(stdout);
    }
}
