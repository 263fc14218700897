// zvplay as a user meets it: the program is run, and its output, exit code and window are looked at.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "foundations/player_types.h"
#include "support/file_port.h"
#include "support/media.h"
#include "support/rtp_stream.h"
#include "support/xvfb.h"
#include "tools/program.h"

// Behind gtest, whose names the macros in it would break.
#include "tools/desk.h"

namespace {

/** One run of zvplay. */
class Play : public Program {
 public:
    explicit Play(const std::vector<std::string> &words, const std::string &display = "")
        : Program("zvplay", words, display) {}
};

}  // namespace

TEST(Zvplay, PlaysEveryKindOfSource) {
    const struct {
        const char *source;
        int frames, pictures;  // a decoder keeps as many pictures back as the stream reorders
        const char *video;
    } cases[] = {
        {"camera.rtp", 250, 250, "H.264"},
        {"h264_640x360_bf2.264", 75, 73, "H.264"},
        {"h265_642x362.265", 75, 75, "H.265"},
        {"h265_10bit_640x360.265", 75, 75, "H.265"},
        {"h265_opengop_640x360.265", 75, 73, "H.265"},
        {"mjpeg_640x360/%03d.jpg", 25, 25, "JPEG"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.source);
        Play run({"--headless", "--fast", "--stats", "json", MediaPath(row.source)});
        EXPECT_EQ(run.Wait(), 0) << run.Err();
        const std::string out = run.Out();
        EXPECT_EQ(Last(out, "frames"), std::to_string(row.frames));
        EXPECT_EQ(Last(out, "pictures"), std::to_string(row.pictures));
        EXPECT_EQ(Last(out, "video"), std::string("\"") + row.video + "\"");
        EXPECT_EQ(Last(out, "end"), "true");
        EXPECT_EQ(run.Err(), "");
        EXPECT_TRUE(std::filesystem::is_empty(run.Folder())) << "left something where it was called";
    }
}

namespace {

/** Ten seconds of 640x360 at 25 a second with sound, a key frame a second. */
std::string MakeMp4(const Scratch &folder) {
    EXPECT_TRUE(
        support::Ffmpeg("-f lavfi -i testsrc2=s=640x360:r=25:d=10 -f lavfi -i sine=d=10 -c:v libx264 -preset ultrafast "
                        "-pix_fmt yuv420p "
                        "-g 25 -bf 0 -c:a aac",
                        folder.At("a.mp4")));
    return folder.At("a.mp4");
}

std::string MakeTs(const Scratch &folder) {
    const Bytes stream = ReadFile(MediaPath("h264_640x360_bf0.264"));
    support::WriteTs(folder.At("a.ts"), {PLAYER_PAYLOAD_H264, SplitAccessUnits(stream, AV_CODEC_ID_H264), 3600},
                     nullptr, 25);
    return folder.At("a.ts");
}

}  // namespace

TEST(Zvplay, PlaysRecordingsAtTheSpeedAsked) {
    const Scratch folder;
    const std::string mp4 = MakeMp4(folder), ts = MakeTs(folder);
    const struct {
        std::vector<std::string> words;
        int least, most;     // pictures
        double wall, slack;  // seconds
    } cases[] = {
        // The library's pace may be off by a second around the change of one; --seconds goes by the file's time.
        {{"--fast", mp4}, 250, 250, 0, 5},
        {{"--speed", "4", "--seconds", "4", mp4}, 4, 8, 1.2, 1.5},
        {{"--speed", "2", "--start", "8", mp4}, 50, 51, 1, 1.5},
        {{"--speed", "0.5", "--seconds", "1", mp4}, 12, 40, 2, 1.5},
        {{"--loop", "--start", "1", "--seconds", "3", ts}, 48, 105, 3, 1.5},
    };
    for (const auto &row : cases) {
        std::vector<std::string> words = {"--headless", "--stats", "json"};
        words.insert(words.end(), row.words.begin(), row.words.end());
        const auto begin = std::chrono::steady_clock::now();
        Play run(words);
        EXPECT_EQ(run.Wait(), 0) << run.Err();
        const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
        SCOPED_TRACE(row.words[0] + " " + row.words[1] + " " + run.Out());
        const int pictures = std::atoi(Last(run.Out(), "pictures").c_str());
        EXPECT_TRUE(pictures >= row.least && pictures <= row.most) << pictures;
        EXPECT_GE(wall.count(), row.wall - 1);
#ifndef ZELVANE_SANITIZED
        EXPECT_LE(wall.count(), row.wall + row.slack);
#endif
        EXPECT_EQ(Last(run.Out(), "length"), row.words.back() == mp4 ? "10" : "2");
        EXPECT_EQ(Last(run.Out(), "end"), "true");
    }
}

TEST(Zvplay, RecordsAndSavesPicturesWithoutAWindow) {
    const Scratch folder;
    const struct {
        const char *record, *snapshot, *saved;
        std::vector<std::string> words;
    } cases[] = {
        {"cam.mp4", "last.bmp", "last.bmp", {"--fast"}},
        {"cam.ts", "last", "last.jpg", {"--fast"}},
        {"clip", "p.jpg", "p.jpg", {"--fast", "--format", "ts", "--split-size", "10"}},
    };
    for (const auto &row : cases) {
        std::vector<std::string> words = {
            "--headless",           "--record", folder.At(row.record), "--snapshot", folder.At(row.snapshot),
            MediaPath("camera.rtp")};
        words.insert(words.begin(), row.words.begin(), row.words.end());
        Play run(words);
        EXPECT_EQ(run.Wait(), 0) << run.Err();
        const std::string file = folder.At(row.record) + (row.record == std::string("clip") ? ".ts" : "");
        EXPECT_NE(run.Out().find("recorded " + file + ", saved " + folder.At(row.saved)), std::string::npos)
            << run.Out();
        EXPECT_GT(std::filesystem::file_size(folder.At(row.saved)), 5000U);
        Program probe("zvprobe", {"--json", file});
        EXPECT_EQ(probe.Wait(), 0) << probe.Out();
        EXPECT_NE(probe.Out().find("\"frames\": 250"), std::string::npos) << probe.Out();
    }
    Play file({"--headless", "--fast", "--stats", "json", "--record", folder.At("again.mp4"), MakeMp4(folder)});
    EXPECT_EQ(file.Wait(), 0) << file.Err();
    EXPECT_EQ(Last(file.Out(), "recorded"), "\"" + folder.At("again.mp4") + "\"");
    Program probe("zvprobe", {"--json", folder.At("again.mp4")});
    EXPECT_EQ(probe.Wait(), 0);
    EXPECT_NE(probe.Out().find("\"frames\": 250"), std::string::npos) << "from the first frame on" << probe.Out();
    Play broken({"--headless", "--record", "/proc/none/cam", MediaPath("camera.rtp")});
    EXPECT_EQ(broken.Wait(), 6);
    EXPECT_NE(broken.Err().find("the recording does not begin: PLAYER_ERR_FILE_OPEN"), std::string::npos);
}

TEST(Zvplay, PlaysCamerasOnTheNetwork) {
    const struct {
        const char *camera, *player;
    } cases[] = {
        {"udp://127.0.0.1:47113", "udp://:47113"},
        {"udp://127.0.0.1:47114?ts", "udp://localhost:47114?ts"},
        {"tcp://127.0.0.1:47115", "tcp://localhost:47115"},
        {"tcp://127.0.0.1:47116?ts", "tcp://127.0.0.1:47116?ts"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.player);
        Program camera("zvcam", {"--loop", "--seconds", "6", MediaPath("h264_640x360_bf0.264"), row.camera});
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        const bool tcp = row.player[0] == 't';  // its end is seen; of UDP it has to be told when to stop
        Play run(tcp ? std::vector<std::string>{"--headless", "--stats", "json", row.player}
                     : std::vector<std::string>{"--headless", "--stats", "json", "--seconds", "3", row.player});
        EXPECT_EQ(run.Wait(), 0) << run.Err();
        EXPECT_GE(std::atoi(Last(run.Out(), "pictures").c_str()), 45) << run.Out();
        EXPECT_EQ(Last(run.Out(), "width") + Last(run.Out(), "end"), "640true");
    }
}

TEST(Zvplay, SaysWhatIsWrongAndLeavesWithItsCode) {
    Scratch folder;
    // Pictures without the key frame that they lean on: frames are found, none may be decoded.
    const Bytes stream = ReadFile(MediaPath("h264_640x360_bf0.264"));
    const std::vector<Span> units = SplitAccessUnits(stream, AV_CODEC_ID_H264);
    folder.Write("headless.264", Span(units[1].data(), static_cast<size_t>(units[25].data() - units[1].data())));
    Bytes aggregates;  // of H.265, as a capture
    for (uint8_t i = 1; i < 6; ++i) {
        const Bytes packet = {0, 20, 0x80, 0x80 | support::RTP_PT_H265, 0, i, 0, 0, 0, i, 0, 0, 0, 1, 48 << 1, 1, 0, 2, 0x40, 1, 0, 0};
        aggregates.insert(aggregates.end(), packet.begin(), packet.end());
    }
    const std::string ts = MakeTs(folder);
    const struct {
        std::vector<std::string> words;
        int code;
        const char *says;
    } cases[] = {
        {{"--headless", folder.At("none.mp4")}, 2, "No such file"},
        {{"--headless", folder.Write("empty.ts", Bytes())}, 2, "the file is empty"},
        {{"--headless", "--fps", "12", ts}, 1, "times of its own"},
        {{"--headless", "--record", ts, ts}, 1, "this is what is played"},
        {{"--headless", "--fast", folder.Write("a.rtp", aggregates)}, 5, "does not take H.265 Aggregation Packets"},
        {{"--no", "a"}, 1, "unknown option"},
        {{"--headless", "--speed", "2", MediaPath("camera.rtp")}, 1, "for recordings"},
        {{"--headless", "--start", "60", MakeTs(folder)}, 1, "behind the end"},
        {{"--headless", folder.Write("cut.mp4", Bytes{0, 0, 0, 8, 'f', 't', 'y', 'p', 0, 0})}, 2, "does not open"},
        {{"--headless", "tcp://127.0.0.1:1"}, 2, "no connection"},
        {{MediaPath("camera.rtp")}, 3, "DISPLAY is not set"},
        {{"--headless", "--log", "/nowhere/a.log", MediaPath("camera.rtp")}, 1, "No such file"},
        {{"--headless", "--fast", "--stats", "json", folder.At("headless.264")}, 5, "begin with a key frame"},
    };
    for (const auto &row : cases) {
        Play run(row.words);
        EXPECT_EQ(run.Wait(), row.code);
        EXPECT_NE(run.Err().find(row.says), std::string::npos) << run.Err();
    }
    Play display({MediaPath("camera.rtp")}, ":4711");
    EXPECT_EQ(display.Wait(), 3);
    EXPECT_NE(display.Err().find("nothing answers"), std::string::npos);
    for (const char *word : {"--help", "--version"}) {
        Play run({word});
        EXPECT_EQ(run.Wait(), 0);
        EXPECT_NE(run.Out(), "");
        const std::string unheard = std::string(std::getenv("ZELVANE_BUILD")) + "/bin/zvplay " + word;
        EXPECT_EQ(WEXITSTATUS(std::system((unheard + " >/dev/full 2>&1").c_str())), 4);
    }
}

TEST(Zvplay, EndsInOrderWhenInterrupted) {
    Scratch folder;
    for (const int signal : {SIGINT, SIGHUP}) {
        Play run({"--headless", "--stats", "json", "--log", folder.At("log"), "--record", folder.At("cam.mp4"),
                  MediaPath("camera.rtp")});
        ASSERT_TRUE(Soon([&] { return !run.Out().empty(); }));
        run.Signal(signal);
        EXPECT_EQ(run.Wait(), 0);
        EXPECT_EQ(Last(run.Out(), "end"), "true");
        EXPECT_NE(ReadText(folder.At("log")).find("Call Zelvane_Cleanup Success."), std::string::npos);
        EXPECT_TRUE(std::filesystem::remove(folder.At("cam.mp4"))) << "the recording has its name";
    }
}

// ---- the window

TEST(Zvplay, PlaysInAWindowAndObeysItsKeys) {
#ifdef ZELVANE_SANITIZED
    // OpenGL drivers are unloaded with what they leaked, which then can't be told from our own leaks.
    setenv("SDL_RENDER_DRIVER", "software", 1);
#endif
    support::Xvfb server;
    ASSERT_NE(server.Name(), "") << "no Xvfb";
    Play run({"--stats", "json", MediaPath("camera.rtp")}, server.Name());
    Desk desk(server.Name());
    ASSERT_TRUE(Soon([&] { return desk.FindWindow(); }));
    EXPECT_TRUE(Soon([&] { return desk.HasSize(640, 360); })) << "the window takes the picture's size";
    EXPECT_TRUE(Soon([&] { return desk.Brightness(320, 60) > 100; })) << "the sky is bright";

    // In a window three times as wide as high the picture keeps its proportion, then fills it.
    desk.Resize(1200, 400);
    EXPECT_TRUE(Soon([&] { return desk.Brightness(20, 60) == 0 && desk.Brightness(600, 60) > 100; }));
    desk.Press(XK_f);
    EXPECT_TRUE(Soon([&] { return desk.Brightness(20, 60) > 100; }));

    EXPECT_TRUE(Soon([&] { return Last(run.Out(), "sound") == "true"; }));
    EXPECT_EQ(Last(run.Out(), "analytics"), "false");
    desk.Press(XK_a);
    EXPECT_TRUE(Soon([&] { return Last(run.Out(), "analytics") == "true"; }));
    desk.Press(XK_m);
    desk.Press(XK_space);
    EXPECT_TRUE(Soon([&] { return Last(run.Out(), "paused") == "true" && Last(run.Out(), "sound") == "false"; }));
    const std::string frames = Last(run.Out(), "frames");
    const size_t length = run.Out().size();
    EXPECT_TRUE(Soon([&] { return run.Out().size() > length; }));
    EXPECT_EQ(Last(run.Out(), "frames"), frames) << "plays on in the pause";
    desk.Press(XK_space);
    EXPECT_TRUE(Soon([&] { return Last(run.Out(), "paused") == "false" && Last(run.Out(), "frames") != frames; }));

    const auto hasFile = [&](const char *end) {
        for (const auto &entry : std::filesystem::directory_iterator(run.Folder())) {
            if (entry.path().extension() == end) return true;
        }
        return false;
    };
    desk.Press(XK_s);
    EXPECT_TRUE(Soon([&] { return hasFile(".jpg"); }));
    desk.Press(XK_r);
    EXPECT_TRUE(Soon([&] { return hasFile(".temp"); }));
    desk.Press(XK_r);
    EXPECT_TRUE(Soon([&] { return hasFile(".mp4"); }));
    desk.Press(XK_q);
    EXPECT_EQ(run.Wait(), 0) << run.Err();
}

TEST(Zvplay, StandsStepsSeeksAndChangesSpeedByKeys) {
#ifdef ZELVANE_SANITIZED
    setenv("SDL_RENDER_DRIVER", "software", 1);
#endif
    const Scratch folder;
    support::Xvfb server;
    ASSERT_NE(server.Name(), "") << "no Xvfb";
    Play run({"--stats", "json", "--loop", "--mute", MakeMp4(folder)}, server.Name());
    Desk desk(server.Name());
    ASSERT_TRUE(Soon([&] { return desk.FindWindow() && Last(run.Out(), "width") == "640"; }));
    const auto becomes = [&](const char *key, const std::string &value) {
        return Soon([&] { return Last(run.Out(), key) == value; });
    };
    const auto time = [&] { return std::atof(Last(run.Out(), "time").c_str()); };
    desk.Press(XK_space);
    EXPECT_TRUE(becomes("paused", "true"));
    desk.Press(XK_Home);
    EXPECT_TRUE(becomes("time", "0.00")) << run.Out();
    desk.Press(XK_period);
    EXPECT_TRUE(becomes("time", "0.04")) << run.Out();
    desk.Press(XK_Right);
    EXPECT_TRUE(Soon([&] { return time() >= 5 && time() <= 6.1; })) << "to the key frame behind 5 seconds";
    desk.Press(XK_Left);
    EXPECT_TRUE(Soon([&] { return time() < 2; }));
    EXPECT_EQ(Last(run.Out(), "paused"), "true") << "a seek does not end the pause";
    desk.Press(XK_bracketright);
    EXPECT_TRUE(becomes("speed", "\"2\""));
    desk.Press(XK_k);
    EXPECT_TRUE(becomes("speed", "\"2-key\""));
    desk.Press(XK_BackSpace);
    EXPECT_TRUE(becomes("speed", "\"1\""));
    desk.Press(XK_Up);
    EXPECT_TRUE(Soon([&] { return time() == 0; })) << "behind the end it begins again";
    desk.Press(XK_l);
    EXPECT_TRUE(becomes("loop", "false"));
    desk.Press(XK_space);
    EXPECT_TRUE(Soon([&] { return Last(run.Out(), "paused") == "false" && time() > 1; }));
    desk.Press(XK_Up);
    EXPECT_EQ(run.Wait(), 0) << run.Err();
}
