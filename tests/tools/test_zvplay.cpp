// zvplay as a user meets it: the program is run, and its output, exit code and window are looked at.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "intake/module_ts.h"
#include "support/media.h"
#include "support/xvfb.h"
#include "tools/program.h"

// Behind gtest, whose names their macros would break.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

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
        {"camera.rtp", 250, 250, "H.264"},           {"h264_640x360_bf0.264", 75, 75, "H.264"},
        {"h264_640x360_bf2.264", 75, 73, "H.264"},   {"h264_640x360_slices4.264", 75, 75, "H.264"},
        {"h264_576i_mbaff.264", 75, 75, "H.264"},    {"h265_640x360.265", 75, 75, "H.265"},
        {"h265_642x362.265", 75, 75, "H.265"},       {"h265_slices_640x360.265", 75, 75, "H.265"},
        {"h265_10bit_640x360.265", 75, 75, "H.265"}, {"h265_opengop_640x360.265", 75, 73, "H.265"},
        {"mjpeg_640x360", 25, 25, "JPEG"},           {"mjpeg_640x360/%03d.jpg", 25, 25, "JPEG"},
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

TEST(Zvplay, PlaysTheLibrarysOwnTransportStream) {
    const Bytes stream = ReadFile(MediaPath("h264_640x360_bf0.264"));
    auto packer = std::make_unique<TS_PACKET_DEC_S>();
    packer->lVideoType = PLAYER_PAYLOAD_H264;
    packer->lAudioTyp = packer->lElemType = PLAYER_PAYLOAD_NULL;
    TS_CreatePAT(packer.get());
    TS_CreatePMT(packer.get());
    Scratch folder;
    Bytes ts;
    int number = 0;
    for (const Span unit : SplitAccessUnits(stream, AV_CODEC_ID_H264)) {
        Bytes data(unit.begin(), unit.end());
        TS_FRAMEDATA_S frame = {};
        frame.pucData = data.data();
        frame.lDataLen = static_cast<LONG_32>(data.size());
        frame.lPayload = PLAYER_PAYLOAD_H264;
        frame.lFormatType = number % 25 == 0 ? PLAYER_VIDEO_FRAME_I : PLAYER_VIDEO_FRAME_P;
        frame.dulTimestamp = 90000 + 3600 * DULONG(number++);
        packer->ulPacketDataLen = packer->ulEsPacketDataLen = 0;
        ULONG_32 result = TS_PackFirstPacket(&frame, packer.get());
        while (result == PLAYER_ERR_PACK_AGAIN) result = TS_PackOtherPacket(&frame, packer.get());
        ASSERT_EQ(result, 0u);
        const auto *packed = reinterpret_cast<const uint8_t *>(packer->szPacketBuff);
        ts.insert(ts.end(), packed, packed + packer->ulPacketDataLen);
    }
    folder.Write("a.ts", ts);
    const auto begin = std::chrono::steady_clock::now();
    Play run({"--headless", "--seconds", "2", "--stats", "json", folder.At("a.ts")});
    EXPECT_EQ(run.Wait(), 0) << run.Err();
    EXPECT_EQ(Last(run.Out(), "pictures"), "50");
    EXPECT_EQ(Last(run.Out(), "rate"), "25");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1900)) << "not at its pace";
}

TEST(Zvplay, SaysWhatIsWrongAndLeavesWithItsCode) {
    Scratch folder;
    folder.Write("text.264", Bytes(100, 'x'));
    // Pictures without the key frame that they lean on: frames are found, none may be decoded.
    const Bytes stream = ReadFile(MediaPath("h264_640x360_bf0.264"));
    const std::vector<Span> units = SplitAccessUnits(stream, AV_CODEC_ID_H264);
    folder.Write("headless.264", Span(units[1].data(), static_cast<size_t>(units[25].data() - units[1].data())));
    const struct {
        std::vector<std::string> words;
        int code;
        const char *says;
    } cases[] = {
        {{}, 1, "no source"},
        {{"--speed", "2", "a"}, 1, "unknown option"},
        {{folder.At("none.rtp")}, 2, "No such file"},
        {{"--headless", folder.At("text.264")}, 2, "no H.264"},
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
    }
}

TEST(Zvplay, EndsInOrderWhenInterrupted) {
    Scratch folder;
    Play run({"--headless", "--stats", "json", "--log", folder.At("log"), MediaPath("camera.rtp")});
    ASSERT_TRUE(Soon([&] { return !run.Out().empty(); }));
    run.Interrupt();
    EXPECT_EQ(run.Wait(), 0);
    EXPECT_EQ(Last(run.Out(), "end"), "true");
    EXPECT_NE(folder.Text("log").find("Call Zelvane_Cleanup Success."), std::string::npos);
}

// ---- the window
// ------------------------------------------------------------------------------------------------------

namespace {

/** Looks at the only window of an X server and sends keys to it. */
class Desk {
 public:
    explicit Desk(const std::string &name) : display_(XOpenDisplay(name.c_str())) {
        XSetErrorHandler([](Display *, XErrorEvent *) { return 0; });  // a window that is gone fails the test, no more
    }
    ~Desk() { XCloseDisplay(display_); }

    bool FindWindow() {
        Window root = 0, parent = 0, *children = nullptr;
        unsigned count = 0;
        XQueryTree(display_, DefaultRootWindow(display_), &root, &parent, &children, &count);
        if (count > 0) window_ = children[count - 1];
        if (children != nullptr) XFree(children);
        return count > 0;
    }
    void Press(KeySym symbol) {
        XEvent event = {};
        event.xkey.type = KeyPress;
        event.xkey.display = display_;
        event.xkey.window = window_;
        event.xkey.keycode = XKeysymToKeycode(display_, symbol);
        XSendEvent(display_, window_, True, KeyPressMask, &event);
        XSync(display_, False);
    }
    void Resize(unsigned width, unsigned height) {
        XResizeWindow(display_, window_, width, height);
        XSync(display_, False);
    }
    bool HasSize(int width, int height) {
        XWindowAttributes attributes = {};
        return XGetWindowAttributes(display_, window_, &attributes) != 0 && attributes.width == width &&
               attributes.height == height;
    }
    /** Brightness of one pixel, 0 to 765. */
    int Brightness(int x, int y) {
        XImage *image = XGetImage(display_, window_, x, y, 1, 1, AllPlanes, ZPixmap);
        if (image == nullptr) return -1;
        const unsigned long pixel = XGetPixel(image, 0, 0);
        XDestroyImage(image);
        return static_cast<int>((pixel >> 16 & 255) + (pixel >> 8 & 255) + (pixel & 255));
    }

 private:
    Display *display_;
    Window window_ = 0;
};

}  // namespace

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
    desk.Press(XK_m);
    desk.Press(XK_space);
    EXPECT_TRUE(Soon([&] { return Last(run.Out(), "paused") == "true" && Last(run.Out(), "sound") == "false"; }));
    const std::string frames = Last(run.Out(), "frames");
    const size_t length = run.Out().size();
    EXPECT_TRUE(Soon([&] { return run.Out().size() > length; }));
    EXPECT_EQ(Last(run.Out(), "frames"), frames) << "plays on in the pause";
    desk.Press(XK_space);
    EXPECT_TRUE(Soon([&] { return Last(run.Out(), "paused") == "false" && Last(run.Out(), "frames") != frames; }));
    desk.Press(XK_q);
    EXPECT_EQ(run.Wait(), 0) << run.Err();
}
