#include "recorder/support/uuid.h"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::MatchesRegex;
using testing::SizeIs;

TEST(Uuid, IsOfVersionFour) {
    EXPECT_THAT(
        recorder::NewUuid(),
        MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
}

TEST(Uuid, IsDifferentEachTime) {
    std::set<std::string> uuids;
    for (int count = 0; count < 100; ++count) {
        uuids.insert(recorder::NewUuid());
    }

    EXPECT_THAT(uuids, SizeIs(100));
}

TEST(Uuid, IsRecognised) {
    EXPECT_TRUE(recorder::IsUuid(recorder::NewUuid()));
    EXPECT_TRUE(recorder::IsUuid("6F1C0F4E-2F0A-4D3C-9D4B-0D6F5A1C9E77"));
}

TEST(Uuid, IsNotRecognisedInAnotherForm) {
    for (const char* const text :
         {"", "6f1c0f4e-2f0a-4d3c-9d4b-0d6f5a1c9e7", "6f1c0f4e-2f0a-4d3c-9d4b-0d6f5a1c9e777",
          "6f1c0f4e-2f0a-4d3c-9d4b-0d6f5a1c9e7g", "6f1c0f4e02f0a-4d3c-9d4b-0d6f5a1c9e77",
          "6f1c0f4-e2f0a-4d3c-9d4b-0d6f5a1c9e77", "{6f1c0f4e-2f0a-4d3c-9d4b-0d6f5a1c9e7"}) {
        EXPECT_FALSE(recorder::IsUuid(text)) << text;
    }
}

} // namespace
