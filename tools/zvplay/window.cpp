#include "window.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace zvplay {

/** Keeps Xlib's names out of the header. */
struct Window::State {
    Display *display = nullptr;
    ::Window window = 0;
    Atom delete_window = 0;
    bool fitted = false;
    std::string title;
};

namespace {

constexpr unsigned kWidth = 960, kHeight = 540;  // until the first picture tells its size

struct Key {
    KeySym symbol;
    Action action;
};
const Key kKeys[] = {
    {XK_space, Action::kPause},
    {XK_p, Action::kPause},
    {XK_f, Action::kProportion},
    {XK_m, Action::kMute},
    {XK_a, Action::kAnalytics},
    {XK_q, Action::kQuit},
    {XK_Escape, Action::kQuit},
    {XK_Right, Action::kForward},
    {XK_Left, Action::kBack},
    {XK_Up, Action::kForwardFar},
    {XK_Down, Action::kBackFar},
    {XK_Home, Action::kBegin},
    {XK_period, Action::kStep},
    {XK_bracketright, Action::kFaster},
    {XK_bracketleft, Action::kSlower},
    {XK_BackSpace, Action::kNormalSpeed},
    {XK_k, Action::kKeyFrames},
    {XK_l, Action::kLoop},
    {XK_r, Action::kRecord},
    {XK_s, Action::kSnapshot},
    {XK_t, Action::kTalk},
};

Action ActionOfKey(XKeyEvent *event) {
    const KeySym symbol = XLookupKeysym(event, 0);  // without Shift: capitals and braces do the same
    for (const Key &key : kKeys) {
        if (symbol == key.symbol) return key.action;
    }
    return Action::kNone;
}

/** The display's own, or why there is none. */
Display *OpenDisplay(Failure *failure) {
    Display *display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        const char *name = std::getenv("DISPLAY");
        const std::string what = name == nullptr || *name == '\0'
                                     ? "no X display: DISPLAY is not set"
                                     : std::string("no X display: nothing answers at DISPLAY=") + name;
        *failure = {kExitDisplay, what,
                    "start zvplay in a desktop session; or decode without a window: add --headless; or give it a "
                    "virtual display: xvfb-run -a zvplay ..."};
    }
    return display;
}

}  // namespace

std::unique_ptr<Window> Window::Open(const std::string &title, Failure *failure) {
    auto state = std::make_unique<State>();
    state->display = OpenDisplay(failure);
    if (state->display == nullptr) return nullptr;
    Display *display = state->display;
    const int screen = DefaultScreen(display);
    const unsigned long black = BlackPixel(display, screen);
    state->window = XCreateSimpleWindow(display, RootWindow(display, screen), 0, 0, kWidth, kHeight, 0, black, black);
    XSelectInput(display, state->window, KeyPressMask | StructureNotifyMask);
    state->delete_window = XInternAtom(display, "WM_DELETE_WINDOW", False);
    XSetWMProtocols(display, state->window, &state->delete_window, 1);
    char name[] = "zvplay";
    XClassHint hint = {name, name};
    XSetClassHint(display, state->window, &hint);
    std::unique_ptr<Window> window(new Window(std::move(state)));
    window->SetTitle(title);
    XMapWindow(display, window->state_->window);
    // The library looks the window up over another connection: the server has to know it by then.
    XSync(display, False);
    return window;
}

Window::Window(std::unique_ptr<State> state) : state_(std::move(state)) {}

Window::~Window() {
    XDestroyWindow(state_->display, state_->window);
    XCloseDisplay(state_->display);
}

unsigned long Window::Id() const { return state_->window; }

int Window::Descriptor() const { return ConnectionNumber(state_->display); }

Action Window::Next() {
    while (XPending(state_->display) > 0) {
        XEvent event;
        XNextEvent(state_->display, &event);
        Action action = Action::kNone;
        if (event.type == KeyPress) {
            action = ActionOfKey(&event.xkey);
        } else if (event.type == MappingNotify) {
            XRefreshKeyboardMapping(&event.xmapping);
        } else if (event.type == DestroyNotify) {
            action = Action::kQuit;
        } else if (event.type == ClientMessage && static_cast<Atom>(event.xclient.data.l[0]) == state_->delete_window) {
            action = Action::kQuit;
        }
        if (action != Action::kNone) return action;
    }
    return Action::kNone;
}

void Window::FitPicture(int width, int height) {
    if (state_->fitted || width <= 0 || height <= 0) return;
    state_->fitted = true;
    const int screen = DefaultScreen(state_->display);
    const double most_wide = DisplayWidth(state_->display, screen) * 0.9;
    const double most_high = DisplayHeight(state_->display, screen) * 0.9;
    const double scale = std::min({1.0, most_wide / width, most_high / height});
    XResizeWindow(state_->display, state_->window, std::max(1u, static_cast<unsigned>(width * scale)),
                  std::max(1u, static_cast<unsigned>(height * scale)));
    XFlush(state_->display);
}

void Window::SetTitle(const std::string &title) {
    if (title == state_->title) return;
    state_->title = title;
    Xutf8SetWMProperties(state_->display, state_->window, title.c_str(), title.c_str(), nullptr, 0, nullptr, nullptr,
                         nullptr);
    XFlush(state_->display);
}

}  // namespace zvplay
