/**
 * @file talk.h
 * @brief Both ends of a talk for tests: a port with a voice service, and the device that hears it.
 */
#ifndef ZELVANE_TESTS_SOURCE_TALK_H
#define ZELVANE_TESTS_SOURCE_TALK_H

#include "support/client.h"
#include "support/net_peer.h"
#include "zelvane_modules.h"

/** A block of sound that no other number gives: samples all over the scale. */
Bytes Sound(size_t bytes, uint32_t number);

/** What G.711 mu-law makes of it. */
Bytes MuLaw(Span pcm);

/** Opens a service that connects to a server of this machine. */
bool OpenTalk(ULONG_32 port, uint16_t server, ULONG_32 type = PLAYER_VOICE_SERVICE_TALKBACK_INPUT);

/** The same over UDP, at a local port that the system chooses. */
bool OpenUdpTalk(ULONG_32 port, ULONG_32 type);

bool Say(ULONG_32 port, Span pcm);

/** A packet as the device hears it. */
struct Heard {
    uint8_t channel;
    uint8_t mark; /**< second byte: payload type and marker */
    uint16_t sequence;
    uint32_t timestamp;
    uint32_t source;
    Bytes payload;
};

/** Reads what stands in a connection, strictly: everything has to be whole messages. */
class Device {
 public:
    explicit Device(support::Socket socket) : m_socket(std::move(socket)) {}

    support::Socket &Connection() { return m_socket; }
    /** Waits for so many messages and gives them; fewer when no more come. */
    std::vector<Heard> Hear(size_t count);
    /** Everything until the connection ends, or nothing comes for a while. */
    std::vector<Heard> HearAll() { return Hear(SIZE_MAX); }
    /** What is left of an unfinished message. */
    size_t Rest() const { return m_data.size(); }

 private:
    bool Take(std::vector<Heard> *all);

    support::Socket m_socket;
    Bytes m_data;
};

/** Both ends of a TCP connection of the client's own; the near end sends through a small buffer. */
struct Pair {
    support::Socket near;
    Device device;
    static Pair Make();
};

#endif
