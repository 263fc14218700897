/**
 * @file voice_send.h
 * @brief The sending side of a port's connection: one framed message at a time.
 *
 * Several threads write into the connection of a port that talks: the client's (voice), the broadcast thread, and the
 * network thread (the NAT message). They take turns by stSendMutex. A message of which only a part went out keeps its
 * place in pcSendData until the rest has gone, and nothing else is sent before: a message never lands inside another.
 */
#ifndef ZELVANE_SOURCE_VOICE_SEND_H
#define ZELVANE_SOURCE_VOICE_SEND_H

#include "foundations/shared_word.h"
#include "port/player_manager.h"

/** A turn at the connection, for the object's life. Its end wakes a network thread that has a message to send. */
class CVoiceSendTurn {
 public:
    enum WAIT_E { WAIT, TRY };

    explicit CVoiceSendTurn(PLAEYR_PORT_S *pstPort, WAIT_E enWait = WAIT);
    ~CVoiceSendTurn();
    CVoiceSendTurn(const CVoiceSendTurn &) = delete;
    CVoiceSendTurn &operator=(const CVoiceSendTurn &) = delete;

    /** False when another thread has it: with TRY only. */
    bool Held() const { return m_bHeld; }

 private:
    PLAEYR_PORT_S *m_pstPort;
    WAIT_E m_enWait;
    bool m_bHeld;
};

/** How far a message went. */
typedef enum tagVoiceSendE {
    VOICE_SEND_DONE = 0,    /**< it is out, or there was none */
    VOICE_SEND_WAITING = 1, /**< a rest is left for the next turn */
    VOICE_SEND_BROKEN = 2   /**< the connection takes nothing any more */
} VOICE_SEND_E;

/** What a call may still wait for room: one for all its packets. */
typedef struct tagVoicePatienceS {
    LONG_32 lMSeconds; /**< in all */
    bool bCloseEnds;   /**< a close of the port ends it */
    DULONG dulEnd;     /**< when it is over; 0 as long as nothing waited */
} VOICE_PATIENCE_S;

/** The patience of one call. */
inline constexpr LONG_32 VOICE_SEND_WAIT_MS = 100;

/** Makes the send buffer and the wake; logs a failure. @return 0 or PLAYER_ERR_MALLOC */
ULONG_32 VoiceSend_Create(PLAEYR_PORT_S *pstPort);

/** Frees both, with whatever is still to go out. */
void VoiceSend_Destroy(PLAEYR_PORT_S *pstPort);

/** Whether a rest waits; any thread. */
inline bool VoiceSend_IsPending(const PORT_VOICE_INFO_S *pstVoice) { return word::Load(pstVoice->ulRestLen) != 0; }

/**
 * Makes an encoded frame what RTP_PacketRtpData() cuts next.
 * @param enType what RTP takes it for; its packets do not say
 */
void VoiceSend_SetFrame(RTP_MAKE_INFO_S *pstMaker, PLAYER_PAYLOAD_E enType, const CODEC_FRAME_S &stFrame);

/** Makes the next packet of the frame behind the room for its head. @return as RTP_PacketRtpData() */
ULONG_32 VoiceSend_MakePacket(PORT_VOICE_INFO_S *pstVoice);

/** Writes the head in front of that packet. @return bytes of both */
ULONG_32 VoiceSend_WriteHead(PORT_VOICE_INFO_S *pstVoice);

/* ---- in a turn ---- */

/** Makes ulLen bytes of pcSendData the message that goes out; there must be no rest. */
void VoiceSend_SetMessage(PORT_VOICE_INFO_S *pstVoice, ULONG_32 ulLen);

/** Sends what is left of the message. @param pstPatience null to wait for nothing */
VOICE_SEND_E VoiceSend_Flush(PLAEYR_PORT_S *pstPort, VOICE_PATIENCE_S *pstPatience);

/** Sends the NAT message of the port's stream; a rest of it is left as one of voice is. @return 0 or 11 */
ULONG_32 VoiceSend_NatMessage(PLAEYR_PORT_S *pstPort);

#endif
