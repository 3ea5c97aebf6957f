#include "platform/recording.h"

#include "tests/fakes/call.h"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <type_traits>

namespace {

constexpr std::size_t kStartTmDigits = 10;

// A text as an SQL literal.
std::string Literal(const std::string& text) {
    std::string literal = "'";
    for (const char c : text) {
        literal += c;
        if (c == '\'') {
            literal += c;
        }
    }
    return literal + "'";
}

template <typename Value> std::string Value2Sql(const Value& value) {
    if constexpr (std::is_integral_v<Value>) {
        return std::to_string(value);
    } else {
        return Literal(value);
    }
}

template <typename First, typename... More>
std::string Insert(const char* table, const First& first, const More&... more) {
    std::string values = Value2Sql(first);
    ((values += ", " + Value2Sql(more)), ...);
    return std::string("INSERT INTO ") + table + " VALUES (" + values + ") RETURNING id;";
}

std::string AudioText(int audType) {
    static constexpr std::array kTexts = {"", "AAC", "PCM", "G711U", "G711A", "G726", "MP3"};
    if (audType < 0 || static_cast<std::size_t>(audType) >= kTexts.size()) {
        return "";
    }
    return kTexts[static_cast<std::size_t>(audType)];
}

bool IsEmpty(const Reidx::RecInfo& info) {
    return info.size == 0 && info.startTm == 0 && info.endTm == 0 && info.duration == 0 &&
           info.vdoType == 0 && info.audType == 0 && info.imgWidth == 0 && info.imgHeight == 0 &&
           !info.alert && info.path.empty();
}

// The properties that a recording's name and file status contain.
Reidx::RecInfo InfoFromFile(const std::filesystem::path& file, bool alert) {
    Reidx::RecInfo info;
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    info.size = error ? 0 : size;
    const std::string name = file.filename();
    const auto lastDigit = name.find_last_of("0123456789", name.rfind('.'));
    if (lastDigit != std::string::npos && lastDigit + 1 >= kStartTmDigits) {
        const std::string digits = name.substr(lastDigit + 1 - kStartTmDigits, kStartTmDigits);
        info.startTm = std::strtol(digits.c_str(), nullptr, 10);
    }
    info.endTm = info.startTm;
    info.alert = alert;
    info.path = file.parent_path().filename() / name;
    return info;
}

} // namespace

std::string GetAudioType(int audType) {
    fakes::RecordDetail("GetAudioType", audType);
    return AudioText(audType);
}

std::string Event::strSqlInsert() const {
    fakes::RecordDetail("Event::strSqlInsert");
    return Insert("event", m_dsId, m_camId, m_path, m_startTm, m_endTm, m_size, m_vdoType, m_audFmt,
                  m_imgW, m_imgH);
}

std::string AlertEvent::strSqlInsert() const {
    fakes::RecordDetail("AlertEvent::strSqlInsert");
    return Insert("alert_event", m_dsId, m_camId, m_path, m_startTm, m_endTm, m_size,
                  m_alertEventType, m_deviceType, m_vdoType, m_audFmt, m_imgW, m_imgH);
}

int Reidx::GetEvtRecInfo(RecInfo& info, const std::string& fullPath, bool alert) {
    const int failed = fakes::RecordCall(
        "GetEvtRecInfo", IsEmpty(info) ? "info" : "info that isn't empty", fullPath, alert);
    const auto& infos = fakes::Platform().infos;
    const auto found = infos.find(fullPath);
    info = found == infos.end() ? InfoFromFile(fullPath, alert) : found->second;
    return failed;
}

void Reidx::FillEvtInfo(Event& event, const RecInfo& info, int dsId, int camId, int recType,
                        char closed) {
    fakes::RecordCall("FillEvtInfo", "event", info.path, info.alert, dsId, camId, recType,
                      static_cast<int>(closed));
    event.SetDsId(dsId);
    event.SetCamId(camId);
    event.SetPath(info.path);
    event.SetStartTm(info.startTm);
    event.SetEndTm(info.endTm);
    event.SetSize(info.size);
    event.SetVdoType(info.vdoType);
    event.SetAudFmt(AudioText(info.audType));
    event.SetImgW(info.imgWidth);
    event.SetImgH(info.imgHeight);
}

int RecordingCount::AddRecCounts(const std::list<std::pair<int, long>>& recordings,
                                 unsigned long long& stamp) {
    std::string pairs;
    for (const auto& [camId, startTm] : recordings) {
        pairs +=
            (pairs.empty() ? "" : ", ") + std::to_string(camId) + " at " + std::to_string(startTm);
    }
    const int failed = fakes::RecordCall("AddRecCounts", ("[" + pairs + "]").c_str(), stamp);
    if (failed == 0) {
        stamp = ++fakes::Platform().stamp;
    }
    return failed;
}

int RecordingCount::Recount() {
    return fakes::RecordCall("Recount");
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the contract passes a copy
int DelUnrefRecsFromDB(EventFilterParam filter) {
    const int failed = fakes::RecordCall("DelUnrefRecsFromDB", filter.idList, filter.limit);
    return failed == 0 && filter.limit != 0 ? -1 : failed;
}

int AlertDelUnrefRecsFromDB(const std::list<int>& ids, int camId) {
    std::string list;
    for (const int id : ids) {
        list += (list.empty() ? "" : ", ") + std::to_string(id);
    }
    return fakes::RecordCall("AlertDelUnrefRecsFromDB", ("[" + list + "]").c_str(), camId);
}

void NotifyEventListUpdate(std::list<Event>& events, Camera* camera, EVENT_UPDATE_ACTION action,
                           int receiver, int session, int sequence) {
    std::string list;
    for (const Event& event : events) {
        list += (list.empty() ? "" : ", ") + std::to_string(event.GetId()) + " " + event.GetPath() +
                " stamp " + std::to_string(event.GetRecCntTimestamp());
    }
    fakes::Platform().notifiedCameras.push_back(*camera);
    fakes::RecordCall("NotifyEventListUpdate", ("[" + list + "]").c_str(),
                      ("camera " + std::to_string(camera->GetId())).c_str(),
                      static_cast<int>(action), receiver, session, sequence);
}

void NotifyAlertEventRefresh(int receiver, int session, int sequence) {
    fakes::RecordCall("NotifyAlertEventRefresh", receiver, session, sequence);
}
