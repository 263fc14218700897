#include "codec/zvmjpeg.h"

#include <turbojpeg.h>

#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "zvmjpeg/zvmjpeg_chroma.h"

namespace {

constexpr int QUALITY = 85;
// More would be no camera's picture, and a head of a few bytes could ask for gigabytes.
constexpr uint64_t MAX_PIXELS = 8192ULL * 8192;

struct JPEG_DECODER {
    tjhandle hTurbo = nullptr;
    std::vector<UCHAR> aoPlanes[3];  // planes whose form is not the caller's, before they are brought into it

    ~JPEG_DECODER() {
        if (hTurbo != nullptr) {
            tjDestroy(hTurbo);
        }
    }
};

struct JPEG_ENCODER {
    tjhandle hTurbo = nullptr;
    UCHAR *pucOutput = nullptr;  // grown by libjpeg-turbo, kept from picture to picture
    unsigned long ulOutputSize = 0;
    std::vector<UCHAR> aoPlanes[3];  // pictures of an odd size, with the column or row that 4:2:0 wants there

    ~JPEG_ENCODER() {
        tjFree(pucOutput);
        if (hTurbo != nullptr) {
            tjDestroy(hTurbo);
        }
    }
};

/** What the head of a JPEG picture says. */
struct JPEG_HEAD {
    int lWidth = 0;
    int lHeight = 0;
    int lSampling = -1;
    int lColour = -1;
};

template <class T>
T *Make(tjhandle (*pfnInit)(void)) {
    try {
        auto pstCodec = std::make_unique<T>();
        pstCodec->hTurbo = pfnInit();
        return pstCodec->hTurbo != nullptr ? pstCodec.release() : nullptr;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

// A picture without its end, or with a damaged part, is a warning: what could be decoded has been.
bool IsFailure(tjhandle hTurbo, int lResult) { return lResult != 0 && tjGetErrorCode(hTurbo) != TJERR_WARNING; }

bool IsTaken(const JPEG_HEAD &stHead) {
    return stHead.lWidth > 0 && stHead.lHeight > 0 && stHead.lSampling >= 0 && stHead.lSampling < TJ_NUMSAMP &&
           (stHead.lColour == TJCS_YCbCr || stHead.lColour == TJCS_GRAY) &&
           static_cast<uint64_t>(stHead.lWidth) * static_cast<uint64_t>(stHead.lHeight) <= MAX_PIXELS;
}

// A failed read leaves the handle in the middle of that head, and it refuses every picture from then on: it is dropped,
// and the next read makes another.
void DropHandle(JPEG_DECODER &stDecoder) {
    tjDestroy(stDecoder.hTurbo);
    stDecoder.hTurbo = nullptr;
}

bool ReadHead(JPEG_DECODER &stDecoder, const UCHAR *pucData, ULONG_32 ulSize, JPEG_HEAD &stHead) {
    if (stDecoder.hTurbo == nullptr) {
        stDecoder.hTurbo = tjInitDecompress();
    }
    if (stDecoder.hTurbo == nullptr) {
        return false;
    }
    const int lResult = tjDecompressHeader3(stDecoder.hTurbo, pucData, ulSize, &stHead.lWidth, &stHead.lHeight,
                                            &stHead.lSampling, &stHead.lColour);
    if (IsFailure(stDecoder.hTurbo, lResult)) {
        DropHandle(stDecoder);
        return false;
    }
    return IsTaken(stHead);
}

// Whether three planes of 4:2:0 with chroma of half the size, rounded down, are there and hold their rows.
bool HasPlanes(const DSP_Picture_Mjpeg &stPicture) {
    for (int i = 0; i < 3; i++) {
        const ULONG_32 ulRow = i == 0 ? stPicture.uPicWidth : stPicture.uPicWidth / 2;
        if (stPicture.pData[i] == nullptr || stPicture.uLineSize[i] < ulRow || stPicture.uLineSize[i] > INT32_MAX) {
            return false;
        }
    }
    return true;
}

/** Where each plane of a picture is decoded to: the caller's memory if it has the form needed, else our own. */
struct JPEG_TARGET {
    UCHAR *apucPlanes[3] = {};
    int alStrides[3] = {};
    bool abOwn[3] = {};
};

void PlanTarget(JPEG_DECODER &stDecoder, const JPEG_HEAD &stHead, const DSP_Picture_Mjpeg &stPicture,
                JPEG_TARGET &stTarget) {
    const int lPlanes = stHead.lSampling == TJSAMP_GRAY ? 1 : 3;
    for (int i = 0; i < lPlanes; i++) {
        const int lWidth = tjPlaneWidth(i, stHead.lWidth, stHead.lSampling);
        const int lHeight = tjPlaneHeight(i, stHead.lHeight, stHead.lSampling);
        const int lShift = i == 0 ? 0 : 1;
        stTarget.abOwn[i] = lWidth != stHead.lWidth >> lShift || lHeight != stHead.lHeight >> lShift;
        if (stTarget.abOwn[i]) {
            stDecoder.aoPlanes[i].resize(static_cast<size_t>(lWidth) * static_cast<size_t>(lHeight));
            stTarget.apucPlanes[i] = stDecoder.aoPlanes[i].data();
            stTarget.alStrides[i] = lWidth;
        } else {
            stTarget.apucPlanes[i] = stPicture.pData[i];
            stTarget.alStrides[i] = static_cast<int>(stPicture.uLineSize[i]);
        }
    }
}

// Brings what was decoded into our own planes into the caller's.
void FinishPlanes(const JPEG_HEAD &stHead, const JPEG_TARGET &stTarget, const DSP_Picture_Mjpeg &stPicture) {
    const PLANE_SIZE stLuma{stHead.lWidth, stHead.lHeight};
    const PLANE_SIZE stChroma{stHead.lWidth / 2, stHead.lHeight / 2};
    if (stTarget.abOwn[0]) {
        Chroma_CopyPlane({stTarget.apucPlanes[0], stTarget.alStrides[0]},
                         {stPicture.pData[0], static_cast<int>(stPicture.uLineSize[0])}, stLuma);
    }
    const SAMPLING stSampling{tjMCUWidth[stHead.lSampling] / 8, tjMCUHeight[stHead.lSampling] / 8};
    for (int i = 1; i < 3; i++) {
        const PLANE stOut{stPicture.pData[i], static_cast<int>(stPicture.uLineSize[i])};
        if (stTarget.apucPlanes[i] == nullptr) {
            Chroma_FillPlane(stOut, stChroma, 128);
        } else if (stTarget.abOwn[i]) {
            Chroma_ToHalf({stTarget.apucPlanes[i], stTarget.alStrides[i]}, stOut, stChroma, stSampling);
        }
    }
}

LONG_32 Decode(JPEG_DECODER &stDecoder, const UCHAR *pucData, ULONG_32 ulSize, const JPEG_HEAD &stHead,
               const DSP_Picture_Mjpeg &stPicture) {
    if (stPicture.uPicWidth != static_cast<ULONG_32>(stHead.lWidth) ||
        stPicture.uPicHeight != static_cast<ULONG_32>(stHead.lHeight) || !HasPlanes(stPicture)) {
        return ZVMJPEG_PARAM;
    }
    JPEG_TARGET stTarget;
    PlanTarget(stDecoder, stHead, stPicture, stTarget);
    const int lResult = tjDecompressToYUVPlanes(stDecoder.hTurbo, pucData, ulSize, stTarget.apucPlanes, 0,
                                                stTarget.alStrides, 0, TJFLAG_LIMITSCANS);
    if (IsFailure(stDecoder.hTurbo, lResult)) {
        return ZVMJPEG_STREAM;
    }
    FinishPlanes(stHead, stTarget, stPicture);
    return ZVMJPEG_OK;
}

/** The picture as libjpeg-turbo reads it: luma of an even size and chroma of half of that. */
struct JPEG_SOURCE {
    const UCHAR *apucPlanes[3];
    int alStrides[3];
};

// libjpeg-turbo reads one column and row more of a picture of an odd size; they are made by repeating the last ones.
void PlanSource(JPEG_ENCODER &stEncoder, const DSP_Picture_Mjpeg &stPicture, JPEG_SOURCE &stSource) {
    const bool bOdd = ((stPicture.uPicWidth | stPicture.uPicHeight) & 1) != 0;
    const int lWidth = static_cast<int>(stPicture.uPicWidth);
    const int lHeight = static_cast<int>(stPicture.uPicHeight);
    for (int i = 0; i < 3; i++) {
        const PLANE stIn{stPicture.pData[i], static_cast<int>(stPicture.uLineSize[i])};
        stSource.apucPlanes[i] = stIn.pucData;
        stSource.alStrides[i] = stIn.lStride;
        if (!bOdd) {
            continue;
        }
        const PLANE_SIZE stFull{tjPlaneWidth(i, lWidth, TJSAMP_420), tjPlaneHeight(i, lHeight, TJSAMP_420)};
        const PLANE_SIZE stHave{i == 0 ? lWidth : lWidth / 2, i == 0 ? lHeight : lHeight / 2};
        stEncoder.aoPlanes[i].assign(static_cast<size_t>(stFull.lWidth) * static_cast<size_t>(stFull.lHeight), 128);
        Chroma_PadPlane(stIn, stHave, {stEncoder.aoPlanes[i].data(), stFull.lWidth}, stFull);
        stSource.apucPlanes[i] = stEncoder.aoPlanes[i].data();
        stSource.alStrides[i] = stFull.lWidth;
    }
}

LONG_32 Encode(JPEG_ENCODER &stEncoder, const DSP_Picture_Mjpeg &stPicture, UCHAR *pucOutput, ULONG_32 *pulLength) {
    const ULONG_32 ulRoom = *pulLength;
    *pulLength = 0;
    const uint64_t ulPixels = static_cast<uint64_t>(stPicture.uPicWidth) * stPicture.uPicHeight;
    if (ulPixels == 0 || ulPixels > MAX_PIXELS || !HasPlanes(stPicture)) {
        return ZVMJPEG_PARAM;
    }
    JPEG_SOURCE stSource;
    PlanSource(stEncoder, stPicture, stSource);
    if (tjCompressFromYUVPlanes(stEncoder.hTurbo, stSource.apucPlanes, static_cast<int>(stPicture.uPicWidth),
                                stSource.alStrides, static_cast<int>(stPicture.uPicHeight), TJSAMP_420,
                                &stEncoder.pucOutput, &stEncoder.ulOutputSize, QUALITY, 0) != 0) {
        return ZVMJPEG_PARAM;
    }
    if (stEncoder.ulOutputSize > ulRoom) {
        return ZVMJPEG_NO_ROOM;
    }
    std::memcpy(pucOutput, stEncoder.pucOutput, stEncoder.ulOutputSize);
    *pulLength = static_cast<ULONG_32>(stEncoder.ulOutputSize);
    return ZVMJPEG_OK;
}

}  // namespace

void DSP_mjpeg_get_version(CHAR **ppcVersion) {
    static CHAR szVersion[] = "1.0.0";
    if (ppcVersion != nullptr) {
        *ppcVersion = szVersion;
    }
}

HANDLE DSP_JpegDecInit(void) { return Make<JPEG_DECODER>(tjInitDecompress); }

void DSP_JpegDecDestroy(HANDLE hDecoder) { delete static_cast<JPEG_DECODER *>(hDecoder); }

LONG_32 DSP_JpegDecode(HANDLE hDecoder, const UCHAR *pucData, ULONG_32 ulSize, DSP_Picture_Mjpeg *pstPicture,
                       LONG_32 lProbe) try {
    if (hDecoder == nullptr || pucData == nullptr || pstPicture == nullptr) {
        return ZVMJPEG_PARAM;
    }
    JPEG_DECODER &stDecoder = *static_cast<JPEG_DECODER *>(hDecoder);
    JPEG_HEAD stHead;
    if (!ReadHead(stDecoder, pucData, ulSize, stHead)) {
        return ZVMJPEG_STREAM;
    }
    if (lProbe == 0) {
        return Decode(stDecoder, pucData, ulSize, stHead, *pstPicture);
    }
    pstPicture->uPicWidth = static_cast<ULONG_32>(stHead.lWidth);
    pstPicture->uPicHeight = static_cast<ULONG_32>(stHead.lHeight);
    return ZVMJPEG_OK;
} catch (const std::bad_alloc &) {
    return ZVMJPEG_NO_MEMORY;
}

HANDLE DSP_JpegEncInit(void) { return Make<JPEG_ENCODER>(tjInitCompress); }

void DSP_JpegEncDestroy(HANDLE hEncoder) { delete static_cast<JPEG_ENCODER *>(hEncoder); }

LONG_32 DSP_JpegEncode(HANDLE hEncoder, const DSP_Picture_Mjpeg *pstPicture, LONG_32 /*lReserved*/, UCHAR *pucOutput,
                       ULONG_32 *pulLength) try {
    if (hEncoder == nullptr || pstPicture == nullptr || pucOutput == nullptr || pulLength == nullptr) {
        return ZVMJPEG_PARAM;
    }
    return Encode(*static_cast<JPEG_ENCODER *>(hEncoder), *pstPicture, pucOutput, pulLength);
} catch (const std::bad_alloc &) {
    return ZVMJPEG_NO_MEMORY;
}
