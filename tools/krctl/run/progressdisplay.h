// How a run gets on, while somebody waits for it: one line that changes on a terminal, a line for
// each part elsewhere.

#pragma once

#include "tools/common/texts.h"
#include "tools/krctl/run/liveview.h"

#include <string>

class ProgressDisplay {
public:
    // Shows nothing unless it `isWanted`.
    explicit ProgressDisplay(bool isWanted);

    void Show(const LiveView& view);

    // Takes the line that changes away.
    void End();

private:
    bool m_isWanted;
    bool m_isTerminal;
    CameraNames m_names;
    std::string m_part; // that was told of last
};
