/**
 * @file mp4_samples.cpp
 * @brief The list of a file's samples, made by walking the media data from front to back.
 */
#include <algorithm>
#include <cstring>
#include <new>

#include "file/mp4_boxes.h"
#include "file/mp4_places.h"
#include "foundations/com_log.h"

namespace {

/** Above every 32-bit chunk offset. */
constexpr DLONG NO_CHUNK = 0xFFFFFFFFF;

/** How far a track's tables are used up. Refers to the tables of the parser. */
class TrackCursor {
 public:
    TrackCursor() = default;
    explicit TrackCursor(const mp4_stbl_box &stTables)
        : m_pulChunks(stTables.stco.chunk_offset_from_file_begin.get()),
          m_pulSizes(stTables.stsz.sample_size_table.get()),
          m_ulChunks(m_pulChunks != nullptr ? stTables.stco.chunk_offset_amount : 0),
          m_ulSize(stTables.stsz.samples_size_intotal),
          m_ulSamples(m_ulSize != 0 || m_pulSizes != nullptr ? stTables.stsz.table_size : 0) {
        m_dlNextChunk = m_ulChunks != 0 ? m_pulChunks[0] : -1;
    }
    ULONG_32 Samples() const { return m_ulSamples; }
    /** Size of every sample, or 0. */
    ULONG_32 ConstantSize() const { return m_ulSize; }
    bool HasSample() const { return m_ulSample < m_ulSamples; }
    ULONG_32 Sample() const { return m_ulSample; }
    ULONG_32 Chunk() const { return m_ulChunk; }
    /** Where the next chunk starts; -1 when there is none. */
    DLONG NextChunk() const { return m_dlNextChunk; }
    ULONG_32 NextSample() {
        const ULONG_32 ulSize = m_ulSize != 0 ? m_ulSize : m_pulSizes[m_ulSample];
        ++m_ulSample;
        return ulSize;
    }
    void AdvanceChunk() {
        ++m_ulChunk;
        m_dlNextChunk = m_ulChunk < m_ulChunks ? m_pulChunks[m_ulChunk] : -1;
    }

 private:
    const ULONG_32 *m_pulChunks = nullptr;
    const ULONG_32 *m_pulSizes = nullptr;
    ULONG_32 m_ulChunks = 0;
    ULONG_32 m_ulSize = 0;
    ULONG_32 m_ulSamples = 0;
    ULONG_32 m_ulChunk = 0;
    ULONG_32 m_ulSample = 0;
    DLONG m_dlNextChunk = -1;
};

bool HasHandler(const mp4_trak_box &stTrack, const CHAR *pcType) {
    return strcmp(stTrack.mdia.hdlr.handler_type, pcType) == 0;
}

/** 90 kHz ticks a sample, by a track's length; 0 where a divisor is. The divisions stand apart, and so round twice. */
DULONG TicksOfSample(const mp4_mdia_box &stMedia) {
    const ULONG_32 ulSamples = stMedia.minf.stbl.stsz.table_size;
    if (ulSamples == 0 || stMedia.mdhd.timescale == 0) {
        return 0;
    }
    return DULONG{stMedia.mdhd.duration} * 90000 / ulSamples / stMedia.mdhd.timescale;
}

/** Sizes above what a node can hold stay above every frame buffer. */
LONG_32 NodeSize(ULONG_32 ulSize) { return static_cast<LONG_32>(std::min<ULONG_32>(ulSize, INT32_MAX)); }

/** Makes the list of a file that starts with a video track. */
class SampleLister {
 public:
    explicit SampleLister(mp4_moov_box *pstMoov) : m_pstMoov(pstMoov), m_ulTracks(pstMoov->trak.size()) {
        for (size_t t = 0; t < m_ulTracks; ++t) {
            m_astCursors[t] = TrackCursor(pstMoov->trak[t].mdia.minf.stbl);
        }
    }

    void List() {
        ChooseVideo();
        RaiseStart();
        const size_t ulMost = Limit();
        m_pstMoov->list.reserve(ulMost);
        for (DLONG dlAt = m_pstMoov->dlMdatDataOffset; dlAt < m_pstMoov->dlMdatDataEnd;) {
            if (m_pstMoov->list.size() >= ulMost || !Append(&dlAt)) {
                break;
            }
        }
    }

    /** Whether the walk can't do a file justice: offsets of 64 bits, fragments, tracks that aren't played. */
    bool IsForeign() const {
        bool bForeign = Mp4_HasFragments(*m_pstMoov);
        for (size_t t = 0; t < m_ulTracks; ++t) {
            const mp4_trak_box &stTrack = m_pstMoov->trak[t];
            const bool bPlayed = HasHandler(stTrack, "vide") || HasHandler(stTrack, "soun");
            bForeign |= stTrack.mdia.minf.stbl.stco.chunk_offset_64 != nullptr;
            bForeign |= !bPlayed && m_astCursors[t].HasSample();
        }
        return bForeign;
    }

    /** Whether the walk that is over has passed by chunks that the file has. */
    bool HasMissed() const {
        return std::any_of(m_astCursors, m_astCursors + m_ulTracks, [this](const TrackCursor &stCursor) {
            return stCursor.HasSample() && stCursor.NextChunk() >= 0 && stCursor.NextChunk() < m_pstMoov->dlFileEnd;
        });
    }

 private:
    /** The last video track wins. */
    void ChooseVideo() {
        for (size_t t = 0; t < m_ulTracks; ++t) {
            const mp4_trak_box &stTrack = m_pstMoov->trak[t];
            if (HasHandler(stTrack, "vide")) {
                m_pstMoov->iVideoTrak = static_cast<LONG_32>(t);
                m_pstMoov->timescale = TicksOfSample(stTrack.mdia);
                m_pulSync = stTrack.mdia.minf.stbl.stss.sync_sample_table.get();
                m_ulSyncs = m_pulSync != nullptr ? stTrack.mdia.minf.stbl.stss.number_of_entries : 0;
            }
        }
    }

    void RaiseStart() {
        DLONG dlFirst = NO_CHUNK;
        for (size_t t = 0; t < m_ulTracks; ++t) {
            if (m_astCursors[t].NextChunk() >= 0) {
                dlFirst = std::min(dlFirst, m_astCursors[t].NextChunk());
            }
        }
        m_pstMoov->dlMdatDataOffset = std::max(m_pstMoov->dlMdatDataOffset, dlFirst);
    }

    /** Nodes at the most. A table of sizes is as long as it is; a constant size is limited by the data. */
    size_t Limit() const {
        const DLONG dlBytes = std::max<DLONG>(m_pstMoov->dlMdatDataEnd - m_pstMoov->dlMdatDataOffset, 0);
        DLONG dlSum = 0;
        for (size_t t = 0; t < m_ulTracks; ++t) {
            const TrackCursor &stCursor = m_astCursors[t];
            const ULONG_32 ulSize = stCursor.ConstantSize();
            dlSum += ulSize != 0 ? std::min<DLONG>(stCursor.Samples(), dlBytes / ulSize + 1) : stCursor.Samples();
        }
        return static_cast<size_t>(std::min<DLONG>(dlSum, MP4_SAMPLES_MAX));
    }

    /** The first track of which a chunk starts here, or m_ulTracks. */
    size_t FindChunk(DLONG dlAt) const {
        size_t t = 0;
        while (t < m_ulTracks && m_astCursors[t].NextChunk() != dlAt) {
            ++t;
        }
        return t;
    }

    LONG_32 IsKey(ULONG_32 ulSample, bool bChunk) {
        if (m_ulSyncs == 0) {
            return bChunk ? 1 : 0;
        }
        if (m_ulSync < m_ulSyncs && m_pulSync[m_ulSync] == DULONG{ulSample} + 1) {
            ++m_ulSync;
            return 1;
        }
        return 0;
    }

    /** Lists the sample at a place and moves the place behind it. False when its track has no more. */
    bool Append(DLONG *pdlAt) {
        const size_t ulFound = FindChunk(*pdlAt);
        const bool bChunk = ulFound < m_ulTracks;
        const size_t t = bChunk ? ulFound : static_cast<size_t>(m_pstMoov->iPrevTrak);
        TrackCursor &stCursor = m_astCursors[t];
        if (!stCursor.HasSample()) {
            return false;
        }
        mp4_sample_node stNode = {};
        stNode.dlOffset = *pdlAt;
        stNode.type = static_cast<LONG_32>(t);
        stNode.sample_count = static_cast<LONG_32>(stCursor.Sample());
        stNode.chunk_count = bChunk ? static_cast<LONG_32>(stCursor.Chunk()) : -1;
        stNode.timestamp = m_pstMoov->dulTimestamp;
        if (stNode.type == m_pstMoov->iVideoTrak) {
            stNode.key = IsKey(stCursor.Sample(), bChunk);
            m_pstMoov->dulTimestamp += m_pstMoov->timescale;
        }
        const ULONG_32 ulSize = stCursor.NextSample();
        stNode.size = NodeSize(ulSize);
        if (bChunk) {
            stCursor.AdvanceChunk();
            m_pstMoov->iPrevTrak = stNode.type;
        }
        m_pstMoov->list.push_back(stNode);
        *pdlAt += ulSize;
        return true;
    }

    mp4_moov_box *m_pstMoov;
    size_t m_ulTracks;  // at most MP4_TRACKS_MAX
    TrackCursor m_astCursors[MP4_TRACKS_MAX];
    const ULONG_32 *m_pulSync = nullptr;
    ULONG_32 m_ulSyncs = 0;
    ULONG_32 m_ulSync = 0;
};

/** Lists a file that starts with a video track: by the walk, and by its tables where the walk fails. */
void ListVideoFile(mp4_moov_box *pstMoov) {
    SampleLister stLister(pstMoov);
    if (stLister.IsForeign() && Mp4_ListPlaces(pstMoov)) {
        return;
    }
    stLister.List();
    if (stLister.HasMissed()) {
        Mp4_ListPlaces(pstMoov);
    }
}

/** Lists a file that starts with another track: nothing but that, in steps of its first sample's size. */
void ListLeadingTrack(mp4_moov_box *pstMoov) {
    const mp4_trak_box &stTrack = pstMoov->trak[0];
    const mp4_stsz_box &stSizes = stTrack.mdia.minf.stbl.stsz;
    const TrackCursor stCursor(stTrack.mdia.minf.stbl);
    if (HasHandler(stTrack, "soun")) {
        pstMoov->timescale = TicksOfSample(stTrack.mdia);
    }
    pstMoov->dlMdatDataOffset = std::max(pstMoov->dlMdatDataOffset, stCursor.NextChunk());
    const bool bTable = stSizes.sample_size_table != nullptr && stSizes.table_size != 0;
    ULONG_32 ulSize = bTable ? stSizes.sample_size_table[0] : 0;
    ulSize = ulSize != 0 ? ulSize : stSizes.samples_size_intotal;
    const DLONG dlBytes = pstMoov->dlMdatDataEnd - pstMoov->dlMdatDataOffset;
    if (ulSize == 0 || dlBytes <= 0) {
        return;
    }
    const DLONG dlCount = std::min<DLONG>((dlBytes - 1) / ulSize + 1, MP4_SAMPLES_MAX);
    pstMoov->list.reserve(static_cast<size_t>(dlCount));
    mp4_sample_node stNode = {};
    stNode.dlOffset = pstMoov->dlMdatDataOffset;
    stNode.size = NodeSize(ulSize);
    stNode.type = 1;
    stNode.chunk_count = -1;
    for (DLONG i = 0; i < dlCount; ++i) {
        pstMoov->list.push_back(stNode);
        stNode.dlOffset += ulSize;
        stNode.timestamp += pstMoov->timescale;
    }
    pstMoov->dulTimestamp = stNode.timestamp;
}

}  // namespace

LONG_32 make_sample_list(mp4_moov_box *pstMoov, LONG_32 /*lFlag*/) {
    if (pstMoov == nullptr || pstMoov->trak.empty() || pstMoov->trak.size() > MP4_TRACKS_MAX) {
        return -1;
    }
    try {
        if (HasHandler(pstMoov->trak[0], "vide")) {
            ListVideoFile(pstMoov);
        } else if (!Mp4_ListPlaces(pstMoov)) {
            ListLeadingTrack(pstMoov);
        }
    } catch (const std::bad_alloc &) {
        return -1;
    }
    if (pstMoov->list.size() >= MP4_SAMPLES_MAX) {
        LOG_WARN("make_sample_list Warning, Sample List Cut At %u", static_cast<ULONG_32>(MP4_SAMPLES_MAX));
    }
    return 0;
}
