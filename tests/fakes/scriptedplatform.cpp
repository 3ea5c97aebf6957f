#include "tests/fakes/scriptedplatform.h"

#include "platform/logging.h"

#include <algorithm>
#include <utility>

#include <unistd.h>

namespace fakes {

namespace {

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

std::string MessageLine(std::string_view categ, std::string_view level, std::string_view file,
                        std::string_view func, std::string_view text) {
    std::string line = "KRPrintf(0";
    for (const std::string_view argument : {categ, level, file, func}) {
        line.append(", ").append(argument);
    }
    return line + ", " + Quoted(text) + ")";
}

} // namespace

Rows IdPathRows(const std::vector<std::pair<Field, Field>>& rows) {
    Rows result{{"id", "path"}, {}};
    for (const auto& [id, path] : rows) {
        result.fields.push_back({id, path});
    }
    return result;
}

Rows IdRows(const std::vector<Field>& ids) {
    Rows result{{"id"}, {}};
    for (const Field& id : ids) {
        result.fields.push_back({id});
    }
    return result;
}

void ScriptedPlatform::Fail(const std::string& operation, int nth, int value) {
    m_failures[{operation, CallCnt(operation) + nth}] = value;
}

void ScriptedPlatform::FailAlways(const std::string& operation, int value) {
    m_lastingFailures[operation] = value;
}

void ScriptedPlatform::Abbreviate(const std::string& path, const std::string& name) {
    m_abbreviations.emplace_back(path, name);
}

std::string ScriptedPlatform::Transcript() const {
    return Join(false);
}

std::string ScriptedPlatform::FullTranscript() const {
    return Join(true);
}

std::string ScriptedPlatform::LinesOf(std::string_view beginning) const {
    std::string text;
    for (const Line& line : m_lines) {
        if (line.text.starts_with(beginning)) {
            text.append(line.text).append("\n");
        }
    }
    return text;
}

std::string ScriptedPlatform::MessagesOf(std::string_view file, std::string_view func) const {
    std::string lines;
    for (const Message& message : messages) {
        if (message.file == file && (func.empty() || message.func == func)) {
            lines += MessageLine(message.categ.value_or("null"), message.level.value_or("null"),
                                 message.file, message.func, message.text);
            lines += "\n";
        }
    }
    return Abbreviated(lines);
}

int ScriptedPlatform::CallCnt(const std::string& operation) const {
    const auto found = m_callCnt.find(operation);
    return found == m_callCnt.end() ? 0 : found->second;
}

void ScriptedPlatform::ForgetTranscript() {
    m_lines.clear();
    messages.clear();
    statements.clear();
    progressValues.clear();
}

void ScriptedPlatform::Record(const std::string& operation, const std::string& line,
                              Weight weight) {
    if (beforeCall) {
        beforeCall(operation);
    }
    ++m_callCnt[operation];
    std::string text = Abbreviated(line);
    m_lines.push_back({text, weight});
    if (m_journalFd != -1 && weight == Weight::Call) {
        // Each line is one write to a file opened for appending: lines of two processes never mix.
        text = (getpid() == m_owner ? "parent: " : "child: ") + text + "\n";
        if (write(m_journalFd, text.data(), text.size()) < 0) {
            _exit(99);
        }
    }
}

void ScriptedPlatform::Note(const std::string& line) {
    Record(line, line, Weight::Call);
}

int ScriptedPlatform::Answer(const std::string& operation) const {
    const auto once = m_failures.find({operation, CallCnt(operation)});
    if (once != m_failures.end()) {
        return once->second;
    }
    const auto lasting = m_lastingFailures.find(operation);
    return lasting == m_lastingFailures.end() ? 0 : lasting->second;
}

DBResult_tag* ScriptedPlatform::NewResult(const std::string& sql) {
    m_results.push_back(std::make_unique<DBResult_tag>(DBResult_tag{RowsOf(sql)}));
    m_live.push_back(m_results.back().get());
    return m_live.back();
}

bool ScriptedPlatform::Free(DBResult_tag* result) {
    return std::erase(m_live, result) != 0;
}

std::string ScriptedPlatform::Abbreviated(std::string text) const {
    for (const auto& [path, name] : m_abbreviations) {
        text = Replaced(text, path, name);
    }
    return text;
}

Rows ScriptedPlatform::RowsOf(const std::string& sql) {
    const auto query = queries.find(sql);
    if (query != queries.end()) {
        return query->second;
    }
    if (!sql.starts_with("INSERT")) {
        return IdPathRows({});
    }
    if (!insertResults.empty()) {
        Rows rows = std::move(insertResults.front());
        insertResults.pop_front();
        return rows;
    }
    std::vector<Field> ids;
    for (std::size_t left = StatementCnt(sql); left != 0; --left) {
        ids.emplace_back(std::to_string(++lastRowId));
    }
    return IdRows(ids);
}

std::string ScriptedPlatform::Join(bool withDetails) const {
    std::string text;
    for (const Line& line : m_lines) {
        if (withDetails || line.weight == Weight::Call) {
            text += line.text + "\n";
        }
    }
    return text;
}

ScriptedPlatform& Platform() {
    static ScriptedPlatform platform;
    return platform;
}

void ResetPlatform() {
    Platform() = ScriptedPlatform();
    Platform().m_owner = getpid();
    g_pDbgLogCfg = nullptr;
    g_DbgLogPid = 0;
}

std::size_t StatementCnt(std::string_view sql) {
    std::size_t count = 0;
    bool quoted = false;
    for (const char c : sql) {
        quoted = quoted != (c == '\'');
        count += c == ';' && !quoted ? 1 : 0;
    }
    return count;
}

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '\n') {
            quoted += "\\n";
            continue;
        }
        if (c == '"' || c == '\\') {
            quoted += '\\';
        }
        quoted += c;
    }
    return quoted + "\"";
}

std::string Lines(std::initializer_list<std::string> lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

std::string Log(std::string_view level, std::string_view file, std::string_view func,
                std::string_view text) {
    return MessageLine("reindex", level, file, func, text);
}

std::string LogAlways(std::string_view file, std::string_view func, std::string_view text) {
    return MessageLine("null", "null", file, func, text);
}

} // namespace fakes
