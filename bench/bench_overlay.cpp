// What the boxes of analytics cost in the window: the same 1080p picture with them and without, in turns; processor
// time of the thread that draws. See-through and slanted outlines touch the picture in many more places.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "foundations/com_log.h"
#include "measure.h"
#include "tests/support/analytics_bytes.h"
#include "zelvane_modules.h"

namespace {

constexpr int WIDTH = 1920, HEIGHT = 1080, OUTLINES = 64, ROUNDS = 150;
constexpr double LIMIT_MS = 0.3;

struct Picture {
    measure::Bytes luma = measure::Bytes(WIDTH * HEIGHT, 81), chroma = measure::Bytes(WIDTH * HEIGHT / 2, 128);
    CODE_DECODED_DATA_S data = {};
    Picture() {
        data.pucData[0] = luma.data();
        data.pucData[1] = chroma.data();
        data.pucData[2] = chroma.data() + WIDTH * HEIGHT / 4;
        data.lLineSize[0] = data.lWidth = WIDTH;
        data.lLineSize[1] = data.lLineSize[2] = WIDTH / 2;
        data.lHeight = HEIGHT;
    }
};

/** The copy that travels with a picture, of a record in a data frame. */
HANDLE Record(int kind, const std::string &body) {
    IVA_INFO_S info = {};
    info.bDRVEnable = 1;
    std::string frame = support::DataFrame(kind, body);
    DataParse(&info, frame.data(), static_cast<LONG_32>(frame.size()));
    HANDLE copy = DataCopy(25, &info);
    IVA_FreeBuffers(&info);
    measure::Require(copy != nullptr, "a record");
    return copy;
}

ULONG_32 Left(int i) { return static_cast<ULONG_32>(i % 8 * 1200 + 200); }
ULONG_32 Top(int i) { return static_cast<ULONG_32>(i / 8 * 1200 + 200); }

HANDLE Boxes(ULONG_32 alpha) {
    std::vector<support::Target> targets(OUTLINES);
    for (int i = 0; i < OUTLINES; i++) {
        targets[i] = {.trigRule = i % 2u, .box = {Left(i), Top(i), Left(i) + 1000, Top(i) + 1000}, .alpha = alpha};
    }
    return Record(16, support::ListV2(targets));
}

/** Areas of four corners, turned by an angle of the unit square. */
HANDLE Areas(double turn, ULONG_32 alpha) {
    std::vector<support::Rule> rules(OUTLINES);
    for (int i = 0; i < OUTLINES; i++) {
        rules[i].type = IVA_REPORT_RULE_POLY;
        rules[i].alpha = alpha;
        for (int k = 0; k < 4; k++) {
            const double angle = turn + (0.25 + k * 0.5) * M_PI;
            rules[i].corners.emplace_back(Left(i) + 500 + static_cast<ULONG_32>(std::lround(500 * std::cos(angle))),
                                          Top(i) + 500 + static_cast<ULONG_32>(std::lround(500 * std::sin(angle))));
        }
    }
    return Record(17, support::ListV2(rules));
}

double Draw(HANDLE display, Picture *picture, HANDLE record) {
    picture->data.stDrawInfo.hIvaInfo = record;
    const double start = measure::Seconds(CLOCK_THREAD_CPUTIME_ID);
    measure::Require(Video_DisPlayPic(0, display, &picture->data) == 0, "drawing");
    return (measure::Seconds(CLOCK_THREAD_CPUTIME_ID) - start) * 1e3;
}

double Median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

/** Pixels of the window that are not the picture's grey. */
int Drawn(Display *display, Window window) {
    XImage *image = XGetImage(display, window, 0, 0, WIDTH, HEIGHT, AllPlanes, ZPixmap);
    const unsigned long grey = XGetPixel(image, 0, 0);
    int count = 0;
    for (int y = 0; y < HEIGHT; y++) {
        for (int x = 0; x < WIDTH; x++) {
            count += XGetPixel(image, x, y) != grey;
        }
    }
    XDestroyImage(image);
    return count;
}

/** @param limit milliseconds that the outlines may take; 0 for a case that is only told */
bool Case(Display *x, Window window, HANDLE display, Picture *picture, const char *name, HANDLE record, double limit) {
    Draw(display, picture, record);
    const int drawn = Drawn(x, window);
    measure::Require(drawn > OUTLINES * 500, "outlines in the window");
    std::vector<double> with, without;
    for (int i = 0; i < ROUNDS; i++) {
        without.push_back(Draw(display, picture, nullptr));
        with.push_back(Draw(display, picture, record));
    }
    const double more = Median(with) - Median(without);
    const bool good = limit == 0 || more < limit;
    printf("%d %-25s %6d pixels: %.3f ms more than the picture's %.2f ms%s\n", OUTLINES, name, drawn, more,
           Median(without),
           limit == 0 ? ""
           : good     ? " (limit 0.3)"
                      : " (limit 0.3, MISSED)");
    FreeInfo(&record);
    return good;
}

}  // namespace

int main() {
    Log_SetSysLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    Display *x = XOpenDisplay(nullptr);
    if (x == nullptr) {
        printf("no X display: left out\n");
        return 0;
    }
    const Window window = XCreateSimpleWindow(x, DefaultRootWindow(x), 0, 0, WIDTH, HEIGHT, 0, 0, 0);
    XMapWindow(x, window);
    XSync(x, 0);
    Video_Init();
    HANDLE display = Video_CreateDisplayDec(reinterpret_cast<HANDLE>(window));
    Picture picture;
    Draw(display, &picture, nullptr);
    bool good = Case(x, window, display, &picture, "boxes", Boxes(255), LIMIT_MS);
    good &= Case(x, window, display, &picture, "see-through boxes", Boxes(128), 0);
    good &= Case(x, window, display, &picture, "upright areas", Areas(0, 255), LIMIT_MS);
    good &= Case(x, window, display, &picture, "slightly turned areas", Areas(0.05, 255), 0);
    good &= Case(x, window, display, &picture, "turned areas", Areas(0.5, 255), 0);
    good &= Case(x, window, display, &picture, "turned see-through areas", Areas(0.5, 128), 0);
    Video_DeleteDisplayDec(&display);
    Video_Cleanup();
    XCloseDisplay(x);
    return good ? 0 : 1;
}
