#include "tools/krctl/plan/plansummary.h"

#include <algorithm>

using plan::Reason;

namespace {

std::vector<std::string> Changes(const PlanPart& total) {
    struct Change {
        Reason reason;
        const char* verb;
        const char* noun;
    };
    static constexpr Change kChanges[] = {
        {Reason::FileWithoutRow, "add ", "row"},
        {Reason::RowWithoutFile, "remove ", "row"},
        {Reason::RowRenewed, "rewrite ", "row"},
        {Reason::ThumbnailMissing, "make ", "thumbnail"},
        {Reason::FolderEmpty, "remove ", "empty folder"},
    };
    std::vector<std::string> changes;
    for (const Change& change : kChanges) {
        if (const long count = total.Count(change.reason); count > 0) {
            changes.push_back(change.verb + Counted(count, change.noun));
        }
    }
    return changes;
}

} // namespace

long PlanPart::Count(Reason reason) const {
    const auto found = counts.find(reason);
    return found == counts.end() ? 0 : found->second;
}

void PlanSummary::Add(const plan::Note& note) {
    switch (note.reason) {
    case Reason::Camera:
        m_cameras[note.camId] = note.text;
        break;
    case Reason::RunInProgress:
        m_runInProgress = note;
        break;
    case Reason::NoPlan:
        m_noPlanReason = note.text;
        break;
    case Reason::End:
        break;
    case Reason::Part:
        PartOf(note).files += note.files;
        PartOf(note).rows += note.number;
        break;
    case Reason::Warning:
    case Reason::Refusal:
    case Reason::Failure:
        AddProblem(note);
        break;
    default:
        ++PartOf(note).counts[note.reason];
        break;
    }
}

PlanPart PlanSummary::Total() const {
    PlanPart total;
    for (const PlanPart& part : m_parts) {
        total.files += part.files;
        total.rows += part.rows;
        for (const auto& [reason, count] : part.counts) {
            total.counts[reason] += count;
        }
    }
    return total;
}

bool PlanSummary::IsComplete() const {
    return std::all_of(m_problems.begin(), m_problems.end(),
                       [](const plan::Note& problem) { return problem.reason == Reason::Warning; });
}

bool PlanSummary::HasRefusals() const {
    return std::any_of(m_problems.begin(), m_problems.end(),
                       [](const plan::Note& problem) { return problem.reason == Reason::Refusal; });
}

bool PlanSummary::HasChanges() const {
    return !Changes(Total()).empty();
}

std::string PlanSummary::Sentence() const {
    const bool hasFindings = m_knownFindings.value_or(0) > 0;
    const std::string findings =
        hasFindings ? Counted(*m_knownFindings, "known finding") : std::string();
    const std::string end = hasFindings ? "; " + findings + "." : ".";
    if (HasChanges()) {
        return "A run would " + Enumerated(Changes(Total())) +
               (IsComplete() ? "" : "; the plan is incomplete") + end;
    }
    if (!IsComplete()) {
        return "A run would change nothing, but the plan is incomplete" + end;
    }
    return hasFindings ? "In line, " + findings + ": a run would change nothing."
                       : "Nothing to add or remove: a run would change nothing.";
}

PlanPart& PlanSummary::PartOf(const plan::Note& note) {
    const auto [place, isNew] = m_places.try_emplace({note.kind, note.camId}, m_parts.size());
    if (isNew) {
        m_parts.emplace_back();
        m_parts.back().kind = note.kind;
        m_parts.back().camId = note.camId;
    }
    return m_parts[place->second];
}

// A missing volume causes two equal refusals: for recordings and for alert recordings.
void PlanSummary::AddProblem(const plan::Note& note) {
    const bool isKnown =
        std::any_of(m_problems.begin(), m_problems.end(), [&](const plan::Note& other) {
            return other.reason == note.reason && other.camId == note.camId &&
                   other.text == note.text;
        });
    if (!isKnown) {
        m_problems.push_back(note);
    }
}
