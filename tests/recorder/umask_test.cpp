// The permissions of files that processes of the recorder create, with any umask of the caller.

#include "recorder/database/databases.h"
#include "recorder/database/schema.h"
#include "recorder/support/paths.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

// The umask of a process at the beginning of main.
std::string ShowUmask() {
    const mode_t mask = umask(0);
    umask(mask);
    return std::to_string(mask);
}

const contract::Probe kShowUmask("umask", ShowUmask);

// The names of the database files, with a note for those with another mode than 0640. A journal
// exists only while its database is open.
std::string ShowJournalModes() {
    fs::remove_all(recorder::kDatabaseDir);
    recorder::InitDatabases();
    recorder::Execute(KRDB::DB_SYSTEM, "INSERT INTO emap (filename) VALUES ('a');");
    std::string modes;
    for (const std::string& name : contract::NamesIn(recorder::kDatabaseDir)) {
        const fs::path path = fs::path(recorder::kDatabaseDir) / name;
        modes += name + (fs::status(path).permissions() == fs::perms{0640} ? " " : "(other) ");
    }
    return modes;
}

const contract::Probe kShowJournalModes("modes of journals", ShowJournalModes);

class Umask : public contract::ContractTest {
protected:
    static std::string RunUnder(mode_t mask, const contract::Probe& probe) {
        const mode_t before = umask(mask);
        std::string text = probe.Run();
        umask(before);
        return text;
    }
};

TEST_F(Umask, DeniesOthersAllAccessAndTheGroupWriteAccess) {
    EXPECT_EQ(RunUnder(0, kShowUmask), std::to_string(027));
    EXPECT_EQ(RunUnder(022, kShowUmask), std::to_string(027));
}

TEST_F(Umask, KeepsAStricterUmaskOfTheCaller) {
    EXPECT_EQ(RunUnder(077, kShowUmask), std::to_string(077));
    EXPECT_EQ(RunUnder(0500, kShowUmask), std::to_string(0527));
}

TEST_F(Umask, AppliesToTheDatabaseJournals) {
    EXPECT_EQ(RunUnder(0, kShowJournalModes),
              "recording.db snapshot.db system.db system.db-shm system.db-wal ");
}

} // namespace
