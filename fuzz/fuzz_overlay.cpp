// The overlay's geometry: whatever a record says, rectangles stay within the picture and their number within limits.
//
// Input: picture's left, top, width and height (16 bits each, big-endian), a byte of show bits and road (16 or more: the
// record comes as an SEI body), then a data frame, or a kind byte and a body.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "analytics/overlay.h"
#include "foundations/com_log.h"

namespace {

constexpr size_t HEAD_LEN = 9;
constexpr uint8_t SEI_BIT = 16;
constexpr LONG_32 RATE = 25;

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

/** What a picture's overlay has filled so far. */
struct FILLED {
    OVERLAY_RECT_S stPicture;
    DLONG dlPixels;
    ULONG_32 ulRects;
};

void Fill(const OVERLAY_COLOUR_S &stColour, const OVERLAY_RECT_S *pastRect, ULONG_32 ulNum, void *pUser) {
    FILLED &st = *static_cast<FILLED *>(pUser);
    Require(stColour.ucAlpha != 0 && ulNum > 0 && ulNum <= OVERLAY_BATCH);
    for (ULONG_32 i = 0; i < ulNum; ++i) {
        const OVERLAY_RECT_S &stRect = pastRect[i];
        Require(stRect.lWidth > 0 && stRect.lHeight > 0 && stRect.lX >= st.stPicture.lX && stRect.lY >= st.stPicture.lY);
        Require(stRect.lWidth <= st.stPicture.lX + st.stPicture.lWidth - stRect.lX);
        Require(stRect.lHeight <= st.stPicture.lY + st.stPicture.lHeight - stRect.lY);
        st.dlPixels += DLONG{stRect.lWidth} * stRect.lHeight;
    }
    st.ulRects += ulNum;
}

void Draw(const IVA_INFO_S &stInfo, const uint8_t *pucHead) {
    const auto fnNumber = [pucHead](int i) { return static_cast<LONG_32>(pucHead[2 * i] << 8 | pucHead[2 * i + 1]); };
    FILLED st = {{fnNumber(0), fnNumber(1), fnNumber(2) % 5000, fnNumber(3) % 3000}, 0, 0};
    const IVA_SHOW_PARAM_S stShow = {pucHead[8] & 1, pucHead[8] & 2, pucHead[8] & 4, 1};
    Overlay_Draw(stInfo, stShow, st.stPicture, Fill, &st);
    const DLONG dlArea = DLONG{st.stPicture.lWidth} * st.stPicture.lHeight;
    Require(st.dlPixels <= dlArea * (OVERLAY_MAX_COVER + 1) + (1 << 20));
    Require(st.ulRects <= (dlArea * OVERLAY_MAX_COVER + (1 << 20)) / 16 + 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    Log_SetSysLogCB(DropLine);
    if (ulSize < HEAD_LEN + 1) {
        return 0;
    }
    const size_t ulLen = ulSize - HEAD_LEN;
    auto acRecord = std::make_unique<CHAR[]>(ulLen);
    memcpy(acRecord.get(), pucData + HEAD_LEN, ulLen);
    IVA_INFO_S stInfo = {};
    stInfo.bDRVEnable = 1;
    if ((pucData[8] & SEI_BIT) != 0) {
        stInfo.ulMetaDataVersion = 2;
        IvaV2Parse(static_cast<UCHAR>(acRecord[0]), &stInfo.stMetaV2, acRecord.get() + 1,
                   static_cast<ULONG_32>(ulLen - 1));
    } else {
        DataParse(&stInfo, acRecord.get(), static_cast<LONG_32>(ulLen));
    }
    HANDLE hCopy = DataCopy(RATE, &stInfo);
    if (hCopy != nullptr) {
        Draw(*static_cast<IVA_INFO_S *>(hCopy), pucData);
    }
    FreeInfo(&hCopy);
    IVA_FreeBuffers(&stInfo);
    return 0;
}
