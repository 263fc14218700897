#include "torture/material.h"

#include "support/file_port.h"
#include "support/krdf_record.h"
#include "support/rtp_stream.h"
#include "zelvane_modules.h"

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

}  // namespace

Material::Material()
    : h264(Encode(folder, "libx264 -preset superfast -x264-params keyint=10:min-keyint=10:scenecut=0:bframes=0", "h264")),
      h265(Encode(folder,
                  "libx265 -preset ultrafast -x265-params "
                  "keyint=10:min-keyint=10:scenecut=0:bframes=0:repeat-headers=1:open-gop=0:log-level=none",
                  "hevc")),
      g711(ReadFile(MediaPath("g711u_8000.raw"))),
      mp4(folder.At("a.mp4")),
      mp4H265(folder.At("b.mp4")),
      avi(folder.At("a.avi")),
      ts(folder.At("a.ts")),
      krdf(folder.At("a.krdf")) {
    support::RewriteH265KeyUnits(&h265);
    rtpH264 = support::PacketiseVideo(h264, AV_CODEC_ID_H264, support::RTP_PT_H264);
    rtpH265 = support::PacketiseVideo(h265, AV_CODEC_ID_HEVC, support::RTP_PT_H265);
    rtpSound = Sound(g711);
    const std::string sound = " -i '" + MediaPath("aac_16000_mono.aac") + "' -t 1.2 -c copy";
    support::Ffmpeg("-r 25 -i '" + folder.At("h264") + "'" + sound, mp4);
    support::Ffmpeg("-r 25 -i '" + folder.At("hevc") + "'" + sound, mp4H265);
    support::Ffmpeg("-r 25 -i '" + folder.At("h264") + "' -c copy", avi);
    const std::vector<Span> units = SplitAccessUnits(h264, AV_CODEC_ID_H264);
    support::WriteTs(ts, {PLAYER_PAYLOAD_H264, units, 3600}, nullptr, GROUP);
    support::WriteKrdf(krdf, {tools::kKrdfH264, units, GROUP});
}

}  // namespace torture
