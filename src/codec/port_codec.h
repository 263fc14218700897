/**
 * @file port_codec.h
 * @brief A port's slice of the codecs: decoders, what came out of them, and how pictures are to be decoded.
 */
#ifndef ZELVANE_CODEC_PORT_CODEC_H
#define ZELVANE_CODEC_PORT_CODEC_H

#include "codec/module_code.h"
#include "codec/picture_stamps.h"
#include "foundations/shared_word.h"

/** What the last decode produced. */
enum : ULONG { VIDEO_DATA = 0, AUDIO_DATA = 1 };

/** Codecs of a port. */
typedef struct tagPortCodecS {
    /* ---- decode thread (on a file port the play thread); what stLock guards also render thread and snapshots read */
    CODEC_INFO_S stVideoDecode;            /**< video decoder; under stDecodeVideoData.stLock */
    CODE_DECODED_DATA_S stDecodeVideoData; /**< picture in hand; its stLock guards it */
    PICTURE_STAMPS_S stStamps;             /**< of what is in the video decoder */
    CODE_DECODED_DATA_S stAdjustVideoData; /**< the same after adjustment; under stDecodeVideoData.stLock */
    CODEC_INFO_S stAudioDecode;            /**< sound decoder */
    CODE_DECODED_DATA_S stDecodeAudioData; /**< PCM in hand */
    ULONG ulCurDataType;                   /**< VIDEO_DATA or AUDIO_DATA */
    BOOL_T bUseGpu;                        /**< H.264 is decoded by hardware */
    BOOL_T bUseGpuH265;                    /**< H.265 likewise */
    BOOL_T bUseGpuRander;                  /**< the render thread presents from the hardware; words */
    BOOL_T bReCreateDec;                   /**< a video decoder was built and gave no picture yet */
    BOOL_T bReCreateH265GPUDec;            /**< the next look for a decoder builds the hardware H.265 decoder anew */
    BOOL_T bChangeVideoDecode;             /**< force a new video decoder; only ever cleared in this version */

    /* ---- the same for getters on other threads, relaxed words */
    LONG_32 lPictureWidth;  /**< size of the last picture */
    LONG_32 lPictureHeight; /**< its rows */
    LONG_32 lVideoCodecID;  /**< stVideoDecode.lCodecID */
    LONG_32 lAudioCodecID;  /**< stAudioDecode.lCodecID */

    /* ---- set by the client under the API lock, read by the decoding thread as words */
    PLAYER_VIDEOADJUST_PARAM_S stAdjustParam; /**< picture adjustment; under stDecodeVideoData.stLock */
    BOOL_T bAdjust;                           /**< adjustment on */
    PLAYER_DEINTERLACEMODE_E enDeinterlaceMode;
    BOOL_T bDeinterlace;        /**< deinterlacing on */
    BOOL_T bOneFrameDecordFlag; /**< decoders made from now on work frame by frame */
    BOOL_T bCompression;        /**< stays 0, nothing reads it */

    /* ---- snapshots */
    CODEC_INFO_S stVideoEncode; /**< JPEG encoder; under stSnatchInfo.stMutex */
} PORT_CODEC_S;

/** Whether the port decodes this payload by hardware. */
inline bool PortCodec_UsesGpu(const PORT_CODEC_S *pstCodec, LONG_32 lPayload) {
    return (lPayload == PLAYER_PAYLOAD_H264 && word::Load(pstCodec->bUseGpu) == 1) ||
           (lPayload == PLAYER_PAYLOAD_H265 && word::Load(pstCodec->bUseGpuH265) == 1);
}

/** Whether the port is to decode any payload by hardware, whatever the one at hand is. */
inline bool PortCodec_WantsGpu(const PORT_CODEC_S *pstCodec) {
    return word::Load(pstCodec->bUseGpu) != 0 || word::Load(pstCodec->bUseGpuH265) != 0;
}

#endif
