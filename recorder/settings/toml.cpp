// toml++ itself, compiled once.

#define TOML_IMPLEMENTATION
#include <toml++/toml.h>
