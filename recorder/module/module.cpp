#include "recorder/module/module.h"

#include "recorder/support/error.h"
#include "recorder/support/program.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <dlfcn.h>
#include <unistd.h>

namespace recorder {

namespace {

// The path is relative to the running program, which is in /usr/sbin, /usr/libexec/kestora or a
// build folder. The loader's own search is not used, because the environment can redirect it.
std::string ModulePath(const std::string& name) {
    const std::filesystem::path folder = ProgramFolder();
    const std::string file = "lib/kestora/kestora-" + name + ".so";
    const std::array places{folder.parent_path() / file, folder.parent_path().parent_path() / file};
    for (const std::filesystem::path& place : places) {
        if (access(place.c_str(), F_OK) == 0) {
            return place;
        }
    }
    throw Error("the recorder's module " + name + " is missing; expected " + places[0].string());
}

// The loader does not repeat a call that a signal interrupted, and reports the error only as text.
bool WasInterrupted(std::string_view error) {
    return error.ends_with(std::generic_category().message(EINTR));
}

void* Load(const std::string& path) {
    while (true) {
        void* const module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        if (module != nullptr) {
            return module;
        }
        const std::string error = dlerror();
        if (!WasInterrupted(error)) {
            throw Error("can't load the recorder's module: " + error);
        }
    }
}

void* Symbol(void* module, const std::string& path, const char* symbol) {
    void* const address = dlsym(module, symbol);
    if (address == nullptr) {
        throw Error("can't use the recorder's module " + path + ": it has no " + symbol);
    }
    return address;
}

void RequireVersion(const char* version, const std::string& path) {
    if (std::string_view(version) != KESTORA_VERSION) {
        throw Error("can't use the recorder's module " + path + ": it has version " + version +
                    "; expected " + KESTORA_VERSION);
    }
}

} // namespace

void* ModuleEntry(const std::string& name) {
    const std::string path = ModulePath(name);
    void* const module = Load(path);
    RequireVersion(static_cast<const char*>(Symbol(module, path, "kestoraModuleVersion")), path);
    return Symbol(module, path, "KestoraModuleEntry");
}

} // namespace recorder
