#include "recorder/backup/setfiles.h"

#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/sha256.h"
#include "recorder/support/textfile.h"
#include "recorder/support/trust.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/support/uuid.h"
#include "recorder/support/wholefile.h"

#include <cinttypes>
#include <cstdio>
#include <span>

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

constexpr const char* kFormat = "kestora backup 1\nrecorder %s\nnumber %ld\ntaken %" PRId64
                                "\nschema %ld\nrun %ld\noutbox %ld\n";
constexpr long kFormatVersion = 1;
constexpr std::size_t kMaxTextBytes = 4096;

std::span<const uint8_t> BytesOf(const std::string& text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

std::string DescriptionOf(const BackupSet& set) {
    return Format(kFormat, set.recorder.c_str(), set.number, set.takenTm, set.schema, set.run,
                  set.outbox);
}

UniqueFd OpenFileOf(const UniqueFd& folder, const std::string& path, const char* name) {
    UniqueFd file(Uninterrupted([&] {
        return openat(folder.Get(), name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    }));
    struct stat64 st = {};
    if (!file.IsOpen() || Uninterrupted([&] { return fstat64(file.Get(), &st); }) != 0) {
        throw SystemError("open " + path + "/" + name);
    }
    if (!S_ISREG(st.st_mode)) {
        throw Error(path + "/" + name + " is not a regular file");
    }
    return file;
}

// The line of a file in the list of checksums.
std::string ChecksumLine(const UniqueFd& folder, const std::string& path, const char* name) {
    return Sha256OfFile(OpenFileOf(folder, path, name), path + "/" + name) + "  " + name + "\n";
}

int64_t SizeOf(const UniqueFd& folder, const std::string& path) {
    int64_t sizeBytes = 0;
    for (const char* const name : kCheckedFiles) {
        struct stat64 st = {};
        if (fstatat64(folder.Get(), name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
            throw SystemError("examine " + path + "/" + name);
        }
        sizeBytes += st.st_size;
    }
    return sizeBytes;
}

void RequireKnownFormat(const std::string& text, const std::string& path) {
    long version = 0;
    // NOLINTNEXTLINE(cert-err34-c): a number out of range is refused too.
    if (std::sscanf(text.c_str(), "kestora backup %ld\n", &version) == 1 &&
        version > kFormatVersion) {
        throw Error(path + " has the format " + std::to_string(version) +
                    ", which a newer version of krctl wrote; this one reads format " +
                    std::to_string(kFormatVersion) + ": use the newer krctl");
    }
}

} // namespace

void WriteDescription(const UniqueFd& folder, const BackupSet& set) {
    WriteWholeFile(folder.Get(), kDescriptionFile, BytesOf(DescriptionOf(set)));
}

void WriteChecksums(const UniqueFd& folder, const std::string& path) {
    std::string text;
    for (const char* const name : kCheckedFiles) {
        text += ChecksumLine(folder, path, name);
    }
    WriteWholeFile(folder.Get(), kChecksumFile, BytesOf(text));
}

BackupSet ReadDescription(const UniqueFd& folder, const std::string& path) {
    const std::string text = ReadText(OpenFileOf(folder, path, kDescriptionFile),
                                      path + "/" + kDescriptionFile, kMaxTextBytes);
    RequireKnownFormat(text, path);
    BackupSet set;
    set.folder = path;
    std::array<char, 37> recorder{};
    const int fields =
        // NOLINTNEXTLINE(cert-err34-c): a number out of range is noticed below.
        std::sscanf(text.c_str(),
                    "kestora backup 1\nrecorder %36s\nnumber %ld\ntaken %" SCNd64
                    "\nschema %ld\nrun %ld\noutbox %ld\n",
                    recorder.data(), &set.number, &set.takenTm, &set.schema, &set.run, &set.outbox);
    set.recorder = recorder.data();
    constexpr int kFields = 6;
    // Written again it must be the same text: sscanf passes over what it doesn't expect.
    if (fields != kFields || !IsUuid(set.recorder) || set.number < 1 ||
        set.number > kMaxSetNumber || DescriptionOf(set) != text) {
        throw Error(path + "/" + kDescriptionFile + " is not the description of a backup set");
    }
    set.sizeBytes = SizeOf(folder, path);
    return set;
}

void RequireChecksums(const UniqueFd& folder, const std::string& path) {
    for (const char* const name : kCheckedFiles) {
        RequireTrustedUnlinked(path + "/" + name);
    }
    RequireTrustedUnlinked(path + "/" + kChecksumFile);
    const std::string expected = ReadText(OpenFileOf(folder, path, kChecksumFile),
                                          path + "/" + kChecksumFile, kMaxTextBytes);
    for (const char* const name : kCheckedFiles) {
        if (expected.find(ChecksumLine(folder, path, name)) == std::string::npos) {
            throw Error(path + "/" + name + " is damaged: its SHA-256 is not the one in " +
                        kChecksumFile);
        }
    }
}

} // namespace recorder
