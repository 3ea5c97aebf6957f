// The recording library: the properties of a recording file, its row, the counts of recordings, and
// messages to the other services that recordings were added or removed.
//
// A file in a half-day folder (platform/camera.h) is a recording if its name matches
//
//   .*[0-9]{8}-[0-9]{6}-[0-9]{10}((|-LOCK)\.(mp4|avi|mxg))$
//
// as in Front-20140312-101500-1394590500.mp4: any text; date and time of day, in the recording
// service's time zone; the start time in seconds since the epoch, ten digits; "-LOCK" if the
// recording is locked against rotation; the extension, in lower case. The tool applies the pattern
// before it calls GetEvtRecInfo. Alert recordings have the same names.
//
// Threads, processes and exceptions: platform/taskstatus.h.

#pragma once

#include "platform/camera.h"

#include <cstdint>
#include <list>
#include <string>
#include <utility>

namespace Reidx {

// The known properties of one media file; an unknown number is 0.
struct RecInfo {
    uint64_t size = 0;     // bytes, from the file's status
    int64_t startTm = 0;   // seconds since the epoch
    int64_t endTm = 0;     // seconds since the epoch; not before startTm
    int32_t duration = 0;  // seconds, rounded
    int32_t vdoType = 0;   // video codec: 0 unknown, 1 MJPEG, 2 MPEG-4, 3 H.264, 4 H.265
    int32_t audType = 0;   // audio codec: 0 none or unknown, else as GetAudioType names it
    int32_t imgWidth = 0;  // pixels
    int32_t imgHeight = 0; // pixels
    bool alert = false;    // the file is an alert recording
    std::string path;      // half-day folder, "/", file name, also of an alert recording, without
                           // "laRec"; of a snapshot the file name alone
};

// Reads the properties of the recording at `fullPath` (absolute) into `info`, which must be empty.
// `alert` is true for an alert recording and is stored in `info`.
//
// The path and the start time (the ten digits before the extension, or before "-LOCK") are filled
// first, from the file's name, then the size, from the file's status. Then the container is opened,
// with the demuxer for the extension, to read the duration, the codecs and the picture size.
// Nothing is decoded, and no other file is opened.
//
// Returns 0 if everything was read. Otherwise the log names the file and the reason, the fields
// that were read keep their values, and the end time equals the start time.
[[nodiscard]] int GetEvtRecInfo(RecInfo& info, const std::string& fullPath, bool alert);

} // namespace Reidx

// Returns the name of an audio codec as rows store it: 1 "AAC", 2 "PCM", 3 "G711U", 4 "G711A",
// 5 "G726", 6 "MP3"; an empty text for any other number.
[[nodiscard]] std::string GetAudioType(int audType);

// One row of the recording table. A new object is empty: its numbers are 0 and its texts empty.
// Copies are independent.
class Event {
public:
    Event() = default;
    virtual ~Event() = default;
    Event(const Event&) = default;
    Event& operator=(const Event&) = default;
    Event(Event&&) = default;
    Event& operator=(Event&&) = default;

    void SetId(int id) { m_id = id; }         // 0 = the database gave none
    void SetDsId(int dsId) { m_dsId = dsId; } // data source, 0 = this recorder
    void SetCamId(int camId) { m_camId = camId; }
    void SetPath(const std::string& path) { m_path = path; } // half-day folder, "/", file name
    void SetStartTm(long startTm) { m_startTm = startTm; }   // seconds since the epoch
    void SetEndTm(long endTm) { m_endTm = endTm; }           // seconds since the epoch
    void SetSize(unsigned long long size) { m_size = size; } // bytes
    void SetVdoType(int vdoType) { m_vdoType = vdoType; }    // as in Reidx::RecInfo
    void SetAudFmt(const std::string& audFmt) { m_audFmt = audFmt; } // as GetAudioType gives it
    void SetImgW(int imgW) { m_imgW = imgW; }                        // pixels
    void SetImgH(int imgH) { m_imgH = imgH; }                        // pixels
    // The stamp of the update of the recording counts that includes this row.
    void SetRecCntTimestamp(unsigned long long stamp) { m_recCntTimestamp = stamp; }

    [[nodiscard]] int GetId() const { return m_id; }
    [[nodiscard]] int GetDsId() const { return m_dsId; }
    [[nodiscard]] int GetCamId() const { return m_camId; }
    [[nodiscard]] const std::string& GetPath() const { return m_path; }
    [[nodiscard]] long GetStartTm() const { return m_startTm; }
    [[nodiscard]] long GetEndTm() const { return m_endTm; }
    [[nodiscard]] unsigned long long GetSize() const { return m_size; }
    [[nodiscard]] int GetVdoType() const { return m_vdoType; }
    [[nodiscard]] const std::string& GetAudFmt() const { return m_audFmt; }
    [[nodiscard]] int GetImgW() const { return m_imgW; }
    [[nodiscard]] int GetImgH() const { return m_imgH; }
    [[nodiscard]] unsigned long long GetRecCntTimestamp() const { return m_recCntTimestamp; }

    // Returns one SQL statement, ended by ";", that stores the row in DB_RECORDING and yields one
    // row with its "id". An existing row of the same camera and path is updated instead, and keeps
    // its id; executing the statement again changes nothing. Statements of several rows can be
    // concatenated.
    [[nodiscard]] virtual std::string strSqlInsert() const;

protected:
    int m_id = 0;
    int m_dsId = 0;
    int m_camId = 0;
    std::string m_path;
    long m_startTm = 0;
    long m_endTm = 0;
    unsigned long long m_size = 0;
    int m_vdoType = 0;
    std::string m_audFmt;
    int m_imgW = 0;
    int m_imgH = 0;
    unsigned long long m_recCntTimestamp = 0;
};

// One row of the alert recording table.
class AlertEvent : public Event {
public:
    void SetAlertEventType(int type) { m_alertEventType = type; } // 0 = unknown, found on disk
    void SetDeviceType(int type) { m_deviceType = type; }         // 1 = camera

    // Like Event::strSqlInsert, for the alert recording table.
    [[nodiscard]] std::string strSqlInsert() const override;

private:
    int m_alertEventType = 0;
    int m_deviceType = 0;
};

namespace Reidx {

// Fills `event` with the properties of a recording: data source `dsId` (0 = this recorder), camera
// `camId`, path, start and end time, size, video type, audio format and picture size. The row's id
// and count stamp are unchanged. `recType` (0 = an ordinary recording) and `closed` (1 = the file
// is complete) are not stored: the table has no column for them.
void FillEvtInfo(Event& event, const RecInfo& info, int dsId, int camId, int recType, char closed);

} // namespace Reidx

namespace RecordingCount {

// Adds recordings, pairs of camera id and start time (seconds since the epoch), to the counts by
// camera and day (UTC), all or none. Their rows must already be in the recording table; a recording
// that was counted before is not counted twice.
//
// Returns 0 on success and sets `stamp` to the time of this update, in microseconds since the
// epoch; the changed counts have this stamp. Otherwise `stamp` and the counts are unchanged, and
// the log has the reason.
[[nodiscard]] int AddRecCounts(const std::list<std::pair<int, long>>& recordings,
                               unsigned long long& stamp);

// Corrects the counts by the recording table. Counts that are right are not written. Returns 0 on
// success; otherwise nothing has changed, and the log has the reason.
int Recount();

} // namespace RecordingCount

// The common part of the package's selections of rows.
struct SqlFilterParam {
    int limit = 1000; // largest number of rows, a page of a list; 0: no limit
};

// A selection of event rows.
struct EventFilterParam : SqlFilterParam {
    std::string idList; // ids in decimal, separated by ",", nothing else; empty selects no row
};

// Deletes the event rows that the filter selects, because their files are gone. Many rows are
// deleted in several transactions, so that other writers need not wait long.
//
// The evidence is checked again at this moment: the rows' cameras must load (Camera::Load), every
// folder that the rows name must be completely readable or truly absent, and none of the files that
// they name may exist, neither as a regular file nor as a link in a half-day folder. A link in
// place of a half-day folder is a doubt, wherever it leads. On any doubt nothing is deleted. Before
// each further transaction the evidence for its rows is checked again, and on doubt no more rows
// are deleted. A filter with a limit is refused, because it does not define which rows would
// remain.
//
// Returns 0 if no selected row is left. Otherwise the log has the reason and the number of rows
// that were deleted before; they are stored like all removed rows (KRDB::Execute), and another call
// with the same filter deletes the rest.
[[nodiscard]] int DelUnrefRecsFromDB(EventFilterParam filter);

// Like DelUnrefRecsFromDB, for the alert recording rows of camera `camId` with these ids. Ids of
// other cameras' rows are ignored.
[[nodiscard]] int AlertDelUnrefRecsFromDB(const std::list<int>& ids, int camId);

enum EVENT_UPDATE_ACTION : int {
    EVENT_UPDATE_ADD = 0, // rows were added or brought up to date
};

// Notifies the recording services that `events` of `camera` changed as `action` says. The events
// must have the ids that the database gave them; they and the camera are only read. The message is
// stored until it can be delivered; a failure to store it is logged here. The last three arguments
// address one receiver; 0, 0, 0 means all receivers.
void NotifyEventListUpdate(std::list<Event>& events, Camera* camera, EVENT_UPDATE_ACTION action,
                           int receiver, int session, int sequence);

// Notifies the alert services that they must read the alert recording rows again. The message is
// stored and addressed like that of NotifyEventListUpdate.
void NotifyAlertEventRefresh(int receiver, int session, int sequence);
