// Encoding of G.711, MP2, AAC and JPEG.
#include <algorithm>
#include <cstring>

#include "codec/codec_inner.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

constexpr SHORT PEAK_LIMIT = 30000;
constexpr FLOAT PEAK_RATIO = 0.9F;

constexpr ULONG_32 MP2_IN_MAX = 6000;     // bytes of input of one call
constexpr ULONG_32 MP2_WAIT_MAX = 36000;  // bytes that may wait at 44100 Hz; behind them lies the frame buffer
constexpr ULONG_32 MP2_WAIT_SPARE = 100;  // for what the resampler gives above the estimate
constexpr ULONG_32 MP2_FRAME_BYTES = MPA_FRAME_SAMPLES * 2;
constexpr ULONG_32 MP2_FRAME_ROOM = 4000;
constexpr ULONG_32 MP2_OUT_ROOM = 6000;

constexpr LONG_32 AAC_FRAME_ROOM = 768;
constexpr LONG_32 MEDIA_OWN_TIME = 2;  // lMediaType of PCM whose frames are stamped by their count
constexpr uint64_t AAC_FRAME_MILLI_SAMPLES = 1024000;

CODE_FRAME_COUNT_FUNC pfnFrameCountFinder;

/** The bytes of a PCM block. */
struct PCM_INPUT {
    UCHAR *pucData;
    ULONG_32 ulSize;
};

// A block without a pointer, or with a negative length, is empty.
PCM_INPUT InputOf(const CODE_DECODED_DATA_S &stIn) {
    const bool bHas = stIn.pucData[0] != nullptr && stIn.lLineSize[0] > 0;
    return {stIn.pucData[0], bHas ? static_cast<ULONG_32>(stIn.lLineSize[0]) : 0};
}

/* ---- MP2 ------------------------------------------------------------------------------------------------------- */

bool ResampleMp2(MPEG2_AUDIO_ENC_CONTEXT_S &stContext, ULONG_32 ulSize) {
    const double dEstimate = static_cast<double>(ulSize) * stContext.stReformat.ratio;
    if (stContext.ulMp2InDataLength + dEstimate + MP2_WAIT_SPARE > MP2_WAIT_MAX) {
        LOG_ERROR("pcm data size is larger than buffer size");
        return false;
    }
    const LONG_32 lSamples = audio_resample_1(
        &stContext.stReformat, reinterpret_cast<SHORT *>(stContext.pusResampleBuffer) + stContext.ulMp2InDataLength / 2,
        static_cast<LONG_32>((MP2_WAIT_MAX - stContext.ulMp2InDataLength) / 2),
        reinterpret_cast<const SHORT *>(stContext.pusPcmBuffer), static_cast<LONG_32>(ulSize / 2));
    stContext.ulMp2InDataLength += lSamples > 0 ? static_cast<ULONG_32>(lSamples) * 2 : 0;
    return lSamples >= 0;
}

// Encodes while more than a frame waits; a frame exactly stays for the next call.
bool EncodeMp2Frames(MPEG2_AUDIO_ENC_CONTEXT_S &stContext, DLONG dlTimeStamp) {
    auto *const pucWaiting = reinterpret_cast<UCHAR *>(stContext.pusResampleBuffer);
    ULONG_32 ulUsed = 0;
    ULONG_32 ulOut = 0;
    bool bDone = true;
    while (bDone && stContext.ulMp2InDataLength - ulUsed > MP2_FRAME_BYTES) {
        const LONG_32 lSize = MPA_encode_frame(stContext.pstMpegAudioContext, stContext.pucMp2FrameBuffer,
                                               MP2_FRAME_ROOM, reinterpret_cast<const SHORT *>(pucWaiting + ulUsed));
        ulUsed += MP2_FRAME_BYTES;
        bDone = lSize > 0 && static_cast<ULONG_32>(lSize) <= MP2_OUT_ROOM - ulOut;
        if (bDone) {
            if (stContext.pfnFanc != nullptr) {
                stContext.pfnFanc(stContext.pucMp2FrameBuffer, lSize, dlTimeStamp, stContext.pUser);
            }
            std::memcpy(stContext.pucOutFrameBuffer + ulOut, stContext.pucMp2FrameBuffer, static_cast<size_t>(lSize));
            ulOut += static_cast<ULONG_32>(lSize);
        }
    }
    stContext.ulMp2InDataLength -= ulUsed;
    std::memmove(pucWaiting, pucWaiting + ulUsed, stContext.ulMp2InDataLength);
    return bDone;
}

/* ---- AAC ------------------------------------------------------------------------------------------------------- */

// Counts a frame and gives its time in milliseconds.
DLONG OwnTime(CODEC_INFO_S &stCodec, void *pUser, ULONG_32 ulSampleRate) {
    if (pUser == nullptr || ulSampleRate == 0) {
        return 0;
    }
    const CODE_FRAME_COUNT_FUNC pfnFinder = word::LoadAcquire(pfnFrameCountFinder);
    ULONG_32 *const pulPortCount = pfnFinder != nullptr ? pfnFinder(pUser) : nullptr;
    const ULONG_32 ulCount = word::Add(pulPortCount != nullptr ? *pulPortCount : stCodec.ulAacFrameCount, 1);
    return static_cast<DLONG>(AAC_FRAME_MILLI_SAMPLES * ulCount / ulSampleRate);
}

void GiveAac(CODEC_INFO_S &stCodec, const CODE_DECODED_DATA_S &stIn, UCHAR *pucFrame, LONG_32 lSize) {
    const auto &stContext = *reinterpret_cast<const AAC_AUDIO_ENC_CONTEXT_S *>(stCodec.pcExtraData);
    if (stContext.pfnFaac == nullptr || lSize <= 0) {
        return;
    }
    const DLONG dlTime = stIn.lMediaType == MEDIA_OWN_TIME ? OwnTime(stCodec, stContext.pUser, stIn.ulSampleRate)
                                                           : static_cast<DLONG>(stIn.dulTimeStamp);
    stContext.pfnFaac(pucFrame, lSize, dlTime, stContext.pUser);
}

// Keeps what the frame did not take for the next call; above one frame's worth there is no room.
void KeepRest(CODEC_INFO_S &stCodec, AAC_AUDIO_ENC_CONTEXT_S &stContext, const UCHAR *pucRest, ULONG_32 ulRest) {
    if (ulRest > CODEC_AAC_PCM_SIZE) {
        if (stCodec.ulAacCutCount++ == 0) {
            LOG_WARN("CODE_Encoder: AAC input is larger than the encoder keeps, Size[%u].", ulRest);
        }
        ulRest = CODEC_AAC_PCM_SIZE;
    }
    if (ulRest > 0) {
        std::memcpy(stContext.pcPcmBuffer, pucRest, ulRest);
    }
    stContext.ulPcmDataLength = ulRest;
}

}  // namespace

ULONG_32 Codec_EncodeG711(CODEC_INFO_S &stCodec, CODE_DECODED_DATA_S &stIn, CODEC_FRAME_S *pstFrame) {
    if (pstFrame == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const bool bMu = stCodec.lCodecID == PLAYER_PAYLOAD_G711U;
    UCHAR *const pucOutput = bMu ? reinterpret_cast<UCHAR *>(stCodec.pcExtraData) : pstFrame->pucData;
    const PCM_INPUT stInput = InputOf(stIn);
    ULONG_32 *const pulLength = bMu ? &stCodec.ulExtraLen : &pstFrame->ulSize;
    const bool bFits = stInput.ulSize / 2 <= CODEC_G711_ENC_BUF_SIZE;
    const LONG_32 lResult =
        bFits ? G711Encoder(stInput.pucData, stInput.ulSize, pucOutput, pulLength, bMu ? G711_LAW_MU : G711_LAW_A) : -1;
    if (lResult != 0) {
        LOG_ERROR("CODE_Encoder: Call G711Encoder Failed, Error:[%d].", lResult);
        return PLAYER_ERR_FAILED;
    }
    pstFrame->pucData = pucOutput;
    pstFrame->ulSize = *pulLength;
    return PLAYER_ERR_OK;
}

ULONG_32 Codec_EncodeMp2(CODEC_INFO_S &stCodec, CODE_DECODED_DATA_S &stIn, CODEC_FRAME_S *) {
    if (stCodec.pcExtraData == nullptr) {
        LOG_ERROR("CODE_Encoder Failed, Invalid Param.");
        return PLAYER_ERR_PARAM;
    }
    auto &stContext = *reinterpret_cast<MPEG2_AUDIO_ENC_CONTEXT_S *>(stCodec.pcExtraData);
    stIn.lLineSize[0] = std::min(stIn.lLineSize[0], static_cast<LONG_32>(MP2_IN_MAX));
    const PCM_INPUT stInput = InputOf(stIn);
    if (stInput.ulSize > 0) {
        std::memcpy(stContext.pusPcmBuffer, stInput.pucData, stInput.ulSize);
    }
    const ULONG_32 ulResult = limitPcmScope(PEAK_LIMIT, PEAK_RATIO, stInput.ulSize, stContext.pusPcmBuffer);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("CODE_Encoder: Call limitPcmScope Failed, Error:[%d].", static_cast<int>(ulResult));
        return ulResult;
    }
    const bool bDone =
        ResampleMp2(stContext, stInput.ulSize) && EncodeMp2Frames(stContext, static_cast<DLONG>(stIn.dulTimeStamp));
    return bDone ? PLAYER_ERR_OK : PLAYER_ERR_FAILED;
}

ULONG_32 Codec_EncodeAac(CODEC_INFO_S &stCodec, CODE_DECODED_DATA_S &stIn, CODEC_FRAME_S *) {
    if (stCodec.pcExtraData == nullptr) {
        LOG_ERROR("CODE_Encoder fail, Param is null");
        return PLAYER_ERR_PARAM;
    }
    auto &stContext = *reinterpret_cast<AAC_AUDIO_ENC_CONTEXT_S *>(stCodec.pcExtraData);
    const PCM_INPUT stInput = InputOf(stIn);
    const ULONG_32 ulFill = std::min(CODEC_AAC_PCM_SIZE - stContext.ulPcmDataLength, stInput.ulSize);
    if (ulFill > 0) {
        std::memcpy(stContext.pcPcmBuffer + stContext.ulPcmDataLength, stInput.pucData, ulFill);
    }
    if (stContext.ulPcmDataLength + ulFill < CODEC_AAC_PCM_SIZE) {
        stContext.ulPcmDataLength += ulFill;
        return PLAYER_ERR_OK;
    }
    UCHAR aucFrame[AAC_FRAME_ROOM];
    LONG_32 lSize = AAC_FRAME_ROOM;
    const LONG_32 lResult =
        dsp_faac_enc_encode(stCodec.hCodec, stContext.pcPcmBuffer, FAAC_FRAME_SAMPLES, aucFrame, &lSize);
    if (lResult != 0) {
        LOG_ERROR("AAC Encoder failed(retcode:%d)", lResult);
        return PLAYER_ERR_FAILED;
    }
    GiveAac(stCodec, stIn, aucFrame, lSize);
    KeepRest(stCodec, stContext, stInput.pucData + ulFill, stInput.ulSize - ulFill);
    return PLAYER_ERR_OK;
}

ULONG_32 Codec_EncodeJpeg(CODEC_INFO_S &stCodec, CODE_DECODED_DATA_S &stIn, CODEC_FRAME_S *pstFrame) {
    if (pstFrame == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    DSP_Picture_Mjpeg stPicture{};
    for (int i = 0; i < 3; i++) {
        stPicture.pData[i] = stIn.pucData[i];
        stPicture.uLineSize[i] = static_cast<ULONG_32>(stIn.lLineSize[i]);
    }
    stPicture.uPicWidth = static_cast<ULONG_32>(stIn.lWidth);
    stPicture.uPicHeight = static_cast<ULONG_32>(stIn.lHeight);
    auto *const pucOutput = reinterpret_cast<UCHAR *>(stCodec.pcExtraData);
    ULONG_32 ulSize = CODEC_JPEG_ENC_BUF_SIZE;
    const LONG_32 lResult = DSP_JpegEncode(stCodec.hCodec, &stPicture, 1, pucOutput, &ulSize);
    if (lResult != 0) {
        LOG_ERROR("CODE_Encoder: Call Dll_JpegEncode Failed, Error:[%d].", lResult);
        return PLAYER_ERR_FAILED;
    }
    pstFrame->pucData = pucOutput;
    pstFrame->ulSize = ulSize;
    return PLAYER_ERR_OK;
}

ULONG_32 CODE_SetMp2DataCallBack(CODEC_INFO_S *pstCodec, CODE_MP2_DATA_FUNC pfnFunc, void *pUser) {
    if (pstCodec == nullptr || pstCodec->pcExtraData == nullptr || pstCodec->lCodecID != PLAYER_PAYLOAD_MP1L2 ||
        pstCodec->lCodecType != CODECTYPE_ENCODER) {
        LOG_ERROR("CODE_SetMp2DataCallBack Failed, Invalid Param.");
        return PLAYER_ERR_PARAM;
    }
    auto &stContext = *reinterpret_cast<MPEG2_AUDIO_ENC_CONTEXT_S *>(pstCodec->pcExtraData);
    stContext.pfnFanc = pfnFunc;
    stContext.pUser = pUser;
    return PLAYER_ERR_OK;
}

ULONG_32 CODE_SetAacDataCallBack(CODEC_INFO_S *pstCodec, CODE_AAC_DATA_FUNC pfnFunc, void *pUser) {
    if (pstCodec == nullptr || pstCodec->pcExtraData == nullptr || pstCodec->lCodecID != PLAYER_PAYLOAD_AAC ||
        pstCodec->lCodecType != CODECTYPE_ENCODER) {
        LOG_ERROR("CODE_SetAacDataCallBack fail, Param is null");
        return PLAYER_ERR_PARAM;
    }
    auto &stContext = *reinterpret_cast<AAC_AUDIO_ENC_CONTEXT_S *>(pstCodec->pcExtraData);
    stContext.pfnFaac = pfnFunc;
    stContext.pUser = pUser;
    return PLAYER_ERR_OK;
}

void CODE_SetFrameCountFinder(CODE_FRAME_COUNT_FUNC pfnFinder) { word::StoreRelease(pfnFrameCountFinder, pfnFinder); }
