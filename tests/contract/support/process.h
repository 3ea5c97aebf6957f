// Other processes: what holds between them is half of what the recorder promises.

#pragma once

#include <functional>
#include <string>

#include <sys/types.h>

namespace contract {

// A place where one process waits until another has come so far.
class Gate {
public:
    Gate();
    ~Gate();
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;
    Gate(Gate&&) = delete;
    Gate& operator=(Gate&&) = delete;

    void Open() const;

    // False when every other process that could open it is gone. Call it in one process only.
    [[nodiscard]] bool Await();

private:
    int m_readEnd = -1;
    int m_writeEnd = -1;
};

// A forked process that runs `body` and exits with what it returns. It is killed, if it is still
// there, when the object goes.
class Child {
public:
    explicit Child(const std::function<int()>& body);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    Child(Child&&) = delete;
    Child& operator=(Child&&) = delete;

    [[nodiscard]] pid_t Pid() const { return m_pid; }

    // Its exit status; -1 when a signal ended it.
    int Wait();

    void Kill();

    // Returns when it sleeps, waiting for something, or has ended.
    void AwaitSleep() const;

private:
    pid_t m_pid = -1;
};

// Something that a process does which has read nothing of the recorder yet. It is found by its name
// in a new process of this program, so it must be constructed before main.
class Probe {
public:
    // `body` returns the text that Run yields.
    Probe(const char* name, std::string (*body)()) noexcept;

    // Runs the body in a new process and returns its text; "died" when it came to no end.
    [[nodiscard]] std::string Run() const;

private:
    const char* m_name;
};

// What a process that was started to run a probe does in place of the tests; its exit status.
int RunProbe(const std::string& name);

// The output of a command line, or an exception when it fails.
std::string OutputOf(const std::string& commandLine);

} // namespace contract
