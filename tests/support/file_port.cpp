#include "support/file_port.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace support {

namespace {

std::array<std::atomic<unsigned>, PLAYER_MAX_PORT_NUM> endsOfPort;

void AppendParameterSets(Span extra, Bytes *to) {
    const uint8_t code[] = {0, 0, 0, 1};
    size_t at = 5;
    for (int kind = 0; kind < 2; ++kind) {
        size_t count = extra[at++] & (kind == 0 ? 31 : 255);
        for (; count > 0; --count) {
            const size_t size = extra[at] * 256U + extra[at + 1];
            to->insert(to->end(), code, code + 4);
            to->insert(to->end(), extra.begin() + static_cast<ptrdiff_t>(at + 2),
                       extra.begin() + static_cast<ptrdiff_t>(at + 2 + size));
            at += 2 + size;
        }
    }
}

Bytes AnnexB(const AVPacket &packet, Span extra) {
    Bytes frame;
    if ((packet.flags & AV_PKT_FLAG_KEY) != 0) {
        AppendParameterSets(extra, &frame);
    }
    const size_t from = frame.size();
    frame.insert(frame.end(), packet.data, packet.data + packet.size);
    for (size_t at = from; at + 4 <= frame.size();) {
        const size_t size = frame[at] << 24 | frame[at + 1] << 16 | frame[at + 2] << 8 | frame[at + 3];
        const uint8_t code[] = {0, 0, 0, 1};
        std::copy_n(code, 4, frame.begin() + static_cast<ptrdiff_t>(at));
        at += 4 + size;
    }
    return frame;
}

Bytes WithAdts(const AVPacket &packet, Span config) {
    const unsigned type = config[0] >> 3;
    const unsigned rate = (config[0] & 7U) << 1 | config[1] >> 7;
    const unsigned channels = config[1] >> 3 & 15;
    const unsigned size = static_cast<unsigned>(packet.size) + 7;
    Bytes frame = {0xFF,
                   0xF9,
                   static_cast<uint8_t>((type - 1) << 6 | rate << 2 | channels >> 2),
                   static_cast<uint8_t>(channels << 6 | size >> 11),
                   static_cast<uint8_t>(size >> 3),
                   static_cast<uint8_t>(size << 5 | 0x1F),
                   0xFC};
    frame.insert(frame.end(), packet.data, packet.data + packet.size);
    return frame;
}

FileFrame Sample(const AVPacket &packet, const AVCodecParameters &codec) {
    const Span extra(codec.extradata, static_cast<size_t>(codec.extradata_size));
    FileFrame frame = {codec.codec_type == AVMEDIA_TYPE_VIDEO, (packet.flags & AV_PKT_FLAG_KEY) != 0, 0, {}};
    if (codec.codec_id == AV_CODEC_ID_H264) {
        frame.data = AnnexB(packet, extra);
    } else if (codec.codec_id == AV_CODEC_ID_AAC) {
        frame.data = WithAdts(packet, extra);
    } else {
        frame.data.assign(packet.data, packet.data + packet.size);
    }
    return frame;
}

}  // namespace

bool Ffmpeg(const std::string &arguments, const std::string &target) {
    return std::system(("ffmpeg -nostdin -v error " + arguments + " -y '" + target + "'").c_str()) == 0;
}

std::vector<std::string> LinesOf(const std::string &command) {
    std::vector<std::string> lines;
    std::FILE *pipe = popen(command.c_str(), "r");
    char line[4096];
    while (pipe != nullptr && std::fgets(line, sizeof(line), pipe) != nullptr) {
        lines.emplace_back(line);
        lines.back().erase(lines.back().find_last_not_of("\r\n") + 1);
    }
    if (pipe != nullptr) {
        pclose(pipe);
    }
    return lines;
}

std::string Probe(const std::string &path, const std::string &what) {
    const std::vector<std::string> lines = LinesOf("ffprobe -v error -of csv=p=0 " + what + " '" + path + "'");
    return lines.empty() ? "" : lines[0].substr(0, lines[0].find_last_not_of(',') + 1);
}

std::vector<FileFrame> SamplesOfMp4(const std::string &path) {
    AVFormatContext *format = nullptr;
    EXPECT_EQ(avformat_open_input(&format, path.c_str(), nullptr, nullptr), 0) << path;
    std::vector<std::pair<int64_t, FileFrame>> samples;
    AVPacket *packet = av_packet_alloc();
    while (format != nullptr && av_read_frame(format, packet) == 0) {
        samples.emplace_back(packet->pos, Sample(*packet, *format->streams[packet->stream_index]->codecpar));
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    avformat_close_input(&format);
    std::stable_sort(samples.begin(), samples.end(), [](auto &a, auto &b) { return a.first < b.first; });
    std::vector<FileFrame> frames;
    for (auto &[position, frame] : samples) {
        frames.push_back(std::move(frame));
    }
    return frames;
}

std::vector<std::string> PicturesOfFile(const std::string &path) {
    std::vector<std::string> md5s;
    for (const std::string &line :
         LinesOf("ffmpeg -nostdin -v error -i '" + path + "' -map 0:v:0 -fps_mode passthrough -f framemd5 -")) {
        if (!line.empty() && line[0] != '#') {
            md5s.push_back(line.substr(line.rfind(' ') + 1));
        }
    }
    return md5s;
}

Bytes MuxTs(TS_PACKET_DEC_S *mux, int codec, Span unit, bool key, uint64_t time) {
    Bytes copy(unit.begin(), unit.end());
    TS_FRAMEDATA_S frame = {};
    frame.pucData = copy.data();
    frame.lDataLen = static_cast<LONG_32>(copy.size());
    frame.lPayload = codec;
    frame.lFormatType = Payload_IsVideo(codec) && !key ? 1 : 0;
    frame.dulTimestamp = time;
    UCHAR *packets = nullptr;
    ULONG_32 size = 0;
    EXPECT_EQ(File_PacketData(mux, &frame, FILE_PACKET_TYPE_TS, &packets, &size), 0U);
    return Bytes(packets, packets + size);
}

void WriteTs(const std::string &path, const TsStream &video, const TsStream *audio, unsigned keyDistance,
             uint64_t firstTime) {
    std::FILE *file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    auto mux = std::make_unique<TS_PACKET_DEC_S>();
    ASSERT_EQ(File_CreatePacketDec(FILE_PACKET_TYPE_TS, video.codec,
                                   audio != nullptr ? audio->codec : static_cast<int>(PLAYER_PAYLOAD_NULL), mux.get()),
              0U);
    const auto write = [file](const Bytes &packets) { std::fwrite(packets.data(), 1, packets.size(), file); };
    size_t audioDone = 0;
    for (size_t i = 0; i < video.units.size(); ++i) {
        const uint64_t time = firstTime + i * video.ticks;
        write(MuxTs(mux.get(), video.codec, video.units[i], i % keyDistance == 0, time));
        while (audio != nullptr && audioDone < audio->units.size() && firstTime + audioDone * audio->ticks <= time) {
            write(MuxTs(mux.get(), audio->codec, audio->units[audioDone++], false, time));
        }
    }
    std::fclose(file);
}

FilePort::FilePort() {
    endsOfPort[Number()] = 0;
    Zelvane_SetRunMsgCB(Number(), [](ULONG_32, void *message) {
        const auto &info = static_cast<REPORT_MSG_U *>(message)->stRunInfo;
        if (info.ulErrCode == PLAYER_ERR_FILE_END && info.ulPort < PLAYER_MAX_PORT_NUM) {
            endsOfPort[info.ulPort]++;
        }
    });
}

bool FilePort::WaitForEnd(unsigned count) {
    return WaitUntil([&] { return Ends() >= count; });
}

unsigned FilePort::Ends() const { return endsOfPort[Number()]; }

}  // namespace support
