// Scenes by what they are about, and what they share.
#ifndef ZELVANE_TORTURE_SCENES_H
#define ZELVANE_TORTURE_SCENES_H

#include "torture/stage.h"

namespace torture {

std::vector<SceneRow> PlayScenes();
std::vector<SceneRow> RecordScenes();
std::vector<SceneRow> NetScenes();

/** Pushes pictures and sound in turns. */
void PushAll(const Port &port, const std::vector<Bytes> &video, const std::vector<Bytes> &sound);
/** Notes what has come out of the taps. */
void NoteMedia(const Stage &stage, const Port &port);

}  // namespace torture

#endif
