/**
 * @file dsp_mcfw_preparse.h
 * @brief What a decoder must know of a stream before it exists: picture size, frame rate, reference count.
 *
 * Readers of the parameter sets of H.264 (ITU-T H.264, 7.3.2.1) and H.265 (ITU-T H.265, 7.3.2.1 and 7.3.2.2) in an
 * Annex B frame. All are pure functions; no byte outside the given length is read, and every loop ends when the data
 * do.
 */
#ifndef ZELVANE_BITS_DSP_MCFW_PREPARSE_H
#define ZELVANE_BITS_DSP_MCFW_PREPARSE_H

#include "foundations/player_types.h"

/** What an H.264 frame tells. The size is that of whole macroblocks: 1080 rows read as 1088. */
typedef struct BitStreamInfo {
    unsigned int uiFrameType;  /**< 255 unknown; 0: an IDR slice or a picture size was met */
    USHORT usWidth;            /**< pixels; 0 unknown, at most 4016 */
    USHORT usHeight;           /**< pixels; 0 unknown, at most 4016 */
    USHORT usFrameRate;        /**< frames a second, rounded down; 0 not told */
    int iCrop;                 /**< frame_cropping_flag */
    unsigned int uiCropLeft;   /**< crop units, not subtracted from the size */
    unsigned int uiCropRight;  /**< likewise */
    unsigned int uiCropTop;    /**< likewise */
    unsigned int uiCropBottom; /**< likewise */
    BOOL_T bSPSFrame;          /**< an SPS was met, whether it could be read or not */
} H264_BitStreamInfo_S;

/** Bit reader over bytes without emulation prevention. Reads behind the end give 0 bits and do not move it. */
typedef struct tagH264GetBitContext {
    const UCHAR *buffer; /**< data, owned by the caller */
    int index;           /**< next bit */
    int size_in_bits;    /**< bits in the data */
} H264_GetBitContext_S;

/** Bit reader over an H.265 unit, which steps over emulation prevention bytes, and what the parameter sets tell. */
typedef struct tagSpsInfoS {
    UCHAR *pucSpsData;        /**< data, owned by the caller */
    ULONG_32 ulDataLen;       /**< their bytes */
    ULONG_32 ulDataOffset;    /**< next byte */
    LONG_32 lZeros;           /**< zero bytes in a row so far */
    LONG_32 lByte;            /**< current byte */
    LONG_32 lBits;            /**< bits of it not yet read */
    LONG_32 lWidth;           /**< coded width, pixels; the conformance window is not subtracted */
    LONG_32 lHeight;          /**< coded height, pixels */
    ULONG_32 ulProfile;       /**< general_profile_idc */
    ULONG_32 ulLevel;         /**< general_level_idc */
    ULONG_32 ulNalLengthSize; /**< 0 */
    ULONG_32 ulMaxRefPicNum;  /**< greatest vps_max_dec_pic_buffering_minus1, at least 1 */
    ULONG_32 ulNumUnits;      /**< vps_num_units_in_tick; 0 not told */
    ULONG_32 ulTimeScale;     /**< vps_time_scale; 0 not told */
} DSP_SPS_INFO_S;

extern "C" {

/**
 * Reads the first usable SPS of an H.264 frame. Meant for key frames: it stops when it has the SPS and an IDR slice,
 * and otherwise walks the whole frame.
 * @param iBitsCnt  bytes, despite the name
 * @return 0
 */
MODULE_API int DSP_H264_PreParse(unsigned char *pucBuffer, int iBitsCnt, H264_BitStreamInfo_S *pstBitstreamInfo);

/**
 * Reads VPS and SPS of an H.265 frame, in this order and ahead of the first slice; without a VPS the SPS alone does.
 * @param pstSpsInfo  cleared first; valid only on success
 * @return 1, or 0: fewer than 20 bytes, a slice first, no SPS, or one that can't be used
 */
MODULE_API BOOL_T ParseSequenceParameterSet(UCHAR *pucSpsData, ULONG_32 ulDataLen, DSP_SPS_INFO_S *pstSpsInfo);

/* ---- H.265 bit reader: everything reads 0 behind the end ------------------------------------------------------- */

/** Next byte; two zero bytes followed by 3 make it step over the 3. */
MODULE_API UCHAR GetBYTE(DSP_SPS_INFO_S *pstSpsInfo);
/** Next bit, from the top of the byte. */
MODULE_API ULONG_32 GetBit(DSP_SPS_INFO_S *pstSpsInfo);
/** Next lBits bits; of more than 32 the last 32 are returned. */
MODULE_API ULONG_32 GetWord(DSP_SPS_INFO_S *pstSpsInfo, LONG_32 lBits);
/** ue(v) (ITU-T H.265, 9.2). */
MODULE_API ULONG_32 GetUE(DSP_SPS_INFO_S *pstSpsInfo);
/** se(v). */
MODULE_API LONG_32 GetSE(DSP_SPS_INFO_S *pstSpsInfo);

/* ---- the steps of DSP_H264_PreParse ---------------------------------------------------------------------------- */

/** Does the work of DSP_H264_PreParse(). */
MODULE_API void Fw_H264_Preparse(const UCHAR *pucBuffer, int iLen, H264_BitStreamInfo_S *pstBitstreamInfo);

/** Reads an SPS without its header byte and emulation prevention bytes. 0, or -1 with the size left as it was. */
MODULE_API int Fw_H264_parseSPS(const UCHAR *pucBuffer, int iLen, H264_BitStreamInfo_S *pstBitstreamInfo);

/**
 * Takes emulation prevention bytes out in place, up to the next slice start; what was in front of each moves up.
 * @param piStart  gets the offset at which the output starts
 * @return bytes of the output
 */
MODULE_API int Fw_H264_ClrPCode(UCHAR *pucBuffer, int iLen, int *piStart);

/** Sets a bit reader up. */
MODULE_API void Fw_H264_init_get_bits(H264_GetBitContext_S *pstContext, const UCHAR *pucBuffer, int iBits);
/** Next iCount bits, 0 to 32. */
MODULE_API unsigned int Fw_H264_get_bits(H264_GetBitContext_S *pstContext, int iCount);
/** Next bit. */
MODULE_API unsigned int Fw_H264_get_bits1(H264_GetBitContext_S *pstContext);
/** ue(v) (ITU-T H.264, 9.1); 0 when the data end first or the value has more than 32 bits. */
MODULE_API unsigned int Fw_H264_get_ue_golomb(H264_GetBitContext_S *pstContext);
/** se(v). */
MODULE_API int Fw_H264_get_se_golomb(H264_GetBitContext_S *pstContext);
/** Steps over scaling_list() of that many entries (ITU-T H.264, 7.3.2.1.1.1). */
MODULE_API void FW_H264_ScalingList(H264_GetBitContext_S *pstContext, unsigned int uiSizeOfScalingList);
/** iValue limited to iMin..iMax. */
MODULE_API int Fw_H264_clip(int iValue, int iMin, int iMax);
/** Place of the highest bit set, 0 for 0. */
MODULE_API int PreDec_av_log2(unsigned int uiValue);

}  // extern "C"

#endif
