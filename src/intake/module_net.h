/**
 * @file module_net.h
 * @brief Sockets of a live stream and the arithmetic of a port's statistics.
 *
 * No thread and no lock of its own. The statistics are single aligned words: the receiving thread and the decode thread
 * write them, getters read them, and a reader sees either value.
 */
#ifndef ZELVANE_INTAKE_MODULE_NET_H
#define ZELVANE_INTAKE_MODULE_NET_H

#include <sys/time.h>

#include "foundations/com_public_fun.h"
#include "foundations/player_types.h"


/** Socket of a port or of a voice service. */
typedef struct tagNetInfoS {
    CHAR szLocalIP[64];     /**< local address, empty for any */
    CHAR szRemoteIP[64];    /**< remote address; empty: there is no socket here */
    USHORT usLocalPort;     /**< local port */
    USHORT usRemotePort;    /**< remote port */
    ULONG_32 ulTransProtl;  /**< transport */
    WYK_SOCKET_S stSocket;  /**< the socket, -1 when none */
} NET_INFO_S;

typedef enum tagPlayerNatModeE { PLAYER_NAT_NONE = 0, PLAYER_NAT_IN = 1, PLAYER_NAT_OUT = 2 } PLAYER_NAT_MODE_E;

/** NAT keep-open message of a port. */
typedef struct tagNetNatTimerParam {
    ULONG_32 ulChannelID;
    CHAR szNatStr[16];          /**< session string, not terminated */
    PLAYER_NAT_MODE_E enNatMode;
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
    BOOL_T bPicSizeChanged;                 /**< that size changed and the decoder has yet to follow */
} NET_STATEINFO_S;

extern "C" {

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
