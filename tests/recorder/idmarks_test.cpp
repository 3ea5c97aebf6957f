#include "recorder/database/idmarks.h"
#include "recorder/support/paths.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"

#include <filesystem>

namespace {

using recorder::HighestNotedId;
using recorder::IdKind;
using recorder::NoteId;
using testing::SizeIs;

class IdMarks : public contract::ContractTest {
protected:
    IdMarks() { std::filesystem::remove(recorder::kIdMarksFile); }
};

TEST_F(IdMarks, AreUnknownIfTheirFileIsMissing) {
    EXPECT_EQ(HighestNotedId(IdKind::Run), std::nullopt);
    EXPECT_EQ(HighestNotedId(IdKind::Outbox), std::nullopt);
}

TEST_F(IdMarks, NeverDecrease) {
    NoteId(IdKind::Run, 7);
    NoteId(IdKind::Run, 5);

    EXPECT_EQ(HighestNotedId(IdKind::Run), 7);
}

TEST_F(IdMarks, AreSeparateForEachKind) {
    NoteId(IdKind::Outbox, 9);

    EXPECT_EQ(HighestNotedId(IdKind::Run), std::nullopt);
    EXPECT_EQ(HighestNotedId(IdKind::Outbox), 9);
}

TEST_F(IdMarks, KeepTheSizeOfTheirFileWhenTheyIncrease) {
    NoteId(IdKind::Run, 1);
    const auto size = std::filesystem::file_size(recorder::kIdMarksFile);

    recorder::NoteIdForGood(IdKind::Run, 9223372036854775806);
    NoteId(IdKind::Outbox, 9223372036854775806);

    EXPECT_EQ(std::filesystem::file_size(recorder::kIdMarksFile), size);
    EXPECT_EQ(HighestNotedId(IdKind::Run), 9223372036854775806);
}

class IdMarksDamaged : public IdMarks, public testing::WithParamInterface<const char*> {};

TEST_P(IdMarksDamaged, AreReportedAsDamagedAndThenRewritten) {
    contract::PutFile(recorder::kIdMarksFile, GetParam());

    EXPECT_EQ(HighestNotedId(IdKind::Run), std::nullopt);

    EXPECT_THAT(LogLinesWith("is damaged"), SizeIs(1));
    NoteId(IdKind::Run, 3);
    EXPECT_EQ(HighestNotedId(IdKind::Run), 3);
    EXPECT_EQ(HighestNotedId(IdKind::Outbox), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    OfEachKind, IdMarksDamaged,
    testing::Values("run 9223372036854775807\noutbox 0000000000000000002\n",
                    "run 0000000000000000007\noutbox 9223372036854775807\n",
                    "run -000000000000000007\noutbox 0000000000000000002\n",
                    "run 0000000000000000007\noutbox 0000000000000000002\nand more\n",
                    "run 0000000000000000007\noutbox 0000000000000000002", "run 7\noutbox 2\n",
                    "ruin 7\n"));

TEST_F(IdMarks, AreNotWrittenThroughALink) {
    std::filesystem::create_symlink(Scratch("elsewhere"), recorder::kIdMarksFile);

    EXPECT_ANY_THROW(NoteId(IdKind::Run, 3));

    EXPECT_FALSE(std::filesystem::exists(Scratch("elsewhere")));
}

} // namespace
