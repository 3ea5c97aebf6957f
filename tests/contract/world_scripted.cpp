// The world of the scripted platform, which has no databases, cameras, recordings or tasks. Only
// the suites that CMakeLists.txt lists run on it: for the others, a test would check its own
// script.

#include "tests/contract/support/sandbox.h"
#include "tests/contract/world.h"
#include "tests/fakes/scriptedplatform.h"

#include <filesystem>
#include <stdexcept>

namespace world {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void NotScripted(const char* what) {
    throw std::logic_error(std::string("the scripted platform has no ") + what);
}

} // namespace

void Reset() {
    contract::RequireSandbox();
    fakes::ResetPlatform();
    fs::remove_all(ScratchFolder());
    fs::create_directories(ScratchFolder());
}

std::string ScratchFolder() {
    return "/var/packages/Kestora/scratch";
}

std::vector<Row> Read(KRDB::DB_INSTANCE /*db*/, const std::string& /*select*/) {
    NotScripted("tables");
}

void Write(KRDB::DB_INSTANCE /*db*/, const std::string& /*sql*/) {
    NotScripted("tables");
}

void AnswerSelect(const std::string& select, const std::vector<std::string>& columns,
                  const std::vector<Row>& rows) {
    fakes::Platform().queries[select] = {columns, rows};
}

void AddCamera(const CameraRow& /*camera*/) {
    NotScripted("camera table");
}

std::string NameInLog(KRDB::DB_INSTANCE /*db*/) {
    NotScripted("databases");
}

void DamageDatabase(KRDB::DB_INSTANCE /*db*/) {
    NotScripted("databases");
}

struct ConcurrentWriter::Lock {};

ConcurrentWriter::ConcurrentWriter(KRDB::DB_INSTANCE /*db*/) {
    NotScripted("locks");
}

ConcurrentWriter::~ConcurrentWriter() = default;

void ConcurrentWriter::AwaitWaiting(const contract::Child& /*child*/) const {}

void ConcurrentWriter::Finish() {
    NotScripted("locks");
}

void RefuseRows(KRDB::DB_INSTANCE /*db*/, const std::string& /*table*/, int /*camId*/) {
    NotScripted("tables");
}

std::vector<std::string> Outbox() {
    NotScripted("outbox");
}

std::vector<std::string> Log() {
    std::vector<std::string> lines;
    for (const fakes::Message& message : fakes::Platform().messages) {
        lines.push_back(message.text);
    }
    return lines;
}

void MakeLogUnwritable() {
    NotScripted("log file");
}

void PutSettings(const std::string& /*toml*/) {
    NotScripted("settings");
}

void LetOthersWriteSettings() {
    NotScripted("settings");
}

} // namespace world
