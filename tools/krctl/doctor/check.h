// What krctl doctor says of one thing that it looked at.

#pragma once

#include <string>
#include <vector>

enum class Health {
    Ok,
    Warning, // it works, and may go wrong
    Problem, // it doesn't work, or costs rows
};

struct Check {
    Health health = Health::Ok;
    std::string subject; // one word
    std::string message;
    std::string remedy; // the command, or what else to do; may be empty
};

using Checks = std::vector<Check>;

[[nodiscard]] Check Ok(const std::string& subject, const std::string& message);
[[nodiscard]] Check Warning(const std::string& subject, const std::string& message,
                            const std::string& remedy);
[[nodiscard]] Check Problem(const std::string& subject, const std::string& message,
                            const std::string& remedy);

// A word of a command that can be pasted into a shell.
[[nodiscard]] std::string ShellWord(const std::string& text);

// The user's name, or number where it has none.
[[nodiscard]] std::string UserName(unsigned int user);

// Whether this process may do all of `access` (R_OK, W_OK, X_OK) with what is at `path`.
[[nodiscard]] bool MayUse(const std::string& path, int access);
