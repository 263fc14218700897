/**
 * @file module_sei.h
 * @brief Private SEI messages of this platform's cameras, in H.264 (7.3.2.3, D.1) and H.265 (7.3.5, D.2).
 *
 * A private message is the first message of its SEI NAL unit: payload type, size, payload. Payload type 5 carries a
 * subtype byte, data, and 0x80 (the RBSP trailing bits) behind the counted data.
 *
 * | H.264 | H.265 | Content        |   | Subtype | Content                |
 * |-------|-------|----------------|---|---------|------------------------|
 * | 33    | 230   | coding head    |   | 20      | scramble random number |
 * | 25    |       | debugging data |   | 25      | voice location         |
 * | 26    |       | watermark      |   | 32      | analytics result       |
 * | 34    | 231   | fisheye        |   | 33      | analytics rules        |
 * | 5     | 5     | subtyped       |   | 36      | scramble key           |
 * |       |       |                |   | 37      | file key               |
 *
 * Of the analytics messages of one frame each is what its own subtype says: rules behind a result are rules.
 *
 * A record belongs to the thread that calls with it. No message is read past the buffer it stands in.
 */
#ifndef ZELVANE_INTAKE_MODULE_SEI_H
#define ZELVANE_INTAKE_MODULE_SEI_H

#include "analytics/module_iva.h"
#include "foundations/player_types.h"

/** Bits of ulSeiType: what has been found. */
enum : ULONG_32 {
    SEI_TYPE_UCODE = 1,             /**< coding head */
    SEI_TYPE_DBUG = 2,              /**< debugging data */
    SEI_TYPE_WATERMARK = 4,         /**< watermark */
    SEI_TYPE_FISHEYE = 8,           /**< fisheye geometry */
    SEI_TYPE_VOICE_LOCATION = 16,   /**< direction of a sound */
    SEI_TYPE_IVA_RESULT = 32,       /**< analytics result */
    SEI_TYPE_IVA_RULE = 64,         /**< analytics rules */
    SEI_TYPE_SCRAMBLE_KEY = 128,    /**< szKeyMRsa */
    SEI_TYPE_SCRAMBLE_RAND = 0x100, /**< ulRand */
    SEI_TYPE_FILE_KEY = 0x200,      /**< szFileKeyM */
};

/** Sizes of key fields, bytes. */
enum : LONG_32 {
    SEI_KEY_RSA_LEN = 132, /**< szKeyMRsa; keys of up to 130 bytes are taken */
    SEI_FILE_KEY_LEN = 64, /**< szFileKeyM; keys of up to 62 bytes are taken */
};

/** Working buffer for payloads without emulation prevention bytes; owned by the record, grows. */
typedef struct tagSeiTempInfo {
    UCHAR *pucSeiBuffer;   /**< buffer; null until the first need */
    LONG_32 lBufferMaxLen; /**< its size */
} SEI_TMEP_INFO_S;

/** Coding head: one byte on the wire. */
typedef struct tagSeiUcodeHeadInfo {
    UCHAR ucBitReserved1 : 1;      /**< bit 7 on the wire */
    UCHAR ucBitCodeType : 2;       /**< bits 6-5 on the wire */
    UCHAR ucBitRender : 1;         /**< bit 4 on the wire; 0: decode the frame and don't show it */
    UCHAR ucBitReserved2 : 2;      /**< bits 3-2 on the wire */
    UCHAR ucBitStoreReference : 2; /**< bits 1-0 on the wire */
} SEI_UCODE_HEAD_INFO_S;
static_assert(sizeof(SEI_UCODE_HEAD_INFO_S) == 1);

/** Coding head of a frame. */
typedef struct tagSeiUcodeInfo {
    LONG_32 lSeiDataLen;                   /**< payload bytes */
    SEI_UCODE_HEAD_INFO_S stUcodeHeadInfo; /**< head */
} SEI_UCODE_INFO_S;

/** Debugging data, as they stand in the stream; owned by the record. */
typedef struct tagSeiDbugInfo {
    LONG_32 lSeiDataLen;   /**< payload bytes */
    UCHAR *pucDbugBuffer;  /**< payload */
    LONG_32 lBufferMaxLen; /**< size of the buffer */
} SEI_DBUG_INFO_S;

/** Watermark. Its two fields stay bytes. */
typedef struct tagSeiWatermarkInfo {
    LONG_32 lSeiDataLen;       /**< payload bytes */
    CHAR szWatermarkValue[16]; /**< watermark */
    CHAR szCheckValue[16];     /**< check value */
} SEI_WATERMARK_INFO_S;

/** The circle of a fisheye picture. */
typedef struct tagSeiFisheyeInfo {
    LONG_32 lSeiDataLen; /**< payload bytes */
    USHORT usX;          /**< centre across */
    USHORT usY;          /**< centre down */
    ULONG_32 ulRadius;   /**< radius */
} SEI_FISH_EYE_INFO_S;

/** Direction of a sound. */
typedef struct tagSeiVoiceLocationInfo {
    LONG_32 lSeiDataLen; /**< bytes behind the subtype */
    USHORT usSoundDir;   /**< direction */
    USHORT usReserved;   /**< unused */
} SEI_VOICE_LOCATION_INFO_S;

/** Analytics records. */
typedef struct tagSeiIvaInfo {
    LONG_32 lSeiDataLen;  /**< bytes behind the subtype */
    IVA_INFO_S stIvaInfo; /**< newest records; buffers owned by it */
} SEI_IVA_INFO_S;

/** Numbers that a scrambled stream needs. */
typedef struct tagSeiScrambleInfo {
    ULONG_32 ulRand;                   /**< random number */
    CHAR szKeyMRsa[SEI_KEY_RSA_LEN];   /**< key, encrypted */
    LONG_32 lKeyMRsaLen;               /**< bytes of szKeyMRsa */
    CHAR szKeyM[4];                    /**< master key */
    CHAR szFileKeyM[SEI_FILE_KEY_LEN]; /**< file key, encrypted */
    LONG_32 lFileKeyMLen;              /**< bytes of szFileKeyM */
    CHAR szUserPassWord[64];           /**< password of the file key */
    LONG_32 lUserPassWordLen;          /**< its bytes */
    ULONG_32 ulErrCount;               /**< failures of descrambling */
} SEI_SCRAMBLE_INFO_S;

/** All that the SEI messages of a port have said. Values stay until they are overwritten. */
typedef struct tagSeiInfoS {
    ULONG_32 ulSeiType;                            /**< what the newest Sei_Parse() has found; consumers clear bits */
    SEI_TMEP_INFO_S stSeiTempInfo;                 /**< working buffer */
    SEI_UCODE_INFO_S stUcodeInfo;                  /**< coding head */
    SEI_DBUG_INFO_S stDbugInfo;                    /**< debugging data */
    SEI_WATERMARK_INFO_S stWatermarkInfo;          /**< watermark */
    SEI_FISH_EYE_INFO_S stFisheyeInfo;             /**< fisheye geometry */
    SEI_VOICE_LOCATION_INFO_S stVoiceLocationInfo; /**< direction of a sound */
    SEI_IVA_INFO_S stSeiIvaInfo;                   /**< analytics */
    SEI_SCRAMBLE_INFO_S stScramble;                /**< scramble numbers */
    ULONG_32 ulErrCount;                           /**< messages that failed to parse, ever */
    ULONG_32 ulSeiTotalLen; /**< bytes of leading SEI units in the frame, if debugging data are among them */
} SEI_INFO_S;

extern "C" {

/**
 * Reads the private SEI messages of one frame, up to its first slice.
 *
 * @param lPayload PLAYER_PAYLOAD_H264 or PLAYER_PAYLOAD_H265
 * @param pucBuffer frame in Annex B form
 * @param lBufferLen its bytes
 * @param pstSeiInfo record of the port
 * @return result of the last message, 0 if there is none; PLAYER_ERR_NOT_SUPPORT (7) for other payloads;
 *         PLAYER_ERR_PARAM (2) for bad arguments and for a malformed message; PLAYER_ERR_MALLOC (3)
 */
MODULE_API ULONG_32 Sei_Parse(LONG_32 lPayload, UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);

/** Frees every buffer of the record and zeroes it. */
MODULE_API void Sei_InfoClear(SEI_INFO_S *pstSeiInfo);

/** Reads the message at pucBuffer, which starts with its payload type. @return as Sei_Parse() */
MODULE_API ULONG_32 Sei_H264Parse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);

/** As Sei_H264Parse(), with the payload types of H.265. */
MODULE_API ULONG_32 Sei_H265Parse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);

/**
 * Reads a payload size: every 0xFF adds 255, the first other byte adds itself and ends it.
 *
 * @param plSeiDataLen size, above 0 and below lBufferLen; unchanged on failure
 * @param plOffset bytes that code the size; unchanged on failure
 * @return 0; PLAYER_ERR_PARAM (2)
 */
MODULE_API ULONG_32 Sei_MathSeiLen(UCHAR *pucBuffer, LONG_32 lBufferLen, LONG_32 *plSeiDataLen, LONG_32 *plOffset);

/**
 * Copies a payload without its emulation prevention bytes (the 3 of each 00 00 03).
 *
 * @param pucStreamBuffer payload
 * @param pucSeiBuffer receives up to *plBufferLen bytes
 * @param plBufferLen in: bytes of the payload; out: bytes left of it
 * @return 0; PLAYER_ERR_PARAM (2)
 */
MODULE_API ULONG_32 Sei_DelCompeteCode(UCHAR *pucStreamBuffer, UCHAR *pucSeiBuffer, LONG_32 *plBufferLen);

/**
 * Finds how many bytes at the start of an H.264 frame belong to SEI units, if debugging data are among them, and stores
 * that in ulSeiTotalLen; 0 otherwise and for H.265.
 *
 * @return 0; PLAYER_ERR_PARAM (2) at a malformed unit
 */
MODULE_API ULONG_32 Sei_GetSeiTotalLen(LONG_32 lPayload, UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);

/** @name Messages whose buffer starts with the payload size. @return 0; PLAYER_ERR_PARAM (2); PLAYER_ERR_MALLOC (3) */
/** @{ */
MODULE_API ULONG_32 Sei_UcodeParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);
MODULE_API ULONG_32 Sei_DbugParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);
MODULE_API ULONG_32 Sei_WatermarkParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);
MODULE_API ULONG_32 Sei_FisheyeParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);
/** @} */

/**
 * @name Subtyped messages: the buffer starts behind the subtype; the length is the coded one and counts the subtype,
 * so the data have one byte less. @return 0; PLAYER_ERR_PARAM (2); PLAYER_ERR_MALLOC (3)
 */
/** @{ */
MODULE_API ULONG_32 Sei_VoiceLocation(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);
MODULE_API ULONG_32 Sei_ScrambleRandParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);
MODULE_API ULONG_32 Sei_ScrambleKeyMRsaParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);
MODULE_API ULONG_32 Sei_FileKeyMRsaParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);
MODULE_API ULONG_32 Sei_IvaV2Parse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo);
/** @} */

}  // extern "C"

#endif
