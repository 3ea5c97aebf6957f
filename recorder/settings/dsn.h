// The form of the setting database.dsn.

#pragma once

#include <string>
#include <string_view>

namespace recorder {

constexpr const char* kExpectedDsn =
    "postgresql://USER@HOST:PORT/DATABASE?OPTION=VALUE with special characters as %XX; a password "
    "belongs into the file that password_file names";

// Returns true if libpq reads the text as intended. libpq would treat a part of a password with a
// "/" as the port and the rest as the database, and quote both in its messages. A text with a
// password, or with the name of a file that may contain one (passfile, service), is not sound.
[[nodiscard]] bool IsSoundDsn(const std::string& dsn);

// Returns true if this option of libpq is not allowed in a dsn.
[[nodiscard]] bool IsOptionOfSecret(std::string_view name);

} // namespace recorder
