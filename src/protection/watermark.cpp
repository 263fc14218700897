#include "protection/watermark.h"

#include <algorithm>
#include <cstring>

#include "bits/start_code.h"

namespace {

constexpr size_t HALF_MAX = sizeof(PORT_MARK_INFO_S::szInfo);
constexpr size_t PLAIN_PAYLOAD_MAX = 32;  // payloads up to this size carry no emulation prevention bytes
constexpr size_t SAMPLE_STEP = 128;       // bytes from one sampling pass to the next
constexpr size_t START_CODE_LEN = 3;

/** Where a codec's units are told by. */
struct MARK_CODEC_S {
    UCHAR ucShift, ucMask;        // unit type in a header's first byte
    size_t ulHeadLen;             // bytes of a header
    UCHAR ucSei, ucKey, ucOther;  // unit types: message, key picture, other picture
    UCHAR ucMark;                 // payload type of a mark
    size_t ulPasses;              // sampling passes at most; 0: as many as a half has bytes
};

const MARK_CODEC_S H264 = {0, 31, 1, 6, 5, 1, 26, 0};
const MARK_CODEC_S H265 = {1, 63, 2, 39, 19, 1, 232, 16};

/** A frame's bytes, and those of its buffer. */
struct MARK_FRAME_S {
    UCHAR *pucData;
    size_t ulLen;
    size_t ulRoom;
};

/**
 * Moves the bytes of a payload together over its emulation prevention bytes; the last one stays in all places that
 * become free, as it does when the rest moves down one by one. @return the bytes left
 */
size_t RemoveEmulation(UCHAR *pucPayload, size_t ulLen) {
    const UCHAR ucLast = pucPayload[ulLen - 1];
    size_t ulTo = 0;
    for (size_t i = 0; i < ulLen;) {
        const bool bEmulation =
            ulLen - i >= 3 && pucPayload[i] == 0 && pucPayload[i + 1] == 0 && pucPayload[i + 2] == 3;
        pucPayload[ulTo++] = pucPayload[i++];
        if (bEmulation) {
            pucPayload[ulTo++] = pucPayload[i];
            i += 2;
        }
    }
    memset(pucPayload + ulTo, ucLast, ulLen - ulTo);
    return ulTo;
}

/** Takes up the mark whose coded length stands at ulAt. @return where the search for units goes on */
size_t ReadMark(const MARK_FRAME_S &stFrame, size_t ulAt, PORT_MARK_INFO_S *pstMark) {
    size_t ulLen = 0;
    while (ulAt < stFrame.ulLen && stFrame.pucData[ulAt] == 255) {
        ulLen += 255;
        ++ulAt;
    }
    if (ulAt >= stFrame.ulLen) {
        return ulAt;
    }
    ulLen += stFrame.pucData[ulAt++];
    ulLen = std::min(ulLen, stFrame.ulLen - ulAt);
    UCHAR *pucPayload = stFrame.pucData + ulAt;
    if (ulLen > PLAIN_PAYLOAD_MAX) {
        ulLen = RemoveEmulation(pucPayload, ulLen);
    }
    const size_t ulHalf = ulLen / 2;
    pstMark->ulWaterMarkLen = std::min(ulHalf, HALF_MAX);
    memcpy(pstMark->szSrcInfo, pucPayload, pstMark->ulWaterMarkLen);
    memcpy(pstMark->szInfo, pucPayload, pstMark->ulWaterMarkLen);
    memcpy(pstMark->szMark, pucPayload + ulHalf, pstMark->ulWaterMarkLen);
    pstMark->bGetMark = 1;
    return ulAt + ulLen + 1;
}

/** XORs bytes of the key picture into the clear half, in passes that begin a step apart. */
void Sample(const MARK_FRAME_S &stFrame, size_t ulFrom, size_t ulPasses, PORT_MARK_INFO_S *pstMark) {
    for (; ulPasses > 0 && ulFrom < stFrame.ulLen; --ulPasses, ulFrom += SAMPLE_STEP) {
        // The last pass runs on behind the frame, to the end of its buffer.
        const size_t ulCount = std::min<size_t>(pstMark->ulWaterMarkLen, stFrame.ulRoom - ulFrom);
        for (size_t k = 0; k < ulCount; ++k) {
            pstMark->szInfo[k] = static_cast<CHAR>(pstMark->szInfo[k] ^ stFrame.pucData[ulFrom + k]);
        }
    }
}

/** Tests the key picture whose data, behind the unit header, begin at ulFrom. */
void TestKeyPicture(const MARK_FRAME_S &stFrame, size_t ulFrom, const MARK_CODEC_S &stCodec,
                    PORT_MARK_INFO_S *pstMark) {
    ++pstMark->ulKeyFrameCount;
    if (pstMark->bGetMark != 1) {
        pstMark->ulState = CHECK_STATE_NOMARK;
        return;
    }
    Sample(stFrame, ulFrom, stCodec.ulPasses != 0 ? stCodec.ulPasses : pstMark->ulWaterMarkLen, pstMark);
    const bool bRight = memcmp(pstMark->szInfo, pstMark->szMark, pstMark->ulWaterMarkLen) == 0;
    pstMark->ulState = bRight ? CHECK_STATE_RIGHT : CHECK_STATE_MISMARCH;
    pstMark->bHaveWaterMark = bRight ? 1 : pstMark->bHaveWaterMark;
    pstMark->bGetMark = 0;
}

/** Looks at the frame unit by unit, until a picture decides. */
void CheckUnits(const MARK_FRAME_S &stFrame, const MARK_CODEC_S &stCodec, PORT_MARK_INFO_S *pstMark) {
    for (size_t i = StartCode_Find(stFrame.pucData, stFrame.ulLen, 0); i + START_CODE_LEN < stFrame.ulLen;) {
        const size_t ulBody = i + START_CODE_LEN + stCodec.ulHeadLen;
        const UCHAR ucType = stFrame.pucData[i + START_CODE_LEN] >> stCodec.ucShift & stCodec.ucMask;
        if (ucType == stCodec.ucKey) {
            TestKeyPicture(stFrame, ulBody, stCodec, pstMark);
            return;
        }
        if (ucType == stCodec.ucOther) {
            pstMark->ulState = CHECK_STATE_RIGHT;
            return;
        }
        const bool bMark =
            ucType == stCodec.ucSei && ulBody < stFrame.ulLen && stFrame.pucData[ulBody] == stCodec.ucMark;
        i = StartCode_Find(stFrame.pucData, stFrame.ulLen, bMark ? ReadMark(stFrame, ulBody + 1, pstMark) : i + 1);
    }
}

}  // namespace

ULONG_32 Watermark_CheckFrame(const PLAYER_FRAMEDATA_S *pstFrame, ULONG ulRoom, PORT_MARK_INFO_S *pstMark) {
    if (pstFrame->lDataLen < 1 || pstFrame->pucData == nullptr) {
        return PLAYER_ERR_FAILED;
    }
    if (!Payload_IsInterVideo(pstFrame->lPayload)) {
        pstMark->ulState = CHECK_STATE_RIGHT;
        return PLAYER_ERR_OK;
    }
    const size_t ulLen = std::min<size_t>(static_cast<size_t>(pstFrame->lDataLen), ulRoom);
    CheckUnits({pstFrame->pucData, ulLen, ulRoom}, pstFrame->lPayload == PLAYER_PAYLOAD_H264 ? H264 : H265, pstMark);
    return PLAYER_ERR_OK;
}
