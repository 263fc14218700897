#include "intake/module_net.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>

#include <memory>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"

LONG_32 glTcpOutTime = 0;

namespace {

const LONG_32 RECV_WAIT_MS = 500;
const int RECV_BUFFER_SIZE = 0x200000;
const NET_WAIT_S gstHalfSecond = {nullptr, RECV_WAIT_MS, 0};

const CHAR *Text(const CHAR *pcText) { return pcText != nullptr ? pcText : ""; }

/** An address with its family, and the length that the system wants with it. */
struct SOCKET_ADDR_S {
    union {
        struct sockaddr stAny;
        struct sockaddr_in stV4;
        struct sockaddr_in6 stV6;
    };
    socklen_t ulLen;
};

/** Fills in the address of a text; false when it is none of this family. */
bool ParseAddress(const CHAR *pcText, int iFamily, USHORT usPort, SOCKET_ADDR_S *pstAddr) {
    memset(pstAddr, 0, sizeof(*pstAddr));
    if (iFamily == AF_INET6) {
        pstAddr->ulLen = sizeof(pstAddr->stV6);
        pstAddr->stV6.sin6_family = AF_INET6;
        pstAddr->stV6.sin6_port = htons(usPort);
        return inet_pton(AF_INET6, pcText, &pstAddr->stV6.sin6_addr) == 1;
    }
    pstAddr->ulLen = sizeof(pstAddr->stV4);
    pstAddr->stV4.sin_family = AF_INET;
    pstAddr->stV4.sin_port = htons(usPort);
    return inet_aton(pcText, &pstAddr->stV4.sin_addr) != 0;
}

/** The local address to bind: any when the text is null, empty or a zero address. */
bool LocalAddress(const CHAR *pcText, int iFamily, USHORT usPort, SOCKET_ADDR_S *pstAddr) {
    struct in_addr stZero;
    const bool bAny = Text(pcText)[0] == '\0' || (inet_aton(pcText, &stZero) != 0 && stZero.s_addr == INADDR_ANY);
    return ParseAddress(bAny ? (iFamily == AF_INET6 ? "::" : "0.0.0.0") : pcText, iFamily, usPort, pstAddr);
}

ULONG_32 BindUdp(WYK_SOCKET_S stSocket, int iFamily, const CHAR *pcLocalIP, USHORT usLocalPort) {
    SOCKET_ADDR_S stAddr;
    if (!LocalAddress(pcLocalIP, iFamily, usLocalPort, &stAddr) || bind(stSocket, &stAddr.stAny, stAddr.ulLen) != 0) {
        LOG_ERROR("WYK_BIND Failed, pcLocalIP[%s], LocalPort[%d]", Text(pcLocalIP), usLocalPort);
        return PLAYER_ERR_SOCKET_CREATE;
    }
    if (setsockopt(stSocket, SOL_SOCKET, SO_RCVBUF, &RECV_BUFFER_SIZE, sizeof(RECV_BUFFER_SIZE)) != 0) {
        LOG_ERROR("WYK_SETSOCKOPT Failed");
        return PLAYER_ERR_SOCKET_CREATE;
    }
    return PLAYER_ERR_OK;
}

/** connect() to its end, also when a signal interrupts it. */
bool Connect(WYK_SOCKET_S stSocket, const SOCKET_ADDR_S &stAddr) {
    if (connect(stSocket, &stAddr.stAny, stAddr.ulLen) == 0) {
        return true;
    }
    if (errno != EINTR) {
        return false;
    }
    struct pollfd stPoll = {stSocket, POLLOUT, 0};
    while (poll(&stPoll, 1, -1) < 0 && errno == EINTR) {
    }
    int iError = 0;
    socklen_t ulLen = sizeof(iError);
    return getsockopt(stSocket, SOL_SOCKET, SO_ERROR, &iError, &ulLen) == 0 && iError == 0;
}

/** What a socket is to be made for. */
struct SOCKET_PLAN_S {
    const CHAR *pcLocalIP;
    USHORT usLocalPort;
    const CHAR *pcRemoteIP;
    USHORT usRemotePort;
    int iFamily;
};

WYK_SOCKET_S MakeSocket(int iFamily, int iType, int iProtocol) {
    WYK_SOCKET_S stSocket = WYK_CreateSocket(iFamily, iType | SOCK_CLOEXEC, iProtocol);
    if (stSocket == -1) {
        LOG_ERROR("Create Socket Failed.");
    }
    return stSocket;
}

ULONG_32 OpenUdp(const SOCKET_PLAN_S &stPlan, WYK_SOCKET_S *pstSocket) {
    *pstSocket = MakeSocket(stPlan.iFamily, SOCK_DGRAM, 0);
    if (*pstSocket == -1) {
        return PLAYER_ERR_SOCKET_CREATE;
    }
    if (!WYK_IsMulticast(stPlan.pcRemoteIP)) {
        return BindUdp(*pstSocket, stPlan.iFamily, stPlan.pcLocalIP, stPlan.usLocalPort);
    }
    if (WYK_AddMulticast(*pstSocket, stPlan.pcLocalIP, stPlan.usLocalPort, stPlan.pcRemoteIP, stPlan.usRemotePort) !=
        PLAYER_ERR_OK) {
        LOG_ERROR("WYK_AddMulticast Failed");
        return PLAYER_ERR_SOCKET_CREATE;
    }
    return PLAYER_ERR_OK;
}

/** Whether the system takes the text for an address too: behind ":" or "/" there may be more than that. */
bool IsWholeAddress(const CHAR *pcText) {
    struct addrinfo stHints = {};
    stHints.ai_socktype = SOCK_STREAM;
    stHints.ai_flags = AI_NUMERICHOST;
    struct addrinfo *pstResult = nullptr;
    if (getaddrinfo(pcText, nullptr, &stHints, &pstResult) != 0) {
        LOG_ERROR("Call getaddrinfo Error.");
        return false;
    }
    freeaddrinfo(pstResult);
    return true;
}

ULONG_32 OpenTcp(const SOCKET_PLAN_S &stPlan, WYK_SOCKET_S *pstSocket) {
    if (stPlan.iFamily == AF_INET && !IsWholeAddress(stPlan.pcRemoteIP)) {
        return PLAYER_ERR_PARAM;
    }
    *pstSocket = MakeSocket(stPlan.iFamily, SOCK_STREAM, stPlan.iFamily == AF_INET ? IPPROTO_TCP : 0);
    if (*pstSocket == -1) {
        return PLAYER_ERR_SOCKET_CREATE;
    }
    SOCKET_ADDR_S stAddr;
    if (!ParseAddress(stPlan.pcRemoteIP, stPlan.iFamily, stPlan.usRemotePort, &stAddr) ||
        !Connect(*pstSocket, stAddr)) {
        LOG_ERROR("Connect Failed.");
        return PLAYER_ERR_SOCKET_CREATE;
    }
    return PLAYER_ERR_OK;
}

void CopyText(CHAR *pcTarget, size_t ulSize, const CHAR *pcText) { snprintf(pcTarget, ulSize, "%s", Text(pcText)); }

bool IsHexDigit(CHAR cDigit) {
    return (cDigit >= '0' && cDigit <= '9') || (cDigit >= 'a' && cDigit <= 'f') || (cDigit >= 'A' && cDigit <= 'F');
}

ULONG_32 HexValue(CHAR cDigit) {
    return static_cast<ULONG_32>(cDigit <= '9' ? cDigit - '0' : (cDigit | 0x20) - 'a' + 10);
}

/** A group of an address as it is read; the value stops growing above what any group may hold. */
struct ADDRESS_GROUP_S {
    ULONG_32 ulValue = 0;
    ULONG_32 ulDigits = 0;

    void Add(ULONG_32 ulBase, ULONG_32 ulDigit) {
        ulValue = ulValue > 0xFFFF ? ulValue : ulValue * ulBase + ulDigit;
        ulDigits++;
    }
    bool IsFull(ULONG_32 ulLimit) const { return ulDigits != 0 && ulValue <= ulLimit; }
};

bool ScanIpv4(const CHAR *pcURL) {
    const ULONG_32 LIMIT = 255;
    ADDRESS_GROUP_S stGroup;
    ULONG_32 ulDots = 0;
    for (; *pcURL != '\0' && *pcURL != ':' && *pcURL != '/'; pcURL++) {
        if (*pcURL >= '0' && *pcURL <= '9') {
            stGroup.Add(10, static_cast<ULONG_32>(*pcURL - '0'));
        } else if (*pcURL != '.' || !stGroup.IsFull(LIMIT) || ++ulDots > 3) {
            return false;
        } else {
            stGroup = {};
        }
    }
    return ulDots == 3 && stGroup.IsFull(LIMIT);
}

bool ScanIpv6(const CHAR *pcURL) {
    const ULONG_32 LIMIT = 0xFFFF;
    ADDRESS_GROUP_S stGroup;
    ULONG_32 ulColons = 0;
    for (; *pcURL != '\0' && *pcURL != '/'; pcURL++) {
        if (IsHexDigit(*pcURL)) {
            stGroup.Add(16, HexValue(*pcURL));
        } else if (*pcURL != ':' || stGroup.ulValue > LIMIT) {
            return false;
        } else if (++ulColons == 8) {
            return true;
        } else {
            stGroup = {};
        }
    }
    return stGroup.IsFull(LIMIT);
}

/** AF_INET, AF_INET6, or 0 for a text that is no address. */
int FamilyOf(const CHAR *pcText) {
    CHAR *pcURL = const_cast<CHAR *>(pcText);
    if (NET_IsIPV4(pcURL)) {
        return AF_INET;
    }
    return NET_IsIPV6(pcURL) ? AF_INET6 : 0;
}

/** Waits for something at the socket, or for the wake. True when it is worth trying again. */
bool WaitForSocket(WYK_SOCKET_S stSocket, short sEvents, const NET_WAIT_S &stWait) {
    struct pollfd astPoll[2] = {{stSocket, sEvents, 0}, {-1, POLLIN, 0}};
    if (stWait.pstWake != nullptr) {
        astPoll[1].fd = WakeFd_Descriptor(stWait.pstWake);
    }
    if (poll(astPoll, 2, stWait.lMSeconds) <= 0) {
        return false;
    }
    if (astPoll[1].revents != 0) {
        WakeFd_Take(stWait.pstWake);
    }
    return (astPoll[0].revents & ~POLLNVAL) != 0;
}

bool IsNothingThere(ssize_t lResult) {
    return lResult < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR || errno == EBADF);
}

bool ReadNow(WYK_SOCKET_S stSocket, CHAR *pcData, ULONG_32 ulSize, ssize_t *plResult) {
    *plResult = recv(stSocket, pcData, ulSize, MSG_DONTWAIT);
    return !IsNothingThere(*plResult);
}

/** Sleeps through the packets of a burst, and reads the first: one switch of threads instead of one a packet. */
bool ReadGathered(WYK_SOCKET_S stSocket, CHAR *pcData, ULONG_32 ulSize, ssize_t *plResult, const NET_WAIT_S &stWait) {
    if (stWait.ulGatherUs == 0) {
        return false;
    }
    const struct timespec stTime = {0, static_cast<long>(stWait.ulGatherUs) * 1000};
    nanosleep(&stTime, nullptr);
    return ReadNow(stSocket, pcData, ulSize, plResult);
}

/** Reads once, after a wait when there is nothing yet. False when there still is nothing, *plResult being the read's.
 */
bool Receive(WYK_SOCKET_S stSocket, CHAR *pcData, ULONG_32 ulSize, ssize_t *plResult, const NET_WAIT_S &stWait) {
    // A busy stream has its next packet there already: the wait, a second call of the system, is left out.
    return ReadNow(stSocket, pcData, ulSize, plResult) || ReadGathered(stSocket, pcData, ulSize, plResult, stWait) ||
           (WaitForSocket(stSocket, POLLIN, stWait) && ReadNow(stSocket, pcData, ulSize, plResult));
}

ULONG_32 ReceiveDatagram(WYK_SOCKET_S stSocket, CHAR *pcData, ULONG_32 ulSize, ULONG_32 *pulDataLen,
                         const NET_WAIT_S &stWait) {
    *pulDataLen = 0;
    ssize_t lResult = 0;
    if (!Receive(stSocket, pcData, ulSize, &lResult, stWait)) {
        return PLAYER_ERR_OK;
    }
    if (lResult < 0) {
        LOG_ERROR("WYK_RECVFROM Failed, Error:[%d].", errno);
        return PLAYER_ERR_SOCKET_RECV;
    }
    if (lResult == 0) {
        LOG_WARN("WYK_RECVFROM Zero, Error:[%d].", errno);
        return PLAYER_ERR_SOCKET_RECV_ZERO;
    }
    *pulDataLen = static_cast<ULONG_32>(lResult);
    return PLAYER_ERR_OK;
}

ULONG_32 SendOnce(WYK_SOCKET_S stSocket, const void *pData, ULONG_32 ulLen, int iFlags) {
    if (send(stSocket, pData, ulLen, iFlags | MSG_NOSIGNAL) <= 0) {
        LOG_WARN("Send Failed");
        return PLAYER_ERR_SOCKET_SEND;
    }
    return PLAYER_ERR_OK;
}

}  // namespace

BOOL_T NET_IsIPV4(CHAR *pcURL) {
    if (pcURL == nullptr || !ScanIpv4(pcURL)) {
        return 0;
    }
    LOG_INFO("NET_IsIPV4 is True, URL:(%s).", pcURL);
    return 1;
}

BOOL_T NET_IsIPV6(CHAR *pcURL) {
    if (pcURL == nullptr || !ScanIpv6(pcURL)) {
        return 0;
    }
    LOG_INFO("NET_IsIPV6 is True, URL:(%s).", pcURL);
    return 1;
}

ULONG_32 NET_CreateRecvSocket(const CHAR *pcLocalIP, USHORT usLocalPort, const CHAR *pcRemoteIP, USHORT usRemotePort,
                              ULONG_32 ulTransProtl, NET_INFO_S *pstSocketInfo) {
    const SOCKET_PLAN_S stPlan = {pcLocalIP, usLocalPort, pcRemoteIP, usRemotePort, FamilyOf(pcRemoteIP)};
    if (pstSocketInfo == nullptr || stPlan.iFamily == 0 || ulTransProtl >= PLAYER_PROTOCOL_MAX) {
        return PLAYER_ERR_PARAM;
    }
    memset(pstSocketInfo, 0, sizeof(*pstSocketInfo));
    if (ulTransProtl == PLAYER_PROTOCOL_TCP_SERVER || ulTransProtl == PLAYER_PROTOCOL_PIPE) {
        return PLAYER_ERR_OK;
    }
    WYK_SOCKET_S stSocket = -1;
    ULONG_32 ulResult = ulTransProtl == PLAYER_PROTOCOL_UDP ? OpenUdp(stPlan, &stSocket) : OpenTcp(stPlan, &stSocket);
    if (ulResult != PLAYER_ERR_OK) {
        WYK_CloseSocket(stSocket);
        pstSocketInfo->stSocket = -1;
        return ulResult;
    }
    CopyText(pstSocketInfo->szLocalIP, sizeof(pstSocketInfo->szLocalIP), pcLocalIP);
    CopyText(pstSocketInfo->szRemoteIP, sizeof(pstSocketInfo->szRemoteIP), pcRemoteIP);
    pstSocketInfo->usLocalPort = usLocalPort;
    pstSocketInfo->usRemotePort = usRemotePort;
    pstSocketInfo->ulTransProtl = ulTransProtl;
    pstSocketInfo->stSocket = stSocket;
    return PLAYER_ERR_OK;
}

void NET_DestoryRecvSocket(NET_INFO_S *pstSocketInfo) {
    if (pstSocketInfo == nullptr) {
        return;
    }
    if (WYK_IsMulticast(pstSocketInfo->szRemoteIP)) {
        WYK_DelMulticast(pstSocketInfo->stSocket, pstSocketInfo->szLocalIP, pstSocketInfo->szRemoteIP);
    }
    if (NET_HasSocket(pstSocketInfo)) {  // a zeroed record must not cost the process its standard input
        WYK_CloseSocket(pstSocketInfo->stSocket);
    }
    memset(pstSocketInfo, 0, sizeof(*pstSocketInfo));
}

ULONG_32 NET_RecvPacket(NET_INFO_S *pstSocketInfo, CHAR *pcRecvDataAddr, ULONG_32 *pulRecvDataLen) {
    if (pstSocketInfo == nullptr || pcRecvDataAddr == nullptr || pulRecvDataLen == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    return NET_RecvPacketWait(pstSocketInfo, pcRecvDataAddr, NET_READ_SIZE, pulRecvDataLen, gstHalfSecond);
}

ULONG_32 NET_RecvPacketWait(NET_INFO_S *pstSocketInfo, CHAR *pcData, ULONG_32 ulSize, ULONG_32 *pulDataLen,
                            const NET_WAIT_S &stWait) {
    if (pstSocketInfo->ulTransProtl != PLAYER_PROTOCOL_UDP || !NET_HasSocket(pstSocketInfo)) {
        return PLAYER_ERR_OK;
    }
    ULONG_32 ulResult = ReceiveDatagram(pstSocketInfo->stSocket, pcData, ulSize, pulDataLen, stWait);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("NET_UdpRecvMsg Failed.");
    }
    return ulResult;
}

ULONG_32 NET_UdpRecvMsg(WYK_SOCKET_S stRecvSocket, CHAR *pcRecvDataAddr, ULONG_32 *pulRecvDataLen) {
    if (pcRecvDataAddr == nullptr || pulRecvDataLen == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    return ReceiveDatagram(stRecvSocket, pcRecvDataAddr, NET_READ_SIZE, pulRecvDataLen, gstHalfSecond);
}

ULONG_32 NET_TcpRecvWait(WYK_SOCKET_S stSocket, CHAR *pcData, ULONG_32 ulSize, ULONG_32 *pulDataLen,
                         const NET_WAIT_S &stWait) {
    ssize_t lResult = 0;
    if (!Receive(stSocket, pcData, ulSize, &lResult, stWait)) {
        return PLAYER_ERR_OK;
    }
    if (lResult < 0) {
        LOG_ERROR("NET_TcpRecvMsg Failed.");
        return PLAYER_ERR_SOCKET_RECV;
    }
    if (lResult == 0) {
        LOG_WARN("WYK_RECVFROM Zero.");
        return PLAYER_ERR_SOCKET_RECV_ZERO;
    }
    *pulDataLen = static_cast<ULONG_32>(lResult);
    return PLAYER_ERR_OK;
}

ULONG_32 NET_TcpRecvMsg(WYK_SOCKET_S stRecvSocket, CHAR *pcRecvDataAddr, ULONG_32 *pulRecvDataLen) {
    if (pcRecvDataAddr == nullptr || pulRecvDataLen == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    return NET_TcpRecvWait(stRecvSocket, pcRecvDataAddr, NET_READ_SIZE, pulRecvDataLen, gstHalfSecond);
}

void NET_WaitForWake(const NET_WAIT_S &stWait) { WaitForSocket(-1, POLLIN, stWait); }

void NET_WaitForRoom(WYK_SOCKET_S stSocket, const NET_WAIT_S &stWait) { WaitForSocket(stSocket, POLLOUT, stWait); }

ULONG_32 NET_SendPart(WYK_SOCKET_S stSocket, const CHAR *pcData, ULONG_32 ulDataLen, ULONG_32 *pulSent) {
    *pulSent = 0;
    const ssize_t lResult = send(stSocket, pcData, ulDataLen, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (lResult < 0) {
        const bool bLater = errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        return bLater ? PLAYER_ERR_OK : PLAYER_ERR_SOCKET_SEND;
    }
    *pulSent = static_cast<ULONG_32>(lResult);
    return PLAYER_ERR_OK;
}

void NET_SendAtOnce(WYK_SOCKET_S stSocket) {
    const int iOn = 1;
    setsockopt(stSocket, IPPROTO_TCP, TCP_NODELAY, &iOn, sizeof(iOn));
}

ULONG_32 NET_TcpSendMsg(WYK_SOCKET_S stSendSocket, CHAR *pcSendDataAddr, ULONG_32 ulSendDataLen) {
    return SendOnce(stSendSocket, pcSendDataAddr, ulSendDataLen, 0);
}

ULONG_32 NET_SetNatParam(ULONG_32 ulNatMode, const CHAR *pcNatSessionStr, NET_NAT_TIMER_PARAM_S *pstParam) {
    if (pcNatSessionStr == nullptr || pstParam == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    bool bEnd = false;
    for (CHAR &cTarget : pstParam->szNatStr) {
        bEnd = bEnd || *pcNatSessionStr == '\0';
        word::Store(cTarget, bEnd ? '\0' : *pcNatSessionStr++);
    }
    word::StoreRelease(pstParam->enNatMode,
                       ulNatMode > PLAYER_NAT_OUT ? PLAYER_NAT_NONE : static_cast<PLAYER_NAT_MODE_E>(ulNatMode));
    return PLAYER_ERR_OK;
}

void NET_MakeNatMsg(const NET_NAT_TIMER_PARAM_S *pstParam, NET_NAT_MSG_HDR_S *pstMsg) {
    *pstMsg = {{'$', 0, 0, 24}, {0xFF, 0xFD}, {0, 48}, {0, 1}, {}, {}};
    for (size_t i = 0; i < sizeof(pstMsg->aucSid); i++) {
        pstMsg->aucSid[i] = static_cast<UCHAR>(word::Load(pstParam->szNatStr[i]));
    }
}

ULONG_32 NET_SendNatPkt(WYK_SOCKET_S stRecvSocket, NET_NAT_TIMER_PARAM_S *pstParam) {
    if (pstParam == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    NET_NAT_MSG_HDR_S stMsg;
    NET_MakeNatMsg(pstParam, &stMsg);
    // A peer that reads nothing must not hold the receiving thread, nor the close that waits for it.
    ULONG_32 ulResult = SendOnce(stRecvSocket, &stMsg, sizeof(stMsg), MSG_DONTWAIT);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("NET_TcpSendMsg Failed.");
    }
    return ulResult;
}

ULONG_32 NET_SetTcpOutTime(LONG_32 lTcpOutTime) {
    word::Store(glTcpOutTime, lTcpOutTime);
    return PLAYER_ERR_OK;
}
