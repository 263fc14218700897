// What both modes of an AVI handle have in common: failures, bytes, what a handle knows, its end.
#include "file/avi/avifmt.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include "file/avi/avi_inner.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"

long AVI_errno = AVI_ERR_NONE;

const char *avi_errors[] = {
    "avifmt - No Error",
    "avifmt - AVI file size limit reached",
    "avifmt - Error opening AVI file",
    "avifmt - Error reading from AVI file",
    "avifmt - Error writing to AVI file",
    "avifmt - Error writing index (file may still be useable)",
    "avifmt - Error closing AVI file",
    "avifmt - Operation (read/write) not permitted",
    "avifmt - Out of memory (malloc failed)",
    "avifmt - Not an AVI file",
    "avifmt - AVI file has no header list (corrupted?)",
    "avifmt - AVI file has no MOVI list (corrupted?)",
    "avifmt - AVI file has no video data",
    "avifmt - operation needs an index",
    "avifmt - Unkown Error",
};
int num_avi_errors = sizeof(avi_errors) / sizeof(avi_errors[0]);

namespace {

const size_t ERROR_TEXT_LEN = 4096;

bool IsSystemError(long lError) { return lError >= AVI_ERR_OPEN && lError <= AVI_ERR_CLOSE; }

const track_t *CurrentTrack(const avi_t *pstAvi) {
    return pstAvi != nullptr && pstAvi->aptr < pstAvi->anum ? &pstAvi->track[pstAvi->aptr] : nullptr;
}

/** A field of a record, 0 without the record. */
template <class Record, class Field>
Field Of(const Record *pstRecord, Field Record::*pField) {
    return pstRecord != nullptr ? pstRecord->*pField : Field{};
}

/** Moves on in a list of parts. @return whether anything is left */
bool Consume(iovec **ppstParts, int *piParts, size_t ulDone) {
    while (*piParts > 0 && ulDone >= (*ppstParts)->iov_len) {
        ulDone -= (*ppstParts)->iov_len;
        ++*ppstParts;
        --*piParts;
    }
    if (*piParts == 0) {
        return false;
    }
    (*ppstParts)->iov_base = static_cast<UCHAR *>((*ppstParts)->iov_base) + ulDone;
    (*ppstParts)->iov_len -= ulDone;
    return true;
}

/** Calls readv or writev until all parts are through. @return bytes moved */
template <class Call>
size_t MoveParts(Call pfnCall, long lFile, iovec *pstParts, int iParts) {
    size_t ulMoved = 0;
    while (Consume(&pstParts, &iParts, 0)) {
        const ssize_t lDone = pfnCall(static_cast<int>(lFile), pstParts, iParts);
        if (lDone > 0) {
            ulMoved += static_cast<size_t>(lDone);
            Consume(&pstParts, &iParts, static_cast<size_t>(lDone));
        } else if (lDone == 0 || errno != EINTR) {
            break;
        }
    }
    return ulMoved;
}

}  // namespace

long Avi_Fail(long lError) {
    word::Store(AVI_errno, lError);
    return -1;
}

bool Avi_WriteParts(long lFile, iovec *pstParts, int iParts) {
    size_t ulTotal = 0;
    for (int i = 0; i < iParts; ++i) {
        ulTotal += pstParts[i].iov_len;
    }
    return MoveParts(writev, lFile, pstParts, iParts) == ulTotal;
}

size_t Avi_ReadParts(long lFile, iovec *pstParts, int iParts) {
    errno = 0;
    const size_t ulRead = MoveParts(readv, lFile, pstParts, iParts);
    if (errno != 0 && errno != EINTR) {
        LOG_ERROR("AVI Read Failed, Error:[0x%x].", static_cast<ULONG_32>(errno));  // what follows passes for the end
    }
    return ulRead;
}

size_t Avi_ReadAt(long lFile, DLONG dlAt, UCHAR *pucTo, size_t ulLen) {
    iovec stPart = {pucTo, ulLen};
    const auto pfnRead = [&dlAt](int iFile, const iovec *pstParts, int) {
        const ssize_t lDone = pread(iFile, pstParts->iov_base, pstParts->iov_len, dlAt);
        dlAt += lDone > 0 ? lDone : 0;
        return lDone;
    };
    return MoveParts(pfnRead, lFile, &stPart, 1);
}

bool Avi_IsId(const UCHAR *pucId) {
    for (int i = 0; i < 4; ++i) {
        if (pucId[i] < ' ' || pucId[i] > '~') {
            return false;
        }
    }
    return true;
}

bool Avi_IsVideo(const avi_t *pstAvi, const UCHAR *pucId) {
    return strncasecmp(reinterpret_cast<const char *>(pucId), pstAvi->video_tag, 3) == 0;
}

bool Avi_IsAudio(const track_t &stTrack, const UCHAR *pucId) {
    return strncasecmp(reinterpret_cast<const char *>(pucId), stTrack.audio_tag, 4) == 0;
}

/* ---- bytes ---- */

void long2str(UCHAR *dst, ULONG_32 n) {
    for (int i = 0; i < 4; ++i) {
        dst[i] = static_cast<UCHAR>(n >> 8 * i);
    }
}

ULONG_32 str2ulong(const UCHAR *str) {
    return str[0] | ULONG_32{str[1]} << 8 | ULONG_32{str[2]} << 16 | ULONG_32{str[3]} << 24;
}

ULONG_32 str2ushort(const UCHAR *str) { return str[0] | ULONG_32{str[1]} << 8; }

size_t avi_read(long fd, UCHAR *buf, size_t len) {
    iovec stPart = {buf, len};
    return Avi_ReadParts(fd, &stPart, 1);
}

size_t avi_write(long fd, const UCHAR *buf, size_t len) {
    iovec stPart = {const_cast<UCHAR *>(buf), len};
    return MoveParts(writev, fd, &stPart, 1);
}

/* ---- failures ---- */

char *AVI_strerror(void) {
    static thread_local char szText[ERROR_TEXT_LEN];
    const int iSystem = errno;
    const long lError = word::Load(AVI_errno);
    const long lRow = lError >= 0 && lError < num_avi_errors ? lError : num_avi_errors - 1;
    if (IsSystemError(lRow)) {
        char szSystem[256];
        snprintf(szText, sizeof(szText), "%s - %s", avi_errors[lRow], strerror_r(iSystem, szSystem, sizeof(szSystem)));
    } else {
        snprintf(szText, sizeof(szText), "%s", avi_errors[lRow]);
    }
    return szText;
}

void AVI_print_error(const char *str) {
    const int iSystem = errno;
    const long lError = word::Load(AVI_errno);
    const long lRow = lError >= 0 && lError < num_avi_errors ? lError : num_avi_errors - 1;
    fprintf(stderr, "%s: %s\n", str != nullptr ? str : "", avi_errors[lRow]);
    if (IsSystemError(lRow)) {
        errno = iSystem;
        perror("REASON");
    }
}

/* ---- what a handle knows ---- */

long AVI_video_frames(avi_t *AVI) { return Of(AVI, &avi_t::video_frames); }
long AVI_video_width(avi_t *AVI) { return Of(AVI, &avi_t::width); }
long AVI_video_height(avi_t *AVI) { return Of(AVI, &avi_t::height); }
double AVI_frame_rate(avi_t *AVI) { return Of(AVI, &avi_t::fps); }
char *AVI_video_compressor(avi_t *AVI) { return AVI != nullptr ? AVI->compressor : nullptr; }
long AVI_max_video_chunk(avi_t *AVI) { return static_cast<long>(Of(AVI, &avi_t::max_len)); }
long AVI_audio_tracks(avi_t *AVI) { return Of(AVI, &avi_t::anum); }
long AVI_audio_channels(avi_t *AVI) { return Of(CurrentTrack(AVI), &track_t::a_chans); }
long AVI_audio_mp3rate(avi_t *AVI) { return Of(CurrentTrack(AVI), &track_t::mp3rate); }
long AVI_audio_bits(avi_t *AVI) { return Of(CurrentTrack(AVI), &track_t::a_bits); }
long AVI_audio_format(avi_t *AVI) { return Of(CurrentTrack(AVI), &track_t::a_fmt); }
long AVI_audio_rate(avi_t *AVI) { return Of(CurrentTrack(AVI), &track_t::a_rate); }
DLONG AVI_audio_bytes(avi_t *AVI) { return Of(CurrentTrack(AVI), &track_t::audio_bytes); }
long AVI_audio_chunks(avi_t *AVI) { return Of(CurrentTrack(AVI), &track_t::audio_chunks); }
DLONG AVI_audio_codech_offset(avi_t *AVI) { return Of(CurrentTrack(AVI), &track_t::a_codech_off); }
DLONG AVI_audio_codecf_offset(avi_t *AVI) { return Of(CurrentTrack(AVI), &track_t::a_codecf_off); }
DLONG AVI_video_codech_offset(avi_t *AVI) { return Of(AVI, &avi_t::v_codech_off); }
DLONG AVI_video_codecf_offset(avi_t *AVI) { return Of(AVI, &avi_t::v_codecf_off); }

long AVI_set_audio_track(avi_t *AVI, long track) {
    if (AVI == nullptr || track < 0 || track >= AVI->anum) {
        return -1;
    }
    AVI->aptr = static_cast<int>(track);
    return 0;
}

long AVI_get_audio_track(avi_t *AVI) { return AVI != nullptr ? AVI->aptr : -1; }

DLONG AVI_max_size(void) { return AVI_SIZE_MAX; }

/* ---- the end ---- */

long AVI_close(avi_t *AVI) {
    if (AVI == nullptr) {
        return -1;
    }
    const long lResult = AVI->mode == AVI_MODE_WRITE ? Avi_Finish(AVI) : 0;
    close(static_cast<int>(AVI->fdes));
    free(AVI->idx);
    free(AVI->video_index);
    free(AVI->bitmap_info_header);
    for (int i = 0; i < AVI_MAX_TRACKS; ++i) {
        free(AVI->track[i].audio_index);
        free(AVI->wave_format_ex[i]);
    }
    free(AVI);
    return lResult;
}
