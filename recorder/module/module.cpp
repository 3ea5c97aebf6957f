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

// Beside the programs, wherever they lie: /usr/sbin, /usr/libexec/kestora, a build's folder. Not by
// the loader's own search, which the caller's environment can lead elsewhere.
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

// The loader neither makes a call again that a signal broke off nor gives its code: it has words.
bool WasInterrupted(std::string_view complaint) {
    return complaint.ends_with(std::generic_category().message(EINTR));
}

void* Load(const std::string& path) {
    while (true) {
        void* const module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        if (module != nullptr) {
            return module;
        }
        const std::string complaint = dlerror();
        if (!WasInterrupted(complaint)) {
            throw Error("can't load the recorder's module: " + complaint);
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
        throw Error("can't use the recorder's module " + path + ": it is of version " + version +
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
