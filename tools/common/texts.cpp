#include "tools/common/texts.h"

#include "platform/database.h"
#include "recorder/camera/cameratable.h"
#include "recorder/database/mediatable.h"
#include "recorder/support/format.h"

#include <algorithm>
#include <ctime>
#include <exception>

namespace {

const MediaKind* KindOf(const std::string& table) {
    const auto* const found =
        std::find_if(MediaKinds().begin(), MediaKinds().end(),
                     [&](const MediaKind& kind) { return kind.table == table; });
    return found == MediaKinds().end() ? nullptr : found;
}

std::string WithNoun(const std::string& numberText, long number, const std::string& noun) {
    return numberText + " " + noun + (number == 1 ? "" : "s");
}

} // namespace

std::string DurationText(double seconds) {
    constexpr long kSecondsPerMinute = 60;
    constexpr long kSecondsPerHour = 3600;
    if (seconds < kSecondsPerMinute) {
        return recorder::Format("%.1f s", seconds);
    }
    const long whole = static_cast<long>(seconds);
    const long minutes = whole / kSecondsPerMinute % kSecondsPerMinute;
    const long rest = whole % kSecondsPerMinute;
    return whole < kSecondsPerHour
               ? recorder::Format("%ld:%02ld", minutes, rest)
               : recorder::Format("%ld:%02ld:%02ld", whole / kSecondsPerHour, minutes, rest);
}

std::string MediaKind::Key() const {
    std::string key = name;
    std::replace(key.begin(), key.end(), ' ', '-');
    return key;
}

const std::array<MediaKind, 4>& MediaKinds() {
    static const std::array kinds = [] {
        std::array<MediaKind, 4> all{};
        std::transform(recorder::MediaTables().begin(), recorder::MediaTables().end(), all.begin(),
                       [](const recorder::MediaTable& table) {
                           return MediaKind{table.name.c_str(), table.media.c_str()};
                       });
        return all;
    }();
    return kinds;
}

std::string KindText(const std::string& table) {
    const MediaKind* const kind = KindOf(table);
    return kind == nullptr ? "-" : kind->name;
}

std::string KindKey(const std::string& table) {
    const MediaKind* const kind = KindOf(table);
    return kind == nullptr ? "" : kind->Key();
}

std::string Enumerated(const std::vector<std::string>& items) {
    std::string text;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const char* const between = i + 1 == items.size() ? " and " : ", ";
        text += (i == 0 ? "" : between) + items[i];
    }
    return text;
}

std::string Counted(long number, const std::string& noun) {
    return WithNoun(std::to_string(number), number, noun);
}

std::string Grouped(long number) {
    constexpr std::size_t kGroup = 3;
    const std::string digits = std::to_string(number);
    std::string text;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const bool afterDigit = i > 0 && digits[i - 1] != '-';
        if (afterDigit && (digits.size() - i) % kGroup == 0) {
            text += ',';
        }
        text += digits[i];
    }
    return text;
}

std::string Grouped(long number, const std::string& noun) {
    return WithNoun(Grouped(number), number, noun);
}

std::string Capitalised(std::string text) {
    const bool isSmall = !text.empty() && text[0] >= 'a' && text[0] <= 'z';
    if (isSmall) {
        text[0] = static_cast<char>(text[0] - 'a' + 'A');
    }
    return text;
}

CameraNames ReadCameraNames() {
    CameraNames names;
    try {
        for (const recorder::CameraRow& camera : recorder::ListCameras()) {
            names[camera.id] = camera.name;
        }
    } catch (const std::exception&) {
        names.clear();
    }
    return names;
}

std::string CameraText(const CameraNames& names, int camId) {
    if (camId == 0) {
        return "-";
    }
    const auto found = names.find(camId);
    return std::to_string(camId) + (found == names.end() ? "" : " " + found->second);
}

std::string PartText(const std::string& kind, const std::string& camera) {
    if (camera.empty()) {
        return KindText(kind);
    }
    return kind.empty() ? "camera " + camera : KindText(kind) + " of camera " + camera;
}
