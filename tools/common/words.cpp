#include "tools/common/words.h"

#include "recorder/camera/cameratable.h"
#include "recorder/support/format.h"

#include <array>
#include <ctime>
#include <exception>

std::string TimeText(long timeTm) {
    const std::time_t seconds = timeTm;
    struct tm local = {};
    std::array<char, 64> text{};
    localtime_r(&seconds, &local);
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &local)};
}

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

std::string KindText(const std::string& kind) {
    static const std::map<std::string, std::string> texts{
        {"event", "recordings"},
        {"alert_event", "alert recordings"},
        {"snapshot", "snapshots"},
        {"emap", "e-maps"},
    };
    const auto found = texts.find(kind);
    return found == texts.end() ? "-" : found->second;
}

std::string Counted(long number, const std::string& noun) {
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
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
