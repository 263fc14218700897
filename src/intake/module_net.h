/**
 * @file module_net.h
 * @brief Sockets of a live stream and the arithmetic of a port's statistics.
 *
 * No thread and no lock of its own: a socket is one thread's at a time. The statistics are single aligned words: the
 * receiving thread and the decode thread write them, getters read them, and a reader sees either value.
 */
#ifndef ZELVANE_INTAKE_MODULE_NET_H
#define ZELVANE_INTAKE_MODULE_NET_H

#include <sys/time.h>

#include "foundations/com_public_fun.h"
#include "foundations/player_types.h"
#include "foundations/wake.h"

/** Socket of a port or of a voice service. */
typedef struct tagNetInfoS {
    CHAR szLocalIP[64];    /**< local address, empty for any */
    CHAR szRemoteIP[64];   /**< remote address; empty: there is no socket here */
    USHORT usLocalPort;    /**< local port */
    USHORT usRemotePort;   /**< remote port */
    ULONG_32 ulTransProtl; /**< transport */
    WYK_SOCKET_S stSocket; /**< the socket, -1 when none; 0 in a record without a remote address is none either */
} NET_INFO_S;

/** Head of a packet in a TCP stream, as it is on the wire. */
typedef struct tagWYKRtspStreamHead {
    CHAR cMagic;        /**< "$" */
    UCHAR ucChannelNum; /**< 0 or 2; any other value is no head */
    USHORT usPackLen;   /**< bytes of the packet behind the head, big-endian, at most NET_READ_SIZE */
} WYK_RTSP_STREAM_HEAD_S;

static_assert(sizeof(WYK_RTSP_STREAM_HEAD_S) == 4);

enum : ULONG_32 {
    NET_STREAM_HEAD_SIZE = sizeof(WYK_RTSP_STREAM_HEAD_S),
    NET_TCP_BUFFER_SIZE = 2 * NET_READ_SIZE /**< each of the two receive buffers of a TCP stream */
};

/** NAT keep-open message of a port. The thread that sends it reads what the client sets, without a lock. */
typedef struct tagNetNatTimerParam {
    ULONG_32 ulChannelID;
    CHAR szNatStr[16];           /**< session string, not terminated */
    PLAYER_NAT_MODE_E enNatMode; /**< released when the string stands */
    HANDLE hSocket;
    ULONG_32 ulDstIP;
    USHORT usDstPort;
} NET_NAT_TIMER_PARAM_S;

enum : ULONG_32 { NET_LOSS_WINDOW = 5 /**< seconds that the loss figures cover */ };

/** Statistics of a port. */
typedef struct tagPortStatInfoS {
    ULONG_32 ulBitRate;                     /**< smoothed rate, bytes a second */
    ULONG_32 ulPrevBitRate;                 /**< rate of the period before */
    struct timeval stBitPrevTime;           /**< start of the period; the second field holds milliseconds */
    DULONG dulCurRecvBit;                   /**< bytes received in the period */
    LONG_32 lAllPktNum;                     /**< packets of the window */
    LONG_32 lLostPktNum;                    /**< losses of the window */
    LONG_32 alALLPktList[NET_LOSS_WINDOW];  /**< packets a second, newest first */
    LONG_32 alLostPktList[NET_LOSS_WINDOW]; /**< losses a second, newest first */
    struct timeval stPktPrevTime;           /**< start of the present second */
    LONG_32 lFrameRate;                     /**< frames a second */
    LONG_32 lFrameIntervalTime;             /**< milliseconds from one frame to the next */
    BOOL_T bGetSPSFrameRate;                /**< the rate came from a parameter set */
    DULONG dulVideoTimestamp;               /**< timestamp of the video frame before */
    LONG_32 lWidth;                         /**< size in the H.265 parameter sets */
    LONG_32 lHeight;
    BOOL_T bPicSizeChanged; /**< that size changed and the decoder has yet to follow */
} NET_STATEINFO_S;

/** NAT keep-open message as it is on the wire, all numbers big-endian. */
typedef struct tagNetNatMsgHdr {
    UCHAR aucMsgHead[4];  /**< "$", channel 0, length 24 */
    UCHAR aucMsgId[2];    /**< 65533 */
    UCHAR aucLen[2];      /**< 48 */
    UCHAR aucCmd[2];      /**< 1 */
    UCHAR aucSid[16];     /**< session string */
    UCHAR aucReserved[2]; /**< 0 */
} NET_NAT_MSG_HDR_S;

static_assert(sizeof(NET_NAT_MSG_HDR_S) == 28);

/** How a receive inside the library waits: longer than the half second, because something else ends the wait. */
typedef struct tagNetWaitS {
    const WAKE_FD_S *pstWake; /**< ends the wait at once; null for none */
    LONG_32 lMSeconds;        /**< the longest wait */
    ULONG_32 ulGatherUs;      /**< microseconds that come first, so that a burst gathers; 0 for none */
} NET_WAIT_S;

/** NET_RecvPacket() with a wait of the caller's own, and at most ulSize bytes. */
ULONG_32 NET_RecvPacketWait(NET_INFO_S *pstSocketInfo, CHAR *pcData, ULONG_32 ulSize, ULONG_32 *pulDataLen,
                            const NET_WAIT_S &stWait);

/** NET_TcpRecvMsg() with a wait of the caller's own, and at most ulSize bytes. */
ULONG_32 NET_TcpRecvWait(WYK_SOCKET_S stSocket, CHAR *pcData, ULONG_32 ulSize, ULONG_32 *pulDataLen,
                         const NET_WAIT_S &stWait);

/** Waits for the wake alone, or for the time given: what a stream without a socket does. */
void NET_WaitForWake(const NET_WAIT_S &stWait);

/** Sends what the socket takes at once, none of it or a part included. @return 0; 11 when the connection is broken */
ULONG_32 NET_SendPart(WYK_SOCKET_S stSocket, const CHAR *pcData, ULONG_32 ulDataLen, ULONG_32 *pulSent);

/** Waits until the socket has room to send, or for the wake. */
void NET_WaitForRoom(WYK_SOCKET_S stSocket, const NET_WAIT_S &stWait);

/** Has small packets leave at once, instead of when the peer has confirmed the one before. */
void NET_SendAtOnce(WYK_SOCKET_S stSocket);

/** Writes the NAT message that the parameters make. */
void NET_MakeNatMsg(const NET_NAT_TIMER_PARAM_S *pstParam, NET_NAT_MSG_HDR_S *pstMsg);

/** Whether the record holds a socket. */
inline bool NET_HasSocket(const NET_INFO_S *pstNetInfo) {
    return pstNetInfo->stSocket > 0 || (pstNetInfo->stSocket == 0 && pstNetInfo->szRemoteIP[0] != '\0');
}

extern "C" {

/** Stored by NET_SetTcpOutTime(); nothing reads it. */
extern LONG_32 glTcpOutTime;

/** Whether the text begins with an IPv4 address, up to its end, a ":" or a "/". Null: false. */
MODULE_API BOOL_T NET_IsIPV4(CHAR *pcURL);

/** Whether the text begins with an IPv6 address, up to its end or a "/". An eighth colon makes anything one. */
MODULE_API BOOL_T NET_IsIPV6(CHAR *pcURL);

/**
 * Makes the socket of a stream: bound for UDP, connected for TCP (which waits for as long as the system tries). UDP
 * takes datagrams from anyone; with a multicast address as the remote one the socket stays unbound and no group is
 * joined, so that nothing arrives in this version.
 * @param pcLocalIP     local address, UDP only; null, empty or zero for any
 * @param pcRemoteIP    remote address in figures; a host name is refused, and what looks like IPv6 to NET_IsIPV6() and
 *                      is none to inet_pton() fails as a connection would
 * @param ulTransProtl  PLAYER_PROTOCOL_E; 2 and 3 give an empty record and success
 * @param pstSocketInfo filled in; the socket is the caller's, for NET_DestoryRecvSocket()
 * @return 0; 2 bad address or transport; 4 no socket, bind or connection, stSocket then being -1
 */
MODULE_API ULONG_32 NET_CreateRecvSocket(const CHAR *pcLocalIP, USHORT usLocalPort, const CHAR *pcRemoteIP,
                                         USHORT usRemotePort, ULONG_32 ulTransProtl, NET_INFO_S *pstSocketInfo);

/** Closes the socket, if there is one, and zeroes the record. */
MODULE_API void NET_DestoryRecvSocket(NET_INFO_S *pstSocketInfo);

/** Reads one datagram as NET_UdpRecvMsg() does; nothing and 0 for any other transport. */
MODULE_API ULONG_32 NET_RecvPacket(NET_INFO_S *pstSocketInfo, CHAR *pcRecvDataAddr, ULONG_32 *pulRecvDataLen);

/**
 * Reads one datagram, waiting half a second for it.
 * @param pcRecvDataAddr  NET_READ_SIZE bytes; more of a datagram is lost
 * @param pulRecvDataLen  its length; 0 when none came
 * @return 0; 5 failure; 6 an empty datagram
 */
MODULE_API ULONG_32 NET_UdpRecvMsg(WYK_SOCKET_S stRecvSocket, CHAR *pcRecvDataAddr, ULONG_32 *pulRecvDataLen);

/**
 * Reads at most NET_READ_SIZE bytes, waiting half a second for them.
 * @param pulRecvDataLen how many came; left as it is when none did
 * @return 0; 5 failure; 6 the peer closed
 */
MODULE_API ULONG_32 NET_TcpRecvMsg(WYK_SOCKET_S stRecvSocket, CHAR *pcRecvDataAddr, ULONG_32 *pulRecvDataLen);

/** Sends with one call, which may take a part only; a peer that is gone raises no signal. @return 0; 11 failure */
MODULE_API ULONG_32 NET_TcpSendMsg(WYK_SOCKET_S stSendSocket, CHAR *pcSendDataAddr, ULONG_32 ulSendDataLen);

/**
 * Sets mode and session string. Any thread.
 * @param ulNatMode       PLAYER_NAT_MODE_E; anything above counts as PLAYER_NAT_NONE
 * @param pcNatSessionStr text, of which 16 bytes count
 * @return 0; 2 null argument
 */
MODULE_API ULONG_32 NET_SetNatParam(ULONG_32 ulNatMode, const CHAR *pcNatSessionStr, NET_NAT_TIMER_PARAM_S *pstParam);

/** Sends the NAT message on the stream's socket; never waits. A UDP socket has no peer to send to. @return 0; 11 */
MODULE_API ULONG_32 NET_SendNatPkt(WYK_SOCKET_S stRecvSocket, NET_NAT_TIMER_PARAM_S *pstParam);

/** Stores the value. Returns 0. */
MODULE_API ULONG_32 NET_SetTcpOutTime(LONG_32 lTcpOutTime);

/** Counts received bytes; renews the smoothed rate when a period of 2.5 seconds has passed. Returns 0. */
MODULE_API ULONG_32 NET_MathBitRate(ULONG_32 ulRecvDataLen, NET_STATEINFO_S *pstStateInfo);

/** Counts a packet; moves the window on when a second has passed. Returns 0. */
MODULE_API ULONG_32 NET_MathPacket(NET_STATEINFO_S *pstStateInfo);

/** Counts a loss: an incident, however many packets it cost. Returns 0. */
MODULE_API ULONG_32 NET_AddLostPacket(NET_STATEINFO_S *pstStateInfo);

/** Forgets the losses of the window; the sum changes at the next second. Returns 0. */
MODULE_API ULONG_32 NET_ResetLostPacket(NET_STATEINFO_S *pstStateInfo);
}

#endif
