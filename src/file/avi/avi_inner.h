/**
 * @file avi_inner.h
 * @brief What writer, parser and reader of AVI files share.
 */
#ifndef ZELVANE_FILE_AVI_AVI_INNER_H
#define ZELVANE_FILE_AVI_AVI_INNER_H

#include <sys/uio.h>

#include "file/avi/avifmt.h"

inline constexpr DLONG AVI_HEADER_BYTES = 2048;   /**< the first chunk stands behind them */
inline constexpr DLONG AVI_SIZE_MAX = 0xFEFFF800; /**< where a file ends at the latest */
inline constexpr DLONG AVI_CHUNK_HEAD = 8;        /**< id and length */
inline constexpr DLONG AVI_LIST_HEAD = 12;        /**< those and the kind of the list */
inline constexpr DLONG AVI_ENTRY = 16;            /**< of the index */

/** Entries of an index at most: two days of 25 frames a second. A longer one counts as missing. */
inline constexpr long AVI_ENTRIES_MAX = 4194304;

/** Length of data with the byte that makes it even. */
inline DLONG Avi_Even(DLONG dlLen) { return dlLen + (dlLen & 1); }

/** Notes a failure. @return -1 */
long Avi_Fail(long lError);

/** Writes both parts in order. @return whether all of it went out */
bool Avi_WriteParts(long lFile, iovec *pstParts, int iParts);
/** Reads into the parts in order. @return bytes; fewer at the end of the file or on failure */
size_t Avi_ReadParts(long lFile, iovec *pstParts, int iParts);
/** Reads from a place, which leaves the descriptor's own alone. @return bytes */
size_t Avi_ReadAt(long lFile, DLONG dlAt, UCHAR *pucTo, size_t ulLen);

/** Reads headers and index. @return 0 or the failure */
long Avi_Parse(avi_t *pstAvi, bool bIndex);

/** Finishes a file that was written. @return 0 or -1 */
long Avi_Finish(avi_t *pstAvi);

/** What the next chunk of the file is. */
enum AVI_CHUNK_E {
    AVI_CHUNK_VIDEO = 0,
    AVI_CHUNK_AUDIO = 1,
    AVI_CHUNK_END, /**< none: the file ends, or what follows is no chunk */
    AVI_CHUNK_BAD  /**< passed over, or looking for it took too long */
};

/** Reads the next chunk of the video or the current track. */
AVI_CHUNK_E Avi_ReadNext(avi_t *pstAvi, UCHAR *pucVideo, UCHAR *pucAudio, DLONG *pdlLen);

/** Passes over the frame at video_pos, and in the file over its chunk if that is still to come. */
void Avi_SkipFrame(avi_t *pstAvi);

/** Whether an id has printable characters only. In a hole of a sparse file nothing has. */
bool Avi_IsId(const UCHAR *pucId);

/** Whether an id is one of the video stream, or of a track. */
bool Avi_IsVideo(const avi_t *pstAvi, const UCHAR *pucId);
bool Avi_IsAudio(const track_t &stTrack, const UCHAR *pucId);

#endif
