#include "tools/common/note.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace plan {

namespace {

constexpr std::size_t kFields = 6;

constexpr std::array kNames{
    std::pair{Reason::FileWithoutRow, "file-without-row"},
    std::pair{Reason::RowWithoutFile, "row-without-file"},
    std::pair{Reason::RowRenewed, "row-renewed"},
    std::pair{Reason::BadlyNamed, "badly-named"},
    std::pair{Reason::ChangedAfterStart, "changed-after-start"},
    std::pair{Reason::ThumbnailMissing, "thumbnail-missing"},
    std::pair{Reason::FolderEmpty, "folder-empty"},
    std::pair{Reason::Damaged, "damaged"},
    std::pair{Reason::Warning, "warning"},
    std::pair{Reason::Refusal, "refusal"},
    std::pair{Reason::Failure, "failure"},
    std::pair{Reason::Camera, "camera"},
    std::pair{Reason::RunInProgress, "run-in-progress"},
    std::pair{Reason::Part, "part"},
    std::pair{Reason::NoPlan, "no-plan"},
    std::pair{Reason::End, "end"},
};

// Each character and the letter that represents it after a backslash.
constexpr std::array kEscapes{std::pair{'\t', 't'}, std::pair{'\n', 'n'}, std::pair{'\\', '\\'}};

void AppendEscaped(std::string& line, std::string_view text) {
    for (const char c : text) {
        const auto* const escape = std::find_if(kEscapes.begin(), kEscapes.end(),
                                                [c](const auto& each) { return each.first == c; });
        if (escape == kEscapes.end()) {
            line += c;
        } else {
            line += '\\';
            line += escape->second;
        }
    }
}

std::optional<std::string> Unescaped(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            plain += text[i];
            continue;
        }
        const char letter = ++i < text.size() ? text[i] : '\0';
        const auto* const escape =
            std::find_if(kEscapes.begin(), kEscapes.end(),
                         [letter](const auto& each) { return each.second == letter; });
        if (escape == kEscapes.end()) {
            return std::nullopt;
        }
        plain += escape->first;
    }
    return plain;
}

std::optional<std::array<std::string_view, kFields>> FieldsOf(std::string_view line) {
    std::array<std::string_view, kFields> fields;
    for (std::size_t i = 0; i < kFields; ++i) {
        const std::size_t tab = line.find('\t');
        if ((tab == std::string_view::npos) != (i + 1 == kFields)) {
            return std::nullopt;
        }
        fields[i] = line.substr(0, tab);
        line.remove_prefix(std::min(line.size(), fields[i].size() + 1));
    }
    return fields;
}

template <typename Number> bool Read(std::string_view text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

} // namespace

const char* NameOf(Reason reason) {
    const auto* const found = std::find_if(
        kNames.begin(), kNames.end(), [reason](const auto& each) { return each.first == reason; });
    return found == kNames.end() ? "unknown" : found->second;
}

bool IsItem(Reason reason) {
    return reason < Reason::Warning;
}

std::string LineOf(const Note& note) {
    std::string line = std::string(NameOf(note.reason)) + '\t' + note.kind + '\t' +
                       std::to_string(note.camId) + '\t';
    AppendEscaped(line, note.text);
    return line + '\t' + std::to_string(note.number) + '\t' + std::to_string(note.files) + '\n';
}

std::optional<Note> ParseLine(std::string_view line) {
    const auto fields = FieldsOf(line);
    if (!fields) {
        return std::nullopt;
    }
    const auto& [reason, kind, camId, text, number, files] = *fields;
    const std::string_view name = reason;
    const auto* const known = std::find_if(
        kNames.begin(), kNames.end(), [name](const auto& each) { return name == each.second; });
    std::optional<std::string> plain = Unescaped(text);
    Note note;
    if (known == kNames.end() || !plain || !Read(camId, note.camId) || !Read(number, note.number) ||
        !Read(files, note.files)) {
        return std::nullopt;
    }
    note.reason = known->first;
    note.kind = kind;
    note.text = std::move(*plain);
    return note;
}

} // namespace plan
