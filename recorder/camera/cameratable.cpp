#include "recorder/camera/cameratable.h"

#include "recorder/database/databases.h"
#include "recorder/database/quote.h"
#include "recorder/support/error.h"

#include <cstdlib>

namespace recorder {

namespace {

constexpr const char* kSelect = "SELECT id, name, ds_id, storage_path, volume_id FROM camera ";

int ToInt(const char* text) {
    return static_cast<int>(std::strtol(text, nullptr, 10));
}

std::vector<CameraRow> Select(const std::string& condition) {
    const DBResult_tag rows =
        Execute(KRDB::DB_SYSTEM, kSelect + condition + ";", {.readOnly = true});
    std::vector<CameraRow> cameras;
    cameras.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        CameraRow camera{ToInt(rows.Field(row, 0)), rows.Field(row, 1), ToInt(rows.Field(row, 2)),
                         rows.Field(row, 3), std::nullopt};
        if (const char* const volumeId = rows.Field(row, 4)) {
            camera.volumeId = volumeId;
        }
        cameras.push_back(std::move(camera));
    }
    return cameras;
}

} // namespace

std::optional<CameraRow> FindCamera(int id) {
    const std::vector<CameraRow> found = Select("WHERE id = " + std::to_string(id));
    return found.empty() ? std::nullopt : std::optional(found.front());
}

std::vector<CameraRow> ListCameras() {
    return Select("ORDER BY id");
}

void AddCamera(const CameraRow& camera) {
    if (FindCamera(camera.id)) {
        throw Error("there is a camera with the id " + std::to_string(camera.id) + " already");
    }
    Execute(KRDB::DB_SYSTEM,
            "INSERT INTO camera (id, name, ds_id, storage_path, volume_id) VALUES (" +
                std::to_string(camera.id) + ", " + Quote(camera.name) + ", " +
                std::to_string(camera.dsId) + ", " + Quote(camera.storagePath) + ", " +
                (camera.volumeId ? Quote(*camera.volumeId) : "NULL") + ");");
}

void BindCamera(int id, const std::string& volumeId) {
    if (!FindCamera(id)) {
        throw Error("there is no camera with the id " + std::to_string(id));
    }
    Execute(KRDB::DB_SYSTEM, "UPDATE camera SET volume_id = " + Quote(volumeId) +
                                 " WHERE id = " + std::to_string(id) + ";");
}

} // namespace recorder
