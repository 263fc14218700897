// Frames of any bytes into the MP4 writer, with muxers dropped and begun again, then the file through our own reader:
// what the writer took for a recording opens, at every moment, and holds every block of sound that it took.
//
// Input: the codec, then frames, each as a head of 5 bytes and its bytes: what it is (bit 0 sound, bit 1 key, bit 2 a
// new muxer before it, bit 3 a look into the unfinished file), the growth of the time stamp in ms, signed, the frame
// rate, and the length, 2 bytes, big-endian.
#include <sys/mman.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "codec/zvmp4.h"
#include "file/mp4_parse.h"
#include "foundations/bytes.h"

namespace {

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

struct Recording {
    std::string path;
    FORMAT_STREAM_INFO_S info;
    HANDLE file;
    HANDLE muxer;
    bool video = false;  // a picture may be in it
    size_t sound = 0;    // blocks that it took
    DLONG stamp = 0;
};

/** Reads the file, whole or as it stands while it is recorded. */
void ReadBack(const Recording &recording, bool bWhole) {
    static const auto pucBuffer = std::make_unique<UCHAR[]>(VIDEO_FRAME_BUFFER_SIZE);
    FILE *pFile = fopen(recording.path.c_str(), "rb");
    Require(pFile != nullptr);
    ULONG_32 ulSeconds = 0;
    Require(MP4_GetRealTime(pFile, &ulSeconds) == 1);
    mp4_moov_box *pstParser = MP4_CreateMp4Parser(pFile, 0);
    Require(pstParser != nullptr || recording.sound == 0);
    MP4_FRAME_INFO_S stFrame = {};
    stFrame.pucBuffer = pucBuffer.get();
    size_t ulSound = 0;
    const bool bVideo = pstParser != nullptr && MP4_FindTrakByType(pstParser, "vide") != nullptr;
    while (bVideo && MP4_GetOneFrameData(pFile, pstParser, MP4_FRAME_GET_TYPE_NONE, &stFrame) == PLAYER_ERR_OK) {
        ulSound += stFrame.lPayload == PLAYER_PAYLOAD_AAC ? 1 : 0;
    }
    Require(!bVideo || recording.video);
    Require(!bVideo || (bWhole ? ulSound == recording.sound : ulSound <= recording.sound));
    Require(!bVideo || static_cast<size_t>(pstParser->iCurSampleIndex) == pstParser->list.size());
    MP4_ReleaseMp4Parser(pstParser);
    fclose(pFile);
}

void RenewMuxer(Recording *pstRecording) {
    free(pstRecording->muxer);
    pstRecording->info.ulPlaybackTime += 7;
    pstRecording->muxer = mp4_enc_init(&pstRecording->info, pstRecording->file);
    Require(pstRecording->muxer != nullptr);
}

void PutFrame(Recording *pstRecording, bytes::Reader *pstReader) {
    const UCHAR ucKind = pstReader->U8();
    pstRecording->stamp += static_cast<int8_t>(pstReader->U8());
    const UCHAR ucRate = pstReader->U8();
    const size_t ulLen = std::min<size_t>(pstReader->U16Be(), pstReader->Left());
    const UCHAR *pucData = pstReader->Take(ulLen);
    if (!pstReader->Ok()) {
        return;
    }
    if ((ucKind & 4) != 0) {
        RenewMuxer(pstRecording);
    }
    if ((ucKind & 8) != 0) {
        ReadBack(*pstRecording, false);
    }
    std::vector<UCHAR> astBytes(pucData, pucData + ulLen);
    const FORMAT_FRAME_INFO_S stFrame = {
        ucKind & 1U, astBytes.data(), static_cast<ULONG_32>(ulLen), (ucKind & 2) / 2, pstRecording->stamp, ucRate, 0};
    Require(mp4_enc_frame(pstRecording->muxer, &stFrame) == MP4_ENC_OK);
    pstRecording->sound += (ucKind & 1) != 0 && ulLen != 0 ? 1 : 0;
    pstRecording->video |= (ucKind & 1) == 0 && ulLen != 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    static const int iMemory = memfd_create("fuzz", MFD_CLOEXEC);
    bytes::Reader stReader(pucData, ulSize);
    Recording stRecording = {"/proc/self/fd/" + std::to_string(iMemory), {}, nullptr, nullptr};
    stRecording.info = {2, 11, 1, 64, 48, 25, 8000, 16, 1, 1600000000, 0, 0, VIDEO_CODEC_H264, AUDIO_CODEC_AACLC};
    stRecording.info.enVideoId = (stReader.U8() & 1) != 0 ? VIDEO_CODEC_H265 : VIDEO_CODEC_H264;
    stRecording.file = mp4_file_open(stRecording.path.c_str(), 65, 777);
    Require(stRecording.file != nullptr);
    RenewMuxer(&stRecording);
    while (stReader.Left() != 0 && stReader.Ok()) {
        PutFrame(&stRecording, &stReader);
    }
    Require(mp4_enc_close(stRecording.muxer) == 0);
    Require(mp4_file_close(stRecording.file) == 0);
    ReadBack(stRecording, true);
    return 0;
}
