/**
 * @file zvcodec.h
 * @brief Interface of libZvCodec.so: the H.264 (ITU-T H.264) and AAC (ISO/IEC 14496-3) decoders.
 *
 * The player opens the library by name and looks each function up; nothing links to it. Compiles as C11 and as C++.
 *
 * A handle belongs to one thread at a time; different handles may be used at once. Memory given out (planes, PCM)
 * stays the decoder's and lasts until the next picture of that handle or its destruction: never release it.
 */
#ifndef ZELVANE_CODEC_ZVCODEC_H
#define ZELVANE_CODEC_ZVCODEC_H

#include <assert.h>
#include <stdint.h>

#define ZVCODEC_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/** Planes of a picture: 8-bit YUV 4:2:0 as Y, U, V; the fourth is unused. */
typedef struct tagMpPicture {
    unsigned char *data[4]; /**< planes */
    int linesize[4];        /**< bytes from one row to the next, of each plane */
} MpPicture;

/** Where dec_h264_main() has put the picture: the values of H264Dec_Info::point_to_picture. */
enum tagH264PointToPicture {
    H264_PICTURE_IN_INFO = 0, /**< in H264Dec_Info::yuv_picture */
    H264_PICTURE_IN_REF = 1,  /**< in the third argument */
    H264_PICTURE_NONE = 2     /**< none came out: feed the next frame */
};

/** One call's input and output of the H.264 decoder. */
typedef struct tagH264DecInfo {
    unsigned char *pstream_buf; /**< in: units with start codes (ITU-T H.264 Annex B); copied, no padding needed */
    int buf_size;               /**< in: bytes; 0 ends the stream so far */
    int only_one_field;         /**< in: not looked at */
    unsigned char *outrgb_buf;  /**< in: not looked at */
    int width;                  /**< out: pixels of the picture as it is to be shown (after cropping) */
    int height;                 /**< out: rows of the picture as it is to be shown */
    int point_to_picture;       /**< out: tagH264PointToPicture */
    int32_t piGotPicture;       /**< out: 1 if a picture came out; below 0, so many are left out, see dec_h264_main() */
    MpPicture yuv_picture;      /**< out: the picture */
    int32_t bUcodeReverse;      /**< in: not looked at */
} H264Dec_Info;

static_assert(sizeof(H264Dec_Info) == 96, "the player allocates 96 bytes for it");

/** Sample formats. The P variants hold each channel in a plane of its own. */
typedef enum tagSampleFormat {
    SAMPLE_FMT_NONE = -1,
    SAMPLE_FMT_U8 = 0,
    SAMPLE_FMT_S16 = 1,
    SAMPLE_FMT_S32 = 2,
    SAMPLE_FMT_FLT = 3,
    SAMPLE_FMT_DBL = 4,
    SAMPLE_FMT_U8P = 5,
    SAMPLE_FMT_S16P = 6,
    SAMPLE_FMT_S32P = 7,
    SAMPLE_FMT_FLTP = 8,
    SAMPLE_FMT_DBLP = 9
} SampleFormat;

/** Format of the PCM that the AAC decoder has given last. */
typedef struct tagAacDecoderParam {
    int iChannels;           /**< channels, interleaved in the output */
    int iSampleRate;         /**< Hz */
    int iBitRate;            /**< of the stream, bits a second; 0 where the stream does not tell */
    int iFrameSize;          /**< samples of one channel in a frame */
    SampleFormat eSampleFmt; /**< of the output: always SAMPLE_FMT_S16 */
} aac_decoder_param;

/** Prepares the library, once in a process and before any decoder. Silences FFmpeg's own log process-wide. */
ZVCODEC_API void h264_global_init(void);

/** Ends the use of the library, once, after the last decoder. */
ZVCODEC_API void h264_global_free(void);

/**
 * Gives the library's version.
 * @param ptr receives a pointer to a text with the library's lifetime
 * @return 0, or -1 if ptr is null
 */
ZVCODEC_API int h264_get_version(void **ptr);

/**
 * Makes an H.264 decoder.
 * @param uiThreadCnt threads that share one picture's slices, 1 to 16; other values are brought into that range
 * @return its handle, or null
 */
ZVCODEC_API void *dec_h264_init(unsigned int uiThreadCnt);

/** Ends a decoder and all pictures that it gave out. @return 0, or -1 for a null handle */
ZVCODEC_API int dec_h264_destroy(void *handle);

/**
 * Decodes one buffer: an access unit, one of its slices, or several units together. Pictures come out in display
 * order, each as soon as its last row is decoded, and at most one a call; others wait (16 at most, of large pictures
 * fewer, and then the oldest is lost) for the next calls, which need hold no slice.
 *
 * A picture of which a part is lost or broken is not given out, and neither is what refers to it, up to the next picture
 * that stands alone. The call that finds this out fails, or the next one without a picture.
 * Where decoding begins at a picture that stands alone but is no IDR picture, those that are shown before it and come
 * behind it are left out; piGotPicture counts them.
 *
 * Without bytes the call ends the stream so far: what is held back to be shown later comes out, a picture a call, then
 * none, and the next buffer begins a stream. Planes given out last until a picture comes out of a call with bytes.
 * @param pHandle  the decoder
 * @param Dec_Info input and output
 * @param ref_yuv  a second place for a picture; not used, may be null
 * @return 0, with point_to_picture telling whether a picture came out; below 0: nothing could be decoded
 */
ZVCODEC_API int dec_h264_main(void *pHandle, H264Dec_Info *Dec_Info, MpPicture *ref_yuv);

/** Makes an AAC decoder. @param handle receives it, null on failure @return 0, or below 0 */
ZVCODEC_API int dsp_aac_dec_init(void **handle);

/** Ends an AAC decoder and its PCM. @return 0, or -1 for a null handle */
ZVCODEC_API int dsp_aac_dec_destroy(void *handle);

/**
 * Tells the format of what dsp_aac_dec_decode() gave last.
 * @return 0, or below 0 if nothing has been decoded yet; the record is zeroed then
 */
ZVCODEC_API int dsp_aac_dec_get_param(void *handle, aac_decoder_param *param);

/**
 * Decodes one or more whole ADTS frames (ISO/IEC 14496-3, 1.A.2.2).
 * @param handle   the decoder
 * @param in       the frames
 * @param size_in  bytes; 0: what comes next does not follow what came before, and nothing is decoded
 * @param out      receives the PCM: 16-bit samples of the machine's byte order, channels interleaved
 * @param size_out receives its length in 16-bit units over all channels
 * @return 0; -1 if nothing could be decoded; -3 if the decoder is to be made anew. Below 0 there is no PCM.
 */
ZVCODEC_API int dsp_aac_dec_decode(void *handle, unsigned char *in, int size_in, void **out, int *size_out);

#ifdef __cplusplus
}
#endif

#endif
