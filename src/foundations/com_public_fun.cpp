#include "foundations/com_public_fun.h"

#include <arpa/inet.h>
#include <errno.h>
#include <stddef.h>
#include <string.h>
#include <sys/socket.h>

#include "foundations/com_log.h"
#include "foundations/mw_sdk_bp.h"

static_assert(offsetof(SYSTEMTIME, wYear) == offsetof(struct tm, tm_year) &&
              offsetof(SYSTEMTIME, lGmtOff) == offsetof(struct tm, tm_gmtoff) &&
              offsetof(SYSTEMTIME, pcZone) == offsetof(struct tm, tm_zone));

namespace {

constexpr USHORT DIR_MODE = 0775;

FILE *OpenFailed(ULONG_32 *pulErr, ULONG_32 ulErr) {
    *pulErr = ulErr;
    return nullptr;
}

FILE *OpenForReading(const CHAR *pcFileName, ULONG_32 *pulErr) {
    FILE *pFile = fopen64(pcFileName, "rb");
    if (pFile == nullptr) {
        LOG_ERROR("WYK_FileOpen Failed, File Not Find.");
        return OpenFailed(pulErr, PLAYER_ERR_FILE_NOT_FOUND);
    }
    return pFile;
}

FILE *OpenForWriting(const CHAR *pcFileName, ULONG_32 *pulErr) {
    FILE *pFile = fopen64(pcFileName, "wb");
    if (pFile != nullptr) {
        return pFile;
    }
    ULONG_32 ulRet = WYK_CreateDir(pcFileName);
    if (ulRet != PLAYER_ERR_OK) {
        LOG_ERROR("WYK_FileOpen Failed, WYK_CreateDir Failed, Error[0x%x].", ulRet);
        return OpenFailed(pulErr, ulRet);
    }
    pFile = fopen64(pcFileName, "wb");
    if (pFile == nullptr) {
        LOG_ERROR("WYK_FileOpen Failed, Fopen Failed, Systemerror[%d].", -1);
        return OpenFailed(pulErr, PLAYER_ERR_FAILED);
    }
    return pFile;
}

}  // namespace

/* ---- clock ----------------------------------------------------------------------------------------------------- */

ULONG_32 WYK_gettimeofday(struct timeval *tp, void * /*tzp*/) {
    if (tp == nullptr) {
        LOG_ERROR("WYK_gettimeofday, In Param is Null.");
        return PLAYER_ERR_PARAM;
    }
    gettimeofday(tp, nullptr);
    tp->tv_usec /= 1000;
    return PLAYER_ERR_OK;
}

void GetLocalTime(SYSTEMTIME *st) {
    if (st == nullptr) {
        return;
    }
    struct tm stTm;
    Time_Local(&stTm);
    memcpy(st, &stTm, sizeof(stTm));
    st->wYear += 1900;
    st->wMonth += 1;
}

/* ---- sockets --------------------------------------------------------------------------------------------------- */

WYK_SOCKET_S WYK_CreateSocket(LONG_32 lFamily, LONG_32 lType, LONG_32 lProtocol) {
    return QLOM_SDK_socket(lFamily, lType, lProtocol);
}

LONG_32 WYK_CloseSocket(WYK_SOCKET_S stSocket) { return static_cast<LONG_32>(QLOM_SDK_closesocket(stSocket)); }

BOOL_T WYK_IsMulticast(const CHAR *pcRemoteIP) {
    struct in_addr stAddr;
    bool bAddress = pcRemoteIP != nullptr && inet_aton(pcRemoteIP, &stAddr) != 0;
    return bAddress && IN_MULTICAST(ntohl(stAddr.s_addr)) ? 1 : 0;
}

ULONG_32 WYK_AddMulticast(WYK_SOCKET_S /*stSocket*/, const CHAR * /*pcLocalIP*/, USHORT /*usLocalPort*/,
                          const CHAR * /*pcRemoteIP*/, USHORT /*usRemotePort*/) {
    return PLAYER_ERR_OK;
}

void WYK_DelMulticast(WYK_SOCKET_S /*stSocket*/, const CHAR * /*pcLocalIP*/, const CHAR * /*pcRemoteIP*/) {}

/* ---- files ----------------------------------------------------------------------------------------------------- */

FILE *WYK_FileOpen(const CHAR *pcFileName, const CHAR *pcMode, ULONG_32 *pulErr) {
    ULONG_32 ulUnwanted;
    pulErr = pulErr != nullptr ? pulErr : &ulUnwanted;
    *pulErr = PLAYER_ERR_OK;
    bool bWrite = pcMode != nullptr && strcmp(pcMode, "wb") == 0;
    if (!bWrite && (pcMode == nullptr || strcmp(pcMode, "rb") != 0)) {
        LOG_ERROR("WYK_FileOpen Failed, Func Not Support Type:%s.", pcMode != nullptr ? pcMode : "(null)");
        return OpenFailed(pulErr, PLAYER_ERR_PARAM);
    }
    if (pcFileName == nullptr || pcFileName[0] == '\0') {
        LOG_ERROR("WYK_FileOpen Failed, File Name Is Empty.");
        return OpenFailed(pulErr, PLAYER_ERR_PARAM);
    }
    return bWrite ? OpenForWriting(pcFileName, pulErr) : OpenForReading(pcFileName, pulErr);
}

ULONG_32 WYK_FileRead(FILE *pFile, void *pBuffer, ULONG_32 *pulLen) {
    if (pFile == nullptr || pBuffer == nullptr || pulLen == nullptr || *pulLen == 0) {
        LOG_ERROR("WYK_FileRead Failed, Input Param Is Invalid.");
        return PLAYER_ERR_PARAM;
    }
    size_t ulRead = fread(pBuffer, 1, *pulLen, pFile);
    if (ulRead == 0) {
        if (ferror(pFile) != 0) {
            LOG_ERROR("WYK_FileRead Failed, Error:[0x%x].", static_cast<ULONG_32>(errno));
        }
        LOG_INFO("WYK_FileRead Info, File Read End.");
        return PLAYER_ERR_FILE_END;
    }
    *pulLen = static_cast<ULONG_32>(ulRead);
    return PLAYER_ERR_OK;
}

ULONG_32 WYK_FileWrite(FILE *pFile, const void *pBuffer, ULONG_32 ulLen) {
    if (pFile == nullptr || pBuffer == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (fwrite(pBuffer, 1, ulLen, pFile) < ulLen) {
        LOG_ERROR("WYK_FileWrite Failed, Disk Space Full.");
        return PLAYER_ERR_DISK_FULL;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 WYK_CreateDir(const CHAR *pcPath) {
    if (pcPath == nullptr || pcPath[0] == '\0') {
        return PLAYER_ERR_PARAM;
    }
    CHAR szDir[PLAYER_FILE_NAME_LEN];
    snprintf(szDir, sizeof(szDir), "%.*s", static_cast<int>(sizeof(szDir) - 1), pcPath);
    CHAR *pcCut = strrchr(szDir, '/');
    if (pcCut == nullptr) {
        LOG_ERROR("WYK_CreateDir Failed, Not Find '\\'.");
        return PLAYER_ERR_FAILED;
    }
    *pcCut = '\0';
    if (QLOM_SDK_mkdir(szDir, DIR_MODE) == 0) {
        return PLAYER_ERR_OK;
    }
    // Whether the parent could be made shows at the next attempt. A directory that is there already is a failure, so
    // callers go by the open that follows.
    WYK_CreateDir(szDir);
    if (QLOM_SDK_mkdir(szDir, DIR_MODE) != 0) {
        LOG_ERROR("WYK_CreateDir Failed, _mkdir Failed.");
        return PLAYER_ERR_FAILED;
    }
    return PLAYER_ERR_OK;
}
