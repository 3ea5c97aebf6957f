// floor_thumbnails FOLDER: reads every picture of a folder, decodes it at a reduced scale, shrinks
// it and encodes the result: the least that making the thumbnails can cost. Nothing is written.

#include "recorder/recording/bytesource.h"
#include "recorder/snapshot/pixels.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <turbojpeg.h>

namespace {

constexpr int kWidth = 320;
constexpr int kQuality = 80;

struct Codec {
    tjhandle decoder = tjInitDecompress();
    tjhandle encoder = tjInitCompress();
    unsigned char* out = nullptr; // kept from picture to picture
    unsigned long outSize = 0;
};

void Check(int outcome, tjhandle handle) {
    if (outcome != 0) {
        throw std::runtime_error(tjGetErrorStr2(handle));
    }
}

tjscalingfactor Scale(int width) {
    tjscalingfactor best{1, 1};
    int count = 0;
    const tjscalingfactor* const factors = tjGetScalingFactors(&count);
    for (int i = 0; i < count; ++i) {
        if (TJSCALED(width, factors[i]) >= kWidth &&
            TJSCALED(width, factors[i]) < TJSCALED(width, best)) {
            best = factors[i];
        }
    }
    return best;
}

void MakeThumbnail(const std::vector<uint8_t>& jpeg, Codec& codec) {
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colorspace = 0;
    Check(tjDecompressHeader3(codec.decoder, jpeg.data(), jpeg.size(), &width, &height,
                              &subsampling, &colorspace),
          codec.decoder);
    const tjscalingfactor scale = Scale(width);
    recorder::Pixels decoded(TJSCALED(width, scale), TJSCALED(height, scale));
    Check(tjDecompress2(codec.decoder, jpeg.data(), jpeg.size(), decoded.rgb.data(), decoded.width,
                        0, decoded.height, TJPF_RGB, 0),
          codec.decoder);
    const recorder::Pixels small = recorder::ShrinkTo(decoded, kWidth);
    Check(tjCompress2(codec.encoder, small.rgb.data(), small.width, 0, small.height, TJPF_RGB,
                      &codec.out, &codec.outSize, TJSAMP_420, kQuality, 0),
          codec.encoder);
}

std::vector<uint8_t> Read(const std::string& path) {
    recorder::FileSource source(path);
    std::vector<uint8_t> bytes(static_cast<std::size_t>(source.Size()));
    bytes.resize(source.ReadAt(0, bytes));
    return bytes;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: floor_thumbnails FOLDER\n");
        return 64;
    }
    try {
        Codec codec;
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
            if (entry.is_regular_file()) {
                MakeThumbnail(Read(entry.path().string()), codec);
                ++count;
            }
        }
        std::printf("%d thumbnails\n", count);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "floor_thumbnails: %s\n", error.what());
        return 1;
    }
}
