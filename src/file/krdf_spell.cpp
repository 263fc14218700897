// Packets of KRDF records into the frame at hand.
#include <string.h>

#include <algorithm>

#include "file/module_krdf.h"
#include "foundations/bytes.h"
#include "foundations/com_log.h"

namespace {

const ULONG_32 MIN_PACKET_LEN = KRDF_PACKET_OUT_HEAD_SIZE;
const ULONG_32 MAX_PACKET_LEN = 204800;
const ULONG_32 TIME_LEN = 8; /**< in front of the head */
const ULONG_32 MAX_FRAME_LEN = VIDEO_FRAME_BUFFER_SIZE - 1;
const ULONG_32 AUDIO_CLEAR_LEN = 1500;
const ULONG_32 G711_RATE = 8000;
const ULONG_32 AAC_FRAME_SAMPLES = 1024;
const ULONG_32 TICKS_A_MS = 90;

R7K_DATAHEAD_S ReadHead(const UCHAR *pucPacket) {
    bytes::Reader stReader(pucPacket + TIME_LEN, KRDF_PACKET_OUT_HEAD_SIZE - TIME_LEN);
    R7K_DATAHEAD_S stHead = {};
    const ULONG_32 ulFlags = stReader.U8();
    stHead.ulPackeType = ulFlags & 1;
    stHead.ulFrameStart = ulFlags >> 1 & 1;
    stHead.ulFrameType = ulFlags >> 2 & 3;
    stHead.ulFrameEnd = ulFlags >> 7;
    stHead.ulFrameRate = stReader.U8() & 0x1F;
    stHead.ulPacketCount = stReader.U16Le();
    stReader.Skip(1);
    stHead.usStreamType = stReader.U8();
    stReader.Skip(2);  // the length: what came counts
    stHead.ulFramecnt = stReader.U32Le();
    return stHead;
}

/* ---- sound ---- */

/** Stamps of sound grow in milliseconds upon a video stamp of 90 kHz. */
void FinishAudio(PACKET_INFO_S *pstInfo, const UCHAR *pucPacket, ULONG_32 ulLength) {
    pstInfo->ulSamplePerSecond = G711_RATE;
    pstInfo->ulCurFrameLen = pstInfo->ulCurAudioLen;
    pstInfo->usStreamType = static_cast<USHORT>(pstInfo->ulAudioType);
    if (pstInfo->ulAudioType == AUDIO_ID_G711ALAW || pstInfo->ulAudioType == AUDIO_ID_G711ULAW) {
        pstInfo->dulAudioTimeStamp += DULONG{pstInfo->ulCurAudioLen} * 1000 / G711_RATE;
    } else if (pstInfo->ulAudioType == AUDIO_ID_AAC) {
        const ULONG_32 ulRate = KRDF_getAacSampleRate(pucPacket, ulLength);
        pstInfo->ulSamplePerSecond = ulRate != 0 ? ulRate : G711_RATE;
        pstInfo->dulAudioTimeStamp += AAC_FRAME_SAMPLES * 1000 / pstInfo->ulSamplePerSecond;
    }
    pstInfo->bFrameHaveEnd = 1;
    pstInfo->bVideoOrAudioFrame = 0;
    pstInfo->ulAllFrmCnt++;
    pstInfo->ulAudioFrmCnt++;
}

/** Each packet goes to the start of the buffer, as sound is expected to fit one; the lengths of several add up. */
ULONG_32 AddAudio(PACKET_INFO_S *pstInfo, const R7K_DATAHEAD_S &stHead, const UCHAR *pucPacket, ULONG_32 ulLength) {
    const ULONG_32 ulAudioType = stHead.usStreamType & 7;
    if (ulAudioType != pstInfo->ulAudioType) {
        pstInfo->ulAudioType = ulAudioType;
        LOG_ERROR("[ERROR] DSP_PlayRT_R1R3: Change Audiotype to %u.", ulAudioType);
    }
    if (pstInfo->bHaveVideoFrame == 0) {
        return PLAYER_ERR_OK;
    }
    const ULONG_32 ulPayload = ulLength - KRDF_PACKET_OUT_HEAD_SIZE;
    if (pstInfo->ulCurAudioLen + ulPayload > MAX_FRAME_LEN) {
        pstInfo->ulCurFrameLen = pstInfo->ulCurAudioLen = 0;
        return PLAYER_ERR_KRDF_SPELL;
    }
    pstInfo->ulCurAudioLen += ulPayload;
    memset(pstInfo->pucFrameStreamBuf, 0, AUDIO_CLEAR_LEN);
    memcpy(pstInfo->pucFrameStreamBuf, pucPacket + KRDF_PACKET_OUT_HEAD_SIZE, ulPayload);
    if (pstInfo->ulAudioPacketSeq == 0) {
        pstInfo->dulAudioTimeStamp = pstInfo->dulVideoTimeStamp;
    }
    pstInfo->ulAudioPacketSeq++;
    if (stHead.ulFrameEnd == 1) {
        // Nothing of an older frame is left within the length that added up.
        const ULONG_32 ulClean = std::max(AUDIO_CLEAR_LEN, ulPayload);
        if (pstInfo->ulCurAudioLen > ulClean) {
            memset(pstInfo->pucFrameStreamBuf + ulClean, 0, pstInfo->ulCurAudioLen - ulClean);
        }
        FinishAudio(pstInfo, pucPacket, ulLength);
    }
    return PLAYER_ERR_OK;
}

/* ---- video ---- */

void WrapCounters(PACKET_INFO_S *pstInfo) {
    if (pstInfo->ulAllFrmCnt > 0xFFFFFFFE) {
        pstInfo->ulAllFrmCnt = pstInfo->ulLostFrmCnt = 0;
    }
    if (pstInfo->ulDspRecvPacketsNum > 0xFFFFFFFE) {
        pstInfo->ulDspRecvPacketsNum = pstInfo->ulNetLostPacketsNum = 0;
    }
}

/** Follows the numbers. A frame that did not end in front of a key frame is thrown away. */
void CountVideo(PACKET_INFO_S *pstInfo, const R7K_DATAHEAD_S &stHead) {
    WrapCounters(pstInfo);
    pstInfo->enFrameType = stHead.ulFrameType;
    if (stHead.ulFrameType == I_FRAME && stHead.ulFrameStart == 1) {
        pstInfo->bFrameDisorder = 0;
        pstInfo->ucflagPktCnt = 0;
        if (pstInfo->ucPreFrameEnd == 0) {
            pstInfo->ulCurFrameLen = 0;
        }
    }
    if (pstInfo->bPreFrameCntBaseFlag == 0) {
        pstInfo->ulPreFrameCntBase = stHead.ulFramecnt;
        pstInfo->bPreFrameCntBaseFlag = 1;
    }
    if (stHead.ulFramecnt < pstInfo->ulPreFrameCnt) {
        pstInfo->ulPreFrameResetCnt++;
    }
    pstInfo->ulDspRecvPacketsNum++;
    pstInfo->ulPreFrameCnt = std::max(pstInfo->ulPreFrameCnt, stHead.ulFramecnt);
    pstInfo->ulPrePackCnt = stHead.ulPacketCount;
    pstInfo->ucPreFrameEnd = static_cast<UCHAR>(stHead.ulFrameEnd);
    pstInfo->ucflagPktCnt = 1;
}

/** The stamp rests on the frame number and whole milliseconds a frame, not on the time in the head. */
ULONG_32 FinishVideo(PACKET_INFO_S *pstInfo, const R7K_DATAHEAD_S &stHead) {
    pstInfo->bVideoOrAudioFrame = 1;
    pstInfo->bHaveVideoFrame = 1;
    pstInfo->bFrameHaveEnd = 1;
    pstInfo->ulAllFrmCnt++;
    pstInfo->ulVideoFrmCnt++;
    pstInfo->usStreamType = static_cast<USHORT>(stHead.usStreamType);
    if (pstInfo->ulCurFrameLen == 0) {
        LOG_ERROR("[ERROR] KRDF_SpellPacket_R1R3: Frame Length is Zero");
        return PLAYER_ERR_FAILED;
    }
    pstInfo->ulFrameRate = stHead.ulFrameRate;
    pstInfo->ulAudioPacketSeq = 0;
    if (pstInfo->ulFrameRate != 0) {
        pstInfo->dulVideoTimeStamp =
            DULONG{1000 / pstInfo->ulFrameRate} * (pstInfo->ulPreFrameCnt - pstInfo->ulPreFrameCntBase) * TICKS_A_MS;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 AddVideo(PACKET_INFO_S *pstInfo, const R7K_DATAHEAD_S &stHead, const UCHAR *pucPayload, ULONG_32 ulPayload) {
    CountVideo(pstInfo, stHead);
    ULONG_32 ulResult = PLAYER_ERR_OK;
    if (pstInfo->ulCurFrameLen + ulPayload > MAX_FRAME_LEN) {
        pstInfo->ulCurFrameLen = pstInfo->ulCurAudioLen = 0;
        ulResult = PLAYER_ERR_KRDF_SPELL;
    } else {
        memcpy(pstInfo->pucFrameStreamBuf + pstInfo->ulCurFrameLen, pucPayload, ulPayload);
        pstInfo->ulCurFrameLen += ulPayload;
    }
    if (stHead.ulFrameEnd == 0) {
        return ulResult;
    }
    const ULONG_32 ulFinished = FinishVideo(pstInfo, stHead);
    return ulFinished != PLAYER_ERR_OK ? ulFinished : ulResult;
}

/* ---- payloads ---- */

struct PAYLOAD_ROW_S {
    BOOL_T bVideo;
    ULONG_32 ulStreamType;
    ULONG_32 ulPayload;
};

/** Sound is read by AUDIO_CODEC_E here and by R7K_AudioID above: 1 is timed as A-law and comes out as mu-law. */
const PAYLOAD_ROW_S gastPayload[] = {
    {1, VIDEO_CODEC_VINCIH264, PLAYER_PAYLOAD_H264}, {1, VIDEO_CODEC_VINCIMJPEG, PLAYER_PAYLOAD_JPEG},
    {1, VIDEO_CODEC_VINCIH265, PLAYER_PAYLOAD_H265}, {0, AUDIO_CODEC_G711A, PLAYER_PAYLOAD_G711A},
    {0, AUDIO_CODEC_G711U, PLAYER_PAYLOAD_G711U},    {0, AUDIO_CODEC_AAC, PLAYER_PAYLOAD_AAC}};

}  // namespace

ULONG_32 KRDF_SpellPacket_R1R3(PACKET_INFO_S *pstInfo, const UCHAR *pucPacket, ULONG_32 ulLength) {
    if (pstInfo == nullptr || pstInfo->pucFrameStreamBuf == nullptr || pucPacket == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (ulLength < MIN_PACKET_LEN || ulLength > MAX_PACKET_LEN) {
        LOG_ERROR("[ERROR] DSP_PlayRT_R1R3: Krdf Packet Len %u Out Size\n", ulLength);
        return PLAYER_ERR_KRDF_PACKET_LEN;
    }
    pstInfo->bFrameHaveEnd = 0;
    const R7K_DATAHEAD_S stHead = ReadHead(pucPacket);
    if (stHead.ulPackeType == 1) {
        return AddAudio(pstInfo, stHead, pucPacket, ulLength);
    }
    return AddVideo(pstInfo, stHead, pucPacket + KRDF_PACKET_OUT_HEAD_SIZE, ulLength - KRDF_PACKET_OUT_HEAD_SIZE);
}

ULONG_32 KRDF_TransferPayload(const PACKET_INFO_S *pstInfo, ULONG_32 ulStreamType) {
    for (const PAYLOAD_ROW_S &stRow : gastPayload) {
        if (pstInfo != nullptr && stRow.bVideo == pstInfo->bVideoOrAudioFrame && stRow.ulStreamType == ulStreamType) {
            return stRow.ulPayload;
        }
    }
    return PLAYER_PAYLOAD_NULL;
}

ULONG_32 KRDF_getAacSampleRate(const UCHAR *pucData, ULONG_32 ulLength) {
    static const ULONG_32 gaulSampleRate[] = {96000, 88200, 64000, 48000, 44100, 32000,
                                              24000, 22050, 16000, 12000, 11025, 8000};
    if (ulLength < 3) {
        LOG_ERROR("[ERROR] getAacSampleRate: Frame Length %u is too Short.", ulLength);
        return 0;
    }
    if (pucData == nullptr) {
        LOG_ERROR("[ERROR] getAacSampleRate: Frame Buffer is Null.");
        return 0;
    }
    if (pucData[0] != 0xFF || (pucData[1] & 0xF0) != 0xF0) {
        LOG_ERROR(
            "[ERROR] getAacSampleRate: Get Aac Sample Rate Failed pucAudioFrameBuffer[0] = 0x%x, "
            "pucAudioFrameBuffer[1] = 0x%x.",
            pucData[0], pucData[1]);
        return 0;
    }
    const ULONG_32 ulIndex = pucData[2] >> 2 & 15;
    if (ulIndex >= sizeof(gaulSampleRate) / sizeof(gaulSampleRate[0])) {
        LOG_ERROR("[ERROR] getAacSampleRate: Sample Rate Index %u is Invalid.", ulIndex);
        return 0;
    }
    return gaulSampleRate[ulIndex];
}
