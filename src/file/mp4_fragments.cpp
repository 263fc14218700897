/**
 * @file mp4_fragments.cpp
 * @brief Fragments (ISO/IEC 14496-12, 8.8): samples that are told in front of their media data, piece by piece.
 */
#include <algorithm>
#include <new>

#include "file/mp4_inner.h"
#include "file/mp4_places.h"
#include "foundations/bytes.h"
#include "foundations/com_log.h"

namespace {

/** A sample needs others, or says that it is no sync sample. */
constexpr ULONG_32 FLAGS_OTHER = 0x01010000;

/** What a "tfhd" box has (ISO/IEC 14496-12, 8.8.7). */
enum : ULONG_32 {
    TFHD_BASE = 0x1,
    TFHD_DESCRIPTION = 0x2,
    TFHD_DURATION = 0x8,
    TFHD_SIZE = 0x10,
    TFHD_FLAGS = 0x20,
    TFHD_BASE_IS_MOOF = 0x20000,
};

/** What a "trun" box has (8.8.8). */
enum : ULONG_32 {
    TRUN_OFFSET = 0x1,
    TRUN_FIRST_FLAGS = 0x4,
    TRUN_DURATION = 0x100,
    TRUN_SIZE = 0x200,
    TRUN_FLAGS = 0x400,
    TRUN_CTS = 0x800,
};

/** The next box of a parent: its type and what it holds. False at the end. */
bool NextBox(bytes::Reader *pstParent, MP4_HEAD_S *pstHead, bytes::Reader *pstBody) {
    if (pstParent->Left() < MP4_HEAD_SIZE) {
        return false;
    }
    *pstHead = {};
    pstHead->ulSize = pstParent->U32Be();
    pstParent->Copy(pstHead->szType, 4);
    if (pstHead->ulSize < MP4_HEAD_SIZE) {
        return false;
    }
    *pstBody = pstParent->Sub(pstHead->ulSize - MP4_HEAD_SIZE);
    return pstParent->Ok();
}

/** Reads one "moof". */
class FragmentReader {
 public:
    FragmentReader(DLONG dlMoof, mp4_moov_box *pstMoov) : m_pstMoov(pstMoov), m_dlMoof(dlMoof), m_dlEnd(dlMoof) {}

    void Read(bytes::Reader stMoof) {
        MP4_HEAD_S stHead;
        bytes::Reader stBody;
        while (NextBox(&stMoof, &stHead, &stBody)) {
            if (Mp4_IsType(stHead, "traf")) {
                ReadTrack(stBody);
            }
        }
    }

 private:
    void ReadTrack(bytes::Reader stTraf) {
        m_pstTrack = nullptr;
        MP4_HEAD_S stHead;
        bytes::Reader stBody;
        while (NextBox(&stTraf, &stHead, &stBody)) {
            const ULONG_32 ulVersion = stBody.U32Be();
            const ULONG_32 ulFlags = ulVersion & 0xFFFFFF;
            if (Mp4_IsType(stHead, "tfhd")) {
                ReadHead(stBody, ulFlags);
            } else if (m_pstTrack != nullptr && Mp4_IsType(stHead, "tfdt")) {
                m_pstTrack->fragment_time = ulVersion >> 24 == 1 ? stBody.U64Be() : stBody.U32Be();
            } else if (m_pstTrack != nullptr && Mp4_IsType(stHead, "trun")) {
                ReadRun(stBody, ulFlags);
            }
        }
    }

    void ReadHead(bytes::Reader stBody, ULONG_32 ulFlags) {
        const ULONG_32 ulTrack = stBody.U32Be();
        for (mp4_trak_box &stTrack : m_pstMoov->trak) {
            if (stTrack.tkhd.track_id == ulTrack) {
                m_pstTrack = &stTrack;
            }
        }
        m_stDefaults = {};
        for (const mp4_trex_box &stTrex : m_pstMoov->trex) {
            if (stTrex.track_id == ulTrack) {
                m_stDefaults = stTrex;
            }
        }
        m_dlBase = (ulFlags & TFHD_BASE_IS_MOOF) != 0 ? m_dlMoof : m_dlEnd;
        if ((ulFlags & TFHD_BASE) != 0) {
            m_dlBase = static_cast<DLONG>(std::min<DULONG>(stBody.U64Be(), INT64_MAX / 2));
        }
        stBody.Skip((ulFlags & TFHD_DESCRIPTION) != 0 ? 4 : 0);
        ReadIf(&stBody, ulFlags & TFHD_DURATION, &m_stDefaults.default_sample_duration);
        ReadIf(&stBody, ulFlags & TFHD_SIZE, &m_stDefaults.default_sample_size);
        ReadIf(&stBody, ulFlags & TFHD_FLAGS, &m_stDefaults.default_sample_flags);
        m_dlEnd = m_dlBase;
    }

    static void ReadIf(bytes::Reader *pstBody, ULONG_32 ulThere, ULONG_32 *pulValue) {
        *pulValue = ulThere != 0 ? pstBody->U32Be() : *pulValue;
    }

    void ReadRun(bytes::Reader stBody, ULONG_32 ulFlags) {
        const ULONG_32 ulCount = stBody.U32Be();
        if ((ulFlags & TRUN_OFFSET) != 0) {
            m_dlEnd = m_dlBase + static_cast<LONG_32>(stBody.U32Be());
        }
        ULONG_32 ulFirstFlags = m_stDefaults.default_sample_flags;
        ReadIf(&stBody, ulFlags & TRUN_FIRST_FLAGS, &ulFirstFlags);
        if ((ulFlags & TRUN_SIZE) == 0 && m_stDefaults.default_sample_size == 0) {
            return;  // nothing in the file would end the count
        }
        for (ULONG_32 i = 0; i < ulCount; ++i) {
            mp4_trex_box stSample = m_stDefaults;
            stSample.default_sample_flags = i == 0 ? ulFirstFlags : stSample.default_sample_flags;
            ReadIf(&stBody, ulFlags & TRUN_DURATION, &stSample.default_sample_duration);
            ReadIf(&stBody, ulFlags & TRUN_SIZE, &stSample.default_sample_size);
            ReadIf(&stBody, ulFlags & TRUN_FLAGS, &stSample.default_sample_flags);
            stBody.Skip((ulFlags & TRUN_CTS) != 0 ? 4 : 0);
            if (!stBody.Ok() || !AddSample(stSample)) {
                return;
            }
        }
    }

    /**
     * Adds the sample at the run's place. False when no more may come: behind the file's end, too many, or more data
     * than the file has, since samples don't lie upon each other.
     */
    bool AddSample(const mp4_trex_box &stSample) {
        const ULONG_32 ulSize = stSample.default_sample_size;
        if (m_dlEnd < 0 || m_dlEnd > m_pstMoov->dlFileEnd - ulSize ||
            m_pstMoov->dlFragmentData > m_pstMoov->dlFileEnd - ulSize ||
            m_pstMoov->ulFragmentSamples >= MP4_PLACES_MAX) {
            return false;
        }
        if (ulSize != 0) {
            const ULONG_32 bKey = (stSample.default_sample_flags & FLAGS_OTHER) == 0 ? 1 : 0;
            m_pstTrack->fragments.push_back({m_dlEnd, m_pstTrack->fragment_time, ulSize, bKey});
            ++m_pstMoov->ulFragmentSamples;
        }
        m_pstTrack->fragment_time += stSample.default_sample_duration;
        m_pstMoov->dlFragmentData += ulSize;
        m_dlEnd += ulSize;
        return true;
    }

    mp4_moov_box *m_pstMoov;
    const DLONG m_dlMoof;
    DLONG m_dlBase = 0;
    DLONG m_dlEnd;  // behind the last run
    mp4_trak_box *m_pstTrack = nullptr;
    mp4_trex_box m_stDefaults = {};
};

}  // namespace

void Mp4_ReadDefaults(FILE *pFile, ULONG_32 ulBoxSize, mp4_moov_box *pstMoov) {
    constexpr size_t TREX_SIZE = 32;
    UCHAR aucBox[MP4_TRACKS_MAX * (TREX_SIZE + MP4_HEAD_SIZE)];
    const size_t ulLen = std::min<size_t>(Mp4_Body(ulBoxSize, 0), sizeof(aucBox));
    bytes::Reader stMvex(aucBox, fread(aucBox, 1, ulLen, pFile));
    MP4_HEAD_S stHead;
    bytes::Reader stBody;
    try {
        while (NextBox(&stMvex, &stHead, &stBody) && pstMoov->trex.size() < MP4_TRACKS_MAX) {
            if (!Mp4_IsType(stHead, "trex")) {
                continue;
            }
            stBody.Skip(4);
            mp4_trex_box stTrex = {};
            stTrex.track_id = stBody.U32Be();
            stBody.Skip(4);
            stTrex.default_sample_duration = stBody.U32Be();
            stTrex.default_sample_size = stBody.U32Be();
            stTrex.default_sample_flags = stBody.U32Be();
            pstMoov->trex.push_back(stTrex);
        }
    } catch (const std::bad_alloc &) {
        return;
    }
}

void Mp4_ReadFragment(FILE *pFile, DLONG dlPos, ULONG_32 ulBoxSize, mp4_moov_box *pstMoov) {
    const DLONG dlLeft = std::min<DLONG>(pstMoov->dlFileEnd - dlPos, MP4_FRAGMENTS_SIZE_MAX - pstMoov->dlFragmentBytes);
    if (ulBoxSize > dlLeft) {
        LOG_WARN("mp4_read_root_box Warning, Fragment Of %u Bytes Left Out", ulBoxSize);
        return;
    }
    pstMoov->dlFragmentBytes += ulBoxSize;
    try {
        std::vector<UCHAR> aucBox(Mp4_Body(ulBoxSize, 0));
        FragmentReader stReader(dlPos, pstMoov);
        stReader.Read(bytes::Reader(aucBox.data(), fread(aucBox.data(), 1, aucBox.size(), pFile)));
    } catch (const std::bad_alloc &) {
        LOG_WARN("mp4_read_root_box Warning, No Memory For A Fragment");
    }
}

bool Mp4_HasFragments(const mp4_moov_box &stMoov) { return stMoov.ulFragmentSamples != 0; }
