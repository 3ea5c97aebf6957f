// A program that krctl started and waits for. Ctrl-C, or a signal that ends krctl, asks it to stop
// and is waited for all the same.

#pragma once

#include "recorder/support/uniquefd.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

class ChildProcess {
public:
    // Throws Error when it can't be started. From now on SIGINT and SIGTERM are for the child.
    ChildProcess(const std::string& path, const std::vector<std::string>& arguments);

    [[nodiscard]] pid_t Id() const { return m_id; }

    // Whether it has ended, waiting for that as long. Throws Error.
    bool EndsWithin(std::chrono::milliseconds time);

    // Its exit status once it has ended; nothing where a signal killed it.
    [[nodiscard]] std::optional<int> Status() const { return m_status; }

    // Whether it was asked to stop, and that is how it ended.
    [[nodiscard]] bool WasStopped() const { return m_wasAsked && !m_status; }

private:
    void PassOnSignal();

    recorder::UniqueFd m_signals; // those that krctl would be ended by
    pid_t m_id = 0;
    recorder::UniqueFd m_process;
    bool m_wasAsked = false;
    std::optional<int> m_status;
};
