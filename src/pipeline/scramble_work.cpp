// The key of a port's scrambled stream: taken from its messages, used on its frames.
#include "pipeline/scramble_work.h"

#include <string.h>

#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "protection/rsa_key.h"

namespace {

const ULONG_32 LIVE_KEY_BITS = SEI_TYPE_SCRAMBLE_KEY | SEI_TYPE_SCRAMBLE_RAND;
const ULONG_32 FILE_KEY_BITS = SEI_TYPE_FILE_KEY | SEI_TYPE_SCRAMBLE_RAND;
const ULONG_32 RSA_PLAIN_ROOM = 512;
const LONG_32 PASSWORD_MAX = sizeof(SEI_SCRAMBLE_INFO_S::szUserPassWord);

/** Guards the passwords of all ports, and with each what was opened by it. */
QLOM_SDK_MUTEX_S gstPasswordMutexLock = PTHREAD_MUTEX_INITIALIZER;

bool IsKeyFrame(const PORT_INTAKE_S *pstIntake) { return pstIntake->stFrameData.lFormatType == PLAYER_VIDEO_FRAME_I; }

int CountFailure(PORT_INTAKE_S *pstIntake) { return static_cast<int>(++pstIntake->stScrambleInfo.ulErrCount); }

/** Makes the key anew if anything that it is made of has changed. */
bool RenewKey(PLAEYR_PORT_S *pstPort, bool bKeyChanged) {
    SEI_SCRAMBLE_INFO_S &stUse = pstPort->stScrambleInfo;
    const ULONG_32 ulRand = pstPort->stSeiInfo.stScramble.ulRand;
    if (!bKeyChanged && stUse.ulRand == ulRand && pstPort->hScrambleKey != nullptr) {
        return true;
    }
    stUse.ulRand = ulRand;
    SCRAMBLE_FreeKey(&pstPort->hScrambleKey);
    pstPort->hScrambleKey = SCRAMBLE_CreateKey(pstPort->ulPort, reinterpret_cast<UCHAR *>(stUse.szKeyM), ulRand);
    return pstPort->hScrambleKey != nullptr;
}

/** Restores the frame if its stream is scrambled. What can't be restored is counted. */
void DescrambleFrame(PLAEYR_PORT_S *pstPort) {
    PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    if (pstPort->bScrambleFlag != 1 || stFrame.lDataLen < 0) {
        return;
    }
    ULONG_32 ulLen = static_cast<ULONG_32>(stFrame.lDataLen);
    if (SCRAMBLE_Descramble(pstPort->hScrambleKey, stFrame.lPayload, stFrame.lFormatType, stFrame.pucData, &ulLen) !=
        PLAYER_ERR_OK) {
        CountFailure(pstPort);
        return;
    }
    stFrame.lDataLen = static_cast<LONG_32>(ulLen);
}

/* ---- live streams ---- */

/** Opens the key message with the client's RSA key; nothing changes on failure. */
ULONG_32 OpenLiveKey(SEI_SCRAMBLE_INFO_S &stUse, const SEI_SCRAMBLE_INFO_S &stNew) {
    RSA_INFO_S stRsaKey = RsaKey_ForDecrypt();
    UCHAR aucPlain[RSA_PLAIN_ROOM] = {};
    if (static_cast<DULONG>(stNew.lKeyMRsaLen) * 8 != stRsaKey.unBit) {
        return PLAYER_ERR_FAILED;
    }
    ULONG_32 ulResult = ZvRSA_Decrypt(&stRsaKey, reinterpret_cast<const UCHAR *>(stNew.szKeyMRsa), aucPlain);
    if (ulResult == PLAYER_ERR_OK) {
        memcpy(stUse.szKeyM, aucPlain, sizeof(stUse.szKeyM));
        memcpy(stUse.szKeyMRsa, stNew.szKeyMRsa, sizeof(stUse.szKeyMRsa));
        stUse.lKeyMRsaLen = stNew.lKeyMRsaLen;
        word::Store(stUse.lFileKeyMLen, 0);  // szKeyM is no longer that file's
    }
    explicit_bzero(aucPlain, sizeof(aucPlain));
    explicit_bzero(&stRsaKey, sizeof(stRsaKey));
    return ulResult;
}

bool IsLiveKeyOpen(const SEI_SCRAMBLE_INFO_S &stUse, const SEI_SCRAMBLE_INFO_S &stNew) {
    return stUse.lKeyMRsaLen > 0 && stUse.lKeyMRsaLen == stNew.lKeyMRsaLen &&
           memcmp(stUse.szKeyMRsa, stNew.szKeyMRsa, static_cast<size_t>(stUse.lKeyMRsaLen)) == 0;
}

ULONG_32 LearnLiveKey(PLAEYR_PORT_S *pstPort) {
    const bool bOpen = IsLiveKeyOpen(pstPort->stScrambleInfo, pstPort->stSeiInfo.stScramble);
    if (!bOpen) {
        ULONG_32 ulResult = OpenLiveKey(pstPort->stScrambleInfo, pstPort->stSeiInfo.stScramble);
        if (ulResult != PLAYER_ERR_OK) {
            LOG_ERROR("Port[%03d] Player_ScrambleWork: ZvRSA_Decrypt Failed, Error:[0x%x], Count:[%d].",
                      pstPort->ulPort, ulResult, CountFailure(pstPort));
            return PLAYER_ERR_SCRAMBLE;
        }
    }
    if (!RenewKey(pstPort, !bOpen)) {
        LOG_ERROR("Port[%03d] Player_ScrambleWork: SCRAMBLE_CreateKey Failed, Count:[%d].", pstPort->ulPort,
                  CountFailure(pstPort));
        return PLAYER_ERR_SCRAMBLE;
    }
    pstPort->stSeiInfo.ulSeiType &= ~LIVE_KEY_BITS;
    pstPort->bScrambleFlag = 1;
    return PLAYER_ERR_OK;
}

/** Only one of the two messages came. */
ULONG_32 RefuseHalfKey(PLAEYR_PORT_S *pstPort, const CHAR *pcMissing) {
    pstPort->stSeiInfo.ulSeiType &= ~LIVE_KEY_BITS;
    LOG_ERROR("Port[%03d] Player_ScrambleWork Failed, %s Sei not Find.", pstPort->ulPort, pcMissing);
    return PLAYER_ERR_SCRAMBLE;
}

/** What a key frame's messages say about the frames from here on. */
ULONG_32 BeginLiveGroup(PLAEYR_PORT_S *pstPort) {
    switch (pstPort->stSeiInfo.ulSeiType & LIVE_KEY_BITS) {
        case LIVE_KEY_BITS:
            return LearnLiveKey(pstPort);
        case SEI_TYPE_SCRAMBLE_RAND:
            return RefuseHalfKey(pstPort, "KeyM");
        case SEI_TYPE_SCRAMBLE_KEY:
            return RefuseHalfKey(pstPort, "Rand");
        default:
            pstPort->bScrambleFlag = 0;
            return PLAYER_ERR_OK;
    }
}

/* ---- files ---- */

bool IsFileKeyOpen(const SEI_SCRAMBLE_INFO_S &stUse, const SEI_SCRAMBLE_INFO_S &stNew) {
    return stUse.lFileKeyMLen > 0 && stUse.lFileKeyMLen == stNew.lFileKeyMLen &&
           memcmp(stUse.szFileKeyM, stNew.szFileKeyM, static_cast<size_t>(stUse.lFileKeyMLen)) == 0;
}

/**
 * Opens the file key with the password, unless it is open already; neither text ends by itself.
 * @return 0; PLAYER_ERR_FILE_SCRAMBLE without a password; what the decryption says
 */
ULONG_32 OpenFileKey(PORT_INTAKE_S *pstIntake, bool *pbOpen) {
    CMutexGuard oGuard(&gstPasswordMutexLock);
    SEI_SCRAMBLE_INFO_S &stUse = pstIntake->stScrambleInfo;
    const SEI_SCRAMBLE_INFO_S &stNew = pstIntake->stSeiInfo.stScramble;
    *pbOpen = IsFileKeyOpen(stUse, stNew);
    if (*pbOpen) {
        return PLAYER_ERR_OK;
    }
    if (stUse.lUserPassWordLen <= 0) {
        return PLAYER_ERR_FILE_SCRAMBLE;
    }
    CHAR szPassword[PASSWORD_MAX + 1] = {};
    UCHAR aucFileKey[SEI_FILE_KEY_LEN + 1] = {};
    UCHAR aucPlain[ZVRSA_ECB_PLAIN];
    memcpy(szPassword, stUse.szUserPassWord, static_cast<size_t>(stUse.lUserPassWordLen));
    memcpy(aucFileKey, stNew.szFileKeyM, sizeof(stNew.szFileKeyM));
    ULONG_32 ulResult = ZvRSA_Decrypt_Ecb(aucFileKey, szPassword, ZVRSA_ECB_BITS, aucPlain);
    explicit_bzero(szPassword, sizeof(szPassword));
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    memcpy(stUse.szKeyM, aucPlain, sizeof(stUse.szKeyM));
    memcpy(stUse.szFileKeyM, stNew.szFileKeyM, sizeof(stUse.szFileKeyM));
    stUse.lFileKeyMLen = stNew.lFileKeyMLen;
    stUse.lKeyMRsaLen = 0;  // szKeyM is no longer that stream's
    return PLAYER_ERR_OK;
}

ULONG_32 LearnFileKey(PLAEYR_PORT_S *pstPort) {
    bool bOpen = false;
    ULONG_32 ulResult = OpenFileKey(pstPort, &bOpen);
    if (ulResult == PLAYER_ERR_FILE_SCRAMBLE) {
        return ulResult;
    }
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_FileScrambleWork: ZvRSA_Decrypt_Ecb Failed, Error:[0x%x].", pstPort->ulPort,
                  ulResult);
        CountFailure(pstPort);
        return PLAYER_ERR_FILE_SCRAMBLE;
    }
    if (!RenewKey(pstPort, !bOpen)) {
        LOG_ERROR("Port[%03d] Player_FileScrambleWork Failed, SCRAMBLE_CreateKey Failed.", pstPort->ulPort);
        CountFailure(pstPort);
        return PLAYER_ERR_FILE_SCRAMBLE;
    }
    pstPort->stSeiInfo.ulSeiType &= ~ULONG_32{SEI_TYPE_FILE_KEY};
    pstPort->bScrambleFlag = 1;
    return PLAYER_ERR_OK;
}

ULONG_32 BeginFileGroup(PLAEYR_PORT_S *pstPort) {
    if ((pstPort->stSeiInfo.ulSeiType & FILE_KEY_BITS) == FILE_KEY_BITS) {
        return LearnFileKey(pstPort);
    }
    pstPort->bScrambleFlag = 0;
    return PLAYER_ERR_OK;
}

/** The work on a frame of either road; pfnBeginGroup looks at a key frame's messages. */
ULONG_32 WorkOn(PLAEYR_PORT_S *pstPort, ULONG_32 (*pfnBeginGroup)(PLAEYR_PORT_S *)) {
    if (pstPort == nullptr || !Payload_IsInterVideo(pstPort->stFrameData.lPayload)) {
        return PLAYER_ERR_OK;
    }
    ULONG_32 ulResult = IsKeyFrame(pstPort) ? pfnBeginGroup(pstPort) : ULONG_32{PLAYER_ERR_OK};
    if (ulResult == PLAYER_ERR_OK) {
        DescrambleFrame(pstPort);
    }
    return ulResult;
}

}  // namespace

ULONG_32 Player_ScrambleWork(PLAEYR_PORT_S *pstPort) { return WorkOn(pstPort, BeginLiveGroup); }

ULONG_32 Player_FileScrambleWork(PLAEYR_PORT_S *pstPort) { return WorkOn(pstPort, BeginFileGroup); }

ULONG_32 Player_SetRsaKey(PLAYER_RSA_INFO_S *pstRsaInfo) {
    if (pstRsaInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    RsaKey_Set(pstRsaInfo);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetRsaKey(PLAYER_RSA_INFO_S *pstRsaInfo) {
    if (pstRsaInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *pstRsaInfo = RsaKey_Get();
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetFilePassword(ULONG_32 ulPort, CHAR *pcPassword, LONG_32 lPasswordLen) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (lPasswordLen < 0 || (pcPassword == nullptr && lPasswordLen > 0)) {
        return PLAYER_ERR_PARAM;
    }
    if (lPasswordLen > PASSWORD_MAX) {
        LOG_WARN("Port[%03d] Player_SetFilePassword Failed, Password Len:[%d] More Max:[%d].", ulPort, lPasswordLen,
                 PASSWORD_MAX);
        lPasswordLen = PASSWORD_MAX;
    }
    SEI_SCRAMBLE_INFO_S &stUse = pstPort->stScrambleInfo;
    CMutexGuard oGuard(&gstPasswordMutexLock);
    memset(stUse.szUserPassWord, 0, sizeof(stUse.szUserPassWord));
    if (lPasswordLen > 0) {
        memcpy(stUse.szUserPassWord, pcPassword, static_cast<size_t>(lPasswordLen));
    }
    word::Store(stUse.lUserPassWordLen, lPasswordLen);
    word::Store(stUse.lFileKeyMLen, 0);  // what the old password opened counts no longer
    return PLAYER_ERR_OK;
}
