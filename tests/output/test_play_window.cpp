// Windows of a client's: what it gets to see of them, and what it hears of errors on them.
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <atomic>
#include <thread>

#include "foundations/shared_word.h"
#include "port/player_manager.h"
#include "support/elapsed.h"
#include "support/file_port.h"
#include "support/rtp_stream.h"
#include "support/temp_dir.h"
#include "support/xvfb.h"

using support::WaitUntil;

namespace {

std::atomic<int> clientsErrors{0};

int CountError(Display *, XErrorEvent *) { return ++clientsErrors; }

class PlayWindow : public testing::Test {
 protected:
    void SetUp() override {
        const char *display = support::SharedDisplay();
        ASSERT_NE(display, nullptr);
        setenv("DISPLAY", display, 1);
        m_library = std::make_unique<support::Library>();
        m_client = XOpenDisplay(nullptr);
        ASSERT_NE(m_client, nullptr);
        m_window = XCreateSimpleWindow(m_client, DefaultRootWindow(m_client), 0, 0, 320, 240, 0, 0, 0);
        XMapWindow(m_client, m_window);
        XSync(m_client, False);
    }
    void TearDown() override {
        m_library.reset();
        XCloseDisplay(m_client);
    }
    HANDLE Window() const { return reinterpret_cast<HANDLE>(m_window); }

    std::unique_ptr<support::Library> m_library;
    Display *m_client = nullptr;
    ::Window m_window = 0;
};

}  // namespace

TEST_F(PlayWindow, FirstPictureOfAFileIsTheWindowsFirst) {
    Scratch dir;
    const std::string path = dir.At("movie.mp4");
    ASSERT_TRUE(support::Ffmpeg("-r 25 -i " + MediaPath("h264_640x360_bf0.264") + " -c copy", path));
    for (int round = 0; round < 5; round++) {
        support::FilePort port;
        const PLAEYR_PORT_S *record = Player_GetPort(port.Number());
        std::atomic<int> unseen{0};
        port.onPicture = [&] { unseen += word::Load(record->bStartVideo) == 0; };
        ASSERT_TRUE(port.Open(path));
        ASSERT_TRUE(Zelvane_StartPlay(port.Number(), Window()));
        ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() > 1; }));
        EXPECT_EQ(unseen, 0) << "pictures that no window takes";
        ASSERT_TRUE(Zelvane_StopPlay(port.Number(), nullptr));
        EXPECT_FALSE(Zelvane_StartPlay(port.Number(), nullptr));
        const size_t before = port.PictureCount();
        EXPECT_TRUE(WaitUntil([&] { return port.PictureCount() > before + 2; })) << "it plays on without";
    }
}

TEST_F(PlayWindow, ErrorsOnADeadWindowAreTheLibrarysOwn) {
    clientsErrors = 0;
    XErrorHandler former = XSetErrorHandler(CountError);
    support::InputPort port;
    EXPECT_FALSE(Zelvane_StartPlay(port.Number(), reinterpret_cast<HANDLE>(0x7654321)));
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_DISPLAY_CREATE));
    EXPECT_EQ(support::Library::LinesWith("Has No Window"), 1U);

    const Bytes stream = ReadFile(MediaPath("h264_640x360_bf0.264"));
    const std::vector<Bytes> packets = support::PacketiseVideo(stream, AV_CODEC_ID_H264, support::RTP_PT_H264);
    ASSERT_TRUE(Zelvane_StartPlay(port.Number(), Window()));
    port.PushAll({packets.begin(), packets.begin() + 60});
    ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() > 4; }));
    XDestroyWindow(m_client, m_window);
    XSync(m_client, False);
    port.PushAll({packets.begin() + 60, packets.begin() + 120});
    ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() > 10; }));
    port.Drain();
    EXPECT_TRUE(Zelvane_StopPlay(port.Number(), nullptr));
    port.Close();
    m_library.reset();
    EXPECT_EQ(XSetErrorHandler(former), CountError) << "the client's handler still stands";
    EXPECT_EQ(clientsErrors, 0);
}

TEST_F(PlayWindow, ResizingIsFollowedAtASteadyPace) {
    support::InputPort port;
    const Bytes stream = ReadFile(MediaPath("h264_640x360_bf0.264"));
    const std::vector<Bytes> packets = support::PacketiseVideo(stream, AV_CODEC_ID_H264, support::RTP_PT_H264);
    ASSERT_TRUE(Zelvane_StartPlay(port.Number(), Window()));
    port.PushAll({packets.begin(), packets.begin() + 60});
    ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() > 4; }));
    const auto colour = [&](int x, int y) {
        XImage *image = XGetImage(m_client, m_window, x, y, 1, 1, AllPlanes, ZPixmap);
        const unsigned long pixel = image != nullptr ? XGetPixel(image, 0, 0) : 0;
        if (image != nullptr) {
            XDestroyImage(image);
        }
        return pixel;
    };
    for (unsigned i = 0; i < 60; i++) {
        XResizeWindow(m_client, m_window, 320 + i * 4, 240 + i * 4);
        XSync(m_client, False);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_TRUE(WaitUntil([&] { return colour(550, 470) != 0; })) << "the last size is drawn though no picture comes";
}
