#include "torture/scenes.h"

namespace torture {

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

std::vector<SceneRow> AllScenes() {
    std::vector<SceneRow> all = PlayScenes();
    for (const auto &some : {RecordScenes(), NetScenes()}) {
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

}  // namespace torture
