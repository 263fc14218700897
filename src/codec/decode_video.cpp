// Decoding of H.264 and JPEG, and deinterlacing.
#include <cstdlib>
#include <cstring>

#include "codec/codec_inner.h"
#include "codec/zvcodec_loader.h"
#include "foundations/com_log.h"
#include "foundations/guards.h"

namespace {

/* ---- deinterlacing --------------------------------------------------------------------------------------------- */

void DoubleEvenLines(UCHAR *pucPlane, LONG_32 lLineSize, LONG_32 lHeight) {
    if (pucPlane == nullptr || lLineSize <= 0) {
        return;
    }
    const size_t ulLine = static_cast<size_t>(lLineSize);
    for (LONG_32 y = 0; y + 1 < lHeight; y += 2) {
        UCHAR *const pucLine = pucPlane + static_cast<size_t>(y) * ulLine;
        std::memcpy(pucLine + ulLine, pucLine, ulLine);
    }
}

// Rows and visible bytes of a row of a plane, where odd sizes of the luma round up.
size_t PlaneRows(const CODE_DECODED_DATA_S &stPicture, int lPlane) {
    return (static_cast<size_t>(stPicture.lHeight) + (lPlane == 0 ? 0 : 1)) >> (lPlane == 0 ? 0 : 1);
}

size_t PlaneWidth(const CODE_DECODED_DATA_S &stPicture, int lPlane) {
    return (static_cast<size_t>(stPicture.lWidth) + (lPlane == 0 ? 0 : 1)) >> (lPlane == 0 ? 0 : 1);
}

bool GrowScratch(CODEC_INFO_S &stCodec, size_t ulSize) {
    if (stCodec.ulDeinterlaceLen >= ulSize) {
        return true;
    }
    Codec_Drop(stCodec.pucDeinterlace);
    stCodec.pucDeinterlace = nullptr;
    stCodec.ulDeinterlaceLen = 0;
    auto *const pucNew = ulSize <= UINT32_MAX ? static_cast<UCHAR *>(std::calloc(1, ulSize)) : nullptr;
    if (pucNew == nullptr || !Codec_Keep(&stCodec, pucNew, std::free)) {
        return false;
    }
    stCodec.pucDeinterlace = pucNew;
    stCodec.ulDeinterlaceLen = static_cast<ULONG_32>(ulSize);
    return true;
}

// Moves the picture to memory of the codec: the decoder's own is still a reference for pictures to come.
bool MoveToScratch(CODEC_INFO_S &stCodec, CODE_DECODED_DATA_S &stPicture) {
    size_t ulSize = 0;
    for (int i = 0; i < 3; i++) {
        if (stPicture.pucData[i] == nullptr || stPicture.lHeight <= 0 || stPicture.lWidth <= 0 ||
            stPicture.lLineSize[i] < static_cast<LONG_32>(PlaneWidth(stPicture, i))) {
            return false;
        }
        ulSize += PlaneRows(stPicture, i) * static_cast<size_t>(stPicture.lLineSize[i]);
    }
    if (!GrowScratch(stCodec, ulSize)) {
        return false;
    }
    UCHAR *pucTo = stCodec.pucDeinterlace;
    for (int i = 0; i < 3; i++) {
        const UCHAR *pucFrom = stPicture.pucData[i];
        stPicture.pucData[i] = pucTo;
        for (size_t y = 0; y < PlaneRows(stPicture, i); y++) {
            std::memcpy(pucTo, pucFrom, PlaneWidth(stPicture, i));
            pucTo += stPicture.lLineSize[i];
            pucFrom += stPicture.lLineSize[i];
        }
    }
    return true;
}

/* ---- H.264 ----------------------------------------------------------------------------------------------------- */

const MpPicture *PictureOf(const H264Dec_Info &stInfo, const MpPicture &stRef) {
    switch (stInfo.point_to_picture) {
        case H264_PICTURE_IN_INFO:
            return &stInfo.yuv_picture;
        case H264_PICTURE_IN_REF:
            return &stRef;
        default:
            return nullptr;
    }
}

/** Filler data (ITU-T H.264, 7.3.2.7): without a slice it asks for the next picture that waits. */
UCHAR gaucFiller[] = {0, 0, 0, 1, 0x0C, 0xFF, 0x80};

/** What became of one call of the H.264 decoder. */
struct H264_OUTCOME {
    int lResult;    // below 0: failure
    bool bPicture;  // a picture came out
};

// Decodes and moves the planes, under the picture's lock.
H264_OUTCOME DecodeLocked(CODEC_INFO_S &stCodec, H264Dec_Info &stInfo, PLAYER_DEINTERLACEMODE_E enMode,
                          CODE_DECODED_DATA_S &stOut) {
    MpPicture stRef{};
    const CMutexGuard oLock(&stOut.stLock);
    const int lResult = dlsym_dec_h264_main(stCodec.hCodec, &stInfo, &stRef);
    const MpPicture *const pstPicture = lResult >= 0 ? PictureOf(stInfo, stRef) : nullptr;
    if (pstPicture == nullptr) {
        return {lResult, false};
    }
    for (int i = 0; i < 4; i++) {
        stOut.pucData[i] = pstPicture->data[i];
        stOut.lLineSize[i] = pstPicture->linesize[i];
    }
    stOut.lWidth = stInfo.width;
    stOut.lHeight = stInfo.height;
    if (enMode == DEINTERLACE_DOUBLETOPFIELD && MoveToScratch(stCodec, stOut)) {
        DeinterlaceWithMode(enMode, &stOut);
    }
    return {lResult, true};
}

// Pictures left out never reach their marks: those behind them move up.
void NoteLeftOut(CODEC_INFO_S &stCodec, int32_t lGot) {
    stCodec.ulLeftOut = lGot < 0 && lGot > -LONG_32{CODEC_MARK_RING_NUM} ? static_cast<ULONG_32>(-lGot) : 0;
    const ULONG_32 ulBack = CODEC_MARK_RING_NUM - stCodec.ulLeftOut;
    stCodec.lInNum = static_cast<LONG_32>((static_cast<ULONG_32>(stCodec.lInNum) + ulBack) % CODEC_MARK_RING_NUM);
}

/* ---- JPEG ------------------------------------------------------------------------------------------------------ */

size_t JpegPlanesSize(const DSP_Picture_Mjpeg &stPicture) {
    return static_cast<size_t>(stPicture.uPicWidth) * stPicture.uPicHeight * 3 / 2;
}

// Makes the planes for a new picture size; under the lock of the picture, whose planes the old ones were.
bool MakeJpegPlanes(CODEC_INFO_S &stCodec, DSP_Picture_Mjpeg &stPicture, CODE_DECODED_DATA_S &stOut) {
    const size_t ulLuma = static_cast<size_t>(stPicture.uPicWidth) * stPicture.uPicHeight;
    std::free(stPicture.pData[0]);
    Codec_ClearPlanes(stOut);
    // A chroma row more: who rounds an odd size up reads that far behind V.
    const size_t ulRow = static_cast<size_t>(stPicture.uPicWidth) / 2 + 1;
    stPicture.pData[0] = static_cast<UCHAR *>(std::calloc(1, JpegPlanesSize(stPicture) + ulRow));
    if (stPicture.pData[0] == nullptr) {
        return false;
    }
    stPicture.pData[1] = stPicture.pData[0] + ulLuma;
    stPicture.pData[2] = stPicture.pData[1] + ulLuma / 4;
    stPicture.uLineSize[0] = stPicture.uPicWidth;
    stPicture.uLineSize[1] = stPicture.uPicWidth / 2;
    stPicture.uLineSize[2] = stPicture.uPicWidth / 2;
    stCodec.ulJpegWidth = stPicture.uPicWidth;
    stCodec.ulJpegHeight = stPicture.uPicHeight;
    return true;
}

// Decodes into the codec's planes and gives them out, under the picture's lock.
LONG_32 DecodeJpegLocked(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, DSP_Picture_Mjpeg &stPicture,
                         CODE_DECODED_DATA_S &stOut) {
    const CMutexGuard oLock(&stOut.stLock);
    const bool bFits = stPicture.pData[0] != nullptr && stPicture.uPicWidth == stCodec.ulJpegWidth &&
                       stPicture.uPicHeight == stCodec.ulJpegHeight;
    if (!bFits && !MakeJpegPlanes(stCodec, stPicture, stOut)) {
        return ZVMJPEG_NO_MEMORY;
    }
    const LONG_32 lResult = DSP_JpegDecode(stCodec.hCodec, stFrame.pucData, stFrame.ulSize, &stPicture, 0);
    if (lResult != ZVMJPEG_OK) {
        return lResult;
    }
    for (int i = 0; i < 3; i++) {
        stOut.pucData[i] = stPicture.pData[i];
        stOut.lLineSize[i] = static_cast<LONG_32>(stPicture.uLineSize[i]);
    }
    stOut.lWidth = static_cast<LONG_32>(stPicture.uPicWidth);
    stOut.lHeight = static_cast<LONG_32>(stPicture.uPicHeight);
    return ZVMJPEG_OK;
}

}  // namespace

void DeinterlaceWithMode(PLAYER_DEINTERLACEMODE_E enDeinterlaceMode, CODE_DECODED_DATA_S *pstDecodeData) {
    if (enDeinterlaceMode != DEINTERLACE_DOUBLETOPFIELD || pstDecodeData == nullptr) {
        return;
    }
    for (int i = 0; i < 3; i++) {
        DoubleEvenLines(pstDecodeData->pucData[i], pstDecodeData->lLineSize[i],
                        i == 0 ? pstDecodeData->lHeight : pstDecodeData->lHeight / 2);
    }
}

ULONG_32 Codec_DecodeH264(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E enMode,
                          CODE_DECODED_DATA_S &stOut) {
    if (stCodec.bUseGpu != 0) {
        return PLAYER_ERR_OK;
    }
    if (stCodec.pcExtraData == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    Codec_MarkInput(stCodec, stFrame);
    const bool bMore = Codec_AsksForMore(stFrame);
    auto &stInfo = *reinterpret_cast<H264Dec_Info *>(stCodec.pcExtraData);
    stInfo.pstream_buf = bMore ? gaucFiller : stFrame.pucData;
    stInfo.buf_size = static_cast<int>(bMore ? sizeof(gaucFiller) : stFrame.ulSize);
    stInfo.bUcodeReverse = stCodec.lUser;
    stInfo.piGotPicture = 0;
    stInfo.point_to_picture = -1;  // a library without the function answers neither failure nor a picture
    const H264_OUTCOME stOutcome = DecodeLocked(stCodec, stInfo, enMode, stOut);
    if (stOutcome.lResult < 0) {
        stCodec.lOutNum = Codec_NextMark(stCodec.lOutNum);
        LOG_ERROR("CODE_Decoder: Call dec_h264_main Failed, Error:[%d].", stOutcome.lResult);
        return PLAYER_ERR_DECODE;
    }
    if (stOutcome.bPicture) {
        const ULONG_32 ulResult = Codec_MarkOutput(stCodec);
        const bool bHidden = ulResult != PLAYER_ERR_OK && stFrame.ulSize == 0;
        return bHidden ? Codec_DecodeH264(stCodec, stFrame, enMode, stOut) : ulResult;  // asked for one that is shown
    }
    NoteLeftOut(stCodec, stInfo.piGotPicture);
    return Codec_MarkNone(stCodec, stFrame);
}

ULONG_32 Codec_DecodeJpeg(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E,
                          CODE_DECODED_DATA_S &stOut) {
    if (stCodec.pcExtraData == nullptr) {
        LOG_ERROR("CODE_Decoder: ExtraData is Null.");
        return PLAYER_ERR_PARAM;
    }
    if (stFrame.ulSize == 0) {
        return PLAYER_ERR_NO_PICTURE;  // no picture is ever held back
    }
    auto &stPicture = *reinterpret_cast<DSP_Picture_Mjpeg *>(stCodec.pcExtraData);
    LONG_32 lResult = DSP_JpegDecode(stCodec.hCodec, stFrame.pucData, stFrame.ulSize, &stPicture, 1);
    if (lResult != ZVMJPEG_OK) {
        stCodec.ulDecordFailCount++;
        LOG_ERROR("CODE_Decoder: DSP_JpegDecode Failed, Error:[%d], Count[%d].", lResult,
                  static_cast<int>(stCodec.ulDecordFailCount));
        return PLAYER_ERR_DECODE;
    }
    stCodec.ulDecordFailCount = 0;
    lResult = DecodeJpegLocked(stCodec, stFrame, stPicture, stOut);
    if (lResult == ZVMJPEG_NO_MEMORY) {
        LOG_ERROR("CODE_Decoder: Malloc Failed, Size[%d].", static_cast<int>(JpegPlanesSize(stPicture)));
        return PLAYER_ERR_MALLOC;
    }
    if (lResult != ZVMJPEG_OK) {
        LOG_ERROR("CODE_Decoder: Call DSP_JpegDecode Failed, Error:[%d].", lResult);
        return PLAYER_ERR_DECODE;
    }
    return PLAYER_ERR_OK;
}
