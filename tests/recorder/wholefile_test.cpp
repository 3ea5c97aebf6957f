#include "recorder/support/wholefile.h"

#include "recorder/support/error.h"
#include "recorder/support/uniquefd.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <csignal>
#include <functional>
#include <memory>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;

class WholeFile : public contract::ContractTest {
protected:
    WholeFile()
        : path(MakeFolder("top")), folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

    void Write(const std::string& name, const std::string& bytes) const {
        recorder::WriteWholeFile(folder.Get(), name,
                                 {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
    }

    // Writes in a process that is killed before it has finished; returns the process's status.
    int DieWhileWriting(const std::string& name) const {
        contract::Child child([&] {
            contract::LimitFileSize();
            Write(name, std::string(100, 'x'));
            return 0;
        });
        return child.Wait();
    }

    const std::string path;
    const recorder::UniqueFd folder;
};

TEST_F(WholeFile, IsWritten) {
    Write("a", "the bytes");

    EXPECT_EQ(contract::ReadFile(path + "/a"), "the bytes");
    EXPECT_THAT(contract::NamesIn(path), ElementsAre("a"));
}

TEST_F(WholeFile, CanBeEmptyOrLarge) {
    Write("empty", "");
    Write("large", std::string(5'000'000, 'x'));

    EXPECT_EQ(contract::ReadFile(path + "/empty"), "");
    EXPECT_EQ(contract::ReadFile(path + "/large").size(), 5'000'000U);
}

TEST_F(WholeFile, ReplacesALongerFile) {
    contract::PutFile(path + "/a", "something longer");

    Write("a", "short");

    EXPECT_EQ(contract::ReadFile(path + "/a"), "short");
}

TEST_F(WholeFile, ReplacesALinkAndNotItsTarget) {
    contract::PutFile(Scratch("precious"), "precious");
    fs::create_symlink(Scratch("precious"), path + "/a");

    Write("a", "new");

    EXPECT_EQ(contract::ReadFile(Scratch("precious")), "precious");
    EXPECT_FALSE(fs::is_symlink(path + "/a"));
}

TEST_F(WholeFile, CanHaveTheLongestName) {
    Write(std::string(255, 'n'), "x");

    EXPECT_THAT(contract::NamesIn(path), ElementsAre(std::string(255, 'n')));
}

TEST_F(WholeFile, LeavesNothingBehindIfItCantBeRenamed) {
    contract::PutFile(path + "/a/in the way");

    EXPECT_THROW(Write("a", "x"), recorder::Error);

    EXPECT_THAT(contract::NamesIn(path), ElementsAre("a"));
}

TEST_F(WholeFile, LeavesNothingBehindIfTheDiskIsFull) {
    contract::PutFile(path + "/a", "old");
    contract::Child child([&] {
        signal(SIGXFSZ, SIG_IGN);
        contract::LimitFileSize();
        try {
            Write("a", std::string(100, 'x'));
        } catch (const recorder::Error&) {
            return 0;
        }
        return 1;
    });

    EXPECT_EQ(child.Wait(), 0);

    EXPECT_EQ(contract::ReadFile(path + "/a"), "old");
    EXPECT_THAT(contract::NamesIn(path), ElementsAre("a"));
}

TEST_F(WholeFile, RemovesTheTemporaryFileOfAKilledProcess) {
    contract::PutFile(path + "/a", "old");
    ASSERT_EQ(DieWhileWriting("a"), -1);
    ASSERT_EQ(contract::NamesIn(path).size(), 2U);
    EXPECT_EQ(contract::ReadFile(path + "/a"), "old");

    Write("a", "new");

    EXPECT_EQ(contract::ReadFile(path + "/a"), "new");
    EXPECT_THAT(contract::NamesIn(path), ElementsAre("a"));
}

TEST_F(WholeFile, CanBeCreatedAsANewFile) {
    recorder::WriteNewFile(folder.Get(), "a", {}, 0604);

    EXPECT_EQ(fs::status(path + "/a").permissions(), fs::perms{0604});
    EXPECT_THAT(contract::NamesIn(path), ElementsAre("a"));
}

TEST_F(WholeFile, IsNotReplacedByANewFile) {
    contract::PutFile(path + "/a", "old");
    fs::create_symlink(Scratch("nowhere"), path + "/b");

    for (const char* const name : {"a", "b"}) {
        EXPECT_THROW(recorder::WriteNewFile(folder.Get(), name, {}, 0640), recorder::Error);
    }

    EXPECT_EQ(contract::ReadFile(path + "/a"), "old");
    EXPECT_THAT(contract::NamesIn(path), ElementsAre("a", "b"));
    EXPECT_FALSE(fs::exists(Scratch("nowhere")));
}

TEST_F(WholeFile, LeavesTheTemporaryFileOfALivingProcess) {
    ASSERT_EQ(DieWhileWriting("a"), -1);
    const std::string temporary = path + "/" + contract::NamesIn(path).front();
    const recorder::UniqueFd other(open(temporary.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(other.Get(), LOCK_EX), 0);

    Write("a", "new");

    EXPECT_EQ(contract::ReadFile(temporary), std::string(10, 'x'));
    EXPECT_EQ(contract::ReadFile(path + "/a"), "new");
}

TEST_F(WholeFile, CanBeWrittenBySeveralProcessesAtOnce) {
    constexpr int kWriters = 50;
    std::vector<std::unique_ptr<contract::Child>> writers;
    writers.reserve(kWriters);
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.push_back(std::make_unique<contract::Child>([&] {
            try {
                Write("a", std::string(1000, 'x'));
                return 0;
            } catch (const recorder::Error&) {
                return 1;
            }
        }));
    }
    for (const auto& writer : writers) {
        EXPECT_EQ(writer->Wait(), 0);
    }

    EXPECT_EQ(contract::ReadFile(path + "/a"), std::string(1000, 'x'));
    EXPECT_THAT(contract::NamesIn(path), ElementsAre("a"));
}

// Names that a temporary file of "a" could have, also in earlier versions.
std::vector<std::string> TemporaryNames() {
    return {".kestora-" + std::to_string(std::hash<std::string>()("a")) + ".tmp",
            ".kestora-0000000000000001.tmp"};
}

TEST_F(WholeFile, LeavesEveryOtherEntryWithATemporaryName) {
    contract::PutFile(Scratch("precious"), "precious");
    for (const std::string& name : TemporaryNames()) {
        ASSERT_EQ(mkfifo((path + "/" + name).c_str(), 0600), 0);
        fs::create_symlink(Scratch("precious"), path + "/.kestora-link" + name);
        fs::create_directory(path + "/.kestora-folder" + name);
        contract::PutFile(path + "/x" + name, "kept");
    }
    const std::vector<std::string> before = contract::NamesIn(path);

    Write("a", "new");

    fs::remove(path + "/a");
    EXPECT_EQ(contract::NamesIn(path), before);
    EXPECT_EQ(contract::ReadFile(Scratch("precious")), "precious");
}

TEST_F(WholeFile, IsNotWrittenIntoAnExistingHardLink) {
    contract::PutFile(Scratch("precious"), "precious");
    chmod(Scratch("precious").c_str(), 0600);
    for (const std::string& name : TemporaryNames()) {
        fs::create_hard_link(Scratch("precious"), path + "/" + name);
    }

    recorder::WriteWholeFile(folder.Get(), "a", {}, 0644);

    EXPECT_EQ(contract::ReadFile(Scratch("precious")), "precious");
    EXPECT_EQ(fs::status(Scratch("precious")).permissions(), fs::perms{0600});
}

// Skipped in the sandbox of an ordinary user, where there is no other user.
class ForeignWholeFile : public WholeFile {};

TEST_F(ForeignWholeFile, IsNotRemoved) {
    const std::string other = path + "/.kestora-1.tmp";
    contract::PutFile(other, "other");
    if (chown(other.c_str(), 1001, 0) != 0) {
        GTEST_SKIP() << "there is no other user in this sandbox";
    }

    Write("a", "new");

    EXPECT_EQ(contract::ReadFile(other), "other");
}

TEST_F(WholeFile, RemovesATemporaryFileInALargeFolderAfterSomeWrites) {
    for (int entry = 0; entry < 300; ++entry) {
        contract::PutFile(path + "/" + std::to_string(entry), "");
    }
    ASSERT_EQ(DieWhileWriting("a"), -1);

    for (int entry = 0; entry < 300; ++entry) {
        Write(std::to_string(entry), "");
    }

    EXPECT_EQ(contract::NamesIn(path).size(), 300U);
}

} // namespace
