#include "platform/utility.h"
#include "tests/contract/support/fixture.h"

namespace {

using testing::HasSubstr;
using testing::SizeIs;

class UtilityRegEx : public contract::ContractTest {};

bool Matches(const std::string& pattern, const std::string& text) {
    return KRRegEx(pattern).IsMatch(text);
}

TEST_F(UtilityRegEx, MatchesAnywhereInTheText) {
    EXPECT_TRUE(Matches("b", "abc"));
    EXPECT_TRUE(Matches("", "abc"));
    EXPECT_TRUE(Matches("", ""));
    EXPECT_FALSE(Matches("d", "abc"));
}

TEST_F(UtilityRegEx, UsesTheExtendedSyntax) {
    EXPECT_TRUE(Matches("^(ab|cd){2,3}x?[^0-9]+$", "abcdq"));
    EXPECT_FALSE(Matches("^(ab|cd){2,3}x?[^0-9]+$", "abq"));
    EXPECT_TRUE(Matches("^[[:digit:]]{8}[AP]M$", "20140312AM"));
    EXPECT_FALSE(Matches("^[[:digit:]]{8}[AP]M$", "2014031xAM"));
    EXPECT_TRUE(Matches("^a\\.b$", "a.b"));
    EXPECT_FALSE(Matches("^a\\.b$", "axb"));
    EXPECT_TRUE(Matches("^[]a]+$", "]a"));
}

TEST_F(UtilityRegEx, IsCaseSensitive) {
    EXPECT_FALSE(Matches("jpg", "JPG"));
}

TEST_F(UtilityRegEx, MatchesEveryByteWithADot) {
    for (int byte = 1; byte <= 0xff; ++byte) {
        EXPECT_TRUE(Matches("^a.b$", std::string("a") + static_cast<char>(byte) + "b")) << byte;
    }
}

TEST_F(UtilityRegEx, CountsBytesNotCharacters) {
    EXPECT_TRUE(Matches("^..$", "\xc3\xa9"));
    EXPECT_FALSE(Matches("^.$", "\xc3\xa9"));
}

TEST_F(UtilityRegEx, AnchorsOnlyAtTheStartAndEndOfTheText) {
    EXPECT_FALSE(Matches("^b", "a\nb"));
    EXPECT_FALSE(Matches("a$", "a\nb"));
    EXPECT_FALSE(Matches("a$", "a\n"));
    EXPECT_TRUE(Matches("^a\n$", "a\n"));
}

TEST_F(UtilityRegEx, MatchesNothingIfThePatternIsInvalid) {
    EXPECT_FALSE(Matches("(unclosed", "(unclosed"));
    EXPECT_FALSE(Matches("[z-a]", "z"));
    EXPECT_FALSE(Matches("[unclosed", "[unclosed"));
}

TEST_F(UtilityRegEx, LogsAnInvalidPatternOnce) {
    // A pattern is compiled once per process, so no other test may use this one.
    const KRRegEx first("(logged once");
    const KRRegEx second("(logged once");

    ASSERT_THAT(world::Log(), SizeIs(1));
    EXPECT_THAT(world::Log().front(), HasSubstr("(logged once"));
}

TEST_F(UtilityRegEx, OutlivesTheOneItWasCopiedFrom) {
    const auto copyOfATemporary = [] {
        const KRRegEx original("^a+$");
        return KRRegEx(original);
    }();

    EXPECT_TRUE(copyOfATemporary.IsMatch("aaa"));
}

// If the time doubled with each letter, the test would be killed before it ended.
TEST_F(UtilityRegEx, TakesLinearTime) {
    EXPECT_FALSE(Matches("^(a+)+$", std::string(100'000, 'a') + "b"));
    EXPECT_FALSE(Matches("^(a|a)*$", std::string(100'000, 'a') + "b"));
}

} // namespace
