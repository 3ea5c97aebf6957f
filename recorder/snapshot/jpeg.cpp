#include "recorder/snapshot/jpeg.h"

#include "recorder/snapshot/orientation.h"
#include "recorder/snapshot/pixels.h"
#include "recorder/support/error.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include <turbojpeg.h>

namespace recorder {

namespace {

constexpr int64_t kMaxPixels = 100'000'000;
constexpr int kQuality = 80;
constexpr int kFirstSwappedOrientation = 5; // from here on, rows are stored as columns

struct DestroyHandle {
    void operator()(void* handle) const { tjDestroy(handle); }
};
using Handle = std::unique_ptr<void, DestroyHandle>;

struct FreeBuffer {
    void operator()(unsigned char* buffer) const { tjFree(buffer); }
};

struct FullHeader {
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colorspace = 0;
};

Error JpegError(const std::string& attempted, tjhandle handle) {
    return Error("can't " + attempted + ": " + tjGetErrorStr2(handle));
}

Handle NewHandle(tjhandle handle) {
    if (handle == nullptr) {
        throw Error("can't start TurboJPEG");
    }
    return Handle(handle);
}

FullHeader ReadHeader(const Handle& decoder, std::span<const uint8_t> jpeg) {
    FullHeader header;
    const int outcome =
        tjDecompressHeader3(decoder.get(), jpeg.data(), jpeg.size(), &header.width, &header.height,
                            &header.subsampling, &header.colorspace);
    const bool usable = outcome == 0 || tjGetErrorCode(decoder.get()) == TJERR_WARNING;
    if (!usable || header.width <= 0 || header.height <= 0) {
        throw JpegError("read the JPEG header", decoder.get());
    }
    return header;
}

void CheckPixels(const FullHeader& header) {
    if (static_cast<int64_t>(header.width) * header.height > kMaxPixels) {
        throw Error("can't make a picture of " + std::to_string(header.width) + "x" +
                    std::to_string(header.height) + " pixels smaller: expected at most " +
                    std::to_string(kMaxPixels) + " pixels");
    }
}

// The smallest decoding scale that leaves at least `wanted` of `length` pixels.
tjscalingfactor DecodingScale(int length, int wanted) {
    tjscalingfactor best{1, 1};
    int count = 0;
    const tjscalingfactor* const factors = tjGetScalingFactors(&count);
    for (const tjscalingfactor& factor : std::span(factors, static_cast<std::size_t>(count))) {
        if (factor.num <= factor.denom && TJSCALED(length, factor) >= wanted &&
            TJSCALED(length, factor) < TJSCALED(length, best)) {
            best = factor;
        }
    }
    return best;
}

void Decode(const Handle& decoder, std::span<const uint8_t> jpeg, uint8_t* out, int width,
            int height, int pixelFormat) {
    const int outcome = tjDecompress2(decoder.get(), jpeg.data(), jpeg.size(), out, width, 0,
                                      height, pixelFormat, TJFLAG_LIMITSCANS);
    // A warning means that the picture is truncated or partly damaged; the rest of it is decoded.
    if (outcome != 0 && tjGetErrorCode(decoder.get()) != TJERR_WARNING) {
        throw JpegError("decode the JPEG picture", decoder.get());
    }
}

// Converts CMYK, stored inverted as all common programs do, to RGB.
Pixels FromCmyk(const std::vector<uint8_t>& cmyk, int width, int height) {
    Pixels picture(width, height);
    const std::size_t count = picture.rgb.size() / Pixels::kBytesPerPixel;
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned int key = cmyk[i * 4 + 3];
        for (std::size_t c = 0; c < Pixels::kBytesPerPixel; ++c) {
            picture.rgb[i * Pixels::kBytesPerPixel + c] =
                static_cast<uint8_t>(cmyk[i * 4 + c] * key / UINT8_MAX);
        }
    }
    return picture;
}

Pixels DecodeScaled(const Handle& decoder, std::span<const uint8_t> jpeg, const FullHeader& header,
                    tjscalingfactor scale) {
    const int width = TJSCALED(header.width, scale);
    const int height = TJSCALED(header.height, scale);
    if (header.colorspace == TJCS_CMYK || header.colorspace == TJCS_YCCK) {
        std::vector<uint8_t> cmyk(static_cast<std::size_t>(width) *
                                  static_cast<std::size_t>(height) * 4);
        Decode(decoder, jpeg, cmyk.data(), width, height, TJPF_CMYK);
        return FromCmyk(cmyk, width, height);
    }
    Pixels picture(width, height);
    Decode(decoder, jpeg, picture.rgb.data(), width, height, TJPF_RGB);
    return picture;
}

std::vector<uint8_t> Encode(const Pixels& picture) {
    const Handle encoder = NewHandle(tjInitCompress());
    unsigned char* data = nullptr;
    unsigned long size = 0;
    const int outcome =
        tjCompress2(encoder.get(), picture.rgb.data(), picture.width, 0, picture.height, TJPF_RGB,
                    &data, &size, TJSAMP_420, kQuality, 0);
    const std::unique_ptr<unsigned char, FreeBuffer> owner(data);
    if (outcome != 0) {
        throw JpegError("encode the smaller picture", encoder.get());
    }
    return {data, data + size};
}

} // namespace

JpegHeader ReadJpegHeader(std::span<const uint8_t> jpeg) {
    const FullHeader header = ReadHeader(NewHandle(tjInitDecompress()), jpeg);
    return {header.width, header.height};
}

std::vector<uint8_t> MakeSmallJpeg(std::span<const uint8_t> jpeg, int maxWidth) {
    const Handle decoder = NewHandle(tjInitDecompress());
    const FullHeader header = ReadHeader(decoder, jpeg);
    CheckPixels(header);

    const int orientation = ExifOrientation(jpeg);
    const int across = orientation >= kFirstSwappedOrientation ? header.height : header.width;
    const int wanted = std::min(across, maxWidth);
    Pixels decoded = DecodeScaled(decoder, jpeg, header, DecodingScale(across, wanted));
    return Encode(ShrinkTo(TurnUpright(std::move(decoded), orientation), wanted));
}

} // namespace recorder
