/** What a client says to the camera: talk on channel 4 of its connection, which becomes a file and an echo. */
#ifndef ZVCAM_EAR_H
#define ZVCAM_EAR_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/wav_file.h"
#include "zvcam/counters.h"
#include "zvcam/packets.h"

namespace zvcam {

/** Gives each client who talks a file: FILE.wav for the first, FILE-2.wav for the second ... For one thread. */
class Tapes {
 public:
    /** Makes the first one, so that a name that can't be written is found out at once. @return false with the failure */
    bool Open(const std::string &path, Failure *failure);

    /** The next talker's; null when none is wanted, or it can't be made. */
    std::unique_ptr<tools::WavFile> Next();

 private:
    std::string path_;
    std::unique_ptr<tools::WavFile> first_;
    unsigned number_ = 1;
};

/** Hears one client. */
class Ear {
 public:
    /** @param tapes, @param counters live longer */
    Ear(Tapes *tapes, Counters *counters) : tapes_(*tapes), counters_(*counters) {}

    /**
     * Takes what came over the connection, in pieces as they come.
     * @param echo wanted: receives a packet of the camera's own for each packet of talk; null for none
     */
    void Take(Bytes data, std::vector<Packet> *echo);

 private:
    size_t TakeMessage(Bytes data, std::vector<Packet> *echo);
    void Hear(Bytes packet, std::vector<Packet> *echo);
    void CountGap(uint16_t sequence);
    Packet MakeEcho(Bytes payload);

    Tapes &tapes_;
    Counters &counters_;
    std::vector<uint8_t> data_;  ///< not a whole message yet
    bool heard_ = false;
    uint16_t next_ = 0;  ///< sequence number that is due
    std::unique_ptr<tools::WavFile> tape_;
    uint16_t echo_sequence_ = 0;
    uint32_t echo_clock_ = 0;
};

}  // namespace zvcam

#endif
