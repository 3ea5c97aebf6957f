// Compares the texts by which the recorder and krplan recognise what the tool does
// (recorder/run/taps.h, tools/krplan/toolformats.h) with what the tool executes and logs.

#include "recorder/logging/failures.h"
#include "recorder/run/toolsql.h"
#include "tests/unit/support/commandline.h"
#include "tests/unit/support/platformtest.h"
#include "tests/unit/support/recordings.h"
#include "tools/krplan/toolformats.h"

#include <algorithm>
#include <cerrno>

namespace unit {
namespace {

constexpr const char* kSnapshot = "cam1-20240101-1704067200.jpg";

class TapsTest : public PlatformTest {
protected:
    TapsTest() {
        MakeMediaFolders();
        LogUpTo(LOG_LEVEL_DETAIL);
        AddCamera(7);
    }

    // The reads of media tables that the recorder recognises, in the form "event of camera 7".
    [[nodiscard]] std::vector<std::string> TableReads() const {
        std::vector<std::string> reads;
        for (const fakes::Statement& statement : platform.statements) {
            if (const auto read = recorder::ReadOfMediaTable(statement.sql)) {
                reads.push_back(read->table + " of camera " + std::to_string(read->camId));
            }
        }
        return reads;
    }

    // The deletions that the recorder recognises, in the form "snapshot: id IN (21)".
    [[nodiscard]] std::vector<std::string> Deletions() const {
        std::vector<std::string> deletions;
        for (const fakes::Statement& statement : platform.statements) {
            if (const auto deletion = recorder::DeletionIn(statement.sql)) {
                deletions.push_back(deletion->table + ": " + deletion->condition);
            }
        }
        return deletions;
    }

    [[nodiscard]] bool Logged(std::string_view format) const {
        return std::any_of(platform.messages.begin(), platform.messages.end(),
                           [&](const fakes::Message& message) { return message.format == format; });
    }

    // The texts of the messages that the recorder counts as failures.
    [[nodiscard]] std::vector<std::string> Failures() const {
        std::vector<std::string> failures;
        for (const fakes::Message& message : platform.messages) {
            const auto pointer = [](const fakes::Field& word) {
                return word ? word->c_str() : nullptr;
            };
            if (recorder::IsFailure(pointer(message.categ), pointer(message.level),
                                    message.format.c_str())) {
                failures.push_back(message.text);
            }
        }
        return failures;
    }
};

using Texts = std::vector<std::string>;
constexpr const char* kBeginPart = "tap BeginPart: recorder/run/toolsql.cpp has another text";
constexpr const char* kBrake = "tap RequireWithinLimit: recorder/run/toolsql.cpp has another text";
constexpr const char* kIsFailure = "tap IsFailure: recorder/logging/failures.cpp has another text";
constexpr const char* kFormats = "tools/krplan/toolformats.h has another text";

TEST_F(TapsTest, ReadingATableBeginsAPart) {
    const std::vector<std::pair<Texts, Texts>> readsOfJobs{
        {{"-r", "7"}, {"event of camera 7"}},
        {{"-a", "7"}, {"alert_event of camera 7"}},
        {{"-s"}, {"snapshot of camera 0"}},
        {{"-e"}, {"emap of camera 0"}},
    };
    for (const auto& [arguments, reads] : readsOfJobs) {
        platform.statements.clear();
        EXPECT_EQ(RunMain(arguments), 0);
        EXPECT_EQ(TableReads(), reads) << kBeginPart;
    }
}

TEST_F(TapsTest, ChangingATableBeginsNoPart) {
    MakeFile("cam7/20140312AM/" + RecordingName(1));
    MakeFile(std::string("snap/") + kSnapshot);
    platform.queries[EventSelect(7)] = IdPathRows({{"21", "20140312AM/" + RecordingName(2)}});

    EXPECT_EQ(RunMain({"-r", "7", "-s"}), 0);

    EXPECT_GT(platform.statements.size(), 2U);
    EXPECT_EQ(TableReads(), (Texts{"snapshot of camera 0", "event of camera 7"})) << kBeginPart;
}

TEST_F(TapsTest, RemovingSnapshotsAndEmapsIsRecognised) {
    platform.queries[kSnapshotSelect] = IdPathRows({{"21", kSnapshot}});
    platform.queries[kEmapSelect] = IdPathRows({{"22", "ground-floor.jpg"}});

    EXPECT_EQ(RunMain({"-s", "-e"}), 0);

    EXPECT_EQ(Deletions(), (Texts{"emap: id IN (22)", "snapshot: id IN (21)"})) << kBrake;
}

TEST_F(TapsTest, MessageWithAnErrnoIsAFailure) {
    MakeDir("cam7/20140312AM");
    libc.opendirErrors[Path("cam7/20140312AM")] = EIO;
    MakeFile(std::string("snap/") + kSnapshot);
    libc.statErrors[Path(std::string("snap/") + kSnapshot)] = EIO;

    EXPECT_EQ(RunMain({"-r", "7", "-s"}), 0);

    EXPECT_EQ(Failures(),
              (Texts{"Failed to stat file [" + Path("snap/") + kSnapshot + "] with errno [5].\n",
                     "Failed to opendir [" + Path("cam7/20140312AM") + "] with errno [5].\n"}))
        << kIsFailure;
}

TEST_F(TapsTest, UnreadableClockIsOneFailure) {
    libc.clockError = EPERM;
    EXPECT_EQ(RunMain({"-r", "7"}), 0);
    EXPECT_EQ(Failures(), (Texts{"Failed to get start time with errno [1].\n"})) << kIsFailure;
}

TEST_F(TapsTest, PlanRecognisesTheJobs) {
    EXPECT_EQ(RunMain({"-r", "7", "-a", "7", "-s", "-e"}), 0);

    for (const plan::JobBeginning& beginning : plan::kJobBeginnings) {
        EXPECT_TRUE(Logged(beginning.format)) << kFormats << ": " << beginning.format;
    }
}

TEST_F(TapsTest, PlanRecognisesTheMessagesAboutFiles) {
    const std::string changed = MakeFile("cam7/20140312AM/" + RecordingName(1));
    libc.clock = timespec{1, 0};
    EXPECT_EQ(RunMain({"-r", "7"}), 0);
    EXPECT_TRUE(Logged(plan::kChangedAfterStart)) << kFormats;
    libc.clock.reset();
    MakeFile("cam7/20140312AM/notes.mp4");
    MakeFile("snap/notes.jpg");
    platform.FailAlways("GetEvtRecInfo");
    EXPECT_EQ(RunMain({"-r", "7", "-s"}), 0);
    EXPECT_TRUE(Logged(plan::kDamaged)) << kFormats;
    EXPECT_TRUE(Logged(plan::kBadEventName)) << kFormats;
    EXPECT_TRUE(Logged(plan::kBadSnapshotName)) << kFormats;
}

} // namespace
} // namespace unit
