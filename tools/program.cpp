#include "tools/program.h"

#include "recorder/support/error.h"
#include "recorder/utility/presence.h"

#include <cerrno>
#include <csignal>
#include <filesystem>

#include <spawn.h>
#include <unistd.h>

using recorder::Error;
using recorder::SystemError;

namespace {

// What posix_spawn needs, freed in any case.
class SpawnPlan {
public:
    SpawnPlan() {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawnattr_init(&m_attributes);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&m_attributes, &signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        posix_spawnattr_setsigdefault(&m_attributes, &signals);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&m_actions);
        posix_spawnattr_destroy(&m_attributes);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
    SpawnPlan(SpawnPlan&&) = delete;
    SpawnPlan& operator=(SpawnPlan&&) = delete;

    void WriteTo(int outFd) { posix_spawn_file_actions_adddup2(&m_actions, outFd, STDOUT_FILENO); }

    [[nodiscard]] const posix_spawn_file_actions_t* Actions() const { return &m_actions; }
    [[nodiscard]] const posix_spawnattr_t* Attributes() const { return &m_attributes; }

private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

} // namespace

std::string ProgramPath(const std::string& name) {
    const std::filesystem::path folder =
        std::filesystem::read_symlink("/proc/self/exe").parent_path();
    for (const std::filesystem::path& place :
         {folder / name, folder.parent_path() / "libexec/kestora" / name}) {
        if (recorder::FilePresence(place) == recorder::Presence::Yes) {
            return place;
        }
    }
    throw Error("the program " + name + " is not beside krctl in " + folder.string());
}

pid_t StartProgram(const std::string& path, const std::vector<std::string>& arguments, int outFd) {
    std::vector<std::string> texts{path};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);

    SpawnPlan plan;
    if (outFd >= 0) {
        plan.WriteTo(outFd);
    }
    pid_t child = 0;
    errno = posix_spawn(&child, path.c_str(), plan.Actions(), plan.Attributes(), pointers.data(),
                        environ);
    if (errno != 0) {
        throw SystemError("start " + path);
    }
    return child;
}
