/**
 * @file faac.h
 * @brief Interface of libFAAC.so: the AAC low-complexity encoder (ISO/IEC 14496-3).
 *
 * Compiles as C11 and as C++. A handle belongs to one thread at a time; different handles may be used at once.
 */
#ifndef ZELVANE_CODEC_FAAC_H
#define ZELVANE_CODEC_FAAC_H

#include "player_public.h"

#define FAAC_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/** Containers that the encoder can be asked for. Frames carry their ADTS head in any case. */
typedef enum tagContainerFormat { NO_CONTAINER = 0 } container_format;

/** Samples of one AAC frame. */
#define FAAC_FRAME_SAMPLES 1024
/** Bytes of the ADTS head in front of each frame (ISO/IEC 14496-3, 1.A.2.2). */
#define FAAC_ADTS_HEAD_SIZE 7

/** The PCM that goes in. */
typedef struct tagRawSampleFormat {
    LONG_32 rawChannels;           /**< 1 */
    LONG_32 rawBitsPerSample;      /**< 16 */
    LONG_32 rawSampleRate;         /**< Hz, one of the rates that AAC knows */
    LONG_32 rawEndian;             /**< 1: the machine's byte order */
    LONG_32 rawFrameSizeMultChans; /**< samples of a call: 1024 */
    container_format container;    /**< NO_CONTAINER */
} rawSampleFormat;

/**
 * Makes an encoder. Silences FFmpeg's own log process-wide.
 * @param phEncoder receives it, null on failure
 * @param pstFormat the PCM that will come
 * @param lBitRate  bits a second
 * @return 0, or -1 for a format that the encoder does not take
 */
FAAC_API LONG_32 dsp_faac_enc_init(HANDLE *phEncoder, const rawSampleFormat *pstFormat, LONG_32 lBitRate);

/**
 * Encodes one frame. The encoder looks ahead: the first call gives nothing, each later one the frame before.
 * @param hEncoder  the encoder
 * @param pucPcm    16-bit samples; any alignment
 * @param lSamples  1024
 * @param pucOutput receives the frame with its ADTS head
 * @param plLength  in: bytes of room at pucOutput; out: bytes written, 0 if no frame came out
 * @return 0, or -1: bad argument, encoder failure, frame longer than the room
 */
FAAC_API LONG_32 dsp_faac_enc_encode(HANDLE hEncoder, const UCHAR *pucPcm, LONG_32 lSamples, UCHAR *pucOutput,
                                     LONG_32 *plLength);

/** Ends an encoder without giving out what it still holds. @return 0, or -1 for a null handle */
FAAC_API LONG_32 dsp_faac_enc_destroy(HANDLE hEncoder);

#ifdef __cplusplus
}
#endif

#endif
