#include "platform/recording.h"
#include "tests/contract/support/execute.h"
#include "tests/contract/support/fixture.h"

#include <memory>

namespace {

using contract::Rows;
using testing::ElementsAre;

constexpr const char* kColumns = "id, ds_id, camera_id, path, start_tm, end_tm, size, vdo_type, "
                                 "aud_fmt, img_w, img_h";

class RecordingRow : public contract::ContractTest {
protected:
    // Executes the statements and returns the ids of the stored rows.
    static std::vector<std::string> Store(const std::string& sql) {
        return Rows(sql, KRDB::DB_RECORDING).Column("id");
    }

    static std::vector<world::Row> Events(const std::string& columns = kColumns) {
        return world::Read(KRDB::DB_RECORDING, "SELECT " + columns + " FROM event ORDER BY id;");
    }
};

template <typename Kind> Kind Filled(const std::string& path, int camId = 4) {
    Kind event;
    event.SetCamId(camId);
    event.SetPath(path);
    event.SetStartTm(1394589600);
    event.SetEndTm(1394589603);
    event.SetSize(5'000'000'000'000ULL);
    event.SetVdoType(3);
    event.SetAudFmt("AAC");
    event.SetImgW(320);
    event.SetImgH(240);
    return event;
}

TEST_F(RecordingRow, IsEmptyAfterConstruction) {
    const Event event;

    EXPECT_EQ(event.GetId() + event.GetDsId() + event.GetCamId(), 0);
    EXPECT_EQ(event.GetPath() + event.GetAudFmt(), "");
    EXPECT_EQ(event.GetStartTm() + event.GetEndTm(), 0);
    EXPECT_EQ(event.GetSize() + event.GetRecCntTimestamp(), 0U);
    EXPECT_EQ(event.GetVdoType() + event.GetImgW() + event.GetImgH(), 0);
}

TEST_F(RecordingRow, IsIndependentOfItsCopies) {
    Event event = Filled<Event>("a");
    const Event copy = event;

    event.SetPath("b");
    event.SetId(9);

    EXPECT_EQ(copy.GetPath(), "a");
    EXPECT_EQ(copy.GetId(), 0);
}

TEST_F(RecordingRow, IsFilledFromTheRecordingInfo) {
    Event event;
    event.SetId(7);
    event.SetRecCntTimestamp(8);
    const Reidx::RecInfo info{.size = 1,
                              .startTm = 2,
                              .endTm = 3,
                              .duration = 1,
                              .vdoType = 4,
                              .audType = 6,
                              .imgWidth = 5,
                              .imgHeight = 6,
                              .alert = false,
                              .path = "20140312AM/a.mp4"};

    Reidx::FillEvtInfo(event, info, 11, 12, 13, 1);

    EXPECT_EQ(event.GetId(), 7);
    EXPECT_EQ(event.GetRecCntTimestamp(), 8U);
    EXPECT_EQ(event.GetDsId(), 11);
    EXPECT_EQ(event.GetCamId(), 12);
    EXPECT_EQ(event.GetSize(), 1U);
    EXPECT_EQ(event.GetStartTm(), 2);
    EXPECT_EQ(event.GetEndTm(), 3);
    EXPECT_EQ(event.GetVdoType(), 4);
    EXPECT_EQ(event.GetAudFmt(), "MP3");
    EXPECT_EQ(event.GetImgW(), 5);
    EXPECT_EQ(event.GetImgH(), 6);
    EXPECT_EQ(event.GetPath(), "20140312AM/a.mp4");
}

TEST_F(RecordingRow, IsStoredAndItsIdReturned) {
    EXPECT_THAT(Store(Filled<Event>("20140312AM/a.mp4").strSqlInsert()), ElementsAre("1"));

    EXPECT_THAT(Events(),
                ElementsAre(world::Row{"1", "0", "4", "20140312AM/a.mp4", "1394589600",
                                       "1394589603", "5000000000000", "3", "AAC", "320", "240"}));
}

TEST_F(RecordingRow, IsStoredOnceHoweverOftenItsStatementRuns) {
    const std::string sql = Filled<Event>("a").strSqlInsert();
    ASSERT_THAT(Store(sql), ElementsAre("1"));
    const auto once = Events();

    EXPECT_THAT(Store(sql + sql), ElementsAre("1", "1"));

    EXPECT_EQ(Events(), once);
}

TEST_F(RecordingRow, KeepsItsIdWhenItIsUpdated) {
    ASSERT_THAT(Store(Filled<Event>("a").strSqlInsert() + Filled<Event>("b").strSqlInsert()),
                ElementsAre("1", "2"));
    Event changed;
    changed.SetDsId(9);
    changed.SetCamId(4);
    changed.SetPath("a");
    changed.SetStartTm(1);
    changed.SetEndTm(2);
    changed.SetSize(3);
    changed.SetVdoType(1);
    changed.SetAudFmt("PCM");
    changed.SetImgW(5);
    changed.SetImgH(6);

    EXPECT_THAT(Store(changed.strSqlInsert()), ElementsAre("1"));

    ASSERT_EQ(Events().size(), 2U);
    EXPECT_EQ(Events().front(),
              (world::Row{"1", "9", "4", "a", "1", "2", "3", "1", "PCM", "5", "6"}));
}

TEST_F(RecordingRow, IsSeparateForEachCamera) {
    EXPECT_THAT(Store(Filled<Event>("a", 4).strSqlInsert() + Filled<Event>("a", 5).strSqlInsert()),
                ElementsAre("1", "2"));
}

TEST_F(RecordingRow, CanBeStoredWithThousandsOfOthers) {
    std::string sql;
    for (int i = 1; i <= 3000; ++i) {
        sql += Filled<Event>("20140312AM/" + std::to_string(i)).strSqlInsert();
    }

    const std::vector<std::string> ids = Store(sql);

    ASSERT_EQ(ids.size(), 3000U);
    EXPECT_EQ(ids.back(), "3000");
    EXPECT_EQ(Events("path").back(), (world::Row{"20140312AM/3000"}));
}

TEST_F(RecordingRow, StoresHostileTextsUnchanged) {
    for (const std::string& name : contract::HostileNames()) {
        world::Reset();
        Event event = Filled<Event>(name);
        event.SetAudFmt(name);

        ASSERT_THAT(Store(event.strSqlInsert()), ElementsAre("1"));

        EXPECT_THAT(Events("path, aud_fmt"), ElementsAre(world::Row{name, name}));
    }
}

TEST_F(RecordingRow, StoresTheSmallestAndTheLargestNumbers) {
    Event event = Filled<Event>("a", 2147483647);
    event.SetStartTm(-62135596800);
    event.SetEndTm(253402300799);

    ASSERT_THAT(Store(event.strSqlInsert()), ElementsAre("1"));

    EXPECT_THAT(Events("camera_id, start_tm, end_tm"),
                ElementsAre(world::Row{"2147483647", "-62135596800", "253402300799"}));
}

TEST_F(RecordingRow, OfAnAlertRecordingIsStoredInTheAlertTable) {
    AlertEvent alert = Filled<AlertEvent>("20140312AM/a.mp4");
    alert.SetAlertEventType(5);
    alert.SetDeviceType(1);
    const std::unique_ptr<Event> event = std::make_unique<AlertEvent>(alert);

    EXPECT_THAT(Store(event->strSqlInsert()), ElementsAre("1"));

    EXPECT_THAT(Events(), testing::IsEmpty());
    EXPECT_THAT(
        world::Read(KRDB::DB_RECORDING, std::string("SELECT ") + kColumns +
                                            ", alert_event_type, device_type FROM alert_event;"),
        ElementsAre(world::Row{"1", "0", "4", "20140312AM/a.mp4", "1394589600", "1394589603",
                               "5000000000000", "3", "AAC", "320", "240", "5", "1"}));
}

TEST_F(RecordingRow, OfAnAlertRecordingKeepsItsIdWhenItIsUpdated) {
    ASSERT_THAT(Store(Filled<AlertEvent>("a").strSqlInsert()), ElementsAre("1"));
    AlertEvent changed = Filled<AlertEvent>("a");
    changed.SetSize(1);
    changed.SetAlertEventType(2);
    changed.SetDeviceType(3);

    EXPECT_THAT(Store(changed.strSqlInsert() + changed.strSqlInsert()), ElementsAre("1", "1"));

    EXPECT_THAT(world::Read(KRDB::DB_RECORDING,
                            "SELECT size, alert_event_type, device_type FROM alert_event;"),
                ElementsAre(world::Row{"1", "2", "3"}));
}

} // namespace
