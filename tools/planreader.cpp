#include "tools/planreader.h"

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
            throw recorder::Error("krplan was killed: there is no plan");
        }
        return WEXITSTATUS(status);
    }

private:
    recorder::UniqueFd m_notes;
    pid_t m_id = 0;
};

// Hands over the complete lines and leaves the rest.
void TakeLines(std::string& text, const std::function<void(const plan::Note&)>& take) {
    std::size_t begin = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos;
         end = text.find('\n', begin)) {
        const std::string_view line = std::string_view(text).substr(begin, end - begin);
        const std::optional<plan::Note> note = plan::ParseLine(line);
        if (!note) {
            throw recorder::Error("krplan said what can't be understood: is it of this version?");
        }
        take(*note);
        begin = end + 1;
    }
    text.erase(0, begin);
}

} // namespace

int ReadPlan(const JobOptions& jobs, const std::function<void(const plan::Note&)>& take) {
    Planner planner(ArgumentsOf(jobs));
    std::string text;
    while (planner.Read(text)) {
        TakeLines(text, take);
    }
    return planner.AwaitEnd();
}
