// Starting other programs of this package.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <spawn.h>
#include <sys/types.h>

namespace recorder {

// The folder of the running program. Throws Error.
[[nodiscard]] std::filesystem::path ProgramFolder();

// The path of another program: in the folder of the running program, or in ../libexec/kestora,
// which has the programs that users don't call. Throws Error if it is in neither folder.
[[nodiscard]] std::string ProgramPath(const std::string& name);

// The start of a program. The program gets the default signal handling, and inherits only the
// standard descriptors.
class ProgramStart {
public:
    ProgramStart();
    ~ProgramStart();
    ProgramStart(const ProgramStart&) = delete;
    ProgramStart& operator=(const ProgramStart&) = delete;
    ProgramStart(ProgramStart&&) = delete;
    ProgramStart& operator=(ProgramStart&&) = delete;

    // Make a descriptor of this process the standard input or output of the program.
    ProgramStart& Input(int fd);
    ProgramStart& Output(int fd);

    // Discards what the program prints.
    ProgramStart& WithoutOutput();

    // Blocks the signals that ask a program to end. The caller ends the program in another way.
    ProgramStart& WithoutEndingSignals();

    // Returns the program's process id. Throws Error.
    [[nodiscard]] pid_t Start(const std::string& path,
                              const std::vector<std::string>& arguments = {});

private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

} // namespace recorder
