// The display on a real X server: what stands in the client's window, and how often it was drawn.
#include <gtest/gtest.h>

#include <SDL2/SDL.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "analytics/iva_show.h"
#include "analytics/module_iva.h"
#include "intake/module_rtp.h"
#include "output/videodisplay.h"
#include "support/analytics_bytes.h"
#include "support/client.h"
#include "support/xvfb.h"

// ---- what the library asks of SDL: counted here, made to fail on demand, and passed on ------------------------------

namespace {

struct SdlSpy {
    std::atomic<int> wrappers{0}, textures{0}, presents{0};
    std::atomic<int> failWrappers{0}, failRenderers{0}, failTextures{0}, failCopies{0};

    void Reset() {
        for (auto *pCount :
             {&wrappers, &textures, &presents, &failWrappers, &failRenderers, &failTextures, &failCopies}) {
            pCount->store(0);
        }
    }
} spy;

bool Fails(std::atomic<int> &count) { return count.load() > 0 && count.fetch_sub(1) > 0; }

template <class F>
F Real(F, const char *pcName) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, pcName));
}

}  // namespace

#define SPY extern "C" __attribute__((visibility("default")))

SPY SDL_Window *SDL_CreateWindowFrom(const void *pData) {
    spy.wrappers++;
    return Fails(spy.failWrappers) ? nullptr : Real(SDL_CreateWindowFrom, "SDL_CreateWindowFrom")(pData);
}
SPY SDL_Renderer *SDL_CreateRenderer(SDL_Window *pWindow, int iIndex, Uint32 uFlags) {
    return Fails(spy.failRenderers) ? nullptr : Real(SDL_CreateRenderer, "SDL_CreateRenderer")(pWindow, iIndex, uFlags);
}
SPY SDL_Texture *SDL_CreateTexture(SDL_Renderer *pRender, Uint32 uFormat, int iAccess, int iW, int iH) {
    spy.textures++;
    return Fails(spy.failTextures) ? nullptr
                                   : Real(SDL_CreateTexture, "SDL_CreateTexture")(pRender, uFormat, iAccess, iW, iH);
}
SPY int SDL_RenderCopy(SDL_Renderer *pRender, SDL_Texture *pTexture, const SDL_Rect *pSrc, const SDL_Rect *pDst) {
    return Fails(spy.failCopies) ? -1 : Real(SDL_RenderCopy, "SDL_RenderCopy")(pRender, pTexture, pSrc, pDst);
}
SPY void SDL_RenderPresent(SDL_Renderer *pRender) {
    spy.presents++;
    Real(SDL_RenderPresent, "SDL_RenderPresent")(pRender);
}

namespace {

// ---- pictures, windows, log -----------------------------------------------------------------------------------------

struct Colour {
    UCHAR y, u, v;
    int r, g, b;
};
constexpr Colour RED{81, 90, 240, 255, 0, 0};
constexpr Colour GREEN{145, 54, 34, 0, 255, 0};
constexpr Colour BLACK{16, 128, 128, 0, 0, 0};

/** A picture whose left half has one colour and its right half another. */
struct Picture {
    std::vector<UCHAR> planes[3];
    CODE_DECODED_DATA_S data{};

    Picture(LONG_32 lWidth, LONG_32 lHeight, Colour left, Colour right, LONG_32 lPad = 0) {
        const UCHAR aucLeft[3] = {left.y, left.u, left.v};
        const UCHAR aucRight[3] = {right.y, right.u, right.v};
        for (int i = 0; i < 3; i++) {
            LONG_32 lRow = i == 0 ? lWidth : lWidth / 2;
            LONG_32 lRows = i == 0 ? lHeight : lHeight / 2;
            LONG_32 lStride = lRow + lPad;
            planes[i].assign(static_cast<size_t>(lStride) * lRows, 0);
            for (LONG_32 y = 0; y < lRows; y++) {
                UCHAR *pucRow = planes[i].data() + static_cast<size_t>(y) * lStride;
                std::memset(pucRow, aucLeft[i], lRow / 2);
                std::memset(pucRow + lRow / 2, aucRight[i], lRow - lRow / 2);
            }
            data.pucData[i] = planes[i].data();
            data.lLineSize[i] = lStride;
        }
        data.lWidth = lWidth;
        data.lHeight = lHeight;
    }
};

/** A window of a client that uses plain Xlib. */
class ClientWindow {
 public:
    ClientWindow(unsigned uWidth, unsigned uHeight, bool bMap = true, int iX = 0) : m_display(XOpenDisplay(nullptr)) {
        m_window = XCreateSimpleWindow(m_display, DefaultRootWindow(m_display), iX, 0, uWidth, uHeight, 0, 0, 0x0000ff);
        if (bMap) {
            XMapWindow(m_display, m_window);
        }
        Sync();
    }
    ~ClientWindow() {
        Destroy();
        XCloseDisplay(m_display);
    }
    HANDLE Handle() const { return reinterpret_cast<HANDLE>(m_window); }
    Display *Connection() const { return m_display; }
    Window Id() const { return m_window; }
    void Sync() { XSync(m_display, False); }
    void Resize(unsigned uWidth, unsigned uHeight) {
        XResizeWindow(m_display, m_window, uWidth, uHeight);
        Sync();
    }
    void Move(int iX, int iY) {
        XMoveWindow(m_display, m_window, iX, iY);
        Sync();
    }
    void Destroy() {
        if (m_window) {
            XDestroyWindow(m_display, std::exchange(m_window, 0));
            Sync();
        }
    }
    bool IsMapped() {
        XWindowAttributes attributes{};
        XGetWindowAttributes(m_display, m_window, &attributes);
        return attributes.map_state != IsUnmapped;
    }
    /** Whether a pixel has a colour, within the error of 8-bit YUV; a driver may show a picture a little later. */
    bool Shows(int x, int y, const Colour &colour) {
        for (int i = 0; i < 200; i++) {
            XImage *pImage = XGetImage(m_display, m_window, x, y, 1, 1, AllPlanes, ZPixmap);
            unsigned long ulPixel = XGetPixel(pImage, 0, 0);
            XDestroyImage(pImage);
            if (Near(ulPixel >> 16, colour.r) && Near(ulPixel >> 8, colour.g) && Near(ulPixel, colour.b)) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

 private:
    static bool Near(unsigned long ulPart, int iWanted) {
        return std::abs(static_cast<int>(ulPart & 0xff) - iWanted) <= 8;
    }
    Display *m_display;
    Window m_window;
};

struct WakeCount {
    std::atomic<int> count{0};
    static void Wake(void *pUser) { static_cast<WakeCount *>(pUser)->count++; }
    bool Reaches(int iCount) const {
        return support::WaitUntil([&] { return count >= iCount; });
    }
};

/** A display of a window for the life of an object. */
class Shown {
 public:
    explicit Shown(HANDLE hWindow) : m_hDisplay(Video_CreateDisplayDec(hWindow)) { EXPECT_NE(nullptr, m_hDisplay); }
    /** One that has had so many pictures; the first is not drawn. */
    Shown(ClientWindow &window, Picture &picture, int iPictures = 2) : Shown(window.Handle()) {
        for (int i = 0; i < iPictures; i++) {
            EXPECT_EQ(0u, Draw(picture));
        }
    }
    ~Shown() { Video_DeleteDisplayDec(&m_hDisplay); }
    operator HANDLE() const { return m_hDisplay; }
    ULONG_32 Draw(Picture &picture) { return Video_DisPlayPic(0, m_hDisplay, &picture.data); }

 private:
    HANDLE m_hDisplay;
};

class DisplayTest : public testing::Test {
 protected:
    void SetUp() override {
        const char *pcDisplay = support::SharedDisplay();
        ASSERT_NE(nullptr, pcDisplay) << "no Xvfb";
        Start(pcDisplay);
    }
    void Start(const char *pcDisplay) {
#ifdef ZELVANE_SANITIZED
        // OpenGL drivers are unloaded with what they leaked, which then can't be told from our own leaks.
        setenv("SDL_RENDER_DRIVER", "software", 1);
#endif
        setenv("DISPLAY", pcDisplay, 1);
        ASSERT_EQ(0u, Video_Init());
        spy.Reset();
    }
    void TearDown() override { Video_Cleanup(); }
};

// ---- drawing --------------------------------------------------------------------------------------------------------

TEST_F(DisplayTest, FirstPictureSetsTheWindowUpAndTheSecondIsDrawn) {
    ClientWindow window(320, 240);
    Picture picture(640, 360, RED, GREEN, 16);
    Shown display(window.Handle());
    EXPECT_EQ(1u, Video_DisplayEnvCheck(display));
    EXPECT_EQ(0, spy.wrappers) << "the window is wrapped before there is a picture";
    EXPECT_EQ(0u, display.Draw(picture));
    EXPECT_EQ(0, spy.presents);
    EXPECT_TRUE(Video_NeedsRedraw(display)) << "nobody would draw the picture that is held";
    EXPECT_EQ(0u, display.Draw(picture));
    EXPECT_EQ(1, spy.presents);
    EXPECT_FALSE(Video_NeedsRedraw(display));
    EXPECT_TRUE(window.Shows(3, 3, RED) && window.Shows(150, 236, RED));
    EXPECT_TRUE(window.Shows(170, 3, GREEN) && window.Shows(316, 236, GREEN));
    Picture other(1280, 720, GREEN, RED);
    EXPECT_EQ(0u, display.Draw(other)) << "of a new size";
    EXPECT_EQ(2, spy.textures);
    EXPECT_EQ(1, spy.wrappers);
    EXPECT_TRUE(window.Shows(20, 90, GREEN) && window.Shows(300, 90, RED));
}

TEST_F(DisplayTest, ProportionKeepsTheShapeOfThePicture) {
    struct {
        int iWidth, iHeight;
        LONG_32 lWidth, lHeight;
        SDL_Rect where;
    } const cases[] = {{800, 600, 1280, 720, {0, 75, 800, 450}}, {1600, 600, 640, 480, {400, 0, 800, 600}}};
    for (const auto &row : cases) {
        ClientWindow window(static_cast<unsigned>(row.iWidth), static_cast<unsigned>(row.iHeight));
        Picture picture(row.lWidth, row.lHeight, RED, GREEN);
        Shown display(window, picture);
        EXPECT_TRUE(window.Shows(1, 1, RED)) << "the default is the whole window";
        Video_SetDisPlayScale(display, PLAYER_RENDER_SCALE_PROPORTION);
        EXPECT_TRUE(Video_NeedsRedraw(display));
        EXPECT_EQ(0u, display.Draw(picture));
        const int iRight = row.where.x + row.where.w;
        const int iBottom = row.where.y + row.where.h;
        EXPECT_TRUE(window.Shows(row.where.x, row.where.y, RED) && window.Shows(iRight - 1, iBottom - 1, GREEN));
        EXPECT_TRUE(window.Shows(std::max(0, row.where.x - 1), std::max(0, row.where.y - 1), BLACK));
        EXPECT_TRUE(window.Shows(std::min(row.iWidth - 1, iRight), std::min(row.iHeight - 1, iBottom), BLACK));
        Video_SetDisPlayScale(display, PLAYER_RENDER_SCALE_REAL);
        display.Draw(picture);
        EXPECT_TRUE(window.Shows(1, 1, RED)) << "real size works as the whole window";
    }
}

TEST_F(DisplayTest, OddPicturesAreDrawnAndImpossibleOnesSkipped) {
    ClientWindow window(200, 200);
    Picture odd(33, 31, RED, GREEN);
    Shown display(window, odd);
    EXPECT_TRUE(window.Shows(20, 190, RED) && window.Shows(195, 195, GREEN))
        << "the odd last column or row has no chroma of its own";
    CODE_DECODED_DATA_S bad = odd.data;
    const std::pair<LONG_32 *, LONG_32> damages[] = {
        {&bad.lHeight, 0}, {&bad.lWidth, -16}, {&bad.lWidth, 1}, {&bad.lLineSize[0], 32}, {&bad.lLineSize[1], 4}};
    for (auto [plField, lValue] : damages) {
        bad = odd.data;
        *plField = lValue;
        Video_SetDisPlayScale(display, PLAYER_RENDER_SCALE_FULL);
        EXPECT_EQ(1u, Video_DisPlayPic(0, display, &bad));
        EXPECT_FALSE(Video_NeedsRedraw(display)) << "a thread that holds such a picture would spin";
    }
    EXPECT_EQ(1, spy.presents);
    EXPECT_EQ(0u, display.Draw(odd));
}

// ---- analytics over the picture -------------------------------------------------------------------------------------

constexpr Colour BLUE{41, 240, 110, 0, 0, 255};

/** A record that travels with a picture: a blue box and a half blue area. */
class Analytics {
 public:
    Analytics() {
        IVA_INFO_S stInfo = {};
        stInfo.bDRVEnable = 1;
        Parse(&stInfo, 16, support::ListV2<support::Target>(
                               {{.trigRule = 1, .box = {2500, 2500, 7500, 7500}, .colour = IVA_REPORT_COLOR_BLUE}}));
        Parse(&stInfo, 17, support::ListV2<support::Rule>({{.type = IVA_REPORT_RULE_POLY,
                                                            .corners = {{0, 0}, {20000, 0}, {20000, 1000}, {0, 1000}},
                                                            .colour = IVA_REPORT_COLOR_NONE,
                                                            .fill = IVA_REPORT_COLOR_BLUE,
                                                            .fillAlpha = 128}}));
        m_hInfo = DataCopy(25, &stInfo);
        IVA_FreeBuffers(&stInfo);
    }
    ~Analytics() { FreeInfo(&m_hInfo); }
    operator HANDLE() const { return m_hInfo; }

 private:
    static void Parse(IVA_INFO_S *pstInfo, int iKind, const std::string &strBody) {
        std::string strFrame = support::DataFrame(iKind, strBody);
        ASSERT_EQ(0u, DataParse(pstInfo, strFrame.data(), static_cast<LONG_32>(strFrame.size())));
    }
    HANDLE m_hInfo = nullptr;
};

TEST_F(DisplayTest, AnalyticsLieOverThePictureAndNotBesideIt) {
    ClientWindow window(800, 600);
    Picture picture(640, 320, RED, RED);  // in the window from row 100 to row 500
    Analytics analytics;
    Shown display(window, picture, 1);
    Video_SetDisPlayScale(display, PLAYER_RENDER_SCALE_PROPORTION);
    picture.data.stDrawInfo.hIvaInfo = analytics;
    for (int i = 0; i < 3; i++) {  // a redraw shows them as well
        EXPECT_EQ(0u, display.Draw(picture));
        for (int x : {198, 199, 200, 201, 598, 601}) {
            EXPECT_TRUE(window.Shows(x, 300, BLUE)) << x;
        }
        EXPECT_TRUE(window.Shows(197, 300, RED) && window.Shows(202, 300, RED) && window.Shows(300, 197, RED));
        EXPECT_TRUE(window.Shows(300, 198, BLUE) && window.Shows(300, 401, BLUE) && window.Shows(300, 402, RED));
        EXPECT_TRUE(window.Shows(400, 110, {0, 0, 0, 127, 0, 128})) << "half the picture, half the area";
        EXPECT_TRUE(window.Shows(400, 99, BLACK) && window.Shows(400, 500, BLACK) && window.Shows(5, 5, BLACK));
    }
    SetIVAShowParam(4);
    EXPECT_EQ(0u, display.Draw(picture));
    EXPECT_TRUE(window.Shows(200, 300, RED) && window.Shows(400, 110, RED)) << "neither is asked for";
    SetIVAShowParam(7);
    EXPECT_EQ(0u, display.Draw(picture));
    EXPECT_TRUE(window.Shows(200, 300, BLUE));
    window.Resize(400, 300);
    EXPECT_EQ(0u, display.Draw(picture));
    EXPECT_TRUE(window.Shows(100, 150, BLUE) && window.Shows(102, 150, RED) && window.Shows(200, 49, BLACK))
        << "on the renderer of the new size";
    picture.data.stDrawInfo.hIvaInfo = nullptr;
    EXPECT_EQ(0u, display.Draw(picture));
    EXPECT_TRUE(window.Shows(100, 150, RED) && window.Shows(200, 49, BLACK));
}

// ---- what happens to the window -------------------------------------------------------------------------------------

TEST_F(DisplayTest, ResizeWakesAndMakesTheWrapperAnew) {
    ClientWindow window(320, 240);
    Picture picture(64, 48, RED, GREEN);
    Shown display(window, picture);
    WakeCount wake;
    Video_SetRedrawWake(display, WakeCount::Wake, &wake);
    window.Resize(500, 400);
    EXPECT_TRUE(wake.Reaches(1));
    EXPECT_TRUE(Video_NeedsRedraw(display));
    EXPECT_EQ(0u, display.Draw(picture));
    EXPECT_EQ(2, spy.wrappers);
    EXPECT_TRUE(window.Shows(10, 395, RED) && window.Shows(495, 395, GREEN));
    Picture later(64, 48, GREEN, RED);
    EXPECT_EQ(0u, display.Draw(later));
    EXPECT_EQ(2, spy.wrappers) << "one size, one wrapper";
    EXPECT_TRUE(window.Shows(10, 10, GREEN));
}

TEST_F(DisplayTest, UncoveringWakesAndMovingDoesNot) {
    ClientWindow window(200, 200);
    Picture picture(64, 48, RED, GREEN);
    Shown display(window, picture);
    WakeCount wake;
    Video_SetRedrawWake(display, WakeCount::Wake, &wake);
    window.Move(300, 300);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(0, wake.count);
    EXPECT_FALSE(Video_NeedsRedraw(display));
    { ClientWindow cover(1000, 1000); }
    EXPECT_TRUE(wake.Reaches(1));
    EXPECT_TRUE(Video_NeedsRedraw(display));
    display.Draw(picture);
    EXPECT_FALSE(Video_NeedsRedraw(display));
    EXPECT_TRUE(window.Shows(10, 10, RED));
    Video_SetRedrawWake(display, nullptr, nullptr);
    int iBefore = wake.count;
    { ClientWindow cover(1000, 1000); }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(iBefore, wake.count);
    EXPECT_TRUE(Video_NeedsRedraw(display)) << "it is seen without a wake too";
}

TEST_F(DisplayTest, DestroyedWindowFailsEachPictureAndNothingElse) {
    Picture picture(64, 48, RED, GREEN);
    for (bool bResized : {false, true}) {
        ClientWindow window(200, 200);
        Shown display(window, picture);
        if (bResized) {
            window.Resize(210, 190);
            EXPECT_EQ(0u, display.Draw(picture));
        }
        window.Destroy();
        EXPECT_EQ(1u, display.Draw(picture));
        EXPECT_EQ(1u, display.Draw(picture));
    }
    ClientWindow other(200, 200);
    Shown display(other, picture);
    EXPECT_TRUE(other.Shows(10, 10, RED));
}

// A client's own errors are its own business: only those of our connections are swallowed.
TEST_F(DisplayTest, ClientsErrorsStillReachItsHandler) {
    ClientWindow window(100, 100);
    static std::atomic<int> errors{0};
    XErrorHandler pfnFormer = XSetErrorHandler([](Display *, XErrorEvent *) { return errors++, 0; });
    XDestroyWindow(window.Connection(), 0x7fffff1);
    window.Sync();
    EXPECT_EQ(1, errors);
    XSetErrorHandler(pfnFormer);
}

// ---- failures of SDL ------------------------------------------------------------------------------------------------

TEST_F(DisplayTest, EveryFailureIsOverWithTheNextPicture) {
    ClientWindow window(200, 200);
    Picture small(64, 48, RED, GREEN);
    Picture large(128, 96, GREEN, RED);
    Shown display(window.Handle());
    spy.failWrappers = 1;
    EXPECT_EQ(1u, display.Draw(small));
    spy.failRenderers = 1;
    EXPECT_EQ(1u, display.Draw(small));
    EXPECT_EQ(0u, display.Draw(small));
    unsigned uSize = 200;
    struct {
        std::atomic<int> &fail;
        bool bResize, bNewPicture;
    } const cases[] = {{spy.failTextures, false, false}, {spy.failTextures, false, true},
                       {spy.failCopies, false, false},   {spy.failWrappers, true, false},
                       {spy.failRenderers, true, false}, {spy.failTextures, true, false}};
    for (const auto &row : cases) {
        SCOPED_TRACE(&row - cases);
        if (row.bResize) {
            std::this_thread::sleep_for(std::chrono::milliseconds(120));  // windows are not wrapped anew more often
            window.Resize(++uSize, 200);
        }
        row.fail = 1;
        Picture &picture = row.bNewPicture ? large : small;
        EXPECT_EQ(1u, display.Draw(picture));
        EXPECT_EQ(0, row.fail) << "it was not asked for";
        EXPECT_EQ(0u, display.Draw(picture));
        EXPECT_TRUE(window.Shows(10, 10, row.bNewPicture ? GREEN : RED));
        EXPECT_EQ(0u, display.Draw(small));
    }
}

// ---- the channel table and the arguments ----------------------------------------------------------------------------

TEST_F(DisplayTest, AWindowServesOneDisplayAtATime) {
    ClientWindow window(160, 120, false);
    Picture first(64, 48, RED, RED);
    Picture second(64, 48, GREEN, GREEN);
    {
        Shown display(window, first);
        EXPECT_EQ(nullptr, Video_CreateDisplayDec(window.Handle()));
    }
    EXPECT_EQ(nullptr, Video_CreateDisplayDec(nullptr));
    Shown display(window, second, 1);
    EXPECT_EQ(1, spy.presents) << "drawn from the second picture again";
    EXPECT_EQ(2, spy.wrappers);
    EXPECT_EQ(0u, display.Draw(second));
    EXPECT_TRUE(window.Shows(80, 60, GREEN));
    EXPECT_TRUE(window.IsMapped()) << "the client has not shown it itself";
}

// ---- many windows, no server, a server that goes --------------------------------------------------------------------

TEST_F(DisplayTest, ManyThreadsDrawResizeAndCloseTheirWindows) {
    Picture picture(64, 48, RED, GREEN);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++) {
        threads.emplace_back([i, &picture] {
            WakeCount wake;
            for (int iRound = 0; iRound < 3; iRound++) {
                ClientWindow window(100, 100, true, i * 150);
                HANDLE hDisplay = Video_CreateDisplayDec(window.Handle());
                Video_SetRedrawWake(hDisplay, WakeCount::Wake, &wake);
                for (int iPicture = 0; iPicture < 10; iPicture++) {
                    window.Resize(100 + (iPicture / 5) * 10, 100);
                    EXPECT_EQ(0u, Video_DisPlayPic(0, hDisplay, &picture.data));
                }
                EXPECT_TRUE(window.Shows(10, 50, RED));
                if (iRound == 1) {
                    window.Destroy();
                }
                Video_DeleteDisplayDec(&hDisplay);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

TEST_F(DisplayTest, CleanupBeforeADisplayIsDeletedLetsGoOfItsWindow) {
    ClientWindow window(100, 100);
    Picture picture(64, 48, RED, GREEN);
    {
        Shown display(window, picture);
        Video_Cleanup();
    }
    EXPECT_EQ(0u, Video_Init());
}

class DisplayServerTest : public DisplayTest {
 protected:
    void SetUp() override {}
};

TEST_F(DisplayServerTest, WithoutAServerEverythingWorksAndNothingShows) {
    Start("");
    unsetenv("DISPLAY");
    Video_Cleanup();
    Start(":nowhere");
    Picture picture(64, 48, RED, GREEN);
    Shown display(reinterpret_cast<HANDLE>(0x400001));
    EXPECT_EQ(1u, display.Draw(picture));
    EXPECT_FALSE(Video_NeedsRedraw(display));
    std::this_thread::sleep_for(std::chrono::milliseconds(1050));
    EXPECT_TRUE(Video_NeedsRedraw(display)) << "a window that can't be watched is looked at once a second";
}

// In a process of its own, which can't show anything afterwards.
void LoseTheServer() {
    support::Xvfb server;
    setenv("DISPLAY", server.Name().c_str(), 1);
    Video_Init();
    Picture picture(64, 48, RED, GREEN);
    // The client's own connection would end the process, so its window outlives it.
    Display *pClient = XOpenDisplay(nullptr);
    Window window = XCreateSimpleWindow(pClient, DefaultRootWindow(pClient), 0, 0, 64, 64, 0, 0, 0);
    XSetCloseDownMode(pClient, RetainPermanent);
    XCloseDisplay(pClient);
    HANDLE hDisplay = Video_CreateDisplayDec(reinterpret_cast<HANDLE>(window));
    bool bGood = Video_DisPlayPic(0, hDisplay, &picture.data) == 0 && Video_DisPlayPic(0, hDisplay, &picture.data) == 0;
    server.Stop();
    bGood = bGood && Video_DisPlayPic(0, hDisplay, &picture.data) == 1;
    Video_DeleteDisplayDec(&hDisplay);
    Video_Cleanup();
    bGood = bGood && Video_Init() == 0;
    Video_Cleanup();
    _exit(bGood ? 0 : 3);
}

TEST(DisplayServerDeathTest, AServerThatGoesTakesNoProcessWithIt) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(LoseTheServer(), testing::ExitedWithCode(0), "");
}

// ---- the band of an outside text ------------------------------------------------------------------------------------

TEST(OsdBandTest, BandIsCutWithoutCopying) {
    struct {
        LONG_32 lWidth, lHeight, lBand;
    } const cases[] = {{704, 640, 64},   {720, 576, 0},   {720, 640, 64},      {1280, 784, 64}, {1280, 725, 64},
                       {1920, 1080, 0},  {1920, 1088, 8}, {1920, 1200, 120},   {720, 560, 64},  {352, 40, 40},
                       {4096, 2224, 64}, {352, -8, 0},    {1920, INT32_MIN, 0}};
    std::vector<UCHAR> plane(4096 * 2224);
    for (const auto &row : cases) {
        CODE_DECODED_DATA_S src{};
        src.pucData[0] = src.pucData[1] = plane.data();
        src.lLineSize[0] = row.lWidth;
        src.lLineSize[1] = src.lLineSize[2] = row.lWidth / 2;
        src.lWidth = row.lWidth;
        src.lHeight = row.lHeight;
        for (auto place : {PLAYER_OSD_OUTSIDE_TOP, PLAYER_OSD_OUTSIDE_BOTTOM}) {
            const ptrdiff_t lSkipped = place == PLAYER_OSD_OUTSIDE_TOP ? row.lBand : 0;
            CODE_DECODED_DATA_S cut{};
            Video_CutOsdBand(place, src, cut);
            EXPECT_EQ(row.lHeight - row.lBand, cut.lHeight) << row.lWidth << "x" << row.lHeight;
            EXPECT_EQ(lSkipped * row.lWidth, cut.pucData[0] - plane.data());
            EXPECT_EQ(lSkipped / 2 * (row.lWidth / 2), cut.pucData[1] - plane.data());
            EXPECT_EQ(nullptr, cut.pucData[2]);
        }
        CODE_DECODED_DATA_S inside{};
        inside.lHeight = 5;
        Video_CutOsdBand(PLAYER_OSD_INSIDE, src, inside);
        EXPECT_EQ(5, inside.lHeight);
    }
}

}  // namespace
