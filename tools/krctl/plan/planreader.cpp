#include "tools/krctl/plan/planreader.h"

#include "recorder/support/error.h"
#include "recorder/support/program.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/support/uniquefd.h"

#include <array>
#include <csignal>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>

namespace {

constexpr std::size_t kReadAtOnce = 65536;

// A planner at work. However this ends, it ends with it.
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
            kill(m_id, SIGKILL); // it may be stopped, and leaves nothing behind
            recorder::Uninterrupted([&] { return waitpid(m_id, nullptr, 0); });
        }
    }
    Planner(const Planner&) = delete;
    Planner& operator=(const Planner&) = delete;
    Planner(Planner&&) = delete;
    Planner& operator=(Planner&&) = delete;

    // Appends what came; false at the end.
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

// The notes of a plan, and whether it is whole.
class Stream {
public:
    explicit Stream(const std::function<void(const plan::Note&)>& take) : m_take(take) {}

    // Hands over the notes of the complete lines and leaves the rest.
    void TakeLines(std::string& text) {
        std::size_t begin = 0;
        for (std::size_t end = text.find('\n'); end != std::string::npos;
             end = text.find('\n', begin)) {
            Take(NoteOf(std::string_view(text).substr(begin, end - begin)));
            begin = end + 1;
        }
        text.erase(0, begin);
    }

    [[nodiscard]] bool IsWhole(const std::string& rest) const { return m_isWhole && rest.empty(); }

private:
    void Take(const plan::Note& note) {
        m_isWhole = note.reason == plan::Reason::End && note.number == m_notes;
        ++m_notes;
        m_take(note);
    }

    const std::function<void(const plan::Note&)>& m_take;
    long m_notes = 0;
    bool m_isWhole = false; // the last note is the end, and none before it is missing
};

} // namespace

int ReadPlan(const JobOptions& jobs, const std::function<void(const plan::Note&)>& take) {
    Planner planner(ArgumentsOf(jobs));
    Stream stream(take);
    std::string text;
    while (planner.Read(text)) {
        stream.TakeLines(text);
    }
    const int status = planner.AwaitEnd();
    if (status == 0 && !stream.IsWhole(text)) {
        throw recorder::Error("krplan ended before the plan was complete");
    }
    return status;
}
