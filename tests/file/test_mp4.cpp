// MP4 files as other programs write them: every sample comes once, in file order, as libavformat demuxes it.
#include <gtest/gtest.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cstdlib>

#include "mp4_builder.h"
#include "mp4_open.h"
#include "support/temp_dir.h"

namespace {

struct Packet {
    int stream;
    int64_t pos;
    bool key;
    std::string data;
};

struct Demuxed {
    std::vector<Packet> packets;  // in file order
    int video = -1;
    std::string sps, pps;
    int sampleRate = 0, channels = 0;
    double seconds = 0;
};

void TakeStream(const AVStream *stream, int index, Demuxed *demuxed) {
    const AVCodecParameters *codec = stream->codecpar;
    if (codec->codec_type == AVMEDIA_TYPE_AUDIO) {
        demuxed->sampleRate = codec->sample_rate;
        demuxed->channels = codec->ch_layout.nb_channels;
        return;
    }
    demuxed->video = index;
    if (codec->codec_id == AV_CODEC_ID_H264) {
        const std::string extra(reinterpret_cast<char *>(codec->extradata), static_cast<size_t>(codec->extradata_size));
        const size_t spsLen = static_cast<size_t>(static_cast<uint8_t>(extra[6]) << 8 | static_cast<uint8_t>(extra[7]));
        demuxed->sps = extra.substr(8, spsLen);
        demuxed->pps = extra.substr(11 + spsLen, static_cast<uint8_t>(extra[10 + spsLen]));
    }
}

Demuxed Demux(const std::string &path) {
    Demuxed demuxed;
    AVFormatContext *format = nullptr;
    if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0) {
        return demuxed;
    }
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        TakeStream(format->streams[i], static_cast<int>(i), &demuxed);
    }
    demuxed.seconds = static_cast<double>(format->duration) / AV_TIME_BASE;
    AVPacket *packet = av_packet_alloc();
    while (av_read_frame(format, packet) >= 0) {
        demuxed.packets.push_back(
            {packet->stream_index, packet->pos, (packet->flags & AV_PKT_FLAG_KEY) != 0,
             std::string(reinterpret_cast<char *>(packet->data), static_cast<size_t>(packet->size))});
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    avformat_close_input(&format);
    std::sort(demuxed.packets.begin(), demuxed.packets.end(), [](auto &a, auto &b) { return a.pos < b.pos; });
    return demuxed;
}

/** A packet's units with start codes; a key frame with its parameter sets. */
std::string AnnexB(const Packet &packet, const Demuxed &file) {
    std::string bytes = packet.key ? mp4::StartCode(file.sps) + mp4::StartCode(file.pps) : "";
    for (size_t at = 0; at + 4 <= packet.data.size();) {
        size_t size = 0;
        for (size_t i = 0; i < 4; ++i) {
            size = size << 8 | static_cast<uint8_t>(packet.data[at + i]);
        }
        bytes += mp4::StartCode(packet.data.substr(at + 4, size));
        at += 4 + size;
    }
    return bytes;
}

struct Case {
    const char *name;
    const char *arguments;
    int rate;  // as the file's properties have it
};

const Case CASES[] = {
    {"no_b_frames_aac_48000", "-s 320x240 -r 25 -c:v libx264 -bf 0 -g 20 -c:a aac -ar 48000 -ac 2", 25},
    {"b_frames_moov_in_front",
     "-s 640x360 -r 30000/1001 -c:v libx264 -bf 3 -g 40 -c:a aac -ar 44100 -ac 1 "
     "-movflags +faststart",
     29},
    {"slices_60_frames_no_sound", "-s 176x144 -r 60 -c:v libx264 -bf 2 -g 30 -slices 4 -an", 60},
    {"key_frames_alone", "-s 176x144 -r 10 -c:v libx264 -g 1 -c:a aac -ar 8000 -ac 1", 10},
    {"h265", "-s 320x240 -r 25 -c:v libx265 -x265-params log-level=error -g 25 -c:a aac -ar 32000 -ac 2", 25},
    {"mp2_sound", "-s 320x240 -r 15 -c:v libx264 -bf 0 -c:a mp2 -ar 32000 -ac 1", 15},
};

class Mp4OfFfmpeg : public testing::TestWithParam<Case> {};

}  // namespace

TEST_P(Mp4OfFfmpeg, EverySampleOnceInFileOrder) {
    TempDir temp;
    const std::string path = temp.At("a.mp4");
    const std::string command =
        "ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=640x360:r=60:d=3 -f lavfi -i "
        "sine=d=3 -pix_fmt yuv420p -preset ultrafast " +
        std::string(GetParam().arguments) + " " + path;
    ASSERT_EQ(system(command.c_str()), 0);
    const Demuxed expected = Demux(path);
    ASSERT_FALSE(expected.packets.empty());
    const bool h265 = std::string(GetParam().name) == "h265";
    const bool mp2 = std::string(GetParam().name) == "mp2_sound";

    auto file = Mp4Open::FromDisk(path);
    ASSERT_TRUE(file->Ok());
    MP4_INFO_S info;
    ASSERT_EQ(MP4_GetMp4Info(file->Parser(), &info), PLAYER_ERR_OK);
    EXPECT_EQ(static_cast<int>(info.ulFrameRate), GetParam().rate);
    EXPECT_EQ(info.ulPlayTime, static_cast<ULONG_32>(expected.seconds));

    DULONG videoFrames = 0;
    for (const Packet &packet : expected.packets) {
        ASSERT_EQ(file->Read(), PLAYER_ERR_OK);
        const MP4_FRAME_INFO_S &frame = file->Frame();
        EXPECT_EQ(frame.dulTimestamp, videoFrames * file->Parser()->timescale);
        if (packet.stream == expected.video) {
            ++videoFrames;
            ASSERT_EQ(frame.lPayload, h265 ? PLAYER_PAYLOAD_H265 : PLAYER_PAYLOAD_H264);
            if (std::string(GetParam().name) != "key_frames_alone") {
                ASSERT_EQ(frame.lFormatType, packet.key ? 0 : 1);
            }
            const Packet shown = {0, 0, frame.lFormatType == 0, packet.data};
            ASSERT_EQ(file->Bytes(), h265 ? packet.data : AnnexB(shown, expected));
        } else {
            ASSERT_EQ(file->Bytes(), packet.data);
            ASSERT_EQ(frame.lPayload, mp2 ? PLAYER_PAYLOAD_MP1L2 : PLAYER_PAYLOAD_AAC);
            ASSERT_EQ(frame.lFormatType, mp2 ? 0 : 7);
            constexpr int RATES[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000};
            ASSERT_TRUE(mp2 || (RATES[frame.ucAudioType] == expected.sampleRate && frame.ucFrequencyIndex == 2 &&
                                frame.ucChannelNum == expected.channels));
        }
    }
    EXPECT_EQ(file->Read(), PLAYER_ERR_FILE_END);
    EXPECT_EQ(file->Read(), PLAYER_ERR_FILE_END);
}

INSTANTIATE_TEST_SUITE_P(Files, Mp4OfFfmpeg, testing::ValuesIn(CASES),
                         [](const auto &info) { return std::string(info.param.name); });
