/**
 * @file payload_types.h
 * @brief The codings by their two numbers: PLAYER_PAYLOAD_E inside the library, PLAYER_..._ENCODE_TYPE_E at its border.
 */
#ifndef ZELVANE_FOUNDATIONS_PAYLOAD_TYPES_H
#define ZELVANE_FOUNDATIONS_PAYLOAD_TYPES_H

#include "foundations/player_types.h"

/** One coding. */
struct PAYLOAD_TYPE_ROW_S {
    LONG_32 lPayload;      /**< PLAYER_PAYLOAD_E */
    ULONG_32 ulEncodeType; /**< PLAYER_VIDEO_ENCODE_TYPE_E or PLAYER_AUDIO_ENCODE_TYPE_E */
    ULONG_32 ulWaveFormat; /**< sound: PLAYER_WAVE_FORMAT_INFO_E of its frames */
};

/** Rows of a payload; null for one that is no video, no sound. */
const PAYLOAD_TYPE_ROW_S *PayloadType_OfVideo(LONG_32 lPayload);
const PAYLOAD_TYPE_ROW_S *PayloadType_OfAudio(LONG_32 lPayload);

/** Rows of a border type; null for an unknown one. */
const PAYLOAD_TYPE_ROW_S *PayloadType_OfVideoEncode(ULONG_32 ulEncodeType);
const PAYLOAD_TYPE_ROW_S *PayloadType_OfAudioEncode(ULONG_32 ulEncodeType);

#endif
