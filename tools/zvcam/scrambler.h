/**
 * Scrambles pictures as this platform's cameras do: all but the first 16 bytes of a picture's first slice, with
 * whatever follows it, is XORed with one byte. The byte comes of a master key and a random number, which go in front of
 * each key picture as SEI units: the master key encrypted to an RSA key for who watches live, or with a password for
 * who has the file.
 */
#ifndef ZVCAM_SCRAMBLER_H
#define ZVCAM_SCRAMBLER_H

#include <array>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "common/bytes.h"
#include "common/rsa_pem.h"

namespace zvcam {

using tools::Bytes;

/** What the scrambler is to do. */
struct ScrambleOptions {
    tools::RsaKey rsa_key;    ///< empty for no live key message
    std::string password;     ///< empty for no file key message
    uint32_t key_groups = 4;  ///< groups of pictures to one master key; the random number is new in each
    uint32_t seed = 1;        ///< of keys and random numbers
};

/** Used by one thread. */
class Scrambler {
 public:
    Scrambler(ScrambleOptions options, bool h265) : options_(std::move(options)), h265_(h265), dice_(options_.seed) {}

    /**
     * Scrambles a picture.
     * @param units its units without start codes; afterwards those of the scrambled one, which hold until the next call
     * @return false when players could not restore it: Complaint() tells why, and the units are as they were
     */
    bool Apply(std::vector<Bytes> *units, bool key);

    const std::string &Complaint() const { return complaint_; }

 private:
    bool Refuse(const std::string &why);
    bool CheckSlices(const std::vector<Bytes> &units, bool key);
    bool BeginGroup();
    bool NewMasterKey();
    void AppendMessage(const std::vector<uint8_t> &subtype_and_data);
    void AppendKeyMessages();
    void AppendSlices(std::vector<Bytes>::const_iterator from, std::vector<Bytes>::const_iterator to);

    const ScrambleOptions options_;
    const bool h265_;
    std::mt19937_64 dice_;
    uint32_t groups_ = 0;
    std::array<uint8_t, 4> master_ = {}, random_ = {};
    std::vector<uint8_t> sealed_live_, sealed_file_;
    uint8_t xor_byte_ = 0;
    std::vector<std::vector<uint8_t>> made_;  ///< units of the picture at hand that are not its own
    std::string complaint_;
};

}  // namespace zvcam

#endif
