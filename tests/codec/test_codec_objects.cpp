// Creation and release of codecs.
#include <cstring>
#include <thread>
#include <vector>

#include "codec/zvcodec_loader.h"
#include "codec_fixture.h"
#include "support/made_bytes.h"

namespace {

/** The first frame of an H.264 stream of baseline profile: an SPS for a picture size, and an IDR slice. */
Bytes FirstFrame(unsigned width, unsigned height) {
    BitWriter sps;
    sps.Bits(0x0000000167, 40).Bits(66, 8).Bits(0, 8).Bits(30, 8);  // profile, constraints, level
    sps.Ue(0).Ue(0).Ue(2).Ue(1).Bits(0, 1);                         // id, frame number length, order, references
    sps.Ue((width + 15) / 16 - 1).Ue((height + 15) / 16 - 1);
    sps.Bits(0b1100, 4).Bits(1, 1);  // frames only, direct 8x8, no crop, no VUI
    Bytes frame(sps.oBytes.begin(), sps.oBytes.end());
    frame.insert(frame.end(), {0, 0, 0, 1, 0x65, 0x88, 0x84, 0, 0x10, 0xFF, 0xFE});
    return frame;
}

class CodecCreate : public CodecTest {};

TEST_F(CodecCreate, AnswersEachPayloadAsTheTableSays) {
    struct Row {
        LONG_32 type, payload;
        ULONG_32 result, extra;
    };
    static constexpr Row kRows[] = {
        {1, 0, 0, 6000}, {1, 1, 0, 6288}, {1, 2, 0, 0},    {1, 4, 0, 0}, {1, 5, 0, 6000}, {1, 6, 2, 0}, {1, 7, 7, 0},
        {1, 9, 2, 0},    {1, -1, 2, 0},   {0, 0, 0, 1500}, {0, 3, 7, 0}, {0, 4, 0, 0},    {0, 5, 7, 0}, {0, 6, 2, 0},
        {0, 7, 0, 0},    {0, 8, 7, 0},    {0, 9, 2, 0},    {2, 0, 2, 0}, {-1, 1, 2, 0},
    };
    for (const Row &row : kRows) {
        SCOPED_TRACE(std::to_string(row.type) + " " + std::to_string(row.payload));
        EXPECT_EQ(row.result, CODE_CreateCode(row.type, row.payload, nullptr, &codec));
        EXPECT_EQ(row.result == 0 ? row.payload : -1, codec.lCodecID);
        EXPECT_EQ(row.type, codec.lCodecType);
        if (row.extra != 0) {
            EXPECT_EQ(row.extra, codec.ulExtraLen);
        }
        CODE_FreeCode(&codec);
        EXPECT_EQ(PLAYER_PAYLOAD_NULL, codec.lCodecID);
    }
    EXPECT_EQ(2U, CODE_CreateCode(1, 0, nullptr, nullptr));
}

TEST_F(CodecCreate, ReleasesTwiceAndWithoutACodec) {
    ASSERT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_JPEG));
    CODEC_INFO_S copy = codec;
    for (CODEC_INFO_S *record : {&codec, &codec, &copy}) {  // also through a copy of the record
        CODE_FreeCode(record);
        EXPECT_EQ(PLAYER_PAYLOAD_NULL, record->lCodecID);
        EXPECT_EQ(nullptr, record->hCodec);
        EXPECT_EQ(nullptr, record->pcExtraData);
    }
    CODE_FreeCode(nullptr);
}

// The PCM of an AAC decoder ends with it, and its address may be given out again before the record is cleared.
TEST_F(CodecCreate, LeavesAnotherCodecsMemoryAtADeadAddressAlone) {
    ASSERT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_AAC));
    CODEC_INFO_S other{};
    ASSERT_EQ(0U, CODE_CreateCode(CODECTYPE_ENCODER, PLAYER_PAYLOAD_JPEG, nullptr, &other));
    codec.pcExtraData = other.pcExtraData;
    CODE_FreeCode(&codec);
    std::memset(other.pcExtraData, 1, 0x800000);
    CODE_FreeCode(&other);
}

TEST_F(CodecCreate, ClearsTheRecordButReadsTheWishesFirst) {
    codec.bUseGpu = 1;
    codec.ulPicWidth = 640;
    EXPECT_EQ(7U, MakeDecoder(PLAYER_PAYLOAD_H264, FirstFrame(640, 480)));
    EXPECT_EQ(-1, codec.lCodecID);
    EXPECT_EQ(0, codec.bUseGpu);
    EXPECT_EQ(0U, codec.ulPicWidth);
    EXPECT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_H264, FirstFrame(640, 480)));  // the wish has to be made again
    CODE_FreeCode(&codec);
    codec.bUseGpuH265 = 1;
    EXPECT_EQ(7U, MakeDecoder(PLAYER_PAYLOAD_H265));
    codec.ulAudioEnSampleRate = 16000;
    EXPECT_EQ(0U, CODE_CreateCode(0, PLAYER_PAYLOAD_AAC, nullptr, &codec));
    CODE_FreeCode(&codec);
    EXPECT_EQ(1U, CODE_CreateCode(0, PLAYER_PAYLOAD_AAC, nullptr, &codec));
}

TEST_F(CodecCreate, ChoosesTheThreadsOfH264BySize) {
    struct Row {
        unsigned width, height;
        BOOL_T one_frame;
        int threads;
    };
    static constexpr Row kRows[] = {{720, 576, 0, 1}, {1280, 720, 0, 2},  {721, 500, 0, 2},
                                    {500, 721, 0, 2}, {1920, 1080, 1, 1}, {1920, 1080, 2, 2}};
    for (const Row &row : kRows) {
        const Bytes first = FirstFrame(row.width, row.height);
        PLAYER_FRAMEDATA_S frame = FrameData(first);
        frame.bOneFrameDecordFlag = row.one_frame;
        const std::string line = "Call dec_h264_init, Thread Count:[" + std::to_string(row.threads) + "].";
        const size_t before = log.Count(PLAYER_LOG_INFO, line);
        ASSERT_EQ(0U, CODE_CreateCode(CODECTYPE_DECODER, PLAYER_PAYLOAD_H264, &frame, &codec));
        EXPECT_EQ(before + 1, log.Count(PLAYER_LOG_INFO, line)) << row.width << "x" << row.height;
        EXPECT_EQ(row.one_frame == 1 ? 1 : 0, codec.bOneFrameDecordFlag);
        CODE_FreeCode(&codec);
    }
    EXPECT_EQ(527U, CODE_CreateCode(CODECTYPE_DECODER, PLAYER_PAYLOAD_H264, nullptr, &codec));
}

TEST_F(CodecCreate, SizesAnH265DecoderByTheFirstFrameOrForAnyPicture) {
    const Bytes stream = ReadFile(MediaPath("h265_640x360.265"));
    const std::vector<Span> units = SplitAccessUnits(stream, AV_CODEC_ID_HEVC);
    ASSERT_LT(2U, units.size());
    ASSERT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_H265, units[0]));
    EXPECT_EQ(0, codec.bDefaultDecSize);
    EXPECT_LE(1U, codec.ulMaxRefPicNum);
    CODE_FreeCode(&codec);
    ASSERT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_H265, units[1]));
    EXPECT_EQ(1, codec.bDefaultDecSize);
    EXPECT_EQ(1U, codec.ulMaxRefPicNum);
    EXPECT_EQ(1U, log.Count(PLAYER_LOG_INFO, "IHW265D_Create iMaxWidth:3840, iMaxHeight:3840."));

    CODE_FreeCode(&codec);
    codec.ulMaxRefPicNum = 3;
    EXPECT_EQ(0U, CODE_ReCreateDecoder(640, 368, 1, &codec));
    EXPECT_EQ(1, codec.bOneFrameDecordFlag);
    EXPECT_EQ(0, codec.bDefaultDecSize);
    codec.lCodecType = CODECTYPE_DECODER;
    codec.lCodecID = PLAYER_PAYLOAD_H265;
    EXPECT_EQ(0U, Decode(units[0]));
    CODE_FreeCode(&codec);
    EXPECT_NE(0U, CODE_ReCreateDecoder(0, -5, 0, &codec));
}

TEST_F(CodecCreate, KeepsWhatARecordLeftBehindUntilTheEnd) {
    // A second creation without a release: leaks are seen by the leak checker, double frees by the address checker.
    for (const LONG_32 payload : {0, 1, 2, 4}) {
        ASSERT_EQ(0U, MakeDecoder(payload));
    }
    CODE_DECODED_DATA_S pcm{};
    pcm.ulSampleRate = 8000;
    pcm.ulChannels = 1;
    ASSERT_EQ(0U, CODE_CreateCode(0, PLAYER_PAYLOAD_MP1L2, &pcm, &codec));
    codec.ulAudioEnSampleRate = 8000;
    ASSERT_EQ(0U, CODE_CreateCode(0, PLAYER_PAYLOAD_AAC, &pcm, &codec));
    CODE_FreeCode(&codec);
}

TEST_F(CodecCreate, ServesManyThreadsAtOnce) {
    const Bytes first = FirstFrame(1280, 720);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([&first, t] {
            for (int i = 0; i < 20; i++) {
                CODEC_INFO_S own{};
                PLAYER_FRAMEDATA_S frame = FrameData(first);
                static constexpr LONG_32 kPayloads[] = {3, 8, 2, 1};
                EXPECT_EQ(0U, CODE_CreateCode(CODECTYPE_DECODER, kPayloads[(t + i) % 4], &frame, &own));
                CODE_FreeCode(&own);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

TEST_F(CodecCreate, LivesWithoutTheLibraryOfH264AndAac) {
    CODE_H264_GlobalFree();
    EXPECT_EQ(0, dlsym_dec_h264_main(nullptr, nullptr, nullptr));
    EXPECT_EQ(0, dlsyml_h264_get_version(nullptr));
    EXPECT_EQ(nullptr, dlsym_dec_h264_init(1));
    EXPECT_EQ(527U, MakeDecoder(PLAYER_PAYLOAD_H264, FirstFrame(640, 480)));
    ASSERT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_AAC));
    EXPECT_EQ(0U, Decode(Bytes(50, 0xFF)));
    EXPECT_EQ(0, out.lLineSize[0]);
    CODE_FreeCode(&codec);
    EXPECT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_H265));  // the other libraries are linked
    CODE_FreeCode(&codec);
    CODE_H264_GlobalInit();
    EXPECT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_H264, FirstFrame(640, 480)));
}

}  // namespace
