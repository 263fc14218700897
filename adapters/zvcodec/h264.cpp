// The exported H.264 functions: arguments are checked here, the work is H264Decoder's.
#include "codec/zvcodec.h"

#include "common/quiet.h"
#include "zvcodec/h264_decoder.h"

extern "C" {

void h264_global_init(void) { zv::QuietFfmpeg(); }

void h264_global_free(void) {}

int h264_get_version(void **ptr) {
    static char version[] = "2.5.82";
    if (ptr == nullptr) {
        return -1;
    }
    *ptr = version;
    return 0;
}

void *dec_h264_init(unsigned int uiThreadCnt) {
    try {
        return zv::H264Decoder::Make(uiThreadCnt).release();
    } catch (...) {
        return nullptr;
    }
}

int dec_h264_destroy(void *handle) {
    if (handle == nullptr) {
        return -1;
    }
    delete static_cast<zv::H264Decoder *>(handle);
    return 0;
}

int dec_h264_main(void *pHandle, H264Dec_Info *Dec_Info, MpPicture * /*ref_yuv*/) {
    if (Dec_Info == nullptr) {
        return -1;
    }
    Dec_Info->point_to_picture = H264_PICTURE_NONE;
    Dec_Info->piGotPicture = 0;
    const bool drain = Dec_Info->buf_size == 0;
    if (pHandle == nullptr || Dec_Info->buf_size < 0 || (Dec_Info->pstream_buf == nullptr && !drain)) {
        return -1;
    }
    auto *decoder = static_cast<zv::H264Decoder *>(pHandle);
    if (drain) {
        decoder->End();
    } else {
        decoder->Decode(Dec_Info->pstream_buf, static_cast<size_t>(Dec_Info->buf_size));
    }
    zv::Planes planes;
    if (!decoder->Take(&planes)) {
        Dec_Info->piGotPicture = -decoder->PopLeftOut();
        return decoder->PopFailure() ? -1 : 0;
    }
    Dec_Info->width = planes.width;
    Dec_Info->height = planes.height;
    Dec_Info->yuv_picture = {};
    for (int i = 0; i < 3; ++i) {
        Dec_Info->yuv_picture.data[i] = planes.data[i];
        Dec_Info->yuv_picture.linesize[i] = planes.stride[i];
    }
    Dec_Info->point_to_picture = H264_PICTURE_IN_INFO;
    Dec_Info->piGotPicture = 1;
    return 0;
}

}  // extern "C"
