// The H.265 decoder: creation, re-creation when the picture outgrows it, decoding.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "bits/dsp_mcfw_preparse.h"
#include "codec/codec_inner.h"
#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"

extern "C" {

static void *IHWVIDEO_ALG_MALLOC(UINT32 /*uiChannelID*/, UINT32 uiSize) {
    void *const pMem = std::malloc(uiSize);
    if (pMem == nullptr) {
        LOG_ERROR("malloc fail");
    }
    return pMem;
}

static void IHWVIDEO_ALG_FREE(UINT32 /*uiChannelID*/, void *pMem) { std::free(pMem); }

static void IHWVIDEO_ALG_LOG(UINT32 /*uiChannelID*/, IHWVIDEO_ALG_LOG_LEVEL eLevel, INT8 *pszMsg, ...) {
    static constexpr PLAYER_LOGLEVEL_E LEVELS[] = {PLAYER_LOG_ERROR, PLAYER_LOG_WARN, PLAYER_LOG_INFO,
                                                   PLAYER_LOG_DEBUG};
    if (pszMsg == nullptr) {
        return;
    }
    char szText[1024];
    va_list vl;
    va_start(vl, pszMsg);
    std::vsnprintf(szText, sizeof(szText), reinterpret_cast<const char *>(pszMsg), vl);
    va_end(vl);
    const bool bKnown = eLevel >= IHWVIDEO_ALG_LOG_ERROR && eLevel <= IHWVIDEO_ALG_LOG_DEBUG;
    LOG_WRITE(bKnown ? LEVELS[eLevel] : PLAYER_LOG_ERROR, "%s", szText);
}

}  // extern "C"

namespace {

constexpr LONG_32 DEFAULT_SIDE = 3840;        // a decoder for any picture, where the stream does not tell its size
constexpr LONG_32 MULTI_THREAD_WIDTH = 3840;  // from this width on a picture is decoded by several threads

ULONG_32 glChannelID;

/** What an H.265 decoder is to be made for. */
struct H265_SIZE {
    LONG_32 lWidth;   // pixels
    LONG_32 lHeight;  // rows
    LONG_32 lRefNum;  // reference pictures
};

void DestroyDecoder(void *pDecoder) { IHW265D_Delete(pDecoder); }

// Reads the size from a frame's parameter sets and notes in the record what came of it.
H265_SIZE SizeOf(UCHAR *pucData, ULONG_32 ulSize, CODEC_INFO_S &stCodec) {
    DSP_SPS_INFO_S stInfo{};
    if (pucData != nullptr && ParseSequenceParameterSet(pucData, ulSize, &stInfo) == 1) {
        stCodec.ulMaxRefPicNum = stInfo.ulMaxRefPicNum;
        stCodec.bDefaultDecSize = 0;
        return {stInfo.lWidth, stInfo.lHeight, static_cast<LONG_32>(stInfo.ulMaxRefPicNum)};
    }
    stCodec.ulMaxRefPicNum = 1;
    stCodec.bDefaultDecSize = 1;
    return {DEFAULT_SIDE, DEFAULT_SIDE, 1};
}

IH265D_THREAD_TYPE Threads(LONG_32 lWidth) {
    return lWidth >= MULTI_THREAD_WIDTH ? IH265D_MULTI_THREAD : IH265D_SINGLE_THREAD;
}

// Makes a decoder in a record that has none. Gives the decoder library's code.
INT32 MakeDecoder(const H265_SIZE &stSize, IH265D_THREAD_TYPE enThreads, CODEC_INFO_S &stCodec) {
    IHW265D_INIT_PARAM stParam{};
    stParam.uiChannelID = word::Add(glChannelID, 1) - 1;
    stParam.iMaxWidth = stSize.lWidth;
    stParam.iMaxHeight = stSize.lHeight;
    stParam.iMaxRefNum = stSize.lRefNum;
    stParam.iMaxVPSNum = 1;
    stParam.iMaxSPSNum = 1;
    stParam.iMaxPPSNum = 1;
    stParam.uiBitDepth = 8;
    stParam.eThreadType = enThreads;
    stParam.eOutputOrder = IH265D_DISPLAY_ORDER;
    stParam.pfnMalloc = IHWVIDEO_ALG_MALLOC;
    stParam.pfnFree = IHWVIDEO_ALG_FREE;
    stParam.pfnLog = IHWVIDEO_ALG_LOG;
    HANDLE hDecoder = nullptr;
    const INT32 lResult = IHW265D_Create(&hDecoder, &stParam);
    if (lResult != IHW265D_OK) {
        return lResult;
    }
    return Codec_OwnHandle(stCodec, hDecoder, DestroyDecoder) == PLAYER_ERR_OK ? INT32{IHW265D_OK}
                                                                               : INT32{IHW265D_NO_MEMORY};
}

// Filler data (ITU-T H.265, 7.3.2.8): without a slice it asks for the next picture that waits. An access unit delimiter
// (7.3.2.5) ends the picture in hand: no slice tells that it is the last.
UINT8 gaucFiller[] = {0, 0, 0, 1, 0x4C, 0x01, 0xFF, 0x80};
UINT8 gaucDelimiter[] = {0, 0, 0, 1, 0x46, 0x01, 0x50};

INT32 CallDecoder(const CODEC_INFO_S &stCodec, IH265DEC_INARGS &stIn, IH265DEC_OUTARGS &stOut) {
    return stCodec.bOneFrameDecordFlag != 0 ? IHW265D_DecodeAU(stCodec.hCodec, &stIn, &stOut)
                                            : IHW265D_DecodeFrame(stCodec.hCodec, &stIn, &stOut);
}

INT32 CallWith(const CODEC_INFO_S &stCodec, UINT8 *pucUnit, size_t ulSize, IH265DEC_OUTARGS &stOut) {
    IH265DEC_INARGS stIn{pucUnit, static_cast<UINT32>(ulSize), 0, IH265D_DECODE};
    return CallDecoder(stCodec, stIn, stOut);
}

// Decodes the frame, with one retry of a damaged slice header, and ends its picture if that is known to be whole.
INT32 CallForFrame(const CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, IH265DEC_OUTARGS &stOut) {
    if (Codec_AsksForMore(stFrame)) {
        return stFrame.bPictureEnd == 1 ? CallWith(stCodec, gaucDelimiter, sizeof(gaucDelimiter), stOut)
                                        : CallWith(stCodec, gaucFiller, sizeof(gaucFiller), stOut);
    }
    IH265DEC_INARGS stIn{stFrame.pucData, stFrame.ulSize, stFrame.dulTimestamp, IH265D_DECODE};
    INT32 lResult = CallDecoder(stCodec, stIn, stOut);
    if (lResult == IHW265D_SLICEHEADER_ERR) {
        lResult = CallDecoder(stCodec, stIn, stOut);
    }
    const bool bEnd = lResult == IHW265D_NEED_MORE_BITS && stFrame.bPictureEnd == 1 && !Codec_EndsStream(stFrame);
    return bEnd ? CallWith(stCodec, gaucDelimiter, sizeof(gaucDelimiter), stOut) : lResult;
}

bool IsOutgrown(INT32 lResult) { return lResult == IHW265D_INVALID_MAX_WIDTH || lResult == IHW265D_INVALID_MAX_HEIGHT; }

// Decodes and moves the planes, under the picture's lock.
INT32 DecodeLocked(const CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, CODE_DECODED_DATA_S &stPicture) {
    IH265DEC_OUTARGS stOut{};
    const CMutexGuard oLock(&stPicture.stLock);
    const INT32 lResult = CallForFrame(stCodec, stFrame, stOut);
    if (lResult == IHW265D_OK) {
        for (int i = 0; i < 3; i++) {
            stPicture.pucData[i] = stOut.pPlane[i];
            stPicture.lLineSize[i] = static_cast<LONG_32>(i == 0 ? stOut.uiYStride : stOut.uiUVStride);
        }
        stPicture.lWidth = static_cast<LONG_32>(stOut.uiDecWidth);
        stPicture.lHeight = static_cast<LONG_32>(stOut.uiDecHeight);
    } else if (IsOutgrown(lResult)) {
        Codec_ClearPlanes(stPicture);  // they end with the decoder, which is about to be replaced
    }
    return lResult;
}

void ReplaceDecoder(const CODEC_FRAME_S &stFrame, CODEC_INFO_S &stCodec) {
    const H265_SIZE stSize = SizeOf(stFrame.pucData, stFrame.ulSize, stCodec);
    Codec_Drop(stCodec.hCodec);
    stCodec.hCodec = nullptr;
    const INT32 lResult = MakeDecoder(stSize, Threads(stSize.lWidth), stCodec);
    if (lResult != IHW265D_OK) {
        LOG_ERROR("Call IHW265D_Create Failed, , Error:[0x%x].", static_cast<unsigned>(lResult));
    }
}

}  // namespace

ULONG_32 Codec_CreateH265(const CODEC_CREATE_ARGS &stArgs, CODEC_INFO_S &stCodec) {
    if (stArgs.bUseGpuH265 == 1) {
        return PLAYER_ERR_NOT_SUPPORT;
    }
    IHWVIDEO_ALG_VERSION_STRU stVersion{};
    IHW265D_GetVersion(&stVersion);
    LOG_INFO("Call H265, Version(%d), Release Time(%s).", static_cast<int>(stVersion.uiVersion),
             stVersion.szReleaseTime);
    PLAYER_FRAMEDATA_S stFrame{};
    if (stArgs.pExParm != nullptr) {
        stFrame = *static_cast<const PLAYER_FRAMEDATA_S *>(stArgs.pExParm);
    }
    const ULONG_32 ulSize = stFrame.lDataLen > 0 ? static_cast<ULONG_32>(stFrame.lDataLen) : 0;
    const H265_SIZE stSize = SizeOf(stFrame.pucData, ulSize, stCodec);
    stCodec.bOneFrameDecordFlag = stFrame.bOneFrameDecordFlag == 1 ? 1 : 0;
    LOG_INFO("IHW265D_Create iMaxWidth:%d, iMaxHeight:%d.", stSize.lWidth, stSize.lHeight);
    const INT32 lResult = MakeDecoder(stSize, Threads(stSize.lWidth), stCodec);
    if (lResult != IHW265D_OK) {
        LOG_ERROR("Call IHW265D_Create fail, Error:[%d].", lResult);
        return PLAYER_ERR_FAILED;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 CODE_ReCreateDecoder(LONG_32 lWidth, LONG_32 lHeight, BOOL_T bOneFrameDecordFlag, CODEC_INFO_S *pstCodec) {
    if (pstCodec == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    pstCodec->bOneFrameDecordFlag = bOneFrameDecordFlag;
    const H265_SIZE stSize{lWidth, lHeight, static_cast<LONG_32>(pstCodec->ulMaxRefPicNum)};
    const INT32 lResult = MakeDecoder(stSize, IH265D_SINGLE_THREAD, *pstCodec);
    if (lResult != IHW265D_OK) {
        LOG_ERROR("Call IHW265D_Create Failed, Error[%d].", lResult);
        return static_cast<ULONG_32>(lResult);
    }
    pstCodec->bDefaultDecSize = 0;
    LOG_INFO("CODE_ReCreateDecoder Succeed.");
    return PLAYER_ERR_OK;
}

ULONG_32 Codec_DecodeH265(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E enMode,
                          CODE_DECODED_DATA_S &stOut) {
    if (stCodec.bUseGpuH265 != 0) {
        return PLAYER_ERR_OK;
    }
    Codec_MarkInput(stCodec, stFrame);
    const INT32 lResult = DecodeLocked(stCodec, stFrame, stOut);
    if (lResult == IHW265D_OK) {
        const ULONG_32 ulResult = Codec_MarkOutput(stCodec);
        const bool bHidden = ulResult != PLAYER_ERR_OK && stFrame.ulSize == 0;
        return bHidden ? Codec_DecodeH265(stCodec, stFrame, enMode, stOut) : ulResult;  // asked for one that is shown
    }
    if (lResult == IHW265D_NEED_MORE_BITS) {
        return Codec_MarkNone(stCodec, stFrame);
    }
    if (IsOutgrown(lResult)) {
        ReplaceDecoder(stFrame, stCodec);
    }
    stCodec.lOutNum = Codec_NextMark(stCodec.lOutNum);
    LOG_ERROR("Call IHW265D_DecodeFrame Failed, Error:[0x%x].", static_cast<unsigned>(lResult));
    return PLAYER_ERR_FAILED;
}
