// A codec layer that is up, a record that is freed, and the shapes that its tests need again and again.
#ifndef ZELVANE_TESTS_CODEC_CODEC_FIXTURE_H
#define ZELVANE_TESTS_CODEC_CODEC_FIXTURE_H

#include <gtest/gtest.h>

#include <string>

#include "codec/module_code.h"
#include "support/log_lines.h"
#include "support/media.h"

/** Brings the codec layer up for each test and down again. */
class CodecTest : public testing::Test {
 protected:
    CodecTest() { CODE_H264_GlobalInit(); }
    ~CodecTest() override {
        CODE_FreeCode(&codec);
        CODE_H264_GlobalFree();
    }

    /** Makes a decoder; a video decoder for the stream that `first` begins. */
    ULONG_32 MakeDecoder(LONG_32 payload, Span first = {}) {
        PLAYER_FRAMEDATA_S frame = FrameData(first);
        return CODE_CreateCode(CODECTYPE_DECODER, payload, &frame, &codec);
    }
    static PLAYER_FRAMEDATA_S FrameData(Span data) {
        PLAYER_FRAMEDATA_S frame{};
        frame.pucData = const_cast<UCHAR *>(data.data());
        frame.lDataLen = static_cast<LONG_32>(data.size());
        return frame;
    }
    ULONG_32 Decode(Span data, PLAYER_DEINTERLACEMODE_E mode = DEINTERLACE_NONE) {
        CODEC_FRAME_S frame{const_cast<UCHAR *>(data.data()), static_cast<ULONG_32>(data.size()), 0, 0};
        return CODE_Decoder(&codec, &frame, mode, &out);
    }
    std::string OutMd5() const { return PictureMd5(out.pucData, out.lLineSize, out.lWidth, out.lHeight); }
    Span Pcm() const { return {out.pucData[0], static_cast<size_t>(out.lLineSize[0])}; }

    LogLines log;
    CODEC_INFO_S codec{};
    CODE_DECODED_DATA_S out{};
};

#endif
