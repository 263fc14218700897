// Descrambling of one frame, alone and with the messages that it carries. Input: a byte that chooses, and the frame.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "foundations/com_log.h"
#include "zelvane_modules.h"

namespace {

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

/** The frame alone: what can't be restored must not change. */
void Descramble(UCHAR ucChoice, const std::vector<UCHAR> &oFrame) {
    DRV_SCRAMBLE_CFG_S stKey = {};
    stKey.ulFrameType = ucChoice & 1;
    stKey.ulFormat = ucChoice >> 1 & 1;
    stKey.ulKey = ucChoice;
    std::vector<UCHAR> oWork = oFrame;
    oWork.shrink_to_fit();
    ULONG ulLen = oWork.size();
    const ULONG_32 ulResult = Enc_Descramble(&ulLen, oWork.data(), &stKey);
    Require(ulResult <= 1 && ulLen <= oWork.size());
    Require(ulResult == 0 || (ulLen == oWork.size() && oWork == oFrame));
    for (auto pfnRemove : {Descramble_H264RemoveKeySei, Descramble_H264RemoveRandSei, Descramble_H265RemoveKeySei,
                           Descramble_H265RemoveRandSei}) {
        const ULONG ulBefore = ulLen;
        Require((pfnRemove(&ulLen, oWork.data()) == 0) == (ulLen < ulBefore));
    }
}

/** The frame on a port that has a key and a password. */
void Work(UCHAR ucChoice, std::vector<UCHAR> oFrame) {
    static CHAR acPassword[] = "password";
    auto pstPort = std::make_unique<PLAEYR_PORT_S>();
    pstPort->bScrambleFlag = ucChoice >> 4 & 1;
    memcpy(pstPort->stScrambleInfo.szUserPassWord, acPassword, sizeof(acPassword));
    pstPort->stScrambleInfo.lUserPassWordLen = 8;
    PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    stFrame.lPayload = (ucChoice & 2) != 0 ? PLAYER_PAYLOAD_H265 : PLAYER_PAYLOAD_H264;
    stFrame.lFormatType = ucChoice & 1;
    stFrame.pucData = oFrame.data();
    stFrame.lDataLen = static_cast<LONG_32>(oFrame.size());
    Sei_Parse(stFrame.lPayload, stFrame.pucData, stFrame.lDataLen, &pstPort->stSeiInfo);
    const bool bFile = (ucChoice & 4) != 0;
    const ULONG_32 ulResult = bFile ? Player_FileScrambleWork(pstPort.get()) : Player_ScrambleWork(pstPort.get());
    Require(ulResult == 0 || ulResult == (bFile ? 543U : 544U));
    Require(stFrame.lDataLen >= 0 && static_cast<size_t>(stFrame.lDataLen) <= oFrame.size());
    SCRAMBLE_FreeKey(&pstPort->hScrambleKey);
    Sei_InfoClear(&pstPort->stSeiInfo);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    if (ulSize < 2) {
        return 0;
    }
    Log_SetSysLogCB(DropLine);
    const std::vector<UCHAR> oFrame(pucData + 1, pucData + ulSize);
    Descramble(pucData[0], oFrame);
    Work(pucData[0], oFrame);
    return 0;
}
