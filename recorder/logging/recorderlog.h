// The recorder's own log lines, category "recorder". They are few and each tells of something that
// an operator has to know, so no configuration suppresses them.

#pragma once

#include <source_location>
#include <string>

namespace recorder {

// Something failed.
void LogError(const std::string& message,
              const std::source_location& where = std::source_location::current());

// Something was refused or passed over, and the work went on.
void LogWarning(const std::string& message,
                const std::source_location& where = std::source_location::current());

} // namespace recorder
