#include "codec/module_code.h"

#include <algorithm>
#include <iterator>

#include "codec/codec_inner.h"
#include "codec/zvcodec_loader.h"
#include "foundations/com_log.h"

QLOM_SDK_MUTEX_S gstDecMultiMutexLock = PTHREAD_MUTEX_INITIALIZER;

namespace {

void ClearRecord(CODEC_INFO_S &stCodec, LONG_32 lCodecType, LONG_32 lCodecID) {
    stCodec = CODEC_INFO_S{};
    stCodec.lCodecType = lCodecType;
    stCodec.lCodecID = lCodecID;
}

// What an AAC decoder leaves in pcExtraData is its library's PCM: that address may be another codec's by now.
bool OwnsExtra(const CODEC_INFO_S &stCodec) {
    return stCodec.lCodecType != CODECTYPE_DECODER || stCodec.lCodecID != PLAYER_PAYLOAD_AAC;
}

void DropObjects(const CODEC_INFO_S &stCodec) {
    Codec_Drop(stCodec.hCodec);
    if (OwnsExtra(stCodec)) {
        Codec_Drop(stCodec.pcExtraData);
    }
    Codec_Drop(stCodec.pucDeinterlace);
}

ULONG_32 CreateByType(LONG_32 lCodecType, const CODEC_CREATE_ARGS &stArgs, CODEC_INFO_S &stCodec) {
    if (stArgs.lPayload < PLAYER_PAYLOAD_G711U || stArgs.lPayload > PLAYER_PAYLOAD_H265) {
        return PLAYER_ERR_PARAM;
    }
    switch (lCodecType) {
        case CODECTYPE_DECODER:
            return Codec_CreateDecoder(stArgs, stCodec);
        case CODECTYPE_ENCODER:
            return Codec_CreateEncoder(stArgs, stCodec);
        default:
            return PLAYER_ERR_PARAM;
    }
}

constexpr CODEC_DECODE_PF DECODE_BY_PAYLOAD[] = {
    Codec_DecodeG711,  // G711U
    Codec_DecodeMp2,   // MP1L2
    Codec_DecodeAac,   // AAC
    Codec_DecodeH264,  // H264
    Codec_DecodeJpeg,  // JPEG
    Codec_DecodeG711,  // G711A
    nullptr,           // DATA
    Codec_DecodePcm,   // PCM
    Codec_DecodeH265,  // H265
};

constexpr CODEC_ENCODE_PF ENCODE_BY_PAYLOAD[] = {
    Codec_EncodeG711,  // G711U
    Codec_EncodeMp2,   // MP1L2
    Codec_EncodeAac,   // AAC
    nullptr,           // H264
    Codec_EncodeJpeg,  // JPEG
    Codec_EncodeG711,  // G711A
};

// Null for a payload that has no row or an empty one.
template <class FUNCTION, size_t N>
FUNCTION Find(const FUNCTION (&apfnTable)[N], LONG_32 lCodecID) {
    return lCodecID >= 0 && lCodecID < static_cast<LONG_32>(N) ? apfnTable[lCodecID] : nullptr;
}

}  // namespace

void CODE_H264_GlobalInit() {
    ZvCodec_Open();
    dlsym_h264_global_init();
    QLOM_SDK_mutex_init(0, nullptr, &gstDecMultiMutexLock);
}

void CODE_H264_GlobalFree() {
    Codec_DropAbandoned();
    Codec_FreeMp2Spares();
    dlsym_h264_global_free();
    ZvCodec_Close();
    QLOM_SDK_mutex_destroy(&gstDecMultiMutexLock);
    gstDecMultiMutexLock = PTHREAD_MUTEX_INITIALIZER;  // a decoder asked for after the end finds a usable mutex
}

ULONG_32 CODE_CreateCode(LONG_32 lCodecType, LONG_32 lPayload, void *pExParm, CODEC_INFO_S *pstCodec) {
    if (pstCodec == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const CODEC_CREATE_ARGS stArgs{pstCodec->bUseGpu, pstCodec->bUseGpuH265, pstCodec->ulAudioEnSampleRate, lPayload,
                                   pExParm};
    Codec_Abandon(pstCodec);
    ClearRecord(*pstCodec, lCodecType, -1);
    const ULONG_32 ulResult = CreateByType(lCodecType, stArgs, *pstCodec);
    if (ulResult == PLAYER_ERR_OK) {
        pstCodec->lCodecID = lPayload;
        return PLAYER_ERR_OK;
    }
    DropObjects(*pstCodec);
    ClearRecord(*pstCodec, lCodecType, -1);
    return ulResult;
}

void CODE_FreeCode(CODEC_INFO_S *pstCodec) {
    if (pstCodec == nullptr) {
        return;
    }
    DropObjects(*pstCodec);
    ClearRecord(*pstCodec, CODECTYPE_ENCODER, PLAYER_PAYLOAD_NULL);
}

BOOL_T CODE_CatchHwDec(BOOL_T bAble) { return bAble == 1 ? 0 : 1; }

BOOL_T CODE_CatchHwDecEx(BOOL_T /*bAble*/, PLAYER_GPU_ABLE_STATE_S *pstGpuAbleState) {
    if (pstGpuAbleState == nullptr) {
        LOG_ERROR("CODE_CatchHwDecEx, Invalid pstGpuAbleState Param.");
        return PLAYER_ERR_PARAM;
    }
    *pstGpuAbleState = PLAYER_GPU_ABLE_STATE_S{};
    return PLAYER_ERR_OK;
}

ULONG_32 CODE_Decoder(CODEC_INFO_S *pstCodec, CODEC_FRAME_S *pstFrame, PLAYER_DEINTERLACEMODE_E enMode,
                      CODE_DECODED_DATA_S *pstDecodeData) {
    if (pstCodec == nullptr || pstFrame == nullptr || pstDecodeData == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (pstCodec->lCodecType != CODECTYPE_DECODER) {
        LOG_ERROR("CODE_Decoder Failed, Not Decoder Type.");
        return PLAYER_ERR_PARAM;
    }
    const CODEC_DECODE_PF pfnDecode = Find(DECODE_BY_PAYLOAD, pstCodec->lCodecID);
    return pfnDecode != nullptr ? pfnDecode(*pstCodec, *pstFrame, enMode, *pstDecodeData)
                                : ULONG_32{PLAYER_ERR_NOT_SUPPORT};
}

ULONG_32 CODE_Encoder(CODEC_INFO_S *pstCodec, CODE_DECODED_DATA_S *pstDecodeData, CODEC_FRAME_S *pstFrame) {
    if (pstCodec == nullptr || pstDecodeData == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (pstCodec->lCodecType != CODECTYPE_ENCODER) {
        LOG_ERROR("CODE_Encoder: Not Encoder Type.");
        return PLAYER_ERR_PARAM;
    }
    const CODEC_ENCODE_PF pfnEncode = Find(ENCODE_BY_PAYLOAD, pstCodec->lCodecID);
    return pfnEncode != nullptr ? pfnEncode(*pstCodec, *pstDecodeData, pstFrame) : ULONG_32{PLAYER_ERR_NOT_SUPPORT};
}

ULONG_32 CODE_SetVideoAdjust(PLAYER_VIDEOADJUST_PARAM_S *, CODE_DECODED_DATA_S *, CODE_DECODED_DATA_S *) {
    return PLAYER_ERR_NOT_SUPPORT;
}

ULONG_32 CODE_GpuDisPlayPic(CODEC_INFO_S *, HWND, ULONG_32, PLAYER_RECT_S *, PLAYER_DRAW_DATA_CALLBACK_PF, void *) {
    return PLAYER_ERR_NOT_SUPPORT;
}

ULONG_32 CODE_GetYuvData(CODEC_INFO_S *, CODE_DECODED_DATA_S *) { return PLAYER_ERR_NOT_SUPPORT; }

/* ---- shared by the codec layer's files ------------------------------------------------------------------------- */

ULONG_32 Codec_OwnHandle(CODEC_INFO_S &stCodec, HANDLE hCodec, CODEC_DESTROY_PF pfnDestroy) {
    if (!Codec_Keep(&stCodec, hCodec, pfnDestroy)) {
        return PLAYER_ERR_MALLOC;
    }
    stCodec.hCodec = hCodec;
    return PLAYER_ERR_OK;
}

ULONG_32 Codec_OwnExtra(CODEC_INFO_S &stCodec, void *pExtra, CODEC_DESTROY_PF pfnDestroy) {
    if (pExtra == nullptr || !Codec_Keep(&stCodec, pExtra, pfnDestroy)) {
        return PLAYER_ERR_MALLOC;
    }
    stCodec.pcExtraData = static_cast<CHAR *>(pExtra);
    return PLAYER_ERR_OK;
}

void Codec_MarkInput(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame) {
    if (stFrame.ulSize == 0) {
        return;
    }
    stCodec.lInNum = Codec_NextMark(stCodec.lInNum);
    if (stCodec.bNoShow == 1) {
        stCodec.aucDecodeQueue[stCodec.lInNum] = 1;
        stCodec.bNoShow = 0;
    }
}

ULONG_32 Codec_MarkOutput(CODEC_INFO_S &stCodec) {
    stCodec.lOutNum = Codec_NextMark(stCodec.lOutNum);
    if (stCodec.aucDecodeQueue[stCodec.lOutNum] != 1) {
        return PLAYER_ERR_OK;
    }
    stCodec.aucDecodeQueue[stCodec.lOutNum] = 0;
    return PLAYER_ERR_NO_PICTURE;
}

ULONG_32 Codec_MarkNone(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame) {
    if (Codec_EndsStream(stFrame)) {  // nothing is inside any more
        stCodec.lOutNum = stCodec.lInNum;
        std::fill(std::begin(stCodec.aucDecodeQueue), std::end(stCodec.aucDecodeQueue), UCHAR{0});
    }
    return PLAYER_ERR_NO_PICTURE;
}

void Codec_ClearPlanes(CODE_DECODED_DATA_S &stPicture) {
    for (int i = 0; i < 4; i++) {
        stPicture.pucData[i] = nullptr;
        stPicture.lLineSize[i] = 0;
    }
}
