// Decoding and encoding of sound.
#include "codec_fixture.h"
#include "support/made_bytes.h"

namespace {

/** Frames that an encoder gave to its callback. */
struct Frames {
    static void Take(UCHAR *data, LONG_32 length, DLONG time, void *user) {
        auto *frames = static_cast<Frames *>(user);
        frames->data.emplace_back(data, data + length);
        frames->times.push_back(time);
    }
    std::vector<Bytes> data;
    std::vector<DLONG> times;
};

class CodecAudio : public CodecTest {
 protected:
    ULONG_32 Encode(const std::vector<SHORT> &pcm, size_t bytes, CODEC_FRAME_S *frame = nullptr) {
        in.pucData[0] = reinterpret_cast<UCHAR *>(const_cast<SHORT *>(pcm.data()));
        in.lLineSize[0] = static_cast<LONG_32>(bytes);
        return CODE_Encoder(&codec, &in, frame);
    }
    void ExpectFormat(ULONG_32 rate, ULONG_32 channels, ULONG_32 bits) const {
        EXPECT_EQ(rate, out.ulSampleRate);
        EXPECT_EQ(channels, out.ulChannels);
        EXPECT_EQ(bits, out.ulBitsPerSample);
    }

    CODE_DECODED_DATA_S in{};
    Frames frames;
};

TEST_F(CodecAudio, RefusesRecordsOfAnotherKind) {
    CODEC_FRAME_S frame{};
    EXPECT_EQ(2U, Decode({}));
    for (const LONG_32 id : {-1, 6, 9, 100}) {
        codec.lCodecType = CODECTYPE_DECODER;
        codec.lCodecID = id;
        EXPECT_EQ(7U, Decode({})) << id;
        codec.lCodecType = CODECTYPE_ENCODER;
        EXPECT_EQ(7U, CODE_Encoder(&codec, &in, &frame)) << id;
    }
    codec.lCodecID = PLAYER_PAYLOAD_PCM;
    EXPECT_EQ(7U, CODE_Encoder(&codec, &in, &frame));
    codec.lCodecType = CODECTYPE_DECODER;
    EXPECT_EQ(2U, CODE_Encoder(&codec, &in, &frame));
    const Bytes pcm(20, 3);
    EXPECT_EQ(0U, Decode(pcm));  // PCM goes through
    EXPECT_EQ(pcm.data(), out.pucData[0]);
    EXPECT_EQ(20, out.lLineSize[0]);
    ExpectFormat(11025, 1, 16);
}

TEST_F(CodecAudio, TakesG711UpToItsBuffers) {
    for (const auto &[payload, silence] : {std::pair{PLAYER_PAYLOAD_G711U, 0xFF}, {PLAYER_PAYLOAD_G711A, 0xD5}}) {
        ASSERT_EQ(0U, MakeDecoder(payload));
        const Bytes packet(1501, static_cast<uint8_t>(silence));
        EXPECT_EQ(528U, Decode(packet));
        ASSERT_EQ(0U, Decode(Span(packet).first(1500)));
        EXPECT_EQ(3000, out.lLineSize[0]);
        ExpectFormat(8000, 1, 16);
        EXPECT_EQ(payload == PLAYER_PAYLOAD_G711U ? 0 : 8, out.pucData[0][2998] | out.pucData[0][2999] << 8);
        CODE_FreeCode(&codec);
    }
    ASSERT_EQ(0U, CODE_CreateCode(CODECTYPE_ENCODER, PLAYER_PAYLOAD_G711U, nullptr, &codec));
    CODEC_FRAME_S frame{};
    ASSERT_EQ(0U, Encode(std::vector<SHORT>(1600), 3000, &frame));
    EXPECT_EQ(1500U, frame.ulSize);
    EXPECT_EQ(1500U, codec.ulExtraLen);
    EXPECT_EQ(0xFF, frame.pucData[1499]);
    EXPECT_EQ(1U, Encode(std::vector<SHORT>(1600), 3002, &frame));
}

TEST_F(CodecAudio, DecodesAacAtTheStreamsOwnRateUntilItFailsTooOften) {
    const std::pair<const char *, int> streams[] = {{"aac_16000_mono.aac", 16000}, {"aac_48000_stereo.aac", 48000}};
    for (const auto &[name, rate] : streams) {
        const ULONG_32 channels = rate == 48000 ? 2 : 1;
        const Bytes stream = ReadFile(MediaPath(name));
        const std::vector<Span> units = SplitAccessUnits(stream, AV_CODEC_ID_AAC);
        ASSERT_LT(20U, units.size());
        ASSERT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_AAC));
        for (const Span unit : units) {
            ASSERT_EQ(0U, Decode(unit));
            EXPECT_EQ(static_cast<LONG_32>(2048 * channels), out.lLineSize[0]);
            ExpectFormat(static_cast<ULONG_32>(rate), channels, 16);
        }
        EXPECT_EQ(528U, Decode(Bytes(30, 7)));
        EXPECT_EQ(0U, Decode(units[3]));
        ULONG_32 result = 528;
        for (int i = 0; i < 20 && result == 528; i++) {
            result = Decode(Bytes(30, 7));
        }
        EXPECT_EQ(540U, result);
        CODE_FreeCode(&codec);
    }
}

TEST_F(CodecAudio, GivesMp2InBlocksAtEightKilohertz) {
    const Bytes stream = ReadFile(MediaPath("mp2_44100_mono.mp2"));
    const std::vector<Span> units = SplitAccessUnits(stream, AV_CODEC_ID_MP2);
    ASSERT_LT(40U, units.size());
    for (int round = 0; round < 2; round++) {  // the second decoder takes over what the first left, but not its sound
        ASSERT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_MP1L2));
        for (size_t i = 0; i < 40; i++) {  // the first has no buffer yet and comes as silence
            const bool block = i % 4 == 3;
            ASSERT_EQ(block ? 0U : 538U, Decode(units[i])) << "frame " << i;
            if (block) {
                EXPECT_NEAR(i == 3 ? 1652 : 1672, out.lLineSize[0], 2) << "frame " << i;
            }
        }
        ExpectFormat(8000, 1, 16);
        CODE_FreeCode(&codec);
    }
}

TEST_F(CodecAudio, EncodesMp2ToItsCallbackAlone) {
    in.ulSampleRate = 8000;
    in.ulChannels = 1;
    ASSERT_EQ(0U, CODE_CreateCode(CODECTYPE_ENCODER, PLAYER_PAYLOAD_MP1L2, &in, &codec));
    ASSERT_EQ(0U, CODE_SetMp2DataCallBack(&codec, Frames::Take, &frames));
    const std::vector<SHORT> pcm = Tone(8000, 0.3);
    in.dulTimeStamp = 4711;
    CODEC_FRAME_S untouched{nullptr, 77, 0, 0};
    for (int i = 0; i < 50; i++) {
        ASSERT_EQ(0U, Encode(pcm, 320, &untouched));
        EXPECT_EQ(77U, untouched.ulSize);
    }
    EXPECT_NEAR(160 * 50 * 44100.0 / 8000 / 1152, static_cast<double>(frames.data.size()), 1);
    for (const Bytes &frame : frames.data) {
        EXPECT_TRUE(frame.size() == 208 || frame.size() == 209);
        EXPECT_EQ(0xFFFD, frame[0] << 8 | frame[1]);
    }
    EXPECT_EQ(4711, frames.times[0]);
    EXPECT_EQ(0U, Encode(pcm, 9000));  // cut to what the encoder takes
    EXPECT_EQ(6000, in.lLineSize[0]);
    const auto &context = *reinterpret_cast<MPEG2_AUDIO_ENC_CONTEXT_S *>(codec.pcExtraData);
    EXPECT_GE(2304U, context.ulMp2InDataLength);
}

TEST_F(CodecAudio, RefusesMp2InputThatGrowsTooMuchOrHasNoRate) {
    in.ulSampleRate = 4000;
    in.ulChannels = 1;
    ASSERT_EQ(0U, CODE_CreateCode(CODECTYPE_ENCODER, PLAYER_PAYLOAD_MP1L2, &in, &codec));
    EXPECT_EQ(1U, Encode(Tone(3000, 0.1), 6000));
    CODE_FreeCode(&codec);
    for (const ULONG_32 rate : {0U, 0x80000000U, 0xFFFFFFFFU}) {
        in.ulSampleRate = rate;
        in.ulChannels = 2;
        EXPECT_EQ(1U, CODE_CreateCode(CODECTYPE_ENCODER, PLAYER_PAYLOAD_MP1L2, &in, &codec)) << rate;
        EXPECT_EQ(-1, codec.lCodecID);
    }
}

class CodecAac : public CodecAudio {
 protected:
    CodecAac() {
        codec.ulAudioEnSampleRate = 16000;
        EXPECT_EQ(0U, CODE_CreateCode(CODECTYPE_ENCODER, PLAYER_PAYLOAD_AAC, nullptr, &codec));
        EXPECT_EQ(0U, CODE_SetAacDataCallBack(&codec, Frames::Take, &frames));
        in.ulSampleRate = 16000;
        in.dulTimeStamp = 99;
    }
    ~CodecAac() override { CODE_SetFrameCountFinder(nullptr); }
    ULONG_32 Waiting() const { return reinterpret_cast<AAC_AUDIO_ENC_CONTEXT_S *>(codec.pcExtraData)->ulPcmDataLength; }

    const std::vector<SHORT> pcm = Tone(8192, 0.2);
};

TEST_F(CodecAac, EncodesWhenAFrameIsFull) {
    ASSERT_EQ(0U, Encode(pcm, 2046));
    EXPECT_EQ(2046U, Waiting());
    ASSERT_EQ(0U, Encode(pcm, 2));
    EXPECT_EQ(0U, Waiting());
    EXPECT_TRUE(frames.data.empty());  // the first frame is held back
    ASSERT_EQ(0U, Encode(pcm, 2048));
    EXPECT_EQ(0U, Waiting());
    ASSERT_EQ(1U, frames.data.size());
    EXPECT_EQ(99, frames.times[0]);
    ASSERT_EQ(0U, Encode(pcm, 3000));
    EXPECT_EQ(952U, Waiting());
    EXPECT_EQ(2U, frames.data.size());
    for (int i = 0; i < 5; i++) {  // one call encodes one frame; more than the next can take is cut
        ASSERT_EQ(0U, Encode(pcm, 16384));
        EXPECT_EQ(2048U, Waiting());
    }
    EXPECT_EQ(7U, frames.data.size());
}

TEST_F(CodecAac, StampsByTheCountOfItsFrames) {
    in.lMediaType = 2;
    for (int i = 0; i < 4; i++) {
        ASSERT_EQ(0U, Encode(pcm, 2048));
    }
    EXPECT_EQ((std::vector<DLONG>{64, 128, 192}), frames.times);
    static ULONG_32 port_count;
    port_count = 9;
    CODE_SetFrameCountFinder([](void *) { return &port_count; });
    ASSERT_EQ(0U, Encode(pcm, 2048));
    EXPECT_EQ(640, frames.times.back());
    EXPECT_EQ(10U, port_count);
    in.ulSampleRate = 0;
    ASSERT_EQ(0U, Encode(pcm, 2048));
    EXPECT_EQ(0, frames.times.back());
}

}  // namespace
