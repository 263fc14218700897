/**
 * @file mp2.h
 * @brief Interface of libMP2.so: the decoder for MPEG audio layer II (ISO/IEC 11172-3).
 *
 * Compiles as C11 and as C++. A handle belongs to one thread at a time; different handles may be used at once.
 */
#ifndef ZELVANE_CODEC_MP2_H
#define ZELVANE_CODEC_MP2_H

#include <assert.h>

#include "player_public.h"

#define MP2_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/** Samples that one call writes at most. A frame of layer II has 1152. */
#define MPEG_AUDIO_DEC_MAX_SAMPLES 1500

/** Input and output of a decode call. */
typedef struct tagMpegAudioDec {
    UCHAR *pStreamIn;    /**< in: one frame; copied, no padding needed */
    ULONG_32 uiStrmLen;  /**< in: bytes */
    USHORT *pPCMBuf;     /**< in: room for the samples; may be null: the samples are counted and lost */
    ULONG_32 uiSamples;  /**< in: samples of room; out: samples written, at most MPEG_AUDIO_DEC_MAX_SAMPLES */
    ULONG_32 uiChannels; /**< out: channels of the output: 1, a stereo stream is mixed down */
} MPEG_AUDIO_DEC_S;

static_assert(sizeof(MPEG_AUDIO_DEC_S) == 32, "part of the player's decoder context, which has a fixed size");

/** Makes a decoder. Silences FFmpeg's own log process-wide. @return its handle, or null */
MP2_API HANDLE mpeg_audio_dec_init(void);

/**
 * Decodes one frame to signed 16-bit mono PCM of the stream's own rate.
 * @return 0, or -1 if there is no PCM: damaged frame, no decoder, no room given. uiSamples is 0 then.
 */
MP2_API LONG_32 mpeg_audio_dec_frame(HANDLE hDecoder, MPEG_AUDIO_DEC_S *pstInOutBuf);

/** Ends a decoder; null is ignored. */
MP2_API void mpeg_audio_dec_destroy(HANDLE hDecoder);

#ifdef __cplusplus
}
#endif

#endif
