#include "tools/common/terminal.h"

#include <gtest/gtest.h>

namespace {

TEST(Printable, EscapesControlCharacters) {
    EXPECT_EQ(Printable("a\tb\nc\rd\x1b[2J\x7f"), "a\\tb\\nc\\x0dd\\x1b[2J\\x7f");
}

TEST(Printable, EscapesControlCharactersAboveAscii) {
    EXPECT_EQ(Printable("a\u009b2J\u0085\u00a0"), "a\\x9b2J\\x85\u00a0");
}

TEST(Printable, EscapesMarksThatChangeTheDirectionOfWriting) {
    EXPECT_EQ(Printable("a\u202eb\u2066c\u2028"), "a\\u202eb\\u2066c\\u2028");
}

TEST(Printable, EscapesBytesThatAreNotUtf8) {
    EXPECT_EQ(Printable("Höf \xff"), "Höf \\xff");
    EXPECT_EQ(Printable("\xc3"), "\\xc3");
    EXPECT_EQ(Printable("\xc3("), "\\xc3(");
    EXPECT_EQ(Printable("\xe2\x82"), "\\xe2\\x82");
    EXPECT_EQ(Printable("\xc0\xaf"), "\\xc0\\xaf");                   // too long for its code
    EXPECT_EQ(Printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");          // a surrogate
    EXPECT_EQ(Printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80"); // above U+10FFFF
}

TEST(Printable, LeavesOtherCharactersUnchanged) {
    EXPECT_EQ(Printable("Höf 正門 \U0001f3a5"), "Höf 正門 \U0001f3a5");
}

TEST(DisplayWidth, CountsColumns) {
    EXPECT_EQ(DisplayWidth("Höf"), 3U);
    EXPECT_EQ(DisplayWidth("正門"), 4U);
    EXPECT_EQ(DisplayWidth("e\xcc\x81"), 1U);
    EXPECT_EQ(DisplayWidth("\U0001f3a5"), 2U);
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

TEST(Shortened, CountsColumns) {
    EXPECT_EQ(Shortened("正門前", 6), "正門前");
    EXPECT_EQ(Shortened("正門前", 5), "正門…");
    EXPECT_EQ(Shortened("正門前", 4), "正…");
}

TEST(Shortened, IsEmptyIfTheWidthIsZero) {
    EXPECT_EQ(Shortened("a", 0), "");
}

} // namespace
