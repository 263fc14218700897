// The recording as MP4: H.264 or H.265 with AAC, which G.711 is transcoded to.
#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "codec/zvmp4.h"
#include "file/mp4_parse.h"
#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"
#include "foundations/shared_word.h"
#include "record/record_container.h"
#include "record/record_format.h"
#include "record/record_inner.h"
#include "record/record_thread.h"
#include "record/record_writer.h"

namespace {

const LONG_32 MP4_OPEN_FLAGS = 65;
const LONG_32 MP4_OPEN_MODE = 777;
const DULONG TICKS_A_MS = 90;
const ULONG_32 TICKS_A_SECOND = 90000;
const DULONG MS_A_SECOND = 1000;
const UCHAR NAL_SPS = 7;
const UCHAR NAL_PPS = 8;
const ULONG_32 BITS_A_SAMPLE = 16;

/** The sound that a file announces when the stream's is not known to be AAC. */
const RTP_AUDIO_INFO_S USUAL_AUDIO = {2, 11, 1, 0};

/* ---- the muxer of a file ---- */

/** Where a parameter set is kept. */
struct PARAM_SET_S {
    const CHAR *pcName;
    UCHAR ucNal;
    UCHAR *pucTo;
    LONG_32 *plLen;
    LONG_32 lMax;
};

void KeepParamSet(const PLAYER_FRAMEDATA_S &stFrame, const PARAM_SET_S &stSet) {
    UCHAR *pucNal = nullptr;
    LONG_32 lLen = 0;
    ULONG_32 ulResult =
        RTP_FindDataByNAL(PLAYER_PAYLOAD_H264, stSet.ucNal, stFrame.pucData, stFrame.lDataLen, &pucNal, &lLen);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Player_Mp4EncInit Warning, RTP_FindDataByNAL %s Failed, Error:[0x%x].", stSet.pcName, ulResult);
    } else if (lLen < 0 || lLen > stSet.lMax) {
        LOG_WARN("Player_Mp4EncInit Warning, %s Len[%d] > Max[%d].", stSet.pcName, stSet.lMax, lLen);
    } else {
        memcpy(stSet.pucTo, pucNal, static_cast<size_t>(lLen));
        *stSet.plLen = lLen;
    }
}

void KeepParamSets(PORT_RECORD_S *pstRecording) {
    const PLAYER_FRAMEDATA_S &stFrame = pstRecording->pstReordPort->stFrameData;
    MP4_SPS_PPS_INFO *pstInfo = pstRecording->pstMp4SpsPpsInfo;
    if (stFrame.lPayload != PLAYER_PAYLOAD_H264 || pstInfo == nullptr) {
        return;
    }
    KeepParamSet(stFrame, {"SPS", NAL_SPS, pstInfo->szSps, &pstInfo->lSpsLen, sizeof(pstInfo->szSps) - 1});
    KeepParamSet(stFrame, {"PPS", NAL_PPS, pstInfo->szPps, &pstInfo->lPpsLen, sizeof(pstInfo->szPps) - 1});
}

/** The AAC format of the stream: as its frames say, else if AAC was the sound last seen on the port or by its
 * recording. */
RTP_AUDIO_INFO_S AudioOf(const PLAEYR_PORT_S *pstPort) {
    if (pstPort->bRecAacKnown) {
        return pstPort->stRecAac;
    }
    const PLAEYR_PORT_S *pstRecord = pstPort->pstReordPort;
    if (pstRecord->stRtpAudioStreamInfo.enRTPPacketTypePre == PLAYER_PAYLOAD_AAC) {
        return pstRecord->stRtpAudioInfo;
    }
    if (word::Load(pstPort->stRtpAudioStreamInfo.enRTPPacketTypePre) != PLAYER_PAYLOAD_AAC) {
        return USUAL_AUDIO;
    }
    const RTP_AUDIO_INFO_S &stInfo = pstPort->stRtpAudioInfo;
    return {word::Load(stInfo.ucAudioType), word::Load(stInfo.ucFrequencyIndex), word::Load(stInfo.ucChannelNum), 0};
}

ULONG_32 DescribeAudio(PLAEYR_PORT_S *pstPort, FORMAT_STREAM_INFO_S *pstFormat) {
    const RTP_AUDIO_INFO_S stAudio = AudioOf(pstPort);
    if (stAudio.ucFrequencyIndex >= RECORD_AAC_RATES) {
        LOG_ERROR("Port[%03d] Record Thread: Error Sample Rate Index:[%d].", pstPort->ulPort, stAudio.ucFrequencyIndex);
        return PLAYER_ERR_FAILED;
    }
    pstFormat->ucAudioType = stAudio.ucAudioType;
    pstFormat->ucFrequencyIndex = stAudio.ucFrequencyIndex;
    pstFormat->ucChannelNum = stAudio.ucChannelNum;
    pstFormat->ulSamplesPerSec = gaulAACSampleRate[stAudio.ucFrequencyIndex];
    pstFormat->ulBitsPerSample = BITS_A_SAMPLE;
    pstFormat->ulChannels = 1;
    pstFormat->enAudioId = AUDIO_CODEC_AACLC;
    return PLAYER_ERR_OK;
}

/** When the recording starts: the stream's time, or the place within a played file whose own start is known. */
void DescribeTime(PLAEYR_PORT_S *pstPort, FORMAT_STREAM_INFO_S *pstFormat) {
    pstFormat->ulPlaybackTime = word::Load(pstPort->stRtpVideoStreamInfo.ulPlaybackTime);
    ULONG_32 ulStart = 0;
    // Only an MP4 file tells its start.
    if (word::Load(pstPort->bFilePort) && pstPort->stFileInfo.hMp4Parser != nullptr &&
        MP4_ReadStartTime(pstPort->stFileInfo.pFile, &ulStart)) {
        File_GetPlayTime(&pstPort->stFileInfo, &pstFormat->ulPlayedTime);
        pstFormat->ulPlaybackTime = ulStart + pstFormat->ulPlayedTime;
        pstFormat->bFilePlay = 1;
    }
}

/** Fills in what the muxer is to know of the frame in hand. */
ULONG_32 Describe(PLAEYR_PORT_S *pstPort, FORMAT_STREAM_INFO_S *pstFormat) {
    ULONG_32 ulResult = Player_PayloadToMp4Type(pstPort->pstReordPort->stFrameData.lPayload, &pstFormat->enVideoId);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_Mp4EncInit: Player_PayloadToMp4Type Failed, Error:[0x%x].", pstPort->ulPort,
                  ulResult);
        return ulResult;
    }
    RECORD_PICTURE_S stPicture = {};
    ulResult = Record_ReadPicture(pstPort, "Player_Mp4EncInit", &stPicture);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    pstFormat->ulPicWidth = stPicture.ulWidth;
    pstFormat->ulPicHeight = stPicture.ulHeight;
    pstFormat->ulVideoFameRate = stPicture.ulFrameRate;
    KeepParamSets(pstPort);
    ulResult = DescribeAudio(pstPort, pstFormat);
    if (ulResult == PLAYER_ERR_OK) {
        DescribeTime(pstPort, pstFormat);
    }
    return ulResult;
}

/* ---- frames ---- */

/** The muxer failed: its handle is plain memory, and the next key frame makes another one. */
void DropMuxer(PORT_RECORD_S *pstRecording) {
    free(pstRecording->hMp4Handle);
    pstRecording->hMp4Handle = nullptr;
}

/** Hands a frame of whatever kind to the muxer, which is gone after a failure. */
bool Mux(PLAEYR_PORT_S *pstPort, const FORMAT_FRAME_INFO_S &stFrame) {
    errno = 0;
    const LONG_32 lResult = mp4_enc_frame(pstPort->hMp4Handle, &stFrame);
    if (lResult == MP4_ENC_FAILED) {
        if (errno == ENOSPC || errno == EDQUOT) {
            Record_ReportDiskFull(pstPort);
        }
        DropMuxer(pstPort);
        return false;
    }
    if (lResult == MP4_ENC_INDEX_IN_MEMORY) {
        LOG_WARN("Port[%03d] Record Thread: The Index Of The File Is Kept In Memory From Now On.", pstPort->ulPort);
    }
    return true;
}

void WriteFrame(RECORD_LOOP_S *pstLoop, const FORMAT_FRAME_INFO_S &stFrame, const RECORD_FORMAT_S &stFormat) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    if (RecordFormat_HasVideo(stFormat) && !Mux(pstPort, stFrame)) {
        LOG_ERROR("Port[%03d] Record Thread: Call mp4_enc_frame failed.", pstPort->ulPort);
        return;
    }
    Record_NoteFileTimes(pstLoop);
}

void WriteVideo(RECORD_LOOP_S *pstLoop, const RECORD_FORMAT_S &stFormat) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const PLAYER_FRAMEDATA_S &stData = pstPort->pstReordPort->stFrameData;
    Record_Rebase(pstLoop, TICKS_A_MS);
    pstLoop->dulAudioStamp = pstPort->dulTotalTimeStamp;
    FORMAT_FRAME_INFO_S stFrame = {};
    stFrame.ulStreamIndex = MP4_STREAM_VIDEO;
    stFrame.pucData = stData.pucData;
    stFrame.ulDataSize = static_cast<ULONG_32>(stData.lDataLen);
    stFrame.bKeyFrame = stData.lFormatType == PLAYER_VIDEO_FRAME_I;
    stFrame.dlTimeStamp = static_cast<DLONG>(pstPort->dulTotalTimeStamp);
    stFrame.ulFrameRate = static_cast<ULONG_32>(word::Load(pstPort->stStateInfo.lFrameRate));
    stFrame.dlVideoSequence = pstPort->dlVideoSequence++;
    WriteFrame(pstLoop, stFrame, stFormat);
}

/** Ticks a second of the frame in hand: samples over RTP, else the 90 kHz of files and transport streams. 0: no rate.
 */
ULONG_32 ClockOfAudio(const PLAEYR_PORT_S *pstPort) {
    const PLAEYR_PORT_S *pstRecord = pstPort->pstReordPort;
    if (word::Load(pstPort->bFilePort) || pstRecord->ulCurStreamType == STREAM_TYPE_TS) {
        return TICKS_A_SECOND;
    }
    const ULONG_32 ulIndex =
        pstPort->bRecAacKnown ? pstPort->stRecAac.ucFrequencyIndex : pstRecord->stRtpAudioInfo.ucFrequencyIndex;
    if (ulIndex >= RECORD_AAC_RATES) {
        LOG_ERROR("Port[%03d] Record Thread: Error Sample Rate Index:[%d].", pstPort->ulPort, ulIndex);
        return 0;
    }
    return gaulAACSampleRate[ulIndex];
}

/** Milliseconds of an audio stamp, which counts from the file's first. False for a rate that is none. */
bool TimeOfAudio(RECORD_LOOP_S *pstLoop, DLONG *pdlTime) {
    const DULONG dulStamp = pstLoop->pstPort->pstReordPort->stFrameData.dulTimestamp;
    if (!pstLoop->bAudioBegun) {
        pstLoop->dulAudioBeginTimeStamp = dulStamp;
        pstLoop->bAudioBegun = 1;
    }
    *pdlTime = 0;
    if (dulStamp <= pstLoop->dulAudioBeginTimeStamp) {
        return true;
    }
    const ULONG_32 ulClock = ClockOfAudio(pstLoop->pstPort);
    if (ulClock == 0) {
        return false;
    }
    *pdlTime = static_cast<DLONG>((dulStamp - pstLoop->dulAudioBeginTimeStamp) * MS_A_SECOND / ulClock);
    pstLoop->dulAudioStamp = dulStamp;
    return true;
}

/** What the ADTS head of a frame says (ISO/IEC 13818-7, 6.2); false without one. */
bool ReadAdts(const PLAYER_FRAMEDATA_S &stFrame, RTP_AUDIO_INFO_S *pstInfo) {
    const UCHAR *pucHead = stFrame.pucData;
    if (stFrame.lPayload != PLAYER_PAYLOAD_AAC || stFrame.lDataLen <= RECORD_ADTS_HEAD || pucHead[0] != 0xFF ||
        (pucHead[1] & 0xF0) != 0xF0) {
        return false;
    }
    *pstInfo = {};
    pstInfo->ucAudioType = static_cast<UCHAR>((pucHead[2] >> 6) + 1);
    pstInfo->ucFrequencyIndex = (pucHead[2] >> 2) & 15;
    pstInfo->ucChannelNum = static_cast<UCHAR>((pucHead[2] & 1) << 2 | pucHead[3] >> 6);
    return pstInfo->ucFrequencyIndex < RECORD_AAC_RATES && pstInfo->ucChannelNum != 0;
}

/** A file was announced before its sound was heard: the muxer begins again, behind what it holds, with what that is. */
void AnnounceAudio(PLAEYR_PORT_S *pstPort, const RTP_AUDIO_INFO_S &stAac) {
    FORMAT_STREAM_INFO_S stFormat = pstPort->stRecFormat;
    pstPort->stRecAac = stAac;
    pstPort->bRecAacKnown = 1;
    if (DescribeAudio(pstPort, &stFormat) != PLAYER_ERR_OK) {
        return;
    }
    HANDLE hMuxer = mp4_enc_init(&stFormat, pstPort->hMp4File);
    if (hMuxer != nullptr) {
        free(pstPort->hMp4Handle);
        pstPort->hMp4Handle = hMuxer;
        pstPort->stRecFormat = stFormat;
    }
}

bool IsAnnounced(const PORT_RECORD_S *pstRecording, const RTP_AUDIO_INFO_S &stAac) {
    const FORMAT_STREAM_INFO_S &stFormat = pstRecording->stRecFormat;
    return stFormat.ucAudioType == stAac.ucAudioType && stFormat.ucFrequencyIndex == stAac.ucFrequencyIndex &&
           stFormat.ucChannelNum == stAac.ucChannelNum;
}

void WriteAudio(RECORD_LOOP_S *pstLoop, const RECORD_FORMAT_S &stFormat) {
    const PLAYER_FRAMEDATA_S &stData = pstLoop->pstPort->pstReordPort->stFrameData;
    RTP_AUDIO_INFO_S stAac;
    if (!pstLoop->bAudioBegun && ReadAdts(stData, &stAac) && !IsAnnounced(pstLoop->pstPort, stAac)) {
        AnnounceAudio(pstLoop->pstPort, stAac);
    }
    FORMAT_FRAME_INFO_S stFrame = {};
    if (stData.lDataLen <= RECORD_ADTS_HEAD || !TimeOfAudio(pstLoop, &stFrame.dlTimeStamp)) {
        return;
    }
    stFrame.ulStreamIndex = MP4_STREAM_AUDIO;
    stFrame.pucData = stData.pucData + RECORD_ADTS_HEAD;
    stFrame.ulDataSize = static_cast<ULONG_32>(stData.lDataLen - RECORD_ADTS_HEAD);
    stFrame.bKeyFrame = 1;
    WriteFrame(pstLoop, stFrame, stFormat);
}

enum KIND_E { KIND_VIDEO, KIND_AUDIO, KIND_TRANSCODED, KIND_OTHER };

KIND_E KindOf(const RECORD_LOOP_S *pstLoop) {
    switch (pstLoop->pstPort->pstReordPort->stFrameData.lPayload) {
        case PLAYER_PAYLOAD_H264:
        case PLAYER_PAYLOAD_H265:
            return KIND_VIDEO;
        case PLAYER_PAYLOAD_AAC:
            return pstLoop->biPhoneDef ? KIND_TRANSCODED : KIND_AUDIO;
        case PLAYER_PAYLOAD_MP1L2:
            return KIND_AUDIO;
        case PLAYER_PAYLOAD_G711U:
        case PLAYER_PAYLOAD_G711A:
            return KIND_TRANSCODED;
        default:
            return KIND_OTHER;
    }
}

/** Hands an audio frame that was encoded here to the muxer. */
bool WriteEncoded(PLAEYR_PORT_S *pstPort, UCHAR *pucData, ULONG_32 ulLen, DLONG dlTimeStamp) {
    FORMAT_FRAME_INFO_S stFrame = {};
    stFrame.ulStreamIndex = MP4_STREAM_AUDIO;
    stFrame.pucData = pucData;
    stFrame.ulDataSize = ulLen;
    stFrame.bKeyFrame = 1;
    stFrame.dlTimeStamp = dlTimeStamp;
    return Mux(pstPort, stFrame);
}

/* ---- the file ---- */

bool OpenNext(PLAEYR_PORT_S *pstPort) {
    pstPort->dulMp4Room = 0;
    return RecordContainer_Keep(&pstPort->hMp4File, mp4_file_open(pstPort->szFileName, MP4_OPEN_FLAGS, MP4_OPEN_MODE));
}

ULONG_32 Open(PLAEYR_PORT_S *pstPort) {
    WYK_CreateDir(pstPort->szFileName);
    if (!OpenNext(pstPort)) {
        LOG_ERROR("Port[%03d] Player_StartRecord: fopen mp4 File Failed.", pstPort->ulPort);
        return PLAYER_ERR_FILE_OPEN;
    }
    pstPort->pstMp4SpsPpsInfo = static_cast<MP4_SPS_PPS_INFO *>(calloc(1, sizeof(MP4_SPS_PPS_INFO)));
    if (pstPort->pstMp4SpsPpsInfo == nullptr) {
        LOG_ERROR("Port[%03d] Player_StartRecord: Malloc Failed, Size:[%d], fopen mp4 File Failed.", pstPort->ulPort,
                  static_cast<LONG_32>(sizeof(MP4_SPS_PPS_INFO)));
        return PLAYER_ERR_MALLOC;
    }
    return PLAYER_ERR_OK;
}

void CloseFile(PLAEYR_PORT_S *pstPort) {
    if (pstPort->hMp4Handle != nullptr && mp4_enc_close(pstPort->hMp4Handle) != 0) {
        LOG_ERROR("Port[%03d] Record: mp4_enc_close Failed, The Index May Lack The End.", pstPort->ulPort);
    }
    pstPort->hMp4Handle = nullptr;
    mp4_file_close(pstPort->hMp4File);
    pstPort->hMp4File = nullptr;
}

void Release(PLAEYR_PORT_S *pstPort) {
    free(pstPort->pstMp4SpsPpsInfo);
    pstPort->pstMp4SpsPpsInfo = nullptr;
    CloseFile(pstPort);
}

/** The room that the muxer lays out for its index holds nothing of the stream. */
DULONG Size(const PORT_RECORD_S *pstRecord) {
    const DULONG dulSize = RecordContainer_SizeOnDisk(pstRecord);
    return dulSize > pstRecord->dulMp4Room ? dulSize - pstRecord->dulMp4Room : 0;
}

bool IsAtBegin(const PORT_RECORD_S *pstRecord) { return pstRecord->hMp4Handle == nullptr; }

}  // namespace

ULONG_32 RecordMp4_Frame(RECORD_LOOP_S *pstLoop, const RECORD_FORMAT_S &stFormat) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    if (pstPort->hMp4Handle == nullptr) {
        ULONG_32 ulResult = Player_Mp4EncInit(pstPort);
        if (ulResult != PLAYER_ERR_OK) {
            LOG_ERROR("Port[%03d] Record Thread: Player_Mp4EncInit Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
            return PLAYER_ERR_OK;
        }
    }
    const KIND_E enKind = KindOf(pstLoop);
    if (enKind == KIND_VIDEO) {
        WriteVideo(pstLoop, stFormat);
    } else if (enKind == KIND_AUDIO && RecordFormat_HasAudio(stFormat)) {
        WriteAudio(pstLoop, stFormat);
    } else if (enKind == KIND_TRANSCODED && RecordFormat_HasAudio(stFormat)) {
        Record_Transcode(pstPort, pstLoop->dulAudioStamp,
                         {PLAYER_PAYLOAD_AAC, Player_AacWriteToMp4, "Record Thread", true});
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_Mp4EncInit(PLAEYR_PORT_S *pstPort) {
    FORMAT_STREAM_INFO_S stFormat = {};
    ULONG_32 ulResult = Describe(pstPort, &stFormat);
    if (ulResult != PLAYER_ERR_OK) {
        return Record_WaitForKeyFrame(pstPort, ulResult);
    }
    pstPort->hMp4Handle = mp4_enc_init(&stFormat, pstPort->hMp4File);
    if (pstPort->hMp4Handle == nullptr) {
        LOG_ERROR("Port[%03d] Player_Mp4EncInit Failed, Call mp4_enc_init Failed.", pstPort->ulPort);
        return Record_WaitForKeyFrame(pstPort, PLAYER_ERR_FAILED);
    }
    pstPort->stRecFormat = stFormat;
    pstPort->dlVideoSequence = 0;
    if (pstPort->dulMp4Room == 0) {
        pstPort->dulMp4Room = RecordContainer_SizeOnDisk(pstPort);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_PayloadToMp4Type(LONG_32 lPayload, MP4_VIDEOID_E *penVideoId) {
    if (penVideoId == nullptr) {
        LOG_ERROR("In param is null");
        return PLAYER_ERR_PARAM;
    }
    if (!Payload_IsInterVideo(lPayload)) {
        return PLAYER_ERR_FAILED;
    }
    *penVideoId = lPayload == PLAYER_PAYLOAD_H264 ? VIDEO_CODEC_H264 : VIDEO_CODEC_H265;
    return PLAYER_ERR_OK;
}

void Player_AacWriteToMp4(UCHAR *pucData, LONG_32 lLen, DLONG dlTimeStamp, void *pUser) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pUser);
    if (pstPort == nullptr) {
        LOG_ERROR("Player_Mp2WriteToMp4 fail, pUser is null");
        return;
    }
    if (lLen > RECORD_ADTS_HEAD && !WriteEncoded(pstPort, pucData + RECORD_ADTS_HEAD,
                                                 static_cast<ULONG_32>(lLen - RECORD_ADTS_HEAD), dlTimeStamp)) {
        LOG_ERROR("Player_Mp2WriteToMp4 fail, mp4_enc_frame failed");
    }
}

void Player_Mp2WriteToMp4(UCHAR *pucData, LONG_32 lLen, DLONG, void *pUser) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pUser);
    if (pstPort == nullptr) {
        LOG_ERROR("Player_Mp2WriteToMp4 Failed: Invalid User Param.");
        return;
    }
    if (lLen > 0 &&
        !WriteEncoded(pstPort, pucData, static_cast<ULONG_32>(lLen), static_cast<DLONG>(pstPort->dulTotalTimeStamp))) {
        LOG_ERROR("Player_Mp2WriteToMp4 Failed, Call mp4_enc_frame Failed.");
    }
}

const RECORD_CONTAINER_S gstMp4RecordContainer = {
    ".mp4", PLAYER_FILE_FORMATE_MP4_ADD_RCD_TIME, 0, 0, Open, OpenNext, CloseFile, RecordMp4_Frame, IsAtBegin, Size,
    Release};
