// dec_h264_main over a run of buffers. The first byte sets the thread count.
#include "codec/zvcodec.h"
#include "video_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) {
        return 0;
    }
    h264_global_init();
    void *handle = dec_h264_init(data[0] & 3U);
    volatile unsigned sink = 0;
    ForEachBuffer(data + 1, size - 1, [&](std::vector<uint8_t> &buffer) {
        H264Dec_Info info{};
        info.pstream_buf = buffer.data();
        info.buf_size = static_cast<int>(buffer.size());
        if (dec_h264_main(handle, &info, nullptr) == 0 && info.point_to_picture == H264_PICTURE_IN_INFO) {
            CopyPicture(info.yuv_picture.data, info.yuv_picture.linesize, info.width, info.height);
            for (int i = 0; i < 3; ++i) {
                const int half = i == 0 ? 0 : 1;
                sink = sink + TouchPlane(info.yuv_picture.data[i], info.yuv_picture.linesize[i],
                                         (info.width + half) >> half, (info.height + half) >> half);
            }
        }
    });
    dec_h264_destroy(handle);
    return 0;
}
