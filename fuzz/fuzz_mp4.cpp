// A file in memory through the MP4 reader: no read outside a sample's buffer, no walk without an end, and a frame that
// is given has room behind it.
//
// Input: the file. The last byte chooses how it is read.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "file/mp4_parse.h"
#include "foundations/com_log.h"

namespace {

constexpr int READS_MAX = 4096;

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

// A sink, so that the log lines are put together too.
void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

/** One root box at the start, whatever it is, and the list that comes of it. */
void ReadRootBox(FILE *pFile) {
    mp4_moov_box stMoov;
    DLONG dlSize = 0;
    if (mp4_read_root_box(pFile, &stMoov, &dlSize) == 0) {
        make_sample_list(&stMoov, 0);
    }
    rewind(pFile);
}

void ReadFrames(FILE *pFile, mp4_moov_box *pstParser, LONG_32 lGetType, UCHAR *pucBuffer) {
    MP4_FRAME_INFO_S stFrame = {};
    stFrame.pucBuffer = pucBuffer;
    pstParser->iCurSampleIndex = 0;
    for (int i = 0; i < READS_MAX; ++i) {
        const LONG_32 lBefore = pstParser->iCurSampleIndex;
        const ULONG_32 ulResult = MP4_GetOneFrameData(pFile, pstParser, lGetType, &stFrame);
        const bool bEnd = static_cast<size_t>(pstParser->iCurSampleIndex) >= pstParser->list.size();
        Require(ulResult == PLAYER_ERR_OK || ulResult == PLAYER_ERR_FILE_END || ulResult == PLAYER_ERR_FILE_READ);
        Require(stFrame.ulBufferLen + 7 <= VIDEO_FRAME_BUFFER_SIZE);
        Require(pstParser->iCurSampleIndex > lBefore || bEnd);
        if (bEnd) {
            return;
        }
    }
}

void PlayFile(FILE *pFile, uint8_t ucHow) {
    static const auto pucBuffer = std::make_unique<UCHAR[]>(VIDEO_FRAME_BUFFER_SIZE);
    mp4_moov_box *pstParser = MP4_CreateMp4Parser(pFile, 0);
    if (pstParser == nullptr) {
        return;
    }
    MP4_INFO_S stInfo = {};
    Require(MP4_GetMp4Info(pstParser, &stInfo) == PLAYER_ERR_OK && stInfo.ulFrameRate != 0);
    ReadFrames(pFile, pstParser, ucHow % (MP4_FRAME_GET_TYPE_MAX + 1), pucBuffer.get());
    MP4_SetPlayTime(pFile, pstParser, ucHow / 16, ucHow % 64);
    MP4_FindPrevKey(pstParser);
    MP4_ReleaseMp4Parser(pstParser);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    if (ulSize == 0) {
        return 0;
    }
    Log_SetSysLogCB(DropLine);
    FILE *pFile = fmemopen(const_cast<uint8_t *>(pucData), ulSize, "rb");
    Require(pFile != nullptr);
    ULONG_32 ulSeconds = 0;
    MP4_GetRealTime(pFile, &ulSeconds);
    ReadRootBox(pFile);
    PlayFile(pFile, pucData[ulSize - 1]);
    fclose(pFile);
    return 0;
}
