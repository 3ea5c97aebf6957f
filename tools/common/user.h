// Users, and commands for people to run.

#pragma once

#include <string>

#include <sys/types.h>

// Returns the user's name, or "#" and the number if the user has no name.
[[nodiscard]] std::string UserName(uid_t user);

// Quotes the text, if necessary, as one argument of a shell command.
[[nodiscard]] std::string ShellQuoted(const std::string& text);

// Returns the command that root enters to run `command` as another user.
[[nodiscard]] std::string AsUser(uid_t user, const std::string& command);

// Returns true for root, also in a user namespace in which root has another number. It is then
// recognised by the owner of "/".
[[nodiscard]] bool IsRoot(uid_t user);
