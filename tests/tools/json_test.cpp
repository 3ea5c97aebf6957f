#include "tools/common/json.h"

#include <gtest/gtest.h>

namespace {

TEST(JsonTime, IsInUtcOrNull) {
    EXPECT_EQ(JsonTime(1795000000), Json("2026-11-18T11:06:40Z"));
    EXPECT_EQ(JsonTime(300000000000), Json());
}

TEST(PrintJson, PutsTheSchemaBeforeAllMembers) {
    testing::internal::CaptureStdout();

    PrintJson("cameras", {{"b", 1}, {"a", JsonText("\xff")}});

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "{\n"
                                                      "  \"schema\": \"krctl.cameras/1\",\n"
                                                      "  \"b\": 1,\n"
                                                      "  \"a\": \"\ufffd\"\n"
                                                      "}\n");
}

} // namespace
