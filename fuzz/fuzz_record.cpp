// Packets through the record thread's step into a file, over changes of file, and what was written read back by our
// own readers.
//
// Input: a byte for the format, a byte whose lowest bit lets every key frame begin a file, then packets with a 16-bit
// length in front.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "zelvane_modules.h"

namespace {

constexpr int READS_MAX = 4096;
constexpr ULONG_32 FORMATS = PLAYER_FILE_FORMATE_VIDEO_AVI_ADD_RCD_TIME + 1;
constexpr ULONG_32 TS_FORMATS = 1 << 1 | 1 << 3 | 1 << 4 | 1 << 6 | 1 << 9 | 1 << 11 | 1 << 13;

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

/** Works in an empty directory, removed at the end of the process. */
struct Place {
    Place() {
        std::string strName = (std::filesystem::temp_directory_path() / "zelvanerecXXXXXX").string();
        m_stPath = mkdtemp(strName.data());
        CODE_H264_GlobalInit();
        Log_SetSysLogCB(DropLine);
    }
    ~Place() {
        CODE_H264_GlobalFree();
        std::filesystem::remove_all(m_stPath);
    }
    std::filesystem::path m_stPath;
};

/** A port as Player_StartRecord() leaves it, but without the thread: its steps are taken here. */
PLAEYR_PORT_S *StartedPort(ULONG_32 ulFormat, bool bSplit, const std::string &strBase) {
    ULONG_32 aulPort[2] = {};
    Require(Player_AllocPort(&aulPort[0]) == PLAYER_ERR_OK && Player_AllocPort(&aulPort[1]) == PLAYER_ERR_OK);
    PLAEYR_PORT_S *pstPort = Player_GetPort(aulPort[0]);
    PLAEYR_PORT_S *pstRecord = Player_GetPort(aulPort[1]);
    pstRecord->pcFrameDataAddr = static_cast<CHAR *>(malloc(VIDEO_FRAME_BUFFER_SIZE));
    pstRecord->pcRtpAudioFrameDataAddr = static_cast<CHAR *>(malloc(AUDIO_FRAME_BUFFER_SIZE));
    pstPort->pstReordPort = pstRecord;
    pstPort->ulMediaFileFormat = ulFormat;
    pstPort->ulFileMaxSize = bSplit ? 1 : 0;
    snprintf(pstPort->szFileNameTemp, sizeof(pstPort->szFileNameTemp), "%s", strBase.c_str());
    snprintf(pstPort->szFileName, sizeof(pstPort->szFileName), "%s.temp", strBase.c_str());
    if ((TS_FORMATS >> ulFormat & 1) != 0) {
        pstPort->pstTsRecordInfo = static_cast<TS_PACKET_DEC_S *>(calloc(1, sizeof(TS_PACKET_DEC_S)));
        pstPort->pRecordFile = fopen(pstPort->szFileName, "wb");
    } else if (ulFormat >= PLAYER_FILE_FORMATE_AVI) {
        pstPort->hAviHandle = AVI_FileOpen(pstPort->szFileName);
    } else {
        pstPort->pstMp4SpsPpsInfo = static_cast<MP4_SPS_PPS_INFO *>(calloc(1, sizeof(MP4_SPS_PPS_INFO)));
        pstPort->hMp4File = mp4_file_open(pstPort->szFileName, 0, 0);
    }
    Require(pstPort->pRecordFile != nullptr || pstPort->hMp4File != nullptr || pstPort->hAviHandle != nullptr);
    pstPort->bStartRecord = 1;
    return pstPort;
}

void TakePackets(PLAEYR_PORT_S *pstPort, const uint8_t *pucData, size_t ulSize) {
    RECORD_LOOP_S stLoop = {};
    stLoop.pstPort = pstPort;
    while (ulSize > 2) {
        const size_t ulWanted = static_cast<size_t>(pucData[0]) << 8 | pucData[1];
        const size_t ulLen = ulWanted < ulSize - 2 ? ulWanted : ulSize - 2;
        std::unique_ptr<CHAR[]> pcPacket(new CHAR[ulLen]);
        memcpy(pcPacket.get(), pucData + 2, ulLen);
        // Nothing that comes in may end a recording whose disk works.
        Require(Record_AddPacket(&stLoop, pcPacket.get(), static_cast<ULONG_32>(ulLen)) == PLAYER_ERR_OK);
        pucData += 2 + ulLen;
        ulSize -= 2 + ulLen;
    }
}

void ReadBack(const CHAR *pcPath) {
    FILE_INFO_S stFile = {};
    if (File_CreateFileParser(pcPath, &stFile) != PLAYER_ERR_OK) {
        return;
    }
    FILE_FRAME_INFO_S stFrame = {};
    for (int i = 0; i < READS_MAX; ++i) {
        const ULONG_32 ulResult = File_ReadOneFrame(&stFile, &stFrame, FRAME_CTRL_PLAY);
        if (ulResult == PLAYER_ERR_FILE_END) {
            break;
        }
        // Data packets beside the streams are stepped over; nothing else may be amiss in a file of our own.
        Require(ulResult == PLAYER_ERR_OK || ulResult == PLAYER_ERR_UNKNOWN_STREAM ||
                ulResult == PLAYER_ERR_PACKET_LOST);
        Require(stFrame.ulBufferLen <= VIDEO_FRAME_BUFFER_SIZE);
    }
    if (stFile.hAviParser != nullptr) {
        AVI_FileClose(nullptr, stFile.hAviParser);
    }
    File_ReleaseFileParser(&stFile);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    static const Place oPlace;
    if (ulSize < 2) {
        return 0;
    }
    PLAEYR_PORT_S *pstPort = StartedPort(pucData[0] % FORMATS, (pucData[1] & 1) != 0, oPlace.m_stPath / "cam_");
    TakePackets(pstPort, pucData + 2, ulSize - 2);
    Require(Player_StopRecord(pstPort->ulPort) == PLAYER_ERR_OK);
    for (const auto &stEntry : std::filesystem::directory_iterator(oPlace.m_stPath)) {
        ReadBack(stEntry.path().c_str());
        std::filesystem::remove(stEntry.path());
    }
    Player_FreePort(pstPort->ulPort);
    return 0;
}
