#include "recorder/check/contentcheck.h"

#include "recorder/settings/settings.h"
#include "recorder/support/paths.h"
#include "tests/contract/support/execute.h"
#include "tests/contract/support/fixture.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using recorder::CheckedPart;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr long kExamination = 1;

// Snapshots and e-maps, as their files need no camera. Each file has a size of its own, by which
// the tests know it.
class ContentCheck : public contract::ContractTest {
protected:
    static void AddSnapshot(int bytes) {
        const std::string name = std::to_string(bytes) + ".jpg";
        AddFile(recorder::GetSettings().snapshot.folder, name, bytes);
        world::Write(KRDB::DB_SNAPSHOT,
                     "INSERT INTO snapshot (filename, start_tm, size) VALUES ('" + name + "', 1, " +
                         std::to_string(bytes) + ");");
    }

    static void AddFile(const std::filesystem::path& folder, const std::string& name, int bytes) {
        std::filesystem::create_directories(folder);
        std::ofstream(folder / name) << std::string(static_cast<std::size_t>(bytes), 'x');
        std::filesystem::last_write_time(folder / name, {});
    }

    static std::vector<CheckedPart> Parts() {
        return {{recorder::MediaTableOf(gszTableSnapshot), 0},
                {recorder::MediaTableOf(gszTableEmap), 0}};
    }

    // The sizes of the files that a check reads until it has no time left after `files` files.
    static std::vector<long> Read(std::size_t files) {
        recorder::ContentOptions options;
        std::vector<long> sizes;
        (void)recorder::CheckContents(
            Parts(), options, kExamination, [](const recorder::Finding&) {},
            [&](long bytes) {
                sizes.push_back(bytes);
                if (sizes.size() == files) {
                    options.end = recorder::Deadline::In(std::chrono::milliseconds(0));
                }
            });
        return sizes;
    }
};

TEST_F(ContentCheck, BeginsWithFilesThatWereNeverRead) {
    AddSnapshot(1);
    AddSnapshot(2);
    EXPECT_THAT(Read(100), ElementsAre(1, 2));
    AddSnapshot(3);
    EXPECT_THAT(Read(1), ElementsAre(3));
}

TEST_F(ContentCheck, ContinuesWithFilesThatWereNotReadForTheLongestTime) {
    for (const int bytes : {1, 2, 3, 4}) {
        AddSnapshot(bytes);
    }
    EXPECT_THAT(Read(3), ElementsAre(1, 2, 3));
    EXPECT_THAT(Read(3), ElementsAre(4, 1, 2));
    EXPECT_THAT(Read(100), ElementsAre(3, 1, 2, 4));
}

TEST_F(ContentCheck, OfSeveralKindsReadsTheOldestOfAll) {
    AddSnapshot(1);
    EXPECT_THAT(Read(100), ElementsAre(1));
    AddFile(recorder::kEmapDir, "5.jpg", 5);
    world::Write(KRDB::DB_SYSTEM, "INSERT INTO emap (filename) VALUES ('5.jpg');");
    EXPECT_THAT(Read(100), ElementsAre(5, 1));
    EXPECT_THAT(Read(1), ElementsAre(1));
    EXPECT_THAT(Read(100), ElementsAre(5, 1));
}

TEST_F(ContentCheck, ForgetsFilesWithoutARow) {
    AddSnapshot(1);
    AddSnapshot(2);
    (void)Read(100);
    world::Write(KRDB::DB_SNAPSHOT, "DELETE FROM snapshot WHERE size = 1;");
    EXPECT_THAT(Read(100), ElementsAre(2));
    EXPECT_THAT(world::Read(KRDB::DB_SNAPSHOT, "SELECT size FROM content;"),
                ElementsAre(ElementsAre("2")));
}

TEST_F(ContentCheck, KeepsWhatIsKnownOfARowThatAnUndoCanRestore) {
    AddSnapshot(1);
    (void)Read(100);
    world::Write(KRDB::DB_SNAPSHOT,
                 "INSERT INTO removed (run, removed_tm, kind, row_id, filename) "
                 "SELECT 1, 1, 'snapshot', id, filename FROM snapshot; DELETE FROM snapshot;");
    (void)Read(100);
    EXPECT_THAT(world::Read(KRDB::DB_SNAPSHOT, "SELECT size FROM content;"),
                ElementsAre(ElementsAre("1")));
}

TEST_F(ContentCheck, OutsideOfTheFolderReadsNothing) {
    AddFile(Scratch("elsewhere"), "7.jpg", 7);
    world::Write(KRDB::DB_SNAPSHOT, "INSERT INTO snapshot (filename, start_tm, size) VALUES ('" +
                                        Scratch("elsewhere/7.jpg") + "', 1, 7);");
    EXPECT_THAT(Read(100), IsEmpty());
}

} // namespace
