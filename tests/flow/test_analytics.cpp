// Boxes in the window on their whole road: a real encoder's numbered pictures come with a box that tells the same number.
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <map>
#include <thread>

#include "support/analytics_bytes.h"
#include "support/file_port.h"
#include "support/rtp_stream.h"
#include "support/temp_dir.h"
#include "support/xvfb.h"

using support::FilePort;
using support::InputPort;
using support::Library;
using support::Target;
using support::WaitUntil;

namespace {

constexpr int WIDTH = 400, HEIGHT = 240, PICTURES = 60;
constexpr ULONG_32 HOLD = 200;  // five pictures

struct Coding {
    const char *encoder, *ending;
    AVCodecID codec;
    int payload;
    uint8_t rtp;
    bool H265() const { return codec == AV_CODEC_ID_HEVC; }
};
const Coding kH264 = {"libx264 -bf 0", "h264", AV_CODEC_ID_H264, PLAYER_PAYLOAD_H264, support::RTP_PT_H264};
const Coding kH265 = {"libx265 -x265-params bframes=0:open-gop=0:log-level=none", "hevc", AV_CODEC_ID_HEVC, PLAYER_PAYLOAD_H265,
                      support::RTP_PT_H265};

/** Grey pictures, each a little brighter than the one before. */
const std::vector<Bytes> &Pictures(const Coding &coding) {
    static std::map<std::string, std::vector<Bytes>> known;
    std::vector<Bytes> &pictures = known[coding.ending];
    if (pictures.empty()) {
        Scratch folder;
        const std::string path = folder.At("grey");
        EXPECT_TRUE(support::Ffmpeg("-f lavfi -i color=black:s=400x240:r=25:d=2.4,geq=lum=40+3*N:cb=128:cr=128 -c:v " +
                                        std::string(coding.encoder) + " -g 20 -crf 12 -pix_fmt yuv420p -f " +
                                        coding.ending,
                                    path));
        Bytes stream = ReadFile(path);
        support::RewriteH265KeyUnits(&stream);
        for (const Span unit : SplitAccessUnits(stream, coding.codec)) {
            pictures.push_back(support::WithLongStartCodes(unit));
        }
        EXPECT_EQ(pictures.size(), size_t{PICTURES});
    }
    return pictures;
}

/** A red box whose left side stands at pixel 20 + 2 * number. */
std::string BoxBody(int number) {
    const ULONG_32 left = static_cast<ULONG_32>(500 + 50 * number);
    return support::ListV2<Target>({{.box = {left, 1000, 9500, 9000}}}, HOLD);
}

/** A picture with its box as a message in front of the first slice. */
Bytes WithMessage(const Coding &coding, Span picture, int number) {
    const std::string message = support::SeiUnit(coding.H265(), 32, BoxBody(number));
    Bytes whole;
    bool put = false;
    for (const Span unit : SplitUnits(picture)) {
        const int type = coding.H265() ? unit[4] >> 1 & 63 : unit[4] & 31;
        if (!put && (coding.H265() ? type < 32 : type >= 1 && type <= 5)) {
            whole.insert(whole.end(), message.begin(), message.end());
            put = true;
        }
        whole.insert(whole.end(), unit.begin(), unit.end());
    }
    return whole;
}

/** What the window shows: numbers of the picture and of its box, -1 for no box. */
struct Seen {
    int picture, box;
};

class ClientWindow {
 public:
    // One connection for all: a window of a later one could have the number of one that is gone.
    ClientWindow() : m_display(Connection()) {
        m_window = XCreateSimpleWindow(m_display, DefaultRootWindow(m_display), 0, 0, WIDTH, HEIGHT, 0, 0, 0);
        XMapWindow(m_display, m_window);
        XSync(m_display, False);
    }
    ~ClientWindow() { Destroy(); }
    HANDLE Handle() const { return reinterpret_cast<HANDLE>(m_window); }
    void Resize(int width, int height) {
        XResizeWindow(m_display, m_window, static_cast<unsigned>(width), static_cast<unsigned>(height));
        XSync(m_display, False);
    }
    void Destroy() {
        if (m_window != 0) {
            XDestroyWindow(m_display, std::exchange(m_window, 0));
            XSync(m_display, False);
        }
    }
    Seen Look(int width = WIDTH, int height = HEIGHT) const {
        XImage *image = XGetImage(m_display, m_window, 0, height / 2, static_cast<unsigned>(width), 1, AllPlanes, ZPixmap);
        Seen seen = {NumberOfGrey(XGetPixel(image, 2, 0)), -1};
        for (int x = 0; x < width && seen.box < 0; ++x) {
            const unsigned long pixel = XGetPixel(image, x, 0);
            if ((pixel >> 16 & 255) > 200 && (pixel & 0xFFFF) == 0) {
                seen.box = ((x + 1) * WIDTH / width - 20) / 2;
            }
        }
        XDestroyImage(image);
        return seen;
    }

 private:
    static Display *Connection() {
        static Display *const display = XOpenDisplay(nullptr);
        return display;
    }
    static int NumberOfGrey(unsigned long pixel) {
        const double luma = static_cast<double>(pixel & 255) * 219 / 255 + 16;
        return static_cast<int>(std::lround((luma - 40) / 3));
    }
    Display *m_display;
    Window m_window;
};

class AnalyticsRoad : public testing::Test {
 protected:
    void SetUp() override {
        const char *display = support::SharedDisplay();
        ASSERT_NE(nullptr, display) << "no Xvfb";
        setenv("DISPLAY", display, 1);
#ifdef ZELVANE_SANITIZED
        setenv("SDL_RENDER_DRIVER", "software", 1);
#endif
        m_library = std::make_unique<Library>();
    }
    std::unique_ptr<Library> m_library;
};

/** A port that plays in a window, given a picture at a time. */
class Road {
 public:
    explicit Road(const Coding &coding, bool analytics = true) : m_coding(coding), m_video(coding.rtp), m_data(50) {
        EXPECT_TRUE(!analytics || Zelvane_SetIVAEnable(port.Number(), 1));
        EXPECT_TRUE(Zelvane_StartPlay(port.Number(), window.Handle()));
        // Pictures that come before the first look at the queue would push each other out.
        EXPECT_TRUE(WaitUntil([&] { return window.Look().picture >= 0; })) << "the grey of the beginning";
    }
    enum How { PLAIN, MESSAGE, DATA, LIE };
    void Push(int number, How how) {
        const uint32_t time = static_cast<uint32_t>(3600 * (number + 1));
        const Bytes &picture = Pictures(m_coding)[static_cast<size_t>(number)];
        if (how == DATA || how == LIE) {
            std::string frame = support::DataFrame(16, BoxBody(number));
            frame[3 + 8] = how == LIE ? '\x70' : frame[3 + 8];
            ASSERT_TRUE(port.Push(m_data.Packet({reinterpret_cast<const uint8_t *>(frame.data()), frame.size()}, time,
                                                true)));
        }
        const Bytes whole = how == MESSAGE ? WithMessage(m_coding, picture, number) : picture;
        ASSERT_TRUE(port.PushAll(m_video.VideoPackets(whole, time)));
    }
    /** Waits until a picture with this number, or the one before it where a decoder holds one back, stands there. */
    Seen Await(int number) {
        Seen seen = {-1, -1};
        WaitUntil([&] {
            seen = window.Look();
            return seen.picture == number;
        });
        return seen;
    }

    InputPort port;
    ClientWindow window;

 private:
    const Coding m_coding;
    support::RtpSender m_video, m_data;
};

}  // namespace

TEST_F(AnalyticsRoad, BoxesStandInTheirPicture) {
    for (const Coding &coding : {kH264, kH265}) {
        for (const Road::How how : {Road::DATA, Road::MESSAGE}) {
            Road road(coding);
            int right = 0;
            for (int i = 0; i < 30; ++i) {
                road.Push(i, how);
                if (i < 4) continue;  // until the rate is known nobody can tell how long a record stands
                const Seen seen = road.Await(i);
                ASSERT_EQ(seen.picture, i) << coding.encoder << how;
                EXPECT_NEAR(seen.box, i, 1) << coding.encoder << how;
                right += seen.box == i;
            }
            EXPECT_EQ(right, 26) << coding.encoder << how << ": the decoder holds nothing back here";
        }
    }
}

TEST_F(AnalyticsRoad, RecordsStandAsLongAsTheySayAndDamagedOnesHarmNothing) {
    for (const Road::How how : {Road::MESSAGE, Road::DATA}) {
        Road road(kH264);
        for (int i = 0; i < 10; ++i) road.Push(i, Road::PLAIN);
        EXPECT_EQ(road.Await(9).box, -1);
        road.Push(10, how);
        EXPECT_EQ(road.Await(10).box, 10);
        for (int i = 11; i < 20; ++i) {
            road.Push(i, Road::PLAIN);
            EXPECT_EQ(road.Await(i).box, i < 15 ? 10 : -1) << i << " " << how;
        }
        road.Push(20, Road::LIE);  // counts more targets than it has
        EXPECT_EQ(road.Await(20).box, 20) << "the one that is there";
    }
}

TEST_F(AnalyticsRoad, NobodyAskedMeansNothingIsDrawn) {
    Road road(kH264, false);
    for (int i = 0; i < 20; ++i) road.Push(i, i % 2 != 0 ? Road::MESSAGE : Road::DATA);
    EXPECT_EQ(road.Await(19).box, -1);
}

TEST_F(AnalyticsRoad, APictureThatStandsFollowsWindowAndSwitch) {
    Road road(kH264);
    Bytes plain;
    for (int i = 0; i < 20; ++i) {
        road.Push(i, Road::MESSAGE);
        const Bytes &picture = Pictures(kH264)[static_cast<size_t>(i)];
        plain.insert(plain.end(), picture.begin(), picture.end());
    }
    EXPECT_EQ(road.Await(19).box, 19);
    EXPECT_EQ(road.port.PictureMd5s(), ReferenceMd5s(plain, AV_CODEC_ID_H264)) << "the tap gets pictures without boxes";
    Zelvane_SetIVAEnable(road.port.Number(), 0);
    EXPECT_TRUE(WaitUntil([&] { return road.window.Look().box == -1; }));
    Zelvane_SetIVAEnable(road.port.Number(), 1);
    EXPECT_TRUE(WaitUntil([&] { return road.window.Look().box == 19; }));
    Zelvane_SetIVAShowParamEx(road.port.Number(), 3, 1);  // the box touches no rule
    EXPECT_TRUE(WaitUntil([&] { return road.window.Look().box == -1; }));
    Zelvane_SetIVAShowParamEx(road.port.Number(), 7, 0);
    EXPECT_TRUE(WaitUntil([&] { return road.window.Look().box == 19; }));
    road.window.Resize(200, 120);
    EXPECT_TRUE(WaitUntil([&] {
        const Seen seen = road.window.Look(200, 120);
        return seen.picture == 19 && std::abs(seen.box - 19) <= 1;
    }));
}

TEST_F(AnalyticsRoad, NoRecordIsLostTrackOf) {  // LeakSanitizer looks on
    for (const bool gone : {false, true}) {
        Road road(kH265);
        Zelvane_SetAdjust(road.port.Number(), gone, std::make_unique<PLAYER_VIDEOADJUST_PARAM_S>().get());
        for (int i = 0; i < 50; ++i) {
            road.Push(i, i % 2 != 0 ? Road::MESSAGE : Road::DATA);
            if (i == 10) Zelvane_SpeedPlay(road.port.Number(), PLAYER_SPEED_8_FORWARD);
            if (i == 20) road.window.Resize(300, 200);
            ASSERT_TRUE(i != 25 || Zelvane_StopPlay(road.port.Number(), nullptr));
            ASSERT_TRUE(i != 30 || Zelvane_StartPlay(road.port.Number(), road.window.Handle()));
            if (i == 40 && gone) road.window.Destroy();
        }
        road.port.Drain();
    }
}

TEST_F(AnalyticsRoad, ARecordingKeepsItsBoxes) {
    Scratch folder;
    std::vector<Bytes> pictures;
    for (int i = 0; i < PICTURES; ++i) pictures.push_back(WithMessage(kH264, Pictures(kH264)[static_cast<size_t>(i)], i));
    const std::string path = folder.At("boxes.ts");
    support::WriteTs(path, {kH264.payload, {pictures.begin(), pictures.end()}, 3600}, nullptr, 20);
    FilePort port;
    ClientWindow window;
    ASSERT_TRUE(port.Open(path));
    ASSERT_TRUE(Zelvane_SetIVAEnable(port.Number(), 1));
    ASSERT_TRUE(Zelvane_StartPlay(port.Number(), window.Handle()));
    int looks = 0;
    while (port.Ends() == 0 && looks < 10000) {
        const Seen seen = window.Look();
        // A picture that stands longer than its record, on a slow machine, stands without it.
        if (seen.picture >= 4 && seen.picture < PICTURES && seen.box != -1) {
            ++looks;
            ASSERT_NEAR(seen.box, seen.picture, 1);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_GT(looks, 10);
    Zelvane_StopPlay(port.Number(), nullptr);
    EXPECT_TRUE(port.Close());
}
