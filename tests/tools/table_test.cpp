#include "tools/common/table.h"

#include <climits>

#include <gtest/gtest.h>

namespace {

Table Cameras() {
    return Table({{"name"}, {"rows", true}, {"path"}});
}

TEST(Table, AlignsTextsToTheLeftAndNumbersToTheRight) {
    Table table = Cameras();
    table.AddRow({"Front", "7", "/v"});
    table.AddRow({"Y", "12345", "/w"});

    EXPECT_EQ(table.Text(INT_MAX), "name    rows  path\n"
                                   "Front      7  /v\n"
                                   "Y      12345  /w\n");
}

TEST(Table, StaysAlignedWithAnyNames) {
    Table table = Cameras();
    table.AddRow({"Höf\n", "7", "/v"});
    table.AddRow({"\xff", "8", "/w"});

    EXPECT_EQ(table.Text(INT_MAX), "name   rows  path\n"
                                   "Höf\\n     7  /v\n"
                                   "\xff         8  /w\n");
}

TEST(Table, ShortensTheWidestTextIfItWouldBeTooWide) {
    Table table = Cameras();
    table.AddRow({"Front", "7", "/a/very/long/path"});

    EXPECT_EQ(table.Text(24), "name   rows  path\n"
                              "Front     7  /a/very/lo…\n");
}

TEST(Table, IsABlockPerRowIfItWouldStillBeTooWide) {
    Table table({{"kind"}, {"camera"}, {"files", true}, {"rows before", true}, {"added", true}});
    table.AddRow({"recordings", "1 Front", "1234567890", "12", "3"});
    table.AddRow({"total", "", "1234567890", "0", "3"});

    EXPECT_EQ(table.Text(32), "recordings  1 Front\n"
                              "  files 1234567890\n"
                              "  rows before 12  added 3\n"
                              "total\n"
                              "  files 1234567890  added 3\n");
}

TEST(Table, ShortensANumberOnlyIfNothingElseFits) {
    Table table({{"rows", true}});
    table.AddRow({"1234567890"});

    EXPECT_EQ(table.Text(20), "      rows\n1234567890\n");
    EXPECT_EQ(table.Text(9), "  rows 1…\n");
}

} // namespace
