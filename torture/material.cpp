#include "torture/material.h"

#include <X11/Xlib.h>

#include <functional>

#include "support/analytics_bytes.h"
#include "support/file_port.h"
#include "support/krdf_record.h"
#include "support/protection.h"
#include "support/rtp_stream.h"
#include "support/xvfb.h"
#include "zelvane_modules.h"
#include "zvcam/scrambler.h"

namespace torture {

namespace {

Bytes Encode(const Scratch &folder, const std::string &encoder, const std::string &format) {
    support::Ffmpeg("-f lavfi -i testsrc2=size=176x144:rate=25 -frames:v " + std::to_string(FRAMES) +
                        " -pix_fmt yuv420p -c:v " + encoder + " -f " + format,
                    folder.At(format));
    return ReadFile(folder.At(format));
}

std::vector<Bytes> Sound(const Bytes &g711) {
    support::RtpSender sender(support::RTP_PT_G711U);
    std::vector<Bytes> packets;
    for (uint32_t i = 0; i < FRAMES; ++i) {
        packets.push_back(sender.Packet(Span(g711).subspan(i * 320, 320), i * 320, true));
    }
    return packets;
}

/** Each picture after something was done to its units, which then come without start codes. */
std::vector<Bytes> Changed(Span stream, const std::function<void(std::vector<Span> *units, size_t frame)> &change) {
    std::vector<Bytes> pictures;
    for (const Span picture : SplitAccessUnits(stream, AV_CODEC_ID_H264)) {
        std::vector<Span> units = SplitUnits(picture);
        for (Span &unit : units) {
            unit = unit.subspan(unit[2] == 1 ? 3 : 4);
        }
        change(&units, pictures.size());
        Bytes &changed = pictures.emplace_back();
        for (const Span unit : units) {
            changed.insert(changed.end(), {0, 0, 0, 1});
            changed.insert(changed.end(), unit.begin(), unit.end());
        }
    }
    return pictures;
}

/** A box and a rule in front of each key picture's slice. */
std::vector<Bytes> Marked(Span stream) {
    const support::Target target = {.trigRule = 1};
    const support::Rule rule = {.corners = {{100, 100}, {5000, 5000}}};
    const std::string messages = support::SeiUnit(false, 32, support::ListV2<support::Target>({target})) +
                                 support::SeiUnit(false, 33, support::ListV2<support::Rule>({rule}));
    const Bytes bytes(messages.begin(), messages.end());
    return Changed(stream, [&](std::vector<Span> *units, size_t frame) {
        for (const Span message : frame % GROUP == 0 ? SplitUnits(bytes) : std::vector<Span>()) {
            units->insert(units->end() - 1, message.subspan(4));
        }
    });
}

/** Each group with a key of its own, for an RSA key or a password. */
std::vector<Bytes> Scrambled(Span stream, bool rsa, const std::string &password) {
    const tools::RsaKey key = {support::FromHex(support::BuiltInKey().cN), {1, 0, 1}, {}, {}, {}, {}, {}, {}};
    zvcam::Scrambler scrambler({rsa ? key : tools::RsaKey(), password, 1, 1}, false);
    return Changed(stream, [&](std::vector<Span> *units, size_t frame) { scrambler.Apply(units, frame % GROUP == 0); });
}

std::vector<Bytes> Packets(const std::vector<Bytes> &pictures) {
    support::RtpSender sender(support::RTP_PT_H264);
    std::vector<Bytes> all;
    for (size_t i = 0; i < pictures.size(); ++i) {
        const std::vector<Bytes> packets = sender.VideoPackets(pictures[i], static_cast<uint32_t>(3600 * (i + 1)));
        all.insert(all.end(), packets.begin(), packets.end());
    }
    return all;
}

std::vector<Bytes> TsFrames(const std::vector<Span> &units) {
    TS_PACKET_DEC_S mux = {};
    File_CreatePacketDec(FILE_PACKET_TYPE_TS, PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_NULL, &mux);
    std::vector<Bytes> frames;
    for (size_t i = 0; i < units.size(); ++i) {
        frames.push_back(support::MuxTs(&mux, PLAYER_PAYLOAD_H264, units[i], i % GROUP == 0, 90000 + 3600 * i));
    }
    return frames;
}

/** Two segments of all units, and their playlist. */
std::string PutCloud(const support::Nginx &server, const Scratch &folder, const std::vector<Span> &units) {
    std::string playlist = "#EXTM3U\n#EXT-X-TARGETDURATION:2\n";
    for (unsigned i = 0; i < 2; ++i) {
        const std::string name = "s" + std::to_string(i) + ".ts",
                          scheme = i == 0 ? "http://127.0.0.1/" : "https://localhost/";
        support::WriteTs(folder.At(name), {PLAYER_PAYLOAD_H264, units, 3600}, nullptr, GROUP, 90000 + i * 108000);
        server.Put(name, ReadText(folder.At(name)));
        playlist += "#EXTINF:1.200,\n#EXT-X-PROGRAM-DATE-TIME:2020-01-01T00:00:0" +
                    std::string(i == 0 ? "0.0" : "1.2") + "00+00:00,\n" + scheme + name + "\n";
    }
    return playlist + "#EXT-X-ENDLIST\n";
}

unsigned long MakeWindow() {
    const char *name = support::SharedDisplay();
    if (name == nullptr) {
        return 0;
    }
    setenv("DISPLAY", name, 1);
    Display *display = XOpenDisplay(nullptr);  // as long as the program, and so the window
    const Window window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 176, 144, 0, 0, 0);
    XMapWindow(display, window);
    XSync(display, False);
    return window;
}

}  // namespace

Material::Material()
    : h264(Encode(folder, "libx264 -preset superfast -x264-params keyint=10:min-keyint=10:scenecut=0:bframes=0",
                  "h264")),
      h265(Encode(folder,
                  "libx265 -preset ultrafast -x265-params "
                  "keyint=10:min-keyint=10:scenecut=0:bframes=0:repeat-headers=1:open-gop=0:log-level=none",
                  "hevc")),
      g711(ReadFile(MediaPath("g711u_8000.raw"))),
      mp4(folder.At("a.mp4")),
      avi(folder.At("a.avi")),
      ts(folder.At("a.ts")),
      krdf(folder.At("a.krdf")),
      scrambled(folder.At("b.ts")),
      window(MakeWindow()),
      server(std::make_unique<support::Nginx>()) {
    support::RewriteH265KeyUnits(&h265);
    rtpH264 = support::PacketiseVideo(h264, AV_CODEC_ID_H264, support::RTP_PT_H264);
    rtpH265 = support::PacketiseVideo(h265, AV_CODEC_ID_HEVC, support::RTP_PT_H265);
    rtpSound = Sound(g711);
    rtpMarked = Packets(Marked(h264));
    rtpScrambled = Packets(Scrambled(h264, true, ""));
    for (int i = 1; i <= 10; ++i) {
        jpegs.push_back(ReadFile(
            MediaPath((std::string("mjpeg_640x360/0") + (i < 10 ? "0" : "") + std::to_string(i) + ".jpg").c_str())));
    }
    const std::vector<Span> units = SplitAccessUnits(h264, AV_CODEC_ID_H264);
    tsFrames = TsFrames(units);

    const std::string sound = " -i '" + MediaPath("aac_16000_mono.aac") + "' -t 1.2 -c copy";
    support::Ffmpeg("-r 25 -i '" + folder.At("h264") + "'" + sound, mp4);
    support::Ffmpeg("-r 25 -i '" + folder.At("h264") + "' -c copy", avi);
    support::WriteTs(ts, {PLAYER_PAYLOAD_H264, units, 3600}, nullptr, GROUP);
    const std::vector<Bytes> closed = Scrambled(h264, false, "secret");
    support::WriteTs(scrambled, {PLAYER_PAYLOAD_H264, {closed.begin(), closed.end()}, 3600}, nullptr, GROUP);
    std::vector<Span> thrice;  // the first two groups and the last are not shown
    for (int i = 0; i < 3; ++i) {
        thrice.insert(thrice.end(), units.begin(), units.end());
    }
    tools::KrdfLayout layout;
    layout.rate = GROUP;
    support::WriteKrdf(krdf, {tools::kKrdfH264, thrice, GROUP}, layout);
    playlist = PutCloud(*server, folder, units);
}

}  // namespace torture
