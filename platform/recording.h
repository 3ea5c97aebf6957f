// The recording library: the properties of a recording file, its row, the counts of recordings, and
// messages to the other services that recordings were added or removed.
//
// A file in a half-day folder (platform/camera.h) is a recording if its name matches
//
//   .*[0-9]{8}-[0-9]{6}-[0-9]{10}((|-LOCK)\.(mp4|avi|mxg))$
//
// as in Front-20140312-101500-1394590500.mp4: anything; date and time of day, in the recording
// service's time zone; the start time in seconds since the epoch, ten digits; "-LOCK" where the
// recording is locked against rotation; the extension, in lower case. The tool applies the pattern
// before it calls GetEvtRecInfo. Alert recordings are named alike.
//
// Threads, processes and exceptions: platform/taskstatus.h.

#pragma once

#include "platform/camera.h"

#include <cstdint>
#include <list>
#include <string>
#include <utility>

namespace Reidx {

// The properties of one media file, as far as they are known; a number that isn't known is 0.
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

// Reads the properties of the recording at `fullPath` (absolute) into `info`, which the caller
// hands over empty. `alert` is true for an alert recording and is stored in `info`.
//
// The path and the start time (the ten digits before the extension, or before "-LOCK" where the
// name has that) are filled first, from the file's name, then the size, from its status; then the
// container is opened, by the demuxer for the extension, for duration, codecs and picture
// size. Nothing is decoded and no other file is opened.
//
// Returns 0 when everything was read. Otherwise the log names the file and the reason, the fields
// that were read stay, and the end time equals the start time.
[[nodiscard]] int GetEvtRecInfo(RecInfo& info, const std::string& fullPath, bool alert);

} // namespace Reidx

// The text that an audio codec number stands for in a row: 1 "AAC", 2 "PCM", 3 "G711U", 4 "G711A",
// 5 "G726", 6 "MP3"; empty for every other number.
[[nodiscard]] std::string GetAudioType(int audType);

// One row of the recording table. Empty after construction: numbers 0, texts empty. Copies are
// independent.
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
    // The stamp of the update of the recording counts that this row is part of.
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

    // One SQL statement, ended by ";", that stores the row in DB_RECORDING and yields one row with
    // its "id". A row of the same camera and path is brought up to date instead, and keeps its id:
    // to run the statement again changes nothing. Statements of several rows can be concatenated.
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

    // As Event::strSqlInsert, for the alert recording table.
    [[nodiscard]] std::string strSqlInsert() const override;

private:
    int m_alertEventType = 0;
    int m_deviceType = 0;
};

namespace Reidx {

// Fills `event` with what is known of a recording: data source `dsId` (0 = this recorder), camera
// `camId`, path, start and end time, size, video type, audio format and picture size. The row's id
// and count stamp stay as they are. `recType` (0 = an ordinary recording) and `closed` (1 = the
// file is complete) leave no trace in the row: the table holds nothing else.
void FillEvtInfo(Event& event, const RecInfo& info, int dsId, int camId, int recType, char closed);

} // namespace Reidx

namespace RecordingCount {

// Adds recordings, pairs of camera id and start time (seconds since the epoch), to the counts by
// camera and day (UTC), all or none. Their rows are in the recording table by now: a recording that
// was counted already isn't counted twice.
//
// Returns 0 on success and sets `stamp` to the time of this update, in microseconds since the
// epoch; the counts that it changed carry it. Otherwise `stamp` and the counts are as they were,
// and the log has the reason.
[[nodiscard]] int AddRecCounts(const std::list<std::pair<int, long>>& recordings,
                               unsigned long long& stamp);

// Brings the counts in line with the recording table, whatever they were. Counts that are right
// already are not written. Returns 0 on success; otherwise nothing has changed and the log has the
// reason.
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
// The evidence is checked again at this moment: the rows' cameras must load (Camera::Load), and
// every folder that the rows name must either be readable to its end or be truly absent, and none
// of the files that they name may be there: neither a regular file nor a link in a half-day folder.
// A link in place of a half-day folder is doubt, wherever it leads. On any doubt nothing is
// deleted. Before each further transaction the evidence for its rows is checked once more, and on
// doubt nothing further is deleted. A filter with a limit is refused, because it does not define
// which rows would remain.
//
// Returns 0 when no selected row is left. Otherwise the log has the reason, and how many rows were
// deleted before; the recorder keeps these like all others (KRDB::Execute), and a further call with
// the same filter deletes the rest.
[[nodiscard]] int DelUnrefRecsFromDB(EventFilterParam filter);

// As DelUnrefRecsFromDB, for the alert recording rows of camera `camId` with these ids. Ids of
// other cameras' rows are ignored.
[[nodiscard]] int AlertDelUnrefRecsFromDB(const std::list<int>& ids, int camId);

enum EVENT_UPDATE_ACTION : int {
    EVENT_UPDATE_ADD = 0, // rows were added or brought up to date
};

// Notifies the recording services that `events` of `camera` changed as `action` says. The events
// carry the ids that the database gave them; they and the camera are only read. The message is kept
// until it can be delivered; a failure to keep it is logged here. The trailing arguments address a
// certain receiver; 0, 0, 0 means all of them.
void NotifyEventListUpdate(std::list<Event>& events, Camera* camera, EVENT_UPDATE_ACTION action,
                           int receiver, int session, int sequence);

// Notifies the alert services that the alert recording rows are to be read again. Otherwise as
// above.
void NotifyAlertEventRefresh(int receiver, int session, int sequence);
