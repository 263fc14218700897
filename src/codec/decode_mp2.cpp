// Decoding of MP2 to blocks of 8000 Hz.
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "codec/codec_inner.h"
#include "foundations/com_log.h"

namespace {

constexpr LONG_32 IN_RATE = 44100;
constexpr LONG_32 OUT_RATE = 8000;
constexpr ULONG_32 DECODE_ROOM = 3000;      // samples that the decode call is offered
constexpr ULONG_32 OUT_BLOCK_BYTES = 1280;  // output is held back until there is so much
constexpr ULONG_32 OUT_ROOM_BYTES = CODEC_MP2_OUT_SAMPLES * 2;
constexpr SHORT PEAK_LIMIT = 30000;
constexpr FLOAT PEAK_RATIO = 0.9F;

// The work block: two temp buffers, two input buffers, the decoded samples.
constexpr size_t CHANNEL_SIZE = 20000;
constexpr size_t PCM_OFFSET = 4 * CHANNEL_SIZE;
constexpr size_t BLOCK_SIZE = PCM_OFFSET + DECODE_ROOM * sizeof(USHORT);
static_assert(MPEG_AUDIO_DEC_MAX_SAMPLES <= DECODE_ROOM);

/** Resamplers with their work blocks, left by decoders that have ended. */
struct SPARE_LIST {
    std::mutex oMutex;
    std::vector<AUDIO_RESAMPLE_S> oSpares;
};

// Never destroyed: a client may still free its records while the process ends.
SPARE_LIST &Spares() {
    alignas(SPARE_LIST) static unsigned char aucMemory[sizeof(SPARE_LIST)];
    static SPARE_LIST &oSpares = *new (aucMemory) SPARE_LIST;
    return oSpares;
}

void Release(AUDIO_RESAMPLE_S &stReformat) {
    audio_resample_close_1(&stReformat);
    std::free(stReformat.psTemp[0]);
}

void AcquireSpare(AUDIO_RESAMPLE_S &stReformat) {
    SPARE_LIST &oList = Spares();
    const std::lock_guard oGuard(oList.oMutex);
    if (!oList.oSpares.empty()) {
        stReformat = oList.oSpares.back();
        oList.oSpares.pop_back();
    }
}

void Park(AUDIO_RESAMPLE_S &stReformat) {
    if (stReformat.hResampler == nullptr && stReformat.psTemp[0] == nullptr) {
        return;
    }
    try {
        SPARE_LIST &oList = Spares();
        const std::lock_guard oGuard(oList.oMutex);
        oList.oSpares.push_back(stReformat);
    } catch (const std::bad_alloc &) {
        Release(stReformat);
    }
}

ULONG_32 OpenResampler(MPEG2_AUDIO_CONTEXT_S &stContext) {
    AcquireSpare(stContext.stReformat);
    const LONG_32 lResult = av_audio_resample_init_1(&stContext.stReformat, 1, 1, OUT_RATE, IN_RATE, 16, 10, 0, 0.8);
    if (lResult != 0) {
        LOG_ERROR("CODE_Decoder: Call av_audio_resample_init Failed, Error:[%d].", lResult);
        return PLAYER_ERR_FAILED;
    }
    stContext.bResampleInit = 1;
    return PLAYER_ERR_OK;
}

ULONG_32 LayBuffers(MPEG2_AUDIO_CONTEXT_S &stContext) {
    AUDIO_RESAMPLE_S &stReformat = stContext.stReformat;
    if (stReformat.psTemp[0] == nullptr) {
        auto *const pucBlock = static_cast<UCHAR *>(std::malloc(BLOCK_SIZE));
        if (pucBlock == nullptr) {
            LOG_ERROR("CODE_Decoder: Malloc Failed, Size:[%d].", static_cast<int>(BLOCK_SIZE));
            return PLAYER_ERR_MALLOC;
        }
        stReformat.psTemp[0] = reinterpret_cast<SHORT *>(pucBlock);
        stReformat.psTemp[1] = reinterpret_cast<SHORT *>(pucBlock + CHANNEL_SIZE);
        stReformat.psBufIn[0] = reinterpret_cast<SHORT *>(pucBlock + 2 * CHANNEL_SIZE);
        stReformat.psBufIn[1] = reinterpret_cast<SHORT *>(pucBlock + 3 * CHANNEL_SIZE);
    }
    stContext.pusPcmBuffer = reinterpret_cast<USHORT *>(reinterpret_cast<UCHAR *>(stReformat.psTemp[0]) + PCM_OFFSET);
    std::memset(stContext.pusPcmBuffer, 0, BLOCK_SIZE - PCM_OFFSET);
    return PLAYER_ERR_OK;
}

// Makes what the first frame finds missing.
ULONG_32 Ready(MPEG2_AUDIO_CONTEXT_S &stContext) {
    if (stContext.bMpeg2DecodeInit == 0) {
        stContext.pMpegDec = mpeg_audio_dec_init();
        stContext.bMpeg2DecodeInit = 1;
    }
    if (stContext.bResampleInit == 0) {
        const ULONG_32 ulResult = OpenResampler(stContext);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
    }
    return stContext.pusPcmBuffer == nullptr ? LayBuffers(stContext) : ULONG_32{PLAYER_ERR_OK};
}

// Forgets what the next frame would be blended with, and the block that is not full.
void BeginAnew(MPEG2_AUDIO_CONTEXT_S &stContext) {
    mpeg_audio_dec_destroy(stContext.pMpegDec);
    stContext.pMpegDec = nullptr;
    stContext.bMpeg2DecodeInit = 0;
    stContext.ulResamplePcmLength = 0;
}

// Adds the frame to the output at its rate.
ULONG_32 Resample(MPEG2_AUDIO_CONTEXT_S &stContext) {
    if (stContext.ulResamplePcmLength + static_cast<uint64_t>(stContext.ulPcmDataLength) * OUT_RATE / IN_RATE >
        OUT_ROOM_BYTES) {
        LOG_ERROR("CODE_Decoder: Resample PCM Buffer is Oversize.");
        stContext.ulResamplePcmLength = 0;
        return PLAYER_ERR_FAILED;
    }
    const ULONG_32 ulHave = stContext.ulResamplePcmLength / 2;
    const LONG_32 lSamples = audio_resample_1(
        &stContext.stReformat, reinterpret_cast<SHORT *>(stContext.ausResamplePcmBuffer) + ulHave,
        static_cast<LONG_32>(CODEC_MP2_OUT_SAMPLES - ulHave), reinterpret_cast<const SHORT *>(stContext.pusPcmBuffer),
        static_cast<LONG_32>(stContext.ulPcmDataLength / 2));
    stContext.ulResamplePcmLength += lSamples > 0 ? static_cast<ULONG_32>(lSamples) * 2 : 0;
    return PLAYER_ERR_OK;
}

ULONG_32 DecodeFrame(MPEG2_AUDIO_CONTEXT_S &stContext, CODE_DECODED_DATA_S &stOut) {
    const LONG_32 lResult = mpeg_audio_dec_frame(stContext.pMpegDec, &stContext.stInOutBuf);
    stContext.ulPcmDataLength = stContext.stInOutBuf.uiSamples * 2;
    stOut.ulBitsPerSample = 16;
    stOut.ulChannels = 1;
    stOut.ulSampleRate = OUT_RATE;
    if (lResult != 0 || stContext.ulPcmDataLength == 0) {
        LOG_ERROR("CODE_Decoder: Decode Mp2 Failed.");
        return PLAYER_ERR_FAILED;
    }
    if (limitPcmScope(PEAK_LIMIT, PEAK_RATIO, stContext.ulPcmDataLength, stContext.pusPcmBuffer) != PLAYER_ERR_OK) {
        LOG_ERROR("CODE_Decoder: Call limitPcmScope Failed.");
        return PLAYER_ERR_FAILED;
    }
    return Resample(stContext);
}

}  // namespace

void Codec_DestroyMp2Decoder(void *pContext) {
    auto &stContext = *static_cast<MPEG2_AUDIO_CONTEXT_S *>(pContext);
    mpeg_audio_dec_destroy(stContext.pMpegDec);
    Park(stContext.stReformat);
    std::free(pContext);
}

void Codec_FreeMp2Spares() {
    SPARE_LIST &oList = Spares();
    const std::lock_guard oGuard(oList.oMutex);
    for (AUDIO_RESAMPLE_S &stSpare : oList.oSpares) {
        Release(stSpare);
    }
    oList.oSpares.clear();
}

ULONG_32 Codec_DecodeMp2(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E,
                         CODE_DECODED_DATA_S &stOut) {
    if (stCodec.pcExtraData == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    auto &stContext = *reinterpret_cast<MPEG2_AUDIO_CONTEXT_S *>(stCodec.pcExtraData);
    if (Codec_EndsStream(stFrame)) {
        BeginAnew(stContext);
        return PLAYER_ERR_NO_PICTURE;
    }
    // The buffer is looked at before it is made: the very first frame is decoded into nothing and heard as silence.
    stContext.stInOutBuf = {stFrame.pucData, stFrame.ulSize, stContext.pusPcmBuffer, DECODE_ROOM, 0};
    ULONG_32 ulResult = Ready(stContext);
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = DecodeFrame(stContext, stOut);
    }
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    if (stContext.ulResamplePcmLength < OUT_BLOCK_BYTES) {
        return PLAYER_ERR_NO_PICTURE;
    }
    stOut.pucData[0] = reinterpret_cast<UCHAR *>(stContext.ausResamplePcmBuffer);
    stOut.lLineSize[0] = static_cast<LONG_32>(stContext.ulResamplePcmLength);
    stContext.ulResamplePcmLength = 0;
    return PLAYER_ERR_OK;
}
