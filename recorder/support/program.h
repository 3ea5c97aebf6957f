// The programs of this package that others of it start.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <spawn.h>
#include <sys/types.h>

namespace recorder {

// Where the running program lies. Throws Error.
[[nodiscard]] std::filesystem::path ProgramFolder();

// The path of another one: beside the running one, or where an installation keeps what people don't
// call (../libexec/kestora). Throws Error when it is in neither place.
[[nodiscard]] std::string ProgramPath(const std::string& name);

// How a program is started. Signals are as usual for it, whatever this one does with them, and of
// the descriptors of this one it gets the standard ones alone.
class ProgramStart {
public:
    ProgramStart();
    ~ProgramStart();
    ProgramStart(const ProgramStart&) = delete;
    ProgramStart& operator=(const ProgramStart&) = delete;
    ProgramStart(ProgramStart&&) = delete;
    ProgramStart& operator=(ProgramStart&&) = delete;

    // A descriptor of this program becomes standard input or output of that one.
    ProgramStart& Input(int fd);
    ProgramStart& Output(int fd);

    // It doesn't heed what asks a program to end: it has another way to learn when it is over.
    ProgramStart& WithoutEndingSignals();

    // Returns the program's process id. Throws Error.
    [[nodiscard]] pid_t Start(const std::string& path,
                              const std::vector<std::string>& arguments = {});

private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

} // namespace recorder
