#include "recorder/container/headerblocks.h"
#include "recorder/container/mp4sampleentry.h"

#include <algorithm>
#include <limits>

namespace recorder {

namespace {

constexpr int64_t kHeadBytes = 8;      // size and name
constexpr int64_t kLongHeadBytes = 16; // and a size of 64 bits
constexpr int64_t kMaxBoxes = 64;

// The scale that libavformat uses for a track with incomplete tables, instead of the track's own.
constexpr uint32_t kScaleWithoutTables = 90'000;

struct Box {
    uint32_t name = 0;
    int64_t begin = 0; // of the content
    int64_t end = 0;

    [[nodiscard]] int64_t Length() const { return end - begin; }
};

// Reads the head of a box within another one that ends at `limit`.
Box ReadBox(HeaderBlocks& file, int64_t offset, int64_t limit) {
    RequireOrdinary(limit - offset >= kHeadBytes);
    const Bytes head = file.At(offset, kHeadBytes);
    const int64_t size = Big32(head, 0);
    RequireOrdinary(size >= kHeadBytes && size <= limit - offset);
    return {Big32(head, 4), offset + kHeadBytes, offset + size};
}

// Reads the head of a top-level box. Only the samples may have a size of 64 bits.
Box ReadOuterBox(HeaderBlocks& file, int64_t offset) {
    RequireOrdinary(file.Size() - offset >= kHeadBytes);
    const Bytes head = file.At(offset, kHeadBytes);
    if (Big32(head, 0) != 1) {
        return ReadBox(file, offset, file.Size());
    }
    RequireOrdinary(Big32(head, 4) == FourCc("mdat"));
    const uint64_t size = Big64(file.At(offset, kLongHeadBytes), kHeadBytes);
    RequireOrdinary(size >= kLongHeadBytes && size <= static_cast<uint64_t>(file.Size() - offset));
    return {FourCc("mdat"), offset + kLongHeadBytes, offset + static_cast<int64_t>(size)};
}

// Returns the content of a small box of at least `least` bytes.
Bytes ContentOf(HeaderBlocks& file, const Box& box, std::size_t least) {
    RequireOrdinary(box.Length() >= static_cast<int64_t>(least) &&
                    box.Length() <= static_cast<int64_t>(HeaderBlocks::kMaxBlockBytes));
    return file.At(box.begin, static_cast<std::size_t>(box.Length()));
}

// Calls `visit` for each box within `outer`, up to the first offset for which `isOver` is true.
// `visit` throws UnusualContainer for an unknown box.
template <typename Visitor, typename End>
void ForEachBoxUntil(HeaderBlocks& file, const Box& outer, End isOver, Visitor visit) {
    int64_t count = 0;
    for (int64_t offset = outer.begin; offset < outer.end && !isOver(offset);) {
        RequireOrdinary(++count <= kMaxBoxes);
        const Box box = ReadBox(file, offset, outer.end);
        visit(box);
        offset = box.end;
    }
}

template <typename Visitor> void ForEachBox(HeaderBlocks& file, const Box& outer, Visitor visit) {
    ForEachBoxUntil(
        file, outer, [](int64_t) { return false; }, visit);
}

struct Length {
    uint64_t units = 0;
    uint32_t scale = 0; // units to the second
};

// Reads the length from the header of the movie or of a track's media: both begin alike.
Length ReadLength(HeaderBlocks& file, const Box& header, std::size_t shortBytes) {
    constexpr std::size_t kWiderTimesBytes = 12;
    const Bytes bytes = ContentOf(file, header, shortBytes);
    RequireOrdinary(bytes[0] <= 1);
    const bool isLong = bytes[0] == 1;
    RequireOrdinary(bytes.size() == (isLong ? shortBytes + kWiderTimesBytes : shortBytes));
    const Length length = isLong ? Length{Big64(bytes, 24), Big32(bytes, 20)}
                                 : Length{Big32(bytes, 16), Big32(bytes, 12)};
    RequireOrdinary(isLong ||
                    length.units != std::numeric_limits<uint32_t>::max()); // 0xffffffff: unknown
    RequireOrdinary(length.scale > 0 && length.scale <= std::numeric_limits<int32_t>::max());
    return length;
}

enum class Media { Video, Audio };

class Movie {
public:
    explicit Movie(HeaderBlocks& file) : m_file(file) {}

    void Read(const Box& moov);
    [[nodiscard]] ContainerInfo Info() const;

private:
    [[nodiscard]] bool IsRestNothing(int64_t offset, int64_t end) const;
    void ReadTrack(const Box& trak);
    void CheckTrackHeader(const Box& tkhd);
    void CheckEdits(const Box& edts);
    void ReadMedia(const Box& mdia);
    void ReadMediaInformation(const Box& minf, Media media);
    void ReadSampleDescription(const Box& stbl, Media media);
    void CheckTables(int64_t begin, int64_t end) const;
    void CheckDataReference(const Box& dinf);
    void CheckUserData(const Box& udta);
    void CheckTags(const Box& meta);
    Media MediaOf(const Box& hdlr);

    HeaderBlocks& m_file;
    ContainerInfo m_info;
    int32_t m_longestTrackSec = 0;
    bool m_hasVideo = false;
    bool m_hasAudio = false;
};

void Movie::Read(const Box& moov) {
    m_file.ExpectUntil(std::min(moov.end + 2 * kLongHeadBytes, m_file.Size()));
    constexpr std::size_t kMovieHeaderBytes = 100;
    bool isFirst = true;
    const auto isOver = [&](int64_t offset) { return IsRestNothing(offset, moov.end); };
    ForEachBoxUntil(m_file, moov, isOver, [&](const Box& box) {
        RequireOrdinary(isFirst == (box.name == FourCc("mvhd")));
        if (isFirst) {
            const Length length = ReadLength(m_file, box, kMovieHeaderBytes);
            m_info.durationSec = RoundedSeconds(length.units, 1, length.scale);
            isFirst = false;
        } else if (box.name == FourCc("trak")) {
            ReadTrack(box);
        } else if (box.name == FourCc("udta")) {
            CheckUserData(box);
        } else {
            RequireOrdinary(box.name == FourCc("iods") || box.name == FourCc("free"));
        }
    });
}

// Returns true if the rest of the movie box can be skipped: it would take another read and is too
// short for a track. After a long track's tables usually only the name of the writing program
// follows.
bool Movie::IsRestNothing(int64_t offset, int64_t end) const {
    constexpr int64_t kLeastTrackBytes = 172; // two box heads, two headers, a handler
    return m_hasVideo && end - offset < kLeastTrackBytes && m_file.Held(offset).empty();
}

// libavformat uses the longest of the movie and its tracks, and shortens a track by its tables and
// edits. The result is therefore known without them if no track is longer than the movie.
ContainerInfo Movie::Info() const {
    RequireOrdinary(m_hasVideo);
    RequireOrdinary(m_info.durationSec > 0 && m_longestTrackSec <= m_info.durationSec);
    return m_info;
}

void Movie::ReadTrack(const Box& trak) {
    bool hasHeader = false;
    bool hasEdits = false;
    bool hasMedia = false;
    ForEachBox(m_file, trak, [&](const Box& box) {
        if (box.name == FourCc("tkhd") && !hasHeader) {
            hasHeader = true;
            CheckTrackHeader(box);
        } else if (box.name == FourCc("edts") && !hasMedia) {
            RequireOrdinary(!hasEdits);
            hasEdits = true;
            CheckEdits(box);
        } else if (box.name == FourCc("udta") && hasMedia) {
            CheckUserData(box);
        } else {
            RequireOrdinary(box.name == FourCc("mdia") && hasHeader && !hasMedia);
            hasMedia = true;
            ReadMedia(box);
        }
    });
    RequireOrdinary(hasMedia);
}

void Movie::CheckTrackHeader(const Box& tkhd) {
    constexpr std::size_t kShortBytes = 84;
    constexpr std::size_t kLongBytes = 96;
    const Bytes bytes = ContentOf(m_file, tkhd, kShortBytes);
    RequireOrdinary(bytes[0] <= 1 && bytes.size() == (bytes[0] == 1 ? kLongBytes : kShortBytes));
}

// libavformat uses a track's edits only to shorten the track, which can't matter for a track that
// is no longer than the movie.
void Movie::CheckEdits(const Box& edts) {
    constexpr std::size_t kHead = 8;
    const Box elst = ReadBox(m_file, edts.begin, edts.end);
    RequireOrdinary(elst.name == FourCc("elst") && elst.end == edts.end);
    const Bytes bytes = ContentOf(m_file, elst, kHead);
    const std::size_t entryBytes = bytes[0] == 1 ? 20 : 12;
    RequireOrdinary(bytes[0] <= 1 && bytes.size() == kHead + Big32(bytes, 4) * entryBytes);
}

void Movie::ReadMedia(const Box& mdia) {
    constexpr std::size_t kMediaHeaderBytes = 24;
    const Box mdhd = ReadBox(m_file, mdia.begin, mdia.end);
    RequireOrdinary(mdhd.name == FourCc("mdhd"));
    const Length length = ReadLength(m_file, mdhd, kMediaHeaderBytes);
    m_longestTrackSec =
        std::max(m_longestTrackSec,
                 RoundedSeconds(length.units, 1, std::min(length.scale, kScaleWithoutTables)));
    const Box hdlr = ReadBox(m_file, mdhd.end, mdia.end);
    const Media media = MediaOf(hdlr);
    const Box minf = ReadBox(m_file, hdlr.end, mdia.end);
    RequireOrdinary(minf.name == FourCc("minf") && minf.end == mdia.end);
    ReadMediaInformation(minf, media);
}

Media Movie::MediaOf(const Box& hdlr) {
    RequireOrdinary(hdlr.name == FourCc("hdlr"));
    const uint32_t handler = Big32(ContentOf(m_file, hdlr, 24), 8);
    RequireOrdinary(handler == FourCc("vide") || handler == FourCc("soun"));
    return handler == FourCc("vide") ? Media::Video : Media::Audio;
}

void Movie::ReadMediaInformation(const Box& minf, Media media) {
    bool hasTables = false;
    ForEachBox(m_file, minf, [&](const Box& box) {
        RequireOrdinary(!hasTables);
        if (box.name == FourCc("dinf")) {
            CheckDataReference(box);
        } else if (box.name == FourCc("stbl")) {
            hasTables = true;
            ReadSampleDescription(box, media);
        } else {
            RequireOrdinary(box.name == (media == Media::Video ? FourCc("vmhd") : FourCc("smhd")));
        }
    });
    RequireOrdinary(hasTables);
}

// Requires the samples to be in this file.
void Movie::CheckDataReference(const Box& dinf) {
    const Box dref = ReadBox(m_file, dinf.begin, dinf.end);
    RequireOrdinary(dref.name == FourCc("dref") && dref.end == dinf.end);
    constexpr std::size_t kOneEntryBytes = 20;
    const Bytes bytes = ContentOf(m_file, dref, kOneEntryBytes);
    RequireOrdinary(bytes.size() == kOneEntryBytes && Big32(bytes, 4) == 1 &&
                    Big32(bytes, 8) == 12);
    RequireOrdinary(Big32(bytes, 12) == FourCc("url ") && Big32(bytes, 16) == 1);
}

void Movie::ReadSampleDescription(const Box& stbl, Media media) {
    const Box stsd = ReadBox(m_file, stbl.begin, stbl.end);
    RequireOrdinary(stsd.name == FourCc("stsd"));
    const Bytes bytes = ContentOf(m_file, stsd, 16);
    RequireOrdinary(Big32(bytes, 0) == 0 && Big32(bytes, 4) == 1 &&
                    Big32(bytes, 8) == bytes.size() - 8);
    ContainerInfo entry;
    if (media == Media::Video) {
        RequireOrdinary(!m_hasVideo);
        m_hasVideo = true;
        ReadVideoEntry(bytes.subspan(8), m_info);
    } else {
        ReadAudioEntry(bytes.subspan(8), entry);
        m_info.audType = m_hasAudio ? m_info.audType : entry.audType;
        m_hasAudio = true;
    }
    CheckTables(stsd.end, stbl.end);
}

// Checks the tables that are in the current block: no other box may be among them.
void Movie::CheckTables(int64_t begin, int64_t end) const {
    constexpr std::array kTables{FourCc("stts"), FourCc("ctts"), FourCc("cslg"), FourCc("stss"),
                                 FourCc("stsc"), FourCc("stsz"), FourCc("stco"), FourCc("co64"),
                                 FourCc("sdtp"), FourCc("sgpd"), FourCc("sbgp"), FourCc("free")};
    while (begin < end && m_file.Held(begin).size() >= static_cast<std::size_t>(kHeadBytes)) {
        const Bytes head = m_file.Held(begin);
        const int64_t size = Big32(head, 0);
        const uint32_t name = Big32(head, 4);
        RequireOrdinary(std::find(kTables.begin(), kTables.end(), name) != kTables.end());
        RequireOrdinary(size >= kHeadBytes && size <= end - begin);
        begin += size;
    }
}

// Accepts tags that don't describe the streams: the name of the writing program, a title.
void Movie::CheckUserData(const Box& udta) {
    RequireOrdinary(m_hasVideo);
    ForEachBox(m_file, udta, [&](const Box& box) {
        if (box.name == FourCc("meta")) {
            CheckTags(box);
        } else {
            RequireOrdinary(box.name == FourCc("free"));
        }
    });
}

void Movie::CheckTags(const Box& meta) {
    constexpr uint32_t kCopyrightSign = 0xa9;
    RequireOrdinary(Big32(ContentOf(m_file, meta, 4), 0) == 0);
    ForEachBox(m_file, {meta.name, meta.begin + 4, meta.end}, [&](const Box& box) {
        const bool isFirst = box.begin == meta.begin + 4 + kHeadBytes;
        RequireOrdinary(isFirst == (box.name == FourCc("hdlr")));
        if (isFirst) {
            RequireOrdinary(Big32(ContentOf(m_file, box, 24), 8) == FourCc("mdir"));
            return;
        }
        RequireOrdinary(box.name == FourCc("ilst") || box.name == FourCc("free"));
        if (box.name == FourCc("ilst")) {
            ForEachBox(m_file, box, [&](const Box& tag) {
                RequireOrdinary(tag.name >> 24U == kCopyrightSign);
                const Box data = ReadBox(m_file, tag.begin, tag.end);
                RequireOrdinary(data.name == FourCc("data") && data.end == tag.end &&
                                data.Length() >= 8);
            });
        }
    });
}

void CheckBrand(HeaderBlocks& file, const Box& ftyp) {
    constexpr std::array kBrands{FourCc("isom"), FourCc("iso2"), FourCc("iso3"), FourCc("iso4"),
                                 FourCc("iso5"), FourCc("iso6"), FourCc("mp41"), FourCc("mp42"),
                                 FourCc("avc1"), FourCc("M4V "), FourCc("MSNV")};
    const uint32_t brand = Big32(ContentOf(file, ftyp, 8), 0);
    RequireOrdinary(std::find(kBrands.begin(), kBrands.end(), brand) != kBrands.end());
}

ContainerInfo ReadBoxes(HeaderBlocks& file) {
    Movie movie(file);
    bool hasMovie = false;
    bool hasSamples = false;
    int64_t count = 0;
    for (int64_t offset = 0; offset < file.Size();) {
        RequireOrdinary(++count <= kMaxBoxes);
        const Box box = ReadOuterBox(file, offset);
        RequireOrdinary((offset == 0) == (box.name == FourCc("ftyp")));
        if (offset == 0) {
            CheckBrand(file, box);
        } else if (box.name == FourCc("moov")) {
            RequireOrdinary(!hasMovie);
            hasMovie = true;
            movie.Read(box);
        } else {
            hasSamples = hasSamples || box.name == FourCc("mdat");
            RequireOrdinary(box.name == FourCc("mdat") || box.name == FourCc("free"));
        }
        offset = box.end;
    }
    RequireOrdinary(hasMovie && hasSamples);
    return movie.Info();
}

} // namespace

std::optional<ContainerInfo> ReadMp4Header(ByteSource& source) {
    try {
        HeaderBlocks file(source);
        return ReadBoxes(file);
    } catch (const UnusualContainer&) {
        return std::nullopt;
    }
}

} // namespace recorder
