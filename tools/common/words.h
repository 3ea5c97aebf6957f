// How krctl names things to people.

#pragma once

#include <array>
#include <map>
#include <string>

// Seconds since the epoch as in the log, without milliseconds.
[[nodiscard]] std::string TimeText(long timeTm);

// "7.3 s", "12:05" (minutes), "3:12:05" (hours).
[[nodiscard]] std::string DurationText(double seconds);

// A kind of media. Elsewhere in the code a kind is the name of its table.
struct MediaKind {
    const char* table;
    const char* key;  // in options, JSON and metrics
    const char* name; // in texts
};
[[nodiscard]] const std::array<MediaKind, 4>& MediaKinds();

// The kind's name: "recordings", "alert recordings", "snapshots", "e-maps"; "-" if `table` is
// empty because the kind is unknown.
[[nodiscard]] std::string KindText(const std::string& table);

// The kind's key: "recordings", "alert-recordings", "snapshots", "emaps"; empty if `table` is.
[[nodiscard]] std::string KindKey(const std::string& table);

// "1 row", "2 rows".
[[nodiscard]] std::string Counted(long number, const std::string& noun);

// The names of the recorder's cameras by id. Empty when they can't be read: a name is not worth a
// failure.
using CameraNames = std::map<int, std::string>;
[[nodiscard]] CameraNames ReadCameraNames();

// "3 Front"; the number alone when there is no name, "-" for 0, no camera.
[[nodiscard]] std::string CameraText(const CameraNames& names, int camId);

// "recordings of camera 3 Front"; the kind alone without a camera (""), the camera alone where the
// kind isn't known yet.
[[nodiscard]] std::string PartText(const std::string& kind, const std::string& camera);
