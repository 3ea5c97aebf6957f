// Numbers, times, kinds and cameras as texts for people.

#pragma once

#include "platform/database.h"
#include "recorder/support/timetext.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

using recorder::TimeText;
using recorder::UtcTimeText;

// "7.3 s", "12:05" (minutes), "3:12:05" (hours).
[[nodiscard]] std::string DurationText(double seconds);

// A kind of media. Elsewhere in the code a kind is the name of its table.
struct MediaKind {
    const char* table;
    const char* name; // in texts

    [[nodiscard]] std::string Key() const; // in options, JSON and metrics
};
[[nodiscard]] const std::array<MediaKind, 4>& MediaKinds();

// The kind's name: "recordings", "alert recordings", "snapshots", "e-maps"; "-" if `table` is
// empty because the kind is unknown.
[[nodiscard]] std::string KindText(const std::string& table);

// The kind's key: its name with "-" instead of a blank; empty if `table` is empty.
[[nodiscard]] std::string KindKey(const std::string& table);

// What the column "files" of a plan or run counts; empty unless it has files of e-maps. A part has
// the members `kind` and `files`.
template <typename Part> [[nodiscard]] std::string FilesLegend(const std::vector<Part>& parts) {
    const bool countsEmaps = std::any_of(parts.begin(), parts.end(), [](const Part& part) {
        return part.kind == gszTableEmap && part.files > 0;
    });
    return countsEmaps ? "the files that were examined; those of e-maps include their thumbnails"
                       : "";
}

// Returns "a, b and c".
[[nodiscard]] std::string Enumerated(const std::vector<std::string>& items);

// "1 row", "2314 rows".
[[nodiscard]] std::string Counted(long number, const std::string& noun);

// "2,314"; with a noun "1 row", "2,314 rows".
[[nodiscard]] std::string Grouped(long number);
[[nodiscard]] std::string Grouped(long number, const std::string& noun);

// "Alert recordings" for "alert recordings".
[[nodiscard]] std::string Capitalised(std::string text);

// The names of the recorder's cameras by id. Empty when the cameras can't be read: a command does
// not fail for a missing name.
using CameraNames = std::map<int, std::string>;
[[nodiscard]] CameraNames ReadCameraNames();

// "3 Front"; the id alone if the camera has no name, "-" for 0, no camera.
[[nodiscard]] std::string CameraText(const CameraNames& names, int camId);

// "recordings of camera 3 Front"; the kind alone if `camera` is empty, the camera alone if the kind
// is not known yet.
[[nodiscard]] std::string PartText(const std::string& kind, const std::string& camera);
