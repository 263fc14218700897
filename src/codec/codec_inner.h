/**
 * @file codec_inner.h
 * @brief What the files of the codec layer share among themselves.
 */
#ifndef ZELVANE_CODEC_CODEC_INNER_H
#define ZELVANE_CODEC_CODEC_INNER_H

#include "codec/codec_objects.h"
#include "codec/module_code.h"

/** Held while an H.264 decoder is made: its library does not take two at once. */
extern QLOM_SDK_MUTEX_S gstDecMultiMutexLock;

/** What CODE_CreateCode() was called with. */
struct CODEC_CREATE_ARGS {
    BOOL_T bUseGpu;               /**< wish read from the record before it was cleared */
    BOOL_T bUseGpuH265;           /**< the same */
    ULONG_32 ulAudioEnSampleRate; /**< the same */
    LONG_32 lPayload;             /**< PLAYER_PAYLOAD_E */
    void *pExParm;                /**< by payload */
};

/** Steps an index of the ring of marks. */
inline LONG_32 Codec_NextMark(LONG_32 lIndex) {
    return static_cast<LONG_32>((static_cast<ULONG_32>(lIndex) + 1) % CODEC_MARK_RING_NUM);
}

/** Whether a frame only asks for the next picture of the frame before. */
inline bool Codec_AsksForMore(const CODEC_FRAME_S &stFrame) {
    return stFrame.ulSize == 0 && stFrame.lFormatType == CODEC_FRAME_MORE;
}

/** Whether a frame ends the stream so far. */
inline bool Codec_EndsStream(const CODEC_FRAME_S &stFrame) {
    return stFrame.ulSize == 0 && stFrame.lFormatType != CODEC_FRAME_MORE;
}

/** Notes that a frame goes into a video decoder, and whether its picture is to be shown. */
void Codec_MarkInput(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame);

/** Notes that no picture came out. @return 538 */
ULONG_32 Codec_MarkNone(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame);

/** Notes that a picture came out. @return 0, or 538 if it is not to be shown */
ULONG_32 Codec_MarkOutput(CODEC_INFO_S &stCodec);

/** Takes the planes out of a picture; under its lock. */
void Codec_ClearPlanes(CODE_DECODED_DATA_S &stPicture);

/* ---- creation: fill a cleared record; on failure the record holds nothing -------------------------------------- */

/** Makes a decoder of any payload from 0 to 8. */
ULONG_32 Codec_CreateDecoder(const CODEC_CREATE_ARGS &stArgs, CODEC_INFO_S &stCodec);

/** Makes an encoder of any payload from 0 to 8. */
ULONG_32 Codec_CreateEncoder(const CODEC_CREATE_ARGS &stArgs, CODEC_INFO_S &stCodec);

/** Takes a handle into the record. @return 0, or 3: the handle has been ended */
ULONG_32 Codec_OwnHandle(CODEC_INFO_S &stCodec, HANDLE hCodec, CODEC_DESTROY_PF pfnDestroy);

/** Takes memory into the record as pcExtraData. @return 0, or 3 for null or no room in the list */
ULONG_32 Codec_OwnExtra(CODEC_INFO_S &stCodec, void *pExtra, CODEC_DESTROY_PF pfnDestroy);

/* ---- H.265 decoder objects ------------------------------------------------------------------------------------- */

/** Makes an H.265 decoder for the stream that pExParm's frame begins. @return as CODE_CreateCode() */
ULONG_32 Codec_CreateH265(const CODEC_CREATE_ARGS &stArgs, CODEC_INFO_S &stCodec);

/* ---- MP2 decoder's work blocks --------------------------------------------------------------------------------- */

/** Ends an MPEG2_AUDIO_CONTEXT_S. Its resampler and work block outlive it: the next MP2 decoder takes them. */
void Codec_DestroyMp2Decoder(void *pContext);

/** Releases the resamplers and work blocks that wait for a next decoder. */
void Codec_FreeMp2Spares(void);

/* ---- one frame ------------------------------------------------------------------------------------------------- */

/** Decodes one frame of the payload that the function is for. */
using CODEC_DECODE_PF = ULONG_32 (*)(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame,
                                     PLAYER_DEINTERLACEMODE_E enMode, CODE_DECODED_DATA_S &stOut);

ULONG_32 Codec_DecodeG711(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E enMode,
                          CODE_DECODED_DATA_S &stOut);
ULONG_32 Codec_DecodeMp2(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E enMode,
                         CODE_DECODED_DATA_S &stOut);
ULONG_32 Codec_DecodeAac(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E enMode,
                         CODE_DECODED_DATA_S &stOut);
ULONG_32 Codec_DecodePcm(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E enMode,
                         CODE_DECODED_DATA_S &stOut);
ULONG_32 Codec_DecodeH264(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E enMode,
                          CODE_DECODED_DATA_S &stOut);
ULONG_32 Codec_DecodeH265(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E enMode,
                          CODE_DECODED_DATA_S &stOut);
ULONG_32 Codec_DecodeJpeg(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E enMode,
                          CODE_DECODED_DATA_S &stOut);

/** Encodes one block or picture of the payload that the function is for. pstFrame may be null. */
using CODEC_ENCODE_PF = ULONG_32 (*)(CODEC_INFO_S &stCodec, CODE_DECODED_DATA_S &stIn, CODEC_FRAME_S *pstFrame);

ULONG_32 Codec_EncodeG711(CODEC_INFO_S &stCodec, CODE_DECODED_DATA_S &stIn, CODEC_FRAME_S *pstFrame);
ULONG_32 Codec_EncodeMp2(CODEC_INFO_S &stCodec, CODE_DECODED_DATA_S &stIn, CODEC_FRAME_S *pstFrame);
ULONG_32 Codec_EncodeAac(CODEC_INFO_S &stCodec, CODE_DECODED_DATA_S &stIn, CODEC_FRAME_S *pstFrame);
ULONG_32 Codec_EncodeJpeg(CODEC_INFO_S &stCodec, CODE_DECODED_DATA_S &stIn, CODEC_FRAME_S *pstFrame);

#endif
