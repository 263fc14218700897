// From a picture's first packet to its colour in the window, as another X client reads it: pictures that are light and
// dark in turn, with Zelvane in its real-time mode and with GStreamer without a jitter buffer on the same display.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <atomic>

#include "live_camera.h"
#include "measure.h"
#include "player_sdk_func.h"

namespace {

using measure::Cameras;
using measure::Codec;
using measure::Picture;
using measure::Receiver;

constexpr double RATE = 15;
constexpr uint16_t PORT = 42080;
constexpr unsigned WIDTH = 640;
constexpr unsigned HEIGHT = 360;
constexpr double TOO_LATE = 0.06;

struct Board {
    std::atomic<Window> window;
};

/** Pictures that are light and dark in turn, each of one slice. */
std::vector<Picture> Blinking() {
    const std::string path = "bench_blinking.264";
    const std::string command =
        "ffmpeg -v error -y -f lavfi -i \"nullsrc=s=640x360:r=15,geq=lum='if(mod(N,2),220,40)':cb=128:cr=128\" "
        "-frames:v 60 -pix_fmt yuv420p -c:v libx264 -bf 0 -x264-params "
        "keyint=30:scenecut=0:repeat-headers=1:slices=1 " +
        path;
    measure::Require(system(command.c_str()) == 0, "ffmpeg");
    const Codec codec = {"H.264", path.c_str(), 105, "h264"};
    std::vector<Picture> pictures = measure::ReadPictures(codec, measure::ReadAll(path));
    remove(path.c_str());
    return pictures;
}

Window MakeWindow(Display *display) {
    const Window window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, WIDTH, HEIGHT, 0, 0, 0);
    XMapWindow(display, window);
    XSync(display, 0);
    return window;
}

void ShowWithZelvane(Board *board) {
    Display *display = XOpenDisplay(nullptr);
    const Window window = MakeWindow(display);
    Zelvane_SetWriteLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    measure::Require(Zelvane_Init(), "Zelvane_Init");
    ULONG_32 port = 0;
    Zelvane_AllocPort(&port);
    Zelvane_SetPictureFluency(port, PLAYER_PICTURE_REAL);
    measure::Require(Zelvane_OpenNetStream(port, "127.0.0.1", PORT, "127.0.0.1", 0, PLAYER_PROTOCOL_UDP), "open");
    measure::Require(Zelvane_StartPlay(port, reinterpret_cast<HANDLE>(window)), "StartPlay");
    board->window = window;
    while (true) {
        pause();
    }
}

void ShowWithGStreamer(const char *sink) {
    measure::RunShell("gst-launch-1.0 -q udpsrc address=127.0.0.1 port=" + std::to_string(PORT) +
                      " caps='application/x-rtp,media=video,clock-rate=90000,encoding-name=H264,payload=105' ! "
                      "rtph264depay ! avdec_h264 ! videoconvert ! " +
                      sink + " sync=false");
}

/** The viewable window of the picture's size, which a program that was not told ours has opened; 0 for none. */
Window FindWindow(Display *display) {
    Window root = 0, parent = 0, *children = nullptr, found = 0;
    unsigned count = 0;
    XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count);
    for (unsigned i = 0; i < count; i++) {
        XWindowAttributes attributes;
        if (XGetWindowAttributes(display, children[i], &attributes) && attributes.map_state == IsViewable &&
            attributes.width == static_cast<int>(WIDTH)) {
            found = children[i];
        }
    }
    XFree(children);
    return found;
}

bool IsLight(Display *display, Window window) {
    XImage *image = XGetImage(display, window, WIDTH / 2, HEIGHT / 2, 1, 1, AllPlanes, ZPixmap);
    if (image == nullptr) {
        return false;
    }
    const bool light = (XGetPixel(image, 0, 0) & 0xFF) > 128;
    XDestroyImage(image);
    return light;
}

/** Sends pictures and times each colour's way into the window; in ms, sorted. */
std::vector<double> Watch(Display *display, Board *board, const std::vector<Picture> &pictures) {
    Cameras camera(pictures, 1, PORT, RATE);
    for (int i = 0; i < 45 || board->window == 0; i++) {  // until the window stands and its renderer is warm
        camera.SendNext(0);
        Cameras::SleepUntil(measure::Wall() + 1 / RATE);
        if (board->window == 0) {
            board->window = FindWindow(display);
        }
        measure::Require(i < 300, "a window");
    }
    const double start = measure::Wall();
    std::vector<double> delays;
    for (int i = 0; i < 300; i++) {
        Cameras::SleepUntil(start + i / RATE);
        const bool light = !IsLight(display, board->window);
        const double sent = measure::Wall();
        camera.SendNext(0);
        while (IsLight(display, board->window) != light && measure::Wall() - sent < TOO_LATE) {
            Cameras::SleepUntil(measure::Wall() + 0.0001);
        }
        delays.push_back((measure::Wall() - sent) * 1e3);
    }
    std::sort(delays.begin(), delays.end());
    return delays;
}

template <typename Main>
void Report(Display *display, const char *name, const std::vector<Picture> &pictures, Main main) {
    Board *board = measure::Shared<Board>();
    std::vector<double> delays;
    {
        Receiver receiver([&] { main(board); });
        delays = Watch(display, board, pictures);
    }
    printf("from the first packet to the pixel, %s: median %.2f ms, 95th percentile %.2f ms, worst %.2f ms\n", name,
           delays[delays.size() / 2], delays[delays.size() * 95 / 100], delays.back());
    fflush(stdout);
}

}  // namespace

int main() {
    XSetErrorHandler([](Display *, XErrorEvent *) { return 0; });  // a peer's window may go while it is looked at
    Display *display = XOpenDisplay(nullptr);
    measure::Require(display != nullptr, "an X display");
    const std::vector<Picture> pictures = Blinking();
    Report(display, "Zelvane (aim 6)", pictures, ShowWithZelvane);
    Report(display, "GStreamer, ximagesink", pictures, [](Board *) { ShowWithGStreamer("ximagesink"); });
    XCloseDisplay(display);
    return 0;
}
