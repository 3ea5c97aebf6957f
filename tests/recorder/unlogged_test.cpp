// Operations change nothing if the log can't be written.

#include "platform/database.h"
#include "platform/recording.h"
#include "platform/snapshot.h"
#include "platform/taskstatus.h"
#include "platform/utility.h"
#include "recorder/support/paths.h"
#include "tests/contract/support/execute.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <algorithm>
#include <list>

namespace {

namespace fs = std::filesystem;

constexpr const char* kStorage = "cam1";
constexpr const char* kPicture = "snapshots/cam1-20240101-1704067200.jpg";

EventFilterParam FirstEvent() {
    EventFilterParam filter;
    filter.idList = "1";
    filter.limit = 0;
    return filter;
}

void Notify() {
    Camera camera;
    std::list<Event> events(1);
    NotifyEventListUpdate(events, &camera, EVENT_UPDATE_ADD, 0, 0, 0);
    NotifyAlertEventRefresh(0, 0, 0);
}

int WriteTask() {
    KRIndex::SetTaskPid(7);
    KRIndex::SetTaskProgress(0.5);
    KRIndex::RecordTaskStatusToConf(1, 2, false);
    KRIndex::RecordTaskStatusToConf(1, 2, true);
    return 0;
}

int AddCounts() {
    unsigned long long stamp = 0;
    return RecordingCount::AddRecCounts({{1, 0}}, stamp);
}

int RemoveEmptyFolder() {
    return KRRm(world::ScratchFolder() + "/" + kStorage + "/20140312AM");
}

// Calls every operation of the platform that changes something, and returns their results.
std::string ChangeEverything() {
    std::string results;
    for (const int result :
         {contract::Execute("INSERT INTO emap (filename) VALUES ('b');"),
          contract::Execute("DELETE FROM emap;"), DelUnrefRecsFromDB(FirstEvent()),
          AlertDelUnrefRecsFromDB({1}, 1), AddCounts(), RecordingCount::Recount(),
          RemoveEmptyFolder(), CreateThumbnail(world::ScratchFolder() + "/" + kPicture)}) {
        results += std::to_string(result) + " ";
    }
    KRIndex::RmEvtOfInvalidCamId();
    Notify();
    WriteTask();
    return results;
}

const contract::Probe kChangeEverything("change everything", ChangeEverything);

class Unlogged : public contract::ContractTest {
protected:
    Unlogged() {
        world::AddCamera({.id = 1, .storagePath = MakeFolder(kStorage)});
        MakeFolder(std::string(kStorage) + "/20140312AM");
        MakeFolder(std::string(kStorage) + "/laRec");
        contract::PutFile(Scratch(kPicture), contract::Picture("grey.jpg"));
        world::Write(KRDB::DB_SYSTEM, "INSERT INTO emap (filename) VALUES ('a');");
        world::Write(KRDB::DB_RECORDING,
                     "INSERT INTO event (id, camera_id, path) VALUES (1, 1, '20140311AM/gone.mp4'),"
                     " (2, 7, '20140311AM/gone.mp4');"
                     "INSERT INTO alert_event (id, camera_id, path) VALUES "
                     "(1, 1, '20140311AM/gone.mp4');");
    }

    // The rows that the operations would change, and the paths of all files.
    static std::vector<std::string> State() {
        std::vector<std::string> state;
        const auto add = [&](KRDB::DB_INSTANCE db, const std::string& table) {
            for (const world::Row& row : world::Read(db, "SELECT * FROM " + table + ";")) {
                state.push_back(table);
                for (const world::Field& field : row) {
                    state.back() += " " + field.value_or("NULL");
                }
            }
        };
        for (const char* const table : {"emap", "task", "run"}) {
            add(KRDB::DB_SYSTEM, table);
        }
        for (const char* const table : {"event", "alert_event", "recording_count", "outbox"}) {
            add(KRDB::DB_RECORDING, table);
        }
        for (const auto& entry : fs::recursive_directory_iterator(world::ScratchFolder())) {
            state.push_back(entry.path());
        }
        std::sort(state.begin(), state.end());
        return state;
    }
};

TEST_F(Unlogged, OperationsChangeNothing) {
    const std::vector<std::string> before = State();
    fs::create_directories(fs::path(recorder::kLogFile).parent_path());
    fs::remove(recorder::kLogFile);
    fs::create_symlink(Scratch("elsewhere"), recorder::kLogFile);

    const std::string results = kChangeEverything.Run();

    fs::remove(recorder::kLogFile);
    EXPECT_EQ(results, "-1 -1 -1 -1 -1 -1 -1 -1 ");
    EXPECT_EQ(State(), before);
}

// Proves that the test above can fail.
TEST_F(Unlogged, OperationsWouldChangeEverythingWithALog) {
    const std::vector<std::string> before = State();

    EXPECT_EQ(kChangeEverything.Run(), "0 0 0 0 0 0 0 0 ");

    for (const std::string& state : before) {
        const bool isKept = state.find("snapshots") != std::string::npos ||
                            state == Scratch(kStorage) || state.ends_with("/laRec");
        const std::vector<std::string> after = State();
        EXPECT_EQ(std::find(after.begin(), after.end(), state) != after.end(), isKept) << state;
    }
}

} // namespace
