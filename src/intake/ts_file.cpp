/**
 * @file ts_file.cpp
 * @brief Transport stream files: what they look like, and the packets of one frame at a time.
 */
#include <algorithm>
#include <cstring>
#include <iterator>

#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"
#include "foundations/shared_word.h"
#include "intake/module_ts.h"

namespace {

/** Frame control values that choose among the frames of a file; every other value takes all. */
enum : ULONG_32 {
    CTRL_VIDEO = 0,
    CTRL_KEY = 4,
    CTRL_KEY_AND_SP = 5,
};

/** Low PID bytes of the dialect's two video streams. */
enum : UCHAR {
    LOW_PID_H264 = 0x65,
    LOW_PID_H265 = 0x68,
};

constexpr ULONG_32 DETECT_LEN = 375;

/** What stands behind a start code and settles whether a frame is an SP frame. */
struct SP_MARK_ROW {
    UCHAR ucLowPid;
    UCHAR ucLen;
    UCHAR aucBytes[3];
    bool bSp;
};

constexpr SP_MARK_ROW SP_MARKS[] = {
    {LOW_PID_H264, 2, {0x06, 0x21}, true},        // SEI with a coding head
    {LOW_PID_H264, 1, {0x65}, false},             // slice of a key frame
    {LOW_PID_H264, 1, {0x61}, false},             // slice
    {LOW_PID_H265, 3, {0x4E, 0x01, 0xE6}, true},  // SEI with a coding head
    {LOW_PID_H265, 2, {0x26, 0x01}, false},       // slice of a key frame
    {LOW_PID_H265, 2, {0x02, 0x01}, false},       // slice
};

const SP_MARK_ROW *FindSpMark(UCHAR ucLowPid, const UCHAR *pucAt, ULONG_32 ulLen) {
    for (const SP_MARK_ROW &stRow : SP_MARKS) {
        if (stRow.ucLowPid == ucLowPid && stRow.ucLen <= ulLen && memcmp(pucAt, stRow.aucBytes, stRow.ucLen) == 0) {
            return &stRow;
        }
    }
    return nullptr;
}

/** Looks through the packets as they stand: the marks lie near the start of a frame, inside its first packet. */
bool IsSpFrame(const UCHAR *pucFrame, ULONG_32 ulLen) {
    constexpr UCHAR aucStartCode[] = {0, 0, 1};
    const UCHAR ucLowPid = pucFrame[2];
    if (ucLowPid != LOW_PID_H264 && ucLowPid != LOW_PID_H265) {
        return false;
    }
    const UCHAR *pucEnd = pucFrame + ulLen;
    const UCHAR *pucAt = pucFrame;
    while ((pucAt = std::search(pucAt, pucEnd, std::begin(aucStartCode), std::end(aucStartCode))) != pucEnd) {
        pucAt += sizeof(aucStartCode);
        const SP_MARK_ROW *pstMark = FindSpMark(ucLowPid, pucAt, static_cast<ULONG_32>(pucEnd - pucAt));
        if (pstMark != nullptr) {
            return pstMark->bSp;
        }
    }
    return false;
}

/** The writer puts PAT and PMT ahead of key frames alone, so a frame that PID 0 leads is one. */
bool IsFrameKept(ULONG_32 ulFrameCtrl, const UCHAR *pucFrame, ULONG_32 ulLen) {
    const bool bKey = TS_IsPATFrame(pucFrame) == 1;
    switch (ulFrameCtrl) {
        case CTRL_VIDEO:
            return bKey || pucFrame[2] == LOW_PID_H264 || pucFrame[2] == LOW_PID_H265;
        case CTRL_KEY:
            return bKey;
        case CTRL_KEY_AND_SP:
            return bKey || IsSpFrame(pucFrame, ulLen);
        default:
            return true;
    }
}

ULONG_32 ReadPacket(FILE *pFile, UCHAR *pucPacket) {
    ULONG_32 ulLen = TS_PACKET_SIZE;
    ULONG_32 ulResult = WYK_FileRead(pFile, pucPacket, &ulLen);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    if (ulLen != TS_PACKET_SIZE) {
        LOG_ERROR("read data != 188, read len = %lu", static_cast<unsigned long>(ulLen));
        return PLAYER_ERR_FILE_READ;
    }
    return TS_IsTSPacket(reinterpret_cast<CHAR *>(pucPacket)) == 1 ? PLAYER_ERR_OK : PLAYER_ERR_FAILED;
}

/** Collects packets up to the one that ends a frame. One that outgrows the buffer is passed over: its length is 0. */
ULONG_32 ReadFrame(FILE *pFile, UCHAR *pucFrame, ULONG_32 *pulLen, const BOOL_T *pbRun) {
    bool bWhole = true;
    for (ULONG_32 ulLen = 0;;) {
        if (ulLen + TS_PACKET_SIZE > VIDEO_FRAME_BUFFER_SIZE) {
            bWhole = false;
            ulLen = 0;
        }
        if (ulLen == 0 && pbRun != nullptr && !word::Load(*pbRun)) {
            return PLAYER_ERR_FAILED;
        }
        UCHAR *pucPacket = pucFrame + ulLen;
        ULONG_32 ulResult = ReadPacket(pFile, pucPacket);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
        ulLen += TS_PACKET_SIZE;
        if (TS_IsTSFrameTail(reinterpret_cast<CHAR *>(pucPacket)) == 1) {
            *pulLen = bWhole ? ulLen : 0;
            return PLAYER_ERR_OK;
        }
    }
}

}  // namespace

BOOL_T TS_IsTSFile(FILE *pFile) {
    if (pFile == nullptr) {
        return 0;
    }
    const off_t lPos = ftello(pFile);
    CHAR acHead[DETECT_LEN] = {};
    ULONG_32 ulLen = sizeof(acHead);
    const bool bRead = fseeko(pFile, 0, SEEK_SET) == 0 && WYK_FileRead(pFile, acHead, &ulLen) == PLAYER_ERR_OK;
    if (lPos >= 0) {
        fseeko(pFile, lPos, SEEK_SET);
    }
    return bRead && TS_IsTSPacket(acHead) == 1 && TS_IsTSPacket(acHead + TS_PACKET_SIZE) == 1 ? 1 : 0;
}

ULONG_32 TS_GetOneFrameData(FILE *pFile, ULONG_32 ulFrameCtrl, UCHAR *pucTsDataAddr, ULONG_32 *pulReadLen) {
    return TS_GetOneFrameDataWhile(pFile, ulFrameCtrl, pucTsDataAddr, pulReadLen, nullptr);
}

ULONG_32 TS_GetOneFrameDataWhile(FILE *pFile, ULONG_32 ulFrameCtrl, UCHAR *pucTsDataAddr, ULONG_32 *pulReadLen,
                                 const BOOL_T *pbRun) {
    if (pFile == nullptr || pucTsDataAddr == nullptr || pulReadLen == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulLen = 0;
    do {
        *pulReadLen = 0;
        ULONG_32 ulResult = ReadFrame(pFile, pucTsDataAddr, &ulLen, pbRun);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
    } while (ulLen == 0 || !IsFrameKept(ulFrameCtrl, pucTsDataAddr, ulLen));
    *pulReadLen = ulLen;
    return PLAYER_ERR_OK;
}
