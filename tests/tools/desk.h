// The desktop that a tool shows its window on. To be included behind gtest.
#ifndef ZELVANE_TESTS_TOOLS_DESK_H
#define ZELVANE_TESTS_TOOLS_DESK_H

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include <string>

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

#endif
