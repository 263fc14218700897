// What clients do, each short.
#include "torture/stage.h"

namespace torture {

namespace {

/** Pushes pictures and sound in turns. */
void PushAll(const Port &port, const std::vector<Bytes> &video, const std::vector<Bytes> &sound) {
    for (size_t i = 0, heard = 0; i < video.size(); ++i) {
        port.Push(video[i]);
        for (; heard < sound.size() && heard * video.size() < (i + 1) * sound.size(); ++heard) {
            port.Push(sound[heard]);
        }
    }
}

void NoteMedia(const Stage &stage, const Port &port) {
    stage.Note("frames", port.frames);
    stage.Note("pictures", port.pictures);
    stage.Note("sounds", port.sounds);
    stage.Note("samples", port.samples);
}

/** A pushed stream with sound. */
void Push(Stage &stage, const std::vector<Bytes> &video) {
    const Library library(stage);
    if (!library) {
        return;
    }
    const Port port(stage);
    if (!port || !stage.Try("OpenInputStream", Zelvane_OpenInputStream(port.number, nullptr, 0, 0))) {
        return;
    }
    stage.Try("OpenSound", Zelvane_OpenSound(port.number));
    PushAll(port, video, stage.material.rtpSound);
    stage.Await([&] { return port.pictures == long{FRAMES} && port.sounds == long{FRAMES}; });
    stage.Try("CloseInputStream", Zelvane_CloseInputStream(port.number));
    NoteMedia(stage, port);
}

void PushH264(Stage &stage) { Push(stage, stage.material.rtpH264); }
void PushH265(Stage &stage) { Push(stage, stage.material.rtpH265); }

/** A file to its end, a jump, a step, and to the end again. */
void PlayFile(Stage &stage, const std::string &path) {
    const Library library(stage);
    if (!library) {
        return;
    }
    const Port port(stage);
    if (!port || !stage.Try("OpenMediaFile", Zelvane_OpenMediaFile(port.number, path.c_str()))) {
        return;
    }
    stage.Try("OpenSound", Zelvane_OpenSound(port.number));
    stage.Try("PausePlay", Zelvane_PausePlay(port.number, 0));
    stage.Await([&] { return port.ends > 0; });
    NoteMedia(stage, port);
    stage.Note("ends", port.ends);
    stage.Try("CloseMediaFile", Zelvane_CloseMediaFile(port.number));
}

void PlayMp4(Stage &stage) { PlayFile(stage, stage.material.mp4); }
void PlayMp4H265(Stage &stage) { PlayFile(stage, stage.material.mp4H265); }
void PlayAvi(Stage &stage) { PlayFile(stage, stage.material.avi); }
void PlayTs(Stage &stage) { PlayFile(stage, stage.material.ts); }
void PlayKrdf(Stage &stage) { PlayFile(stage, stage.material.krdf); }

}  // namespace

const SceneRow SCENES[] = {
    {"push-h264", PushH264}, {"push-h265", PushH265}, {"play-mp4", PlayMp4}, {"play-mp4-h265", PlayMp4H265},
    {"play-avi", PlayAvi},   {"play-ts", PlayTs},     {"play-krdf", PlayKrdf}, {nullptr, nullptr},
};

}  // namespace torture
