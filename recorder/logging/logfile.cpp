#include "recorder/logging/logfile.h"

#include "recorder/logging/failures.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/trust.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <memory>

#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>

namespace recorder {

namespace {

constexpr std::size_t kBytesPerMib = 1024UL * 1024UL;

std::unique_ptr<spdlog::logger> OpenLog() {
    const LogSettings& settings = SettingsOrDefaults().log;
    auto file = std::make_shared<spdlog::sinks::rotating_file_sink_st>(
        kLogFile, settings.maxSizeMib * kBytesPerMib, settings.oldFiles);
    auto log = std::make_unique<spdlog::logger>("kestora", std::move(file));
    log->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z [%P] %v");
    log->set_level(spdlog::level::trace);
    log->flush_on(spdlog::level::trace);
    // The default handler would write to the terminal.
    log->set_error_handler([](const std::string&) { CountLineNotLogged(); });
    return log;
}

// Why the log is not trusted; empty when it is.
const std::string& Distrust() {
    static const std::string distrust = []() -> std::string {
        try {
            RequireTrustedUnlinked(kLogFile);
            return {};
        } catch (const Error& error) {
            // The recorder's only output on the terminal: without a log there is no other place for
            // the reason why a run is refused or not logged.
            std::fprintf(stderr, "%s: nothing is logged: %s\n", program_invocation_short_name,
                         error.what());
            return error.what();
        }
    }();
    return distrust;
}

// Null when the log can't be opened or is not trusted.
spdlog::logger* Log() {
    static const std::unique_ptr<spdlog::logger> log = []() -> std::unique_ptr<spdlog::logger> {
        try {
            return Distrust().empty() ? OpenLog() : nullptr;
        } catch (const std::exception&) {
            return nullptr;
        }
    }();
    return log.get();
}

} // namespace

void AppendToLogFile(const std::string& line) {
    if (spdlog::logger* const log = Log()) {
        log->log(spdlog::level::info, spdlog::string_view_t(line.data(), line.size()));
    } else {
        CountLineNotLogged();
    }
}

void RequireLog() {
    (void)GetSettings();
    if (!Distrust().empty()) {
        throw UntrustedLog(Distrust());
    }
}

} // namespace recorder
