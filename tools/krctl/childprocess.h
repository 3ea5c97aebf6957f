// A program that krctl starts and waits for. SIGINT (Ctrl-C) and SIGTERM ask the program to stop;
// krctl still waits for its end.

#pragma once

#include "recorder/support/uniquefd.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

class ChildProcess {
public:
    // Starts the program. From then on, SIGINT and SIGTERM are passed on to it. Throws Error if it
    // can't be started.
    ChildProcess(const std::string& path, const std::vector<std::string>& arguments);

    [[nodiscard]] pid_t Id() const { return m_id; }

    // Returns true if the program ends within that time. Throws Error if it can't be watched.
    bool EndsWithin(std::chrono::milliseconds time);

    // The exit status of the ended program; empty if a signal killed it.
    [[nodiscard]] std::optional<int> Status() const { return m_status; }

    // Returns true if the program was asked to stop, and a signal ended it.
    [[nodiscard]] bool WasStopped() const { return m_wasAskedToStop && !m_status; }

private:
    void PassOnSignal();

    recorder::UniqueFd m_signals; // receives SIGINT and SIGTERM
    pid_t m_id = 0;
    recorder::UniqueFd m_process;
    bool m_wasAskedToStop = false;
    std::optional<int> m_status;
};
