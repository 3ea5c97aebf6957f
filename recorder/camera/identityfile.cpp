#include "recorder/camera/identityfile.h"

#include "recorder/support/error.h"
#include "recorder/support/presence.h"
#include "recorder/support/textfile.h"
#include "recorder/support/uninterrupted.h"

#include <sys/stat.h>

namespace recorder {

namespace {

void RequireRegularFile(const UniqueFd& file, const std::string& path) {
    struct stat64 st = {};
    if (Uninterrupted([&] { return fstat64(file.Get(), &st); }) != 0) {
        throw SystemError("examine the file " + path);
    }
    if (!S_ISREG(st.st_mode)) {
        throw Error("can't read the file " + path + ": " +
                    (S_ISDIR(st.st_mode) ? "it is a directory" : "expected a regular file"));
    }
}

} // namespace

std::optional<std::string> ReadIdentityFile(const std::string& path, std::size_t maxBytes) {
    const UniqueFd file = OpenTextFileIfThere(path, Links::Refuse);
    if (!file.IsOpen()) {
        if (ExistingPart(path) == path) {
            throw Error("can't open the file " + path + ": it was created just now");
        }
        return std::nullopt;
    }
    RequireRegularFile(file, path);
    return ReadText(file, path, maxBytes);
}

} // namespace recorder
