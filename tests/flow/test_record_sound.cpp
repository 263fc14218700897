// Sound in recordings: taken over or transcoded, decodable, in step with the pictures.
#include "flow/record_port.h"

#include <cmath>

using support::Library;
using support::RtpSender;

namespace {

constexpr int RATE = 8000; /**< Hz at which sound is compared */

/** Packets of sound, each with the video time of its first sample. */
struct Sound {
    const char *name;
    uint8_t payloadType;
    const char *file;
    AVCodecID codec;
    unsigned rate;
    unsigned samples; /**< of a packet */
    ULONG_32 format;
    const char *recorded; /**< codec and rate in the file */
    int tolerance;        /**< milliseconds out of step */
};

std::ostream &operator<<(std::ostream &out, const Sound &sound) { return out << sound.name; }

const Sound SOUNDS[] = {
    {"G711uTs", support::RTP_PT_G711U, "g711u_8000.raw", AV_CODEC_ID_PCM_MULAW, 8000, 160, PLAYER_FILE_FORMATE_TS,
     "mp2,44100", 100},
    {"G711aMp4", support::RTP_PT_G711A, "g711a_8000.raw", AV_CODEC_ID_PCM_ALAW, 8000, 160, PLAYER_FILE_FORMATE_MP4,
     "aac,8000", 300},
    {"G711aLongMp4", support::RTP_PT_G711A, "g711a_8000.raw", AV_CODEC_ID_PCM_ALAW, 8000, 1400, PLAYER_FILE_FORMATE_MP4,
     "aac,8000", 300},
    {"AacTs", support::RTP_PT_AAC_ADTS, "aac_16000_mono.aac", AV_CODEC_ID_AAC, 16000, 1024, PLAYER_FILE_FORMATE_TS,
     "mp2,44100", 100},
    {"AacMp4", support::RTP_PT_AAC_ADTS, "aac_16000_mono.aac", AV_CODEC_ID_AAC, 16000, 1024, PLAYER_FILE_FORMATE_MP4,
     "aac,16000", 100},
    {"G711aAvi", support::RTP_PT_G711A, "g711a_8000.raw", AV_CODEC_ID_PCM_ALAW, 8000, 160, PLAYER_FILE_FORMATE_AVI,
     "mp2,44100", 100},
    {"AacAvi", support::RTP_PT_AAC_ADTS, "aac_16000_mono.aac", AV_CODEC_ID_AAC, 16000, 1024, PLAYER_FILE_FORMATE_AVI,
     "mp2,44100", 100},
};

class RecordSound : public testing::TestWithParam<Sound> {
 protected:
    Library m_library;
    TempDir m_folder;
};

std::vector<Span> Packets(const Sound &sound, const Bytes &bytes) {
    if (sound.codec == AV_CODEC_ID_AAC) {
        return SplitAccessUnits(bytes, sound.codec);
    }
    std::vector<Span> packets;
    for (size_t at = 0; at + sound.samples <= bytes.size(); at += sound.samples) {
        packets.emplace_back(bytes.data() + at, sound.samples);
    }
    return packets;
}

/** Sound of a file as it lies against its pictures: from the time of the first picture on. */
std::vector<int16_t> SoundOfFile(const std::string &path) {
    const double first = std::stod(Probe(path, "-select_streams v -show_entries packet=dts_time"));
    EXPECT_TRUE(support::Ffmpeg("-copyts -i '" + path + "' -map 0:a -af aresample=" + std::to_string(RATE) +
                                    ":first_pts=" + std::to_string(std::lround(first * RATE)) + " -ac 1 -f s16le",
                                path + ".pcm"));
    const Bytes bytes = ReadFile(path + ".pcm");
    std::vector<int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

/** Sound of the source at the same rate, by ffmpeg. */
std::vector<int16_t> SoundOfSource(const Sound &sound) {
    const std::string input = sound.codec == AV_CODEC_ID_AAC        ? "-f aac"
                              : sound.codec == AV_CODEC_ID_PCM_ALAW ? "-f alaw -ar 8000"
                                                                    : "-f mulaw -ar 8000";
    EXPECT_TRUE(support::Ffmpeg(
        input + " -i '" + MediaPath(sound.file) + "' -ac 1 -ar " + std::to_string(RATE) + " -f s16le", "source.pcm"));
    const Bytes bytes = ReadFile("source.pcm");
    std::vector<int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

/** How alike a tenth of a second is in two pieces of sound when the second is taken `lag` samples later: 1 for the
 * same. */
double Likeness(const std::vector<int16_t> &one, const std::vector<int16_t> &two, int lag) {
    double product = 0;
    double energyOne = 1;
    double energyTwo = 1;
    for (int i = RATE; i < RATE + RATE / 10 && i + lag < static_cast<int>(two.size()); ++i) {
        const double a = one[static_cast<size_t>(i)];
        const double b = i + lag < 0 ? 0 : two[static_cast<size_t>(i + lag)];
        product += a * b;
        energyOne += a * a;
        energyTwo += b * b;
    }
    return product / std::sqrt(energyOne * energyTwo);
}

}  // namespace

TEST_P(RecordSound, IsThereAndInStepOverARollover) {
    const Sound &sound = GetParam();
    const VideoStream video("h264_640x360_bf0.264", AV_CODEC_ID_H264);
    const Bytes bytes = ReadFile(MediaPath(sound.file));
    const std::vector<Span> packets = Packets(sound, bytes);
    RecordPort port;
    RtpSender sender(sound.payloadType);
    ASSERT_TRUE(port.Push(sender.Packet(packets[0], 0, true)));  // sound ahead of the first picture tells what it is
    port.SplitAt(0);
    ASSERT_TRUE(port.Start("cam", sound.format));
    ASSERT_TRUE(port.Push(sender.Packet(packets[0], 0, true)));
    size_t next = 0;
    for (size_t pass = 0; pass < 2; ++pass) {  // the source once in each of two files
        for (size_t frame = 0; frame < 75; ++frame) {
            port.PushVideo(video, frame, frame + 1);
            for (; next < packets.size() * (pass + 1) &&
                   (next % packets.size()) * sound.samples * 25 <= (frame + 1) * sound.rate;
                 ++next) {
                ASSERT_TRUE(port.Push(sender.Packet(packets[next % packets.size()],
                                                    static_cast<uint32_t>(1000 + next * sound.samples), true)));
            }
            if (pass == 0 && frame == 74) {
                port.DrainRecord();
                port.SplitAt(1);
            } else if (pass == 1 && frame == 0) {
                port.DrainRecord();
                port.SplitAt(0);
            }
        }
        next = packets.size() * (pass + 1);
    }
    port.Stop();
    const std::vector<int16_t> source = SoundOfSource(sound);
    ASSERT_EQ(port.Files().size(), 2U);
    for (const std::string &file : port.Files()) {
        EXPECT_EQ(Probe(file, "-select_streams a -show_entries stream=codec_name,sample_rate"), sound.recorded);
        const std::vector<int16_t> recorded = SoundOfFile(file);
        double best = 0;
        int step = 0;
        for (int lag = -RATE / 2; lag <= RATE / 2; lag += 4) {
            const double likeness = std::fabs(Likeness(source, recorded, lag));
            if (likeness > best) {
                best = likeness;
                step = lag;
            }
        }
        EXPECT_GT(best, 0.8) << file;
        EXPECT_LE(std::abs(step) * 1000 / RATE, sound.tolerance) << file;
    }
}

INSTANTIATE_TEST_SUITE_P(Sounds, RecordSound, testing::ValuesIn(SOUNDS),
                         [](const testing::TestParamInfo<Sound> &info) { return std::string(info.param.name); });
