#include "platform/recording.h"
#include "recorder/database/sqltext.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace {

// The column is a signed number. No real file exceeds it.
std::string SizeLiteral(unsigned long long size) {
    constexpr unsigned long long kMax = std::numeric_limits<int64_t>::max();
    return std::to_string(std::min(size, kMax));
}

// The values of the columns that both recording tables have.
std::string CommonValues(const Event& event) {
    return std::to_string(event.GetDsId()) + ", " + std::to_string(event.GetCamId()) + ", " +
           recorder::Quote(event.GetPath()) + ", " + std::to_string(event.GetStartTm()) + ", " +
           std::to_string(event.GetEndTm()) + ", " + SizeLiteral(event.GetSize()) + ", " +
           std::to_string(event.GetVdoType()) + ", " + recorder::Quote(event.GetAudFmt()) + ", " +
           std::to_string(event.GetImgW()) + ", " + std::to_string(event.GetImgH());
}

} // namespace

void Reidx::FillEvtInfo(Event& event, const RecInfo& info, int dsId, int camId, int /*recType*/,
                        char /*closed*/) {
    event.SetDsId(dsId);
    event.SetCamId(camId);
    event.SetPath(info.path);
    event.SetStartTm(info.startTm);
    event.SetEndTm(info.endTm);
    event.SetSize(info.size);
    event.SetVdoType(info.vdoType);
    event.SetAudFmt(GetAudioType(info.audType));
    event.SetImgW(info.imgWidth);
    event.SetImgH(info.imgHeight);
}

std::string Event::strSqlInsert() const {
    return "INSERT INTO event (ds_id, camera_id, path, start_tm, end_tm, size, vdo_type, aud_fmt, "
           "img_w, img_h) VALUES (" +
           CommonValues(*this) +
           ") ON CONFLICT (camera_id, path) DO UPDATE SET ds_id = excluded.ds_id, "
           "start_tm = excluded.start_tm, end_tm = excluded.end_tm, size = excluded.size, "
           "vdo_type = excluded.vdo_type, aud_fmt = excluded.aud_fmt, img_w = excluded.img_w, "
           "img_h = excluded.img_h RETURNING id;";
}

std::string AlertEvent::strSqlInsert() const {
    return "INSERT INTO alert_event (ds_id, camera_id, path, start_tm, end_tm, size, vdo_type, "
           "aud_fmt, img_w, img_h, alert_event_type, device_type) VALUES (" +
           CommonValues(*this) + ", " + std::to_string(m_alertEventType) + ", " +
           std::to_string(m_deviceType) +
           ") ON CONFLICT (camera_id, path) DO UPDATE SET ds_id = excluded.ds_id, "
           "start_tm = excluded.start_tm, end_tm = excluded.end_tm, size = excluded.size, "
           "vdo_type = excluded.vdo_type, aud_fmt = excluded.aud_fmt, img_w = excluded.img_w, "
           "img_h = excluded.img_h, alert_event_type = excluded.alert_event_type, "
           "device_type = excluded.device_type RETURNING id;";
}
