// When files are flushed, and what happens if another process acts between two system calls. This
// program's functions fsync and flock replace those of the C library.

#include "recorder/support/error.h"
#include "recorder/support/uniquefd.h"
#include "recorder/support/wholefile.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Called before each fsync if it is set. A result other than 0 is returned instead of the call.
std::function<int(int file)>& BeforeFlush() {
    static std::function<int(int)> before;
    return before;
}

// Called before the next flock if it is set.
std::function<void()>& BeforeLock() {
    static std::function<void()> before;
    return before;
}

} // namespace

extern "C" {
int FlushOfTest(int file) __asm__("fsync");
int LockOfTest(int file, int operation) __asm__("flock");
}

int FlushOfTest(int file) {
    const int result = BeforeFlush() ? BeforeFlush()(file) : 0;
    return result != 0 ? result : static_cast<int>(syscall(SYS_fsync, file));
}

int LockOfTest(int file, int operation) {
    if (BeforeLock()) {
        std::exchange(BeforeLock(), {})();
    }
    return static_cast<int>(syscall(SYS_flock, file, operation));
}

namespace {

using testing::ElementsAre;

class WholeFileFlush : public contract::ContractTest {
protected:
    WholeFileFlush()
        : path(MakeFolder("top")), folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

    ~WholeFileFlush() override {
        BeforeFlush() = {};
        BeforeLock() = {};
    }
    WholeFileFlush(const WholeFileFlush&) = delete;
    WholeFileFlush& operator=(const WholeFileFlush&) = delete;
    WholeFileFlush(WholeFileFlush&&) = delete;
    WholeFileFlush& operator=(WholeFileFlush&&) = delete;

    void WriteNew() const {
        constexpr mode_t kMode = 0640;
        const std::array<uint8_t, 3> bytes{'n', 'e', 'w'};
        recorder::WriteNewFile(folder.Get(), "new", bytes, kMode);
    }

    [[nodiscard]] bool Has(const std::string& name) const {
        return faccessat(folder.Get(), name.c_str(), F_OK, 0) == 0;
    }

    // The path of the folder's only entry.
    [[nodiscard]] std::string OnlyEntry() const {
        const std::vector<std::string> names = contract::NamesIn(path);
        return names.size() == 1 ? path + "/" + names.front() : "not one entry";
    }

    const std::string path;
    const recorder::UniqueFd folder;
};

bool IsFolder(int file) {
    struct stat64 st = {};
    return fstat64(file, &st) == 0 && S_ISDIR(st.st_mode);
}

TEST_F(WholeFileFlush, FlushesTheFileBeforeItIsRenamedAndThenTheFolder) {
    std::vector<std::string> flushed;
    BeforeFlush() = [&](int file) {
        flushed.push_back(std::string(IsFolder(file) ? "folder" : "file") +
                          (Has("new") ? " with the name" : " without the name"));
        return 0;
    };

    WriteNew();

    flushed.erase(std::unique(flushed.begin(), flushed.end()), flushed.end());
    EXPECT_THAT(flushed, ElementsAre("file without the name", "folder with the name"));
}

TEST_F(WholeFileFlush, FailsIfTheFolderCantBeFlushed) {
    BeforeFlush() = [](int file) {
        errno = EIO;
        return IsFolder(file) ? -1 : 0;
    };

    EXPECT_THROW(WriteNew(), recorder::Error);
}

TEST_F(WholeFileFlush, WritesAnotherTemporaryFileIfTheFirstIsRemovedBeforeItIsLocked) {
    BeforeLock() = [&] { unlink(OnlyEntry().c_str()); };

    WriteNew();

    EXPECT_EQ(contract::ReadFile(path + "/new"), "new");
    EXPECT_THAT(contract::NamesIn(path), ElementsAre("new"));
}

TEST_F(WholeFileFlush, LeavesATemporaryFileThatReplacedARenamedOne) {
    contract::PutFile(path + "/.kestora-1.tmp", "old");
    BeforeLock() = [&] {
        rename((path + "/.kestora-1.tmp").c_str(), (path + "/whole").c_str());
        contract::PutFile(path + "/.kestora-1.tmp", "another writer's");
    };

    WriteNew();

    EXPECT_EQ(contract::ReadFile(path + "/.kestora-1.tmp"), "another writer's");
    EXPECT_EQ(contract::ReadFile(path + "/whole"), "old");
    EXPECT_EQ(contract::ReadFile(path + "/new"), "new");
}

} // namespace
