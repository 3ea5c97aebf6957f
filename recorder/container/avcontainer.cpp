#include "recorder/container/container.h"
#include "recorder/snapshot/jpeg.h"
#include "recorder/support/error.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

namespace recorder {

namespace {

constexpr int kHeaderBufferBytes = 32 * 1024;
constexpr int kFrameBufferBytes = 128 * 1024; // frames are read in sequence
constexpr std::size_t kMaxAllocationBytes = 256UL * 1024 * 1024;
constexpr int kMxgFramesPerSecond = 25;
constexpr int64_t kMxgCountedBytes = 8L * 1024 * 1024;
constexpr AVRational kMicrosecond{1, AV_TIME_BASE};

// The last error that libavformat logged for the container, more exact than its error codes.
std::string& LastComplaint() {
    static std::string complaint;
    return complaint;
}

void KeepComplaint(void* /*context*/, int level, const char* format, va_list args) {
    if (level > AV_LOG_ERROR) {
        return;
    }
    std::array<char, 256> line{};
    std::vsnprintf(line.data(), line.size(), format, args);
    LastComplaint() = line.data();
    while (LastComplaint().ends_with('\n')) {
        LastComplaint().pop_back();
    }
}

Error ContainerError(const std::string& attempted, int code) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> reason{};
    av_strerror(code, reason.data(), reason.size());
    const std::string& complaint = LastComplaint();
    return Error("can't " + attempted + ": " + reason.data() +
                 (complaint.empty() ? "" : " (" + complaint + ")"));
}

// The position at which libavformat reads a source, as if the source ended at `limit`.
struct Reader {
    ByteSource& source;
    int64_t limit;
    int64_t position = 0;
};

int ReadPacket(void* opaque, uint8_t* buffer, int size) {
    Reader& reader = *static_cast<Reader*>(opaque);
    const int64_t wanted = std::min<int64_t>(size, reader.limit - reader.position);
    if (wanted <= 0) {
        return AVERROR_EOF;
    }
    try {
        const std::size_t length =
            reader.source.ReadAt(reader.position, {buffer, static_cast<std::size_t>(wanted)});
        reader.position += static_cast<int64_t>(length);
        return length == 0 ? AVERROR_EOF : static_cast<int>(length);
    } catch (const std::exception&) {
        return AVERROR(EIO);
    }
}

int64_t Seek(void* opaque, int64_t offset, int whence) {
    Reader& reader = *static_cast<Reader*>(opaque);
    switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
        return reader.limit;
    case SEEK_SET:
        break;
    case SEEK_CUR:
        offset += reader.position;
        break;
    case SEEK_END:
        offset += reader.limit;
        break;
    default:
        return AVERROR(EINVAL);
    }
    if (offset < 0) {
        return AVERROR(EINVAL);
    }
    return reader.position = offset;
}

// Refuses to open other files that a container names.
int RefuseToOpen(AVFormatContext* /*context*/, AVIOContext** /*io*/, const char* /*url*/,
                 int /*flags*/, AVDictionary** /*options*/) {
    return AVERROR(EPERM);
}

struct FreeIo {
    void operator()(AVIOContext* io) const {
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
};

struct CloseInput {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
using Format = std::unique_ptr<AVFormatContext, CloseInput>;

struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

struct CloseParser {
    void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
};

struct FreeCodec {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};

const char* DemuxerName(ContainerKind kind) {
    switch (kind) {
    case ContainerKind::Mp4:
        return "mp4";
    case ContainerKind::Avi:
        return "avi";
    case ContainerKind::Mxg:
        break;
    }
    return "mjpeg";
}

std::unique_ptr<AVIOContext, FreeIo> MakeIo(Reader& reader, int bufferBytes) {
    auto* const buffer = static_cast<uint8_t*>(av_malloc(static_cast<std::size_t>(bufferBytes)));
    AVIOContext* const io = buffer == nullptr ? nullptr
                                              : avio_alloc_context(buffer, bufferBytes, 0, &reader,
                                                                   ReadPacket, nullptr, Seek);
    if (io == nullptr) {
        av_free(buffer);
        throw Error("out of memory while opening a container");
    }
    return std::unique_ptr<AVIOContext, FreeIo>(io);
}

Format OpenContainer(AVIOContext* io, ContainerKind kind) {
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) {
        throw Error("out of memory while opening a container");
    }
    context->pb = io;
    context->flags |= AVFMT_FLAG_CUSTOM_IO;
    context->io_open = RefuseToOpen;
    // avformat_open_input frees the context on failure.
    const int error =
        avformat_open_input(&context, "", av_find_input_format(DemuxerName(kind)), nullptr);
    if (error < 0) {
        throw ContainerError("read the container", error);
    }
    return Format(context);
}

int VideoTypeOf(AVCodecID codec) {
    switch (codec) {
    case AV_CODEC_ID_MJPEG:
        return VIDEO_MJPEG;
    case AV_CODEC_ID_MPEG4:
        return VIDEO_MPEG4;
    case AV_CODEC_ID_H264:
        return VIDEO_H264;
    case AV_CODEC_ID_HEVC:
        return VIDEO_H265;
    default:
        return VIDEO_UNKNOWN;
    }
}

int AudioTypeOf(AVCodecID codec) {
    switch (codec) {
    case AV_CODEC_ID_AAC:
        return AUDIO_AAC;
    case AV_CODEC_ID_PCM_MULAW:
        return AUDIO_G711U;
    case AV_CODEC_ID_PCM_ALAW:
        return AUDIO_G711A;
    case AV_CODEC_ID_ADPCM_G726:
    case AV_CODEC_ID_ADPCM_G726LE:
        return AUDIO_G726;
    case AV_CODEC_ID_MP3:
        return AUDIO_MP3;
    case AV_CODEC_ID_PCM_S16LE:
    case AV_CODEC_ID_PCM_S16BE:
    case AV_CODEC_ID_PCM_U8:
    case AV_CODEC_ID_PCM_S24LE:
    case AV_CODEC_ID_PCM_S32LE:
        return AUDIO_PCM;
    default:
        return AUDIO_UNKNOWN;
    }
}

// Sets the picture size from the codec's header, for video whose demuxer sets none (MPEG-4 video in
// mp4). The header is parsed; nothing is decoded.
void FillSizeFromCodecHeader(const AVCodecParameters& codec, ContainerInfo& info) {
    const std::unique_ptr<AVCodecParserContext, CloseParser> parser(
        av_parser_init(static_cast<int>(codec.codec_id)));
    const std::unique_ptr<AVCodecContext, FreeCodec> context(avcodec_alloc_context3(nullptr));
    if (!parser || !context || codec.extradata_size <= 0 ||
        avcodec_parameters_to_context(context.get(), &codec) < 0) {
        return;
    }
    parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    uint8_t* frame = nullptr;
    int frameSize = 0;
    av_parser_parse2(parser.get(), context.get(), &frame, &frameSize, codec.extradata,
                     codec.extradata_size, AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
    info.width = std::max(context->width, 0);
    info.height = std::max(context->height, 0);
}

void FillStreams(const AVFormatContext& context, ContainerInfo& info) {
    bool hasVideo = false;
    bool hasAudio = false;
    for (const AVStream* const stream : std::span(context.streams, context.nb_streams)) {
        const AVCodecParameters& codec = *stream->codecpar;
        if (codec.codec_type == AVMEDIA_TYPE_VIDEO && !hasVideo) {
            hasVideo = true;
            info.vdoType = VideoTypeOf(codec.codec_id);
            info.width = std::max(codec.width, 0); // a header can claim anything
            info.height = std::max(codec.height, 0);
            if (info.width == 0 || info.height == 0) {
                FillSizeFromCodecHeader(codec, info);
            }
        } else if (codec.codec_type == AVMEDIA_TYPE_AUDIO && !hasAudio) {
            hasAudio = true;
            info.audType = AudioTypeOf(codec.codec_id);
        }
    }
    if (!hasVideo) {
        throw Error("can't read the container: it has no video stream");
    }
}

int64_t StreamDurationUs(const AVStream& stream) {
    if (stream.duration == AV_NOPTS_VALUE || stream.duration < 0) {
        return 0;
    }
    return av_rescale_q(stream.duration, stream.time_base, kMicrosecond);
}

// Returns the length of the container or of its longest stream; 0 if neither has one.
int64_t DurationUs(const AVFormatContext& context) {
    int64_t duration = context.duration == AV_NOPTS_VALUE ? 0 : context.duration;
    for (const AVStream* const stream : std::span(context.streams, context.nb_streams)) {
        duration = std::max(duration, StreamDurationUs(*stream));
    }
    return duration;
}

int32_t ToSeconds(int64_t durationUs) {
    const int64_t seconds =
        durationUs / AV_TIME_BASE + (durationUs % AV_TIME_BASE >= AV_TIME_BASE / 2 ? 1 : 0);
    if (durationUs < 0 || seconds > std::numeric_limits<int32_t>::max()) {
        throw Error("can't use the container's length of " + std::to_string(durationUs) +
                    " microseconds: expected at most 2147483647 seconds");
    }
    return static_cast<int32_t>(seconds);
}

// Counts the frames: a bare stream of JPEG frames has neither header nor index. `shareCounted` is
// the part of the file, up to 1, that `context` can read.
ContainerInfo ReadFrames(AVFormatContext& context, double shareCounted) {
    ContainerInfo info;
    info.vdoType = VIDEO_MJPEG;
    int64_t frames = 0;
    const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
    int error = 0;
    while ((error = av_read_frame(&context, packet.get())) >= 0) {
        if (frames == 0) {
            const JpegHeader header =
                ReadJpegHeader({packet->data, static_cast<std::size_t>(std::max(packet->size, 0))});
            info.width = header.width;
            info.height = header.height;
        }
        ++frames;
        av_packet_unref(packet.get());
    }
    if (error != AVERROR_EOF) {
        throw ContainerError("read the container", error);
    }
    if (frames == 0) {
        throw Error("can't read the container: it has no frame");
    }
    const double seconds = static_cast<double>(frames) / kMxgFramesPerSecond / shareCounted;
    info.durationSec = ToSeconds(static_cast<int64_t>(seconds * AV_TIME_BASE));
    return info;
}

ContainerInfo ReadHeaders(const AVFormatContext& context) {
    ContainerInfo info;
    FillStreams(context, info);
    info.durationSec = ToSeconds(DurationUs(context));
    return info;
}

void SetUpLibrary() {
    static const bool once = [] {
        av_log_set_callback(KeepComplaint);
        av_max_alloc(kMaxAllocationBytes); // a damaged header may request any amount
        return true;
    }();
    (void)once;
    LastComplaint().clear();
}

} // namespace

ContainerInfo ReadAvContainer(ByteSource& source, ContainerKind kind) {
    SetUpLibrary();
    const bool isFrames = kind == ContainerKind::Mxg;
    const int64_t size = source.Size();
    Reader reader{source, isFrames ? std::min(size, kMxgCountedBytes) : size};
    const std::unique_ptr<AVIOContext, FreeIo> io =
        MakeIo(reader, isFrames ? kFrameBufferBytes : kHeaderBufferBytes);
    const Format context = OpenContainer(io.get(), kind);
    if (isFrames) {
        const auto counted = static_cast<double>(reader.limit);
        return ReadFrames(*context, size == 0 ? 1.0 : counted / static_cast<double>(size));
    }
    return ReadHeaders(*context);
}

} // namespace recorder
