// Recordings and snapshots.
#include "torture/scenes.h"
#include "zelvane_modules.h"

namespace torture {

namespace {

/** Waits until the record thread has taken what the port holds for it: a stop throws away what it has not. */
void AwaitRecorder(const Stage &stage, const Port &port) {
    stage.Await([&] {
        ULONG_32 left = 0;
        QUEUE_GetCurPacketLen(&Player_GetPort(port.number)->stRecordBufferQueue, &left);
        return left == 0;
    });
}

/** A pushed stream into files of a group each. */
void Record(Stage &stage, ULONG_32 format) {
    const Library library(stage);
    if (!library) {
        return;
    }
    const Port port(stage);
    if (!port || !stage.Try("OpenInputStream", Zelvane_OpenInputStream(port.number, nullptr, 0, 0))) {
        return;
    }
    Zelvane_SetSourceMediaDataCB(port.number, nullptr, 0, nullptr);  // nothing is decoded
    const std::string path = stage.folder + "/sub/clip";
    if (stage.Try("StartRecord", Zelvane_StartRecord(port.number, path.c_str(), format, nullptr))) {
        word::Store(Player_GetPort(port.number)->ulFileMaxSize, DULONG{1});
        PushAll(port, stage.material.rtpH264, stage.material.rtpSound);
        AwaitRecorder(stage, port);
    }
    stage.Try("StopRecord", Zelvane_StopRecord(port.number));
    stage.NoteFiles(true);
    PLAYER_RECORD_FILES_NAME_INFO_S list = {};
    Zelvane_GetRecordFiles(port.number, RECORD_GET_FILENAME_ALL, &list);
    stage.Note("listed", static_cast<long>(list.ulFileCount));
    stage.Try("CloseInputStream", Zelvane_CloseInputStream(port.number));
}

void RecordMp4(Stage &stage) { Record(stage, PLAYER_FILE_FORMATE_MP4_ADD_RCD_TIME); }
void RecordTs(Stage &stage) { Record(stage, PLAYER_FILE_FORMATE_TS_ADD_RCD_TIME); }
void RecordAvi(Stage &stage) { Record(stage, PLAYER_FILE_FORMATE_AVI_ADD_RCD_TIME); }

/** A file that plays into another. */
void RecordFile(Stage &stage) {
    const Library library(stage);
    if (!library) {
        return;
    }
    const Port port(stage);
    if (!port || !stage.Try("OpenMediaFile", Zelvane_OpenMediaFile(port.number, stage.material.mp4.c_str()))) {
        return;
    }
    const std::string path = stage.folder + "/copy";
    stage.Try("StartRecord", Zelvane_StartRecord(port.number, path.c_str(), PLAYER_FILE_FORMATE_TS, nullptr));
    stage.Try("PausePlay", Zelvane_PausePlay(port.number, 0));
    stage.Await([&] { return port.ends > 0; });
    AwaitRecorder(stage, port);
    stage.Try("StopRecord", Zelvane_StopRecord(port.number));
    stage.NoteFiles(true);
    stage.Try("CloseMediaFile", Zelvane_CloseMediaFile(port.number));
}

void Snapshot(Stage &stage) {
    const Library library(stage);
    if (!library) {
        return;
    }
    const Port port(stage);
    if (!port || !stage.Try("OpenInputStream", Zelvane_OpenInputStream(port.number, nullptr, 0, 0))) {
        return;
    }
    PushAll(port, stage.material.rtpH264, {});
    if (stage.Await([&] { return port.pictures == long{FRAMES}; })) {
        const std::string both = stage.folder + "/sub/both", later = stage.folder + "/sub/last";
        stage.Try("SnatchOnce",
                  Zelvane_SnatchOnce(port.number, both.c_str(), PLAYER_PIC_FORMATE_JPEG_AND_BMP, nullptr));
        if (stage.Try("SnatchOnceEx", Zelvane_SnatchOnceEx(port.number, later.c_str(), PLAYER_PIC_FORMATE_JPEG, 1))) {
            stage.Await([&] { return std::filesystem::exists(later + ".jpg"); });
        }
    }
    stage.Try("CloseInputStream", Zelvane_CloseInputStream(port.number));
    Zelvane_FreePort(port.number);  // waits for the snapshot's thread
    stage.NoteFiles(false);
}

}  // namespace

std::vector<SceneRow> RecordScenes() {
    return {{"record-mp4", RecordMp4},
            {"record-ts", RecordTs},
            {"record-avi", RecordAvi},
            {"record-file", RecordFile},
            {"snapshot", Snapshot}};
}

}  // namespace torture
