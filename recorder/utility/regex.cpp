#include "platform/utility.h"
#include "recorder/logging/recorderlog.h"

#include <memory>
#include <unordered_map>

#include <re2/re2.h>

namespace recorder {

namespace {

RE2::Options ByteOptions() {
    RE2::Options options;
    options.set_encoding(RE2::Options::EncodingLatin1); // names are bytes
    options.set_dot_nl(true);
    options.set_log_errors(false);
    return options;
}

// Returns the compiled `pattern`. It is stored, because the indexers create an expression for every
// file.
const RE2& Compiled(const std::string& pattern) {
    static std::unordered_map<std::string, std::unique_ptr<const RE2>> store;
    std::unique_ptr<const RE2>& entry = store[pattern];
    if (!entry) {
        entry = std::make_unique<const RE2>(pattern, ByteOptions());
        if (!entry->ok()) {
            LogError("can't compile the regular expression \"" + pattern + "\": " + entry->error());
        }
    }
    return *entry;
}

} // namespace

} // namespace recorder

KRRegEx::KRRegEx(const std::string& pattern) : m_compiled(&recorder::Compiled(pattern)) {}

bool KRRegEx::IsMatch(const std::string& text) const {
    const RE2& compiled = *static_cast<const RE2*>(m_compiled);
    return compiled.ok() && RE2::PartialMatch(text, compiled);
}
