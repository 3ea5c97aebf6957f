// The identity of a recorder: a UUID in database instance 0. Copies of its databases carry it.

#pragma once

#include "recorder/database/database.h"

#include <string>

namespace recorder {

// Gives the recorder an identity unless it has one. Throws Error.
void CreateRecorderId(Database& system);

// Throws Error if there is none. The second form asks the recorder's own database.
[[nodiscard]] std::string RecorderId(Database& system);
[[nodiscard]] std::string RecorderId();

} // namespace recorder
