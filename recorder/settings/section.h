// A section of the settings file, whose keys are read one by one. Each value has the expected type
// and range; otherwise an Error names the place in the file.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <toml++/toml.h>

namespace recorder {

class Section;

// The parsed text of a settings file. Its sections must not outlive it.
class SettingsDocument {
public:
    // Throws Error when the text is not TOML.
    SettingsDocument(std::string_view text, std::string fileName);
    ~SettingsDocument();
    SettingsDocument(const SettingsDocument&) = delete;
    SettingsDocument& operator=(const SettingsDocument&) = delete;
    SettingsDocument(SettingsDocument&&) = delete;
    SettingsDocument& operator=(SettingsDocument&&) = delete;

    [[nodiscard]] Section Root() const;

private:
    std::string m_fileName;
    std::unique_ptr<toml::table> m_root;
};

class Section {
public:
    // `table` is null if the file lacks the section; every key then has its default.
    Section(const toml::table* table, std::string name, const std::string& fileName);

    [[nodiscard]] bool Has(std::string_view key);

    [[nodiscard]] int64_t Integer(std::string_view key, int64_t byDefault, int64_t min,
                                  int64_t max);
    [[nodiscard]] int64_t RequiredInteger(std::string_view key, int64_t min, int64_t max);
    [[nodiscard]] std::size_t Size(std::string_view key, std::size_t byDefault, int64_t min,
                                   int64_t max);

    [[nodiscard]] bool Flag(std::string_view key, bool byDefault);

    // A text that is not empty, contains no NUL and `fits`. Throws Error with `expected` otherwise.
    // Nothing if the key is missing.
    [[nodiscard]] std::optional<std::string> Text(std::string_view key, const std::string& expected,
                                                  bool (*fits)(const std::string&));

    // A path that begins with "/"; a trailing "/" is removed.
    [[nodiscard]] std::optional<std::string> AbsolutePath(std::string_view key);

    // A path, or an array of paths, each like that of AbsolutePath; empty if the key is missing.
    [[nodiscard]] std::vector<std::string> AbsolutePaths(std::string_view key);

    [[nodiscard]] Section Subsection(std::string_view key);

    // The sections of an array; empty if the key is missing.
    [[nodiscard]] std::vector<Section> Sections(std::string_view key);

    // Throws Error if the section has a key that was not read.
    void RefuseOtherKeys() const;

private:
    [[nodiscard]] const toml::node* Find(std::string_view key);
    [[nodiscard]] std::string FullName(std::string_view key) const;
    [[noreturn]] void Refuse(const toml::node& node, std::string_view key,
                             const std::string& expected) const;

    const toml::table* m_table;
    std::string m_name; // empty for the root
    std::string m_fileName;
    std::set<std::string, std::less<>> m_known;
};

} // namespace recorder
