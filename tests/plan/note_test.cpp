#include "tools/common/note.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using plan::LineOf;
using plan::Note;
using plan::ParseLine;
using plan::Reason;

std::optional<Note> ThereAndBack(const Note& note) {
    std::string line = LineOf(note);
    EXPECT_EQ(line.back(), '\n');
    line.pop_back();
    return ParseLine(line);
}

TEST(Note, IsALineOfSixFields) {
    EXPECT_EQ(LineOf({Reason::RowWithoutFile, "event", 3, "/a/b c", 17, 0}),
              "row-without-file\tevent\t3\t/a/b c\t17\t0\n");
    EXPECT_EQ(LineOf({Reason::Part, "emap", 0, "", 5, 6}), "part\temap\t0\t\t5\t6\n");
}

TEST(Note, WithAnyBytesIsReadAsItWasWritten) {
    std::string text;
    for (int byte = 1; byte < 256; ++byte) {
        text += static_cast<char>(byte);
    }

    const std::optional<Note> note = ThereAndBack({Reason::BadlyNamed, "snapshot", 0, text, 0, 0});

    ASSERT_TRUE(note);
    EXPECT_EQ(note->reason, Reason::BadlyNamed);
    EXPECT_EQ(note->kind, "snapshot");
    EXPECT_EQ(note->text, text);
}

TEST(Note, KeepsItsNumbers) {
    const std::optional<Note> note =
        ThereAndBack({Reason::Part, "event", 2147483647, "", 3000000000, 4000000000});

    ASSERT_TRUE(note);
    EXPECT_EQ(note->camId, 2147483647);
    EXPECT_EQ(note->number, 3000000000);
    EXPECT_EQ(note->files, 4000000000);
}

TEST(Note, HasANameForEveryReasonThatIsReadBack) {
    for (int number = 0; number <= static_cast<int>(Reason::End); ++number) {
        const auto reason = static_cast<Reason>(number);
        const std::optional<Note> note = ThereAndBack({reason, "", 0, "", 0, 0});
        ASSERT_TRUE(note) << number;
        EXPECT_EQ(note->reason, reason);
    }
}

TEST(Note, IsAnItemIfItsReasonPrecedesWarning) {
    EXPECT_TRUE(plan::IsItem(Reason::FileWithoutRow));
    EXPECT_TRUE(plan::IsItem(Reason::Damaged));
    EXPECT_FALSE(plan::IsItem(Reason::Warning));
    EXPECT_FALSE(plan::IsItem(Reason::Part));
}

TEST(Note, IsNotParsedFromAnyOtherLine) {
    for (const char* line : {
             "",
             "part",
             "part\temap\t0\t\t5",
             "part\temap\t0\t\t5\t6\t7",
             "nothing\temap\t0\t\t5\t6",
             "part\temap\tx\t\t5\t6",
             "part\temap\t0\t\t5x\t6",
             "part\temap\t0\t\t\t6",
             "part\temap\t0\t\\\t5\t6",
             "part\temap\t0\t\\x\t5\t6",
         }) {
        EXPECT_FALSE(ParseLine(line)) << line;
    }
}

} // namespace
