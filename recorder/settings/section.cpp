// toml++ is compiled here, and declared where its header is included.
#define TOML_IMPLEMENTATION
#include "recorder/settings/section.h"

#include "recorder/support/folder.h"

namespace recorder {

void SettingsProblems::Add(const toml::source_region& source, const std::string& text) {
    const auto line = static_cast<std::size_t>(source.begin.line);
    list.push_back({line, fileName + ":" + std::to_string(line) + ": " + text});
}

SettingsDocument::SettingsDocument(std::string_view text, SettingsProblems& problems)
    : m_problems(problems) {
    try {
        m_root = std::make_unique<toml::table>(toml::parse(text));
    } catch (const toml::parse_error& error) {
        m_problems.Add(error.source(), std::string(error.description()));
    }
}

SettingsDocument::~SettingsDocument() = default;

Section SettingsDocument::Root() const {
    return {m_root.get(), "", m_problems};
}

Section::Section(const toml::table* table, std::string name, SettingsProblems& problems)
    : m_table(table), m_name(std::move(name)), m_problems(&problems) {}

bool Section::Has(std::string_view key) {
    return Find(key) != nullptr;
}

int64_t Section::Integer(std::string_view key, int64_t byDefault, int64_t min, int64_t max) {
    return Find(key) == nullptr ? byDefault : RequiredInteger(key, min, max);
}

int64_t Section::RequiredInteger(std::string_view key, int64_t min, int64_t max) {
    const std::string expected =
        "an integer from " + std::to_string(min) + " to " + std::to_string(max);
    const toml::node* const node = Find(key);
    if (node == nullptr) {
        Refuse(*m_table, key, expected + ", but it is missing");
        return min;
    }
    const std::optional<int64_t> value = node->value_exact<int64_t>();
    if (!value || *value < min || *value > max) {
        Refuse(*node, key, expected);
        return min;
    }
    return *value;
}

std::size_t Section::Size(std::string_view key, std::size_t byDefault, int64_t min, int64_t max) {
    return static_cast<std::size_t>(Integer(key, static_cast<int64_t>(byDefault), min, max));
}

std::optional<int64_t> Section::IntegerOrWord(std::string_view key, const std::string& word,
                                              int64_t min, int64_t max) {
    const toml::node* const node = Find(key);
    if (node == nullptr || node->value_exact<std::string>() == word) {
        return std::nullopt;
    }
    const std::optional<int64_t> value = node->value_exact<int64_t>();
    if (!value || *value < min || *value > max) {
        Refuse(*node, key,
               "\"" + word + "\" or a whole number from " + std::to_string(min) + " to " +
                   std::to_string(max));
        return std::nullopt;
    }
    return value;
}

bool Section::Flag(std::string_view key, bool byDefault) {
    const toml::node* const node = Find(key);
    if (node == nullptr) {
        return byDefault;
    }
    const std::optional<bool> value = node->value_exact<bool>();
    if (!value) {
        Refuse(*node, key, "true or false");
    }
    return value.value_or(byDefault);
}

std::optional<std::string> Section::Text(std::string_view key, const std::string& expected,
                                         bool (*fits)(const std::string&)) {
    const toml::node* const node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    std::optional<std::string> text = node->value_exact<std::string>();
    if (!text || text->empty() || text->find('\0') != std::string::npos || !fits(*text)) {
        Refuse(*node, key, expected);
        return std::nullopt;
    }
    return text;
}

std::optional<std::string> Section::AbsolutePath(std::string_view key) {
    std::optional<std::string> path =
        Text(key, "an absolute path", [](const std::string& text) { return text[0] == '/'; });
    return path ? std::optional(WithoutTrailingSlashes(*path)) : std::nullopt;
}

std::vector<std::string> Section::AbsolutePaths(std::string_view key) {
    const toml::node* const node = Find(key);
    if (node == nullptr || !node->is_array()) {
        const std::optional<std::string> path = AbsolutePath(key);
        return path ? std::vector{*path} : std::vector<std::string>();
    }
    std::vector<std::string> paths;
    for (const toml::node& element : *node->as_array()) {
        const std::optional<std::string> path = element.value_exact<std::string>();
        if (!path || !path->starts_with('/') || path->find('\0') != std::string::npos) {
            Refuse(element, key, "absolute paths");
            continue;
        }
        paths.push_back(WithoutTrailingSlashes(*path));
    }
    return paths;
}

Section Section::Subsection(std::string_view key) {
    const toml::node* const node = Find(key);
    if (node != nullptr && !node->is_table()) {
        Refuse(*node, key, "a section");
    }
    return {node == nullptr ? nullptr : node->as_table(), FullName(key), *m_problems};
}

std::vector<Section> Section::Sections(std::string_view key) {
    const toml::node* const node = Find(key);
    if (node == nullptr) {
        return {};
    }
    std::vector<Section> sections;
    if (!node->is_array()) {
        Refuse(*node, key, "an array of sections");
        return {};
    }
    for (const toml::node& element : *node->as_array()) {
        if (!element.is_table()) {
            Refuse(element, key, "an array of sections");
            continue;
        }
        sections.emplace_back(element.as_table(), FullName(key), *m_problems);
    }
    return sections;
}

void Section::RefuseOtherKeys() const {
    if (m_table == nullptr) {
        return;
    }
    for (const auto& [key, value] : *m_table) {
        if (!m_known.contains(key.str())) {
            std::string known;
            for (const std::string& name : m_known) {
                known += (known.empty() ? "" : ", ") + name;
            }
            m_problems->Add(key.source(),
                            "unknown key " + FullName(key.str()) + "; expected one of " + known);
        }
    }
}

const toml::node* Section::Find(std::string_view key) {
    m_known.emplace(key);
    return m_table == nullptr ? nullptr : m_table->get(key);
}

std::string Section::FullName(std::string_view key) const {
    return m_name.empty() ? std::string(key) : m_name + "." + std::string(key);
}

void Section::Refuse(const toml::node& node, std::string_view key,
                     const std::string& expected) const {
    m_problems->Add(node.source(), FullName(key) + ": expected " + expected);
}

} // namespace recorder
