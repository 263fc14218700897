// A file in memory through the AVI reader: opened, read in every way, moved about in and closed. No read outside a
// frame's buffer, no read that stands still, and an answer in bounded time.
//
// Input: the file. The last byte chooses how it is read.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "file/avi/avifmt.h"
#include "file/module_avi.h"
#include "foundations/com_log.h"
#include "foundations/player_types.h"

namespace {

constexpr int READS_MAX = 4096;

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

// A sink, so that the log lines are put together too.
void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

UCHAR *Buffer() {
    static const auto pucBuffer = std::make_unique<UCHAR[]>(VIDEO_FRAME_BUFFER_SIZE);
    return pucBuffer.get();
}

void ReadFrames(avi_t *pstAvi, ULONG_32 ulGetType) {
    AVI_FRAME_INFO_S stFrame = {};
    stFrame.pucData = Buffer();
    for (int i = 0; i < READS_MAX; ++i) {
        const long lFrame = pstAvi->video_pos;
        const off_t lPlace = pstAvi->pos;
        const ULONG_32 ulResult = AVI_GetOneFrameData(pstAvi, ulGetType, &stFrame);
        Require(stFrame.ulDataSize <= VIDEO_FRAME_BUFFER_SIZE || ulResult != PLAYER_ERR_OK);
        if (ulResult == PLAYER_ERR_FILE_END) {
            return;
        }
        Require(ulResult == PLAYER_ERR_OK || ulResult == PLAYER_ERR_FAILED);
        Require(pstAvi->video_pos > lFrame || (ulGetType == AVI_FRAME_GET_TYPE_NONE && pstAvi->pos > lPlace));
    }
}

void ReadSound(avi_t *pstAvi, uint8_t ucHow) {
    for (long i = 0; i < AVI_audio_tracks(pstAvi); ++i) {
        AVI_set_audio_track(pstAvi, i);
        AVI_set_audio_position(pstAvi, ucHow);
        Require(AVI_read_audio(pstAvi, Buffer(), VIDEO_FRAME_BUFFER_SIZE) <= VIDEO_FRAME_BUFFER_SIZE);
        AVI_set_audio_position(pstAvi, 0);
        for (int iRead = 0; iRead < READS_MAX && AVI_read_audio_chunk(pstAvi, Buffer()) >= 0; ++iRead) {
        }
    }
}

void PlayFile(avi_t *pstAvi, uint8_t ucHow) {
    AVI_INFO_S stInfo = {};
    ULONG_32 ulSeconds = 0;
    Require(AVI_GetAviInfo(pstAvi, &stInfo) == PLAYER_ERR_OK && stInfo.ulFrameRate != 0);
    for (ULONG_32 ulGetType = 0; ulGetType <= AVI_FRAME_GET_TYPE_MAX; ++ulGetType) {
        AVI_seek_start(pstAvi);
        ReadFrames(pstAvi, ulGetType % AVI_FRAME_GET_TYPE_MAX);
        AVI_SetPlayTime(pstAvi, ucHow / 16, ucHow % 64);
        AVI_GetPlayTime(pstAvi, &ulSeconds);
    }
    AVI_set_video_position(pstAvi, ucHow);
    ReadFrames(pstAvi, ucHow % AVI_FRAME_GET_TYPE_MAX);
    ReadSound(pstAvi, ucHow);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    Log_SetSysLogCB(DropLine);
    for (const long lIndex : {1L, 0L}) {
        const int iFile = memfd_create("fuzz", 0);
        Require(iFile >= 0 && write(iFile, pucData, ulSize) == static_cast<ssize_t>(ulSize));
        avi_t *pstAvi = AVI_open_fd(iFile, lIndex);
        if (pstAvi != nullptr && lIndex != 0) {
            PlayFile(pstAvi, pucData[ulSize - 1]);
        } else if (pstAvi != nullptr) {
            DLONG dlLen = 0;
            Require(AVI_read_data(pstAvi, Buffer(), nullptr, Buffer(), &dlLen) <= 1);
        }
        if (pstAvi != nullptr) {
            Require(AVI_close(pstAvi) == 0);
        }
    }
    return 0;
}
