#include "tools/krctl/run/runview.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

recorder::RunPart Refused(const std::string& kind, int camId, const std::string& why) {
    recorder::RunPart part;
    part.kind = kind;
    part.camId = camId;
    part.refusals = 1;
    part.refusal = why;
    return part;
}

TEST(Refusals, WithTheSameTextAreListedForEachCamera) {
    RunView run;
    run.parts = {Refused("event", 1, "the volume is missing"),
                 Refused("event", 2, "the volume is missing")};

    EXPECT_THAT(
        RefusalsOf(run, {{1, "Front"}}),
        ElementsAre("camera 1 Front: the volume is missing", "camera 2: the volume is missing"));
}

TEST(Refusals, AreListedOncePerCamera) {
    RunView run;
    run.parts = {Refused("event", 1, "the volume is missing"),
                 Refused("alert_event", 1, "the volume is missing"),
                 Refused("alert_event", 1, "a folder can't be read")};

    EXPECT_THAT(RefusalsOf(run, {}),
                ElementsAre("camera 1: the volume is missing", "camera 1: a folder can't be read"));
}

} // namespace
