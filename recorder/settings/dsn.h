// The form of the setting database.dsn.

#pragma once

#include <string>
#include <string_view>

namespace recorder {

constexpr const char* kExpectedDsn =
    "postgresql://USER@HOST:PORT/DATABASE?OPTION=VALUE with special characters as %XX; a password "
    "belongs into the file that password_file names";

// Whether libpq reads the text as it was meant. It takes part of a password with a "/" for a port
// and the rest for a database, and quotes both in its messages. A text that holds a password or
// that names files which may hold one (passfile, service) is not sound.
[[nodiscard]] bool IsSoundDsn(const std::string& dsn);

// Whether nobody may write this option of libpq in a dsn.
[[nodiscard]] bool IsOptionOfSecret(std::string_view name);

} // namespace recorder
