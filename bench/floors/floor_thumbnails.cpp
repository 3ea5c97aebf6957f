// floor_thumbnails FOLDER [INTO]: the minimum for creating thumbnails. Reads every picture of a
// folder, decodes it at the scale of TurboJPEG that suits the width of a thumbnail, and encodes the
// result. Writes the thumbnails to the folder INTO, if it is given, so that no crash can leave a
// partial one: under another name, flushed, renamed.

#include "bench/floors/ahead.h"
#include "bench/floors/floor.h"
#include "bench/floors/walk.h"

#include <vector>

#include <fcntl.h>
#include <turbojpeg.h>
#include <unistd.h>

namespace {

constexpr int kWidth = 320;
constexpr int kQuality = 80;
constexpr int kRgbBytes = 3;
constexpr mode_t kFileMode = 0640;

struct Codec {
    Codec() = default;
    ~Codec() {
        tjFree(out);
        tjDestroy(encoder);
        tjDestroy(decoder);
    }
    Codec(const Codec&) = delete;
    Codec& operator=(const Codec&) = delete;
    Codec(Codec&&) = delete;
    Codec& operator=(Codec&&) = delete;

    tjhandle decoder = tjInitDecompress();
    tjhandle encoder = tjInitCompress();
    std::vector<unsigned char> pixels;
    unsigned char* out = nullptr; // reused for each picture
    unsigned long outSize = 0;
};

void Check(int outcome, tjhandle handle) {
    if (outcome != 0) {
        throw std::runtime_error(tjGetErrorStr2(handle));
    }
}

void CheckCall(long outcome, const std::string& path) {
    if (outcome < 0) {
        throw std::runtime_error("can't use " + path);
    }
}

tjscalingfactor Scale(int width) {
    tjscalingfactor best{1, 1};
    int count = 0;
    const tjscalingfactor* const factors = tjGetScalingFactors(&count);
    for (const tjscalingfactor& factor : std::span(factors, static_cast<std::size_t>(count))) {
        if (TJSCALED(width, factor) >= kWidth && TJSCALED(width, factor) < TJSCALED(width, best)) {
            best = factor;
        }
    }
    return best;
}

std::vector<unsigned char> Read(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY);
    struct stat64 st = {};
    CheckCall(fd, path);
    CheckCall(fstat64(fd, &st), path);
    std::vector<unsigned char> bytes(static_cast<std::size_t>(st.st_size));
    CheckCall(read(fd, bytes.data(), bytes.size()), path);
    close(fd);
    return bytes;
}

void MakeThumbnail(const std::vector<unsigned char>& jpeg, Codec& codec) {
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colorspace = 0;
    Check(tjDecompressHeader3(codec.decoder, jpeg.data(), jpeg.size(), &width, &height,
                              &subsampling, &colorspace),
          codec.decoder);
    const tjscalingfactor scale = Scale(width);
    width = TJSCALED(width, scale);
    height = TJSCALED(height, scale);
    codec.pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                        kRgbBytes);
    Check(tjDecompress2(codec.decoder, jpeg.data(), jpeg.size(), codec.pixels.data(), width, 0,
                        height, TJPF_RGB, 0),
          codec.decoder);
    Check(tjCompress2(codec.encoder, codec.pixels.data(), width, 0, height, TJPF_RGB, &codec.out,
                      &codec.outSize, TJSAMP_420, kQuality, 0),
          codec.encoder);
}

void Write(const Codec& codec, const std::string& path) {
    const std::string temporary = path + ".tmp";
    const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC, kFileMode);
    CheckCall(fd, temporary);
    CheckCall(write(fd, codec.out, codec.outSize), temporary);
    CheckCall(fsync(fd), temporary);
    close(fd);
    CheckCall(rename(temporary.c_str(), path.c_str()), path);
}

void MakeThumbnails(std::span<char*> args) {
    const floors::Ahead ahead(args[0],
                              [](const std::string& path) { static_cast<void>(Read(path)); });
    Codec codec;
    int count = 0;
    floors::WalkFolder(args[0], [&](const std::string& path, const char* name) {
        MakeThumbnail(Read(path), codec);
        if (args.size() > 1) {
            Write(codec, std::string(args[1]) + "/" + name);
        }
        ++count;
    });
    std::printf("%d thumbnails\n", count);
}

} // namespace

int main(int argc, char** argv) {
    return floors::RunFloor(argc, argv, 1, "floor_thumbnails FOLDER [INTO]", MakeThumbnails);
}
