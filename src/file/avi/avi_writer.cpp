// Writing an AVI file: chunks as they come, one system call each, the header ahead of them, the index behind them.
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "file/avi/avi_inner.h"

namespace {

const long INDEX_GROWTH = 4096; /**< entries */

/** Sizes of a file that is still being written: all that such a file may have, so that readers go on to its end. */
const ULONG_32 RIFF_SIZE_OPEN = 0xFEFFF003;
const ULONG_32 MOVI_SIZE_OPEN = 0xFEFFF004;

/** Bits of the main header. */
enum : ULONG_32 { FLAG_HAS_INDEX = 16, FLAG_MUST_USE_INDEX = 32, FLAG_INTERLEAVED = 256 };

const DLONG JUNK_END = AVI_HEADER_BYTES - AVI_LIST_HEAD - AVI_CHUNK_HEAD; /**< less the place of its head: its size */
const ULONG_32 SOFTWARE_BYTES = 64;
const double MICROSECONDS = 1000000;
const double LEAST_RATE = 0.001; /**< frames a second; below it the times are 0 */

/** Puts a header together. */
class Header {
 public:
    void Tag(const char *pcTag) { Copy(pcTag, 4); }
    void Word(ULONG_32 ulValue) {
        UCHAR auc[4];
        long2str(auc, ulValue);
        Copy(auc, sizeof(auc));
    }
    void Half(long lValue) {
        const UCHAR auc[] = {static_cast<UCHAR>(lValue), static_cast<UCHAR>(lValue >> 8)};
        Copy(auc, sizeof(auc));
    }
    void Zeros(int iWords) {
        for (int i = 0; i < iWords; ++i) {
            Word(0);
        }
    }
    /** Begins a list whose size is known at its end. @return its place */
    size_t Open(const char *pcKind) {
        Tag("LIST");
        Word(0);
        Tag(pcKind);
        return m_ulAt - AVI_LIST_HEAD;
    }
    void Close(size_t ulList) {
        long2str(m_aucBytes + ulList + 4, static_cast<ULONG_32>(m_ulAt - ulList - AVI_CHUNK_HEAD));
    }
    void Seek(size_t ulAt) { m_ulAt = ulAt; }
    size_t Pos() const { return m_ulAt; }
    const UCHAR *Bytes() const { return m_aucBytes; }

 private:
    void Copy(const void *pFrom, size_t ulLen) {
        ulLen = std::min(ulLen, sizeof(m_aucBytes) - m_ulAt);
        memcpy(m_aucBytes + m_ulAt, pFrom, ulLen);
        m_ulAt += ulLen;
    }
    UCHAR m_aucBytes[AVI_HEADER_BYTES] = {};
    size_t m_ulAt = 0;
};

/** How the header tells of the file's state. */
struct HEADER_STATE_S {
    bool bClosing;
    bool bIndex;          /**< an index stands behind the data */
    DLONG dlFile, dlData; /**< closing: where the file and its chunks end */
};

/** Times one unit, to the nearest; 0 for a file of no rate. */
ULONG_32 TimeValue(double dRate, double dValue) {
    return dRate >= LEAST_RATE ? static_cast<ULONG_32>(std::min(dValue + 0.5, 4294967295.0)) : 0;
}

/** Bytes of a moment of sound over all channels, at least 4. */
DLONG SampleSize(const track_t &stTrack) { return std::max(4L, (stTrack.a_bits + 7) / 8 * stTrack.a_chans); }

ULONG_32 BytesASecond(const track_t &stTrack) { return static_cast<ULONG_32>(1000 * stTrack.mp3rate / 8); }

void PutMain(const avi_t &stAvi, const HEADER_STATE_S &stState, Header *pstHeader) {
    pstHeader->Tag("avih");
    pstHeader->Word(56);
    pstHeader->Word(TimeValue(stAvi.fps, MICROSECONDS / std::max(stAvi.fps, LEAST_RATE)));
    pstHeader->Zeros(2);
    const ULONG_32 ulIndex = FLAG_HAS_INDEX | (stAvi.must_use_index ? ULONG_32{FLAG_MUST_USE_INDEX} : 0);
    pstHeader->Word(FLAG_INTERLEAVED | (stState.bIndex ? ulIndex : 0));
    pstHeader->Zeros(2);
    pstHeader->Word(static_cast<ULONG_32>(stAvi.anum + 1));
    pstHeader->Zeros(1);
    pstHeader->Word(static_cast<ULONG_32>(stAvi.width));
    pstHeader->Word(static_cast<ULONG_32>(stAvi.height));
    pstHeader->Zeros(4);
}

void PutVideo(avi_t *pstAvi, Header *pstHeader) {
    const size_t ulList = pstHeader->Open("strl");
    pstHeader->Tag("strh");
    pstHeader->Word(56);
    pstHeader->Tag("vids");
    pstAvi->v_codech_off = static_cast<off_t>(pstHeader->Pos());
    pstHeader->Tag(pstAvi->compressor);
    pstHeader->Zeros(3);
    pstHeader->Word(static_cast<ULONG_32>(MICROSECONDS));
    pstHeader->Word(TimeValue(pstAvi->fps, pstAvi->fps * MICROSECONDS));
    pstHeader->Zeros(3);
    pstHeader->Word(~0U);
    pstHeader->Zeros(3);
    pstHeader->Tag("strf");
    pstHeader->Word(40);
    pstHeader->Word(40);
    pstHeader->Word(static_cast<ULONG_32>(pstAvi->width));
    pstHeader->Word(static_cast<ULONG_32>(pstAvi->height));
    pstHeader->Half(1);
    pstHeader->Half(24);
    pstAvi->v_codecf_off = static_cast<off_t>(pstHeader->Pos());
    pstHeader->Tag(pstAvi->compressor);
    pstHeader->Word(static_cast<ULONG_32>(pstAvi->width) * static_cast<ULONG_32>(pstAvi->height) * 3);
    pstHeader->Zeros(4);
    pstHeader->Close(ulList);
}

void PutAudio(track_t *pstTrack, Header *pstHeader) {
    const DLONG dlSample = SampleSize(*pstTrack);
    const size_t ulList = pstHeader->Open("strl");
    pstHeader->Tag("strh");
    pstHeader->Word(56);
    pstHeader->Tag("auds");
    pstTrack->a_codech_off = static_cast<off_t>(pstHeader->Pos());
    pstHeader->Zeros(4);
    pstHeader->Word(static_cast<ULONG_32>(dlSample / 4));
    pstHeader->Word(BytesASecond(*pstTrack));
    pstHeader->Zeros(1);
    pstHeader->Word(static_cast<ULONG_32>(4 * pstTrack->audio_bytes / dlSample));
    pstHeader->Zeros(1);
    pstHeader->Word(~0U);
    pstHeader->Word(static_cast<ULONG_32>(dlSample / 4));
    pstHeader->Zeros(2);
    pstHeader->Tag("strf");
    pstHeader->Word(16);
    pstTrack->a_codecf_off = static_cast<off_t>(pstHeader->Pos());
    pstHeader->Half(pstTrack->a_fmt);
    pstHeader->Half(pstTrack->a_chans);
    pstHeader->Word(static_cast<ULONG_32>(pstTrack->a_rate));
    pstHeader->Word(BytesASecond(*pstTrack));
    pstHeader->Half(dlSample / 4);
    pstHeader->Half(pstTrack->a_bits);
    pstHeader->Close(ulList);
}

/** The room that is left belongs to a chunk that nobody reads. */
void PutJunk(Header *pstHeader) {
    const DLONG dlSize = JUNK_END - static_cast<DLONG>(pstHeader->Pos());
    if (dlSize < 1) {  // eight tracks need half of it
        fprintf(stderr, "AVI_close_output_file: # of header bytes too small\n");
        exit(1);
    }
    pstHeader->Tag("JUNK");
    pstHeader->Word(static_cast<ULONG_32>(dlSize));
    pstHeader->Seek(static_cast<size_t>(AVI_HEADER_BYTES - AVI_LIST_HEAD));
}

void PutHeader(avi_t *pstAvi, const HEADER_STATE_S &stState, Header *pstHeader) {
    pstHeader->Tag("RIFF");
    pstHeader->Word(stState.bClosing ? static_cast<ULONG_32>(stState.dlFile - AVI_CHUNK_HEAD) : RIFF_SIZE_OPEN);
    pstHeader->Tag("AVI ");
    const size_t ulList = pstHeader->Open("hdrl");
    PutMain(*pstAvi, stState, pstHeader);
    PutVideo(pstAvi, pstHeader);
    for (int i = 0; i < pstAvi->anum; ++i) {
        PutAudio(&pstAvi->track[i], pstHeader);
    }
    pstHeader->Close(ulList);
    if (stState.bClosing) {
        const size_t ulInfo = pstHeader->Open("INFO");
        pstHeader->Tag("ISFT");
        pstHeader->Word(SOFTWARE_BYTES);
        pstHeader->Zeros(SOFTWARE_BYTES / 4);
        pstHeader->Close(ulInfo);
    }
    PutJunk(pstHeader);
    pstHeader->Tag("LIST");
    pstHeader->Word(stState.bClosing ? static_cast<ULONG_32>(stState.dlData - AVI_HEADER_BYTES + 4) : MOVI_SIZE_OPEN);
    pstHeader->Tag("movi");
}

bool WriteHeader(avi_t *pstAvi, const HEADER_STATE_S &stState) {
    Header stHeader;
    PutHeader(pstAvi, stState, &stHeader);
    const bool bWritten = lseek(static_cast<int>(pstAvi->fdes), 0, SEEK_SET) == 0 &&
                          avi_write(pstAvi->fdes, stHeader.Bytes(), AVI_HEADER_BYTES) == AVI_HEADER_BYTES;
    return lseek(static_cast<int>(pstAvi->fdes), pstAvi->pos, SEEK_SET) >= 0 && bWritten;
}

long avi_update_header(avi_t *pstAvi) { return WriteHeader(pstAvi, {}) ? 0 : Avi_Fail(AVI_ERR_WRITE); }

/* ---- chunks ---- */

bool IsWriting(avi_t *pstAvi) {
    if (pstAvi == nullptr) {
        return false;
    }
    if (pstAvi->mode != AVI_MODE_WRITE) {
        Avi_Fail(AVI_ERR_NOT_PERM);
    }
    return pstAvi->mode == AVI_MODE_WRITE;
}

/** Whether so many bytes and an entry fit into the file, with the whole index behind them. */
bool HasRoom(const avi_t &stAvi, DLONG dlLen) {
    return dlLen >= 0 && dlLen < AVI_SIZE_MAX && stAvi.pos + dlLen + (stAvi.n_idx + 1) * AVI_ENTRY + 16 < AVI_SIZE_MAX;
}

bool avi_add_index_entry(avi_t *pstAvi, const char *pcTag, ULONG_32 ulFlags, DLONG dlPos, DLONG dlLen) {
    if (pstAvi->n_idx >= pstAvi->max_idx) {
        const size_t ulBytes = static_cast<size_t>((pstAvi->max_idx + INDEX_GROWTH) * AVI_ENTRY);
        void *pNew = realloc(pstAvi->idx, ulBytes);
        if (pNew == nullptr) {
            Avi_Fail(AVI_ERR_NO_MEM);
            return false;
        }
        pstAvi->idx = static_cast<UCHAR(*)[16]>(pNew);
        pstAvi->max_idx += INDEX_GROWTH;
    }
    UCHAR *pucEntry = pstAvi->idx[pstAvi->n_idx++];
    memcpy(pucEntry, pcTag, 4);
    long2str(pucEntry + 4, ulFlags);
    long2str(pucEntry + 8, static_cast<ULONG_32>(dlPos));
    long2str(pucEntry + 12, static_cast<ULONG_32>(dlLen));
    return true;
}

/** A chunk that does not go out whole leaves the place of writing in front of it. */
long avi_add_chunk(avi_t *pstAvi, const char *pcTag, const void *pData, DLONG dlLen) {
    UCHAR aucHead[AVI_CHUNK_HEAD];
    UCHAR ucPad = 0;
    memcpy(aucHead, pcTag, 4);
    long2str(aucHead + 4, static_cast<ULONG_32>(dlLen));
    iovec astParts[] = {{aucHead, sizeof(aucHead)},
                        {const_cast<void *>(pData), static_cast<size_t>(dlLen)},
                        {&ucPad, static_cast<size_t>(dlLen & 1)}};
    if (!Avi_WriteParts(pstAvi->fdes, astParts, 3)) {
        const int iSystem = errno;
        lseek(static_cast<int>(pstAvi->fdes), pstAvi->pos, SEEK_SET);
        errno = iSystem;
        return Avi_Fail(AVI_ERR_WRITE);
    }
    pstAvi->pos += AVI_CHUNK_HEAD + Avi_Even(dlLen);
    return 0;
}

long avi_write_data(avi_t *pstAvi, const char *pcTag, ULONG_32 ulFlags, const void *pData, DLONG dlLen) {
    if (!HasRoom(*pstAvi, dlLen)) {
        return Avi_Fail(AVI_ERR_SIZELIM);
    }
    if (!avi_add_index_entry(pstAvi, pcTag, ulFlags, pstAvi->pos, dlLen)) {
        return -1;
    }
    const long lResult = avi_add_chunk(pstAvi, pcTag, pData, dlLen);
    pstAvi->n_idx -= lResult != 0;  // the index tells of no chunk that is not there
    return lResult;
}

/** Chunk id of the current track. */
struct AudioTag {
    explicit AudioTag(const avi_t &stAvi) : acTag{'0', static_cast<char>('1' + stAvi.aptr), 'w', 'b'} {}
    char acTag[4];
};

/** Writes the index behind the chunks. @return whether it is there, whole */
bool WriteIndex(avi_t *pstAvi) {
    const DLONG dlBytes = pstAvi->n_idx * AVI_ENTRY;
    return avi_add_chunk(pstAvi, "idx1", pstAvi->idx, dlBytes) == 0;
}

long avi_close_output_file(avi_t *pstAvi) {
    const DLONG dlData = pstAvi->pos;
    long lResult = 0;
    const bool bIndex = WriteIndex(pstAvi);
    if (!bIndex) {
        lResult = Avi_Fail(AVI_ERR_WRITE_INDEX);
    }
    if (!WriteHeader(pstAvi, {true, bIndex, pstAvi->pos, dlData}) ||
        ftruncate(static_cast<int>(pstAvi->fdes), pstAvi->pos) != 0) {
        lResult = Avi_Fail(AVI_ERR_CLOSE);
    }
    return lResult;
}

}  // namespace

long Avi_Finish(avi_t *pstAvi) { return avi_close_output_file(pstAvi); }

avi_t *AVI_open_output_file(const char *filename) {
    avi_t *pstAvi = static_cast<avi_t *>(calloc(1, sizeof(avi_t)));
    if (pstAvi == nullptr) {
        Avi_Fail(AVI_ERR_NO_MEM);
        return nullptr;
    }
    pstAvi->fdes = filename != nullptr ? open(filename, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666) : -1;
    if (pstAvi->fdes < 0) {
        Avi_Fail(AVI_ERR_OPEN);
        free(pstAvi);
        return nullptr;
    }
    const UCHAR aucRoom[AVI_HEADER_BYTES] = {};
    if (avi_write(pstAvi->fdes, aucRoom, sizeof(aucRoom)) != sizeof(aucRoom)) {
        Avi_Fail(AVI_ERR_WRITE);
        close(static_cast<int>(pstAvi->fdes));
        free(pstAvi);
        return nullptr;
    }
    pstAvi->pos = AVI_HEADER_BYTES;
    memcpy(pstAvi->video_tag, "00db", 4);
    return pstAvi;
}

void AVI_set_video(avi_t *AVI, long width, long height, double fps, const char *compressor) {
    if (!IsWriting(AVI)) {
        return;
    }
    AVI->width = width;
    AVI->height = height;
    AVI->fps = fps;
    memset(AVI->compressor, 0, sizeof(AVI->compressor));
    if (compressor != nullptr && strncmp(compressor, "RGB", 3) != 0) {
        memcpy(AVI->compressor, compressor, strnlen(compressor, 4));
    }
    avi_update_header(AVI);
}

void AVI_set_audio(avi_t *AVI, long channels, long rate, long bits, long format, long mp3rate) {
    if (!IsWriting(AVI)) {
        return;
    }
    if (AVI->anum >= AVI_MAX_TRACKS) {
        fprintf(stderr, "error - only %d audio tracks supported\n", AVI_MAX_TRACKS);
        exit(1);
    }
    AVI->aptr = AVI->anum++;
    track_t *pstTrack = &AVI->track[AVI->aptr];
    pstTrack->a_chans = channels;
    pstTrack->a_rate = rate;
    pstTrack->a_bits = bits;
    pstTrack->a_fmt = format;
    pstTrack->mp3rate = mp3rate;
    avi_update_header(AVI);
}

void AVI_set_fps(avi_t *AVI, double fps) {
    if (IsWriting(AVI)) {
        AVI->fps = fps;
        avi_update_header(AVI);
    }
}

void AVI_set_audio_bitrate(avi_t *AVI, long bitrate) {
    if (IsWriting(AVI)) {
        AVI->track[AVI->aptr].mp3rate = bitrate;
        avi_update_header(AVI);
    }
}

long AVI_write_frame(avi_t *AVI, const void *data, DLONG bytes, long keyframe) {
    if (!IsWriting(AVI)) {
        return -1;
    }
    const off_t lPos = AVI->pos;
    if (avi_write_data(AVI, "00db", keyframe != 0 ? ULONG_32{AVI_KEYFRAME} : 0, data, bytes) != 0) {
        return -1;
    }
    AVI->last_pos = lPos;
    AVI->last_len = bytes;
    AVI->max_len = std::max(AVI->max_len, static_cast<unsigned long>(bytes));
    ++AVI->video_frames;
    return 0;
}

long AVI_dup_frame(avi_t *AVI) {
    if (!IsWriting(AVI)) {
        return -1;
    }
    if (AVI->last_pos == 0) {
        return 0;
    }
    if (!HasRoom(*AVI, 0)) {
        return Avi_Fail(AVI_ERR_SIZELIM);
    }
    if (!avi_add_index_entry(AVI, "00db", AVI_KEYFRAME, AVI->last_pos, AVI->last_len)) {
        return -1;
    }
    ++AVI->video_frames;
    AVI->must_use_index = 1;
    return 0;
}

long AVI_write_audio(avi_t *AVI, const void *data, DLONG bytes) {
    if (!IsWriting(AVI) || avi_write_data(AVI, AudioTag(*AVI).acTag, AVI_KEYFRAME, data, bytes) != 0) {
        return -1;
    }
    AVI->track[AVI->aptr].audio_bytes += bytes;
    ++AVI->track[AVI->aptr].audio_chunks;
    return 0;
}

long AVI_append_audio(avi_t *AVI, const void *data, DLONG bytes) {
    if (!IsWriting(AVI)) {
        return -1;
    }
    UCHAR *pucEntry = AVI->n_idx > 0 ? AVI->idx[AVI->n_idx - 1] : nullptr;
    if (pucEntry == nullptr || memcmp(pucEntry, AudioTag(*AVI).acTag, 4) != 0) {
        return Avi_Fail(AVI_ERR_NOT_PERM);
    }
    if (!HasRoom(*AVI, bytes)) {
        return Avi_Fail(AVI_ERR_SIZELIM);
    }
    const DLONG dlHead = str2ulong(pucEntry + 8), dlOld = str2ulong(pucEntry + 12);
    const DLONG dlBehind = dlHead + AVI_CHUNK_HEAD + dlOld;
    UCHAR aucLen[4], ucPad = 0;
    long2str(aucLen, static_cast<ULONG_32>(dlOld + bytes));
    iovec astParts[] = {{const_cast<void *>(data), static_cast<size_t>(bytes)},
                        {&ucPad, static_cast<size_t>((dlOld + bytes) & 1)}};
    const int iFile = static_cast<int>(AVI->fdes);
    // The length goes last: until then the file holds the chunk as it was, with something behind it.
    if (lseek(iFile, dlBehind, SEEK_SET) < 0 || !Avi_WriteParts(AVI->fdes, astParts, 2) ||
        lseek(iFile, dlHead + 4, SEEK_SET) < 0 || avi_write(AVI->fdes, aucLen, 4) != 4) {
        lseek(iFile, AVI->pos, SEEK_SET);
        return Avi_Fail(AVI_ERR_WRITE);
    }
    memcpy(pucEntry + 12, aucLen, 4);
    AVI->track[AVI->aptr].audio_bytes += bytes;
    AVI->pos = dlHead + AVI_CHUNK_HEAD + Avi_Even(dlOld + bytes);
    return lseek(iFile, AVI->pos, SEEK_SET) >= 0 ? 0 : Avi_Fail(AVI_ERR_WRITE);
}

DLONG AVI_bytes_written(avi_t *AVI) {
    return AVI != nullptr && AVI->mode == AVI_MODE_WRITE ? AVI->pos + AVI_CHUNK_HEAD + AVI->n_idx * AVI_ENTRY : 0;
}

DLONG AVI_bytes_remain(avi_t *AVI) {
    return AVI != nullptr && AVI->mode == AVI_MODE_WRITE ? AVI_SIZE_MAX - AVI_bytes_written(AVI) : 0;
}
