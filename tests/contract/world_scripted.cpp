// The world of the scripted platform. It holds no database, camera, recording or task: of its
// suites only those are run here which it claims to keep by itself (CMakeLists.txt lists them). The
// others would test the script that the test itself has written.

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

void Renew() {
    contract::DemandSandbox();
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

void Answer(const std::string& select, const std::vector<std::string>& columns,
            const std::vector<Row>& rows) {
    fakes::Platform().queries[select] = {columns, rows};
}

void AddCamera(const CameraRow& /*camera*/) {
    NotScripted("camera table");
}

std::string NameInLog(KRDB::DB_INSTANCE /*db*/) {
    NotScripted("databases");
}

void Spoil(KRDB::DB_INSTANCE /*db*/) {
    NotScripted("databases");
}

struct ForeignWriter::Lock {};

ForeignWriter::ForeignWriter(KRDB::DB_INSTANCE /*db*/) {
    NotScripted("locks");
}

ForeignWriter::~ForeignWriter() = default;

void ForeignWriter::AwaitWaiter(const contract::Child& /*child*/) const {}

void ForeignWriter::Finish() {
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

void SpoilLog() {
    NotScripted("log file");
}

void PutSettings(const std::string& /*toml*/) {
    NotScripted("settings");
}

void LetOthersWriteSettings() {
    NotScripted("settings");
}

} // namespace world
