#include "recorder/camera/cameraidentity.h"

#include "recorder/camera/identityfile.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/uuid.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace recorder {

namespace {

constexpr std::size_t kMaxIdentityBytes = 8192; // enough for a name with all bytes escaped

constexpr std::size_t kCodeDigits = 4; // in an escaped control character

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

std::string Escaped(const std::string& name) {
    std::string escaped;
    for (const char c : name) {
        if (c == '"' || c == '\\') {
            escaped += '\\';
        }
        escaped += IsControl(c) ? Format("\\u%04x", static_cast<unsigned>(c)) : std::string(1, c);
    }
    return escaped;
}

// Returns the text between `beginning`, with which `text` must start, and `end`. Removes all three
// from `text`.
std::optional<std::string_view> TakeValue(std::string_view& text, std::string_view beginning,
                                          std::string_view end) {
    const std::size_t length = text.find(end, beginning.size());
    if (!text.starts_with(beginning) || length == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view value = text.substr(beginning.size(), length - beginning.size());
    text.remove_prefix(length + end.size());
    return value;
}

template <typename Number> bool ReadNumber(std::string_view text, Number& number, int base) {
    const auto [rest, error] = std::from_chars(text.begin(), text.end(), number, base);
    return error == std::errc() && rest == text.end();
}

std::optional<std::string> Unescaped(std::string_view escaped) {
    std::string name;
    for (; !escaped.empty(); escaped.remove_prefix(1)) {
        if (escaped.front() != '\\') {
            name += escaped.front();
            continue;
        }
        escaped.remove_prefix(1);
        uint8_t control = 0;
        if (escaped.starts_with('u') && escaped.size() > kCodeDigits &&
            ReadNumber(escaped.substr(1, kCodeDigits), control, 16)) {
            name += static_cast<char>(control);
            escaped.remove_prefix(kCodeDigits);
        } else if (escaped.starts_with('"') || escaped.starts_with('\\')) {
            name += escaped.front();
        } else {
            return std::nullopt;
        }
    }
    return name;
}

bool IsNameOfCamera(const std::string& name) {
    return name.size() <= kMaxCameraNameBytes && name.find('\0') == std::string::npos;
}

// Accepts only the form that NewUuid writes: the same uuid in two forms would be two cameras.
bool IsPlainUuid(std::string_view text) {
    return IsUuid(text) && std::none_of(text.begin(), text.end(),
                                        [](unsigned char c) { return std::isupper(c) != 0; });
}

// Accepts more than is allowed: ParseCameraIdentity compares the text with what the identity
// yields.
std::optional<CameraIdentity> LooselyParsed(std::string_view text) {
    const std::optional<std::string_view> id = TakeValue(text, "id = ", "\n");
    const std::optional<std::string_view> name = TakeValue(text, "name = \"", "\"\n");
    const std::optional<std::string_view> uuid = TakeValue(text, "uuid = \"", "\"\n");
    CameraIdentity identity;
    if (!id || !name || !uuid || !ReadNumber(*id, identity.id, 10)) {
        return std::nullopt;
    }
    const std::optional<std::string> unescaped = Unescaped(*name);
    if (!unescaped) {
        return std::nullopt;
    }
    identity.name = *unescaped;
    identity.uuid = *uuid;
    return identity;
}

} // namespace

std::string CameraIdentityText(const CameraIdentity& identity) {
    return "id = " + std::to_string(identity.id) + "\nname = \"" + Escaped(identity.name) +
           "\"\nuuid = \"" + identity.uuid + "\"\n";
}

CameraIdentity ParseCameraIdentity(std::string_view text, const std::string& fileName) {
    const std::optional<CameraIdentity> identity = LooselyParsed(text);
    if (!identity || identity->id < 1 || !IsNameOfCamera(identity->name) ||
        !IsPlainUuid(identity->uuid) || CameraIdentityText(*identity) != text) {
        throw Error("the file " + fileName +
                    " holds no camera identity; expected the lines id, name and uuid as \"krctl "
                    "camera add\" writes them");
    }
    return *identity;
}

std::optional<CameraIdentity> CameraIdentityIn(const std::string& folder) {
    const std::string path = folder + "/" + kCameraIdentityFileName;
    const std::optional<std::string> text = ReadIdentityFile(path, kMaxIdentityBytes);
    return text ? std::optional(ParseCameraIdentity(*text, path)) : std::nullopt;
}

void RequireIdentity(const std::string& folder, const std::string& uuid) {
    const std::optional<CameraIdentity> found = CameraIdentityIn(folder);
    if (!found) {
        throw Error("the storage folder " + folder + " doesn't hold its camera's identity, " +
                    kCameraIdentityFileName + ": its disk may not be mounted");
    }
    if (found->uuid != uuid) {
        throw Error("the storage folder " + folder + " belongs to another camera, " +
                    NameOf(*found));
    }
}

std::string NameOf(const CameraIdentity& identity) {
    return "camera " + std::to_string(identity.id) + " \"" + identity.name + "\"";
}

} // namespace recorder
