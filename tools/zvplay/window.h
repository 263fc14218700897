/** The window that the library draws in: plain Xlib. */
#ifndef ZVPLAY_WINDOW_H
#define ZVPLAY_WINDOW_H

#include <memory>
#include <string>

#include "failure.h"

namespace zvplay {

/** What the user did. */
enum class Action {
    kNone,
    kPause,
    kProportion,
    kMute,
    kAnalytics,
    kQuit,
    kForward,  ///< 5 seconds, as the one below
    kBack,
    kForwardFar,  ///< 60 seconds, as the one below
    kBackFar,
    kBegin,
    kStep,
    kFaster,
    kSlower,
    kNormalSpeed,
    kKeyFrames,
    kLoop,
    kRecord,
    kSnapshot,
    kTalk
};

/**
 * Owns an X connection and a window on it. The library gets the window's id and draws over a connection of its own, so
 * this one only has to take events. For one thread.
 */
class Window {
 public:
    /** Opens the display and shows the window. @return null with the failure filled */
    static std::unique_ptr<Window> Open(const std::string &title, Failure *failure);
    ~Window();
    Window(const Window &) = delete;
    Window &operator=(const Window &) = delete;

    /** The window's id, for the library. */
    unsigned long Id() const;

    /** Readable when events wait. */
    int Descriptor() const;

    /** Takes the next action out of the waiting events. @return kNone when there is none */
    Action Next();

    /** Gives the window the size of the picture, or the largest part of it that fits the screen; works once. */
    void FitPicture(int width, int height);

    void SetTitle(const std::string &title);

 private:
    struct State;
    explicit Window(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

}  // namespace zvplay

#endif
