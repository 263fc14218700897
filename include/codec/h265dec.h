/**
 * @file h265dec.h
 * @brief Interface of libHW_H265dec_Linux64.so: the H.265 (ITU-T H.265) decoder.
 *
 * Compiles as C11 and as C++. A handle belongs to one thread at a time; different handles may be used at once.
 */
#ifndef ZELVANE_CODEC_H265DEC_H
#define ZELVANE_CODEC_H265DEC_H

#include <stdint.h>

#define H265DEC_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

typedef int8_t INT8;     /**< character of a log text */
typedef uint8_t UINT8;   /**< byte */
typedef int32_t INT32;   /**< signed, 32 bits */
typedef uint32_t UINT32; /**< unsigned, 32 bits */
typedef uint64_t UINT64; /**< unsigned, 64 bits */

/** Results of the functions, held in an INT32. */
typedef enum tagIHW265D_RETURN {
    IHW265D_OK = 0,                               /**< done; of a decode call: a picture came out */
    IHW265D_NEED_MORE_BITS = 1,                   /**< no picture this time: feed the next frame */
    IHW265D_INVALID_PARAM = (int)0xF0400001,      /**< a null pointer or an impossible value */
    IHW265D_NO_MEMORY = (int)0xF0400002,          /**< the decoder could not be made */
    IHW265D_STREAM_ERR = (int)0xF0401000,         /**< nothing in the buffer could be decoded */
    IHW265D_INVALID_MAX_WIDTH = (int)0xF0402001,  /**< the picture is wider than the decoder was made for */
    IHW265D_INVALID_MAX_HEIGHT = (int)0xF0402002, /**< the picture is higher than the decoder was made for */
    IHW265D_SLICEHEADER_ERR = (int)0xF0404005     /**< slice header damaged; the same call may be tried once more */
} IHW265D_RETURN;

/** Threads of a decoder. */
typedef enum tagIH265D_THREAD_TYPE {
    IH265D_SINGLE_THREAD = 0, /**< the caller's thread alone */
    IH265D_MULTI_THREAD = 1   /**< several threads share one picture */
} IH265D_THREAD_TYPE;

/** Order in which pictures come out. */
typedef enum tagIH265D_OUTPUT_ORDER {
    IH265D_DISPLAY_ORDER = 0 /**< as they are to be shown */
} IH265D_OUTPUT_ORDER;

/** What a decode call is to do. */
typedef enum tagIH265D_DECODE_MODE {
    IH265D_DECODE = 0 /**< decode the buffer */
} IH265D_DECODE_MODE;

/** Levels of the log function. */
typedef enum tagIHWVIDEO_ALG_LOG_LEVEL {
    IHWVIDEO_ALG_LOG_ERROR = 0, /**< the only level in use */
    IHWVIDEO_ALG_LOG_WARNING = 1,
    IHWVIDEO_ALG_LOG_INFO = 2,
    IHWVIDEO_ALG_LOG_DEBUG = 3
} IHWVIDEO_ALG_LOG_LEVEL;

/** Gives memory of uiSize bytes, or null. */
typedef void *(*IHWVIDEO_ALG_MALLOC_PF)(UINT32 uiChannelID, UINT32 uiSize);
/** Releases what the function above gave. */
typedef void (*IHWVIDEO_ALG_FREE_PF)(UINT32 uiChannelID, void *pMem);
/** Takes one line, a printf format and its arguments, on the thread that decodes. */
typedef void (*IHWVIDEO_ALG_LOG_PF)(UINT32 uiChannelID, IHWVIDEO_ALG_LOG_LEVEL eLevel, INT8 *pszMsg, ...);

/** What a decoder is made for. The counts of parameter sets and references are not limits here. */
typedef struct tagIHW265D_INIT_PARAM {
    UINT32 uiChannelID;               /**< handed to the three functions */
    INT32 iMaxWidth;                  /**< widest picture, pixels as shown (after the conformance window) */
    INT32 iMaxHeight;                 /**< highest picture, rows as shown */
    INT32 iMaxRefNum;                 /**< reference pictures */
    INT32 iMaxVPSNum;                 /**< video parameter sets */
    INT32 iMaxSPSNum;                 /**< sequence parameter sets */
    INT32 iMaxPPSNum;                 /**< picture parameter sets */
    UINT32 uiBitDepth;                /**< bits of an output sample: 8 */
    UINT32 uiMvcEnable;               /**< 0 */
    IH265D_THREAD_TYPE eThreadType;   /**< threads */
    IH265D_OUTPUT_ORDER eOutputOrder; /**< output order */
    void *pstUserData;                /**< not looked at */
    IHWVIDEO_ALG_MALLOC_PF pfnMalloc; /**< memory of the handle; needed */
    IHWVIDEO_ALG_FREE_PF pfnFree;     /**< its release; needed */
    IHWVIDEO_ALG_LOG_PF pfnLog;       /**< errors; may be null */
} IHW265D_INIT_PARAM;

/** Input of a decode call. */
typedef struct tagIH265DEC_INARGS {
    UINT8 *pStream;                 /**< units with start codes (ITU-T H.265 Annex B); copied, no padding needed */
    UINT32 uiStreamLen;             /**< bytes; 0 ends the stream so far */
    UINT64 uiTimeStamp;             /**< of the buffer, 90 kHz ticks; not looked at */
    IH265D_DECODE_MODE eDecodeMode; /**< IH265D_DECODE */
} IH265DEC_INARGS;

/** Output of a decode call; all 0 unless it gave IHW265D_OK. */
typedef struct tagIH265DEC_OUTARGS {
    UINT8 *pPlane[3];   /**< 8-bit YUV 4:2:0 as Y, U, V; the decoder's until the next picture or its deletion */
    UINT32 uiYStride;   /**< bytes from one row of Y to the next */
    UINT32 uiUVStride;  /**< the same for U and V */
    UINT32 uiDecWidth;  /**< pixels as shown (after the conformance window) */
    UINT32 uiDecHeight; /**< rows as shown */
} IH265DEC_OUTARGS;

/** Version of the library. */
typedef struct tagIHWVIDEO_ALG_VERSION_STRU {
    UINT32 uiVersion;       /**< major x 10000 + minor x 100 + patch */
    char szReleaseTime[32]; /**< text */
} IHWVIDEO_ALG_VERSION_STRU;

/** Gives the version. @return IHW265D_OK or IHW265D_INVALID_PARAM */
H265DEC_API INT32 IHW265D_GetVersion(IHWVIDEO_ALG_VERSION_STRU *pstVersion);

/**
 * Makes a decoder. Silences FFmpeg's own log process-wide.
 * @param phDecoder   receives the handle, null on failure
 * @param pstInitParam copied
 * @return IHW265D_OK, IHW265D_INVALID_PARAM or IHW265D_NO_MEMORY
 */
H265DEC_API INT32 IHW265D_Create(void **phDecoder, IHW265D_INIT_PARAM *pstInitParam);

/** Ends a decoder and all pictures that it gave out; null is ignored. @return IHW265D_OK */
H265DEC_API INT32 IHW265D_Delete(void *hDecoder);

/**
 * Decodes one buffer: an access unit, one of its slices, an aggregation unit (IETF RFC 7798, 4.4.2), or several
 * units together. At most one picture a call; others wait (16 at most, of large pictures fewer, and then the oldest is
 * lost) for the next calls, which need hold no slice.
 *
 * A picture is decoded when it is known to be whole: when the next one begins; when a buffer that holds an access unit
 * delimiter and nothing else says so; and, with callers that never send one, at the end of a buffer if its slices begin
 * where those of the pictures before began.
 *
 * A picture of which a part is lost or broken is not given out, and neither is what refers to it, up to the next picture
 * that stands alone. The call that finds this out fails, or the next one without a picture.
 *
 * Without bytes the call ends the stream so far: what waits or is held back to be shown later comes out, a picture a
 * call, then none, and the next buffer begins a stream. Planes given out last until a picture comes out of a call with
 * bytes.
 * @return IHW265D_RETURN
 */
H265DEC_API INT32 IHW265D_DecodeFrame(void *hDecoder, IH265DEC_INARGS *pstInArgs, IH265DEC_OUTARGS *pstOutArgs);

/** The same as IHW265D_DecodeFrame(), for callers that feed one access unit a call. */
H265DEC_API INT32 IHW265D_DecodeAU(void *hDecoder, IH265DEC_INARGS *pstInArgs, IH265DEC_OUTARGS *pstOutArgs);

#ifdef __cplusplus
}
#endif

#endif
