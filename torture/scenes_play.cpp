// Streams that are pushed, files, and what is done with their pictures.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include "support/protection.h"
#include "torture/scenes.h"

namespace torture {

namespace {

/** A pushed stream, with sound if there is any, until so many pictures and sounds have come. */
void Push(Stage &stage, const std::vector<Bytes> &video, const std::vector<Bytes> &sound, long pictures) {
    const Library library(stage);
    if (!library) {
        return;
    }
    const Port port(stage);
    if (!port || !stage.Try("OpenInputStream", Zelvane_OpenInputStream(port.number, nullptr, 0, 0))) {
        return;
    }
    stage.Try("OpenSound", Zelvane_OpenSound(port.number));
    PushAll(port, video, sound);
    stage.Await([&] { return port.pictures == pictures && port.sounds == static_cast<long>(sound.size()); });
    stage.Try("CloseInputStream", Zelvane_CloseInputStream(port.number));
    NoteMedia(stage, port);
}

void PushH264(Stage &stage) { Push(stage, stage.material.rtpH264, stage.material.rtpSound, FRAMES); }
void PushH265(Stage &stage) { Push(stage, stage.material.rtpH265, stage.material.rtpSound, FRAMES); }
void PushJpeg(Stage &stage) { Push(stage, stage.material.jpegs, {}, static_cast<long>(stage.material.jpegs.size())); }
void PushTs(Stage &stage) { Push(stage, stage.material.tsFrames, {}, FRAMES); }

void Descramble(Stage &stage) {
    PLAYER_RSA_INFO_S key = support::BuiltInKey();
    stage.Try("SetRsaKey", Zelvane_SetRsaKey(&key));
    Push(stage, stage.material.rtpScrambled, {}, FRAMES);
}

/** The colour in the middle of the client's window. */
unsigned long Look(Display *display, Window window) {
    XImage *image = XGetImage(display, window, 88, 72, 1, 1, AllPlanes, ZPixmap);
    const unsigned long pixel = image != nullptr ? XGetPixel(image, 0, 0) & 0xFFFFFF : 0;
    if (image != nullptr) {
        XDestroyImage(image);
    }
    return pixel;
}

/** A window with rules and boxes over the picture. */
void ShowWindow(Stage &stage, const Port &port, Display *display) {
    if (!stage.Try("OpenInputStream", Zelvane_OpenInputStream(port.number, nullptr, 0, 0))) {
        return;
    }
    const unsigned long window = stage.material.window;
    stage.Try("SetIVAEnable", Zelvane_SetIVAEnable(port.number, 1));
    stage.Try("StartPlay", Zelvane_StartPlay(port.number, reinterpret_cast<HANDLE>(window)));
    PushAll(port, stage.material.rtpMarked, {});
    stage.Await([&] { return port.pictures == long{FRAMES}; });
    stage.Note("pictures", port.pictures);
    stage.Note("shown", stage.Await([&] { return Look(display, window) != 0; }));
    stage.Try("StopPlay", Zelvane_StopPlay(port.number, nullptr));
    stage.Try("CloseInputStream", Zelvane_CloseInputStream(port.number));
}

void PlayWindow(Stage &stage) {
    Display *display = XOpenDisplay(nullptr);
    XClearWindow(display, stage.material.window);
    XSync(display, False);
    if (const Library library(stage); library) {
        if (const Port port(stage); port) {
            ShowWindow(stage, port, display);
        }
    }
    XCloseDisplay(display);
}

/** A file to its end, with sound, and from a later place once more. */
void PlayFile(Stage &stage, const std::string &path, const char *password = nullptr) {
    const Library library(stage);
    if (!library) {
        return;
    }
    const Port port(stage);
    if (!port) {
        return;
    }
    if (password != nullptr) {
        stage.Try("SetFilePassword", Zelvane_SetFilePassword(port.number, const_cast<char *>(password),
                                                             static_cast<LONG_32>(strlen(password))));
    }
    if (!stage.Try("OpenMediaFile", Zelvane_OpenMediaFile(port.number, path.c_str()))) {
        return;
    }
    stage.Try("OpenSound", Zelvane_OpenSound(port.number));
    stage.Try("PausePlay", Zelvane_PausePlay(port.number, 0));
    stage.Await([&] { return port.ends > 0; });
    NoteMedia(stage, port);
    stage.Note("ends", port.ends);
    stage.Try("SetPlayedTime", Zelvane_SetPlayedTime(port.number, 2));
    stage.Try("PausePlay", Zelvane_PausePlay(port.number, 0));
    stage.Await([&] { return port.ends > 1; });
    stage.Note("ends again", port.ends > 1);
    stage.Try("CloseMediaFile", Zelvane_CloseMediaFile(port.number));
}

void PlayMp4(Stage &stage) { PlayFile(stage, stage.material.mp4); }
void PlayAvi(Stage &stage) { PlayFile(stage, stage.material.avi); }
void PlayTs(Stage &stage) { PlayFile(stage, stage.material.ts); }
void PlayKrdf(Stage &stage) { PlayFile(stage, stage.material.krdf); }
void PlayScrambled(Stage &stage) { PlayFile(stage, stage.material.scrambled, "secret"); }

/** The watermark check of a file that has none. */
void CheckMark(Stage &stage) {
    const Library library(stage);
    if (!library) {
        return;
    }
    const Port port(stage);
    PLAYER_MARK_INFO_S info = {};
    if (port && stage.Try("CheckMark", Zelvane_CheckMark(port.number, stage.material.ts.c_str(), &info))) {
        stage.Note("unmarked", static_cast<long>(info.ulUnmarkCount));
    }
    Zelvane_FreeMarkInfo(&info);
}

/** Log files in place of the callback. */
void LogFiles(Stage &stage) {
    Zelvane_SetWriteLogCB(nullptr);
    Zelvane_SetLog(PLAYER_LOG_DEBUG, const_cast<char *>((stage.folder + "/log").c_str()), 64);
    for (int i = 0; i < 2; ++i) {
        if (stage.Try("Init", Zelvane_Init())) {
            const Port port(stage);
            Zelvane_Cleanup();
        }
    }
}

}  // namespace

std::vector<SceneRow> PlayScenes() {
    return {{"push-h264", PushH264},
            {"push-h265", PushH265},
            {"push-jpeg", PushJpeg},
            {"push-ts", PushTs},
            {"descramble", Descramble},
            {"window", PlayWindow},
            {"play-mp4", PlayMp4},
            {"play-avi", PlayAvi},
            {"play-ts", PlayTs},
            {"play-krdf", PlayKrdf},
            {"play-scrambled", PlayScrambled},
            {"check-mark", CheckMark},
            {"log-files", LogFiles}};
}

}  // namespace torture
