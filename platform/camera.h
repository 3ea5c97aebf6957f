// The camera service: which cameras a recorder has and where each one's recordings lie.

#pragma once

#include <list>
#include <string>

// One camera's settings, read from the camera table. Empty until Load succeeds. Copies are
// independent.
class Camera {
public:
    // Reads the settings of the camera with this id into the object.
    //
    // `id` is the camera's id in the camera table, 1 to 2147483647; any other value is no camera.
    // The two further arguments select a data source and a revision of the settings; this platform
    // has one of each, numbered 0.
    //
    // Returns 0 on success. Any other value is failure: there is no such camera, its row can't be
    // read, its storage folder is no absolute path, the volume that the row names isn't the one
    // mounted there, or the folder doesn't hold the identity that the row names. The object is then
    // unchanged and the reason is in the log.
    [[nodiscard]] int Load(int id, int dataSource, int revision);

    // The id that was loaded; 0 before.
    [[nodiscard]] int GetId() const { return m_id; }

    // The folder that holds the camera's half-day folders: an absolute path without a trailing "/",
    // from the camera's row. Empty before a successful Load. Whether it exists isn't checked where
    // the row names no identity.
    [[nodiscard]] std::string GetStoragePath() const { return m_storagePath; }

private:
    int m_id = 0;
    std::string m_storagePath;
};

// The ids of the cameras of one data source, in ascending order.
//
// With `localOnly` these are the cameras that this recorder itself records (data source 0) and
// `dataSource` is 0; without it, those of data source `dataSource`. The list is empty when there is
// no such camera, and also when the camera table can't be read: then the log has the reason.
[[nodiscard]] std::list<int> CamGetIdList(bool localOnly, int dataSource);
