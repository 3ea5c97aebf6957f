#include "tests/unit/support/platformtest.h"
#include "tests/unit/support/probeindexer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace unit {
namespace {

class DirectoryWalkTest : public PlatformTest {
protected:
    std::string Processed() const { return platform.LinesOf("ProcessFile"); }

    // Creates a socket in the folder. The folder becomes the current one for that, because the path
    // of a socket must be short.
    static void MakeSocket(const std::string& folder, const std::string& name) {
        const std::filesystem::path before = std::filesystem::current_path();
        std::filesystem::current_path(folder);
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        name.copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
        ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        close(fd);
        std::filesystem::current_path(before);
    }

    ProbeIndexer m_indexer;
};

TEST_F(DirectoryWalkTest, EmptyFolderHasNothingToProcess) {
    m_indexer.ProcessDirAndFiles(MakeDir("empty"));
    EXPECT_EQ(Transcript(), "");
    EXPECT_EQ(libc.openDirCnt, 0);
}

TEST_F(DirectoryWalkTest, MissingFolderIsLogged) {
    m_indexer.ProcessDirAndFiles(Path("missing"));
    EXPECT_EQ(Transcript(), Lines({Log("error", "indexer", "ProcessDirAndFiles",
                                       "Failed to opendir [DIR/missing] with errno [2].\n")}));
}

TEST_F(DirectoryWalkTest, UnreadableFolderIsLoggedAndTheNextIsWalked) {
    m_indexer.m_tgtDirList = {MakeDir("locked"), MakeDir("open")};
    MakeFile("locked/a.png");
    MakeFile("open/b.png");
    libc.opendirErrors[Path("locked")] = EACCES;

    m_indexer.ProcessTgtDirs();

    EXPECT_EQ(platform.LinesOf("KRPrintf(0, reindex, error"),
              Lines({Log("error", "indexer", "ProcessDirAndFiles",
                         "Failed to opendir [DIR/locked] with errno [13].\n")}));
    EXPECT_EQ(Processed(), "ProcessFile(DIR/open/b.png, b.png)\n");
}

TEST_F(DirectoryWalkTest, RegularFileIsProcessedWithItsStatus) {
    MakeFile("d/a b;'.png", 4321);

    m_indexer.ProcessDirAndFiles(Path("d"));

    EXPECT_EQ(Transcript(), "ProcessFile(DIR/d/a b;'.png, a b;'.png)\n");
    ASSERT_EQ(m_indexer.stats.size(), 1U);
    EXPECT_EQ(m_indexer.stats[0].st_size, 4321);
    EXPECT_EQ(m_indexer.stats[0].st_ctim.tv_nsec, ChangeTime(Path("d/a b;'.png")).tv_nsec);
}

TEST_F(DirectoryWalkTest, HiddenFilesAreProcessed) {
    MakeFile("d/.hidden");
    m_indexer.ProcessDirAndFiles(Path("d"));
    EXPECT_EQ(Processed(), "ProcessFile(DIR/d/.hidden, .hidden)\n");
}

TEST_F(DirectoryWalkTest, SubfolderIsIgnored) {
    MakeFile("d/sub/20140312-101500-1394590500.mp4");
    MakeFile("d/sub/a.png");

    m_indexer.ProcessDirAndFiles(Path("d"));

    EXPECT_EQ(Transcript(), "");
}

TEST_F(DirectoryWalkTest, LinksSocketsAndPipesAreIgnored) {
    const std::string file = MakeFile("elsewhere.png");
    MakeDir("d");
    std::filesystem::create_symlink(file, Path("d/link.png"));
    ASSERT_EQ(mkfifo(Path("d/fifo.png").c_str(), 0600), 0);
    MakeSocket(Path("d"), "socket.png");

    m_indexer.ProcessDirAndFiles(Path("d"));

    EXPECT_EQ(Transcript(), "");
}

TEST_F(DirectoryWalkTest, EntriesOfUnknownTypeAreIgnored) {
    MakeFile("d/a.png");
    libc.listings[Path("d")] = {{"a.png", DT_UNKNOWN}};

    m_indexer.ProcessDirAndFiles(Path("d"));

    EXPECT_EQ(Transcript(), "");
}

TEST_F(DirectoryWalkTest, DotEntriesOfAnyTypeAreSkipped) {
    MakeFile("d/a.png");
    libc.listings[Path("d")] = {{".", DT_REG}, {"..", DT_REG}, {"a.png", DT_REG}};

    m_indexer.ProcessDirAndFiles(Path("d"));

    EXPECT_EQ(Transcript(), "ProcessFile(DIR/d/a.png, a.png)\n");
}

TEST_F(DirectoryWalkTest, EntriesAreProcessedInTheOrderOfTheFolder) {
    for (const char* name : {"a", "b", "c"}) {
        MakeFile(std::string("d/") + name);
    }
    libc.listings[Path("d")] = {{"b"}, {"c"}, {"a"}};

    m_indexer.ProcessDirAndFiles(Path("d"));

    EXPECT_EQ(Processed(), Lines({"ProcessFile(DIR/d/b, b)", "ProcessFile(DIR/d/c, c)",
                                  "ProcessFile(DIR/d/a, a)"}));
}

TEST_F(DirectoryWalkTest, VanishedFileIsProcessedWithTheStatusOfThePreviousFile) {
    MakeFile("d/a", 4321);
    libc.listings[Path("d")] = {{"a"}, {"vanished"}};

    m_indexer.ProcessDirAndFiles(Path("d"));

    EXPECT_EQ(Transcript(),
              Lines({"ProcessFile(DIR/d/a, a)", "ProcessFile(DIR/d/vanished, vanished)"}));
    ASSERT_EQ(m_indexer.stats.size(), 2U);
    EXPECT_EQ(m_indexer.stats[1].st_size, 4321);
    EXPECT_EQ(m_indexer.stats[1].st_ino, m_indexer.stats[0].st_ino);
}

// Fills the part of the stack that the next call uses with values other than zero.
__attribute__((noinline)) void DirtyTheStack() {
    std::array<unsigned char, 65536> dirt;
    std::fill(dirt.begin(), dirt.end(), 0xa5);
    asm volatile("" : : "r"(dirt.data()) : "memory"); // prevents the removal of the writes
}

TEST_F(DirectoryWalkTest, VanishedFirstFileIsProcessedWithAnEmptyStatus) {
    MakeDir("d");
    libc.listings[Path("d")] = {{"vanished"}};
    DirtyTheStack();

    m_indexer.ProcessDirAndFiles(Path("d"));

    ASSERT_EQ(m_indexer.stats.size(), 1U);
    EXPECT_EQ(m_indexer.stats[0].st_ino, 0U);
    EXPECT_EQ(m_indexer.stats[0].st_size, 0);
    EXPECT_EQ(m_indexer.stats[0].st_ctim.tv_sec, 0);
}

TEST_F(DirectoryWalkTest, FileWithoutStatusIsLoggedAndSkipped) {
    MakeFile("d/a");
    MakeFile("d/b");
    libc.listings[Path("d")] = {{"a"}, {"b"}};
    libc.statErrors[Path("d/a")] = EIO;

    m_indexer.ProcessDirAndFiles(Path("d"));

    EXPECT_EQ(Transcript(), Lines({
                                Log("error", "indexer", "ProcessDirAndFiles",
                                    "Failed to stat file [DIR/d/a] with errno [5].\n"),
                                "ProcessFile(DIR/d/b, b)",
                            }));
}

TEST_F(DirectoryWalkTest, ReadErrorEndsTheListingSilently) {
    for (const char* name : {"a", "b", "c"}) {
        MakeFile(std::string("d/") + name);
    }
    libc.listings[Path("d")] = {{"a"}, {"b"}, {"c"}};
    libc.readErrorAfter[Path("d")] = 2;

    m_indexer.ProcessDirAndFiles(Path("d"));

    EXPECT_EQ(Transcript(), Lines({"ProcessFile(DIR/d/a, a)", "ProcessFile(DIR/d/b, b)"}));
    EXPECT_EQ(libc.openDirCnt, 0);
}

TEST_F(DirectoryWalkTest, ResultOfProcessFileIsIgnored) {
    m_indexer.processFileResult = -1;
    MakeFile("d/a");
    MakeFile("d/b");
    libc.listings[Path("d")] = {{"a"}, {"b"}};

    m_indexer.ProcessDirAndFiles(Path("d"));

    EXPECT_EQ(Processed(), Lines({"ProcessFile(DIR/d/a, a)", "ProcessFile(DIR/d/b, b)"}));
}

TEST_F(DirectoryWalkTest, FolderIsClosedAgain) {
    MakeFile("d/a");

    m_indexer.ProcessDirAndFiles(Path("d"));

    EXPECT_EQ(Processed(), "ProcessFile(DIR/d/a, a)\n");
    EXPECT_EQ(libc.openDirCnt, 0);
}

TEST_F(DirectoryWalkTest, StatusIsReadOncePerFileAndForNothingElse) {
    const std::string file = MakeFile("d/a");
    MakeDir("d/folder");
    std::filesystem::create_symlink(file, Path("d/link"));
    libc.statCalls.clear();

    m_indexer.ProcessDirAndFiles(Path("d"));

    EXPECT_EQ(Processed(), "ProcessFile(DIR/d/a, a)\n");
    EXPECT_EQ(libc.statCalls, std::vector<std::string>{file});
}

} // namespace
} // namespace unit
