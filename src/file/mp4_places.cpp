/**
 * @file mp4_places.cpp
 * @brief The list of a file's samples, made of its tables and fragments.
 */
#include "file/mp4_places.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr DULONG CLOCK = 90000;

/** Gives one number after the other out of a table of counts and values; 0 behind its end. */
class RunReader {
 public:
    explicit RunReader(const mp4_stts_box &stTimes) : m_stTimes(stTimes) {}
    ULONG_32 Next() {
        while (m_ulRow < m_stTimes.number_of_entries && m_ulUsed >= m_stTimes.time_to_sample_table_count[m_ulRow]) {
            ++m_ulRow;
            m_ulUsed = 0;
        }
        if (m_ulRow >= m_stTimes.number_of_entries) {
            return 0;
        }
        ++m_ulUsed;
        return m_stTimes.time_to_sample_table_duration[m_ulRow];
    }

 private:
    const mp4_stts_box &m_stTimes;
    ULONG_32 m_ulRow = 0;
    ULONG_32 m_ulUsed = 0;
};

/** Places of one track's samples by its tables. */
class TableReader {
 public:
    TableReader(const mp4_stbl_box &stTables, DLONG dlFileEnd)
        : m_stTables(stTables), m_stTimes(stTables.stts), m_dlFileEnd(dlFileEnd) {}

    /** False if the tables don't agree: samples for chunks that there aren't, or chunks that the map doesn't know. */
    bool Read(std::vector<mp4_place_t> *pstPlaces) {
        const ULONG_32 ulChunks = m_stTables.stco.chunk_offset_amount;
        if (Samples() == 0) {
            return true;
        }
        const mp4_stsc_box &stMap = m_stTables.stsc;
        if (stMap.map_amount == 0 || stMap.scmap[0].first_chunk_num != 1) {
            return false;
        }
        pstPlaces->reserve(Most());
        ULONG_32 ulRow = 0;
        for (ULONG_32 c = 0; c < ulChunks && m_ulSample < Samples(); ++c) {
            while (ulRow + 1 < stMap.map_amount && stMap.scmap[ulRow + 1].first_chunk_num <= c + 1) {
                ++ulRow;
            }
            if (!ReadChunk(Offset(c), stMap.scmap[ulRow].sample_amount_in_cur_table, pstPlaces)) {
                return true;
            }
        }
        return m_ulSample == Samples();
    }
    /** When the sample behind the last is due. */
    DULONG Time() const { return m_dulTime; }

 private:
    ULONG_32 Samples() const {
        const mp4_stsz_box &stSizes = m_stTables.stsz;
        return stSizes.samples_size_intotal != 0 || stSizes.sample_size_table != nullptr ? stSizes.table_size : 0;
    }
    /** Samples that can be listed at the most: those of a constant size are limited by the data. */
    size_t Most() const {
        const ULONG_32 ulSize = std::max<ULONG_32>(m_stTables.stsz.samples_size_intotal, 1);
        return static_cast<size_t>(std::min<DLONG>({Samples(), m_dlFileEnd / ulSize, MP4_PLACES_MAX}));
    }
    DULONG Offset(ULONG_32 ulChunk) const {
        const mp4_stco_box &stChunks = m_stTables.stco;
        return stChunks.chunk_offset_64 != nullptr ? stChunks.chunk_offset_64[ulChunk]
                                                   : stChunks.chunk_offset_from_file_begin[ulChunk];
    }
    bool IsKey() {
        const mp4_stss_box &stSyncs = m_stTables.stss;
        while (m_ulSync < stSyncs.number_of_entries && stSyncs.sync_sample_table[m_ulSync] <= m_ulSample) {
            ++m_ulSync;
        }
        return stSyncs.number_of_entries == 0 ||
               (m_ulSync < stSyncs.number_of_entries && stSyncs.sync_sample_table[m_ulSync] == m_ulSample + 1);
    }

    /**
     * Adds a chunk's samples that the file has. False when there are more data than it has, since samples don't lie
     * upon each other, or too many samples.
     */
    bool ReadChunk(DULONG dulAt, ULONG_32 ulCount, std::vector<mp4_place_t> *pstPlaces) {
        const mp4_stsz_box &stSizes = m_stTables.stsz;
        for (ULONG_32 i = 0; i < ulCount && m_ulSample < Samples(); ++i, ++m_ulSample) {
            const ULONG_32 ulSize = stSizes.samples_size_intotal != 0 ? stSizes.samples_size_intotal
                                                                      : stSizes.sample_size_table[m_ulSample];
            m_dlData += ulSize;
            if (m_dlData > m_dlFileEnd || pstPlaces->size() >= MP4_PLACES_MAX) {
                return false;
            }
            const bool bKey = IsKey();
            if (dulAt <= static_cast<DULONG>(m_dlFileEnd - ulSize)) {
                pstPlaces->push_back({static_cast<DLONG>(dulAt), m_dulTime, ulSize, bKey ? 1U : 0U});
            }
            dulAt += ulSize;
            m_dulTime += m_stTimes.Next();
        }
        return true;
    }

    const mp4_stbl_box &m_stTables;
    RunReader m_stTimes;
    const DLONG m_dlFileEnd;
    DLONG m_dlData = 0;
    DULONG m_dulTime = 0;
    ULONG_32 m_ulSample = 0;
    ULONG_32 m_ulSync = 0;
};

/** A track that goes into the list. */
struct LISTED_TRACK_S {
    LONG_32 lTrack = -1;
    std::vector<mp4_place_t> astPlaces;
    DULONG dulEnd = 0;  // ticks of the track
    ULONG_32 ulTimescale = 1;
    size_t ulNext = 0;

    bool HasNext() const { return ulNext < astPlaces.size(); }
    /** When the next sample is due; what can't be told comes first. */
    double Due() const { return static_cast<double>(astPlaces[ulNext].dulTime) / ulTimescale; }
};

bool HasHandler(const mp4_trak_box &stTrack, const CHAR *pcType) {
    return strcmp(stTrack.mdia.hdlr.handler_type, pcType) == 0;
}

/** Whether a track's first description is of a kind that is played. */
bool IsPlayed(const mp4_trak_box &stTrack, bool bVideo) {
    const mp4_stsd_box &stStsd = stTrack.mdia.minf.stbl.stsd;
    if (stStsd.number_of_entries == 0) {
        return false;
    }
    return bVideo ? stStsd.sample_description[0].avc1 != nullptr : stStsd.sample_description[0].mp4a != nullptr;
}

/** Reads the places of a track. False if its tables don't agree. */
bool ReadTrack(const mp4_moov_box &stMoov, size_t ulTrack, LISTED_TRACK_S *pstListed) {
    const mp4_trak_box &stTrack = stMoov.trak[ulTrack];
    TableReader stReader(stTrack.mdia.minf.stbl, stMoov.dlFileEnd);
    if (!stReader.Read(&pstListed->astPlaces)) {
        return false;
    }
    pstListed->lTrack = static_cast<LONG_32>(ulTrack);
    pstListed->ulTimescale = std::max<ULONG_32>(stTrack.mdia.mdhd.timescale, 1);
    pstListed->dulEnd = stReader.Time();
    if (!stTrack.fragments.empty()) {
        pstListed->astPlaces.insert(pstListed->astPlaces.end(), stTrack.fragments.begin(), stTrack.fragments.end());
        pstListed->dulEnd = stTrack.fragment_time;
    }
    return true;
}

/** Chooses the tracks: of video the last one, as everywhere, of sound the first. */
bool ReadTracks(const mp4_moov_box &stMoov, LISTED_TRACK_S *pstVideo, LISTED_TRACK_S *pstSound) {
    for (size_t t = stMoov.trak.size(); t-- > 0 && pstVideo->lTrack < 0;) {
        const bool bVideo = HasHandler(stMoov.trak[t], "vide") && IsPlayed(stMoov.trak[t], true);
        if (bVideo && !ReadTrack(stMoov, t, pstVideo)) {
            return false;
        }
    }
    for (size_t t = 0; t < stMoov.trak.size() && pstSound->lTrack < 0; ++t) {
        const bool bSound = HasHandler(stMoov.trak[t], "soun") && IsPlayed(stMoov.trak[t], false);
        if (bSound && !ReadTrack(stMoov, t, pstSound)) {
            return false;
        }
    }
    return pstVideo->HasNext() || pstSound->HasNext();
}

/** 90 kHz ticks a sample, and at least one, so that time goes on. */
DULONG TicksOfSample(const LISTED_TRACK_S &stTrack) {
    const long double ldTicks = static_cast<long double>(stTrack.dulEnd) * CLOCK / stTrack.ulTimescale;
    return static_cast<DULONG>(std::clamp<long double>(ldTicks / stTrack.astPlaces.size(), 1, UINT32_MAX));
}

/** Seconds of a fragmented file, which its movie header doesn't tell. */
void SetDuration(mp4_moov_box *pstMoov, const LISTED_TRACK_S &stTrack) {
    mp4_mvhd_box &stHead = pstMoov->mvhd;
    stHead.timescale = std::max<ULONG_32>(stHead.timescale, 1);
    const double dTicks = static_cast<double>(stTrack.dulEnd) * stHead.timescale / stTrack.ulTimescale;
    const ULONG_32 ulTicks = static_cast<ULONG_32>(std::min<double>(dTicks, UINT32_MAX));
    stHead.duration = std::max(stHead.duration, ulTicks);
}

void AppendNext(mp4_moov_box *pstMoov, LISTED_TRACK_S *pstTrack) {
    const mp4_place_t &stPlace = pstTrack->astPlaces[pstTrack->ulNext];
    const bool bVideo = pstTrack->lTrack == pstMoov->iVideoTrak;
    mp4_sample_node stNode = {};
    stNode.dlOffset = stPlace.dlOffset;
    stNode.size = static_cast<LONG_32>(std::min<ULONG_32>(stPlace.ulSize, INT32_MAX));
    stNode.type = pstTrack->lTrack;
    stNode.key = bVideo && stPlace.bKey != 0 ? 1 : 0;
    stNode.sample_count = static_cast<LONG_32>(pstTrack->ulNext++);
    stNode.chunk_count = -1;
    stNode.timestamp = pstMoov->dulTimestamp;
    pstMoov->list.push_back(stNode);
    // Sound alone has its own clock, else all goes by the video's.
    pstMoov->dulTimestamp += bVideo || pstMoov->iVideoTrak < 0 ? pstMoov->timescale : 0;
}

}  // namespace

bool Mp4_ListPlaces(mp4_moov_box *pstMoov) {
    LISTED_TRACK_S stVideo, stSound;
    if (!ReadTracks(*pstMoov, &stVideo, &stSound)) {
        return false;
    }
    const LISTED_TRACK_S &stLeading = stVideo.HasNext() ? stVideo : stSound;
    pstMoov->list.clear();
    pstMoov->list.reserve(std::min<size_t>(stVideo.astPlaces.size() + stSound.astPlaces.size(), MP4_SAMPLES_MAX));
    pstMoov->iVideoTrak = stVideo.HasNext() ? stVideo.lTrack : -1;
    pstMoov->timescale = TicksOfSample(stLeading);
    pstMoov->dulTimestamp = 0;
    pstMoov->dlMdatDataEnd = pstMoov->dlFileEnd;
    if (Mp4_HasFragments(*pstMoov)) {
        SetDuration(pstMoov, stLeading);
    }
    while ((stVideo.HasNext() || stSound.HasNext()) && pstMoov->list.size() < MP4_SAMPLES_MAX) {
        const bool bVideo = stVideo.HasNext() && (!stSound.HasNext() || stVideo.Due() <= stSound.Due());
        AppendNext(pstMoov, bVideo ? &stVideo : &stSound);
    }
    return true;
}
