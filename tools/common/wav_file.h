/** Writes sound as a WAV file: 16 bits, one channel. */
#ifndef TOOLS_WAV_FILE_H
#define TOOLS_WAV_FILE_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "common/bytes.h"
#include "common/failure.h"

namespace tools {

/** A file that is whole after Close(); what was written until then is in it. */
class WavFile {
 public:
    WavFile() = default;
    ~WavFile() { Close(); }
    WavFile(const WavFile &) = delete;
    WavFile &operator=(const WavFile &) = delete;

    /** Makes the file. @param rate samples a second. @return false with the failure filled: exit code 1 */
    bool Open(const std::string &path, uint32_t rate, Failure *failure);

    /** Appends samples in the machine's byte order. */
    void Write(Bytes samples);

    /** Puts the length into the head. @return whether all of it is on the disk */
    bool Close();

 private:
    bool WriteHead();

    FILE *file_ = nullptr;
    uint32_t rate_ = 0, length_ = 0;
    bool good_ = true;
};

}  // namespace tools

#endif
