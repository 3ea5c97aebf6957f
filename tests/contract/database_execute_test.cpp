#include "platform/database.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/resultrows.h"

namespace {

using contract::Rows;
using contract::RunText;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class DatabaseExecute : public contract::ContractTest {
protected:
    static std::vector<world::Row> Emaps() {
        return world::Read(KRDB::DB_SYSTEM, "SELECT id, filename FROM emap ORDER BY id;");
    }
};

std::string InsertEmap(int id, const std::string& literal) {
    return "INSERT INTO emap (id, filename) VALUES (" + std::to_string(id) + ", " + literal + ");";
}

// A text of SQL in quotes, as the standard writes them.
std::string Literal(const std::string& text) {
    std::string literal = "'";
    for (const char c : text) {
        literal += c == '\'' ? "''" : std::string(1, c);
    }
    return literal + "'";
}

TEST_F(DatabaseExecute, RunsEveryStatementInOrderWithNothingInBetween) {
    EXPECT_EQ(
        RunText(InsertEmap(1, "'a'") + InsertEmap(2, "'b'") + "DELETE FROM emap WHERE id = 1;"), 0);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"2", "b"}));
}

TEST_F(DatabaseExecute, YieldsTheRowsOfAllStatementsInOrder) {
    const std::string insert = "INSERT INTO emap (filename) VALUES ('x') RETURNING id;";

    const Rows rows("SELECT 5 AS id;" + insert + "SELECT 7 AS id;" + insert);

    EXPECT_THAT(rows.Column("id"), ElementsAre("5", "1", "7", "2"));
}

TEST_F(DatabaseExecute, FailsWhenStatementsYieldDifferentColumns) {
    EXPECT_NE(RunText("SELECT 1 AS a; SELECT 2 AS b;"), 0);
}

TEST_F(DatabaseExecute, SetsAResultWithoutRowsWhenNoStatementYieldsOne) {
    DBResult_tag* result = nullptr;

    EXPECT_EQ(
        KRDB::Execute(KRDB::DB_SYSTEM, InsertEmap(1, "'a'"), &result, false, true, true, true), 0);

    int row = 0;
    EXPECT_NE(result, nullptr);
    EXPECT_NE(KRDBFetchRow(result, &row), 0);
    KRDBFreeResult(result);
}

TEST_F(DatabaseExecute, LeavesTheResultAsItWasOnFailure) {
    auto* const before = reinterpret_cast<DBResult_tag*>(0x10);
    DBResult_tag* result = before;

    EXPECT_NE(KRDB::Execute(KRDB::DB_SYSTEM, "SELECT 1; SELECT nonsense;", &result, false, true,
                            true, false),
              0);

    EXPECT_EQ(result, before);
}

TEST_F(DatabaseExecute, FailsWhenTheReadingBreaksOffHalfWay) {
    const std::string ids = InsertEmap(1, "'5'") + InsertEmap(2, "'broken'");
    ASSERT_EQ(RunText(ids), 0);
    DBResult_tag* result = nullptr;

    EXPECT_NE(KRDB::Execute(KRDB::DB_SYSTEM,
                            "SELECT CASE filename WHEN '5' THEN 5 ELSE abs(-9223372036854775806 - "
                            "id) END AS id FROM emap ORDER BY id;",
                            &result, true, false, true, true),
              0);

    EXPECT_EQ(result, nullptr);
}

TEST_F(DatabaseExecute, TakesATextWithoutAnyStatement) {
    EXPECT_EQ(RunText(""), 0);
    EXPECT_EQ(RunText(" \n"), 0);
}

TEST_F(DatabaseExecute, WritesNothingReadOnlyAndReadsAllTheSame) {
    ASSERT_EQ(RunText(InsertEmap(1, "'a'")), 0);

    for (const char* const sql :
         {"INSERT INTO emap (filename) VALUES ('b');", "UPDATE emap SET filename = 'b';",
          "DELETE FROM emap;", "DROP TABLE emap;", "CREATE TABLE other (id INTEGER);",
          "INSERT INTO emap (filename) VALUES ('b') RETURNING id;"}) {
        EXPECT_NE(KRDB::Execute(KRDB::DB_SYSTEM, sql, nullptr, true, true, true, false), 0) << sql;
        EXPECT_NE(KRDB::Execute(KRDB::DB_SYSTEM, sql, nullptr, true, false, true, false), 0) << sql;
    }
    EXPECT_EQ(
        KRDB::Execute(KRDB::DB_SYSTEM, "SELECT id FROM emap;", nullptr, true, true, true, true), 0);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"1", "a"}));
}

TEST_F(DatabaseExecute, ReadOnlyRefusesAWritingStatementBehindAReadingOne) {
    EXPECT_NE(KRDB::Execute(KRDB::DB_SYSTEM, "SELECT 1 AS id;" + InsertEmap(1, "'a'"), nullptr,
                            true, true, true, false),
              0);

    EXPECT_THAT(Emaps(), IsEmpty());
}

TEST_F(DatabaseExecute, UndoesEverythingWhenAStatementOfATransactionFails) {
    EXPECT_NE(KRDB::Execute(KRDB::DB_SYSTEM,
                            InsertEmap(1, "'a'") + InsertEmap(2, "'b'") + InsertEmap(1, "'c'") +
                                InsertEmap(3, "'d'"),
                            nullptr, false, true, true, false),
              0);

    EXPECT_THAT(Emaps(), IsEmpty());
}

TEST_F(DatabaseExecute, KeepsWhatCameBeforeAFailureWithoutATransaction) {
    EXPECT_NE(KRDB::Execute(KRDB::DB_SYSTEM,
                            InsertEmap(1, "'a'") + InsertEmap(1, "'b'") + InsertEmap(2, "'c'"),
                            nullptr, false, false, true, false),
              0);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"1", "a"}));
}

TEST_F(DatabaseExecute, WorksAgainAfterAFailedTransaction) {
    ASSERT_NE(KRDB::Execute(KRDB::DB_SYSTEM, InsertEmap(1, "'a'") + "nonsense;", nullptr, false,
                            true, true, false),
              0);

    EXPECT_EQ(RunText(InsertEmap(2, "'b'")), 0);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"2", "b"}));
}

TEST_F(DatabaseExecute, LogsOneLineWithDatabaseAndReasonWhereAsked) {
    EXPECT_NE(
        KRDB::Execute(KRDB::DB_SYSTEM, "SELECT x FROM missing;", nullptr, false, false, true, true),
        0);

    ASSERT_EQ(world::Log().size(), 1U);
    EXPECT_THAT(world::Log().front(), HasSubstr(world::NameInLog(KRDB::DB_SYSTEM)));
    EXPECT_THAT(world::Log().front(), HasSubstr("missing"));
}

TEST_F(DatabaseExecute, NamesTheDatabaseWhenStatementsYieldDifferentColumns) {
    EXPECT_NE(KRDB::Execute(KRDB::DB_SYSTEM, "SELECT 1 AS a; SELECT 2 AS b;", nullptr, false, false,
                            true, true),
              0);

    ASSERT_EQ(world::Log().size(), 1U);
    EXPECT_THAT(world::Log().front(), HasSubstr(world::NameInLog(KRDB::DB_SYSTEM)));
}

TEST_F(DatabaseExecute, LogsNoFailureWhereNotAsked) {
    EXPECT_NE(KRDB::Execute(KRDB::DB_SYSTEM, "SELECT x FROM missing;", nullptr, false, false, true,
                            false),
              0);

    EXPECT_THAT(world::Log(), IsEmpty());
}

TEST_F(DatabaseExecute, FailsOnTheDatabaseThatIsNone) {
    EXPECT_NE(KRDB::Execute(KRDB::DB_NONE, "SELECT 1;", nullptr, true, false, true, true), 0);

    ASSERT_EQ(world::Log().size(), 1U);
    EXPECT_THAT(world::Log().front(), HasSubstr("15"));
}

TEST_F(DatabaseExecute, FailsOnADatabaseThatCantBeRead) {
    world::Spoil(KRDB::DB_SNAPSHOT);

    EXPECT_NE(KRDB::Execute(KRDB::DB_SNAPSHOT, "SELECT id FROM snapshot;", nullptr, true, false,
                            true, true),
              0);

    EXPECT_EQ(world::Log().size(), 1U);
}

TEST_F(DatabaseExecute, KeepsEveryByteOfALiteral) {
    for (const std::string& name : contract::HostileNames()) {
        world::Renew();

        ASSERT_EQ(RunText(InsertEmap(1, Literal(name))), 0) << name;

        EXPECT_THAT(Emaps(), ElementsAre(world::Row{"1", name}));
        EXPECT_THAT(Rows("SELECT filename FROM emap;").Column("filename"), ElementsAre(name));
    }
}

TEST_F(DatabaseExecute, KeepsEveryByteValueButNul) {
    std::string all;
    for (int byte = 1; byte <= 0xff; ++byte) {
        all += static_cast<char>(byte);
    }

    ASSERT_EQ(RunText(InsertEmap(1, Literal(all))), 0);

    EXPECT_THAT(Rows("SELECT filename FROM emap;").Column("filename"), ElementsAre(all));
}

TEST_F(DatabaseExecute, RunsTensOfThousandsOfStatementsInOneText) {
    constexpr int kCount = 20000;
    std::string sql;
    for (int id = 1; id <= kCount; ++id) {
        sql += "INSERT INTO emap (filename) VALUES ('" + std::to_string(id) + "') RETURNING id;";
    }

    const std::vector<std::string> ids = Rows(sql).Column("id");

    ASSERT_EQ(ids.size(), static_cast<std::size_t>(kCount));
    EXPECT_EQ(ids.front(), "1");
    EXPECT_EQ(ids.back(), "20000");
    EXPECT_THAT(world::Read(KRDB::DB_SYSTEM,
                            "SELECT count(*) FROM emap WHERE filename = CAST(id AS TEXT);"),
                ElementsAre(world::Row{"20000"}));
}

TEST_F(DatabaseExecute, KnowsTheMediaTablesByTheirNames) {
    const auto selects = [](KRDB::DB_INSTANCE db, const std::string& columns, const char* table) {
        return KRDB::Execute(db, "SELECT " + columns + " FROM " + table + ";", nullptr, true, false,
                             true, true);
    };

    EXPECT_EQ(selects(KRDB::DB_SYSTEM, "id, filename", gszTableEmap), 0);
    EXPECT_EQ(selects(KRDB::DB_SNAPSHOT, "id, filename", gszTableSnapshot), 0);
    EXPECT_EQ(selects(KRDB::DB_RECORDING, "id, path, camera_id", gszTableEvent), 0);
    EXPECT_EQ(selects(KRDB::DB_RECORDING, "id, path, camera_id", gszTableAlertEvent), 0);
}

} // namespace
