#include "tools/krctl/brakeplan.h"

#include "tools/common/terminal.h"
#include "tools/common/texts.h"
#include "tools/krctl/plan/planreader.h"
#include "tools/krctl/plan/plansummary.h"

#include <algorithm>
#include <cstdio>

namespace {

std::string CameraOf(const PlanSummary& plan, const PlanPart& part) {
    return part.camId == 0 ? "" : CameraText(plan.Cameras(), part.camId);
}

} // namespace

int AnnounceBraked(const JobSelection& jobs, const recorder::RemovalLimit& limit) {
    PlanSummary summary;
    const int status = ReadPlan(jobs, [&](const plan::Note& note) { summary.Add(note); });
    if (status != 0) {
        std::fprintf(stderr, "krctl: no plan, so nothing was changed: %s\n",
                     Printable(summary.NoPlanReason()).c_str());
        return status;
    }
    for (const PlanPart& part : summary.Parts()) {
        const long removed = part.Count(plan::Reason::RowWithoutFile);
        const long rows = std::max(part.rows, removed); // deleted cameras have a part without rows
        if (!limit.Allows(removed, rows)) {
            std::fprintf(stderr,
                         "krctl: %s: %ld of %ld rows would be removed, more than %s: they stay\n",
                         Printable(PartText(part.kind, CameraOf(summary, part))).c_str(), removed,
                         rows, limit.Text().c_str());
        }
    }
    return 0;
}
