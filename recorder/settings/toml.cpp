// toml++ itself, compiled once, where its header is included.

#define TOML_IMPLEMENTATION
#include "recorder/settings/section.h"
