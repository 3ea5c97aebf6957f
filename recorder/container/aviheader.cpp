#include "recorder/container/container.h"
#include "recorder/container/headerblocks.h"

#include <algorithm>
#include <limits>

namespace recorder {

namespace {

constexpr int64_t kHeadBytes = 8;
constexpr int64_t kListHeadBytes = 12;
constexpr int kMaxChunks = 256;

// The headers include reserved space for an index of each stream.
constexpr int64_t kHeadersEnd = 16'384;

struct Chunk {
    uint32_t name = 0;
    uint32_t kind = 0; // of a list
    int64_t begin = 0; // of the content
    int64_t end = 0;
};

Chunk ReadChunk(HeaderBlocks& file, int64_t offset, int64_t limit) {
    RequireOrdinary(limit - offset >= kHeadBytes);
    const Bytes head = file.At(offset, kHeadBytes);
    Chunk chunk{Big32(head, 0), 0, offset + kHeadBytes, offset + kHeadBytes + Little32(head, 4)};
    RequireOrdinary(chunk.end <= limit && (chunk.end - chunk.begin) % 2 == 0);
    if (chunk.name == (offset == 0 ? FourCc("RIFF") : FourCc("LIST"))) {
        RequireOrdinary(chunk.end - chunk.begin >= 4);
        chunk.kind = Big32(file.At(offset, kListHeadBytes), kHeadBytes);
        chunk.begin += 4;
    }
    return chunk;
}

Bytes ContentOf(HeaderBlocks& file, const Chunk& chunk, std::size_t least) {
    const auto length = static_cast<std::size_t>(chunk.end - chunk.begin);
    RequireOrdinary(length >= least && length <= HeaderBlocks::kBlockBytes);
    return file.At(chunk.begin, length);
}

template <typename Visitor>
void ForEachChunk(HeaderBlocks& file, int64_t begin, int64_t end, Visitor visit) {
    int count = 0;
    for (int64_t offset = begin; offset < end;) {
        RequireOrdinary(++count <= kMaxChunks);
        const Chunk chunk = ReadChunk(file, offset, end);
        visit(chunk);
        offset = chunk.end;
    }
}

// Codec names occur in upper and lower case.
uint32_t Upper(uint32_t name) {
    uint32_t upper = 0;
    for (const unsigned int shift : {24U, 16U, 8U, 0U}) {
        const uint32_t letter = name >> shift & 0xffU;
        upper = upper << 8U | (letter >= 'a' && letter <= 'z' ? letter - 'a' + 'A' : letter);
    }
    return upper;
}

int VideoTypeOf(uint32_t codec) {
    const uint32_t name = Upper(codec);
    const auto isOneOf = [name](auto... names) { return ((name == names) || ...); };
    if (isOneOf(FourCc("H264"), FourCc("X264"), FourCc("AVC1"))) {
        return VIDEO_H264;
    }
    if (isOneOf(FourCc("HEVC"), FourCc("H265"))) {
        return VIDEO_H265;
    }
    if (isOneOf(FourCc("FMP4"), FourCc("XVID"), FourCc("DIVX"), FourCc("DX50"), FourCc("MP4V"))) {
        return VIDEO_MPEG4;
    }
    RequireOrdinary(isOneOf(FourCc("MJPG")));
    return VIDEO_MJPEG;
}

int AudioTypeOf(uint32_t format, uint32_t bitsPerSample) {
    constexpr uint32_t kPcm = 1;
    constexpr uint32_t kAlaw = 6;
    constexpr uint32_t kMulaw = 7;
    constexpr uint32_t kMp3 = 0x55;
    constexpr uint32_t kAac = 0xff;
    switch (format) {
    case kPcm:
        RequireOrdinary(bitsPerSample == 8 || bitsPerSample == 16);
        return AUDIO_PCM;
    case kAlaw:
        return AUDIO_G711A;
    case kMulaw:
        return AUDIO_G711U;
    case kMp3:
        return AUDIO_MP3;
    case kAac:
        return AUDIO_AAC;
    default:
        throw UnusualContainer();
    }
}

class Streams {
public:
    explicit Streams(HeaderBlocks& file) : m_file(file) {}

    void ReadList(const Chunk& hdrl);
    [[nodiscard]] ContainerInfo Info() const;

private:
    void ReadStream(const Chunk& strl);
    [[nodiscard]] bool ReadStreamHeader(const Chunk& strh);
    void ReadPicture(const Chunk& strf);
    void ReadSound(const Chunk& strf);

    HeaderBlocks& m_file;
    ContainerInfo m_info;
    bool m_hasVideo = false;
    bool m_hasAudio = false;
};

void Streams::ReadList(const Chunk& hdrl) {
    constexpr std::size_t kMainHeaderBytes = 56;
    ForEachChunk(m_file, hdrl.begin, hdrl.end, [&](const Chunk& chunk) {
        const bool isFirst = chunk.begin == hdrl.begin + kHeadBytes;
        RequireOrdinary(isFirst == (chunk.name == FourCc("avih")));
        if (isFirst) {
            RequireOrdinary(ContentOf(m_file, chunk, kMainHeaderBytes).size() == kMainHeaderBytes);
        } else if (chunk.kind == FourCc("strl")) {
            ReadStream(chunk);
        } else {
            RequireOrdinary(chunk.name == FourCc("JUNK") || chunk.kind == FourCc("odml"));
            if (chunk.kind == FourCc("odml")) {
                const Chunk dmlh = ReadChunk(m_file, chunk.begin, chunk.end);
                RequireOrdinary(dmlh.name == FourCc("dmlh") && dmlh.end == chunk.end);
            }
        }
    });
}

ContainerInfo Streams::Info() const {
    RequireOrdinary(m_hasVideo && m_info.durationSec > 0);
    return m_info;
}

void Streams::ReadStream(const Chunk& strl) {
    const Chunk strh = ReadChunk(m_file, strl.begin, strl.end);
    const bool isVideo = ReadStreamHeader(strh);
    const Chunk strf = ReadChunk(m_file, strh.end, strl.end);
    RequireOrdinary(strf.name == FourCc("strf"));
    if (isVideo) {
        ReadPicture(strf);
    } else {
        ReadSound(strf);
    }
    ForEachChunk(m_file, strf.end, strl.end, [](const Chunk& chunk) {
        RequireOrdinary(chunk.name == FourCc("JUNK") || chunk.name == FourCc("indx") ||
                        chunk.name == FourCc("vprp"));
    });
}

// Reads the kind of a stream, true for video, and its length, which is given in frames. libavformat
// uses no length of sound whose samples have a fixed size.
bool Streams::ReadStreamHeader(const Chunk& strh) {
    constexpr std::size_t kLeastBytes = 48;
    constexpr std::size_t kMostBytes = 64;
    RequireOrdinary(strh.name == FourCc("strh"));
    const Bytes bytes = ContentOf(m_file, strh, kLeastBytes);
    RequireOrdinary(bytes.size() <= kMostBytes && Big32(bytes, 4) != FourCc("Axan"));
    const bool isVideo = Big32(bytes, 0) == FourCc("vids");
    RequireOrdinary(isVideo || Big32(bytes, 0) == FourCc("auds"));
    const uint32_t scale = Little32(bytes, 20);
    const uint32_t rate = Little32(bytes, 24);
    const uint32_t start = Little32(bytes, 28);
    const uint32_t sampleBytes = Little32(bytes, 44);
    constexpr uint32_t kMost = std::numeric_limits<int32_t>::max();
    RequireOrdinary(scale > 0 && scale <= kMost && rate > 0 && rate <= kMost);
    RequireOrdinary(start == 0 && sampleBytes <= kMost);
    if (isVideo || sampleBytes == 0) {
        m_info.durationSec =
            std::max(m_info.durationSec, RoundedSeconds(Little32(bytes, 32), scale, rate));
    }
    return isVideo;
}

void Streams::ReadPicture(const Chunk& strf) {
    constexpr std::size_t kLeastBytes = 40;
    constexpr uint32_t kMostPixels = 65'535;
    constexpr uint32_t kTrueColour = 24;
    RequireOrdinary(!m_hasVideo);
    m_hasVideo = true;
    const Bytes bytes = ContentOf(m_file, strf, kLeastBytes);
    RequireOrdinary(Little32(bytes, 0) == bytes.size() || Little32(bytes, 0) == kLeastBytes);
    const uint32_t width = Little32(bytes, 4);
    const uint32_t height = Little32(bytes, 8);
    RequireOrdinary(width > 0 && width <= kMostPixels && height > 0 && height <= kMostPixels);
    RequireOrdinary(Little16(bytes, 14) == kTrueColour);
    m_info.width = static_cast<int32_t>(width);
    m_info.height = static_cast<int32_t>(height);
    m_info.vdoType = VideoTypeOf(Big32(bytes, 16));
}

void Streams::ReadSound(const Chunk& strf) {
    constexpr std::size_t kLeastBytes = 16;
    constexpr std::size_t kMostBytes = 64;
    const Bytes bytes = ContentOf(m_file, strf, kLeastBytes);
    RequireOrdinary(bytes.size() <= kMostBytes);
    const uint32_t samplesPerSecond = Little32(bytes, 4);
    RequireOrdinary(samplesPerSecond > 0 &&
                    samplesPerSecond <= static_cast<uint32_t>(std::numeric_limits<int32_t>::max()));
    RequireOrdinary(Little16(bytes, 2) > 0); // channels
    const int audType = AudioTypeOf(Little16(bytes, 0), Little16(bytes, 14));
    m_info.audType = m_hasAudio ? m_info.audType : audType;
    m_hasAudio = true;
}

// Accepts tags that don't describe the streams: the name of the writing program, a title. A tag of
// odd length is padded.
void CheckTags(HeaderBlocks& file, const Chunk& info) {
    int count = 0;
    for (int64_t offset = info.begin; offset < info.end;) {
        RequireOrdinary(++count <= kMaxChunks && info.end - offset >= kHeadBytes);
        const int64_t length = Little32(file.At(offset, kHeadBytes), 4);
        offset += kHeadBytes + length + length % 2;
        RequireOrdinary(offset <= info.end);
    }
}

ContainerInfo ReadChunks(HeaderBlocks& file) {
    const Chunk riff = ReadChunk(file, 0, file.Size());
    RequireOrdinary(riff.name == FourCc("RIFF") && riff.kind == FourCc("AVI "));
    const Chunk hdrl = ReadChunk(file, riff.begin, riff.end);
    RequireOrdinary(hdrl.kind == FourCc("hdrl"));
    Streams streams(file);
    streams.ReadList(hdrl);
    bool hasFrames = false;
    for (int64_t offset = hdrl.end; !hasFrames;) {
        const Chunk chunk = ReadChunk(file, offset, riff.end);
        hasFrames = chunk.kind == FourCc("movi");
        if (chunk.kind == FourCc("INFO")) {
            CheckTags(file, chunk);
        } else {
            RequireOrdinary(hasFrames || chunk.name == FourCc("JUNK"));
        }
        offset = chunk.end;
    }
    return streams.Info();
}

} // namespace

std::optional<ContainerInfo> ReadAviHeader(ByteSource& source) {
    try {
        HeaderBlocks file(source);
        file.ExpectUntil(std::min(source.Size(), kHeadersEnd));
        return ReadChunks(file);
    } catch (const UnusualContainer&) {
        return std::nullopt;
    }
}

} // namespace recorder
