// Opening an AVI file for reading: its headers, and an index of its chunks, taken from the file or made anew.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "file/avi/avi_inner.h"
#include "foundations/bytes.h"

namespace {

const DLONG HEADERS_MAX = 1024 * 1024; /**< a longer list of headers counts as missing */
const DLONG WINDOW_LEAST = 4096;
const DLONG WINDOW_MOST = 256 * 1024;
const DLONG PLACE_MOST = 0xFFFFFFFF; /**< an index entry has 32 bits for a place */

bool IsTag(const void *pId, const char *pcTag) { return memcmp(pId, pcTag, 4) == 0; }

/** The heads of a file, through a window that grows where they lie close together. */
class Window {
 public:
    explicit Window(long lFile) : m_lFile(lFile), m_pucBytes(new (std::nothrow) UCHAR[WINDOW_MOST]) {
        struct stat stStat;
        m_dlLength = fstat(static_cast<int>(lFile), &stStat) == 0 ? stStat.st_size : 0;
    }
    bool Ok() const { return m_pucBytes != nullptr; }
    DLONG Length() const { return m_dlLength; }
    /** The file's length less a place, not below 0. */
    DLONG Left(DLONG dlAt) const { return std::max<DLONG>(m_dlLength - dlAt, 0); }

    /** So many bytes at a place, 4096 at most, until the next call; null if they are not all there. */
    const UCHAR *At(DLONG dlAt, DLONG dlCount) {
        if (dlAt < 0 || dlCount > Left(dlAt)) {
            return nullptr;
        }
        if (dlAt < m_dlFrom || dlAt + dlCount > m_dlFrom + m_dlHave) {
            Fill(dlAt);
        }
        return dlCount <= m_dlFrom + m_dlHave - dlAt ? m_pucBytes.get() + (dlAt - m_dlFrom) : nullptr;
    }

 private:
    void Fill(DLONG dlAt) {
        const bool bNear = dlAt >= m_dlFrom && dlAt - m_dlFrom <= 2 * m_dlWant;
        m_dlWant = bNear ? std::min(2 * m_dlWant, WINDOW_MOST) : WINDOW_LEAST;
        m_dlFrom = dlAt;
        m_dlHave = static_cast<DLONG>(Avi_ReadAt(m_lFile, dlAt, m_pucBytes.get(), static_cast<size_t>(m_dlWant)));
    }

    long m_lFile;
    std::unique_ptr<UCHAR[]> m_pucBytes;
    DLONG m_dlLength;
    DLONG m_dlFrom = 0, m_dlHave = 0, m_dlWant = WINDOW_LEAST;
};

/** A chunk's head. */
struct HEAD_S {
    UCHAR aucId[4];
    DLONG dlSize; /**< as it says */
    DLONG dlLeft; /**< bytes of the file behind the head */
    /** Bytes of its data that are there. */
    DLONG Have() const { return std::min(dlSize, dlLeft); }
    /** From here to the next head. */
    DLONG Step() const { return AVI_CHUNK_HEAD + std::min(Avi_Even(dlSize), dlLeft); }
};

/** False at the end, and where no chunk begins: that bounds a walk through the hole of a sparse file. */
bool ReadHead(Window *pstFile, DLONG dlAt, HEAD_S *pstHead) {
    const UCHAR *pucHead = pstFile->At(dlAt, AVI_CHUNK_HEAD);
    if (pucHead == nullptr || !Avi_IsId(pucHead)) {
        return false;
    }
    memcpy(pstHead->aucId, pucHead, 4);
    pstHead->dlSize = str2ulong(pucHead + 4);
    pstHead->dlLeft = pstFile->Left(dlAt + AVI_CHUNK_HEAD);
    return true;
}

/** A file while it is opened. */
struct PARSE_S {
    avi_t *pstAvi;
    Window oFile;
    std::unique_ptr<UCHAR[]> pucHeaders; /**< the header list behind its kind */
    DLONG dlHeaders = 0;                 /**< its bytes */
    DLONG dlHeadersAt = 0;               /**< its place in the file */
};

/* ---- top-level chunks ---- */

void KeepHeaders(PARSE_S *pstParse, DLONG dlAt, const HEAD_S &stHead) {
    const DLONG dlLen = std::max<DLONG>(stHead.Have() - 4, 0);
    if (pstParse->pucHeaders != nullptr || dlLen > HEADERS_MAX) {
        return;
    }
    pstParse->pucHeaders.reset(new (std::nothrow) UCHAR[static_cast<size_t>(dlLen) + 1]);
    if (pstParse->pucHeaders != nullptr) {
        pstParse->dlHeadersAt = dlAt + AVI_LIST_HEAD;
        pstParse->dlHeaders = static_cast<DLONG>(Avi_ReadAt(pstParse->pstAvi->fdes, pstParse->dlHeadersAt,
                                                            pstParse->pucHeaders.get(), static_cast<size_t>(dlLen)));
    }
}

void KeepIndex(avi_t *pstAvi, DLONG dlAt, const HEAD_S &stHead) {
    const DLONG dlEntries = stHead.Have() / AVI_ENTRY;
    if (pstAvi->idx != nullptr || dlEntries == 0 || dlEntries > AVI_ENTRIES_MAX) {
        return;
    }
    const size_t ulBytes = static_cast<size_t>(dlEntries * AVI_ENTRY);
    pstAvi->idx = static_cast<UCHAR(*)[16]>(malloc(ulBytes));
    if (pstAvi->idx != nullptr) {
        pstAvi->max_idx = dlEntries;
        pstAvi->n_idx = static_cast<long>(Avi_ReadAt(pstAvi->fdes, dlAt + AVI_CHUNK_HEAD, pstAvi->idx[0], ulBytes) /
                                          static_cast<size_t>(AVI_ENTRY));
    }
}

void KeepList(PARSE_S *pstParse, DLONG dlAt, const HEAD_S &stHead) {
    const UCHAR *pucKind = pstParse->oFile.At(dlAt + AVI_CHUNK_HEAD, 4);
    if (pucKind == nullptr) {
        return;
    }
    if (IsTag(pucKind, "hdrl")) {
        KeepHeaders(pstParse, dlAt, stHead);
    } else if (IsTag(pucKind, "movi") && pstParse->pstAvi->movi_start == 0) {
        pstParse->pstAvi->movi_start = dlAt + AVI_LIST_HEAD;
    }
}

/** Of a kind that comes more than once the first counts. */
long WalkFile(PARSE_S *pstParse) {
    const UCHAR *pucForm = pstParse->oFile.At(0, AVI_LIST_HEAD);
    if (pucForm == nullptr) {
        return AVI_ERR_READ;
    }
    if (strncasecmp(reinterpret_cast<const char *>(pucForm), "RIFF", 4) != 0 ||
        strncasecmp(reinterpret_cast<const char *>(pucForm) + AVI_CHUNK_HEAD, "AVI ", 4) != 0) {
        return AVI_ERR_NO_AVI;
    }
    HEAD_S stHead;
    for (DLONG dlAt = AVI_LIST_HEAD; ReadHead(&pstParse->oFile, dlAt, &stHead); dlAt += stHead.Step()) {
        if (IsTag(stHead.aucId, "LIST")) {
            KeepList(pstParse, dlAt, stHead);
        } else if (IsTag(stHead.aucId, "idx1")) {
            KeepIndex(pstParse->pstAvi, dlAt, stHead);
        }
    }
    if (pstParse->pucHeaders == nullptr) {
        return AVI_ERR_NO_HDRL;
    }
    return pstParse->pstAvi->movi_start != 0 ? 0 : long{AVI_ERR_NO_MOVI};
}

/* ---- headers ---- */

/** Whose format chunk comes next. */
enum OWNER_E { OWNER_NONE, OWNER_VIDEO, OWNER_AUDIO };

/** Walks the header list. */
struct HEADERS_S {
    avi_t *pstAvi;
    long lStreams = 0;
    OWNER_E enOwner = OWNER_NONE;
    bool bVideo = false;
    bool bSound = false; /**< this "strl" has its audio stream */
};

void CopyFour(char *pcTo, const UCHAR *pucFrom) {
    memcpy(pcTo, pucFrom, 4);
    pcTo[4] = 0;
}

void ReadVideoHeader(HEADERS_S *pstWalk, bytes::Reader oBody, DLONG dlAt) {
    avi_t *pstAvi = pstWalk->pstAvi;
    UCHAR aucBody[36] = {};  // what the chunk does not have stays 0
    oBody.Copy(aucBody, std::min(oBody.Left(), sizeof(aucBody)));
    CopyFour(pstAvi->compressor, aucBody + 4);
    pstAvi->v_codech_off = dlAt + 4;
    const ULONG_32 ulScale = str2ulong(aucBody + 20);
    if (ulScale != 0) {
        pstAvi->fps = static_cast<double>(str2ulong(aucBody + 24)) / ulScale;
    }
    pstAvi->video_frames = str2ulong(aucBody + 32);
    pstAvi->video_strn = pstWalk->lStreams;
    pstWalk->bVideo = true;
    pstWalk->enOwner = OWNER_VIDEO;
}

/** @return false for a ninth track */
bool ReadAudioHeader(HEADERS_S *pstWalk, DLONG dlAt) {
    avi_t *pstAvi = pstWalk->pstAvi;
    if (pstAvi->anum == AVI_MAX_TRACKS) {
        fprintf(stderr, "error - only %d audio tracks supported\n", AVI_MAX_TRACKS);
        return false;
    }
    track_t *pstTrack = &pstAvi->track[pstAvi->anum++];
    pstTrack->audio_strn = pstWalk->lStreams;
    pstTrack->a_codech_off = dlAt + 4;
    pstWalk->bSound = true;
    pstWalk->enOwner = OWNER_AUDIO;
    return true;
}

bool ReadStreamHeader(HEADERS_S *pstWalk, bytes::Reader oBody, DLONG dlAt) {
    bool bGood = true;
    pstWalk->enOwner = OWNER_NONE;
    if (oBody.Match("vids", 4) && !pstWalk->bVideo) {
        ReadVideoHeader(pstWalk, oBody, dlAt);
    } else if (oBody.Match("auds", 4) && !pstWalk->bSound) {
        bGood = ReadAudioHeader(pstWalk, dlAt);
    }
    ++pstWalk->lStreams;
    return bGood;
}

/** A copy of a format chunk, filled up with zeros; null without memory. */
UCHAR *CopyFormat(bytes::Reader oBody, size_t ulBytes) {
    UCHAR *pucCopy = static_cast<UCHAR *>(calloc(1, ulBytes));
    if (pucCopy != nullptr) {
        oBody.Copy(pucCopy, std::min(oBody.Left(), ulBytes));
    }
    return pucCopy;
}

bool ReadVideoFormat(avi_t *pstAvi, bytes::Reader oBody, DLONG dlAt) {
    pstAvi->bitmap_info_header = CopyFormat(oBody, AVI_BITMAP_BYTES);
    if (pstAvi->bitmap_info_header == nullptr) {
        return false;
    }
    pstAvi->width = static_cast<LONG_32>(str2ulong(pstAvi->bitmap_info_header + 4));
    pstAvi->height = labs(static_cast<LONG_32>(str2ulong(pstAvi->bitmap_info_header + 8)));  // below 0: top row first
    CopyFour(pstAvi->compressor2, pstAvi->bitmap_info_header + 16);
    pstAvi->v_codecf_off = dlAt + 16;
    return true;
}

bool ReadAudioFormat(avi_t *pstAvi, bytes::Reader oBody, DLONG dlAt) {
    track_t *pstTrack = &pstAvi->track[pstAvi->anum - 1];
    UCHAR *pucFormat = CopyFormat(oBody, AVI_WAVE_BYTES);
    pstAvi->wave_format_ex[pstAvi->anum - 1] = pucFormat;
    if (pucFormat == nullptr) {
        return false;
    }
    pstTrack->a_fmt = str2ushort(pucFormat);
    pstTrack->a_chans = str2ushort(pucFormat + 2);
    pstTrack->a_rate = str2ulong(pucFormat + 4);
    pstTrack->mp3rate = 8 * static_cast<long>(str2ulong(pucFormat + 8)) / 1000;
    pstTrack->a_bits = str2ushort(pucFormat + 14);
    pstTrack->a_codecf_off = dlAt;
    return true;
}

bool ReadFormat(HEADERS_S *pstWalk, bytes::Reader oBody, DLONG dlAt) {
    const OWNER_E enOwner = pstWalk->enOwner;
    pstWalk->enOwner = OWNER_NONE;
    switch (enOwner) {
        case OWNER_VIDEO:
            return ReadVideoFormat(pstWalk->pstAvi, oBody, dlAt);
        case OWNER_AUDIO:
            return ReadAudioFormat(pstWalk->pstAvi, oBody, dlAt);
        default:
            return true;
    }
}

/** Lists are stepped into, so that it matters little how deep a writer nests them. */
long WalkHeaders(const PARSE_S &stParse) {
    HEADERS_S stWalk = {stParse.pstAvi};
    bytes::Reader oList(stParse.pucHeaders.get(), static_cast<size_t>(stParse.dlHeaders));
    while (oList.Left() >= static_cast<size_t>(AVI_CHUNK_HEAD)) {
        const UCHAR *pucId = oList.Take(4);
        const size_t ulSize = oList.U32Le();
        if (IsTag(pucId, "LIST")) {
            stWalk.bSound = stWalk.bSound && !oList.Match("strl", 4);
            oList.Skip(4);
            continue;
        }
        const DLONG dlAt = stParse.dlHeadersAt + static_cast<DLONG>(oList.Pos());
        const bytes::Reader oBody = oList.Sub(std::min(ulSize, oList.Left()));
        oList.Skip(std::min(ulSize & 1, oList.Left()));
        if (IsTag(pucId, "strh") && !ReadStreamHeader(&stWalk, oBody, dlAt)) {
            return AVI_ERR_UNKNOWN;
        }
        if (IsTag(pucId, "strf") && !ReadFormat(&stWalk, oBody, dlAt)) {
            return AVI_ERR_NO_MEM;
        }
    }
    return stWalk.bVideo ? 0 : long{AVI_ERR_NO_VIDS};
}

void MakeTag(char *pcTag, long lNumber, const char *pcKind) {
    pcTag[0] = static_cast<char>('0' + lNumber / 10 % 10);
    pcTag[1] = static_cast<char>('0' + lNumber % 10);
    memcpy(pcTag + 2, pcKind, 2);
}

void MakeTags(avi_t *pstAvi) {
    MakeTag(pstAvi->video_tag, pstAvi->video_strn, "db");
    for (int i = 0; i < pstAvi->anum; ++i) {
        MakeTag(pstAvi->track[i].audio_tag, i + 1, "wb");
    }
}

/* ---- the index ---- */

const UCHAR *FirstVideoEntry(const avi_t *pstAvi) {
    for (long i = 0; i < pstAvi->n_idx; ++i) {
        if (Avi_IsVideo(pstAvi, pstAvi->idx[i])) {
            return pstAvi->idx[i];
        }
    }
    return nullptr;
}

bool IsChunkAt(Window *pstFile, DLONG dlAt, const UCHAR *pucEntry) {
    const UCHAR *pucHead = pstFile->At(dlAt, AVI_CHUNK_HEAD);
    return pucHead != nullptr && IsTag(pucHead, reinterpret_cast<const char *>(pucEntry)) &&
           memcmp(pucHead + 4, pucEntry + 12, 4) == 0;
}

/** What to add to the places in the index. @return false if it can't be right either way */
bool FindFix(PARSE_S *pstParse, DLONG *pdlFix) {
    const avi_t *pstAvi = pstParse->pstAvi;
    const UCHAR *pucEntry = FirstVideoEntry(pstAvi);
    if (pucEntry == nullptr) {
        return false;
    }
    const DLONG dlAt = str2ulong(pucEntry + 8);
    for (const DLONG dlFix : {DLONG{0}, DLONG{pstAvi->movi_start} - 4}) {
        if (IsChunkAt(&pstParse->oFile, dlAt + dlFix, pucEntry)) {
            *pdlFix = dlFix;
            return true;
        }
    }
    return false;
}

/** Whether a chunk belongs to a stream, by what it carries. */
bool IsStream(const UCHAR *pucId) {
    const auto pcKind = reinterpret_cast<const char *>(pucId) + 2;
    return strncasecmp(pcKind, "db", 2) == 0 || strncasecmp(pcKind, "dc", 2) == 0 || strncasecmp(pcKind, "wb", 2) == 0;
}

bool AddEntry(avi_t *pstAvi, DLONG dlAt, const HEAD_S &stHead) {
    if (pstAvi->n_idx == pstAvi->max_idx) {
        const long lMore = std::max(2 * pstAvi->max_idx, 4096L);
        void *pNew = realloc(pstAvi->idx, static_cast<size_t>(lMore * AVI_ENTRY));
        if (pNew == nullptr) {
            return false;
        }
        pstAvi->idx = static_cast<UCHAR(*)[16]>(pNew);
        pstAvi->max_idx = lMore;
    }
    UCHAR *pucEntry = pstAvi->idx[pstAvi->n_idx++];
    memcpy(pucEntry, stHead.aucId, 4);
    long2str(pucEntry + 4, 0);  // which frames are key frames is not known
    long2str(pucEntry + 8, static_cast<ULONG_32>(dlAt));
    long2str(pucEntry + 12, static_cast<ULONG_32>(stHead.dlSize));
    return true;
}

/** Enters every chunk up to the end of the file: the size of the list is not set before the file is finished. */
long RebuildIndex(PARSE_S *pstParse) {
    avi_t *pstAvi = pstParse->pstAvi;
    pstAvi->rebuilt = 1;
    pstAvi->n_idx = 0;
    HEAD_S stHead;
    DLONG dlAt = pstAvi->movi_start;
    while (dlAt <= PLACE_MOST && pstAvi->n_idx < AVI_ENTRIES_MAX && ReadHead(&pstParse->oFile, dlAt, &stHead)) {
        if (IsTag(stHead.aucId, "LIST")) {
            dlAt += AVI_LIST_HEAD;
            continue;
        }
        if (IsStream(stHead.aucId) && !AddEntry(pstAvi, dlAt, stHead)) {
            return AVI_ERR_NO_MEM;
        }
        dlAt += stHead.Step();
    }
    return 0;
}

void CountEntries(avi_t *pstAvi) {
    pstAvi->video_frames = 0;
    for (long i = 0; i < pstAvi->n_idx; ++i) {
        pstAvi->video_frames += Avi_IsVideo(pstAvi, pstAvi->idx[i]);
        for (int t = 0; t < pstAvi->anum; ++t) {
            pstAvi->track[t].audio_chunks += Avi_IsAudio(pstAvi->track[t], pstAvi->idx[i]);
        }
    }
}

template <class Entry>
bool AllocEntries(Entry **ppstEntries, long lCount) {
    *ppstEntries = static_cast<Entry *>(calloc(static_cast<size_t>(std::max(lCount, 1L)), sizeof(Entry)));
    return *ppstEntries != nullptr;
}

bool AllocIndexes(avi_t *pstAvi) {
    bool bGood = AllocEntries(&pstAvi->video_index, pstAvi->video_frames);
    for (int i = 0; i < pstAvi->anum && bGood; ++i) {
        bGood = AllocEntries(&pstAvi->track[i].audio_index, pstAvi->track[i].audio_chunks);
    }
    return bGood;
}

void FillIndexes(avi_t *pstAvi, DLONG dlFix) {
    long lVideo = 0;
    long alAudio[AVI_MAX_TRACKS] = {};
    for (long i = 0; i < pstAvi->n_idx; ++i) {
        const UCHAR *pucEntry = pstAvi->idx[i];
        const DLONG dlPos = str2ulong(pucEntry + 8) + dlFix + AVI_CHUNK_HEAD;
        const DLONG dlLen = str2ulong(pucEntry + 12);
        if (Avi_IsVideo(pstAvi, pucEntry)) {
            pstAvi->video_index[lVideo++] = {str2ulong(pucEntry + 4), dlPos, dlLen};
            pstAvi->max_len = std::max(pstAvi->max_len, static_cast<unsigned long>(dlLen));
        }
        for (int t = 0; t < pstAvi->anum; ++t) {
            track_t *pstTrack = &pstAvi->track[t];
            if (Avi_IsAudio(*pstTrack, pucEntry)) {
                pstTrack->audio_index[alAudio[t]++] = {dlPos, dlLen, pstTrack->audio_bytes};
                pstTrack->audio_bytes += dlLen;
            }
        }
    }
}

long MakeIndex(PARSE_S *pstParse) {
    DLONG dlFix = 0;
    if (!FindFix(pstParse, &dlFix)) {
        const long lResult = RebuildIndex(pstParse);
        if (lResult != 0) {
            return lResult;
        }
    }
    CountEntries(pstParse->pstAvi);
    if (pstParse->pstAvi->video_frames == 0) {
        return AVI_ERR_NO_VIDS;
    }
    if (!AllocIndexes(pstParse->pstAvi)) {
        return AVI_ERR_NO_MEM;
    }
    FillIndexes(pstParse->pstAvi, dlFix);
    return 0;
}

}  // namespace

long Avi_Parse(avi_t *pstAvi, bool bIndex) {
    PARSE_S stParse = {pstAvi, Window(pstAvi->fdes), nullptr};
    if (!stParse.oFile.Ok()) {
        return AVI_ERR_NO_MEM;
    }
    long lResult = WalkFile(&stParse);
    if (lResult == 0) {
        lResult = WalkHeaders(stParse);
    }
    if (lResult != 0) {
        return lResult;
    }
    MakeTags(pstAvi);
    if (bIndex) {
        lResult = MakeIndex(&stParse);
    }
    return lResult == 0 && AVI_seek_start(pstAvi) != 0 ? long{AVI_ERR_READ} : lResult;
}
