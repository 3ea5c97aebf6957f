// Other processes, for tests of what the recorder guarantees between processes.

#pragma once

#include <functional>
#include <string>

#include <sys/types.h>

namespace contract {

// Lets one process wait until another one opens the gate.
class Gate {
public:
    Gate();
    ~Gate();
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;
    Gate(Gate&&) = delete;
    Gate& operator=(Gate&&) = delete;

    void Open() const;

    // Waits until the gate is open. Returns false if all other processes that could open it have
    // ended. Only one process may call this.
    [[nodiscard]] bool Await();

private:
    int m_readEnd = -1;
    int m_writeEnd = -1;
};

// A forked process that runs `body` and exits with the status that `body` returns. The destructor
// kills the process if it has not ended.
class Child {
public:
    explicit Child(const std::function<int()>& body);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    Child(Child&&) = delete;
    Child& operator=(Child&&) = delete;

    [[nodiscard]] pid_t Pid() const { return m_pid; }

    // Waits for the process and returns its exit status; -1 if a signal ended it.
    int Wait();

    void Kill();

    // Returns when the process sleeps or has ended.
    void AwaitSleep() const;

private:
    pid_t m_pid = -1;
};

// A function that runs in a new process of this program, which has not read the recorder's settings
// or files yet. The new process finds the function by its name, so a Probe must be constructed
// before main.
class Probe {
public:
    Probe(const char* name, std::string (*body)()) noexcept;

    // Runs the body in a new process and returns the body's text; "died" if the process failed.
    [[nodiscard]] std::string Run() const;

private:
    const char* m_name;
};

// Runs a probe's body in the process that was started for it, and returns the exit status.
int RunProbe(const std::string& name);

// Limits the files that this process writes to ten bytes. Writing more kills the process, or fails
// if it ignores SIGXFSZ.
void LimitFileSize();

// The standard output of a command line. Throws if the command fails.
std::string OutputOf(const std::string& commandLine);

} // namespace contract
