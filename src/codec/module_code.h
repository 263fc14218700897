/**
 * @file module_code.h
 * @brief One record and one call form over every decoder and encoder that the library uses.
 *
 * A record is made by CODE_CreateCode() for a direction and a media type, driven by CODE_Decoder() or CODE_Encoder(),
 * released by CODE_FreeCode(). What comes out stays in memory of the codec and is valid until the next call with the
 * record.
 *
 * Threads: a record belongs to one thread at a time; different records may be used at once. The planes of a decoded
 * picture are read by other threads too, so the video branches of CODE_Decoder() hold the output record's stLock while
 * they write or move planes; who frees or re-creates a video decoder holds it as well and then clears the planes.
 *
 * Results, where nothing else is said: 0 done; 1 failure; 2 bad parameter; 3 no memory; 7 not supported; 527 and 535
 * decoder or encoder could not be created; 528 decoding failed; 538 no output this time; 540 the AAC decoder is to be
 * created anew.
 */
#ifndef ZELVANE_CODEC_MODULE_CODE_H
#define ZELVANE_CODEC_MODULE_CODE_H

#include "codec/faac.h"
#include "codec/ffaudio.h"
#include "codec/g711.h"
#include "codec/h265dec.h"
#include "codec/mp2.h"
#include "codec/zvcodec.h"
#include "codec/zvmjpeg.h"
#include "foundations/player_types.h"

/** Directions: CODEC_INFO_S::lCodecType. */
enum tagCodecTypeE : LONG_32 {
    CODECTYPE_ENCODER = 0,
    CODECTYPE_DECODER = 1,
};

/** Sizes that the codecs agree on, bytes unless said otherwise. */
enum : ULONG_32 {
    CODEC_MARK_RING_NUM = 32,           /**< frames between input and output of a video decoder, at most */
    CODEC_G711_IN_MAX = 1500,           /**< largest G.711 packet */
    CODEC_G711_DEC_BUF_SIZE = 6000,     /**< PCM of the G.711 decoder */
    CODEC_G711_ENC_BUF_SIZE = 1500,     /**< output of the G.711 encoder */
    CODEC_MP2_STREAM_SIZE = 4096,       /**< stream buffer in the MP2 decoder's context */
    CODEC_MP2_OUT_SAMPLES = 1000,       /**< samples that wait for a block of output */
    CODEC_H264_INFO_SIZE = 96,          /**< H264Dec_Info */
    CODEC_JPEG_PICTURE_SIZE = 96,       /**< DSP_Picture_Mjpeg and room behind it */
    CODEC_JPEG_ENC_BUF_SIZE = 0x800000, /**< output of the JPEG encoder */
    CODEC_AAC_PCM_SIZE = 2048,          /**< PCM of one frame of the AAC encoder */
};

extern "C" {

/** Takes an encoded MP2 frame, on the thread and inside the call of CODE_Encoder(). */
typedef void (*CODE_MP2_DATA_FUNC)(UCHAR *pucData, LONG_32 lLen, DLONG dlTimeStamp, void *pUser);
/** Takes an encoded AAC frame with its ADTS head, on the thread and inside the call of CODE_Encoder(). */
typedef void (*CODE_AAC_DATA_FUNC)(UCHAR *pucData, LONG_32 lLen, DLONG dlTimeStamp, void *pUser);
/** Finds the count of encoded AAC frames that belongs to a callback's user value; null if it is not known. */
typedef ULONG_32 *(*CODE_FRAME_COUNT_FUNC)(void *pUser);

}  // extern "C"

/** One codec object. Owned by the caller; all zero, or lCodecID 9, holds no codec. */
typedef struct tagCodecInfoS {
    LONG_32 lCodecType;       /**< CODECTYPE_ENCODER or CODECTYPE_DECODER */
    LONG_32 lCodecID;         /**< PLAYER_PAYLOAD_E; -1 while creation has not succeeded; 9 after the release */
    HANDLE hCodec;            /**< the codec library's handle */
    CHAR *pcExtraData;        /**< memory of the codec; of an AAC decoder the library's own, never to be freed */
    ULONG_32 ulExtraLen;      /**< its size, or the length of the latest output */
    LONG_32 lUser;            /**< handed to the H.264 decoder as bUcodeReverse */
    HANDLE hFrameInfo;        /**< GPU display; unused */
    HANDLE hBacksurf;         /**< GPU display; unused */
    BOOL_T bUseGpu;           /**< wish for H.264 on the GPU; set by the caller before each creation */
    BOOL_T bUseGpuH265;       /**< the same for H.265 */
    BOOL_T bFirst;            /**< GPU state; unused */
    BOOL_T bGpuDecodeSuccess; /**< GPU state; unused */
    ULONG_32 ulPicWidth;      /**< picture size where the caller keeps it, pixels */
    ULONG_32 ulPicHeight;     /**< rows */
    ULONG_32 ulErrorCount;    /**< spare */
    ULONG_32 ulMaxRefPicNum;  /**< reference pictures of the H.265 decoder */
    BOOL_T bNoShow;           /**< the next frame is to be decoded, not shown; cleared when it is fed */
    LONG_32 lInNum;           /**< index of the latest frame fed in aucDecodeQueue */
    LONG_32 lOutNum;          /**< index of the latest picture that came out */
    UCHAR aucDecodeQueue[CODEC_MARK_RING_NUM]; /**< 1 marks a frame that is not to be shown */
    BOOL_T bDefaultDecSize;                    /**< the H.265 decoder was sized 3840 x 3840 for want of an SPS */
    BOOL_T bOneFrameDecordFlag;                /**< frame by frame: one H.264 thread, IHW265D_DecodeAU for H.265 */
    ULONG_32 ulDecordFailCount;                /**< JPEG failures in a row */
    ULONG_32 ulAudioEnSampleRate; /**< Hz of the AAC encoder's input; set by the caller before each creation */

    /* ours, behind the fields that others use */
    UCHAR *pucDeinterlace;     /**< a copy of the picture for deinterlacing: the decoder's own is a reference */
    ULONG_32 ulDeinterlaceLen; /**< its size */
    ULONG_32 ulJpegWidth;      /**< picture size that the JPEG decoder's planes are made for, pixels */
    ULONG_32 ulJpegHeight;     /**< rows */
    ULONG_32 ulLeftOut;        /**< pictures that will never come: the last call's decoder has left them out */
    ULONG_32 ulAacFrameCount;  /**< frames of the AAC encoder, where no port counts them */
    ULONG_32 ulAacCutCount;    /**< calls of the AAC encoder that brought more than it can keep */
} CODEC_INFO_S;

/** State of the MP2 decoder. */
typedef struct tagMpeg2AudioContext {
    BOOL_T bMpeg2DecodeInit;                            /**< pMpegDec has been made */
    HANDLE pMpegDec;                                    /**< the decoder library's handle */
    MPEG_AUDIO_DEC_S stInOutBuf;                        /**< argument of the decode call */
    UCHAR ucMp2Buf[CODEC_MP2_STREAM_SIZE];              /**< spare stream buffer */
    USHORT *pusPcmBuffer;                               /**< decoded samples, in the work block */
    ULONG_32 ulPcmDataLength;                           /**< bytes of the latest frame there */
    USHORT ausResamplePcmBuffer[CODEC_MP2_OUT_SAMPLES]; /**< output at 8000 Hz */
    ULONG_32 ulResamplePcmLength;                       /**< bytes waiting there */
    AUDIO_RESAMPLE_S stReformat;                        /**< 44100 to 8000 Hz */
    BOOL_T bResampleInit;                               /**< stReformat is open */
} MPEG2_AUDIO_CONTEXT_S;

static_assert(sizeof(MPEG2_AUDIO_CONTEXT_S) == 6288);

/** State of the MP2 encoder. All buffers lie in the one work block. */
typedef struct tagMpeg2AudioEncContext {
    AUDIO_RESAMPLE_S stReformat; /**< to 44100 Hz */
    UCHAR *pucMemBlock;          /**< the work block */
    USHORT *pusResampleBuffer;   /**< samples at 44100 Hz that wait for a frame */
    USHORT *pusPcmBuffer;        /**< a copy of the input */
    ULONG_32 ulMp2InDataLength;  /**< bytes waiting in pusResampleBuffer */
    UCHAR *pucMp2FrameBuffer;    /**< the latest frame */
    UCHAR *pucOutFrameBuffer;    /**< all frames of the latest call, one after the other */
    HANDLE pstMpegAudioContext;  /**< the encoder */
    BOOL_T bAudioResampleInit;   /**< stReformat is open */
    BOOL_T bMp2EncodeInit;       /**< the encoder is open */
    CODE_MP2_DATA_FUNC pfnFanc;  /**< takes the frames */
    void *pUser;                 /**< its user value */
} MPEG2_AUDIO_ENC_CONTEXT_S;

static_assert(sizeof(MPEG2_AUDIO_ENC_CONTEXT_S) == 200);

/** State of the AAC encoder. */
typedef struct tagAacAudioEncContext {
    UCHAR *pcPcmBuffer;         /**< CODEC_AAC_PCM_SIZE bytes of samples that wait for a full frame */
    ULONG_32 ulPcmDataLength;   /**< bytes waiting there */
    CODE_AAC_DATA_FUNC pfnFaac; /**< takes the frames */
    void *pUser;                /**< its user value */
} AAC_AUDIO_ENC_CONTEXT_S;

static_assert(sizeof(AAC_AUDIO_ENC_CONTEXT_S) == 32);

/** A picture for CODE_ColorSpace(). */
typedef struct tagCodecPicS {
    UCHAR *pucData[4];      /**< planes */
    ULONG_32 ulLineSize[4]; /**< bytes from one row to the next, of each plane */
    ULONG_32 ulWidth;       /**< pixels */
    ULONG_32 ulHeight;      /**< rows */
} CODEC_PIC_S;

/** Conversions of CODE_ColorSpace(). */
typedef enum tagFormatColorSpaceE {
    FORMAT_COLORSPACE_YUVTORGB32 = 0, /**< YUV 4:2:0 to three bytes a pixel, rows bottom up */
    FORMAT_COLORSPACE_RGB32TOYUV = 1, /**< hands the planes over as they are */
    FORMAT_COLORSPACE_RGB24TOYUV = 2  /**< does nothing */
} FORMAT_COLORSPACE_E;

extern "C" {

/* ---- start and end of the library ------------------------------------------------------------------------------ */

/** Opens libZvCodec.so, readies it and makes the mutex for the creation of H.264 decoders. Once, before any codec. */
MODULE_API void CODE_H264_GlobalInit(void);

/** Releases what codecs left behind on purpose, ends libZvCodec.so and closes it. Once, after the last codec. */
MODULE_API void CODE_H264_GlobalFree(void);

/* ---- codec objects --------------------------------------------------------------------------------------------- */

/**
 * Makes a codec. bUseGpu, bUseGpuH265 and ulAudioEnSampleRate are read from the record, which is then cleared; a codec
 * that the record may have held is not released by that, it lasts until CODE_H264_GlobalFree().
 * @param lCodecType tagCodecTypeE
 * @param lPayload   PLAYER_PAYLOAD_E
 * @param pExParm    H.264 and H.265 decoder: PLAYER_FRAMEDATA_S of the first frame; MP2 encoder: CODE_DECODED_DATA_S
 *                   with the rate and channels of the input; else unused
 * @param pstCodec   the record
 */
MODULE_API ULONG_32 CODE_CreateCode(LONG_32 lCodecType, LONG_32 lPayload, void *pExParm, CODEC_INFO_S *pstCodec);

/** Releases a codec, whatever the state of the record, and leaves the record cleared with lCodecID 9. */
MODULE_API void CODE_FreeCode(CODEC_INFO_S *pstCodec);

/**
 * Makes an H.265 decoder of a given size in a freed record that has ulMaxRefPicNum put back. The caller then sets
 * lCodecType and lCodecID.
 * @param lWidth  pixels
 * @param lHeight rows
 * @param bOneFrameDecordFlag kept in the record
 * @return 0 or the decoder library's code
 */
MODULE_API ULONG_32 CODE_ReCreateDecoder(LONG_32 lWidth, LONG_32 lHeight, BOOL_T bOneFrameDecordFlag,
                                         CODEC_INFO_S *pstCodec);

/** Whether decoding on a GPU could be switched: 0 when asked to switch it on, 1 when asked to switch it off. */
MODULE_API BOOL_T CODE_CatchHwDec(BOOL_T bAble);

/** Tells what the GPU decodes: nothing, all flags are cleared. @return 0, or 2 for a null record */
MODULE_API BOOL_T CODE_CatchHwDecEx(BOOL_T bAble, PLAYER_GPU_ABLE_STATE_S *pstGpuAbleState);

/* ---- decode, encode -------------------------------------------------------------------------------------------- */

/**
 * Decodes one frame into at most one picture or PCM block. A frame may hold pieces of two pictures and so give two: the
 * others come with CODEC_FRAME_MORE, until there is none left (538).
 * @param pstFrame      the frame; without bytes see CODEC_FRAME_S
 * @param enMode        deinterlacing, for H.264 alone
 * @param pstDecodeData receives planes, strides and size, or PCM, its length and format; a picture's planes change
 *                      under its stLock
 */
MODULE_API ULONG_32 CODE_Decoder(CODEC_INFO_S *pstCodec, CODEC_FRAME_S *pstFrame, PLAYER_DEINTERLACEMODE_E enMode,
                                 CODE_DECODED_DATA_S *pstDecodeData);

/**
 * Encodes a PCM block or a picture.
 * @param pstDecodeData PCM or picture. The MP2 encoder takes 6000 bytes and cuts lLineSize[0] down to that.
 * @param pstFrame      receives the frame of the G.711 and JPEG encoders; MP2 and AAC frames go to the callback
 */
MODULE_API ULONG_32 CODE_Encoder(CODEC_INFO_S *pstCodec, CODE_DECODED_DATA_S *pstDecodeData, CODEC_FRAME_S *pstFrame);

/** Sets what takes the frames of an MP2 encoder. @return 0, or 2 without an encoder */
MODULE_API ULONG_32 CODE_SetMp2DataCallBack(CODEC_INFO_S *pstCodec, CODE_MP2_DATA_FUNC pfnFunc, void *pUser);

/** Sets what takes the frames of an AAC encoder. @return 0, or 2 without an encoder */
MODULE_API ULONG_32 CODE_SetAacDataCallBack(CODEC_INFO_S *pstCodec, CODE_AAC_DATA_FUNC pfnFunc, void *pUser);

/**
 * Sets how the AAC encoder finds the port that counts its frames: input of lMediaType 2 is stamped by that count. Set
 * once at the start of the library, null at its end; without it, and for user values that it does not know, the codec
 * record counts.
 */
MODULE_API void CODE_SetFrameCountFinder(CODE_FRAME_COUNT_FUNC pfnFinder);

/* ---- pictures and PCM ------------------------------------------------------------------------------------------ */

/**
 * Converts a picture; its width and height are rounded down to a multiple of 4.
 * @param lFormat tagFormatColorSpaceE; other values are logged and do nothing
 * @param pstDst  the first plane is the output, the first line size receives its length in bytes
 * @return 0, or 528
 */
MODULE_API ULONG_32 CODE_ColorSpace(ULONG_32 lFormat, const CODEC_PIC_S *pstSrc, CODEC_PIC_S *pstDst);

/**
 * Converts YUV 4:2:0 to three bytes a pixel, rows bottom up and unpadded.
 * @param pucRgbBuf width x height x 3 bytes
 * @param len       receives that number
 * @return 1, or 0 if a plane, the output or the size is missing
 */
MODULE_API BOOL_T CODE_YUV2RGB(DSP_Picture_Mjpeg *pstMidPicture, UCHAR *pucRgbBuf, ULONG_32 *len);

/**
 * Scales a block of signed 16-bit samples if any reaches a limit; only positive peaks count.
 * @param sLimitScope  the limit, 0 or more
 * @param fLimitRatio  the factor, 0 or more; results are cut toward zero
 * @param ulPcmLength  bytes
 * @param pusPcmData   the samples
 * @return 0, or 1 for a bad limit or factor
 */
MODULE_API ULONG_32 limitPcmScope(SHORT sLimitScope, FLOAT fLimitRatio, ULONG_32 ulPcmLength, USHORT *pusPcmData);

/** With DEINTERLACE_DOUBLETOPFIELD copies each even line of the planes over the odd one below, in place. */
MODULE_API void DeinterlaceWithMode(PLAYER_DEINTERLACEMODE_E enDeinterlaceMode, CODE_DECODED_DATA_S *pstDecodeData);

/* ---- absent in this system: each returns 7 and does nothing ---------------------------------------------------- */

/** Picture adjustment. */
MODULE_API ULONG_32 CODE_SetVideoAdjust(PLAYER_VIDEOADJUST_PARAM_S *pstAdjustParam, CODE_DECODED_DATA_S *pstSrcData,
                                        CODE_DECODED_DATA_S *pstDstData);

/** Display of a picture in GPU memory. */
MODULE_API ULONG_32 CODE_GpuDisPlayPic(CODEC_INFO_S *pstCodec, HWND hWnd, ULONG_32 ulDisplayScale,
                                       PLAYER_RECT_S *pstSrcRect, PLAYER_DRAW_DATA_CALLBACK_PF pfnDrawCB, void *pUser);

/** Copy of a picture out of GPU memory. */
MODULE_API ULONG_32 CODE_GetYuvData(CODEC_INFO_S *pstCodec, CODE_DECODED_DATA_S *pstPicData);

}  // extern "C"

#endif
