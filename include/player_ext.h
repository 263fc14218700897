/**
 * @file player_ext.h
 * @brief Extensions of the Zelvane player library: what a client may ask for beyond the functions of player_sdk_func.h.
 *
 * Everything here is off until it is asked for, so a client that doesn't know this header misses nothing. Results,
 * threads and lifetimes are as in player_sdk_func.h. Compiles alone as C11 and as C++20.
 */
#ifndef ZELVANE_PLAYER_EXT_H
#define ZELVANE_PLAYER_EXT_H

#include "player_sdk_func.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- cloud recordings ------------------------------------------------------------------------------------------- */

/**
 * Has the servers of cloud recordings verified, for the whole library, from the next connection on. By default they are
 * not: HTTPS then keeps others from listening, but not from posing as the server. With a CA file the server must show a
 * certificate for its host name that one of these CAs has issued; otherwise the segment is not fetched, the run message
 * PLAYER_ERR_HLS_CONNECT comes, and the log says why. May be called before Zelvane_Init(), from any thread.
 * @param pcCaFile file of CA certificates in PEM form, read by this call; null turns verification off again
 * @return 1; or 0 with PLAYER_ERR_FILE_NOT_FOUND for a file that can't be read or holds no certificate, or
 *         PLAYER_ERR_MALLOC: what was set before stays
 */
ZELVANE_API BOOL_T ZelvaneExt_SetCloudCa(const CHAR *pcCaFile);

/* ---- standard senders ------------------------------------------------------------------------------------------- */

/**
 * Has a port take what any RTP sender may send, not this platform's devices alone. Takes effect when the port's source is
 * opened next, and stays until it is set again. For network streams (UDP and TCP) and pushed streams
 * (Zelvane_InputMediaData() with one RTP packet a call, video and sound in any order), and for their recordings.
 *
 * What is taken in addition, RFC by RFC:
 * - 3550: packets late by up to 50 ms or 64 packets are put in order, packets that come twice are dropped; padding,
 *   contributing sources and header extensions of any length; a sender that starts anew with another SSRC; RTCP between
 *   the packets is passed over. Datagrams and TCP packets up to 65,535 bytes, on the TCP channels 0 to 3.
 * - 6184 (H.264): single units, STAP-A and FU-A, whether the marker is set on the last packet of a picture, on every
 *   slice or never. A picture comes out whole, in one frame.
 * - 7798 (H.265): single units, aggregation packets and fragments; IDR, CRA and BLA pictures begin a stream. RASL
 *   pictures that lean on what was not received are left out.
 * - 2435 (JPEG): types 0, 1, 64 and 65, Q 1 to 99, 128 to 254 with tables in the packet or remembered, and 255.
 * - 3640 (AAC, mode AAC-hbr: 13 bits of size, 3 of index): any number of units in a packet, units over several packets.
 * A picture of which a packet is lost isn't shown, nor are those that lean on it, up to the next key picture.
 *
 * Which payload type is what: 0 and 8 are G.711, 26 JPEG, 108 H.265, 104 AAC by RFC 3640, 120 AAC in ADTS, all others
 * from 19 on H.264. What a session says otherwise goes into the two rows of Zelvane_SetPayloadType(), the video's first,
 * each with its clock rate; a row alone stands first. The AAC parameters go to Zelvane_SetAudioInfo(): object type (2 for
 * AAC LC, and for HE-AAC, which builds on it), index of the sampling rate (of HE-AAC the core's), channels. Without that
 * call it's AAC LC in stereo at the rate of the row. Parameter sets that don't travel in the stream go to
 * ZelvaneExt_SetParameterSets().
 *
 * @param ulPort port number
 * @param bOn    1 on, 0 off, which is the default: then the port behaves as if this function didn't exist
 * @return 1; or 0 with PLAYER_ERR_PORT or PLAYER_ERR_MALLOC
 */
ZELVANE_API BOOL_T ZelvaneExt_SetStandardIntake(ULONG_32 ulPort, BOOL_T bOn);

/** Bytes of parameter sets at most. */
#define ZELVANE_EXT_MAX_PARAMETER_SETS 4096

/**
 * Gives a port with standard intake the parameter sets of its video, as a session description has them. They go in front
 * of each key picture that comes without sets of its own, as long as the stream has brought none. Takes effect when the
 * port's source is opened next; replaces what was given before. Call it behind ZelvaneExt_SetStandardIntake().
 * @param ulPort            port number
 * @param ulVideoEncodeType PLAYER_VIDEO_ENCODE_H264 or PLAYER_VIDEO_ENCODE_H265
 * @param pucSets           the units, each behind a start code 00 00 00 01; copied
 * @param ulSize            bytes, at most ZELVANE_EXT_MAX_PARAMETER_SETS; 0: forget those given
 * @return 1; or 0 with PLAYER_ERR_PORT, or PLAYER_ERR_PARAM for another encoding, too many bytes, no start code at the
 *         beginning, or a port without standard intake
 */
ZELVANE_API BOOL_T ZelvaneExt_SetParameterSets(ULONG_32 ulPort, ULONG_32 ulVideoEncodeType, const UCHAR *pucSets,
                                               ULONG_32 ulSize);

/** Figures of a port's standard intake since its source was opened. */
typedef struct tagZelvaneExtIntakeS {
    ULONG_32 ulReceived;  /**< RTP packets of video and sound that came, all of those below that came included */
    ULONG_32 ulReordered; /**< came behind a later one, but in time */
    ULONG_32 ulDuplicate; /**< came once more and were dropped */
    ULONG_32 ulLate;      /**< came when they had been given up, and were dropped */
    ULONG_32 ulLost;      /**< were given up */
    ULONG_32 ulDamaged;   /**< pictures and sound units of which something was missing: dropped */
} ZELVANE_EXT_INTAKE_S;

/**
 * Reads the figures of a port's standard intake; any thread. All are 0 without it. Zelvane_GetLostPacketRate() counts
 * incidents of the last five seconds, as ever.
 * @param ulPort  port number
 * @param pstInfo gets the figures
 * @return 1; or 0 with PLAYER_ERR_PORT, or PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T ZelvaneExt_GetIntakeInfo(ULONG_32 ulPort, ZELVANE_EXT_INTAKE_S *pstInfo);

#ifdef __cplusplus
}
#endif

#endif
