/**
 * @file zvcodec_loader.h
 * @brief libZvCodec.so at run time: opened by name, each function looked up at each call.
 *
 * A client may come without the library. Then each call logs "pAvcodecHandle is NULL." and answers 0 (dec_h264_init:
 * null), so that the caller goes on without a picture. A library without the function answers 1 (null) after a line
 * that names it. Apart from opening and closing, any thread may call.
 */
#ifndef ZELVANE_CODEC_ZVCODEC_LOADER_H
#define ZELVANE_CODEC_ZVCODEC_LOADER_H

#include "codec/zvcodec.h"
#include "foundations/player_types.h"

/** Opens the library; one that is open already stays. */
void ZvCodec_Open(void);

/** Closes it. */
void ZvCodec_Close(void);

extern "C" {

MODULE_API void dlsym_h264_global_init(void);                   /**< h264_global_init() */
MODULE_API void dlsym_h264_global_free(void);                   /**< h264_global_free() */
MODULE_API int dlsyml_h264_get_version(void **ptr);             /**< h264_get_version() */
MODULE_API void *dlsym_dec_h264_init(unsigned int uiThreadCnt); /**< dec_h264_init() */
MODULE_API int dlsym_dec_h264_destroy(void *handle);            /**< dec_h264_destroy() */
/** dec_h264_main() */
MODULE_API int dlsym_dec_h264_main(void *pHandle, H264Dec_Info *Dec_Info, MpPicture *ref_yuv);
MODULE_API int dlsym_dsp_aac_dec_init(void **handle);   /**< dsp_aac_dec_init() */
MODULE_API int dlsym_dsp_aac_dec_destroy(void *handle); /**< dsp_aac_dec_destroy() */
/** dsp_aac_dec_get_param() */
MODULE_API int dlsym_dsp_aac_dec_get_param(void *handle, aac_decoder_param *param);
/** dsp_aac_dec_decode() */
MODULE_API int dlsym_dsp_aac_dec_decode(void *handle, unsigned char *in, int size_in, void **out, int *size_out);

}  // extern "C"

#endif
