// Streams of ordinary senders on a port with standard intake: ffmpeg and GStreamer send, the packets are caught, and
// pushed again as they came, or out of order, doubled and thinned out.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <thread>

#include "player_ext.h"
#include "support/client.h"
#include "support/net_peer.h"
#include "support/temp_dir.h"

using support::InputPort;
using support::WaitUntil;

namespace {

using Command = std::vector<std::string>;
using Packets = std::vector<Bytes>;
const size_t GOP = 15, PICTURES = 45, HELD_BACK = 4;

/** What there is to send; made once by the real encoders. */
struct Media {
    const char *name;
    AVCodecID codec;
    Command encoder;
    const char *pay; /**< how GStreamer sends it */
};
const char *const H264_PAY = "h264parse ! rtph264pay", *const H265_PAY = "h265parse ! rtph265pay";
const Media MEDIA[] = {
    {"plain.264", AV_CODEC_ID_H264, {"-c:v", "libx264", "-bf", "0", "-x264-params", "scenecut=0"}, H264_PAY},
    {"slices.264", AV_CODEC_ID_H264, {"-c:v", "libx264", "-x264-params", "slices=4:scenecut=0"}, H264_PAY},
    {"nlp.265", AV_CODEC_ID_HEVC, {"-c:v", "libx265", "-x265-params", "open-gop=0:scenecut=0:log-level=0"}, H265_PAY},
    {"cra.265", AV_CODEC_ID_HEVC, {"-c:v", "libx265", "-x265-params", "open-gop=1:scenecut=0:log-level=0"}, H265_PAY},
    {"a.mjpeg", AV_CODEC_ID_MJPEG, {"-c:v", "mjpeg", "-huffman", "default", "-pix_fmt", "yuvj420p"},
     "jpegparse ! rtpjpegpay"},
};

std::string PathOf(const Media &media) {
    static const Scratch folder;
    return folder.At(media.name);
}

Bytes Stream(const Media &media) {
    const std::string path = PathOf(media);
    Bytes stream = ReadFile(path);
    if (stream.empty()) {
        Command command = {"ffmpeg", "-nostdin", "-y", "-f", "lavfi", "-i", "testsrc2=s=320x240:r=25", "-frames:v",
                           std::to_string(PICTURES), "-g", std::to_string(GOP), "-threads", "1", "-pix_fmt", "yuv420p"};
        command.insert(command.end(), media.encoder.begin(), media.encoder.end());
        command.push_back(path);
        EXPECT_EQ(support::Run(command), 0);
        stream = ReadFile(path);
    }
    return stream;
}

/** Catches what a program sends to a port. */
Packets Catch(const std::function<Command(const std::string &port)> &program) {
    const uint16_t port = support::FreeUdpPort();
    const support::Socket socket(::socket(AF_INET, SOCK_DGRAM, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int room = 8 << 20;
    setsockopt(socket.Fd(), SOL_SOCKET, SO_RCVBUF, &room, sizeof(room));
    EXPECT_EQ(bind(socket.Fd(), reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    std::atomic<bool> sent{false};
    std::thread sender([&] {
        EXPECT_EQ(support::Run(program(std::to_string(port))), 0);
        sent = true;
    });
    Packets packets;
    Bytes buffer(65536);
    pollfd wait = {socket.Fd(), POLLIN, 0};
    while (poll(&wait, 1, 100) > 0 || !sent) {
        const ssize_t got = recv(socket.Fd(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (got > 0) {
            packets.emplace_back(buffer.begin(), buffer.begin() + got);
        }
    }
    sender.join();
    return packets;
}

Packets SentByFfmpeg(const std::string &file, int mtu) {
    return Catch([&](const std::string &port) -> Command {
        return {"ffmpeg", "-nostdin", "-i", file, "-c", "copy", "-f", "rtp",
                "rtp://127.0.0.1:" + port + "?pkt_size=" + std::to_string(mtu)};
    });
}

Packets SentByGStreamer(const std::string &file, const std::string &pay, int mtu) {
    return Catch([&](const std::string &port) -> Command {
        return {"sh", "-c", "gst-launch-1.0 -q filesrc location=" + file + " ! " + pay + " mtu=" + std::to_string(mtu) +
                                " ! udpsink sync=false host=127.0.0.1 port=" + port};
    });
}

uint32_t StampOf(const Bytes &packet) {
    return uint32_t{packet[4]} << 24 | uint32_t{packet[5]} << 16 | uint32_t{packet[6]} << 8 | packet[7];
}

/** Packets as a network leaves them; the timestamps of those lost are noted. */
Packets Impaired(const Packets &packets, unsigned lossPercent, std::set<uint32_t> *lost) {
    std::mt19937 random(7);
    std::vector<std::pair<double, const Bytes *>> order;
    for (size_t i = 0; i < packets.size(); i++) {
        if (i != 0 && random() % 100 < lossPercent) {
            lost->insert(StampOf(packets[i]));
            continue;
        }
        const double place = static_cast<double>(i);
        order.emplace_back(place + (i != 0 && random() % 10 == 0 ? 1.5 + random() % 20 : 0), &packets[i]);
        if (random() % 20 == 0) {
            order.emplace_back(place + random() % 30, &packets[i]);
        }
    }
    std::stable_sort(order.begin(), order.end(), [](auto &a, auto &b) { return a.first < b.first; });
    Packets all;
    for (const auto &[place, packet] : order) {
        all.push_back(*packet);
    }
    return all;
}

class Standard : public testing::Test {
 protected:
    /** A pushed port with standard intake, and one row of payload types if wanted. */
    static std::unique_ptr<InputPort> Open(AVCodecID codec) {
        return std::make_unique<InputPort>(
            [codec](ULONG_32 number) {
                PLAYER_PAYLOAD_TYPE_S row = {};
                row.ucPayloadType = codec == AV_CODEC_ID_AAC ? 97 : 96;
                row.ulSampleRate = codec == AV_CODEC_ID_AAC ? 44100 : 90000;
                row.ulType = codec == AV_CODEC_ID_AAC;
                row.unPayload.enVideoPayloadType =
                    codec == AV_CODEC_ID_HEVC ? PLAYER_VIDEO_ENCODE_H265 : PLAYER_VIDEO_ENCODE_H264;
                if (row.ulType) {
                    row.unPayload.enAudioPayloadType = PLAYER_AUDIO_ENCODE_AAC;
                }
                return ZelvaneExt_SetStandardIntake(number, 1) && Zelvane_SetPayloadType(number, 1, &row) &&
                       Zelvane_SetBufferCtrl(number, PLAYER_BUFFER_CTRL_BLOCK) &&
                       Zelvane_SetPictureFluency(number, PLAYER_PICTURE_REAL) &&
                       Zelvane_OpenInputStream(number, nullptr, 0, 0);
            },
            Zelvane_CloseInputStream);
    }
    static std::vector<std::string> Play(AVCodecID codec, const Packets &packets, ZELVANE_EXT_INTAKE_S *info) {
        const auto port = Open(codec);
        EXPECT_TRUE(port->PushAll(packets));
        ULONG_32 frames = 0, left = 1;
        EXPECT_TRUE(
            WaitUntil([&] { return Zelvane_GetPacketQueueStart(port->Number(), &frames, &left) && left == 0; }));
        size_t before = 0;
        do {  // longer than anything waits
            before = port->FrameCount() + port->PictureCount();
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        } while (port->FrameCount() + port->PictureCount() != before);
        EXPECT_TRUE(ZelvaneExt_GetIntakeInfo(port->Number(), info));
        port->Close();
        return port->PictureMd5s();
    }

    /** Decoders of JPEG round differently: what comes without RTP, whole pictures pushed, is the measure there. */
    static std::vector<std::string> Reference(AVCodecID codec, Span stream) {
        Packets whole;
        for (const Span unit : SplitAccessUnits(stream, codec)) {
            whole.emplace_back(unit.begin(), unit.end());
        }
        ZELVANE_EXT_INTAKE_S info = {};
        return codec == AV_CODEC_ID_MJPEG ? Play(codec, whole, &info) : ReferenceMd5s(stream, codec);
    }

    support::Library m_library;
};

/** Whether these are all pictures, up to those that the decoder still holds back when the stream just stops. */
testing::AssertionResult IsAll(const std::vector<std::string> &some, const std::vector<std::string> &all) {
    const auto differ = std::mismatch(some.begin(), some.end(), all.begin(), all.end());
    const bool same = some.size() <= all.size() && some.size() + HELD_BACK >= all.size() &&
                      differ.first == some.end();
    return (same ? testing::AssertionSuccess() : testing::AssertionFailure())
           << some.size() << " of " << all.size() << " pictures, the first " << differ.first - some.begin() << " right";
}

/** Whether `some` are pictures of `all`, in their order. */
bool IsPartOf(const std::vector<std::string> &some, const std::vector<std::string> &all) {
    size_t at = 0;
    for (const std::string &each : all) {
        at += at < some.size() && some[at] == each;
    }
    return at == some.size();
}

}  // namespace

TEST_F(Standard, EverySenderAtEveryMtuThroughABadNetwork) {
    for (const Media &media : MEDIA) {
        const Bytes stream = Stream(media);
        const auto all = Reference(media.codec, stream);
        ASSERT_EQ(all.size(), PICTURES);
        const std::string file = PathOf(media);
        for (const int mtu : {200, 1400, 60000}) {
            for (const bool gst : {false, true}) {
                if (gst ? mtu == 200 : mtu == 1400) {
                    continue;
                }
                SCOPED_TRACE(std::string(media.name) + (gst ? " gst " : " ffmpeg ") + std::to_string(mtu));
                const Packets packets = gst ? SentByGStreamer(file, media.pay, mtu) : SentByFfmpeg(file, mtu);
                ZELVANE_EXT_INTAKE_S info = {};
                std::set<uint32_t> lost;
                EXPECT_TRUE(IsAll(Play(media.codec, packets, &info), all));
                EXPECT_EQ(info.ulLost + info.ulDamaged + info.ulDuplicate, 0U);
                EXPECT_TRUE(IsAll(Play(media.codec, Impaired(packets, 0, &lost), &info), all)) << "out of order";
                EXPECT_EQ(info.ulLost + info.ulDamaged, 0U);
                const auto shown = Play(media.codec, Impaired(packets, 2, &lost), &info);
                EXPECT_TRUE(IsPartOf(shown, all));
                size_t whole = 0, index = 0;
                std::map<uint32_t, bool> seen;
                bool good = true;
                for (const Bytes &packet : packets) {  // pictures in the order of decoding
                    if (seen.emplace(StampOf(packet), true).second) {
                        good = (media.codec == AV_CODEC_ID_MJPEG || index++ % GOP == 0 || good) &&
                               !lost.contains(StampOf(packet));
                        whole += good;
                    }
                }
                EXPECT_GE(shown.size() + HELD_BACK + (media.codec == AV_CODEC_ID_HEVC ? whole / 5 : 0), whole);
                EXPECT_EQ(info.ulLost != 0, !lost.empty());
            }
        }
    }
}
