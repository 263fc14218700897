/**
 * @file picture_file.h
 * @brief Pictures as files: JPEG (ITU-T T.81) through the port's encoder, and BMP with 24 bits a pixel.
 *
 * Both functions work in the caller's thread on a picture that nobody changes meanwhile.
 */
#ifndef ZELVANE_FILE_PICTURE_FILE_H
#define ZELVANE_FILE_PICTURE_FILE_H

#include "analytics/fisheye_types.h"
#include "codec/module_code.h"
#include "foundations/player_types.h"

extern "C" {

/**
 * Saves a picture as JPEG.
 * @param pstCodec       a JPEG encoder
 * @param pcFileName     where to; a ".jpg" at its end is cut off IN PLACE, and the file gets ".jpg" behind what is left
 * @param pstDecodeData  YUV 4:2:0 picture
 * @param pstFisheyeInfo not used; may be null
 * @return 0; the encoder's code; PLAYER_ERR_FAILED when the file can't be made; PLAYER_ERR_DISK_FULL; PLAYER_ERR_PARAM
 */
MODULE_API ULONG_32 File_SaveJpeg(CODEC_INFO_S *pstCodec, CHAR *pcFileName, CODE_DECODED_DATA_S *pstDecodeData,
                                  FISH_EYE_INFO_S *pstFisheyeInfo);

/**
 * Saves a picture as BMP. Width and height are rounded down to multiples of 4.
 * @param pcFileName    where to; as with File_SaveJpeg(), with ".bmp"
 * @param pstDecodeData YUV 4:2:0 picture
 * @return 0; PLAYER_ERR_MALLOC; PLAYER_ERR_DECODE for a picture without size; else as File_SaveJpeg()
 */
MODULE_API ULONG_32 File_SaveBmp(CHAR *pcFileName, CODE_DECODED_DATA_S *pstDecodeData);
}

#endif
