#include "platform/utility.h"

#include "platform/logging.h"
#include "tests/fakes/call.h"
#include "tests/fakes/format.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>
#include <vector>

#include <regex.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

// Logs a failure like a recorder does.
void LogFailure(const char* func, const std::string& text) {
    KRPrintf(LOG_TYPE_DEFAULT, Enum2String(LOG_CATEG_RECORDER), Enum2String(LOG_LEVEL_ERROR),
             "utility", __LINE__, func, "%s\n", text.c_str());
}

// A compiled pattern. Matches nothing if the pattern is invalid.
class Pattern {
public:
    explicit Pattern(const std::string& text)
        : m_valid(regcomp(&m_regex, text.c_str(), REG_EXTENDED | REG_NOSUB) == 0) {
        if (!m_valid) {
            LogFailure("KRRegEx", "Invalid pattern [" + text + "].");
        }
    }
    ~Pattern() {
        if (m_valid) {
            regfree(&m_regex);
        }
    }
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;
    Pattern(Pattern&&) = delete;
    Pattern& operator=(Pattern&&) = delete;

    [[nodiscard]] bool IsMatch(const std::string& text) const {
        regmatch_t range{0, static_cast<regoff_t>(text.size())};
        return m_valid && regexec(&m_regex, text.c_str(), 1, &range, REG_STARTEND) == 0;
    }

private:
    regex_t m_regex{};
    bool m_valid;
};

const Pattern& CompiledPattern(const std::string& text) {
    static std::map<std::string, std::unique_ptr<Pattern>> store;
    auto& pattern = store[text];
    if (!pattern) {
        pattern = std::make_unique<Pattern>(text);
    }
    return *pattern;
}

// True if the entry's kind, or that it does not exist, could be determined.
bool IsKnown(const fs::file_status& status, const std::error_code& error) {
    return status.type() != fs::file_type::none || error == std::errc::no_such_file_or_directory ||
           error == std::errc::not_a_directory;
}

// Appends the matching sub-folders, sorted. Returns false if a folder can't be read to its end.
bool ListDirs(const fs::path& dir, const fs::path& shown, bool recursive, const Pattern* pattern,
              std::vector<std::string>& found) {
    std::error_code error;
    std::vector<std::string> names;
    fs::directory_iterator it(dir, error);
    for (; !error && it != fs::directory_iterator(); it.increment(error)) {
        if (it->symlink_status().type() == fs::file_type::directory) {
            names.push_back(it->path().filename());
        }
    }
    if (error) {
        if (error != std::errc::no_such_file_or_directory) {
            LogFailure("GetDirsInDir",
                       "Failed to list [" + dir.string() + "]: " + error.message() + ".");
        }
        return false;
    }
    std::sort(names.begin(), names.end());
    return std::all_of(names.begin(), names.end(), [&](const std::string& name) {
        if (pattern == nullptr || pattern->IsMatch(name)) {
            found.push_back(shown / name);
        }
        return !recursive || ListDirs(dir / name, shown.empty() ? shown : shown / name, recursive,
                                      pattern, found);
    });
}

} // namespace

std::string GetBaseName(const std::string& path) {
    fakes::RecordDetail("GetBaseName", path);
    return path.substr(path.rfind('/') + 1); // npos + 1 is 0: no folder
}

std::string GetDirPath(const std::string& path) {
    fakes::RecordDetail("GetDirPath", path);
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) {
        return "";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool IsExistDir(const std::string& path) {
    fakes::RecordCall("IsExistDir", path);
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    return fs::is_directory(status) || !IsKnown(status, error);
}

bool IsFileExist(const std::string& path) {
    fakes::RecordCall("IsFileExist", path);
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    return fs::is_regular_file(status) || !IsKnown(status, error);
}

bool IsDirEmpty(const std::string& path) {
    fakes::RecordCall("IsDirEmpty", path);
    std::error_code error;
    const fs::directory_iterator first(path, error);
    return !error && first == fs::directory_iterator();
}

int GetDirsInDir(const std::string& dir, std::list<std::string>& out, bool fullPath, bool recursive,
                 // NOLINTNEXTLINE(performance-unnecessary-value-param): the contract passes a copy
                 std::string pattern) {
    const int failed = fakes::RecordCall("GetDirsInDir", dir, "list", fullPath, recursive, pattern);
    fakes::Platform().listsHandedOver.push_back(out);
    std::vector<std::string> found;
    const Pattern* compiled = pattern.empty() ? nullptr : &CompiledPattern(pattern);
    if (failed != 0) {
        return failed;
    }
    const auto& scripted = fakes::Platform().subFolders;
    if (const auto listing = scripted.find(dir); listing != scripted.end()) {
        out.insert(out.end(), listing->second.begin(), listing->second.end());
        return 0;
    }
    if (!ListDirs(dir, fullPath ? fs::path(dir) : fs::path(), recursive, compiled, found)) {
        return -1;
    }
    out.insert(out.end(), found.begin(), found.end());
    return 0;
}

int KRRm(const std::string& path) {
    const int failed = fakes::RecordCall("KRRm", path);
    return failed != 0 ? failed : rmdir(path.c_str());
}

KRRegEx::KRRegEx(const std::string& pattern) : m_compiled(&CompiledPattern(pattern)) {
    fakes::RecordDetail("KRRegEx", pattern);
}

bool KRRegEx::IsMatch(const std::string& text) const {
    fakes::RecordDetail("KRRegEx::IsMatch", text);
    return static_cast<const Pattern*>(m_compiled)->IsMatch(text);
}

std::string StringPrintf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = fakes::Format(format, args);
    va_end(args);
    fakes::RecordDetail("StringPrintf", std::string(format), text);
    return text;
}
