// The recording as AVI: H.264, H.265 or JPEG with MPEG audio, which all other sound is transcoded to.
#include <errno.h>
#include <unistd.h>

#include "file/module_avi.h"
#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"
#include "foundations/shared_word.h"
#include "record/record_container.h"
#include "record/record_format.h"
#include "record/record_inner.h"
#include "record/record_thread.h"
#include "record/record_writer.h"

namespace {

const DULONG LIMIT_RULE = 0x7D000000; /**< limits above this give way to the next value */
const DULONG LIMIT = 2097152000;      /**< what a file may grow to, bytes */
const DULONG TICKS_A_MS = 90;
const ULONG_32 AUDIO_RATE = 44100;
const ULONG_32 BITS_A_SAMPLE = 16;
const LONG_32 NEARLY_60 = 62;
const LONG_32 RATE_60 = 60;

/** A JPEG does not tell its rate, and its size is known from the port's last picture. */
void DescribeJpeg(PLAEYR_PORT_S *pstPort, RECORD_PICTURE_S *pstPicture) {
    const LONG_32 lRate = word::Load(pstPort->stStateInfo.lFrameRate);
    pstPicture->ulWidth = Record_PictureSide(static_cast<ULONG_32>(word::Load(pstPort->lPictureWidth)));
    pstPicture->ulHeight = Record_PictureSide(static_cast<ULONG_32>(word::Load(pstPort->lPictureHeight)));
    pstPicture->ulFrameRate = static_cast<ULONG_32>(lRate == NEARLY_60 ? RATE_60 : lRate);
}

ULONG_32 Describe(PLAEYR_PORT_S *pstPort, AVI_STREAM_INFO_S *pstFormat) {
    const LONG_32 lPayload = pstPort->pstReordPort->stFrameData.lPayload;
    ULONG_32 ulResult = Player_PayloadToAviType(lPayload, &pstFormat->enVideoId, &pstFormat->enAudioId);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_AviEncInit: Player_PayloadToAviType Failed, Error:[0x%x].", pstPort->ulPort,
                  ulResult);
        return ulResult;
    }
    RECORD_PICTURE_S stPicture = {};
    if (lPayload == PLAYER_PAYLOAD_JPEG) {
        DescribeJpeg(pstPort, &stPicture);
    } else {
        ulResult = Record_ReadPicture(pstPort, "Player_AviEncInit", &stPicture);
    }
    pstFormat->ulPicWidth = stPicture.ulWidth;
    pstFormat->ulPicHeight = stPicture.ulHeight;
    pstFormat->ulVideoFameRate = stPicture.ulFrameRate;
    pstFormat->ulSamplesPerSec = AUDIO_RATE;
    pstFormat->ulBitsPerSample = BITS_A_SAMPLE;
    pstFormat->ulChannels = 1;
    return ulResult;
}

/** Hands a frame of whatever kind to the writer. */
bool Encode(PLAEYR_PORT_S *pstPort, AVI_FRAME_INFO_S *pstFrame) {
    errno = 0;
    if (AVI_EncFrame(pstPort->hAviHandle, pstFrame) == PLAYER_ERR_OK) {
        return true;
    }
    if (errno == ENOSPC || errno == EDQUOT) {
        Record_ReportDiskFull(pstPort);
    }
    return false;
}

void WriteFrame(RECORD_LOOP_S *pstLoop, AVI_FRAME_INFO_S *pstFrame, const RECORD_FORMAT_S &stFormat) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const PLAYER_FRAMEDATA_S &stData = pstPort->pstReordPort->stFrameData;
    pstFrame->pucData = stData.pucData;
    pstFrame->ulDataSize = static_cast<ULONG_32>(stData.lDataLen);
    if (RecordFormat_HasVideo(stFormat) && !Encode(pstPort, pstFrame)) {
        LOG_ERROR("Port[%03d] Record Thread: Call AVI_enc_frame failed.", pstPort->ulPort);
        return;
    }
    Record_NoteFileTimes(pstLoop);
}

void WriteVideo(RECORD_LOOP_S *pstLoop, const RECORD_FORMAT_S &stFormat) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const PLAYER_FRAMEDATA_S &stData = pstPort->pstReordPort->stFrameData;
    Record_Rebase(pstLoop, TICKS_A_MS);
    pstLoop->dulAudioStamp = stData.dulTimestamp;
    AVI_FRAME_INFO_S stFrame = {};
    stFrame.bKeyFrame = stData.lFormatType == PLAYER_VIDEO_FRAME_I || stData.lPayload == PLAYER_PAYLOAD_JPEG;
    stFrame.dlTimeStamp = static_cast<DLONG>(pstPort->dulTotalTimeStamp);
    stFrame.ulFrameRate = static_cast<ULONG_32>(word::Load(pstPort->stStateInfo.lFrameRate));
    WriteFrame(pstLoop, &stFrame, stFormat);
}

void WriteAudio(RECORD_LOOP_S *pstLoop, const RECORD_FORMAT_S &stFormat) {
    AVI_FRAME_INFO_S stFrame = {};
    stFrame.ulStreamIndex = 1;
    stFrame.bKeyFrame = 1;
    stFrame.dlTimeStamp = static_cast<DLONG>(pstLoop->dulAudioStamp);
    WriteFrame(pstLoop, &stFrame, stFormat);
}

/* ---- the file ---- */

bool OpenNext(PLAEYR_PORT_S *pstPort) {
    return RecordContainer_Keep(&pstPort->hAviHandle, AVI_FileOpen(pstPort->szFileName));
}

ULONG_32 Open(PLAEYR_PORT_S *pstPort) {
    WYK_CreateDir(pstPort->szFileName);
    if (!OpenNext(pstPort)) {
        LOG_ERROR("Port[%03d] Player_StartRecord: fopen AVI File Failed.", pstPort->ulPort);
        return PLAYER_ERR_FILE_OPEN;
    }
    return PLAYER_ERR_OK;
}

void Release(PLAEYR_PORT_S *pstPort) {
    if (pstPort->hAviHandle != nullptr) {
        ULONG_32 ulInit = 0;
        AVI_FileClose(&ulInit, pstPort->hAviHandle);
        pstPort->hAviHandle = nullptr;
    }
    pstPort->bInitAviRecordInfo = 0;
}

bool IsAtBegin(const PORT_RECORD_S *pstRecord) { return !pstRecord->bInitAviRecordInfo; }

/** Where the writer stands: the index follows only at the close. */
DULONG Size(const PORT_RECORD_S *pstRecord) {
    const off64_t lSize = lseek64(AVI_GetFileNo(pstRecord->hAviHandle), 0, SEEK_CUR);
    if (lSize < 0) {
        LOG_ERROR("RecordAvi: Size Failed, Error:[0x%x].", static_cast<ULONG_32>(errno));
        return 0;
    }
    return static_cast<DULONG>(lSize);
}

}  // namespace

ULONG_32 RecordAvi_Frame(RECORD_LOOP_S *pstLoop, const RECORD_FORMAT_S &stFormat) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    if (pstPort->hAviHandle != nullptr && !pstPort->bInitAviRecordInfo) {
        ULONG_32 ulResult = Player_AviEncInit(pstPort);
        if (ulResult != PLAYER_ERR_OK) {
            LOG_ERROR("Port[%03d] Record Thread: Player_AviEncInit Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
            return PLAYER_ERR_OK;
        }
    }
    const LONG_32 lPayload = pstPort->pstReordPort->stFrameData.lPayload;
    if (Payload_IsVideo(lPayload)) {
        WriteVideo(pstLoop, stFormat);
    } else if (!RecordFormat_HasAudio(stFormat)) {
        return PLAYER_ERR_OK;
    } else if (lPayload == PLAYER_PAYLOAD_MP1L2) {
        WriteAudio(pstLoop, stFormat);
    } else if (lPayload == PLAYER_PAYLOAD_G711U || lPayload == PLAYER_PAYLOAD_G711A || lPayload == PLAYER_PAYLOAD_AAC) {
        Record_Transcode(pstPort, pstLoop->dulAudioStamp,
                         {PLAYER_PAYLOAD_MP1L2, Player_Mp2WriteToAvi, "Record Thread", true});
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_AviEncInit(PLAEYR_PORT_S *pstPort) {
    AVI_STREAM_INFO_S stFormat = {};
    ULONG_32 ulResult = Describe(pstPort, &stFormat);
    if (ulResult != PLAYER_ERR_OK) {
        return Record_WaitForKeyFrame(pstPort, ulResult);
    }
    if (AVI_EncInit(&stFormat, pstPort->hAviHandle) != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_AviEncInit Failed, Call AVI_EncInit Failed.", pstPort->ulPort);
        return Record_WaitForKeyFrame(pstPort, PLAYER_ERR_FAILED);
    }
    pstPort->bInitAviRecordInfo = 1;
    return PLAYER_ERR_OK;
}

ULONG_32 Player_PayloadToAviType(LONG_32 lPayload, AVI_VIDEOID_E *penVideoId, AVI_AUDIOID_E *penAudioId) {
    if (penVideoId == nullptr) {
        LOG_ERROR("PayloadToAviType Failed: Invalid VideoType Param.");
        return PLAYER_ERR_PARAM;
    }
    if (penAudioId == nullptr) {
        LOG_ERROR("PayloadToAviType Failed: Invalid AudioType Param.");
        return PLAYER_ERR_PARAM;
    }
    switch (lPayload) {
        case PLAYER_PAYLOAD_G711U:
        case PLAYER_PAYLOAD_MP1L2:
        case PLAYER_PAYLOAD_AAC:
        case PLAYER_PAYLOAD_G711A:
            *penAudioId = AVI_AUDIO_CODEC_MP2;
            return PLAYER_ERR_OK;
        case PLAYER_PAYLOAD_H264:
            *penVideoId = AVI_VIDEO_CODEC_H264;
            return PLAYER_ERR_OK;
        case PLAYER_PAYLOAD_JPEG:
            *penVideoId = AVI_VIDEO_CODEC_JPEG;
            return PLAYER_ERR_OK;
        case PLAYER_PAYLOAD_H265:
            *penVideoId = AVI_VIDEO_CODEC_H265;
            return PLAYER_ERR_OK;
        default:
            return PLAYER_ERR_FAILED;
    }
}

void Player_Mp2WriteToAvi(UCHAR *pucData, LONG_32 lLen, DLONG, void *pUser) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pUser);
    if (pstPort == nullptr) {
        LOG_ERROR("Player_Mp2WriteToAvi Failed: Invalid User Param.");
        return;
    }
    AVI_FRAME_INFO_S stFrame = {};
    stFrame.ulStreamIndex = 1;
    stFrame.pucData = pucData;
    stFrame.ulDataSize = static_cast<ULONG_32>(lLen);
    stFrame.bKeyFrame = 1;
    stFrame.dlTimeStamp = static_cast<DLONG>(pstPort->dulTotalTimeStamp);
    if (!Encode(pstPort, &stFrame)) {
        LOG_ERROR("Player_Mp2WriteToAvi Failed, AVI_EncFrame Failed.");
    }
}

const RECORD_CONTAINER_S gstAviRecordContainer = {".avi",     PLAYER_FILE_FORMATE_AVI_ADD_RCD_TIME,
                                                  LIMIT_RULE, LIMIT,
                                                  Open,       OpenNext,
                                                  Release,    RecordAvi_Frame,
                                                  IsAtBegin,  Size,
                                                  Release};
