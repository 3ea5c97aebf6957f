// The camera service: the cameras of a recorder, and the folders of their recordings.
//
// In a camera's storage folder:
//
//   20140312AM/, 20140312PM/   half-day folders, which hold the recordings
//   laRec/                     the alert recordings, in separate half-day folders; the name is
//                              fixed, and the folder may be missing
//
// A half-day folder is named by a date, year, month and day in eight digits, and AM for the hours
// before noon or PM for those after it. The recording service that makes the folder chooses the
// time zone: no operation reads a time from the name, it only has to match ^[0-9]{8}[AP]M$. The
// recordings are directly in it. The tool reads no other folder, and no file beside the
// half-day folders. Recordings are named as platform/recording.h says, thumbnail folders
// (GetRecThmbnailDirPath) lie where the recorder puts them.
//
// Threads, processes and exceptions: platform/taskstatus.h.

#pragma once

#include <list>
#include <string>

// One camera's settings, read from the camera table. Empty until Load succeeds. Copies are
// independent.
class Camera {
public:
    // Reads the settings of the camera with this id into the object.
    //
    // `id` is the camera's id in the camera table, 1 to 2147483647; no camera has any other value.
    // The two further arguments select a data source and a revision of the settings; this platform
    // has one of each, numbered 0.
    //
    // Returns 0 on success. Returns any other value on failure: the camera does not exist, its row
    // can't be read, its storage folder is not an absolute path, a volume other than the one in the
    // row is mounted there, or the folder lacks the identity that the row names. The object is then
    // unchanged and the reason is in the log.
    [[nodiscard]] int Load(int id, int dataSource, int revision);

    // The id of the loaded camera; 0 before a successful Load.
    [[nodiscard]] int GetId() const { return m_id; }

    // The storage folder: an absolute path without a trailing "/", from the camera's row. Empty
    // before a successful Load. Whether it exists isn't checked where the row names no identity.
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
