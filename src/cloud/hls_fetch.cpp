// One segment from its server into a file: one connection, one GET.
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>

#include "cloud/hls_resolve.h"
#include "cloud/hls_response.h"
#include "cloud/hls_tls.h"
#include "cloud/hls_wait.h"
#include "cloud/module_hls.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

const ULONG_32 BODY_READ_SIZE = 128 * 1024;
const size_t REQUEST_FIXED_LEN = 26; /**< "GET ", " HTTP/1.1\r\nHost: ", "\r\n\r\n" and the terminator */

/* ---- connecting ---- */

bool SetPort(HLS_ADDRESS_S *pstAddress, ULONG_32 ulPort) {
    const in_port_t usPort = htons(static_cast<uint16_t>(ulPort));
    switch (pstAddress->stAddress.ss_family) {
        case AF_INET:
            reinterpret_cast<struct sockaddr_in *>(&pstAddress->stAddress)->sin_port = usPort;
            return true;
        case AF_INET6:
            reinterpret_cast<struct sockaddr_in6 *>(&pstAddress->stAddress)->sin6_port = usPort;
            return true;
        default:
            return false;
    }
}

/** Waits until the connection stands. */
ULONG_32 FinishConnect(WYK_SOCKET_S stSocket, const PLAYER_HLS_TYPE_INFO_S *pstInfos) {
    const HLS_WAIT_E enWait = HlsWait_Until(stSocket, POLLOUT, Hls_ClockMs() + HLS_PATIENCE_MS, pstInfos);
    if (enWait == HLS_WAIT_ENDED) {
        return PLAYER_ERR_HLS_CANCELLED;
    }
    int iError = ETIMEDOUT;
    socklen_t ulLen = sizeof(iError);
    if (enWait == HLS_WAIT_READY) {
        getsockopt(stSocket, SOL_SOCKET, SO_ERROR, &iError, &ulLen);
    }
    errno = iError;
    return iError == 0 ? static_cast<ULONG_32>(PLAYER_ERR_OK) : static_cast<ULONG_32>(PLAYER_ERR_HLS_CONNECT);
}

/** Small writes follow each other in a handshake: none is to wait for the peer's word on the one before. */
void SendAtOnce(WYK_SOCKET_S stSocket) {
    const int iOn = 1;
    setsockopt(stSocket, IPPROTO_TCP, TCP_NODELAY, &iOn, sizeof(iOn));
}

ULONG_32 ConnectSocket(WYK_SOCKET_S stSocket, const HLS_ADDRESS_S &stAddress, const PLAYER_HLS_TYPE_INFO_S *pstInfos) {
    ULONG_32 ulResult = PLAYER_ERR_OK;
    if (connect(stSocket, reinterpret_cast<const struct sockaddr *>(&stAddress.stAddress), stAddress.ulLen) != 0) {
        ulResult = errno == EINPROGRESS ? FinishConnect(stSocket, pstInfos) : ULONG_32{PLAYER_ERR_HLS_CONNECT};
    }
    if (ulResult == PLAYER_ERR_HLS_CONNECT) {
        LOG_ERROR("Connect Socket Error[0x%x].", static_cast<ULONG_32>(errno));
    }
    return ulResult;
}

/** Makes a socket that doesn't block and connects it. */
ULONG_32 OpenSocket(HLS_ADDRESS_S *pstAddress, ULONG_32 ulPort, WYK_SOCKET_S *pstSocket,
                    const PLAYER_HLS_TYPE_INFO_S *pstInfos) {
    const WYK_SOCKET_S stSocket =
        WYK_CreateSocket(pstAddress->stAddress.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (stSocket < 0) {
        LOG_ERROR("Hls_Socket_Init Failed, Create Socket Error[0x%x].", static_cast<ULONG_32>(errno));
        return PLAYER_ERR_HLS_CONNECT;
    }
    SendAtOnce(stSocket);
    ULONG_32 ulResult = PLAYER_ERR_HLS_ADDRESS_FAMILY;
    if (SetPort(pstAddress, ulPort)) {
        ulResult = ConnectSocket(stSocket, *pstAddress, pstInfos);
    } else {
        LOG_ERROR("Hls_Socket_Init Failed, Other Ai_family Type[%ld].",
                  static_cast<long>(pstAddress->stAddress.ss_family));
    }
    if (ulResult != PLAYER_ERR_OK) {
        WYK_CloseSocket(stSocket);
        return ulResult;
    }
    *pstSocket = stSocket;
    return PLAYER_ERR_OK;
}

/** One socket, with TLS on it if the segment is to come by HTTPS. */
ULONG_32 Open(const HLS_NODE_INFO_S &stNode, HLS_ADDRESS_S *pstAddress, WYK_SOCKET_S *pstSocket, CYASSL **ppCyassl,
              bool *pbAgain, const PLAYER_HLS_TYPE_INFO_S *pstInfos) {
    WYK_SOCKET_S stSocket = -1;
    ULONG_32 ulResult = OpenSocket(pstAddress, stNode.ulPort, &stSocket, pstInfos);
    if (ulResult == PLAYER_ERR_OK && stNode.eProtocolType == HLS_STREAM_TYPE_HTTPS) {
        ulResult = HlsTls_Connect(stNode.strHostName, stSocket, ppCyassl, pbAgain, pstInfos);
        if (ulResult != PLAYER_ERR_OK) {
            WYK_CloseSocket(stSocket);
        }
    }
    if (ulResult == PLAYER_ERR_OK) {
        *pstSocket = stSocket;
    }
    return ulResult;
}

/* ---- sending ---- */

HLS_IO_E WriteOnce(WYK_SOCKET_S stSocket, CYASSL *pCyassl, const CHAR *pcData, size_t ulLen, size_t *pulSent) {
    if (pCyassl != nullptr) {
        const HLS_IO_E enResult = HlsTls_Write(pCyassl, pcData, static_cast<ULONG_32>(ulLen));
        *pulSent = enResult == HLS_IO_DONE ? ulLen : 0;
        return enResult;
    }
    const ssize_t lSent = send(stSocket, pcData, ulLen, MSG_NOSIGNAL | MSG_DONTWAIT);
    *pulSent = lSent > 0 ? static_cast<size_t>(lSent) : 0;
    if (lSent >= 0) {
        return HLS_IO_DONE;
    }
    return errno == EAGAIN || errno == EINTR ? HLS_IO_WANT_WRITE : HLS_IO_FAILED;
}

/** Waits for what a read or write wants. */
HLS_WAIT_E WaitFor(WYK_SOCKET_S stSocket, HLS_IO_E enWanted, DLONG dlDeadline, const PLAYER_HLS_TYPE_INFO_S *pstInfos) {
    return HlsWait_Until(stSocket, enWanted == HLS_IO_WANT_READ ? POLLIN : POLLOUT, dlDeadline, pstInfos);
}

ULONG_32 SendAll(WYK_SOCKET_S stSocket, CYASSL *pCyassl, const CHAR *pcData, size_t ulLen,
                 const PLAYER_HLS_TYPE_INFO_S *pstInfos) {
    const DLONG dlDeadline = Hls_ClockMs() + HLS_PATIENCE_MS;
    while (ulLen > 0) {
        size_t ulSent = 0;
        const HLS_IO_E enResult = WriteOnce(stSocket, pCyassl, pcData, ulLen, &ulSent);
        pcData += ulSent;
        ulLen -= ulSent;
        if (enResult == HLS_IO_DONE) {
            continue;
        }
        const HLS_WAIT_E enWait = enResult == HLS_IO_WANT_READ || enResult == HLS_IO_WANT_WRITE
                                      ? WaitFor(stSocket, enResult, dlDeadline, pstInfos)
                                      : HLS_WAIT_TOO_LONG;
        if (enWait == HLS_WAIT_TOO_LONG) {
            LOG_ERROR(pCyassl != nullptr ? "Hls_Socket_Send Failed, Socekt Send Https Error[0x%x]."
                                         : "Hls_Socket_Send Failed, Socekt Send Error[0x%x].",
                      static_cast<ULONG_32>(errno));
            return PLAYER_ERR_HLS_SEND;
        }
        if (enWait == HLS_WAIT_ENDED) {
            return PLAYER_ERR_HLS_CANCELLED;
        }
    }
    return PLAYER_ERR_OK;
}

/* ---- receiving ---- */

/** One response on its way into a file. */
struct RECEIVE_S {
    WYK_SOCKET_S stSocket;
    CYASSL *pCyassl;
    NET_STATEINFO_S *pstStateInfo;
    const PLAYER_HLS_TYPE_INFO_S *pstInfos;
    FILE *fp;
    DLONG dlLimit;       /**< bytes of a body that would fill the cache alone */
    DLONG dlBody = 0;    /**< bytes of it so far */
    ULONG_32 ulHead = 0; /**< bytes of the head so far; 0 again once it is whole */
    bool bHeadDone = false;
    HLS_RESPONSE_S stResponse = {};
    std::array<CHAR, BODY_READ_SIZE> acBuffer;
};

/** TLS gives a record at a time: of a body it takes as many as have come, so that the file gets them in one write. */
HLS_IO_E ReadRecords(RECEIVE_S *pstReceive, CHAR *pcTo, ULONG_32 ulRoom, LONG *plLen) {
    const HLS_IO_E enResult = HlsTls_Read(pstReceive->pCyassl, pcTo, ulRoom, plLen);
    while (enResult == HLS_IO_DONE && pstReceive->bHeadDone && static_cast<ULONG_32>(*plLen) < ulRoom) {
        LONG lMore = 0;
        if (HlsTls_Read(pstReceive->pCyassl, pcTo + *plLen, ulRoom - static_cast<ULONG_32>(*plLen), &lMore) !=
            HLS_IO_DONE) {
            break;  // whatever it was, the next read says it again
        }
        *plLen += lMore;
    }
    return enResult;
}

HLS_IO_E ReadOnce(RECEIVE_S *pstReceive, CHAR *pcTo, ULONG_32 ulRoom, LONG *plLen) {
    if (pstReceive->pCyassl != nullptr) {
        return ReadRecords(pstReceive, pcTo, ulRoom, plLen);
    }
    *plLen = recv(pstReceive->stSocket, pcTo, ulRoom, MSG_DONTWAIT);
    if (*plLen == 0) {
        return HLS_IO_END;
    }
    if (*plLen > 0) {
        return HLS_IO_DONE;
    }
    return errno == EAGAIN || errno == EINTR ? HLS_IO_WANT_READ : HLS_IO_FAILED;
}

/** Reads some bytes; none at the peer's end. */
ULONG_32 ReadSome(RECEIVE_S *pstReceive, CHAR *pcTo, ULONG_32 ulRoom, LONG *plLen) {
    const DLONG dlDeadline = Hls_ClockMs() + HLS_PATIENCE_MS;
    for (;;) {
        const HLS_IO_E enResult = ReadOnce(pstReceive, pcTo, ulRoom, plLen);
        if (enResult == HLS_IO_DONE) {
            return PLAYER_ERR_OK;
        }
        if (enResult == HLS_IO_END) {
            *plLen = 0;
            return PLAYER_ERR_OK;
        }
        const HLS_WAIT_E enWait = enResult != HLS_IO_FAILED
                                      ? WaitFor(pstReceive->stSocket, enResult, dlDeadline, pstReceive->pstInfos)
                                      : HLS_WAIT_TOO_LONG;
        if (enWait == HLS_WAIT_TOO_LONG) {
            LOG_ERROR("Hls_Socket_Recv Failed, Socekt Recv Error[0x%x].", static_cast<ULONG_32>(errno));
            return PLAYER_ERR_FAILED;
        }
        if (enWait == HLS_WAIT_ENDED) {
            return PLAYER_ERR_HLS_CANCELLED;
        }
    }
}

/** Adds a piece of the body; fails on a full disk, and before an endless body fills it. */
ULONG_32 WriteBody(RECEIVE_S *pstReceive, const CHAR *pcData, size_t ulLen) {
    pstReceive->dlBody += static_cast<DLONG>(ulLen);
    if (pstReceive->dlBody > pstReceive->dlLimit) {
        LOG_ERROR("Hls_Socket_Recv Failed, Body Above The Cache Limit.");
        return PLAYER_ERR_FAILED;
    }
    return WYK_FileWrite(pstReceive->fp, pcData, static_cast<ULONG_32>(ulLen)) == PLAYER_ERR_OK
               ? static_cast<ULONG_32>(PLAYER_ERR_OK)
               : static_cast<ULONG_32>(PLAYER_ERR_FAILED);
}

/** Looks at the head anew when more of it has come; the body's beginning may have come with it. */
ULONG_32 ReceiveHead(RECEIVE_S *pstReceive, ULONG_32 ulLen) {
    CHAR *pcBuffer = pstReceive->acBuffer.data();
    pstReceive->ulHead += ulLen;
    pcBuffer[pstReceive->ulHead] = '\0';
    ULONG_32 ulResult = HlsResponse_ReadHead(pcBuffer, &pstReceive->stResponse);
    if (ulResult == PLAYER_ERR_NEED_MORE_DATA) {
        return PLAYER_ERR_OK;
    }
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    pstReceive->bHeadDone = true;
    const ULONG_32 ulOffset = pstReceive->stResponse.ulBodyOffset;
    const ULONG_32 ulRest = pstReceive->ulHead - ulOffset;
    pstReceive->ulHead = 0;
    return WriteBody(pstReceive, pcBuffer + ulOffset, ulRest);
}

/** How much to ask for: up to the end of a head's room, or of a body whose length is known. 0 ends the transfer. */
ULONG_32 Wanted(const RECEIVE_S &stReceive) {
    if (!stReceive.bHeadDone) {
        return HLS_HEAD_MAX - stReceive.ulHead;
    }
    if (stReceive.stResponse.lContentLength == 0) {
        return BODY_READ_SIZE;
    }
    const DLONG dlRest = stReceive.stResponse.lContentLength - stReceive.dlBody;
    return static_cast<ULONG_32>(std::clamp<DLONG>(dlRest, 0, BODY_READ_SIZE));
}

ULONG_32 Receive(RECEIVE_S *pstReceive) {
    while (HlsWait_IsWanted(pstReceive->pstInfos)) {
        const ULONG_32 ulWanted = Wanted(*pstReceive);
        if (ulWanted == 0) {
            return PLAYER_ERR_OK;
        }
        LONG lLen = 0;
        CHAR *pcTo = pstReceive->acBuffer.data() + pstReceive->ulHead;
        ULONG_32 ulResult = ReadSome(pstReceive, pcTo, ulWanted, &lLen);
        if (ulResult != PLAYER_ERR_OK || lLen == 0) {
            return ulResult;
        }
        const ULONG_32 ulLen = static_cast<ULONG_32>(lLen);
        if (pstReceive->pstStateInfo != nullptr) {
            NET_MathBitRate(ulLen, pstReceive->pstStateInfo);
        }
        ulResult = pstReceive->bHeadDone ? WriteBody(pstReceive, pcTo, ulLen) : ReceiveHead(pstReceive, ulLen);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
    }
    return PLAYER_ERR_HLS_CANCELLED;
}

}  // namespace

ULONG_32 Hls_Socket_Init(HLS_NODE_ITER iterHlsNode, WYK_SOCKET_S *pstSocket, CYASSL **pcCyassl) {
    return Hls_Socket_InitWhile(iterHlsNode, pstSocket, pcCyassl, nullptr);
}

ULONG_32 Hls_Socket_InitWhile(HLS_NODE_ITER iterHlsNode, WYK_SOCKET_S *pstSocket, CYASSL **pcCyassl,
                              const PLAYER_HLS_TYPE_INFO_S *pstHlsTypeInfos) {
    HLS_ADDRESS_S stAddress = {};
    *pcCyassl = nullptr;
    ULONG_32 ulResult = HlsResolve_Host(iterHlsNode->strHostName, &stAddress, pstHlsTypeInfos);
    if (ulResult != PLAYER_ERR_OK) {
        if (ulResult == PLAYER_ERR_HLS_CONNECT) {
            LOG_ERROR("Hls_Socket_Init Failed, Failed To Resolve Host Names.");
        }
        return ulResult;
    }
    bool bAgain = false;
    ulResult = Open(*iterHlsNode, &stAddress, pstSocket, pcCyassl, &bAgain, pstHlsTypeInfos);
    return bAgain ? Open(*iterHlsNode, &stAddress, pstSocket, pcCyassl, &bAgain, pstHlsTypeInfos) : ulResult;
}

ULONG_32 Hls_Socket_Send(HLS_NODE_ITER iterHlsNode, WYK_SOCKET_S stSocket, CYASSL *pCyassl) {
    return Hls_Socket_SendWhile(iterHlsNode, stSocket, pCyassl, nullptr);
}

ULONG_32 Hls_Socket_SendWhile(HLS_NODE_ITER iterHlsNode, WYK_SOCKET_S stSocket, CYASSL *pCyassl,
                              const PLAYER_HLS_TYPE_INFO_S *pstHlsTypeInfos) {
    const size_t ulSize = iterHlsNode->strDownURL.size() + iterHlsNode->strHostName.size() + REQUEST_FIXED_LEN;
    CHAR *pcRequest = static_cast<CHAR *>(malloc(ulSize));
    if (pcRequest == nullptr) {
        LOG_ERROR("Hls_Socket_Send Failed, Buffer Malloc Size[%d] Failed.", static_cast<LONG_32>(ulSize));
        return PLAYER_ERR_MALLOC;
    }
    snprintf(pcRequest, ulSize, "%s %s %s\r\nHost: %s\r\n\r\n", "GET", iterHlsNode->strDownURL.c_str(), "HTTP/1.1",
             iterHlsNode->strHostName.c_str());
    ULONG_32 ulResult = SendAll(stSocket, pCyassl, pcRequest, strlen(pcRequest), pstHlsTypeInfos);
    free(pcRequest);
    return ulResult;
}

ULONG_32 Hls_Socket_Recv(HLS_NODE_ITER, WYK_SOCKET_S stSocket, CYASSL *pCyassl, NET_STATEINFO_S *pstStateInfo,
                         PLAYER_HLS_TYPE_INFO_S *pstHlsTypeInfos, FILE *fp) {
    const DLONG dlLimit = DLONG{HlsCache_Limit()} << 20;
    RECEIVE_S stReceive = {stSocket, pCyassl, pstStateInfo, pstHlsTypeInfos, fp, dlLimit};
    ULONG_32 ulResult = Receive(&stReceive);
    if (ulResult == PLAYER_ERR_HLS_CANCELLED) {
        LOG_ERROR("Hls Download Thread Exit, Cancel Download.");
    }
    return ulResult;
}

void Hls_Socket_Close(HLS_NODE_ITER iterHlsNode, WYK_SOCKET_S stSocket, CYASSL *pCyassl) {
    if (pCyassl != nullptr) {
        HlsTls_Close(iterHlsNode->strHostName, pCyassl);
    }
    WYK_CloseSocket(stSocket);
}
