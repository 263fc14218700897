#include "common/library_failure.h"

#include "player_sdk_func.h"

namespace tools {
namespace {

struct Row {
    unsigned code;
    const char *name;
    const char *advice;
};

#define ROW(code, advice) \
    { code, #code, advice }
const Row kErrors[] = {
    ROW(PLAYER_ERR_OK, ""),
    ROW(PLAYER_ERR_FAILED, "look into the library's log: add --log FILE"),
    ROW(PLAYER_ERR_PARAM, "the port is not in the right state for this call; look into the log: add --log FILE"),
    ROW(PLAYER_ERR_MALLOC, "the machine is out of memory: close something"),
    ROW(PLAYER_ERR_SOCKET_CREATE, ""),
    ROW(PLAYER_ERR_SOCKET_RECV, ""),
    ROW(PLAYER_ERR_SOCKET_RECV_ZERO, ""),
    ROW(PLAYER_ERR_NOT_SUPPORT, "this version of the library does not play this"),
    ROW(PLAYER_ERR_RESOURCE, "the system gives no more threads or memory: see 'ulimit -u' and 'ulimit -v'"),
    ROW(PLAYER_ERR_SOCKET_SEND, ""),
    ROW(PLAYER_ERR_FILE_NOT_FOUND, ""),
    ROW(PLAYER_ERR_LOG_CLOSED, ""),
    ROW(PLAYER_ERR_VOICE_BUSY, ""),
    ROW(PLAYER_ERR_INIT, "look into the library's log: add --log FILE"),
    ROW(PLAYER_ERR_PORT, "all ports of this process are in use"),
    ROW(PLAYER_ERR_QUEUE_FULL, "the machine decodes slower than the stream comes"),
    ROW(PLAYER_ERR_QUEUE_EMPTY, ""),
    ROW(PLAYER_ERR_FILE_OPEN, ""),
    ROW(PLAYER_ERR_FILE_END, ""),
    ROW(PLAYER_ERR_DISK_FULL, ""),
    ROW(PLAYER_ERR_FILE_READ, ""),
    ROW(PLAYER_ERR_PACK_AGAIN, ""),
    ROW(PLAYER_ERR_KRDF_INDEX, "the record's index is damaged, or it has a single group: zvprobe tells which"),
    ROW(PLAYER_ERR_KRDF_SEEK, ""),
    ROW(PLAYER_ERR_KRDF_NOT_OPEN, ""),
    ROW(PLAYER_ERR_KRDF_READ_END, ""),
    ROW(PLAYER_ERR_KRDF_JUMP_OVER, ""),
    ROW(PLAYER_ERR_KRDF_OVER_TIME, ""),
    ROW(PLAYER_ERR_KRDF_NOT_RUNNING, ""),
    ROW(PLAYER_ERR_KRDF_SPELL, ""),
    ROW(PLAYER_ERR_KRDF_PACKET_LEN, ""),
    ROW(PLAYER_ERR_UNKNOWN_STREAM, "the source holds nothing that the library knows"),
    ROW(PLAYER_ERR_PACKET_LOST, ""),
    ROW(PLAYER_ERR_NEED_MORE_DATA, ""),
    ROW(PLAYER_ERR_CODEC_CREATE, "is libZvCodec.so beside libzelvane.so?"),
    ROW(PLAYER_ERR_DECODE, ""),
    ROW(PLAYER_ERR_TCP_RECV, ""),
    ROW(PLAYER_ERR_VIDEO_CHANNEL, ""),
    ROW(PLAYER_ERR_NOT_IMPLEMENTED, ""),
    ROW(PLAYER_ERR_DISPLAY_CREATE, "the library could not take the window; without one: add --headless"),
    ROW(PLAYER_ERR_NO_SOUND_DEVICE, "play without sound: add --mute"),
    ROW(PLAYER_ERR_ENCODER_CREATE, ""),
    ROW(PLAYER_ERR_RECORD_STARTED, ""),
    ROW(PLAYER_ERR_NO_PICTURE, ""),
    ROW(PLAYER_ERR_RTP_TYPE, ""),
    ROW(PLAYER_ERR_AUDIO_RESET, ""),
    ROW(PLAYER_ERR_FILE_SCRAMBLE, ""),
    ROW(PLAYER_ERR_SCRAMBLE, ""),
    ROW(PLAYER_ERR_IVA_PARAM, ""),
};
#undef ROW

const Row *Find(unsigned code) {
    for (const Row &row : kErrors) {
        if (row.code == code) return &row;
    }
    return nullptr;
}

}  // namespace

const char *ErrorName(unsigned code) {
    const Row *row = Find(code);
    return row != nullptr ? row->name : "unknown error";
}

const char *VideoName(unsigned coding) {
    switch (coding) {
        case PLAYER_VIDEO_ENCODE_H264:
            return "H.264";
        case PLAYER_VIDEO_ENCODE_H265:
            return "H.265";
        case PLAYER_VIDEO_ENCODE_MJPEG:
            return "JPEG";
        default:
            return "";
    }
}

const char *AudioName(unsigned coding) {
    switch (coding) {
        case PLAYER_AUDIO_ENCODE_G711U:
            return "G.711 mu-law";
        case PLAYER_AUDIO_ENCODE_G711A:
            return "G.711 A-law";
        case PLAYER_AUDIO_ENCODE_MP2:
            return "MP2";
        case PLAYER_AUDIO_ENCODE_AAC:
            return "AAC";
        case PLAYER_AUDIO_ENCODE_PCM:
            return "PCM";
        default:
            return "";
    }
}

Failure LibraryFailure(const std::string &what) {
    const unsigned code = Zelvane_GetLastError();
    const Row *row = Find(code);
    return {kExitLibrary, what + ": " + ErrorName(code) + " (" + std::to_string(code) + ")",
            row != nullptr ? row->advice : ""};
}

}  // namespace tools
