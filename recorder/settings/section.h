// A section of the settings file, whose keys are read one by one. For a value without the expected
// type and range, the problem is noted with its place in the file, and the default is returned.

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

// The problems found in a settings file, in the order in which its keys are read.
struct SettingsProblems {
    struct Problem {
        std::size_t line = 0;
        std::string text; // "FILE:LINE: KEY: expected ..."
    };

    std::string fileName;
    std::vector<Problem> list;

    void Add(const toml::source_region& source, const std::string& text);
};

// The parsed text of a settings file. Its sections must not outlive it.
class SettingsDocument {
public:
    // A text that is not TOML is a problem; it has no sections then. `problems` must outlive this
    // object.
    SettingsDocument(std::string_view text, SettingsProblems& problems);
    ~SettingsDocument();
    SettingsDocument(const SettingsDocument&) = delete;
    SettingsDocument& operator=(const SettingsDocument&) = delete;
    SettingsDocument(SettingsDocument&&) = delete;
    SettingsDocument& operator=(SettingsDocument&&) = delete;

    [[nodiscard]] Section Root() const;

private:
    SettingsProblems& m_problems;
    std::unique_ptr<toml::table> m_root; // null if the text is not TOML
};

class Section {
public:
    // `table` is null if the file lacks the section; every key then has its default.
    Section(const toml::table* table, std::string name, SettingsProblems& problems);

    [[nodiscard]] bool Has(std::string_view key);

    [[nodiscard]] int64_t Integer(std::string_view key, int64_t byDefault, int64_t min,
                                  int64_t max);
    [[nodiscard]] int64_t RequiredInteger(std::string_view key, int64_t min, int64_t max);
    [[nodiscard]] std::size_t Size(std::string_view key, std::size_t byDefault, int64_t min,
                                   int64_t max);

    // Nothing if the value is `word`, the key is missing, or the value is a problem.
    [[nodiscard]] std::optional<int64_t>
    IntegerOrWord(std::string_view key, const std::string& word, int64_t min, int64_t max);

    [[nodiscard]] bool Flag(std::string_view key, bool byDefault);

    // A text that is not empty, contains no NUL and `fits`; otherwise a problem with `expected`.
    // Nothing if the key is missing, or the value is a problem.
    [[nodiscard]] std::optional<std::string> Text(std::string_view key, const std::string& expected,
                                                  bool (*fits)(const std::string&));

    // A path that begins with "/"; a trailing "/" is removed.
    [[nodiscard]] std::optional<std::string> AbsolutePath(std::string_view key);

    // A path, or an array of paths, each like that of AbsolutePath; empty if the key is missing.
    [[nodiscard]] std::vector<std::string> AbsolutePaths(std::string_view key);

    [[nodiscard]] Section Subsection(std::string_view key);

    // The sections of an array; empty if the key is missing.
    [[nodiscard]] std::vector<Section> Sections(std::string_view key);

    // Each key of the section that was not read is a problem.
    void RefuseOtherKeys() const;

private:
    [[nodiscard]] const toml::node* Find(std::string_view key);
    [[nodiscard]] std::string FullName(std::string_view key) const;
    void Refuse(const toml::node& node, std::string_view key, const std::string& expected) const;

    const toml::table* m_table;
    std::string m_name; // empty for the root
    SettingsProblems* m_problems;
    std::set<std::string, std::less<>> m_known;
};

} // namespace recorder
