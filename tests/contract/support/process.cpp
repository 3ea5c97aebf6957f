#include "tests/contract/support/process.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace contract {

namespace {

constexpr int kBodyThrew = 111;
constexpr int kResultFd = 9;
constexpr useconds_t kPollUs = 1000;

std::map<std::string, std::string (*)()>& Probes() {
    static std::map<std::string, std::string (*)()> probes;
    return probes;
}

std::string ReadToEnd(int fd) {
    std::string text;
    std::array<char, 4096> chunk{};
    ssize_t length = 0;
    while ((length = read(fd, chunk.data(), chunk.size())) > 0) {
        text.append(chunk.data(), static_cast<std::size_t>(length));
    }
    return text;
}

int StatusOf(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

Gate::Gate() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe");
    }
    m_readEnd = ends[0];
    m_writeEnd = ends[1];
}

Gate::~Gate() {
    close(m_readEnd);
    close(m_writeEnd);
}

void Gate::Open() const {
    const char word = '!';
    if (write(m_writeEnd, &word, 1) != 1) {
        throw std::runtime_error("write to a gate");
    }
}

bool Gate::Await() {
    close(m_writeEnd);
    m_writeEnd = -1;
    char word = 0;
    return read(m_readEnd, &word, 1) == 1;
}

Child::Child(const std::function<int()>& body) {
    std::fflush(nullptr);
    m_pid = fork();
    if (m_pid == 0) {
        try {
            _exit(body());
        } catch (...) {
            _exit(kBodyThrew);
        }
    }
}

Child::~Child() {
    Kill();
}

int Child::Wait() {
    const int status = StatusOf(m_pid);
    m_pid = -1;
    return status;
}

void Child::Kill() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        Wait();
    }
}

void Child::AwaitSleep() const {
    for (;;) {
        std::ifstream file("/proc/" + std::to_string(m_pid) + "/stat");
        const std::string stat{std::istreambuf_iterator<char>(file), {}};
        const std::size_t state = stat.rfind(") ");
        if (state == std::string::npos || stat[state + 2] == 'S' || stat[state + 2] == 'Z') {
            return;
        }
        usleep(kPollUs);
    }
}

Probe::Probe(const char* name, std::string (*body)()) noexcept : m_name(name) {
    Probes().emplace(m_name, body);
}

std::string Probe::Run() const {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe");
    }
    const pid_t pid = fork();
    if (pid == 0) {
        // If the pipe's end already has this number, dup2 would not clear its close-on-exec flag.
        if (ends[1] == kResultFd ? fcntl(kResultFd, F_SETFD, 0) != 0
                                 : dup2(ends[1], kResultFd) < 0) {
            _exit(kBodyThrew);
        }
        execl("/proc/self/exe", "probe", "--probe", m_name, nullptr);
        _exit(kBodyThrew);
    }
    close(ends[1]);
    const std::string text = ReadToEnd(ends[0]);
    close(ends[0]);
    return StatusOf(pid) == 0 ? text : "died";
}

int RunProbe(const std::string& name) {
    const std::string text = Probes().at(name)();
    const ssize_t written = write(kResultFd, text.data(), text.size());
    return written == static_cast<ssize_t>(text.size()) ? 0 : 1;
}

void LimitFileSize() {
    const rlimit tenBytes{10, 10};
    if (setrlimit(RLIMIT_FSIZE, &tenBytes) != 0) {
        throw std::runtime_error("setrlimit");
    }
}

std::string OutputOf(const std::string& commandLine) {
    FILE* const pipe = popen(commandLine.c_str(), "re");
    if (pipe == nullptr) {
        throw std::runtime_error("can't run " + commandLine);
    }
    std::string output = ReadToEnd(fileno(pipe));
    if (pclose(pipe) != 0) {
        throw std::runtime_error("failed: " + commandLine);
    }
    return output;
}

} // namespace contract
