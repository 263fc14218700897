#include "foundations/payload_types.h"

namespace {

const PAYLOAD_TYPE_ROW_S gastVideo[] = {
    {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_ENCODE_H264, PLAYER_WAVE_FORMAT_UNKNOWN},
    {PLAYER_PAYLOAD_JPEG, PLAYER_VIDEO_ENCODE_MJPEG, PLAYER_WAVE_FORMAT_UNKNOWN},
    {PLAYER_PAYLOAD_H265, PLAYER_VIDEO_ENCODE_H265, PLAYER_WAVE_FORMAT_UNKNOWN},
};

const PAYLOAD_TYPE_ROW_S gastAudio[] = {
    {PLAYER_PAYLOAD_G711U, PLAYER_AUDIO_ENCODE_G711U, PLAYER_WAVE_FORMAT_8000},
    {PLAYER_PAYLOAD_MP1L2, PLAYER_AUDIO_ENCODE_MP2, PLAYER_WAVE_FORMAT_UNKNOWN},
    {PLAYER_PAYLOAD_AAC, PLAYER_AUDIO_ENCODE_AAC, PLAYER_WAVE_FORMAT_UNKNOWN},
    {PLAYER_PAYLOAD_G711A, PLAYER_AUDIO_ENCODE_G711A, PLAYER_WAVE_FORMAT_8000},
    {PLAYER_PAYLOAD_PCM, PLAYER_AUDIO_ENCODE_PCM, PLAYER_WAVE_FORMAT_11025},
};

template <size_t ROWS, class FIELD>
const PAYLOAD_TYPE_ROW_S *Find(const PAYLOAD_TYPE_ROW_S (&astRows)[ROWS], FIELD PAYLOAD_TYPE_ROW_S::*pField,
                               FIELD value) {
    for (const PAYLOAD_TYPE_ROW_S &stRow : astRows) {
        if (stRow.*pField == value) {
            return &stRow;
        }
    }
    return nullptr;
}

}  // namespace

const PAYLOAD_TYPE_ROW_S *PayloadType_OfVideo(LONG_32 lPayload) {
    return Find(gastVideo, &PAYLOAD_TYPE_ROW_S::lPayload, lPayload);
}

const PAYLOAD_TYPE_ROW_S *PayloadType_OfAudio(LONG_32 lPayload) {
    return Find(gastAudio, &PAYLOAD_TYPE_ROW_S::lPayload, lPayload);
}

const PAYLOAD_TYPE_ROW_S *PayloadType_OfVideoEncode(ULONG_32 ulEncodeType) {
    return Find(gastVideo, &PAYLOAD_TYPE_ROW_S::ulEncodeType, ulEncodeType);
}

const PAYLOAD_TYPE_ROW_S *PayloadType_OfAudioEncode(ULONG_32 ulEncodeType) {
    return Find(gastAudio, &PAYLOAD_TYPE_ROW_S::ulEncodeType, ulEncodeType);
}
