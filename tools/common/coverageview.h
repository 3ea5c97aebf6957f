// The presentation of what covers a time.

#pragma once

#include "recorder/coverage/coverage.h"

// "recorded", "not indexed", "removed from disk"
[[nodiscard]] const char* TextOf(recorder::Coverage coverage);
