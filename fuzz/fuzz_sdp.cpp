// What an RTSP server says: the first byte chooses between a description, the head of a response and an address.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "common/rtsp_text.h"
#include "common/sdp.h"
#include "common/text_fields.h"

namespace {

void ReadDescription(std::string_view text) {
    tools::Sdp sdp;
    tools::ParseSdp(text, &sdp);
    if (sdp.tracks.size() > tools::kMaxSdpTracks) abort();
    for (const tools::SdpTrack &track : sdp.tracks) {
        if (track.payload > 127 || track.sets.size() > tools::kMaxParameterSets || track.aac.channels > 7) abort();
        for (const char c : tools::ControlUrl("rtsp://h/", track.control) + track.name) {
            if (c < ' ' || c > '~') abort();  // it goes into requests and onto terminals
        }
    }
}

void ReadHead(std::string_view text) {
    tools::RtspHead head;
    while (!text.empty()) head.Take(tools::TakeField(&text, '\n'));
    if (head.channel > 255 || head.timeout == 0 || head.timeout > 86400) abort();
    for (const char c : head.base + head.moved_to) {
        if (c <= ' ' || c > '~') abort();
    }
}

void ReadAddress(std::string_view text) {
    const std::string source = "rtsp://" + std::string(text.substr(0, text.find('\0')));
    std::string argument = source;
    tools::EraseLogin(argument.data());
    if (tools::WithoutLogin(source) != argument.c_str()) abort();
    tools::RtspUrl url;
    tools::Failure failure;
    tools::ParseRtspUrl(source, &url, &failure);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char *>(data) + 1, size - 1);
    void (*const read[])(std::string_view) = {ReadDescription, ReadHead, ReadAddress};
    read[data[0] % 3](text);
    return 0;
}
