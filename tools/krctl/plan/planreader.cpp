#include "tools/krctl/plan/planreader.h"

#include "recorder/support/error.h"
#include "recorder/support/program.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/support/uniquefd.h"
#include "tools/common/exitstatus.h"
#include "tools/common/terminal.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <sys/wait.h>

namespace {

constexpr std::size_t kReadAtOnce = 65536;

// A running krplan, which is killed by the destructor if it has not ended.
class Planner {
public:
    explicit Planner(const std::vector<std::string>& arguments) {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw recorder::SystemError("make a pipe");
        }
        m_notes = recorder::UniqueFd(ends[0]);
        const recorder::UniqueFd writeEnd(ends[1]);
        m_id = recorder::ProgramStart()
                   .Output(writeEnd.Get())
                   .Start(recorder::ProgramPath("krplan"), arguments);
    }
    ~Planner() {
        m_notes.Reset();
        if (m_id != 0) {
            kill(m_id, SIGKILL); // works on a stopped process, too; krplan leaves no files
            recorder::Uninterrupted([&] { return waitpid(m_id, nullptr, 0); });
        }
    }
    Planner(const Planner&) = delete;
    Planner& operator=(const Planner&) = delete;
    Planner(Planner&&) = delete;
    Planner& operator=(Planner&&) = delete;

    // Appends the next bytes to `text`. Returns false at the end of the output.
    bool Read(std::string& text) const {
        std::array<char, kReadAtOnce> bytes{};
        const ssize_t length = recorder::Uninterrupted(
            [&] { return read(m_notes.Get(), bytes.data(), bytes.size()); });
        if (length < 0) {
            throw recorder::SystemError("read the plan");
        }
        text.append(bytes.data(), static_cast<std::size_t>(length));
        return length > 0;
    }

    [[nodiscard]] int AwaitEnd() {
        int status = 0;
        const pid_t id = std::exchange(m_id, 0);
        if (recorder::Uninterrupted([&] { return waitpid(id, &status, 0); }) != id) {
            throw recorder::SystemError("wait for krplan");
        }
        if (!WIFEXITED(status)) {
            throw recorder::Error("krplan was killed by signal " +
                                  std::to_string(WTERMSIG(status)));
        }
        return WEXITSTATUS(status);
    }

private:
    recorder::UniqueFd m_notes;
    pid_t m_id = 0;
};

plan::Note NoteOf(std::string_view line) {
    std::optional<plan::Note> note = plan::ParseLine(line);
    if (!note) {
        throw recorder::Error(
            "krplan printed an unexpected line: expected a krplan of the same version");
    }
    return std::move(*note);
}

// Parses the notes of a plan and checks that none is missing.
class Stream {
public:
    explicit Stream(const std::function<void(const plan::Note&)>& take) : m_take(take) {}

    // Passes on the notes of complete lines, and leaves an incomplete line in `text`.
    void TakeLines(std::string& text) {
        std::size_t begin = 0;
        for (std::size_t end = text.find('\n'); end != std::string::npos;
             end = text.find('\n', begin)) {
            Take(NoteOf(std::string_view(text).substr(begin, end - begin)));
            begin = end + 1;
        }
        text.erase(0, begin);
    }

    [[nodiscard]] bool IsComplete(const std::string& rest) const {
        return m_isComplete && rest.empty();
    }

private:
    void Take(const plan::Note& note) {
        m_isComplete = note.reason == plan::Reason::End && note.number == m_notes;
        ++m_notes;
        m_take(note);
    }

    const std::function<void(const plan::Note&)>& m_take;
    long m_notes = 0;
    bool m_isComplete = false; // the last note is End, and no note before it is missing
};

int ReadPlanOf(const JobOptions& run, const std::function<void(const plan::Note&)>& take) {
    Planner planner(ArgumentsOf(run));
    Stream stream(take);
    std::string text;
    while (planner.Read(text)) {
        stream.TakeLines(text);
    }
    const int status = planner.AwaitEnd();
    if (status == 0 && !stream.IsComplete(text)) {
        throw recorder::Error("krplan ended before the plan was complete");
    }
    return status;
}

bool IsOfCamera(const plan::Note& item, const JobOptions& run) {
    return item.camId == run.eventCamera || item.camId == run.alertEventCamera;
}

// Checks that the selected cameras exist, by the cameras that krplan lists before anything else.
class CameraCheck {
public:
    explicit CameraCheck(const JobSelection& jobs) : m_jobs(jobs) {}

    // Throws UsageError.
    void Take(const plan::Note& note) {
        if (note.reason == plan::Reason::Camera) {
            m_known.insert(note.camId);
        } else if (note.reason != plan::Reason::NoPlan && !m_isDone) {
            RequireKnownCameras(m_jobs, m_known);
            m_isDone = true;
        }
    }

private:
    const JobSelection& m_jobs;
    std::set<int> m_known;
    bool m_isDone = false;
};

} // namespace

int ReadPlan(const JobSelection& jobs, const std::function<void(const plan::Note&)>& take) {
    CameraCheck cameras(jobs);
    int status = 0;
    bool isFirst = true;
    for (const JobOptions& run : RunsOf(jobs)) {
        status = ReadPlanOf(run, [&](const plan::Note& note) {
            cameras.Take(note);
            if (isFirst || !plan::IsItem(note.reason) || IsOfCamera(note, run)) {
                take(note);
            }
        });
        if (status != 0) {
            break;
        }
        isFirst = false;
    }
    return status;
}

void FailWithoutPlan(int status, const PlanSummary& plan) {
    const std::string& why = plan.NoPlanReason();
    std::fprintf(stderr, "krctl: can't make a plan: %s\n",
                 why.empty() ? ("krplan ended with status " + std::to_string(status)).c_str()
                             : Printable(why).c_str());
    throw CLI::RuntimeError(why.empty() ? kExitFailed : status);
}
