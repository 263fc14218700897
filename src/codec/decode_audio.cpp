// Decoding of G.711, AAC and PCM.
#include "codec/codec_inner.h"
#include "codec/zvcodec_loader.h"
#include "foundations/com_log.h"

namespace {

constexpr ULONG_32 G711_SAMPLE_RATE = 8000;
constexpr ULONG_32 PCM_SAMPLE_RATE = 11025;

void GiveMono(CODE_DECODED_DATA_S &stOut, UCHAR *pucPcm, ULONG_32 ulLength, ULONG_32 ulSampleRate) {
    stOut.pucData[0] = pucPcm;
    stOut.lLineSize[0] = static_cast<LONG_32>(ulLength);
    stOut.ulBitsPerSample = 16;
    stOut.ulChannels = 1;
    stOut.ulSampleRate = ulSampleRate;
}

/** What the sound side is told for a sample format. */
struct FORMAT_BITS {
    SampleFormat enFormat;
    ULONG_32 ulBits;
};

// The floating formats stand in bytes: the sound side tells them by these values.
constexpr FORMAT_BITS FORMATS[] = {
    {SAMPLE_FMT_U8, 8},    {SAMPLE_FMT_U8P, 8}, {SAMPLE_FMT_S16, 16}, {SAMPLE_FMT_S16P, 16}, {SAMPLE_FMT_S32, 32},
    {SAMPLE_FMT_S32P, 32}, {SAMPLE_FMT_FLT, 4}, {SAMPLE_FMT_FLTP, 4}, {SAMPLE_FMT_DBL, 8},   {SAMPLE_FMT_DBLP, 8},
};

ULONG_32 GiveAacFormat(CODEC_INFO_S &stCodec, CODE_DECODED_DATA_S &stOut) {
    aac_decoder_param stParam{};
    const int lResult = dlsym_dsp_aac_dec_get_param(stCodec.hCodec, &stParam);
    if (lResult < 0) {
        LOG_ERROR("CODE_Decoder: Call dsp_aac_dec_get_param Failed, Error:[%d].", lResult);
        return PLAYER_ERR_DECODE;
    }
    stOut.ulSampleRate = static_cast<ULONG_32>(stParam.iSampleRate);
    stOut.ulChannels = static_cast<ULONG_32>(stParam.iChannels);
    for (const FORMAT_BITS &stFormat : FORMATS) {
        if (stFormat.enFormat == stParam.eSampleFmt) {
            stOut.ulBitsPerSample = stFormat.ulBits;
        }
    }
    return PLAYER_ERR_OK;
}

}  // namespace

ULONG_32 Codec_DecodeG711(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E,
                          CODE_DECODED_DATA_S &stOut) {
    if (stFrame.ulSize > CODEC_G711_IN_MAX) {
        LOG_ERROR("CODE_Decoder: G711 Decoder failed, Data Size[%d] Out of Max.", static_cast<int>(stFrame.ulSize));
        return PLAYER_ERR_DECODE;
    }
    auto *const pucPcm = reinterpret_cast<UCHAR *>(stCodec.pcExtraData);
    const LONG_32 lResult = G711Decoder(stFrame.pucData, stFrame.ulSize, pucPcm, &stCodec.ulExtraLen,
                                        stCodec.lCodecID == PLAYER_PAYLOAD_G711U ? G711_LAW_MU : G711_LAW_A);
    if (lResult < 0) {
        LOG_ERROR("CODE_Decoder: Call G711Decoder Failed, Error:[%d].", lResult);
        return PLAYER_ERR_DECODE;
    }
    GiveMono(stOut, pucPcm, stCodec.ulExtraLen, G711_SAMPLE_RATE);
    return PLAYER_ERR_OK;
}

ULONG_32 Codec_DecodeAac(CODEC_INFO_S &stCodec, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E,
                         CODE_DECODED_DATA_S &stOut) {
    constexpr int NEEDS_NEW_DECODER = -3;
    void *pPcm = nullptr;
    int lUnits = 0;
    const int lResult =
        dlsym_dsp_aac_dec_decode(stCodec.hCodec, stFrame.pucData, static_cast<int>(stFrame.ulSize), &pPcm, &lUnits);
    if (Codec_EndsStream(stFrame)) {
        return PLAYER_ERR_NO_PICTURE;
    }
    if (lResult < 0) {
        LOG_ERROR("CODE_Decoder: Call dsp_aac_dec_decode Failed, Error:[%d], Len[%d].", lResult,
                  static_cast<int>(stFrame.ulSize));
        return lResult == NEEDS_NEW_DECODER ? PLAYER_ERR_AUDIO_RESET : PLAYER_ERR_DECODE;
    }
    stCodec.pcExtraData = static_cast<CHAR *>(pPcm);
    stCodec.ulExtraLen = pPcm != nullptr && lUnits > 0 ? static_cast<ULONG_32>(lUnits) * 2 : 0;
    stOut.pucData[0] = reinterpret_cast<UCHAR *>(stCodec.pcExtraData);
    stOut.lLineSize[0] = static_cast<LONG_32>(stCodec.ulExtraLen);
    return GiveAacFormat(stCodec, stOut);
}

ULONG_32 Codec_DecodePcm(CODEC_INFO_S &, const CODEC_FRAME_S &stFrame, PLAYER_DEINTERLACEMODE_E,
                         CODE_DECODED_DATA_S &stOut) {
    GiveMono(stOut, stFrame.pucData, stFrame.ulSize, PCM_SAMPLE_RATE);
    return PLAYER_ERR_OK;
}
