// AVI files of other writers played, our recordings read by others, and both kinds looked at through a port.
#include "flow/record_port.h"

#include <thread>

using support::FilePort;
using support::Library;
using support::RtpSender;
using support::WaitUntil;

namespace {

class Avi : public testing::Test {
 protected:
    Library m_library;
    TempDir m_folder;
};

const std::string PICTURES = "-f lavfi -i testsrc2=size=320x180:rate=25 ";
const std::string SOUND = "-f lavfi -i sine=frequency=300:sample_rate=44100 ";
const std::string X264 = "-pix_fmt yuv420p -c:v libx264 -preset ultrafast -x264-params keyint=25:scenecut=0:bframes=0 ";
const std::string JPEG = "-pix_fmt yuvj420p -c:v mjpeg -vtag mjpg ";

/** Packets of a file's first video stream that have any bytes, or of its first audio stream, by libavformat. */
std::vector<std::string> PacketsOf(const std::string &path, const char *stream) {
    std::vector<std::string> sums;
    for (const std::string &line : support::LinesOf("ffmpeg -nostdin -v error -i '" + path + "' -map 0:" + stream +
                                                    ":0 -c copy -f framemd5 - 2>/dev/null | grep -v '^#'")) {
        const std::string sum = line.substr(line.rfind(' ') + 1);
        if (sum != "d41d8cd98f00b204e9800998ecf8427e") {  // of nothing
            sums.push_back(sum);
        }
    }
    return sums;
}

std::vector<std::string> SumsOf(const std::vector<support::FileFrame> &frames, bool video) {
    std::vector<std::string> sums;
    for (const support::FileFrame &frame : frames) {
        if (frame.video == video) {
            sums.push_back(Md5(frame.data));
        }
    }
    return sums;
}

/** Plays a file to its end. */
void Play(FilePort *port, const std::string &path) {
    ASSERT_TRUE(port->Open(path)) << path;
    ASSERT_TRUE(port->Play());
    ASSERT_TRUE(port->WaitForEnd());
}

/** Sets flags in a file's index to 0, or takes its name away, so that it counts as missing. */
void DropIndex(const std::string &path) {
    std::string file = ReadText(path);
    file.replace(file.rfind("idx1"), 4, "JUNK");
    WriteFile(path, file);
}

}  // namespace

TEST_F(Avi, FilesOfOthersPlayFrameForFrame) {
    const struct {
        const char *name;
        std::string make; /**< arguments of ffmpeg, or a pipeline of GStreamer */
        size_t pictures;
    } rows[] = {
        {"avc1 with MP2", PICTURES + SOUND + X264 + "-vtag avc1 -c:a mp2 -t 3", 75},
        {"H264 with MP3, a dropped frame in it", PICTURES + SOUND + X264 + "-c:a libmp3lame -t 3", 75},
        {"dropped frames", PICTURES + X264 + "-vf \"select='not(between(n,30,34))'\" -fps_mode passthrough -t 3", 70},
        {"hev1", PICTURES + "-pix_fmt yuv420p -c:v libx265 -x265-params bframes=0:log-level=none -vtag hev1 -t 1", 25},
        {"several tracks",
         PICTURES + SOUND + "-f lavfi -i sine=frequency=900 -map 0 -map 1 -map 2 " + X264 + "-c:a mp2 -t 3", 75},
        {"sound first", PICTURES + SOUND + "-map 0 -map 1 " + X264 + "-c:a mp2 -t 1", 25},
        {"JPEG with MP3", PICTURES + SOUND + JPEG + "-c:a libmp3lame -t 1", 25},
        {"a pipe, so without an index", PICTURES + JPEG + "-t 1 -f avi - | cat >", 25},
        {"GStreamer",
         "gst videotestsrc num-buffers=25 ! video/x-raw,width=320,height=180,framerate=25/1 ! jpegenc ! queue ! "
         "avimux name=m ! filesink location=a.avi audiotestsrc num-buffers=40 ! avenc_mp2 ! queue ! m.",
         25},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        std::filesystem::remove("a.avi");
        if (row.make.starts_with("gst ")) {
            ASSERT_EQ(std::system(("gst-launch-1.0 -q " + row.make.substr(4) + " >/dev/null").c_str()), 0);
        } else if (row.make.ends_with(">")) {
            ASSERT_EQ(std::system(("ffmpeg -nostdin -v error " + row.make + " a.avi").c_str()), 0);
        } else {
            ASSERT_TRUE(support::Ffmpeg(row.make, "a.avi"));
        }
        FilePort port;
        Play(&port, "a.avi");
        EXPECT_EQ(SumsOf(port.Frames(), true), PacketsOf("a.avi", "v"));
        EXPECT_TRUE(WaitUntil([&] { return port.PictureCount() == row.pictures; })) << port.PictureCount();
        if (row.make.find("jpeg") == std::string::npos && row.make.find("jpg") == std::string::npos) {
            EXPECT_EQ(port.PictureMd5s(), support::PicturesOfFile("a.avi"));
        }
        const std::vector<std::string> heard = PacketsOf("a.avi", "a");
        if (!heard.empty()) {  // what lies behind the last picture is not played
            EXPECT_GT(port.AudioFrames(), heard.size() * 8 / 10);
            EXPECT_LE(port.AudioFrames(), heard.size());
        }
    }
}

TEST_F(Avi, WhatCantBePlayedFailsWithItsCode) {
    const struct {
        std::string make;
        ULONG_32 open; /**< error of the open call */
    } rows[] = {
        {SOUND + "-c:a mp2 -t 1", PLAYER_ERR_PARAM},
        {PICTURES + "-c:v mpeg4 -t 1", 0},
        {PICTURES + "-c:v rawvideo -pix_fmt bgr24 -t 0.2", 0},
    };
    for (const auto &row : rows) {
        ASSERT_TRUE(support::Ffmpeg(row.make, "a.avi"));
        FilePort port;
        EXPECT_EQ(port.Open("a.avi"), row.open == 0);
        if (row.open != 0) {
            EXPECT_EQ(Zelvane_GetLastError(), row.open);
            continue;
        }
        ASSERT_TRUE(port.Play());
        EXPECT_TRUE(port.WaitForEnd());
        EXPECT_EQ(port.PictureCount(), 0U);
    }
}

TEST_F(Avi, StepsJumpsAndKeyFramePlayWorkAsInOtherFiles) {
    ASSERT_TRUE(support::Ffmpeg(PICTURES + SOUND + X264 + "-c:a mp2 -t 4", "a.avi"));
    const std::vector<std::string> pictures = support::PicturesOfFile("a.avi");
    ASSERT_EQ(pictures.size(), 100U);
    FilePort port;
    ASSERT_TRUE(port.Open("a.avi"));
    ULONG_32 seconds = 0;
    EXPECT_TRUE(Zelvane_GetFileTime(port.Number(), &seconds));
    EXPECT_EQ(seconds, 4U);
    for (size_t step = 1; step <= 3; ++step) {
        ASSERT_TRUE(Zelvane_AFrameGo(port.Number()));
        ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == step; }));
    }
    ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 2));
    ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == 4; }));
    EXPECT_TRUE(Zelvane_GetPlayTime(port.Number(), &seconds));
    EXPECT_EQ(seconds, 2U);
    EXPECT_EQ(port.PictureMd5s(), (std::vector<std::string>{pictures[0], pictures[1], pictures[2], pictures[50]}));
    port.Forget();
    ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 0));
    ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_16_FORWARD));
    ASSERT_TRUE(port.WaitForEnd());
    EXPECT_EQ(port.PictureMd5s(), (std::vector<std::string>{pictures[0], pictures[25], pictures[50], pictures[75]}));
}

TEST_F(Avi, WithoutAnIndexH264WaitsForAKeyFrameThatIsNotKnown) {
    ASSERT_TRUE(support::Ffmpeg(PICTURES + X264 + "-t 1", "a.avi"));
    DropIndex("a.avi");
    FilePort port;
    Play(&port, "a.avi");
    EXPECT_EQ(port.FrameCount(), 25U);
    EXPECT_EQ(port.PictureCount(), 0U);
}

/* ---- recordings ---- */

TEST_F(Avi, RecordingsAreReadByGStreamerAndByOurselves) {
    for (const auto &[name, codec, caps] :
         {std::tuple{"h264_640x360_bf0.264", AV_CODEC_ID_H264, "video/x-h264 avdec_h264"},
          {"h265_640x360.265", AV_CODEC_ID_HEVC, "video/x-h265 avdec_h265"}}) {
        const VideoStream video(name, codec);
        const std::vector<std::string> wanted = ReferenceMd5s(video.bytes, codec);
        {
            RecordPort port;
            ASSERT_TRUE(port.Start("cam", PLAYER_FILE_FORMATE_AVI));
            port.PushVideo(video);
            port.Stop();
        }
        const std::string type = std::string(caps).substr(0, 12), decoder = std::string(caps).substr(13);
        ASSERT_EQ(std::system(("gst-launch-1.0 -q filesrc location=cam.avi ! avidemux ! capssetter join=false caps=" +
                               type + ",stream-format=byte-stream,alignment=au,width=640,height=360,framerate=25/1 ! " +
                               decoder + " ! video/x-raw,format=I420 ! filesink location=cam.yuv >/dev/null 2>&1")
                                  .c_str()),
                  0);
        const Bytes raw = ReadFile("cam.yuv");
        const size_t size = 640 * 360 * 3 / 2;
        std::vector<std::string> seen;
        for (size_t at = 0; at + size <= raw.size(); at += size) {
            seen.push_back(Md5(Span(raw).subspan(at, size)));
        }
        EXPECT_EQ(seen, wanted) << name;
        FilePort port;
        Play(&port, "cam.avi");
        EXPECT_EQ(port.PictureMd5s(), wanted) << name;
    }
}

TEST_F(Avi, JpegIsRecordedWithTheSizeOfItsPicturesAndSnapshotsAreTakenMeanwhile) {
    support::InputPort port;
    const auto jpeg = [](int number) {
        char path[40];
        snprintf(path, sizeof(path), "mjpeg_640x360/%03d.jpg", number);
        return ReadFile(MediaPath(path));
    };
    ASSERT_TRUE(port.Push(jpeg(1)));
    ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == 1; })) << "a decoder tells the size";
    ASSERT_TRUE(Zelvane_StartRecord(port.Number(), "cam", PLAYER_FILE_FORMATE_AVI, nullptr));
    std::vector<std::string> wanted;
    for (int i = 2; i <= 25; ++i) {
        wanted.push_back(Md5(jpeg(i)));
        ASSERT_TRUE(port.Push(jpeg(i)));
        EXPECT_TRUE(i != 12 || Zelvane_SnatchOnce(port.Number(), "now", PLAYER_PIC_FORMATE_JPEG, nullptr));
    }
    EXPECT_TRUE(WaitUntil([] { return std::filesystem::exists("now.jpg"); }));
    WaitForRecorder(port.Number());
    EXPECT_TRUE(Zelvane_StopRecord(port.Number()));
    EXPECT_EQ(Probe("cam.avi", "-select_streams v -show_entries stream=codec_name,width,height"), "mjpeg,640,360");
    EXPECT_EQ(PacketsOf("cam.avi", "v"), wanted);
}

TEST_F(Avi, EachContentHoldsWhatItSays) {
    const VideoStream video("h264_640x360_bf0.264", AV_CODEC_ID_H264);
    const Bytes sound = ReadFile(MediaPath("g711u_8000.raw"));
    for (const auto &[format, frames, chunks] : {std::tuple{PLAYER_FILE_FORMATE_AVI, true, true},
                                                 {PLAYER_FILE_FORMATE_AUDIO_AVI, false, true},
                                                 {PLAYER_FILE_FORMATE_VIDEO_AVI_ADD_RCD_TIME, true, false}}) {
        RecordPort port;
        RtpSender sender(support::RTP_PT_G711U);
        ASSERT_TRUE(port.Start("cam", format));
        for (size_t i = 0; i < 75; ++i) {
            port.PushVideo(video, i, i + 1);
            ASSERT_TRUE(
                port.Push(sender.Packet(Span(sound).subspan(i * 320, 320), static_cast<uint32_t>(i * 320), true)));
        }
        port.Stop();
        avi_t *file = AVI_open_input_file(port.Files().back().c_str(), 1);
        ASSERT_EQ(file != nullptr, frames) << "without video it is no file that is read back";
        if (file != nullptr) {
            EXPECT_EQ(AVI_video_frames(file), 75);
            EXPECT_EQ(AVI_audio_chunks(file) > 60, chunks);
            AVI_close(file);
        }
        EXPECT_EQ(Probe(port.Files().back(), "-select_streams a -show_entries stream=codec_name"), "mp2");
    }
}
