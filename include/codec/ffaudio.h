/**
 * @file ffaudio.h
 * @brief The resampler and the MP2 encoder under the player's thin names; part of the player, on FFmpeg.
 *
 * A context belongs to one thread at a time; different contexts may be used at once.
 */
#ifndef ZELVANE_CODEC_FFAUDIO_H
#define ZELVANE_CODEC_FFAUDIO_H

#include <assert.h>

#include "player_public.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A resampler for signed 16-bit PCM. All zero is a valid, closed context. */
typedef struct tagAudioResample {
    HANDLE hResampler;     /**< FFmpeg's context, null while closed */
    double ratio;          /**< output rate / input rate */
    LONG_32 lInChannels;   /**< channels of the input */
    LONG_32 lOutChannels;  /**< channels of the output */
    LONG_32 lInRate;       /**< Hz */
    LONG_32 lOutRate;      /**< Hz */
    SHORT *psTemp[2];      /**< work blocks that the owner lays down; not used by this resampler */
    SHORT *psBufIn[2];     /**< the same */
    UCHAR aucReserved[56]; /**< the contexts that hold this record have fixed sizes */
} AUDIO_RESAMPLE_S;

static_assert(sizeof(AUDIO_RESAMPLE_S) == 120, "part of contexts of fixed sizes");

/** Highest sample rate that the resampler takes, Hz: beyond it its filter would grow out of all proportion. */
#define AUDIO_RESAMPLE_MAX_RATE 768000

/**
 * Opens a resampler; an open one is closed first. The work blocks are left as they are.
 * @param pstContext   the context
 * @param lOutChannels channels of the output, 1 or 2
 * @param lInChannels  channels of the input, 1 or 2
 * @param lOutRate     Hz, 1 to AUDIO_RESAMPLE_MAX_RATE
 * @param lInRate      Hz, 1 to AUDIO_RESAMPLE_MAX_RATE
 * @param lFilterSize  taps of the filter
 * @param lPhaseLog    logarithm of the number of filter phases
 * @param lLinear      1: interpolate between phases
 * @param dCutoff      cutoff as a part of the lower of the two Nyquist frequencies
 * @return 0, or -1
 */
LONG_32 av_audio_resample_init_1(AUDIO_RESAMPLE_S *pstContext, LONG_32 lOutChannels, LONG_32 lInChannels,
                                 LONG_32 lOutRate, LONG_32 lInRate, LONG_32 lFilterSize, LONG_32 lPhaseLog,
                                 LONG_32 lLinear, double dCutoff);

/**
 * Resamples a block. What finds no room stays inside and comes out first at the next call.
 * @param pstContext the context
 * @param psOutput   receives the samples
 * @param lRoom      samples of room, of each channel
 * @param psInput    samples
 * @param lSamples   how many, of each channel
 * @return samples written, of each channel; below 0: failure
 */
LONG_32 audio_resample_1(AUDIO_RESAMPLE_S *pstContext, SHORT *psOutput, LONG_32 lRoom, const SHORT *psInput,
                         LONG_32 lSamples);

/** Closes a resampler; a closed one is left alone. */
void audio_resample_close_1(AUDIO_RESAMPLE_S *pstContext);

/** Samples of one frame of layer II. */
#define MPA_FRAME_SAMPLES 1152

/**
 * Opens an MP2 encoder (ISO/IEC 11172-3 layer II). Silences FFmpeg's own log process-wide.
 * @param pContext    zeroed memory for a pointer at least, aligned for one
 * @param lSampleRate Hz
 * @param lBitRate    bits a second
 * @param lChannels   1
 * @return 0, or -1
 */
LONG_32 MPA_encode_init(void *pContext, LONG_32 lSampleRate, LONG_32 lBitRate, LONG_32 lChannels);

/**
 * Encodes one frame of MPA_FRAME_SAMPLES samples, without delay.
 * @param pContext  the encoder
 * @param pucFrame  receives the frame
 * @param lRoom     bytes of room there
 * @param psSamples the samples
 * @return bytes of the frame; below 0: failure
 */
LONG_32 MPA_encode_frame(void *pContext, UCHAR *pucFrame, LONG_32 lRoom, const SHORT *psSamples);

/** Closes an MP2 encoder; a closed one is left alone. */
void MPA_encode_close(void *pContext);

#ifdef __cplusplus
}
#endif

#endif
