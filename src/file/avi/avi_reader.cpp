// Reading an AVI file: frames and sound by the index, or chunk after chunk as they lie.
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "file/avi/avi_inner.h"
#include "foundations/player_types.h"
#include "foundations/shared_word.h"

namespace {

const DLONG CHUNK_MAX = VIDEO_FRAME_BUFFER_SIZE;

/** Foreign chunks that one read steps over: a file of nothing else must not hold up the thread that reads. */
const int CHUNKS_A_READ = 4096;

/** For calls that read. */
bool IsReading(const avi_t *pstAvi) {
    if (pstAvi == nullptr) {
        return false;
    }
    if (pstAvi->mode != AVI_MODE_READ) {
        Avi_Fail(AVI_ERR_NOT_PERM);
    }
    return pstAvi->mode == AVI_MODE_READ;
}

/** For calls that find frames by number. */
bool HasIndex(const avi_t *pstAvi) {
    if (!IsReading(pstAvi)) {
        return false;
    }
    if (pstAvi->video_index == nullptr) {
        Avi_Fail(AVI_ERR_NO_IDX);
    }
    return pstAvi->video_index != nullptr;
}

bool IsFrame(const avi_t *pstAvi, long lFrame) { return lFrame >= 0 && lFrame < pstAvi->video_frames; }

/** Moves the place of the sequential read, and the descriptor with it. */
long Seek(avi_t *pstAvi, DLONG dlAt) {
    if (lseek(static_cast<int>(pstAvi->fdes), dlAt, SEEK_SET) < 0) {
        return Avi_Fail(AVI_ERR_READ);
    }
    pstAvi->pos = dlAt;
    return 0;
}

void SetFrame(avi_t *pstAvi, long lFrame) { word::Store(pstAvi->video_pos, lFrame); }

/** Current track, if it has an index. */
track_t *Track(avi_t *pstAvi) {
    if (!HasIndex(pstAvi)) {
        return nullptr;
    }
    track_t *pstTrack = pstAvi->aptr < pstAvi->anum ? &pstAvi->track[pstAvi->aptr] : nullptr;
    if (pstTrack == nullptr || pstTrack->audio_index == nullptr) {
        Avi_Fail(AVI_ERR_NO_IDX);
        return nullptr;
    }
    return pstTrack;
}

avi_t *OpenFile(long lFile, bool bIndex) {
    avi_t *pstAvi = static_cast<avi_t *>(calloc(1, sizeof(avi_t)));
    if (pstAvi == nullptr) {
        Avi_Fail(AVI_ERR_NO_MEM);
        close(static_cast<int>(lFile));
        return nullptr;
    }
    pstAvi->fdes = lFile;
    pstAvi->mode = AVI_MODE_READ;
    const long lResult = Avi_Parse(pstAvi, bIndex);
    if (lResult == 0) {
        return pstAvi;
    }
    AVI_close(pstAvi);
    Avi_Fail(lResult);
    return nullptr;
}

/* ---- chunk after chunk ---- */

/** A chunk that was met. */
struct CHUNK_S {
    UCHAR aucHead[AVI_CHUNK_HEAD];
    DLONG dlBody; /**< its place */
    DLONG dlSize;
    const UCHAR *pucAhead; /**< buffer into which data came along with the head */
    DLONG dlAhead;         /**< how many; -1 if not all that were asked for */
};

/** Length of the chunk that the index of the current track has at a place; 0 for none. */
DLONG SoundAt(const avi_t *pstAvi, DLONG dlBody) {
    const track_t *pstTrack = pstAvi->aptr < pstAvi->anum ? &pstAvi->track[pstAvi->aptr] : nullptr;
    if (pstTrack == nullptr || pstTrack->audio_index == nullptr) {
        return 0;
    }
    const audio_index_entry *pstTo = pstTrack->audio_index + pstTrack->audio_chunks;
    const audio_index_entry *pstAt =
        std::partition_point(static_cast<const audio_index_entry *>(pstTrack->audio_index), pstTo,
                             [dlBody](const audio_index_entry &stEntry) { return stEntry.pos < dlBody; });
    return pstAt != pstTo && pstAt->pos == dlBody ? pstAt->len : 0;
}

/** Length of the frame at video_pos if it stands at a place; 0 otherwise. */
DLONG FrameAt(const avi_t *pstAvi, DLONG dlBody) {
    const bool bFrame = pstAvi->video_index != nullptr && IsFrame(pstAvi, pstAvi->video_pos);
    return bFrame && pstAvi->video_index[pstAvi->video_pos].pos == dlBody ? pstAvi->video_index[pstAvi->video_pos].len
                                                                          : 0;
}

/**
 * Reads a head. Where the index says what stands here its data come along, which saves a system call a chunk.
 * @return false at the end of the file
 */
bool ReadHead(avi_t *pstAvi, UCHAR *pucVideo, UCHAR *pucAudio, CHUNK_S *pstChunk) {
    pstChunk->dlBody = pstAvi->pos + AVI_CHUNK_HEAD;
    const DLONG dlFrame = FrameAt(pstAvi, pstChunk->dlBody);
    const DLONG dlWanted = dlFrame != 0 ? dlFrame : SoundAt(pstAvi, pstChunk->dlBody);
    const DLONG dlAhead = dlWanted <= CHUNK_MAX ? dlWanted : 0;
    UCHAR *pucAhead = dlFrame != 0 ? pucVideo : pucAudio;
    UCHAR ucPad;
    iovec astParts[] = {{pstChunk->aucHead, AVI_CHUNK_HEAD},
                        {pucAhead, static_cast<size_t>(dlAhead)},
                        {&ucPad, static_cast<size_t>(dlAhead & 1)}};
    const DLONG dlRead = static_cast<DLONG>(Avi_ReadParts(pstAvi->fdes, astParts, 3));
    pstAvi->pos += dlRead;
    if (dlRead < AVI_CHUNK_HEAD) {
        return false;
    }
    pstChunk->dlSize = str2ulong(pstChunk->aucHead + 4);
    pstChunk->pucAhead = pucAhead;
    pstChunk->dlAhead = dlRead == AVI_CHUNK_HEAD + Avi_Even(dlAhead) ? dlAhead : -1;
    return true;
}

bool SkipChunk(avi_t *pstAvi, const CHUNK_S &stChunk) {
    const bool bList = memcmp(stChunk.aucHead, "LIST", 4) == 0;
    const DLONG dlTo = stChunk.dlBody + (bList ? AVI_LIST_HEAD - AVI_CHUNK_HEAD : Avi_Even(stChunk.dlSize));
    return dlTo == pstAvi->pos || Seek(pstAvi, dlTo) == 0;
}

/** Reads a chunk's data. On failure the chunk has been passed over. */
bool ReadBody(avi_t *pstAvi, const CHUNK_S &stChunk, UCHAR *pucTo) {
    if (stChunk.dlAhead == stChunk.dlSize && stChunk.pucAhead == pucTo) {
        return true;
    }
    if (stChunk.dlSize > CHUNK_MAX || (pstAvi->pos != stChunk.dlBody && Seek(pstAvi, stChunk.dlBody) != 0)) {
        SkipChunk(pstAvi, stChunk);
        return false;
    }
    UCHAR ucPad;
    iovec astParts[] = {{pucTo, static_cast<size_t>(stChunk.dlSize)},
                        {&ucPad, static_cast<size_t>(stChunk.dlSize & 1)}};
    const DLONG dlRead = static_cast<DLONG>(Avi_ReadParts(pstAvi->fdes, astParts, 2));
    pstAvi->pos += dlRead;
    return dlRead >= stChunk.dlSize;
}

AVI_CHUNK_E Finish(AVI_CHUNK_E enKind, bool bWhole, DLONG dlSize, DLONG *pdlLen) {
    if (!bWhole) {
        Avi_Fail(AVI_ERR_READ);
        return AVI_CHUNK_BAD;
    }
    *pdlLen = dlSize;
    return enKind;
}

}  // namespace

AVI_CHUNK_E Avi_ReadNext(avi_t *pstAvi, UCHAR *pucVideo, UCHAR *pucAudio, DLONG *pdlLen) {
    *pdlLen = 0;
    for (int i = 0; i < CHUNKS_A_READ; ++i) {
        CHUNK_S stChunk;
        if (!ReadHead(pstAvi, pucVideo, pucAudio, &stChunk) || !Avi_IsId(stChunk.aucHead)) {
            return AVI_CHUNK_END;
        }
        if (Avi_IsVideo(pstAvi, stChunk.aucHead)) {
            SetFrame(pstAvi, pstAvi->video_pos + 1);
            return Finish(AVI_CHUNK_VIDEO, ReadBody(pstAvi, stChunk, pucVideo), stChunk.dlSize, pdlLen);
        }
        if (pstAvi->aptr < pstAvi->anum && Avi_IsAudio(pstAvi->track[pstAvi->aptr], stChunk.aucHead)) {
            return Finish(AVI_CHUNK_AUDIO, ReadBody(pstAvi, stChunk, pucAudio), stChunk.dlSize, pdlLen);
        }
        if (!SkipChunk(pstAvi, stChunk)) {
            return AVI_CHUNK_END;
        }
    }
    Avi_Fail(AVI_ERR_READ);
    return AVI_CHUNK_BAD;
}

void Avi_SkipFrame(avi_t *pstAvi) {
    if (!IsFrame(pstAvi, pstAvi->video_pos)) {
        return;
    }
    const video_index_entry &stEntry = pstAvi->video_index[pstAvi->video_pos];
    SetFrame(pstAvi, pstAvi->video_pos + 1);
    const DLONG dlBehind = stEntry.pos + Avi_Even(stEntry.len);
    if (dlBehind > pstAvi->pos) {  // the entry of a duplicated frame points to what was read before
        Seek(pstAvi, dlBehind);
    }
}

/* ---- opening and places ---- */

avi_t *AVI_open_input_file(const char *filename, long getIndex) {
    // To open a pipe would wait for its writer otherwise; for a file that makes no difference.
    const int iFile = filename != nullptr ? open(filename, O_RDONLY | O_CLOEXEC | O_NONBLOCK) : -1;
    if (iFile < 0) {
        Avi_Fail(AVI_ERR_OPEN);
        return nullptr;
    }
    return OpenFile(iFile, getIndex != 0);
}

avi_t *AVI_open_fd(long fd, long getIndex) { return OpenFile(fd, getIndex != 0); }

DLONG AVI_frame_size(avi_t *AVI, long frame) {
    return HasIndex(AVI) && IsFrame(AVI, frame) ? AVI->video_index[frame].len : 0;
}

DLONG AVI_audio_size(avi_t *AVI, long frame) {
    const track_t *pstTrack = Track(AVI);
    return pstTrack != nullptr && frame >= 0 && frame < pstTrack->audio_chunks ? pstTrack->audio_index[frame].len : 0;
}

long AVI_get_video_position(avi_t *AVI) { return HasIndex(AVI) ? AVI->video_pos : -1; }

long AVI_seek_start(avi_t *AVI) {
    if (!IsReading(AVI)) {
        return -1;
    }
    SetFrame(AVI, 0);
    return Seek(AVI, AVI->movi_start);
}

long AVI_set_video_position(avi_t *AVI, long frame) {
    if (!HasIndex(AVI)) {
        return -1;
    }
    const long lFrame = std::max(frame, 0L);
    SetFrame(AVI, lFrame);
    return IsFrame(AVI, lFrame) ? Seek(AVI, AVI->video_index[lFrame].pos - AVI_CHUNK_HEAD) : 0;
}

long AVI_iskeyframe(avi_t *AVI, long frame) {
    if (!HasIndex(AVI)) {
        return -1;
    }
    return IsFrame(AVI, frame) && AVI->video_index[frame].key == AVI_KEYFRAME;
}

/* ---- frames ---- */

DLONG AVI_read_frame(avi_t *AVI, UCHAR *vidbuf, long *keyframe) {
    if (!HasIndex(AVI) || !IsFrame(AVI, AVI->video_pos)) {
        return -1;
    }
    const video_index_entry &stEntry = AVI->video_index[AVI->video_pos];
    SetFrame(AVI, AVI->video_pos + 1);
    if (keyframe != nullptr) {
        *keyframe = stEntry.key == AVI_KEYFRAME;
    }
    const size_t ulLen = static_cast<size_t>(stEntry.len);
    const bool bRead =
        vidbuf == nullptr || (stEntry.len <= CHUNK_MAX && Avi_ReadAt(AVI->fdes, stEntry.pos, vidbuf, ulLen) == ulLen);
    Seek(AVI, stEntry.pos + Avi_Even(stEntry.len));
    return bRead ? stEntry.len : Avi_Fail(AVI_ERR_READ);
}

long AVI_read_data(avi_t *AVI, UCHAR *vidbuf, long *, UCHAR *audbuf, DLONG *len) {
    if (!IsReading(AVI) || vidbuf == nullptr || audbuf == nullptr || len == nullptr) {
        return -1;
    }
    switch (Avi_ReadNext(AVI, vidbuf, audbuf, len)) {
        case AVI_CHUNK_VIDEO:
        case AVI_CHUNK_END:
            return 0;
        case AVI_CHUNK_AUDIO:
            return 1;
        default:
            return -1;
    }
}

/* ---- sound ---- */

long AVI_set_audio_position(avi_t *AVI, DLONG byte) {
    track_t *pstTrack = Track(AVI);
    if (pstTrack == nullptr) {
        return -1;
    }
    byte = std::clamp<DLONG>(byte, 0, pstTrack->audio_bytes);
    const audio_index_entry *pstFrom = pstTrack->audio_index, *pstTo = pstFrom + pstTrack->audio_chunks;
    const audio_index_entry *pstAt = std::partition_point(
        pstFrom, pstTo, [byte](const audio_index_entry &stEntry) { return stEntry.tot + stEntry.len <= byte; });
    pstTrack->audio_posc = pstAt - pstFrom;
    pstTrack->audio_posb = pstAt != pstTo ? byte - pstAt->tot : 0;
    return 0;
}

DLONG AVI_read_audio(avi_t *AVI, UCHAR *audbuf, DLONG bytes) {
    track_t *pstTrack = Track(AVI);
    if (pstTrack == nullptr || audbuf == nullptr) {
        return -1;
    }
    DLONG dlDone = 0;
    while (dlDone < bytes && pstTrack->audio_posc < pstTrack->audio_chunks) {
        const audio_index_entry &stChunk = pstTrack->audio_index[pstTrack->audio_posc];
        const DLONG dlStep = std::min(bytes - dlDone, stChunk.len - pstTrack->audio_posb);
        if (static_cast<DLONG>(Avi_ReadAt(AVI->fdes, stChunk.pos + pstTrack->audio_posb, audbuf + dlDone,
                                          static_cast<size_t>(dlStep))) != dlStep) {
            return Avi_Fail(AVI_ERR_READ);
        }
        dlDone += dlStep;
        pstTrack->audio_posb += dlStep;
        if (pstTrack->audio_posb == stChunk.len) {
            ++pstTrack->audio_posc;
            pstTrack->audio_posb = 0;
        }
    }
    return dlDone;
}

DLONG AVI_read_audio_chunk(avi_t *AVI, UCHAR *audbuf) {
    track_t *pstTrack = Track(AVI);
    if (pstTrack == nullptr || pstTrack->audio_posc >= pstTrack->audio_chunks) {
        return -1;
    }
    const audio_index_entry &stChunk = pstTrack->audio_index[pstTrack->audio_posc];
    const DLONG dlLeft = stChunk.len - pstTrack->audio_posb;
    if (audbuf == nullptr) {
        return dlLeft;
    }
    const size_t ulLeft = static_cast<size_t>(dlLeft);
    const bool bRead =
        dlLeft <= CHUNK_MAX && Avi_ReadAt(AVI->fdes, stChunk.pos + pstTrack->audio_posb, audbuf, ulLeft) == ulLeft;
    ++pstTrack->audio_posc;
    pstTrack->audio_posb = 0;
    return bRead ? dlLeft : Avi_Fail(AVI_ERR_READ);
}
