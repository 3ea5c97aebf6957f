#include "platform/database.h"
#include "tests/contract/support/execute.h"
#include "tests/contract/support/fixture.h"

namespace {

using contract::Execute;
using contract::Rows;
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

// The text as a literal of standard SQL.
std::string Literal(const std::string& text) {
    std::string literal = "'";
    for (const char c : text) {
        literal += c == '\'' ? "''" : std::string(1, c);
    }
    return literal + "'";
}

TEST_F(DatabaseExecute, RunsAllStatementsInOrder) {
    EXPECT_EQ(
        Execute(InsertEmap(1, "'a'") + InsertEmap(2, "'b'") + "DELETE FROM emap WHERE id = 1;"), 0);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"2", "b"}));
}

TEST_F(DatabaseExecute, ReturnsTheRowsOfAllStatementsInOrder) {
    const std::string insert = "INSERT INTO emap (filename) VALUES ('x') RETURNING id;";

    const Rows rows("SELECT 5 AS id;" + insert + "SELECT 7 AS id;" + insert);

    EXPECT_THAT(rows.Column("id"), ElementsAre("5", "1", "7", "2"));
}

TEST_F(DatabaseExecute, FailsIfStatementsReturnDifferentColumns) {
    EXPECT_NE(Execute("SELECT 1 AS a; SELECT 2 AS b;"), 0);
}

TEST_F(DatabaseExecute, SetsAnEmptyResultIfNoStatementReturnsRows) {
    const Rows rows(InsertEmap(1, "'a'"));

    EXPECT_NE(rows.Get(), nullptr);
    EXPECT_THAT(rows.Column("id"), IsEmpty());
}

TEST_F(DatabaseExecute, LeavesTheResultPointerUnchangedOnFailure) {
    auto* const before = reinterpret_cast<DBResult_tag*>(0x10);
    DBResult_tag* result = before;

    EXPECT_NE(KRDB::Execute(KRDB::DB_SYSTEM, "SELECT 1; SELECT nonsense;", &result, false, true,
                            true, false),
              0);

    EXPECT_EQ(result, before);
}

TEST_F(DatabaseExecute, FailsIfReadingTheRowsFailsHalfway) {
    const std::string ids = InsertEmap(1, "'5'") + InsertEmap(2, "'broken'");
    ASSERT_EQ(Execute(ids), 0);
    DBResult_tag* result = nullptr;

    EXPECT_NE(KRDB::Execute(KRDB::DB_SYSTEM,
                            "SELECT CASE filename WHEN '5' THEN 5 ELSE abs(-9223372036854775806 - "
                            "id) END AS id FROM emap ORDER BY id;",
                            &result, true, false, true, true),
              0);

    EXPECT_EQ(result, nullptr);
}

TEST_F(DatabaseExecute, SucceedsForATextWithoutStatements) {
    EXPECT_EQ(Execute(""), 0);
    EXPECT_EQ(Execute(" \n"), 0);
}

TEST_F(DatabaseExecute, ReadsButRefusesToWriteIfReadOnly) {
    ASSERT_EQ(Execute(InsertEmap(1, "'a'")), 0);

    for (const char* const sql :
         {"INSERT INTO emap (filename) VALUES ('b');", "UPDATE emap SET filename = 'b';",
          "DELETE FROM emap;", "DROP TABLE emap;", "CREATE TABLE other (id INTEGER);",
          "INSERT INTO emap (filename) VALUES ('b') RETURNING id;"}) {
        EXPECT_NE(Execute(sql, {.readOnly = true, .logError = false}), 0) << sql;
        EXPECT_NE(Execute(sql, {.readOnly = true, .transaction = false, .logError = false}), 0)
            << sql;
    }
    EXPECT_EQ(Execute("SELECT id FROM emap;", {.readOnly = true}), 0);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"1", "a"}));
}

TEST_F(DatabaseExecute, RefusesAWriteAfterAReadIfReadOnly) {
    EXPECT_NE(
        Execute("SELECT 1 AS id;" + InsertEmap(1, "'a'"), {.readOnly = true, .logError = false}),
        0);

    EXPECT_THAT(Emaps(), IsEmpty());
}

TEST_F(DatabaseExecute, RollsTheWholeTransactionBackIfAStatementFails) {
    EXPECT_NE(Execute(InsertEmap(1, "'a'") + InsertEmap(2, "'b'") + InsertEmap(1, "'c'") +
                          InsertEmap(3, "'d'"),
                      {.logError = false}),
              0);

    EXPECT_THAT(Emaps(), IsEmpty());
}

TEST_F(DatabaseExecute, KeepsTheStatementsBeforeAFailureWithoutATransaction) {
    EXPECT_NE(Execute(InsertEmap(1, "'a'") + InsertEmap(1, "'b'") + InsertEmap(2, "'c'"),
                      {.transaction = false, .logError = false}),
              0);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"1", "a"}));
}

TEST_F(DatabaseExecute, SucceedsAfterAFailedTransaction) {
    ASSERT_NE(Execute(InsertEmap(1, "'a'") + "nonsense;", {.logError = false}), 0);

    EXPECT_EQ(Execute(InsertEmap(2, "'b'")), 0);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"2", "b"}));
}

TEST_F(DatabaseExecute, LogsAFailureInOneLineWithDatabaseAndReasonIfAskedTo) {
    EXPECT_NE(Execute("SELECT x FROM missing;", {.transaction = false}), 0);

    ASSERT_EQ(world::Log().size(), 1U);
    EXPECT_THAT(world::Log().front(), HasSubstr(world::NameInLog(KRDB::DB_SYSTEM)));
    EXPECT_THAT(world::Log().front(), HasSubstr("missing"));
}

TEST_F(DatabaseExecute, LogsTheDatabaseIfStatementsReturnDifferentColumns) {
    EXPECT_NE(Execute("SELECT 1 AS a; SELECT 2 AS b;", {.transaction = false}), 0);

    ASSERT_EQ(world::Log().size(), 1U);
    EXPECT_THAT(world::Log().front(), HasSubstr(world::NameInLog(KRDB::DB_SYSTEM)));
}

TEST_F(DatabaseExecute, LogsNoFailureUnlessAskedTo) {
    EXPECT_NE(Execute("SELECT x FROM missing;", {.transaction = false, .logError = false}), 0);

    EXPECT_THAT(world::Log(), IsEmpty());
}

TEST_F(DatabaseExecute, FailsForTheInstanceThatStandsForNoDatabase) {
    EXPECT_NE(Execute(KRDB::DB_NONE, "SELECT 1;", {.readOnly = true, .transaction = false}), 0);

    ASSERT_EQ(world::Log().size(), 1U);
    EXPECT_THAT(world::Log().front(), HasSubstr("15"));
}

TEST_F(DatabaseExecute, FailsForADamagedDatabase) {
    world::DamageDatabase(KRDB::DB_SNAPSHOT);

    EXPECT_NE(Execute(KRDB::DB_SNAPSHOT, "SELECT id FROM snapshot;",
                      {.readOnly = true, .transaction = false}),
              0);

    EXPECT_EQ(world::Log().size(), 1U);
}

TEST_F(DatabaseExecute, StoresHostileNamesUnchanged) {
    for (const std::string& name : contract::HostileNames()) {
        world::Reset();

        ASSERT_EQ(Execute(InsertEmap(1, Literal(name))), 0) << name;

        EXPECT_THAT(Emaps(), ElementsAre(world::Row{"1", name}));
        EXPECT_THAT(Rows("SELECT filename FROM emap;").Column("filename"), ElementsAre(name));
    }
}

TEST_F(DatabaseExecute, StoresEveryByteValueExceptNul) {
    std::string all;
    for (int byte = 1; byte <= 0xff; ++byte) {
        all += static_cast<char>(byte);
    }

    ASSERT_EQ(Execute(InsertEmap(1, Literal(all))), 0);

    EXPECT_THAT(Rows("SELECT filename FROM emap;").Column("filename"), ElementsAre(all));
}

TEST_F(DatabaseExecute, RunsATextOfTwentyThousandStatements) {
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

TEST_F(DatabaseExecute, FindsTheMediaTablesByTheirNames) {
    const auto selects = [](KRDB::DB_INSTANCE db, const std::string& columns, const char* table) {
        return Execute(db, "SELECT " + columns + " FROM " + table + ";",
                       {.readOnly = true, .transaction = false});
    };

    EXPECT_EQ(selects(KRDB::DB_SYSTEM, "id, filename", gszTableEmap), 0);
    EXPECT_EQ(selects(KRDB::DB_SNAPSHOT, "id, filename", gszTableSnapshot), 0);
    EXPECT_EQ(selects(KRDB::DB_RECORDING, "id, path, camera_id", gszTableEvent), 0);
    EXPECT_EQ(selects(KRDB::DB_RECORDING, "id, path, camera_id", gszTableAlertEvent), 0);
}

} // namespace
