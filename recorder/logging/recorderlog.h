// The recorder's own log lines, category "recorder". They are few and each tells of something that
// an operator has to know, so no configuration suppresses them.

#pragma once

#include "recorder/logging/sourceplace.h"

#include <string>

namespace recorder {

// Something failed.
void LogError(const std::string& message, const SourcePlace& where = SourcePlace::Here());

// Something was refused or passed over, and the work went on.
void LogWarning(const std::string& message, const SourcePlace& where = SourcePlace::Here());

// Nothing is wrong, and an operator may look for it.
void LogNotice(const std::string& message, const SourcePlace& where = SourcePlace::Here());

} // namespace recorder
