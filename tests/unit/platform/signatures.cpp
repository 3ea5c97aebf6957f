// The exact signatures of platform/*.h. A recorder that is built elsewhere is linked to the tool by
// them, and the linker distinguishes a parameter by value from one by reference; so a signature is
// changed here first. tests/unit/platform/signatures_test.py fails if a declaration of the headers
// is missing in this file.

#include "platform/camera.h"
#include "platform/database.h"
#include "platform/logging.h"
#include "platform/recording.h"
#include "platform/snapshot.h"
#include "platform/taskstatus.h"
#include "platform/utility.h"

#include <cstddef>
#include <type_traits>

// The attribute that makes the compiler check calls of KRPrintf and StringPrintf is not part of
// their types.
#pragma GCC diagnostic ignored "-Wignored-attributes"

namespace {

using std::is_same_v;
using std::list;
using std::pair;
using std::string;

template <typename Enum>
constexpr bool kIs32BitSigned = is_same_v<std::underlying_type_t<Enum>, int>;

// --- camera.h -----------------------------------------------------------------------------------

static_assert(std::is_default_constructible_v<Camera>);
static_assert(std::is_copy_constructible_v<Camera> && std::is_copy_assignable_v<Camera>);
static_assert(is_same_v<decltype(&Camera::Load), int (Camera::*)(int, int, int)>);
static_assert(is_same_v<decltype(&Camera::GetId), int (Camera::*)() const>);
static_assert(is_same_v<decltype(&Camera::GetStoragePath), string (Camera::*)() const>);
static_assert(is_same_v<decltype(&CamGetIdList), list<int> (*)(bool, int)>);

// --- database.h ---------------------------------------------------------------------------------

static_assert(kIs32BitSigned<KRDB::DB_INSTANCE>);
static_assert(KRDB::DB_SYSTEM == 0 && KRDB::DB_RECORDING == 4 && KRDB::DB_SNAPSHOT == 8 &&
              KRDB::DB_NONE == 15);
static_assert(is_same_v<decltype(&KRDB::Execute), int (*)(KRDB::DB_INSTANCE, string, DBResult_tag**,
                                                          bool, bool, bool, bool)>);
static_assert(is_same_v<decltype(&KRDBFetchRow), int (*)(DBResult_tag*, int*)>);
static_assert(
    is_same_v<decltype(&KRDBFetchField), const char* (*)(const DBResult_tag*, int, const char*)>);
static_assert(is_same_v<decltype(&KRDBFreeResult), void (*)(DBResult_tag*)>);
static_assert(is_same_v<decltype(&gszTableEmap), const char* const*>);
static_assert(is_same_v<decltype(&gszTableSnapshot), const char* const*>);
static_assert(is_same_v<decltype(&gszTableEvent), const char* const*>);
static_assert(is_same_v<decltype(&gszTableAlertEvent), const char* const*>);

// --- logging.h ----------------------------------------------------------------------------------

static_assert(kIs32BitSigned<LOG_TYPE> && LOG_TYPE_DEFAULT == 0);
static_assert(kIs32BitSigned<LOG_CATEG> && LOG_CATEG_RECORDER == 1 && LOG_CATEG_REINDEX == 48);
static_assert(kIs32BitSigned<LOG_LEVEL>);
static_assert(LOG_LEVEL_ERROR == 1 && LOG_LEVEL_WARNING == 2 && LOG_LEVEL_NOTICE == 3 &&
              LOG_LEVEL_INFO == 4 && LOG_LEVEL_DETAIL == 5 && LOG_LEVEL_DEBUG == 6 &&
              LOG_LEVEL_TRACE == 7);
static_assert(is_same_v<decltype(&Enum2String<LOG_CATEG>), const char* (*)(LOG_CATEG)>);
static_assert(is_same_v<decltype(&Enum2String<LOG_LEVEL>), const char* (*)(LOG_LEVEL)>);
static_assert(DbgLogCfg::kCategories == 64);
static_assert(is_same_v<decltype(&DbgLogCfg::categLevel), std::array<int, 64> DbgLogCfg::*>);
static_assert(
    is_same_v<decltype(&DbgLogCfg::pidLevels), std::vector<pair<pid_t, int>> DbgLogCfg::*>);
static_assert(is_same_v<decltype(&g_pDbgLogCfg), const DbgLogCfg**>);
static_assert(is_same_v<decltype(&g_DbgLogPid), pid_t*>);
static_assert(
    is_same_v<decltype(&KRPrintf), void (*)(LOG_TYPE, const char*, const char*, const char*, int,
                                            const char*, const char*, ...)>);

// --- recording.h --------------------------------------------------------------------------------

static_assert(std::is_aggregate_v<Reidx::RecInfo>);
static_assert(is_same_v<decltype(&Reidx::RecInfo::size), uint64_t Reidx::RecInfo::*>);
static_assert(is_same_v<decltype(&Reidx::RecInfo::startTm), int64_t Reidx::RecInfo::*>);
static_assert(is_same_v<decltype(&Reidx::RecInfo::endTm), int64_t Reidx::RecInfo::*>);
static_assert(is_same_v<decltype(&Reidx::RecInfo::duration), int32_t Reidx::RecInfo::*>);
static_assert(is_same_v<decltype(&Reidx::RecInfo::vdoType), int32_t Reidx::RecInfo::*>);
static_assert(is_same_v<decltype(&Reidx::RecInfo::audType), int32_t Reidx::RecInfo::*>);
static_assert(is_same_v<decltype(&Reidx::RecInfo::imgWidth), int32_t Reidx::RecInfo::*>);
static_assert(is_same_v<decltype(&Reidx::RecInfo::imgHeight), int32_t Reidx::RecInfo::*>);
static_assert(is_same_v<decltype(&Reidx::RecInfo::alert), bool Reidx::RecInfo::*>);
static_assert(is_same_v<decltype(&Reidx::RecInfo::path), string Reidx::RecInfo::*>);
static_assert(offsetof(Reidx::RecInfo, size) == 0 && offsetof(Reidx::RecInfo, startTm) == 8 &&
              offsetof(Reidx::RecInfo, endTm) == 16 && offsetof(Reidx::RecInfo, duration) == 24 &&
              offsetof(Reidx::RecInfo, vdoType) == 28 && offsetof(Reidx::RecInfo, audType) == 32 &&
              offsetof(Reidx::RecInfo, imgWidth) == 36 &&
              offsetof(Reidx::RecInfo, imgHeight) == 40 && offsetof(Reidx::RecInfo, alert) == 44 &&
              offsetof(Reidx::RecInfo, path) == 48);
static_assert(
    is_same_v<decltype(&Reidx::GetEvtRecInfo), int (*)(Reidx::RecInfo&, const string&, bool)>);
static_assert(is_same_v<decltype(&Reidx::FillEvtInfo),
                        void (*)(Event&, const Reidx::RecInfo&, int, int, int, char)>);
static_assert(is_same_v<decltype(&GetAudioType), string (*)(int)>);

static_assert(std::is_default_constructible_v<Event> && std::has_virtual_destructor_v<Event>);
static_assert(std::is_copy_constructible_v<Event> && std::is_copy_assignable_v<Event>);
static_assert(std::is_move_constructible_v<Event> && std::is_move_assignable_v<Event>);
static_assert(is_same_v<decltype(&Event::SetId), void (Event::*)(int)>);
static_assert(is_same_v<decltype(&Event::SetDsId), void (Event::*)(int)>);
static_assert(is_same_v<decltype(&Event::SetCamId), void (Event::*)(int)>);
static_assert(is_same_v<decltype(&Event::SetPath), void (Event::*)(const string&)>);
static_assert(is_same_v<decltype(&Event::SetStartTm), void (Event::*)(long)>);
static_assert(is_same_v<decltype(&Event::SetEndTm), void (Event::*)(long)>);
static_assert(is_same_v<decltype(&Event::SetSize), void (Event::*)(unsigned long long)>);
static_assert(is_same_v<decltype(&Event::SetVdoType), void (Event::*)(int)>);
static_assert(is_same_v<decltype(&Event::SetAudFmt), void (Event::*)(const string&)>);
static_assert(is_same_v<decltype(&Event::SetImgW), void (Event::*)(int)>);
static_assert(is_same_v<decltype(&Event::SetImgH), void (Event::*)(int)>);
static_assert(is_same_v<decltype(&Event::SetRecCntTimestamp), void (Event::*)(unsigned long long)>);
static_assert(is_same_v<decltype(&Event::GetId), int (Event::*)() const>);
static_assert(is_same_v<decltype(&Event::GetDsId), int (Event::*)() const>);
static_assert(is_same_v<decltype(&Event::GetCamId), int (Event::*)() const>);
static_assert(is_same_v<decltype(&Event::GetPath), const string& (Event::*)() const>);
static_assert(is_same_v<decltype(&Event::GetStartTm), long (Event::*)() const>);
static_assert(is_same_v<decltype(&Event::GetEndTm), long (Event::*)() const>);
static_assert(is_same_v<decltype(&Event::GetSize), unsigned long long (Event::*)() const>);
static_assert(is_same_v<decltype(&Event::GetVdoType), int (Event::*)() const>);
static_assert(is_same_v<decltype(&Event::GetAudFmt), const string& (Event::*)() const>);
static_assert(is_same_v<decltype(&Event::GetImgW), int (Event::*)() const>);
static_assert(is_same_v<decltype(&Event::GetImgH), int (Event::*)() const>);
static_assert(
    is_same_v<decltype(&Event::GetRecCntTimestamp), unsigned long long (Event::*)() const>);
static_assert(is_same_v<decltype(&Event::strSqlInsert), string (Event::*)() const>);

static_assert(std::is_base_of_v<Event, AlertEvent> && std::is_default_constructible_v<AlertEvent>);
static_assert(is_same_v<decltype(&AlertEvent::SetAlertEventType), void (AlertEvent::*)(int)>);
static_assert(is_same_v<decltype(&AlertEvent::SetDeviceType), void (AlertEvent::*)(int)>);
static_assert(is_same_v<decltype(&AlertEvent::strSqlInsert), string (AlertEvent::*)() const>);

static_assert(is_same_v<decltype(&RecordingCount::AddRecCounts),
                        int (*)(const list<pair<int, long>>&, unsigned long long&)>);
static_assert(is_same_v<decltype(&RecordingCount::Recount), int (*)()>);

static_assert(std::is_base_of_v<SqlFilterParam, EventFilterParam>);
static_assert(std::is_default_constructible_v<EventFilterParam> &&
              std::is_copy_constructible_v<EventFilterParam>);
static_assert(is_same_v<decltype(&SqlFilterParam::limit), int SqlFilterParam::*>);
static_assert(is_same_v<decltype(&EventFilterParam::idList), string EventFilterParam::*>);
static_assert(is_same_v<decltype(&DelUnrefRecsFromDB), int (*)(EventFilterParam)>);
static_assert(is_same_v<decltype(&AlertDelUnrefRecsFromDB), int (*)(const list<int>&, int)>);

static_assert(kIs32BitSigned<EVENT_UPDATE_ACTION> && EVENT_UPDATE_ADD == 0);
static_assert(is_same_v<decltype(&NotifyEventListUpdate),
                        void (*)(list<Event>&, Camera*, EVENT_UPDATE_ACTION, int, int, int)>);
static_assert(is_same_v<decltype(&NotifyAlertEventRefresh), void (*)(int, int, int)>);

// --- snapshot.h ---------------------------------------------------------------------------------

static_assert(is_same_v<decltype(&GetSnapshotFullPath), string (*)()>);
static_assert(is_same_v<decltype(&ReindexSnapshotSql),
                        string (*)(const string&, const string&, int64_t, int)>);
static_assert(is_same_v<decltype(&CreateThumbnail), int (*)(const string&)>);
static_assert(is_same_v<decltype(&GetRecThmbnailDirPath), string (*)(const string&)>);

// --- taskstatus.h -------------------------------------------------------------------------------

static_assert(is_same_v<decltype(&KRIndex::RegTaskStart), int (*)()>);
static_assert(is_same_v<decltype(&KRIndex::RegTaskDone), void (*)()>);
static_assert(is_same_v<decltype(&KRIndex::SetTaskPid), void (*)(int)>);
static_assert(is_same_v<decltype(&KRIndex::SetTaskProgress), void (*)(double)>);
static_assert(is_same_v<decltype(&KRIndex::GetTaskProgress), double (*)()>);
static_assert(is_same_v<decltype(&KRIndex::RecordTaskStatusToConf), void (*)(long, int, bool)>);
static_assert(is_same_v<decltype(&KRIndex::RmEvtOfInvalidCamId), void (*)()>);

// --- utility.h ----------------------------------------------------------------------------------

static_assert(is_same_v<decltype(&GetBaseName), string (*)(const string&)>);
static_assert(is_same_v<decltype(&GetDirPath), string (*)(const string&)>);
static_assert(is_same_v<decltype(&IsExistDir), bool (*)(const string&)>);
static_assert(is_same_v<decltype(&IsFileExist), bool (*)(const string&)>);
static_assert(is_same_v<decltype(&IsDirEmpty), bool (*)(const string&)>);
static_assert(
    is_same_v<decltype(&GetDirsInDir), int (*)(const string&, list<string>&, bool, bool, string)>);
static_assert(is_same_v<decltype(&KRRm), int (*)(const string&)>);
static_assert(std::is_constructible_v<KRRegEx, const string&> &&
              !std::is_convertible_v<const string&, KRRegEx>);
static_assert(is_same_v<decltype(&KRRegEx::IsMatch), bool (KRRegEx::*)(const string&) const>);
static_assert(is_same_v<decltype(&StringPrintf), string (*)(const char*, ...)>);

} // namespace
