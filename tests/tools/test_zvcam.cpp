// zvcam: what it sends is received by the library, by ffmpeg and by GStreamer, and its faults are those it counts.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <future>
#include <map>
#include <memory>

#include "common/access_units.h"
#include "support/client.h"
#include "support/net_peer.h"
#include "support/rtp_stream.h"
#include "tools/program.h"
#include "zvcam/faults.h"
#include "zvcam/options.h"

using support::InputPort;
using support::Library;
using support::Socket;
using support::WaitUntil;

namespace {

const char *const kH264 = "h264_640x360_bf0.264", *const kH265 = "h265_640x360.265";

/** One run of zvcam. */
class Camera : public Program {
 public:
    explicit Camera(const std::vector<std::string> &words) : Program("zvcam", words) {}

    /** The TCP port that it took. */
    uint16_t Port() const {
        const std::string says = "serves tcp://127.0.0.1:";
        EXPECT_TRUE(Soon([&] { return Err().find(says) != std::string::npos && Err().ends_with('\n'); })) << Err();
        return static_cast<uint16_t>(std::strtoul(Err().c_str() + Err().find(says) + says.size(), nullptr, 10));
    }
    /** A number of the report's totals. */
    long Total(const std::string &key) const { return std::strtol(Last(Out(), key).c_str(), nullptr, 10); }
};

std::unique_ptr<InputPort> Receive(ULONG_32 protocol, uint16_t port) {
    const bool tcp = protocol == PLAYER_PROTOCOL_TCP;
    return std::make_unique<InputPort>(
        [=](ULONG_32 number) {
            return Zelvane_OpenNetStream(number, "127.0.0.1", tcp ? 0 : port, "127.0.0.1", tcp ? port : 0, protocol) !=
                   0;
        },
        Zelvane_CloseNetStream);
}

std::vector<std::string> Expected(const std::string &name) {
    static std::map<std::string, std::vector<std::string>> known;
    std::vector<std::string> &md5s = known[name];
    if (md5s.empty()) {
        md5s = ReferenceMd5s(ReadFile(MediaPath(name.c_str())),
                             name.ends_with("265") ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264);
    }
    return md5s;
}

void ExpectPictures(const InputPort &port, const std::string &name) {
    WaitUntil([&] { return port.PictureMd5s().size() >= Expected(name).size(); });
    EXPECT_EQ(port.PictureMd5s(), Expected(name));
}

Socket Connect(uint16_t port) {
    Socket result(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(result.Fd(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    return result;
}

/** What a TCP client gets, up to the end; `error` is 0 for an end in order, else the errno. */
Bytes Everything(const Socket &socket, int *error) {
    Bytes all;
    for (uint8_t block[65536];;) {
        const ssize_t got = recv(socket.Fd(), block, sizeof block, 0);
        if (got <= 0) {
            *error = got < 0 ? errno : 0;
            return all;
        }
        all.insert(all.end(), block, block + got);
    }
}

/** The packets behind their heads, as long as all is in order; `rest` gets the bytes behind the last whole one. */
std::vector<Bytes> Unframe(const Bytes &stream, size_t *rest) {
    std::vector<Bytes> packets;
    size_t at = 0;
    while (at + 4 <= stream.size() && stream[at] == '$') {
        const size_t length = size_t(stream[at + 2]) << 8 | stream[at + 3];
        if (stream.size() - at - 4 < length) break;
        packets.emplace_back(stream.begin() + at + 4, stream.begin() + at + 4 + length);
        at += 4 + length;
    }
    *rest = stream.size() - at;
    return packets;
}

/** Runs a camera for one TCP client that reads everything. */
Bytes Serve(std::vector<std::string> words, Bytes (*read)(const Socket &, int *), int *error, std::string *report) {
    words.insert(words.end(), {"--fast", "tcp://127.0.0.1:0"});
    Camera camera(words);
    const Bytes all = read(Connect(camera.Port()), error);
    EXPECT_EQ(camera.Wait(), 0) << camera.Err();
    *report = camera.Out();
    return all;
}

/** Whether somebody has this UDP port. */
bool IsBound(uint16_t port) {
    const Socket socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    return bind(socket.Fd(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0;
}

/** The access units of an H.264 stream as lists of units. */
std::vector<std::vector<Bytes>> AccessUnits(tools::AccessUnitReader reader) {
    std::vector<std::vector<Bytes>> all;
    for (tools::AccessUnit unit; reader.Next(&unit);) {
        all.emplace_back();
        for (const tools::Bytes part : unit.units) all.back().emplace_back(part.begin(), part.end());
    }
    return all;
}

std::vector<std::vector<Bytes>> AccessUnits(const std::string &path) {
    tools::MappedFile file;
    tools::Failure failure;
    EXPECT_TRUE(file.Open(path, &failure)) << failure.what;
    return AccessUnits(tools::AccessUnitReader(std::move(file), path.ends_with("265")));
}

}  // namespace

TEST(Zvcam, IsReceivedByTheLibrary) {
    const Library library;
    const struct {
        const char *file;
        bool tcp;
        const char *format;
        std::vector<std::string> words;
    } cases[] = {
        {kH264, false, "", {"--speed", "4", "--playback-time", "1000", "--finish"}},
        {kH265, false, "", {"--speed", "4", "--spread", "5", "--mtu", "900"}},
        {kH264, false, "?ts", {"--speed", "4", "--spread", "5"}},
        {kH264, true, "", {"--fast", "--split", "9", "--aggregate"}},
        {kH265, true, "?ts", {"--fast", "--split", "2000"}},
        {"h264_640x360_slices4.264", true, "?ts", {"--fast", "--stall-after", "20", "--stall", "0.2"}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(std::string(row.file) + row.format + (row.tcp ? " tcp" : " udp"));
        std::vector<std::string> words = row.words;
        const uint16_t udp = support::FreeUdpPort();
        std::unique_ptr<InputPort> port = row.tcp ? nullptr : Receive(PLAYER_PROTOCOL_UDP, udp);
        words.insert(words.end(),
                     {MediaPath(row.file), (row.tcp ? "tcp://127.0.0.1:0" : "udp://127.0.0.1:" + std::to_string(udp)) +
                                               std::string(row.format)});
        Camera camera(words);
        if (row.tcp) port = Receive(PLAYER_PROTOCOL_TCP, camera.Port());
        ExpectPictures(*port, row.file);
        EXPECT_EQ(camera.Wait(), 0) << camera.Err();
        EXPECT_EQ(camera.Total("frames"), 75);
        EXPECT_EQ(camera.Total("drops"), 0);
    }
    EXPECT_EQ(Library::LinesWith("PlayBack Finished, Playback Time:[1002]."), 1U);
}

TEST(Zvcam, MakesPicturesAndSound) {
    const Library library;
    for (const char *kind : {"g711u", "g711a", "aac"}) {
        const std::string codec = std::string(kind) == "aac" ? "h265" : "h264";
        Camera camera({"--seconds", "2", "--fast", "--audio", kind, "--codec", codec, "--size", "320x240", "--gop",
                       "10", "tcp://127.0.0.1:0", "tcp://127.0.0.1:0?ts"});
        const auto port = Receive(PLAYER_PROTOCOL_TCP, camera.Port());
        EXPECT_TRUE(Zelvane_OpenSound(port->Number()));
        EXPECT_EQ(camera.Wait(), 0) << camera.Err();
        EXPECT_EQ(camera.Total("frames"), 50);
        EXPECT_EQ(camera.Total("key_frames"), 5);
        EXPECT_TRUE(WaitUntil([&] { return port->PictureMd5s().size() == 50; })) << port->PictureMd5s().size();
        EXPECT_TRUE(WaitUntil([&] { return port->AudioFrames() == static_cast<size_t>(camera.Total("sounds")); }));
        EXPECT_NEAR(static_cast<double>(port->AudioFrames()), codec == "h265" ? 31 : 99, 2);
    }
}

TEST(Zvcam, IsReceivedByFfmpegAndGStreamer) {
    const Scratch folder;
    const uint16_t port = support::FreeUdpPort();
    const std::vector<std::string> words = {"--sdp", folder.At("cam.sdp"), MediaPath(kH264),
                                            "udp://127.0.0.1:" + std::to_string(port)};
    std::vector<std::string> unheard = words;
    unheard.push_back("--fast");
    Camera first(unheard);
    ASSERT_EQ(first.Wait(), 0) << first.Err();
    EXPECT_GT(first.Total("refused"), 0);
    EXPECT_NE(first.Err().find("nobody listens"), std::string::npos);
    const std::vector<std::string> peers[] = {
        {"ffmpeg", "-nostdin", "-protocol_whitelist", "file,udp,rtp", "-i", folder.At("cam.sdp"), "-c", "copy",
         "-frames:v", "74", "-f", "h264", folder.At("ffmpeg.264")},
        {"gst-launch-1.0", "-q", "-e", "udpsrc", "port=" + std::to_string(port),
         "num-buffers=" + std::to_string(first.Total("packets")),
         "caps=application/x-rtp,media=video,clock-rate=90000,encoding-name=H264,payload=105", "!", "rtph264depay", "!",
         "video/x-h264,stream-format=byte-stream,alignment=nal", "!", "filesink", "location=" + folder.At("gst.264")},
    };
    std::vector<std::vector<Bytes>> sent = AccessUnits(MediaPath(kH264));
    for (const std::vector<std::string> &peer : peers) {
        std::vector<std::string> command = peer;
        command.insert(command.begin(), {"timeout", "20"});
        std::future<int> receiver = std::async(std::launch::async, support::Run, command);
        ASSERT_TRUE(Soon([&] { return IsBound(port); }));
        Camera camera(words);
        EXPECT_EQ(camera.Wait(), 0) << camera.Err();
        EXPECT_EQ(receiver.get(), 0) << peer[0];
        std::vector<std::vector<Bytes>> got = AccessUnits(folder.At(peer[0] == "ffmpeg" ? "ffmpeg.264" : "gst.264"));
        ASSERT_GE(got.size(), 74U) << peer[0];
        got.resize(74);
        sent.resize(74);
        EXPECT_EQ(got, sent) << peer[0];
    }
}

TEST(Zvcam, ServesManyAndLetsNobodyHoldThemUp) {
    const Library library;
    Camera many({"--fast", "--wait", "3", MediaPath(kH264), "tcp://127.0.0.1:0"});
    std::vector<std::unique_ptr<InputPort>> ports;
    for (int i = 0; i < 3; ++i) ports.push_back(Receive(PLAYER_PROTOCOL_TCP, many.Port()));
    for (const auto &port : ports) ExpectPictures(*port, kH264);
    EXPECT_EQ(many.Wait(), 0);
    EXPECT_EQ(many.Total("frames"), 225);

    // One who does not read loses frames, alone; one who comes late begins with a key frame.
    Camera live({"--speed", "40", "--loop", "--seconds", "160", "--wait", "2", MediaPath(kH264), "tcp://127.0.0.1:0"});
    const Socket deaf = Connect(live.Port());
    int error = 0;
    size_t rest = 0;
    std::future<Bytes> early = std::async(std::launch::async, Everything, Connect(live.Port()), &error);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    int late_error = 0;
    const std::vector<Bytes> late = Unframe(Everything(Connect(live.Port()), &late_error), &rest);
    ASSERT_FALSE(late.empty());
    EXPECT_EQ(late[0][12] & 31, 7) << "an SPS comes first";
    early.get();
    live.Interrupt();
    EXPECT_EQ(live.Wait(), 0);
    const std::string report = live.Out();
    EXPECT_EQ(error + late_error, 0);
    EXPECT_NE(report.find("\"end\": \"end of the stream\", \"frames\": 4000, "), std::string::npos) << report;
    EXPECT_GT(live.Total("drops"), 100);
}

TEST(Zvcam, BreaksConnectionsAsTold) {
    int error = 0;
    size_t rest = 0;
    std::string report;
    const std::string file = MediaPath(kH264);
    EXPECT_EQ(Unframe(Serve({"--close-after", "10", file}, Everything, &error, &report), &rest).size(), 10U);
    EXPECT_GT(rest, 4U);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(Last(report, "closes"), "1");
    EXPECT_LE(Unframe(Serve({"--reset-after", "10", file}, Everything, &error, &report), &rest).size(), 10U);
    EXPECT_EQ(error, ECONNRESET);
    EXPECT_EQ(Last(report, "resets"), "1");
    EXPECT_EQ(Last(report, "packets"), "10");
    Unframe(Serve({"--garbage", "100", file}, Everything, &error, &report), &rest);
    EXPECT_EQ(Last(report, "garbage"), Last(report, "packets"));
    Unframe(Serve({"--false-length", "50", "--seed", "9", file}, Everything, &error, &report), &rest);
    EXPECT_GT(rest, 0U);
    EXPECT_NEAR(std::stod(Last(report, "false_lengths")), std::stod(Last(report, "packets")) / 2, 60);
    EXPECT_EQ(Last(report, "end"), "\"end of the stream\"");
}

TEST(Zvcam, ExtensionAndFinishStandWhereReceiversLook) {
    int error = 0;
    size_t rest = 0;
    std::string report;
    const std::vector<Bytes> packets =
        Unframe(Serve({"--playback-time", "5000", "--finish", MediaPath(kH265)}, Everything, &error, &report), &rest);
    ASSERT_GT(packets.size(), 75U);
    for (const Bytes &packet : packets) {
        ASSERT_GT(packet.size(), 28U);
        ASSERT_EQ(packet[0], 0x90);
        ASSERT_EQ(packet[15], 3) << "words";
        const unsigned seconds = unsigned(packet[18]) << 8 | packet[19];
        ASSERT_TRUE(seconds >= 5000 && seconds <= 5002);
        ASSERT_EQ(packet[24] & 16, &packet == &packets.back() ? 16 : 0);
        ASSERT_EQ(packet[1] & 127, 108);
        ASSERT_NE(packet[28], 0x28) << "key pictures are 26 01";
    }
}

TEST(Zvcam, FaultsAreThoseThatItCounts) {
    constexpr size_t kCount = 20000;
    const auto run = [](const zvcam::FaultOptions &options, zvcam::Counters *counters) {
        zvcam::Dice dice(options.seed);
        zvcam::FaultLine line(options, &dice, counters);
        std::vector<zvcam::Packet> out;
        for (size_t i = 0; i < kCount; ++i) {
            zvcam::Packet packet(100, 0x55);
            for (int at = 0; at < 4; ++at) packet[at] = static_cast<uint8_t>(i >> (8 * at));
            line.Pass(packet, &out);
        }
        line.Finish(&out);
        return out;
    };
    const auto number = [](const zvcam::Packet &packet) { return packet[0] | packet[1] << 8 | packet[2] << 16; };
    zvcam::FaultOptions loss, mixed, harm;
    loss.loss = 2;
    loss.loss_burst = 5;
    mixed.reorder = mixed.duplicate = 10;
    harm.damage = harm.truncate = 20;

    zvcam::Counters c;
    std::vector<zvcam::Packet> out = run(loss, &c);
    EXPECT_EQ(out.size(), kCount - c.lost);
    EXPECT_NEAR(static_cast<double>(c.lost), kCount * 0.093, kCount * 0.02);
    double bursts = 0;
    for (size_t i = 1; i < out.size(); ++i) bursts += number(out[i]) != number(out[i - 1]) + 1;
    EXPECT_NEAR(static_cast<double>(c.lost) / bursts, 5.4, 1.5);

    c = {};
    out = run(mixed, &c);
    EXPECT_EQ(out.size(), kCount + c.duplicated);
    EXPECT_NEAR(static_cast<double>(c.duplicated), kCount / 10.0, kCount / 50.0);
    EXPECT_NEAR(static_cast<double>(c.reordered), kCount / 12.0, kCount / 50.0) << "none while one is held back";
    size_t overtaken = 0;
    for (size_t i = 1; i < out.size(); ++i) overtaken += number(out[i]) < number(out[i - 1]);
    EXPECT_NEAR(static_cast<double>(overtaken), static_cast<double>(c.reordered), kCount / 50.0);

    c = {};
    size_t cut = 0, changed = 0, at = 0;
    for (const zvcam::Packet &packet : run(harm, &c)) {
        zvcam::Packet whole(packet.size(), 0x55);
        for (size_t i = 0; i < std::min<size_t>(4, whole.size()); ++i) whole[i] = static_cast<uint8_t>(at >> (8 * i));
        ++at;
        cut += packet.size() < 100;
        changed += packet != whole;
    }
    EXPECT_EQ(cut, c.truncated);
    EXPECT_EQ(changed, c.damaged);

    zvcam::Counters once, twice;
    EXPECT_EQ(run(harm, &once), run(harm, &twice));
    harm.seed = 2;
    EXPECT_NE(run(harm, &once), run({}, &twice));
}

TEST(Zvcam, SaysWhatIsWrong) {
    const support::TcpServer taken;
    const struct {
        std::vector<std::string> words;
        int code;
        const char *says;
    } cases[] = {
        {{}, 1, "no destination"},
        {{"udp://127.0.0.1"}, 1, "port is missing"},
        {{"http://127.0.0.1:80"}, 1, "unknown kind"},
        {{"udp://127.0.0.1:5004?mp4"}, 1, "unknown format"},
        {{"--loss", "101", "udp://127.0.0.1:5004"}, 1, "0 to 100"},
        {{"--split", "3", "udp://127.0.0.1:5004"}, 1, "faults of TCP"},
        {{"--finish", "tcp://127.0.0.1:0?ts"}, 1, "belong to RTP"},
        {{"--playback-time", "soon", "udp://127.0.0.1:5004"}, 1, "seconds since 1970"},
        {{"none.264", "udp://127.0.0.1:5004"}, 2, "No such file"},
        {{MediaPath(kH264), "tcp://127.0.0.1:" + std::to_string(taken.Port())}, 3, "take another port"},
    };
    for (const auto &row : cases) {
        Camera camera(row.words);
        EXPECT_EQ(camera.Wait(), row.code) << row.says;
        EXPECT_NE(camera.Err().find(row.says), std::string::npos) << camera.Err();
        EXPECT_EQ(camera.Out(), "");
    }
    for (const char *word : {"--help", "--version"}) {
        Camera camera({word});
        EXPECT_EQ(camera.Wait(), 0);
        EXPECT_NE(camera.Out(), "");
    }
}

TEST(Zvcam, ReportsWhenInterrupted) {
    const uint16_t port = support::FreeUdpPort();
    Camera camera({"--audio", "g711a", "udp://127.0.0.1:" + std::to_string(port), "tcp://127.0.0.1:0"});
    const Socket client = Connect(camera.Port());
    pollfd wait = {client.Fd(), POLLIN, 0};
    EXPECT_EQ(poll(&wait, 1, 10000), 1);
    camera.Interrupt();
    EXPECT_EQ(camera.Wait(), 0);
    EXPECT_GT(camera.Total("frames"), 0);
    EXPECT_NE(camera.Out().find("\"source\": \"test picture\""), std::string::npos);
}

TEST(AccessUnitReader, FindsTheSameHoweverTheStreamComes) {
    for (const char *name : {"h264_640x360_slices4.264", "h265_slices_640x360.265"}) {
        const Bytes stream = ReadFile(MediaPath(name));
        for (const size_t piece : {size_t(1), size_t(4097), stream.size()}) {
            size_t at = 0;
            const auto more = [&](std::vector<uint8_t> *data) {
                const size_t count = std::min(piece, stream.size() - at);
                data->insert(data->end(), stream.begin() + at, stream.begin() + at + count);
                at += count;
                return count > 0;
            };
            EXPECT_EQ(AccessUnits(tools::AccessUnitReader(more, std::string(name).ends_with("265"))),
                      AccessUnits(MediaPath(name)))
                << name << " in pieces of " << piece;
        }
    }
}
