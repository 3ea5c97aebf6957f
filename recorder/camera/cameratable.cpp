#include "recorder/camera/cameratable.h"

#include "recorder/database/databases.h"
#include "recorder/database/sqltext.h"
#include "recorder/support/error.h"

namespace recorder {

namespace {

constexpr const char* kSelect =
    "SELECT id, name, ds_id, storage_path, volume_id, uuid FROM camera ";

std::string QuoteOrNull(const std::optional<std::string>& text) {
    return text ? Quote(*text) : "NULL";
}

std::vector<CameraRow> Select(const std::string& condition) {
    const DBResult_tag rows =
        Execute(KRDB::DB_SYSTEM, kSelect + condition + ";", {.readOnly = true});
    std::vector<CameraRow> cameras;
    cameras.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        cameras.push_back({.id = rows.Int(row, "id"),
                           .name = rows.Text(row, "name"),
                           .dsId = rows.Int(row, "ds_id"),
                           .storagePath = rows.Text(row, "storage_path"),
                           .volumeId = rows.TextIfAny(row, "volume_id"),
                           .uuid = rows.TextIfAny(row, "uuid")});
    }
    return cameras;
}

} // namespace

std::optional<CameraRow> FindCamera(int id) {
    const std::vector<CameraRow> found = Select("WHERE id = " + std::to_string(id));
    return found.empty() ? std::nullopt : std::optional(found.front());
}

CameraRow RequireCamera(int id) {
    std::optional<CameraRow> camera = FindCamera(id);
    if (!camera) {
        throw NotFound("there is no camera with the id " + std::to_string(id));
    }
    return std::move(*camera);
}

std::vector<CameraRow> ListCameras() {
    return Select("ORDER BY id");
}

void AddCamera(const CameraRow& camera) {
    Execute(KRDB::DB_SYSTEM,
            "INSERT INTO camera (id, name, ds_id, storage_path, volume_id, uuid) VALUES (" +
                std::to_string(camera.id) + ", " + Quote(camera.name) + ", " +
                std::to_string(camera.dsId) + ", " + Quote(camera.storagePath) + ", " +
                QuoteOrNull(camera.volumeId) + ", " + QuoteOrNull(camera.uuid) + ");");
}

void UpdateCamera(const CameraRow& camera) {
    Execute(KRDB::DB_SYSTEM, "UPDATE camera SET name = " + Quote(camera.name) +
                                 ", storage_path = " + Quote(camera.storagePath) +
                                 ", volume_id = " + QuoteOrNull(camera.volumeId) +
                                 ", uuid = " + QuoteOrNull(camera.uuid) +
                                 " WHERE id = " + std::to_string(camera.id) + ";");
}

void RemoveCamera(int id) {
    Execute(KRDB::DB_SYSTEM, "DELETE FROM camera WHERE id = " + std::to_string(id) + ";");
}

} // namespace recorder
