/**
 * @file zvmjpeg.h
 * @brief Interface of libZvVideomjpeg.so: the JPEG (ITU-T T.81) decoder and encoder.
 *
 * Compiles as C11 and as C++. A handle belongs to one thread at a time; different handles may be used at once.
 */
#ifndef ZELVANE_CODEC_ZVMJPEG_H
#define ZELVANE_CODEC_ZVMJPEG_H

#include <assert.h>

#include "player_public.h"

#define ZVMJPEG_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/** A picture of 8-bit YUV 4:2:0. The chroma planes have half the width and half the height, rounded down. */
typedef struct tagDspPictureMjpeg {
    UCHAR *pData[4];       /**< planes Y, U, V; the fourth is unused; owned by the caller */
    ULONG_32 uLineSize[4]; /**< bytes from one row to the next, of each plane */
    ULONG_32 uPicWidth;    /**< pixels of a row of Y */
    ULONG_32 uPicHeight;   /**< rows of Y */
    LONG_32 lPixFmt;       /**< not looked at: always YUV 4:2:0 */
} DSP_Picture_Mjpeg;

static_assert(sizeof(DSP_Picture_Mjpeg) <= 96, "the player allocates 96 bytes for it");

/** Results of the functions below. */
enum tagZvMjpegResult {
    ZVMJPEG_OK = 0,         /**< done */
    ZVMJPEG_PARAM = -1,     /**< a null pointer, or a picture that does not fit its planes or the format */
    ZVMJPEG_STREAM = -2,    /**< the data is no JPEG picture that can be decoded */
    ZVMJPEG_NO_MEMORY = -3, /**< no memory for the work planes */
    ZVMJPEG_NO_ROOM = -4    /**< the encoded picture is longer than the output buffer */
};

/** Gives the library's version. @param ppcVersion receives a text with the library's lifetime */
ZVMJPEG_API void DSP_mjpeg_get_version(CHAR **ppcVersion);

/** Makes a decoder. @return its handle, or null */
ZVMJPEG_API HANDLE DSP_JpegDecInit(void);

/** Ends a decoder; null is ignored. */
ZVMJPEG_API void DSP_JpegDecDestroy(HANDLE hDecoder);

/**
 * Decodes one picture, or tells its size.
 *
 * A picture that ends early, or has no end mark, decodes as far as it goes. Any chroma sampling comes out as 4:2:0:
 * more chroma is averaged, less is repeated, none gives 128.
 * @param hDecoder   the decoder
 * @param pucData    the picture, from its SOI mark on
 * @param ulSize     bytes
 * @param pstPicture with the probe: receives uPicWidth and uPicHeight and nothing else. Without: its size must be the
 *                   picture's own, its planes and line sizes must hold it
 * @param lProbe     1: only the size; 0: decode
 * @return tagZvMjpegResult
 */
ZVMJPEG_API LONG_32 DSP_JpegDecode(HANDLE hDecoder, const UCHAR *pucData, ULONG_32 ulSize,
                                   DSP_Picture_Mjpeg *pstPicture, LONG_32 lProbe);

/** Makes an encoder. @return its handle, or null */
ZVMJPEG_API HANDLE DSP_JpegEncInit(void);

/** Ends an encoder; null is ignored. */
ZVMJPEG_API void DSP_JpegEncDestroy(HANDLE hEncoder);

/**
 * Encodes one picture as baseline JPEG, 4:2:0, quality 85.
 * @param hEncoder   the encoder
 * @param pstPicture the picture
 * @param lReserved  1
 * @param pucOutput  receives the JPEG picture
 * @param pulLength  in: bytes of room at pucOutput; out: bytes of the picture, 0 on failure
 * @return tagZvMjpegResult
 */
ZVMJPEG_API LONG_32 DSP_JpegEncode(HANDLE hEncoder, const DSP_Picture_Mjpeg *pstPicture, LONG_32 lReserved,
                                   UCHAR *pucOutput, ULONG_32 *pulLength);

#ifdef __cplusplus
}
#endif

#endif
