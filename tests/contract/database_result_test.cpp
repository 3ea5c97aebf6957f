#include "tests/contract/support/execute.h"
#include "tests/contract/support/fixture.h"

namespace {

using contract::Rows;
using testing::ElementsAre;
using testing::SizeIs;

// These tests also run on the scripted platform, where AnswerSelect defines the result of each
// text.
class DatabaseResult : public contract::ContractTest {
protected:
    static constexpr const char* kTwoRows =
        "SELECT 1 AS id, 'a' AS filename UNION ALL SELECT 2, NULL;";

    DatabaseResult() { world::AnswerSelect(kTwoRows, {"id", "filename"}, {{"1", "a"}, {"2", {}}}); }

    // Reads an id that is written as `literal` in SQL; a real database returns it as `text`.
    static std::string IdReadFrom(const std::string& literal, const std::string& text) {
        const std::string select = "SELECT " + literal + " AS id;";
        world::AnswerSelect(select, {"id"}, {{text}});
        return Rows(select).Column("id").at(0);
    }
};

TEST_F(DatabaseResult, VisitsEachRowOnceAndThenStaysAtTheEnd) {
    const Rows rows(kTwoRows);
    int row = 0;

    ASSERT_EQ(KRDBFetchRow(rows.Get(), &row), 0);
    EXPECT_STREQ(KRDBFetchField(rows.Get(), row, "id"), "1");
    EXPECT_STREQ(KRDBFetchField(rows.Get(), row, "filename"), "a");
    ASSERT_EQ(KRDBFetchRow(rows.Get(), &row), 0);
    EXPECT_STREQ(KRDBFetchField(rows.Get(), row, "id"), "2");
    EXPECT_NE(KRDBFetchRow(rows.Get(), &row), 0);
    EXPECT_NE(KRDBFetchRow(rows.Get(), &row), 0);
}

TEST_F(DatabaseResult, ReturnsNullForAFieldThatIsNull) {
    const Rows rows(kTwoRows);

    EXPECT_THAT(rows.Column("filename"), ElementsAre("a", "NULL"));
}

TEST_F(DatabaseResult, ReturnsNullForAMissingColumn) {
    const Rows rows(kTwoRows);

    EXPECT_THAT(rows.Column("path"), ElementsAre("NULL", "NULL"));
}

TEST_F(DatabaseResult, DistinguishesAnEmptyTextFromNull) {
    const std::string select = "SELECT '' AS filename;";
    world::AnswerSelect(select, {"filename"}, {{""}});

    EXPECT_THAT(Rows(select).Column("filename"), ElementsAre(""));
}

TEST_F(DatabaseResult, ReturnsNullForEveryFieldAfterTheLastRow) {
    const Rows rows(kTwoRows);
    int row = 0;
    while (KRDBFetchRow(rows.Get(), &row) == 0) {
    }

    EXPECT_EQ(KRDBFetchField(rows.Get(), row, "id"), nullptr);
    EXPECT_EQ(KRDBFetchField(rows.Get(), row, "filename"), nullptr);
}

TEST_F(DatabaseResult, TreatsANullResultAsEmpty) {
    int row = 0;

    EXPECT_NE(KRDBFetchRow(nullptr, &row), 0);
    EXPECT_EQ(KRDBFetchField(nullptr, row, "id"), nullptr);
    EXPECT_EQ(KRDBFetchField(nullptr, 0, "id"), nullptr);
    KRDBFreeResult(nullptr);
}

TEST_F(DatabaseResult, KeepsAFieldsTextValidUntilTheNextRow) {
    const Rows rows(kTwoRows);
    int row = 0;
    ASSERT_EQ(KRDBFetchRow(rows.Get(), &row), 0);
    const char* const text = KRDBFetchField(rows.Get(), row, "filename");

    const Rows others(kTwoRows);
    int other = 0;
    ASSERT_EQ(KRDBFetchRow(others.Get(), &other), 0);
    ASSERT_EQ(KRDBFetchRow(others.Get(), &other), 0);

    EXPECT_STREQ(text, "a");
}

TEST_F(DatabaseResult, ReturnsTheSmallestAndTheLargestRowId) {
    EXPECT_EQ(IdReadFrom("1", "1"), "1");
    EXPECT_EQ(IdReadFrom("2147483647", "2147483647"), "2147483647");
}

TEST_F(DatabaseResult, WithholdsAnInvalidId) {
    EXPECT_EQ(IdReadFrom("0", "0"), "NULL");
    EXPECT_EQ(IdReadFrom("-1", "-1"), "NULL");
    EXPECT_EQ(IdReadFrom("2147483648", "2147483648"), "NULL");
    EXPECT_EQ(IdReadFrom("4294967297", "4294967297"), "NULL");
    EXPECT_EQ(IdReadFrom("9223372036854775807", "9223372036854775807"), "NULL");
    EXPECT_EQ(IdReadFrom("'1x'", "1x"), "NULL");
    EXPECT_EQ(IdReadFrom("' 1'", " 1"), "NULL");
    EXPECT_EQ(IdReadFrom("''", ""), "NULL");
    EXPECT_EQ(IdReadFrom("1.5", "1.5"), "NULL");
}

TEST_F(DatabaseResult, ReturnsLargeNumbersInOtherColumns) {
    const std::string select = "SELECT 4294967297 AS size;";
    world::AnswerSelect(select, {"size"}, {{"4294967297"}});

    EXPECT_THAT(Rows(select).Column("size"), ElementsAre("4294967297"));
}

// The scripted platform doesn't log withheld ids.
class DatabaseResultLog : public DatabaseResult {};

TEST_F(DatabaseResultLog, ReportsWithheldIdsOncePerResult) {
    const std::string select = "SELECT 0 AS id UNION ALL SELECT 2147483648 UNION ALL SELECT -5;";

    (void)Rows(select).Column("id");
    EXPECT_THAT(world::Log(), SizeIs(1));
    (void)Rows(select).Column("id");
    EXPECT_THAT(world::Log(), SizeIs(2));
}

TEST_F(DatabaseResultLog, IsSilentAboutAnIdThatIsNull) {
    EXPECT_THAT(Rows("SELECT NULL AS id;").Column("id"), ElementsAre("NULL"));

    EXPECT_THAT(world::Log(), SizeIs(0));
}

} // namespace
