// Parts of the recorder that not every run needs, each with a family of libraries behind it: they
// lie in modules, which are loaded when they are first needed. A run that needs none of them starts
// in a tenth of the time.
//
// A module is of one build with the programs: it carries the version, and has one function.

#pragma once

#include <string>

namespace recorder {

constexpr const char* kMqttModule = "mqtt";
constexpr const char* kPostgresqlModule = "postgresql";
constexpr const char* kThumbnailsModule = "thumbnails";

// The function of the module `name` ("mqtt"), which is loaded now if it isn't yet and stays
// loaded. Throws Error: it isn't where it belongs, can't be loaded, or is of another version.
[[nodiscard]] void* ModuleEntry(const std::string& name);

template <typename Function> [[nodiscard]] Function* ModuleFunction(const std::string& name) {
    return reinterpret_cast<Function*>(ModuleEntry(name));
}

} // namespace recorder
