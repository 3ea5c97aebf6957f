#include "tools/common/terminal.h"

#include <gtest/gtest.h>

namespace {

TEST(Printable, EscapesControlCharacters) {
    EXPECT_EQ(Printable("a\tb\nc\rd\x1b[2J\x7f"), "a\\tb\\nc\\x0dd\\x1b[2J\\x7f");
}

TEST(Printable, LeavesOtherBytesUnchanged) {
    EXPECT_EQ(Printable("Höf \xff"), "Höf \xff");
}

TEST(DisplayWidth, CountsCharacters) {
    EXPECT_EQ(DisplayWidth("Höf"), 3U);
    EXPECT_EQ(DisplayWidth(""), 0U);
}

TEST(DisplayWidth, CountsEachInvalidByteAsOne) {
    EXPECT_EQ(DisplayWidth("\xff\xfe"), 2U);
}

TEST(Shortened, LeavesATextThatFitsUnchanged) {
    EXPECT_EQ(Shortened("Höf", 3), "Höf");
}

TEST(Shortened, EndsInAnEllipsisAndNotWithinACharacter) {
    EXPECT_EQ(Shortened("Höfe", 3), "Hö…");
    EXPECT_EQ(Shortened("öö", 1), "…");
}

TEST(Shortened, IsEmptyIfTheWidthIsZero) {
    EXPECT_EQ(Shortened("a", 0), "");
}

} // namespace
