// slowdisk [OPTION...] FOLDER: mounts a file system over FOLDER that serves the folder's own files
// with the delays of a slow disk, until it is unmounted (umount FOLDER); needs root. Bytes, names
// and status are passed through unchanged. The kernel caches entries, status, listings and pages as
// for a local disk, so only the first access takes time; dropping the kernel's caches makes all
// accesses slow again.

#include "bench/slowdisk_queue.h"

#define FUSE_USE_VERSION 314
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <fuse3/fuse.h>
#include <fuse3/fuse_lowlevel.h>
#include <linux/fuse.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

constexpr double kCacheS = 86400;
constexpr unsigned kMaxBackground = 512; // FUSE's default, 12, would limit the requests in flight
constexpr unsigned kSpareThreads = 16;   // for requests that don't wait
constexpr unsigned kTimerSlackNs = 1000; // the kernel's default, 50 us, is half of the SSD's time

struct Options {
    unsigned lookupUs = 1000;
    unsigned readUs = 1000;
    unsigned depth = 32;
    char* statistics = nullptr; // file for the counts of requests, written on unmount
};

struct Disk {
    int folder; // opened before the mount covers it
    slowdisk::Queue queue;
    unsigned lookupUs;
    unsigned readUs;
};

// The opcode of the request that this thread received last and is serving; libfuse doesn't pass it
// on.
thread_local uint32_t t_opcode = 0;

Disk& TheDisk() {
    return *static_cast<Disk*>(fuse_get_context()->private_data);
}

const char* Relative(const char* path) {
    return path[1] == '\0' ? "." : path + 1;
}

// Returns a call's result, or its error as FUSE expects it.
template <typename Result> Result Outcome(Result result) {
    return result < 0 ? -errno : result;
}

int Descriptor(const struct fuse_file_info* file) {
    return static_cast<int>(file->fh);
}

void* Init(struct fuse_conn_info* connection, struct fuse_config* config) {
    // A listing must not return the status of the files, which on a disk needs more accesses.
    connection->want &= ~static_cast<unsigned>(FUSE_CAP_READDIRPLUS | FUSE_CAP_READDIRPLUS_AUTO);
    connection->max_background = kMaxBackground;
    connection->congestion_threshold = kMaxBackground;
    config->use_ino = 1;
    config->kernel_cache = 1;
    config->hard_remove = 1;
    config->entry_timeout = config->attr_timeout = config->negative_timeout = kCacheS;
    return fuse_get_context()->private_data;
}

// Only a look-up takes time: the kernel asks again for the status of an inode that it has in
// memory, for example after a read, and a local disk would not be accessed for that.
int GetStatus(const char* path, struct stat* status, struct fuse_file_info* file) {
    if (file != nullptr) {
        return Outcome(fstat(Descriptor(file), status));
    }
    if (t_opcode == FUSE_LOOKUP) {
        TheDisk().queue.Serve(slowdisk::Kind::kLookup, TheDisk().lookupUs);
    }
    return Outcome(fstatat(TheDisk().folder, Relative(path), status, AT_SYMLINK_NOFOLLOW));
}

int OpenFolder(const char* /*path*/, struct fuse_file_info* file) {
    file->cache_readdir = 1;
    file->keep_cache = 1;
    return 0;
}

int List(const char* path, void* buffer, fuse_fill_dir_t fill, off_t /*offset*/,
         struct fuse_file_info* /*file*/, fuse_readdir_flags /*flags*/) {
    TheDisk().queue.Serve(slowdisk::Kind::kListing, TheDisk().readUs);
    const int fd = openat(TheDisk().folder, Relative(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return -errno;
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(fdopendir(fd), closedir);
    errno = 0;
    while (const struct dirent* const entry = readdir(folder.get())) {
        struct stat status = {};
        status.st_ino = entry->d_ino;
        status.st_mode = static_cast<mode_t>(DTTOIF(entry->d_type));
        fill(buffer, entry->d_name, &status, 0, fuse_fill_dir_flags{});
    }
    return -errno;
}

int OpenWith(const char* path, struct fuse_file_info* file, mode_t mode) {
    const int fd = openat(TheDisk().folder, Relative(path), file->flags | O_CLOEXEC, mode);
    file->fh = static_cast<uint64_t>(fd);
    return fd < 0 ? -errno : 0;
}

int Open(const char* path, struct fuse_file_info* file) {
    return OpenWith(path, file, 0);
}

int Create(const char* path, mode_t mode, struct fuse_file_info* file) {
    return OpenWith(path, file, mode);
}

int Read(const char* /*path*/, char* buffer, size_t size, off_t offset,
         struct fuse_file_info* file) {
    TheDisk().queue.Serve(slowdisk::Kind::kRead, TheDisk().readUs);
    return static_cast<int>(Outcome(pread(Descriptor(file), buffer, size, offset)));
}

// The disk's own memory takes a write at once; a flush waits.
int Write(const char* /*path*/, const char* buffer, size_t size, off_t offset,
          struct fuse_file_info* file) {
    return static_cast<int>(Outcome(pwrite(Descriptor(file), buffer, size, offset)));
}

int Flush(const char* /*path*/, int onlyData, struct fuse_file_info* file) {
    TheDisk().queue.Serve(slowdisk::Kind::kFlush, TheDisk().readUs);
    return Outcome(onlyData != 0 ? fdatasync(Descriptor(file)) : fsync(Descriptor(file)));
}

int Close(const char* /*path*/, struct fuse_file_info* file) {
    close(Descriptor(file));
    return 0;
}

int ReadLink(const char* path, char* buffer, size_t size) {
    const ssize_t length = readlinkat(TheDisk().folder, Relative(path), buffer, size - 1);
    if (length < 0) {
        return -errno;
    }
    buffer[length] = '\0';
    return 0;
}

int MakeFolder(const char* path, mode_t mode) {
    return Outcome(mkdirat(TheDisk().folder, Relative(path), mode));
}

int Unlink(const char* path) {
    return Outcome(unlinkat(TheDisk().folder, Relative(path), 0));
}

int RemoveFolder(const char* path) {
    return Outcome(unlinkat(TheDisk().folder, Relative(path), AT_REMOVEDIR));
}

int Rename(const char* from, const char* to, unsigned flags) {
    const int folder = TheDisk().folder;
    return Outcome(renameat2(folder, Relative(from), folder, Relative(to), flags));
}

int Truncate(const char* path, off_t size, struct fuse_file_info* file) {
    if (file != nullptr) {
        return Outcome(ftruncate(Descriptor(file), size));
    }
    const int fd = openat(TheDisk().folder, Relative(path), O_WRONLY | O_CLOEXEC);
    const int outcome = fd < 0 ? -errno : Outcome(ftruncate(fd, size));
    close(fd);
    return outcome;
}

int ChangeMode(const char* path, mode_t mode, struct fuse_file_info* /*file*/) {
    return Outcome(fchmodat(TheDisk().folder, Relative(path), mode, 0));
}

int ChangeOwner(const char* path, uid_t user, gid_t group, struct fuse_file_info* /*file*/) {
    return Outcome(fchownat(TheDisk().folder, Relative(path), user, group, AT_SYMLINK_NOFOLLOW));
}

int SetTimes(const char* path, const struct timespec* times, struct fuse_file_info* /*file*/) {
    return Outcome(utimensat(TheDisk().folder, Relative(path), times, AT_SYMLINK_NOFOLLOW));
}

int GetSpace(const char* /*path*/, struct statvfs* space) {
    return Outcome(fstatvfs(TheDisk().folder, space));
}

struct fuse_operations Operations() {
    struct fuse_operations operations = {};
    operations.init = Init;
    operations.getattr = GetStatus;
    operations.opendir = OpenFolder;
    operations.readdir = List;
    operations.open = Open;
    operations.create = Create;
    operations.read = Read;
    operations.write = Write;
    operations.fsync = Flush;
    operations.release = Close;
    operations.readlink = ReadLink;
    operations.mkdir = MakeFolder;
    operations.unlink = Unlink;
    operations.rmdir = RemoveFolder;
    operations.rename = Rename;
    operations.truncate = Truncate;
    operations.chmod = ChangeMode;
    operations.chown = ChangeOwner;
    operations.utimens = SetTimes;
    operations.statfs = GetSpace;
    return operations;
}

int Usage() {
    std::fputs(
        "usage: slowdisk [--lookup-us=N] [--read-us=N] [--depth=N] [--statistics=FILE] FOLDER\n"
        "N is at most 1000000; a depth is from 1 to 256.\n",
        stderr);
    return 64;
}

// Reads one option "--NAME=N" with N from `least` to `most`. Returns false for another one.
bool TakeNumber(const char* word, const char* name, unsigned least, unsigned most,
                unsigned& number) {
    const std::size_t length = std::strlen(name);
    if (std::strncmp(word, name, length) != 0 || word[length] < '0' || word[length] > '9') {
        return false;
    }
    char* end = nullptr;
    const unsigned long value = std::strtoul(word + length, &end, 10);
    number = static_cast<unsigned>(value);
    return *end == '\0' && value >= least && value <= most;
}

bool TakeOption(char* word, Options& options) {
    constexpr unsigned kMostUs = 1'000'000;
    constexpr unsigned kMostDepth = 256;
    constexpr char kStatistics[] = "--statistics=";
    if (std::strncmp(word, kStatistics, sizeof kStatistics - 1) == 0) {
        options.statistics = word + sizeof kStatistics - 1;
        return true;
    }
    return TakeNumber(word, "--lookup-us=", 0, kMostUs, options.lookupUs) ||
           TakeNumber(word, "--read-us=", 0, kMostUs, options.readUs) ||
           TakeNumber(word, "--depth=", 1, kMostDepth, options.depth);
}

// Writes a reply to the kernel. The first one is that of FUSE_INIT: libfuse 3.14.0 leaves out the
// flag for look-ups in parallel, without which the kernel allows one look-up at a time in a folder.
ssize_t Reply(int fd, struct iovec* parts, int count, void* /*disk*/) {
    static std::atomic<bool> isFirst = true;
    if (isFirst.exchange(false) && count == 2) {
        static_cast<struct fuse_init_out*>(parts[1].iov_base)->flags |= FUSE_PARALLEL_DIROPS;
    }
    return writev(fd, parts, count);
}

ssize_t Receive(int fd, void* buffer, size_t size, void* /*disk*/) {
    const ssize_t length = read(fd, buffer, size);
    if (length >= static_cast<ssize_t>(sizeof(struct fuse_in_header))) {
        t_opcode = static_cast<const struct fuse_in_header*>(buffer)->opcode;
    }
    return length;
}

// Mounts the file system. Returns the descriptor of its connection, -1 on failure.
int Mount(const char* folder) {
    const int fd = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    const std::string settings =
        "fd=" + std::to_string(fd) +
        ",rootmode=40000,user_id=0,group_id=0,allow_other,default_permissions";
    if (fd < 0 ||
        mount("slowdisk", folder, "fuse.slowdisk", MS_NOSUID | MS_NODEV, settings.c_str()) != 0) {
        std::fprintf(stderr, "slowdisk: can't mount a file system on %s: %s\n", folder,
                     std::strerror(errno));
        return -1;
    }
    return fd;
}

// Serves until the file system is unmounted. Returns false on failure.
bool Serve(const char* folder, const Options& options, Disk& disk) {
    const struct fuse_operations operations = Operations();
    char name[] = "slowdisk";
    char* words[] = {name, nullptr};
    struct fuse_args args = FUSE_ARGS_INIT(1, words);
    const std::unique_ptr<struct fuse_args, decltype(&fuse_opt_free_args)> argsOwner(
        &args, fuse_opt_free_args);
    const std::unique_ptr<struct fuse, decltype(&fuse_destroy)> fuse(
        fuse_new(&args, &operations, sizeof operations, &disk), fuse_destroy);
    struct fuse_custom_io io = {};
    io.writev = Reply;
    io.read = Receive;
    const int fd = fuse ? Mount(folder) : -1;
    if (fd < 0 || fuse_session_custom_io(fuse_get_session(fuse.get()), &io, fd) != 0) {
        return false;
    }
    const std::unique_ptr<struct fuse_loop_config, decltype(&fuse_loop_cfg_destroy)> loop(
        fuse_loop_cfg_create(), fuse_loop_cfg_destroy);
    const unsigned threads = 2 * options.depth + kSpareThreads;
    fuse_loop_cfg_set_max_threads(loop.get(), threads);
    fuse_loop_cfg_set_idle_threads(loop.get(), threads);
    return fuse_loop_mt(fuse.get(), loop.get()) == 0 &&
           (options.statistics == nullptr || disk.queue.WriteStatistics(options.statistics));
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i + 1 < argc; ++i) {
        if (!TakeOption(argv[i], options)) {
            std::fprintf(stderr, "slowdisk: %s: not an option, or its number is out of range\n",
                         argv[i]);
            return Usage();
        }
    }
    if (argc < 2 || argv[argc - 1][0] == '-') {
        return Usage();
    }
    const char* const folder = argv[argc - 1];
    char real[PATH_MAX];
    const int fd = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0 || realpath(folder, real) == nullptr) {
        std::fprintf(stderr, "slowdisk: can't open the folder %s: %s\n", folder,
                     std::strerror(errno));
        return 1;
    }
    prctl(PR_SET_TIMERSLACK, kTimerSlackNs, 0, 0, 0);
    umask(0);
    Disk disk{fd, slowdisk::Queue(options.depth), options.lookupUs, options.readUs};
    return Serve(real, options, disk) ? 0 : 1;
}
