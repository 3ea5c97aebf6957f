#include "recorder/container/mp4sampleentry.h"

namespace recorder {

namespace {

constexpr std::size_t kHeadBytes = 8;

// The boxes at the end of a sample entry.
template <typename Visitor> void ForEachExtension(Bytes rest, Visitor visit) {
    while (!rest.empty()) {
        RequireOrdinary(rest.size() >= kHeadBytes);
        const std::size_t size = Big32(rest, 0);
        RequireOrdinary(size >= kHeadBytes && size <= rest.size());
        visit(Big32(rest, 4), rest.subspan(kHeadBytes, size - kHeadBytes));
        rest = rest.subspan(size);
    }
}

// Accepts an extension that doesn't describe the codec.
void CheckOtherExtension(uint32_t name, Bytes content) {
    constexpr std::size_t kBitRateBytes = 12;
    constexpr std::size_t kAspectBytes = 8;
    constexpr std::size_t kFieldOrderBytes = 2;
    constexpr std::size_t kColourBytes = 11;
    if (name == FourCc("btrt")) {
        RequireOrdinary(content.size() == kBitRateBytes);
    } else if (name == FourCc("pasp")) {
        RequireOrdinary(content.size() == kAspectBytes);
    } else if (name == FourCc("fiel")) {
        RequireOrdinary(content.size() == kFieldOrderBytes);
    } else {
        RequireOrdinary(name == FourCc("colr") && content.size() == kColourBytes &&
                        Big32(content, 0) == FourCc("nclx"));
    }
}

// Removes the first descriptor from `bytes` and returns its content.
Bytes TakeDescriptor(Bytes& bytes, uint8_t tag) {
    constexpr int kLengthBytes = 4;
    RequireOrdinary(!bytes.empty() && bytes[0] == tag);
    std::size_t length = 0;
    std::size_t at = 1;
    bool isComplete = false;
    for (int i = 0; i < kLengthBytes && !isComplete; ++i, ++at) {
        RequireOrdinary(at < bytes.size());
        length = length << 7U | (bytes[at] & 0x7fU);
        isComplete = (bytes[at] & 0x80U) == 0;
    }
    RequireOrdinary(isComplete && length <= bytes.size() - at);
    const Bytes content = bytes.subspan(at, length);
    bytes = bytes.subspan(at + length);
    return content;
}

struct ElementaryStream {
    uint8_t objectType = 0;
    Bytes decoderInfo; // empty if there is none
};

ElementaryStream ReadElementaryStream(Bytes esds) {
    constexpr uint8_t kStreamTag = 3;
    constexpr uint8_t kDecoderTag = 4;
    constexpr uint8_t kDecoderInfoTag = 5;
    constexpr std::size_t kIdAndFlagsBytes = 3;
    constexpr std::size_t kDecoderBytes = 13;
    RequireOrdinary(esds.size() > 4 && Big32(esds, 0) == 0);
    esds = esds.subspan(4);
    Bytes stream = TakeDescriptor(esds, kStreamTag);
    RequireOrdinary(esds.empty() && stream.size() > kIdAndFlagsBytes && stream[2] == 0);
    stream = stream.subspan(kIdAndFlagsBytes);
    Bytes decoder = TakeDescriptor(stream, kDecoderTag);
    RequireOrdinary(decoder.size() >= kDecoderBytes);
    ElementaryStream read{decoder[0], {}};
    decoder = decoder.subspan(kDecoderBytes);
    if (!decoder.empty()) {
        read.decoderInfo = TakeDescriptor(decoder, kDecoderInfoTag);
    }
    return read;
}

// Accepts low complexity with a numbered sampling rate and one to eight channels. For any other
// configuration libavformat reads further.
void CheckAacConfiguration(Bytes info) {
    constexpr unsigned int kLowComplexity = 2;
    constexpr unsigned int kSamplingRates = 13;
    RequireOrdinary(info.size() >= 2);
    const uint32_t bits = Big16(info, 0);
    const uint32_t channels = bits >> 3U & 15U;
    RequireOrdinary(bits >> 11U == kLowComplexity && (bits >> 7U & 15U) < kSamplingRates);
    RequireOrdinary(channels >= 1 && channels <= 7);
}

void ReadMpeg4Video(Bytes esds, ContainerInfo& info) {
    constexpr uint8_t kMpeg4Visual = 0x20;
    constexpr uint8_t kJpeg = 0x6c;
    const ElementaryStream stream = ReadElementaryStream(esds);
    RequireOrdinary(stream.objectType == kMpeg4Visual || stream.objectType == kJpeg);
    info.vdoType = stream.objectType == kJpeg ? VIDEO_MJPEG : VIDEO_MPEG4;
    if (info.vdoType == VIDEO_MPEG4) {
        ReadMpeg4Size(stream.decoderInfo, info);
    }
}

void ReadMpeg4Audio(Bytes esds, ContainerInfo& info) {
    constexpr uint8_t kAac = 0x40;
    constexpr uint8_t kMp3 = 0x6b;
    constexpr uint8_t kMp3OfLowRate = 0x69;
    const ElementaryStream stream = ReadElementaryStream(esds);
    const bool isMp3 = stream.objectType == kMp3 || stream.objectType == kMp3OfLowRate;
    RequireOrdinary(isMp3 || stream.objectType == kAac);
    info.audType = isMp3 ? AUDIO_MP3 : AUDIO_AAC;
    if (stream.objectType == kAac) {
        CheckAacConfiguration(stream.decoderInfo);
    }
}

// Returns the name of the box that configures the decoder for a sample entry of this name.
uint32_t ConfigurationOf(uint32_t entryName) {
    if (entryName == FourCc("avc1")) {
        return FourCc("avcC");
    }
    if (entryName == FourCc("hvc1") || entryName == FourCc("hev1")) {
        return FourCc("hvcC");
    }
    RequireOrdinary(entryName == FourCc("mp4v"));
    return FourCc("esds");
}

} // namespace

void ReadVideoEntry(Bytes entry, ContainerInfo& info) {
    constexpr std::size_t kFixedBytes = 86;
    constexpr std::size_t kCodecName = 51; // after its length
    constexpr uint32_t kTrueColour = 24;
    constexpr uint32_t kNoColourTable = 0xffff;
    RequireOrdinary(entry.size() > kFixedBytes &&
                    Big16(entry, 14) == 1); // the first data reference
    info.width = static_cast<int32_t>(Big16(entry, 32));
    info.height = static_cast<int32_t>(Big16(entry, 34));
    RequireOrdinary(info.width > 0 && info.height > 0);
    RequireOrdinary(Big16(entry, 82) == kTrueColour && Big16(entry, 84) == kNoColourTable);
    RequireOrdinary(entry[kCodecName] != 'P'); // "Planar ...": a size that is rounded

    const uint32_t wanted = ConfigurationOf(Big32(entry, 4));
    bool isConfigured = false;
    ForEachExtension(entry.subspan(kFixedBytes), [&](uint32_t name, Bytes content) {
        if (name != wanted) {
            CheckOtherExtension(name, content);
            return;
        }
        // A shorter box is no configuration. Old muxers wrapped a "fiel" box in one.
        RequireOrdinary(!isConfigured && content.size() >= 7 &&
                        Big32(content, 4) != FourCc("fiel"));
        isConfigured = true;
        if (wanted == FourCc("esds")) {
            ReadMpeg4Video(content, info);
        } else {
            info.vdoType = wanted == FourCc("avcC") ? VIDEO_H264 : VIDEO_H265;
        }
    });
    RequireOrdinary(isConfigured);
}

void ReadAudioEntry(Bytes entry, ContainerInfo& info) {
    constexpr std::size_t kFixedBytes = 36;
    constexpr uint32_t kMaxChannels = 8;
    RequireOrdinary(entry.size() >= kFixedBytes &&
                    Big16(entry, 14) == 1); // the first data reference
    RequireOrdinary(Big16(entry, 16) == 0); // the version
    RequireOrdinary(Big16(entry, 24) >= 1 && Big16(entry, 24) <= kMaxChannels);
    const uint32_t format = Big32(entry, 4);
    bool isConfigured = false;
    ForEachExtension(entry.subspan(kFixedBytes), [&](uint32_t name, Bytes content) {
        if (format == FourCc("mp4a") && name == FourCc("esds")) {
            RequireOrdinary(!isConfigured);
            isConfigured = true;
            ReadMpeg4Audio(content, info);
        } else {
            CheckOtherExtension(name, content);
        }
    });
    if (format == FourCc("ulaw") || format == FourCc("alaw")) {
        info.audType = format == FourCc("ulaw") ? AUDIO_G711U : AUDIO_G711A;
    } else {
        RequireOrdinary(isConfigured);
    }
}

} // namespace recorder
