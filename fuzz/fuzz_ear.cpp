// zvcam's ear: what a client says comes in pieces; of each byte in front of a piece the number is its length.
#include <cstdint>
#include <cstdlib>

#include "zvcam/ear.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    zvcam::Tapes tapes;
    zvcam::Counters counters;
    zvcam::Ear ear(&tapes, &counters);
    size_t given = 0;
    while (size > 1) {
        const size_t wanted = data[0] * size_t{16} + 1, length = wanted < size - 1 ? wanted : size - 1;
        std::vector<zvcam::Packet> echo;
        const uint64_t samples = counters.voice_samples, voices = counters.voices;
        ear.Take(zvcam::Bytes(data + 1, length), &echo);
        given += length;
        size_t echoed = 0;
        for (const zvcam::Packet &packet : echo) echoed += packet.size() - 12;
        if (echoed != counters.voice_samples - samples || echo.size() != counters.voices - voices) abort();
        if (counters.voice_samples + counters.voice_strays > given) abort();
        data += 1 + length;
        size -= 1 + length;
    }
    return 0;
}
