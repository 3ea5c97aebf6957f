#include "recorder/support/program.h"

#include "recorder/support/error.h"
#include "recorder/support/presence.h"
#include "recorder/support/uninterrupted.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace recorder {

namespace {

sigset_t SignalSet(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    return set;
}

} // namespace

// Does not use std::filesystem, which fails when a signal interrupts it.
std::filesystem::path ProgramFolder() {
    std::array<char, PATH_MAX> path{};
    const ssize_t length =
        Uninterrupted([&] { return readlink("/proc/self/exe", path.data(), path.size()); });
    if (length < 0) {
        throw SystemError("read /proc/self/exe");
    }
    return std::filesystem::path(path.data(), path.data() + length).parent_path();
}

std::string ProgramPath(const std::string& name) {
    const std::filesystem::path folder = ProgramFolder();
    const std::filesystem::path beside = folder / name;
    const std::filesystem::path installed = folder.parent_path() / "libexec/kestora" / name;
    for (const std::filesystem::path& place : {beside, installed}) {
        if (FilePresence(place) == Presence::Yes) {
            return place;
        }
    }
    throw Error("the program " + name + " is missing; expected " + beside.string() + " or " +
                installed.string());
}

ProgramStart::ProgramStart() {
    posix_spawn_file_actions_init(&m_actions);
    posix_spawnattr_init(&m_attributes);
    const sigset_t blocked = SignalSet({});
    posix_spawnattr_setsigmask(&m_attributes, &blocked);
    const sigset_t usual = SignalSet({SIGINT, SIGTERM}); // SIGHUP keeps what nohup has set
    posix_spawnattr_setsigdefault(&m_attributes, &usual);
    posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

ProgramStart::~ProgramStart() {
    posix_spawn_file_actions_destroy(&m_actions);
    posix_spawnattr_destroy(&m_attributes);
}

ProgramStart& ProgramStart::Input(int fd) {
    posix_spawn_file_actions_adddup2(&m_actions, fd, STDIN_FILENO);
    return *this;
}

ProgramStart& ProgramStart::Output(int fd) {
    posix_spawn_file_actions_adddup2(&m_actions, fd, STDOUT_FILENO);
    return *this;
}

ProgramStart& ProgramStart::WithoutOutput() {
    posix_spawn_file_actions_addopen(&m_actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&m_actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    return *this;
}

ProgramStart& ProgramStart::WithoutEndingSignals() {
    const sigset_t blocked = SignalSet({SIGHUP, SIGINT, SIGQUIT, SIGTERM});
    posix_spawnattr_setsigmask(&m_attributes, &blocked);
    return *this;
}

pid_t ProgramStart::Start(const std::string& path, const std::vector<std::string>& arguments) {
    // Some libraries open descriptors without O_CLOEXEC, for instance for the log.
    posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1);
    std::vector<std::string> texts{path};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);

    pid_t child = 0;
    errno = posix_spawn(&child, path.c_str(), &m_actions, &m_attributes, pointers.data(), environ);
    if (errno != 0) {
        throw SystemError("start " + path);
    }
    return child;
}

} // namespace recorder
