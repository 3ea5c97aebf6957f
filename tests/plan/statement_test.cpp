#include "tools/krplan/statement.h"

#include "platform/recording.h"
#include "platform/snapshot.h"
#include "recorder/database/sqltext.h"
#include "recorder/run/toolsql.h"
#include "recorder/support/error.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using plan::ParseInsertion;
using plan::TextOfLiteral;
using recorder::DeletionIn;

constexpr const char* kName = "it's, (a) \"name\");DROP TABLE event;''\n\xff.mp4";

TEST(PlanStatement, IsParsedAsTheInsertionOfARecording) {
    Event event;
    event.SetCamId(7);
    event.SetPath(kName);
    event.SetAudFmt("AAC");

    const auto statements = recorder::SplitStatements(event.strSqlInsert());
    ASSERT_EQ(statements.size(), 1U);
    const plan::Insertion insertion = ParseInsertion(statements.front());

    EXPECT_EQ(insertion.table, "event");
    EXPECT_EQ(insertion.literals.at("camera_id"), "7");
    EXPECT_EQ(TextOfLiteral(insertion.literals.at("path")), kName);
    EXPECT_EQ(TextOfLiteral(insertion.literals.at("aud_fmt")), "AAC");
}

TEST(PlanStatement, IsParsedAsTheInsertionOfAnAlertRecording) {
    AlertEvent event;
    event.SetCamId(7);
    event.SetPath(kName);

    const plan::Insertion insertion = ParseInsertion(event.strSqlInsert());

    EXPECT_EQ(insertion.table, "alert_event");
    EXPECT_EQ(TextOfLiteral(insertion.literals.at("path")), kName);
}

TEST(PlanStatement, IsParsedAsTheInsertionOfASnapshot) {
    const plan::Insertion insertion = ParseInsertion(ReindexSnapshotSql("/x", kName, 1, 2));

    EXPECT_EQ(insertion.table, "snapshot");
    EXPECT_EQ(TextOfLiteral(insertion.literals.at("filename")), kName);
    EXPECT_EQ(insertion.literals.at("size"), "2");
}

TEST(PlanStatement, IsParsedAsADeletion) {
    const auto deletion = DeletionIn("DELETE FROM emap WHERE id IN (3,4);");

    ASSERT_TRUE(deletion.has_value());
    EXPECT_EQ(deletion->table, "emap");
    EXPECT_EQ(deletion->condition, "id IN (3,4)");
}

TEST(PlanStatement, OfAnyOtherFormIsRefused) {
    for (const char* sql : {
             "DELETE FROM emap;",
             "DELETE FROM emap WHERE id = 1",
             "DELETE FROM emap WHERE id = 1;DELETE FROM event WHERE id = 1;",
             "DELETE emap WHERE id = 1;",
         }) {
        EXPECT_THROW((void)DeletionIn(sql), recorder::Error) << sql;
    }
    EXPECT_FALSE(DeletionIn("UPDATE emap SET id = 1 WHERE id = 2;").has_value());
    for (const char* sql : {
             "",
             "INSERT INTO emap DEFAULT VALUES",
             "INSERT INTO emap (a, b) SELECT 1, 2",
             "INSERT INTO emap (a, b) VALUES (1)",
             "INSERT INTO emap (a, b) VALUES (1, '2",
             "INSERT INTO emap (a, b) VALUES (1, 2",
             "REPLACE INTO emap (a) VALUES (1)",
         }) {
        EXPECT_THROW((void)ParseInsertion(sql), recorder::Error) << sql;
    }
}

} // namespace
