#include "zvmp4/movie_box.h"

#include "foundations/bytes.h"
#include "zvmp4/box_writer.h"

namespace zv {

namespace {

constexpr uint32_t kSingleFrameMs = 40;
constexpr uint32_t kSecondsTo1970 = 2082844800;  // from 1904, where the format counts from
constexpr uint32_t kOne16 = 0x10000;             // 1.0 in 16.16
constexpr uint32_t kLanguageUndefined = 0x55C4;
constexpr uint32_t kTrackEnabled = 7;  // and in the movie and in its preview
constexpr uint32_t kVideoTrack = 1;
constexpr uint32_t kAudioTrack = 2;

/** One track as the boxes need it. */
struct Track {
    const Movie *movie;
    const SampleTable *table;
    bool video;

    uint32_t Id() const { return video ? kVideoTrack : kAudioTrack; }
    uint32_t Timescale() const { return video ? kMovieTimescale : movie->audio.sample_rate; }
    uint64_t LastTicks() const { return table->LastTicks(video ? kSingleFrameMs : kAacFrame); }
    uint64_t Ticks() const { return table->Elapsed() + LastTicks(); }
};

uint32_t Saturate(uint64_t value) { return static_cast<uint32_t>(std::min<uint64_t>(value, UINT32_MAX)); }

uint32_t MediaMs(const Track &track) { return Saturate(track.Ticks() * kMovieTimescale / track.Timescale()); }

/** Audio that is to begin before the video loses that much at its front. */
uint32_t SkippedMs(const Track &track) {
    const int64_t start = track.video ? 0 : track.movie->audio.start;
    return start < 0 ? Saturate(std::min<uint64_t>(static_cast<uint64_t>(-start), MediaMs(track))) : 0;
}
uint32_t DelayMs(const Track &track) {
    const int64_t start = track.video ? 0 : track.movie->audio.start;
    return start > 0 ? Saturate(static_cast<uint64_t>(start)) : 0;
}
uint32_t MovieMs(const Track &track) { return Saturate(uint64_t{DelayMs(track)} + MediaMs(track) - SkippedMs(track)); }

void WriteMatrix(BoxWriter *w) {
    for (const uint32_t value : {kOne16, 0U, 0U, 0U, kOne16, 0U, 0U, 0U, 0x40000000U}) {
        w->U32(value);
    }
}

void WriteTimes(BoxWriter *w, const Movie &movie) {
    w->U32(movie.created + kSecondsTo1970);
    w->U32(movie.created + kSecondsTo1970);
}

void WriteMvhd(BoxWriter *w, const Movie &movie, uint32_t duration) {
    Box box(w, "mvhd", 0);
    WriteTimes(w, movie);
    w->U32(kMovieTimescale);
    w->U32(duration);
    w->U32(kOne16);  // rate
    w->U16(0x100);   // volume
    w->Zeros(10);
    WriteMatrix(w);
    w->Zeros(24);
    w->U32(kAudioTrack + 1);  // next track
}

void WriteTkhd(BoxWriter *w, const Track &track) {
    Box box(w, "tkhd", kTrackEnabled);
    WriteTimes(w, *track.movie);
    w->U32(track.Id());
    w->U32(0);
    w->U32(MovieMs(track));
    w->Zeros(8);
    w->U16(0);                        // layer
    w->U16(track.video ? 0 : 1);      // group
    w->U16(track.video ? 0 : 0x100);  // volume
    w->U16(0);
    WriteMatrix(w);
    w->U32(track.video ? track.movie->video.width << 16 : 0);
    w->U32(track.video ? track.movie->video.height << 16 : 0);
}

/** Only audio has edits: it may begin later than the video or, with what its encoder put in front, earlier. */
void WriteEdts(BoxWriter *w, const Track &track) {
    const uint32_t delay = DelayMs(track);
    const uint32_t skipped = SkippedMs(track);
    if (delay == 0 && skipped == 0) {
        return;
    }
    Box edts(w, "edts");
    Box elst(w, "elst", 0);
    w->U32(delay != 0 ? 2 : 1);
    if (delay != 0) {
        w->U32(delay);
        w->U32(UINT32_MAX);  // nothing shown
        w->U32(kOne16);
    }
    w->U32(MediaMs(track) - skipped);
    w->U32(Saturate(uint64_t{skipped} * track.Timescale() / kMovieTimescale));
    w->U32(kOne16);
}

void WriteMdhd(BoxWriter *w, const Track &track) {
    Box box(w, "mdhd", 0);
    WriteTimes(w, *track.movie);
    w->U32(track.Timescale());
    w->U32(Saturate(track.Ticks()));
    w->U16(kLanguageUndefined);
    w->U16(0);
}

void WriteHdlr(BoxWriter *w, bool video) {
    Box box(w, "hdlr", 0);
    w->U32(0);
    w->Text(video ? "vide" : "soun");
    w->Zeros(12);
    w->Text(video ? "VideoHandler" : "SoundHandler");
    w->U8(0);
}

/* ---- sample descriptions --------------------------------------------------------------------------------------- */

/** Format and depths, which profiles above Main have in the configuration too (ISO/IEC 14496-15, 5.3.3.1). */
void WriteHighProfile(BoxWriter *w, const std::vector<uint8_t> &sps) {
    constexpr uint8_t kSimpleProfiles[] = {66, 77, 88};
    if (std::find(std::begin(kSimpleProfiles), std::end(kSimpleProfiles), sps[1]) != std::end(kSimpleProfiles)) {
        return;
    }
    bytes::BitReader reader(sps.data() + 4, sps.size() - 4, bytes::Emulation::kRemove);
    reader.Ue();  // identifier
    const uint32_t chroma = reader.Ue();
    if (chroma == 3) {
        reader.Bit();
    }
    const uint32_t luma_depth = reader.Ue();
    const uint32_t chroma_depth = reader.Ue();
    if (reader.Dry() || chroma > 3 || luma_depth > 7 || chroma_depth > 7) {
        return;
    }
    w->U8(0xFC | chroma);
    w->U8(0xF8 | luma_depth);
    w->U8(0xF8 | chroma_depth);
    w->U8(0);  // extensions
}

void WriteSet(BoxWriter *w, uint32_t count_bits, const std::vector<uint8_t> &set) {
    w->U8(count_bits | (set.empty() ? 0 : 1));
    if (!set.empty()) {
        w->U16(static_cast<uint32_t>(set.size()));
        w->Bytes(set);
    }
}

void WriteAvcC(BoxWriter *w, const ParameterSets &sets) {
    Box box(w, "avcC");
    w->U8(1);  // version
    for (size_t i = 1; i < 4; ++i) {
        w->U8(sets.sps.empty() ? 0 : sets.sps[i]);  // profile, compatibility, level
    }
    w->U8(0xFC | 3);  // lengths of 4 bytes
    WriteSet(w, 0xE0, sets.sps);
    WriteSet(w, 0, sets.pps);
    if (!sets.sps.empty()) {
        WriteHighProfile(w, sets.sps);
    }
}

/** H.265 has no configuration: with one, readers take the samples' start codes for lengths. */
void WriteVisualEntry(BoxWriter *w, const Movie &movie) {
    Box box(w, movie.video.h265 ? "hev1" : "avc1");
    w->Zeros(6);
    w->U16(1);  // data reference
    w->Zeros(16);
    w->U16(movie.video.width);
    w->U16(movie.video.height);
    w->U32(72 << 16);  // dots an inch
    w->U32(72 << 16);
    w->U32(0);
    w->U16(1);  // frames a sample
    w->Zeros(32);
    w->U16(24);      // depth
    w->U16(0xFFFF);  // no colour table
    if (!movie.video.h265) {
        WriteAvcC(w, movie.video.sets);
    }
}

/** ISO/IEC 14496-1, 7.2.6: the sizes of descriptors are those of what lies in them. */
void WriteEsds(BoxWriter *w, const Movie &movie) {
    constexpr uint32_t kSpecificSize = 2;
    constexpr uint32_t kConfigSize = 13 + 2 + kSpecificSize;
    Box box(w, "esds", 0);
    w->U8(3);
    w->U8(3 + 2 + kConfigSize + 2 + 1);
    w->U16(kAudioTrack);
    w->U8(0);
    w->U8(4);
    w->U8(kConfigSize);
    w->U8(0x40);  // AAC
    w->U8(0x15);  // audio stream
    w->Zeros(3);  // buffer
    w->U32(0);    // rates
    w->U32(0);
    w->U8(5);
    w->U8(kSpecificSize);
    w->U16(movie.audio.type << 11 | movie.audio.rate_index << 7 | movie.audio.channels << 3);
    w->U8(6);
    w->U8(1);
    w->U8(2);  // as MP4 has it
}

void WriteAudioEntry(BoxWriter *w, const Movie &movie) {
    Box box(w, "mp4a");
    w->Zeros(6);
    w->U16(1);  // data reference
    w->Zeros(8);
    w->U16(movie.audio.channels);
    w->U16(16);  // bits
    w->U32(0);
    w->U32(movie.audio.sample_rate <= 0xFFFF ? movie.audio.sample_rate << 16 : 0);
    WriteEsds(w, movie);
}

void WriteStsd(BoxWriter *w, const Track &track) {
    Box box(w, "stsd", 0);
    w->U32(1);
    (track.video ? WriteVisualEntry : WriteAudioEntry)(w, *track.movie);
}

/* ---- tables ---------------------------------------------------------------------------------------------------- */

void WriteStts(BoxWriter *w, const Track &track) {
    Box box(w, "stts", 0);
    const std::vector<DurationRun> &runs = track.table->Runs();
    const bool joins = !runs.empty();  // the last sample lasts as long as the one before it
    w->U32(static_cast<uint32_t>(joins ? runs.size() : 1));
    for (size_t i = 0; i < runs.size(); ++i) {
        w->U32(runs[i].count + (i + 1 == runs.size() ? 1 : 0));
        w->U32(runs[i].ticks);
    }
    if (!joins) {
        w->U32(1);
        w->U32(static_cast<uint32_t>(track.LastTicks()));
    }
}

void WriteNumbers(BoxWriter *w, const std::vector<uint32_t> &numbers) {
    w->U32(static_cast<uint32_t>(numbers.size()));
    for (const uint32_t number : numbers) {
        w->U32(number);
    }
}

/** Calls `entry` with (first chunk, samples a chunk) where the samples a chunk change. */
template <class Entry>
void ForEachChunkRun(const std::vector<Chunk> &chunks, Entry entry) {
    for (size_t i = 0; i < chunks.size(); ++i) {
        if (i == 0 || chunks[i].samples != chunks[i - 1].samples) {
            entry(static_cast<uint32_t>(i + 1), chunks[i].samples);
        }
    }
}

void WriteChunkRuns(BoxWriter *w, const std::vector<Chunk> &chunks, uint32_t runs) {
    {
        Box box(w, "stsc", 0);
        w->U32(runs);
        ForEachChunkRun(chunks, [w](uint32_t first, uint32_t samples) {
            w->U32(first);
            w->U32(samples);
            w->U32(1);
        });
    }
    Box box(w, "stco", 0);
    w->U32(static_cast<uint32_t>(chunks.size()));
    for (const Chunk &chunk : chunks) {
        w->U32(chunk.offset);
    }
}

void WriteChunkOfEachSample(BoxWriter *w, const SampleTable &table) {
    {
        Box box(w, "stsc", 0);
        for (int i = 0; i < 4; ++i) {
            w->U32(1);  // one entry: from the first chunk on, one sample a chunk, of the first description
        }
    }
    Box box(w, "stco", 0);
    w->U32(table.Count());
    size_t sample = 0;
    for (const Chunk &chunk : table.Chunks()) {
        uint32_t offset = chunk.offset;
        for (uint32_t i = 0; i < chunk.samples; ++i) {
            w->U32(offset);
            offset += table.Sizes()[sample++];
        }
    }
}

/** Where two tracks alternate, one chunk for each sample takes less room than telling how many each has. */
void WriteChunks(BoxWriter *w, const SampleTable &table) {
    uint32_t runs = 0;
    ForEachChunkRun(table.Chunks(), [&runs](uint32_t, uint32_t) { ++runs; });
    if (table.Chunks().size() * 4 + size_t{runs} * 12 <= size_t{table.Count()} * 4 + 12) {
        WriteChunkRuns(w, table.Chunks(), runs);
    } else {
        WriteChunkOfEachSample(w, table);
    }
}

void WriteStbl(BoxWriter *w, const Track &track) {
    Box stbl(w, "stbl");
    WriteStsd(w, track);
    WriteStts(w, track);
    if (track.video) {
        Box stss(w, "stss", 0);
        WriteNumbers(w, track.table->Sync());
    }
    {
        Box stsz(w, "stsz", 0);
        w->U32(0);
        WriteNumbers(w, track.table->Sizes());
    }
    WriteChunks(w, *track.table);
}

void WriteMinf(BoxWriter *w, const Track &track) {
    Box minf(w, "minf");
    if (track.video) {
        Box vmhd(w, "vmhd", 1);
        w->Zeros(8);
    } else {
        Box smhd(w, "smhd", 0);
        w->Zeros(4);
    }
    {
        Box dinf(w, "dinf");
        Box dref(w, "dref", 0);
        w->U32(1);
        Box url(w, "url ", 1);  // in this file
    }
    WriteStbl(w, track);
}

void WriteTrak(BoxWriter *w, const Track &track) {
    Box trak(w, "trak");
    WriteTkhd(w, track);
    if (!track.video) {
        WriteEdts(w, track);
    }
    Box mdia(w, "mdia");
    WriteMdhd(w, track);
    WriteHdlr(w, track.video);
    WriteMinf(w, track);
}

}  // namespace

void WriteMovieBox(const Movie &movie, const SampleTable &video, const SampleTable &audio, std::vector<uint8_t> *out) {
    out->clear();
    BoxWriter writer(out);
    const Track tracks[] = {{&movie, &video, true}, {&movie, &audio, false}};
    Box moov(&writer, "moov");
    // Sound whose rate is announced wrongly lasts wrongly; the picture's time is that of the recording.
    WriteMvhd(&writer, movie, MovieMs(tracks[video.Empty() ? 1 : 0]));
    for (const Track &track : tracks) {
        if (!track.table->Empty()) {
            WriteTrak(&writer, track);
        }
    }
}

}  // namespace zv
