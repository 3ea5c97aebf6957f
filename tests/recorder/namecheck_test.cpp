#include "recorder/check/namecheck.h"

#include "recorder/settings/settings.h"
#include "tests/contract/support/execute.h"
#include "tests/contract/support/fixture.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using recorder::CheckedPart;
using recorder::CheckResult;
using recorder::Difference;
using recorder::FindingType;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

constexpr const char* kVolumeId = "3f0c1a6e-6f0e-4c34-9d4f-0a3c5b9a7e11";
constexpr const char* kOtherVolumeId = "7d9a0b52-1c53-4f8e-8a43-6b7e2f1c9d00";
constexpr const char* kHalfDay = "20140312AM";

// Something happens when the check has the first file: the rows of its page are read then.
class NameCheck : public contract::ContractTest {
protected:
    using Found = std::vector<std::pair<FindingType, std::string>>;

    static void AddSnapshot(const std::string& name, int size) {
        world::Write(KRDB::DB_SNAPSHOT,
                     "INSERT INTO snapshot (filename, start_tm, size) VALUES ('" + name + "', 1, " +
                         std::to_string(size) + ");");
    }

    static void AddFile(const std::filesystem::path& file, int size) {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << std::string(static_cast<std::size_t>(size), 'x');
    }

    static std::string Snapshot(const std::string& name) {
        return recorder::GetSettings().snapshot.folder + "/" + name;
    }

    void Check(const CheckedPart& part, const std::function<void()>& atFirstFile) {
        bool isFirst = true;
        const long startTm = std::numeric_limits<long>::max(); // no file is being written
        m_result = recorder::CheckNames(
            part, startTm,
            [&](const Difference& difference) {
                m_found.emplace_back(difference.type, difference.row.path);
            },
            [&](const recorder::MediaRow&, const std::string&, const struct stat64&) {
                if (isFirst) {
                    isFirst = false;
                    atFirstFile();
                }
            });
        EXPECT_FALSE(isFirst);
    }

    // A snapshot in order, one of another size than its row, and a row without a file.
    void CheckSnapshots(const std::string& sqlMeanwhile) {
        for (const char* const name : {"a.jpg", "b.jpg", "c.jpg"}) {
            AddSnapshot(name, 1);
        }
        AddFile(Snapshot("a.jpg"), 1);
        AddFile(Snapshot("b.jpg"), 2);
        Check({recorder::MediaTableOf(gszTableSnapshot), 0}, [&] {
            if (!sqlMeanwhile.empty()) {
                world::Write(KRDB::DB_SNAPSHOT, sqlMeanwhile);
            }
        });
        EXPECT_THAT(m_result.problems, IsEmpty());
        EXPECT_EQ(m_result.rows, 3);
    }

    // A camera on a disk, with a recording and a row without a file.
    void AddCamera() {
        const std::string storage = MakeFolder("disk/Front");
        PutIdentity(kVolumeId);
        world::AddCamera({.id = 1, .storagePath = storage, .volumeId = kVolumeId});
        for (const char* const name : {"a.mp4", "b.mp4"}) {
            world::Write(KRDB::DB_RECORDING,
                         "INSERT INTO event (ds_id, camera_id, path, start_tm, end_tm, size, "
                         "vdo_type, aud_fmt, img_w, img_h) VALUES (0, 1, '" +
                             (kHalfDay + ("/" + std::string(name))) + "', 1, 2, 1, 4, '', 5, 6);");
        }
        AddFile(storage + "/" + kHalfDay + "/a.mp4", 1);
    }

    static void PutIdentity(const std::string& id) {
        std::ofstream(Scratch("disk/.kestora-volume")) << id << '\n';
    }

    void CheckRecordings(const std::function<void()>& atFirstFile) {
        Check({recorder::MediaTableOf(gszTableEvent), 1}, atFirstFile);
    }

    Found m_found;
    CheckResult m_result;
};

TEST_F(NameCheck, FindsTheDifferencesOfRowsThatStay) {
    CheckSnapshots("");
    EXPECT_THAT(m_found,
                ElementsAre(Pair(FindingType::Size, "b.jpg"), Pair(FindingType::Missing, "c.jpg")));
}

TEST_F(NameCheck, FindsNothingOfRowsThatAreRemovedMeanwhile) {
    CheckSnapshots("DELETE FROM snapshot WHERE filename <> 'a.jpg';");
    EXPECT_THAT(m_found, IsEmpty());
}

TEST_F(NameCheck, FindsNothingOfRowsThatAreChangedMeanwhile) {
    CheckSnapshots("UPDATE snapshot SET size = 2 WHERE filename = 'b.jpg';"
                   "UPDATE snapshot SET filename = '0.jpg' WHERE filename = 'c.jpg';");
    EXPECT_THAT(m_found, IsEmpty());
}

TEST_F(NameCheck, FindsNoMissingFileThatIsBackMeanwhile) {
    AddSnapshot("a.jpg", 1);
    AddSnapshot("A.jpg", 1); // before the first file: it is missing then
    AddFile(Snapshot("a.jpg"), 1);
    Check({recorder::MediaTableOf(gszTableSnapshot), 0}, [] { AddFile(Snapshot("A.jpg"), 1); });
    EXPECT_THAT(m_found, IsEmpty());
}

TEST_F(NameCheck, FindsMissingFilesOnADiskThatStays) {
    AddCamera();
    CheckRecordings([] {});
    EXPECT_THAT(m_found, ElementsAre(Pair(FindingType::Missing, "20140312AM/b.mp4")));
    EXPECT_THAT(m_result.problems, IsEmpty());
}

TEST_F(NameCheck, CallsNothingMissingIfTheDiskIsReplacedMeanwhile) {
    AddCamera();
    CheckRecordings([] { PutIdentity(kOtherVolumeId); });
    EXPECT_THAT(m_found, IsEmpty());
    EXPECT_THAT(m_result.problems, ElementsAre(HasSubstr(kVolumeId)));
    EXPECT_EQ(m_result.listed, "");
}

TEST_F(NameCheck, CallsNothingMissingIfTheDiskIsGoneMeanwhile) {
    AddCamera();
    CheckRecordings([] { std::filesystem::rename(Scratch("disk"), Scratch("elsewhere")); });
    EXPECT_THAT(m_found, IsEmpty());
    EXPECT_EQ(m_result.problems.size(), 1U);
}

TEST_F(NameCheck, CallsNothingMissingIfTheStorageFolderIsReplacedMeanwhile) {
    AddCamera();
    CheckRecordings([] {
        std::filesystem::rename(Scratch("disk/Front"), Scratch("disk/Old"));
        MakeFolder("disk/Front");
    });
    EXPECT_THAT(m_found, IsEmpty());
    EXPECT_THAT(m_result.problems, ElementsAre(HasSubstr("was replaced during the check")));
}

} // namespace
