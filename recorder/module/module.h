// Modules: parts of the recorder that not every run needs, each of which depends on many libraries.
// They are loaded at their first use. A run that needs no module starts in a tenth of the time.
//
// A module belongs to one build: it contains the version, and exports one function.

#pragma once

#include <string>

namespace recorder {

constexpr const char* kMqttModule = "mqtt";
constexpr const char* kPostgresqlModule = "postgresql";
constexpr const char* kThumbnailsModule = "thumbnails";

// The function of the module `name`, such as "mqtt". Loads the module if necessary; it stays
// loaded. Throws Error if the module is missing, can't be loaded, or has another version.
[[nodiscard]] void* ModuleEntry(const std::string& name);

template <typename Function> [[nodiscard]] Function* ModuleFunction(const std::string& name) {
    return reinterpret_cast<Function*>(ModuleEntry(name));
}

} // namespace recorder
