#include "recorder/container/mp4header.h"

#include "recorder/container/headerblocks.h"
#include "recorder/container/mp4sampleentry.h"
#include "recorder/container/mp4tables.h"

#include <algorithm>
#include <limits>

namespace recorder {

namespace {

constexpr int64_t kHeadBytes = 8;      // size and name
constexpr int64_t kLongHeadBytes = 16; // and a size of 64 bits
constexpr int64_t kMaxBoxes = 64;

// The scale of a track whose tables libavformat finds incomplete: it never gets to the track's own.
constexpr uint32_t kScaleWithoutTables = 90'000;

// A track's edits are counted in these.
constexpr uint64_t kMostEditUnits = 1ULL << 40U;

struct Box {
    uint32_t name = 0;
    int64_t begin = 0; // of what it holds
    int64_t end = 0;

    [[nodiscard]] int64_t Length() const { return end - begin; }
};

// A box within another one that ends at `limit`.
Box ReadBox(HeaderBlocks& file, int64_t offset, int64_t limit) {
    RequireUsual(limit - offset >= kHeadBytes);
    const Bytes head = file.At(offset, kHeadBytes);
    const int64_t size = Big32(head, 0);
    RequireUsual(size >= kHeadBytes && size <= limit - offset);
    return {Big32(head, 4), offset + kHeadBytes, offset + size};
}

// A box of the file itself: only the pictures and sounds may be larger than 32 bits can tell.
Box ReadOuterBox(HeaderBlocks& file, int64_t offset) {
    RequireUsual(file.Size() - offset >= kHeadBytes);
    const Bytes head = file.At(offset, kHeadBytes);
    if (Big32(head, 0) != 1) {
        return ReadBox(file, offset, file.Size());
    }
    RequireUsual(Big32(head, 4) == FourCc("mdat"));
    const uint64_t size = Big64(file.At(offset, kLongHeadBytes), kHeadBytes);
    RequireUsual(size >= kLongHeadBytes && size <= static_cast<uint64_t>(file.Size() - offset));
    return {FourCc("mdat"), offset + kLongHeadBytes, offset + static_cast<int64_t>(size)};
}

// What a box holds, where that is small.
Bytes ContentOf(HeaderBlocks& file, const Box& box, std::size_t least) {
    RequireUsual(box.Length() >= static_cast<int64_t>(least) &&
                 box.Length() <= static_cast<int64_t>(HeaderBlocks::kMaxBlockBytes));
    return file.At(box.begin, static_cast<std::size_t>(box.Length()));
}

// Calls `visit` for each box within one, up to an offset where `isOver` says so; it throws for what
// it doesn't know.
template <typename Visitor, typename End>
void ForEachBoxUntil(HeaderBlocks& file, const Box& outer, End isOver, Visitor visit) {
    int64_t count = 0;
    for (int64_t offset = outer.begin; offset < outer.end && !isOver(offset);) {
        RequireUsual(++count <= kMaxBoxes);
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

// Of the movie or of a track's media: both headers begin alike.
Length ReadLength(HeaderBlocks& file, const Box& header, std::size_t shortBytes) {
    constexpr std::size_t kWiderTimesBytes = 12;
    const Bytes bytes = ContentOf(file, header, shortBytes);
    RequireUsual(bytes[0] <= 1);
    const bool isLong = bytes[0] == 1;
    RequireUsual(bytes.size() == (isLong ? shortBytes + kWiderTimesBytes : shortBytes));
    const Length length = isLong ? Length{Big64(bytes, 24), Big32(bytes, 20)}
                                 : Length{Big32(bytes, 16), Big32(bytes, 12)};
    RequireUsual(isLong || length.units != std::numeric_limits<uint32_t>::max()); // "not known"
    RequireUsual(length.scale > 0 && length.scale <= std::numeric_limits<int32_t>::max());
    return length;
}

enum class Media { Video, Audio };

struct Track {
    Length media;
    bool hasEdits = false;
    uint64_t editedUnits = 0;
    SampleTables tables; // valid until the next block is read
};

class Movie {
public:
    explicit Movie(HeaderBlocks& file) : m_file(file) {}

    void Read(const Box& moov);
    [[nodiscard]] ContainerInfo Info() const;

private:
    [[nodiscard]] bool IsRestNothing(int64_t offset, int64_t end) const;
    void ReadTrack(const Box& trak);
    [[nodiscard]] int32_t SecondsOf(const Track& track) const;
    void CheckTrackHeader(const Box& tkhd);
    void ReadEdits(const Box& edts, Track& track);
    void ReadMedia(const Box& mdia, Track& track);
    void ReadMediaInformation(const Box& minf, Media media, Track& track);
    void ReadSampleDescription(const Box& stbl, Media media, Track& track);
    [[nodiscard]] SampleTables SeenTables(int64_t begin, int64_t end) const;
    void CheckDataReference(const Box& dinf);
    void CheckUserData(const Box& udta);
    void CheckTags(const Box& meta);
    Media MediaOf(const Box& hdlr);

    HeaderBlocks& m_file;
    ContainerInfo m_info;
    uint32_t m_scale = 0;
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
        RequireUsual(isFirst == (box.name == FourCc("mvhd")));
        if (isFirst) {
            const Length length = ReadLength(m_file, box, kMovieHeaderBytes);
            m_info.durationSec = RoundedSeconds(length.units, 1, length.scale);
            m_scale = length.scale;
            isFirst = false;
        } else if (box.name == FourCc("trak")) {
            ReadTrack(box);
        } else if (box.name == FourCc("udta")) {
            CheckUserData(box);
        } else {
            RequireUsual(box.name == FourCc("iods") || box.name == FourCc("free"));
        }
    });
}

// Behind a long track's tables most often the name of the program that wrote the file is all there
// is. Where it would take another read, and is too little for a track, it is left unread.
bool Movie::IsRestNothing(int64_t offset, int64_t end) const {
    constexpr int64_t kLeastTrackBytes = 172; // its own head and header, its media's, its handler
    return m_hasVideo && end - offset < kLeastTrackBytes && m_file.Held(offset).empty();
}

// libavformat takes the longest of the movie and its tracks, and cuts a track's own length by what
// its tables and edits hold. So that is known where no track claims more than the movie.
ContainerInfo Movie::Info() const {
    RequireUsual(m_hasVideo);
    RequireUsual(m_info.durationSec > 0 && m_longestTrackSec <= m_info.durationSec);
    return m_info;
}

void Movie::ReadTrack(const Box& trak) {
    Track track;
    bool hasHeader = false;
    bool hasMedia = false;
    ForEachBox(m_file, trak, [&](const Box& box) {
        if (box.name == FourCc("tkhd") && !hasHeader) {
            hasHeader = true;
            CheckTrackHeader(box);
        } else if (box.name == FourCc("edts") && !hasMedia) {
            ReadEdits(box, track);
        } else {
            RequireUsual(box.name == FourCc("mdia") && hasHeader && !hasMedia);
            hasMedia = true;
            ReadMedia(box, track);
        }
    });
    RequireUsual(hasMedia);
    m_longestTrackSec = std::max(m_longestTrackSec, SecondsOf(track));
}

// At most. Edits cut a track that has samples, such as the sound that an encoder puts before the
// first one: they are asked where the answer depends on them.
int32_t Movie::SecondsOf(const Track& track) const {
    const int32_t uncut =
        RoundedSeconds(track.media.units, 1, std::min(track.media.scale, kScaleWithoutTables));
    if (uncut <= m_info.durationSec || !track.hasEdits || !track.tables.CanBeWhole()) {
        return uncut;
    }
    const uint64_t cut =
        std::min(track.media.units, Rescaled(track.editedUnits, track.media.scale, m_scale));
    return RoundedSeconds(cut, 1, track.media.scale);
}

void Movie::CheckTrackHeader(const Box& tkhd) {
    constexpr std::size_t kShortBytes = 84;
    constexpr std::size_t kLongBytes = 96;
    const Bytes bytes = ContentOf(m_file, tkhd, kShortBytes);
    RequireUsual(bytes[0] <= 1 && bytes.size() == (bytes[0] == 1 ? kLongBytes : kShortBytes));
}

// One list of edits is ordinary; what it leaves of the track is the sum of its edits.
void Movie::ReadEdits(const Box& edts, Track& track) {
    constexpr std::size_t kHead = 8;
    const Box elst = ReadBox(m_file, edts.begin, edts.end);
    RequireUsual(!track.hasEdits && elst.name == FourCc("elst") && elst.end == edts.end);
    const Bytes bytes = ContentOf(m_file, elst, kHead);
    const std::size_t entryBytes = bytes[0] == 1 ? 20 : 12;
    RequireUsual(bytes[0] <= 1 && bytes.size() == kHead + Big32(bytes, 4) * entryBytes);
    for (std::size_t at = kHead; at < bytes.size(); at += entryBytes) {
        const uint64_t units = bytes[0] == 1 ? Big64(bytes, at) : Big32(bytes, at);
        RequireUsual(units <= kMostEditUnits);
        track.editedUnits += units;
    }
    track.hasEdits = bytes.size() > kHead;
}

void Movie::ReadMedia(const Box& mdia, Track& track) {
    constexpr std::size_t kMediaHeaderBytes = 24;
    const Box mdhd = ReadBox(m_file, mdia.begin, mdia.end);
    RequireUsual(mdhd.name == FourCc("mdhd"));
    track.media = ReadLength(m_file, mdhd, kMediaHeaderBytes);
    const Box hdlr = ReadBox(m_file, mdhd.end, mdia.end);
    const Media media = MediaOf(hdlr);
    const Box minf = ReadBox(m_file, hdlr.end, mdia.end);
    RequireUsual(minf.name == FourCc("minf") && minf.end == mdia.end);
    ReadMediaInformation(minf, media, track);
}

Media Movie::MediaOf(const Box& hdlr) {
    RequireUsual(hdlr.name == FourCc("hdlr"));
    const uint32_t handler = Big32(ContentOf(m_file, hdlr, 24), 8);
    RequireUsual(handler == FourCc("vide") || handler == FourCc("soun"));
    return handler == FourCc("vide") ? Media::Video : Media::Audio;
}

void Movie::ReadMediaInformation(const Box& minf, Media media, Track& track) {
    bool hasTables = false;
    ForEachBox(m_file, minf, [&](const Box& box) {
        RequireUsual(!hasTables);
        if (box.name == FourCc("dinf")) {
            CheckDataReference(box);
        } else if (box.name == FourCc("stbl")) {
            hasTables = true;
            ReadSampleDescription(box, media, track);
        } else {
            RequireUsual(box.name == (media == Media::Video ? FourCc("vmhd") : FourCc("smhd")));
        }
    });
    RequireUsual(hasTables);
}

// The samples lie in this file.
void Movie::CheckDataReference(const Box& dinf) {
    const Box dref = ReadBox(m_file, dinf.begin, dinf.end);
    RequireUsual(dref.name == FourCc("dref") && dref.end == dinf.end);
    constexpr std::size_t kOneEntryBytes = 20;
    const Bytes bytes = ContentOf(m_file, dref, kOneEntryBytes);
    RequireUsual(bytes.size() == kOneEntryBytes && Big32(bytes, 4) == 1 && Big32(bytes, 8) == 12);
    RequireUsual(Big32(bytes, 12) == FourCc("url ") && Big32(bytes, 16) == 1);
}

void Movie::ReadSampleDescription(const Box& stbl, Media media, Track& track) {
    const Box stsd = ReadBox(m_file, stbl.begin, stbl.end);
    RequireUsual(stsd.name == FourCc("stsd"));
    const Bytes bytes = ContentOf(m_file, stsd, 16);
    RequireUsual(Big32(bytes, 0) == 0 && Big32(bytes, 4) == 1 &&
                 Big32(bytes, 8) == bytes.size() - 8);
    ContainerInfo entry;
    if (media == Media::Video) {
        RequireUsual(!m_hasVideo);
        m_hasVideo = true;
        ReadVideoEntry(bytes.subspan(8), m_info);
    } else {
        ReadAudioEntry(bytes.subspan(8), entry);
        m_info.audType = m_hasAudio ? m_info.audType : entry.audType;
        m_hasAudio = true;
    }
    track.tables = SeenTables(stsd.end, stbl.end);
}

// As far as the tables happen to have been read. No box among them may say more than tables say.
SampleTables Movie::SeenTables(int64_t begin, int64_t end) const {
    constexpr std::array kTables{FourCc("stts"), FourCc("ctts"), FourCc("cslg"), FourCc("stss"),
                                 FourCc("stsc"), FourCc("stsz"), FourCc("stco"), FourCc("co64"),
                                 FourCc("sdtp"), FourCc("sgpd"), FourCc("sbgp"), FourCc("free")};
    SampleTables tables;
    while (begin < end) {
        const Bytes seen = m_file.Held(begin);
        if (seen.size() < static_cast<std::size_t>(kHeadBytes)) {
            return tables;
        }
        const int64_t size = Big32(seen, 0);
        const uint32_t name = Big32(seen, 4);
        RequireUsual(std::find(kTables.begin(), kTables.end(), name) != kTables.end());
        RequireUsual(size >= kHeadBytes && size <= end - begin);
        const auto seenBytes =
            static_cast<std::size_t>(std::min<int64_t>(static_cast<int64_t>(seen.size()), size));
        tables.Add(name, size - kHeadBytes, seen.first(seenBytes).subspan(kHeadBytes));
        begin += size;
    }
    tables.NoteEnd();
    return tables;
}

// Tags that say nothing of the streams: the name of the program that wrote the file, a title.
void Movie::CheckUserData(const Box& udta) {
    RequireUsual(m_hasVideo);
    ForEachBox(m_file, udta, [&](const Box& box) {
        if (box.name == FourCc("meta")) {
            CheckTags(box);
        } else {
            RequireUsual(box.name == FourCc("free"));
        }
    });
}

void Movie::CheckTags(const Box& meta) {
    constexpr uint32_t kCopyrightSign = 0xa9;
    RequireUsual(Big32(ContentOf(m_file, meta, 4), 0) == 0);
    ForEachBox(m_file, {meta.name, meta.begin + 4, meta.end}, [&](const Box& box) {
        const bool isFirst = box.begin == meta.begin + 4 + kHeadBytes;
        RequireUsual(isFirst == (box.name == FourCc("hdlr")));
        if (isFirst) {
            RequireUsual(Big32(ContentOf(m_file, box, 24), 8) == FourCc("mdir"));
            return;
        }
        RequireUsual(box.name == FourCc("ilst") || box.name == FourCc("free"));
        if (box.name == FourCc("ilst")) {
            ForEachBox(m_file, box, [&](const Box& tag) {
                RequireUsual(tag.name >> 24U == kCopyrightSign);
                const Box data = ReadBox(m_file, tag.begin, tag.end);
                RequireUsual(data.name == FourCc("data") && data.end == tag.end &&
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
    RequireUsual(std::find(kBrands.begin(), kBrands.end(), brand) != kBrands.end());
}

ContainerInfo ReadBoxes(HeaderBlocks& file) {
    Movie movie(file);
    bool hasMovie = false;
    bool hasSamples = false;
    int64_t count = 0;
    for (int64_t offset = 0; offset < file.Size();) {
        RequireUsual(++count <= kMaxBoxes);
        const Box box = ReadOuterBox(file, offset);
        RequireUsual((offset == 0) == (box.name == FourCc("ftyp")));
        if (offset == 0) {
            CheckBrand(file, box);
        } else if (box.name == FourCc("moov")) {
            RequireUsual(!hasMovie);
            hasMovie = true;
            movie.Read(box);
        } else {
            hasSamples = hasSamples || box.name == FourCc("mdat");
            RequireUsual(box.name == FourCc("mdat") || box.name == FourCc("free"));
        }
        offset = box.end;
    }
    RequireUsual(hasMovie && hasSamples);
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
