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
    table.AddRow({"正門", "9", "/x"});       // each character takes two columns
    table.AddRow({"e\xcc\x81", "10", "/y"}); // an accent that combines with the letter

    EXPECT_EQ(table.Text(INT_MAX), "name   rows  path\n"
                                   "Höf\\n     7  /v\n"
                                   "\\xff      8  /w\n"
                                   "正門      9  /x\n"
                                   "e\xcc\x81        10  /y\n");
}

Table Runs() {
    Table table({{"run", true}, {"start", false, 1}, {"end", false, 3}, {"added", true, 2}});
    table.AddRow({"7", "10:00", "11:00", "5"});
    return table;
}

TEST(Table, LeavesOutTheLeastImportantColumnsFirst) {
    EXPECT_EQ(Runs().Text(24), "run  start  end    added\n"
                               "  7  10:00  11:00      5\n");
    EXPECT_EQ(Runs().Text(23), "run  start  added\n"
                               "  7  10:00      5\n"
                               "terminal too narrow for: end\n");
    EXPECT_EQ(Runs().Text(16), "run  start\n"
                               "  7  10:00\n"
                               "terminal too narrow for: end, added\n");
    EXPECT_EQ(Runs().Text(1), "run\n"
                              "  7\n"
                              "terminal too narrow for: start, end, added\n");
}

TEST(Table, ExplainsAColumnOnlyIfItIsShown) {
    Table table({{"kind"}, {"files", true, 1, "with thumbnails"}});
    table.AddRow({"e-maps", "9"});

    EXPECT_EQ(table.Text(13), "kind    files\n"
                              "e-maps      9\n"
                              "files: with thumbnails\n");
    EXPECT_EQ(table.Text(12), "kind\n"
                              "e-maps\n"
                              "terminal too narrow for: files\n");
}

TEST(Table, NeverShortensAValue) {
    Table table({{"name"}, {"rows", true}, {"path", false, 1}});
    const std::string name(255, 'n');
    table.AddRow({name, "1234567890", "/v"});

    EXPECT_EQ(table.Text(40), "name        rows\n" + name +
                                  "  1234567890\n"
                                  "terminal too narrow for: path\n");
}

TEST(Table, StaysReadableInTheOtherRowsIfOneTextIsTooLong) {
    Table table({{"name"}, {"rows", true}});
    const std::string name(255, 'n');
    table.AddRow({"Front", "7"});
    table.AddRow({name, "12"});

    EXPECT_EQ(table.Text(40), "name   rows\n"
                              "Front     7\n" +
                                  name + "    12\n");
}

TEST(Table, StaysAlignedIfNoSingleTextIsTooLong) {
    Table table({{"kind"}, {"camera"}, {"rows", true}});
    table.AddRow({"alert recordings", "1 Front", "12"});
    table.AddRow({"e-maps", "-", "5"});

    EXPECT_EQ(table.Text(20), "kind              camera   rows\n"
                              "alert recordings  1 Front    12\n"
                              "e-maps            -           5\n");
}

TEST(Table, ForProgramsHasAllColumnsSeparatedByTabs) {
    Table table = Cameras();
    table.AddRow({"a\tb\n", "7", ""});
    table.AddRow({"Yard", "12345", "/w"});

    EXPECT_EQ(table.TabSeparated(), "a\\tb\\n\t7\t\n"
                                    "Yard\t12345\t/w\n");
}

} // namespace
