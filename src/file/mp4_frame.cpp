/**
 * @file mp4_frame.cpp
 * @brief Samples of an MP4 file as frames: choosing, reading, and turning them into byte streams.
 */
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "bits/sp_mark.h"
#include "file/mp4_inner.h"
#include "file/mp4_parse.h"
#include "foundations/bytes.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

constexpr UCHAR START_CODE[] = {0, 0, 0, 1};
constexpr ULONG_32 START_CODE_SIZE = sizeof(START_CODE);

/** A frame leaves this much room, for the ADTS header that AAC gets in front later. */
constexpr ULONG_32 FRAME_TAIL_ROOM = 7;

/** As much of a sample as is looked at to tell whether it is a marked P frame. */
constexpr ULONG_32 PEEK_SIZE = 4096;

constexpr DULONG TICKS_A_SECOND = 90000;

/** First description of a node's track, or null. A node of a track that isn't there takes the first track. */
const Sample_description *Description(const mp4_moov_box &stParser, LONG_32 lTrack) {
    if (stParser.trak.empty()) {
        return nullptr;
    }
    const size_t ulTrack = static_cast<size_t>(lTrack) < stParser.trak.size() ? static_cast<size_t>(lTrack) : 0;
    const mp4_stsd_box &stStsd = stParser.trak[ulTrack].mdia.minf.stbl.stsd;
    return stStsd.number_of_entries != 0 ? stStsd.sample_description.get() : nullptr;
}

bool IsOfType(const Sample_description *pstEntry, const CHAR *pcType) {
    return pstEntry != nullptr && strcmp(pstEntry->type, pcType) == 0;
}

const mp4_hvcC_box *H265Configuration(const mp4_moov_box &stParser, LONG_32 lTrack) {
    const Sample_description *pstEntry = Description(stParser, lTrack);
    return pstEntry != nullptr && pstEntry->avc1 != nullptr ? pstEntry->avc1->hvcC.get() : nullptr;
}

const mp4_avcC_box *Configuration(const mp4_moov_box &stParser, LONG_32 lTrack) {
    const Sample_description *pstEntry = Description(stParser, lTrack);
    return pstEntry != nullptr && pstEntry->avc1 != nullptr ? pstEntry->avc1->avcC.get() : nullptr;
}

LONG_32 PayloadOf(const mp4_moov_box &stParser, const mp4_sample_node &stNode) {
    const Sample_description *pstEntry = Description(stParser, stNode.type);
    if (stNode.type == stParser.iVideoTrak) {
        const bool bH265 = IsOfType(pstEntry, "hev1") || IsOfType(pstEntry, "hvc1");
        return bH265 ? PLAYER_PAYLOAD_H265 : PLAYER_PAYLOAD_H264;
    }
    const mp4_mp4a_box *pstAudio = pstEntry != nullptr ? pstEntry->mp4a.get() : nullptr;
    return pstAudio != nullptr && pstAudio->lCodeType == MP4_CODE_AAC ? PLAYER_PAYLOAD_AAC : PLAYER_PAYLOAD_MP1L2;
}

/** The sets that go in front of a key frame as they are; null where a recording's prefix is made, or nothing. */
const mp4_sets_t *WholeSets(const mp4_moov_box &stParser, const mp4_sample_node &stNode) {
    const mp4_hvcC_box *pstH265 = stNode.key == 1 ? H265Configuration(stParser, stNode.type) : nullptr;
    if (pstH265 != nullptr) {
        return &pstH265->sets;
    }
    const mp4_avcC_box *pstH264 = stNode.key == 1 ? Configuration(stParser, stNode.type) : nullptr;
    // No recording has another track in front of its video; the first track's SPS would have no length then.
    const bool bWhole =
        pstH264 != nullptr &&
        (strcmp(stParser.trak[0].mdia.hdlr.handler_type, "vide") != 0 || pstH264->numOfSequenceParameterSet > 1 ||
         pstH264->numOfPictureParameterSets > 1 || IsOfType(Description(stParser, stNode.type), "avc3"));
    return bWhole ? &pstH264->sets : nullptr;
}

/** Bytes in front of a frame: parameter sets with start codes at a key frame that has a configuration. */
ULONG_32 PrefixSize(const mp4_moov_box &stParser, const mp4_sample_node &stNode) {
    const mp4_sets_t *pstSets = WholeSets(stParser, stNode);
    const mp4_avcC_box *pstOwn = stNode.key == 1 ? Configuration(stParser, stNode.type) : nullptr;
    if (pstSets != nullptr || pstOwn == nullptr) {
        return pstSets != nullptr ? pstSets->length : 0;
    }
    // The second start code goes by the length of the first track's SPS, whatever track this is.
    const mp4_avcC_box *pstFirst = Configuration(stParser, 0);
    const ULONG_32 ulSpsLen = pstFirst != nullptr ? pstFirst->sps.sequenceParameterSetLength : 0;
    return 2 * START_CODE_SIZE + ulSpsLen + pstOwn->pps.pictureParameterSetLength;
}

/** Writes what a recording's key frames have in front: one set of each kind. */
void PutOneOfEach(const mp4_avcC_box &stOwn, ULONG_32 ulPrefix, UCHAR *pucTo) {
    const ULONG_32 ulPps = ulPrefix - stOwn.pps.pictureParameterSetLength;
    const ULONG_32 ulSpsLen = std::min<ULONG_32>(stOwn.sps.sequenceParameterSetLength, ulPrefix - START_CODE_SIZE);
    memset(pucTo, 0, ulPrefix);
    memcpy(pucTo, START_CODE, START_CODE_SIZE);
    if (ulSpsLen != 0) {
        memcpy(pucTo + START_CODE_SIZE, stOwn.sps.sequenceParameterSetNALUnit.get(), ulSpsLen);
    }
    memcpy(pucTo + ulPps - START_CODE_SIZE, START_CODE, START_CODE_SIZE);
    if (stOwn.pps.pictureParameterSetLength != 0) {
        memcpy(pucTo + ulPps, stOwn.pps.pictureParameterSetNALUnit.get(), stOwn.pps.pictureParameterSetLength);
    }
}

/** Writes the bytes that PrefixSize() counted, if any. */
void PutPrefix(const mp4_moov_box &stParser, const mp4_sample_node &stNode, ULONG_32 ulPrefix, UCHAR *pucTo) {
    if (ulPrefix == 0) {
        return;
    }
    const mp4_sets_t *pstSets = WholeSets(stParser, stNode);
    if (pstSets != nullptr) {
        memcpy(pucTo, pstSets->stream.get(), ulPrefix);
    } else {
        PutOneOfEach(*Configuration(stParser, stNode.type), ulPrefix, pucTo);
    }
}

/**
 * Reads bytes of the file; false if not all are there. Past the stream's buffer, which would add a copy and a second
 * system call to each sample; a stream without a descriptor is read as it can be.
 */
bool ReadAt(FILE *pFile, DLONG dlOffset, UCHAR *pucTo, size_t ulCount) {
    const int iFile = fileno(pFile);
    if (iFile < 0) {
        return fseeko(pFile, dlOffset, SEEK_SET) == 0 && fread(pucTo, 1, ulCount, pFile) == ulCount;
    }
    size_t ulDone = 0;
    while (ulDone < ulCount) {
        const ssize_t lRead = pread(iFile, pucTo + ulDone, ulCount - ulDone, dlOffset + static_cast<DLONG>(ulDone));
        if (lRead > 0) {
            ulDone += static_cast<size_t>(lRead);
        } else if (lRead == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

/** Turns the length in front of each unit into a start code. Gives the bytes up to which that could be done. */
ULONG_32 ToByteStream(UCHAR *pucSample, ULONG_32 ulLen) {
    DULONG dulAt = 0;
    while (dulAt + START_CODE_SIZE <= ulLen) {
        UCHAR *pucUnit = pucSample + dulAt;
        const ULONG_32 ulUnit = bytes::Be32(pucUnit);
        memcpy(pucUnit, START_CODE, START_CODE_SIZE);
        dulAt += DULONG{ulUnit} + START_CODE_SIZE;
    }
    return static_cast<ULONG_32>(std::min<DULONG>(dulAt, ulLen));
}

/** Length in front of a unit, of 1 to 4 bytes. */
ULONG_32 UnitLength(const UCHAR *pucAt, ULONG_32 ulLengthSize) {
    ULONG_32 ulLength = 0;
    for (ULONG_32 i = 0; i < ulLengthSize; ++i) {
        ulLength = ulLength << 8 | pucAt[i];
    }
    return ulLength;
}

/** Whether a sample's lengths, of this many bytes each, add up to it. */
bool LengthsAddUp(const UCHAR *pucSample, ULONG_32 ulLen, ULONG_32 ulLengthSize) {
    DULONG dulAt = 0;
    while (dulAt + ulLengthSize <= ulLen) {
        dulAt += DULONG{UnitLength(pucSample + dulAt, ulLengthSize)} + ulLengthSize;
    }
    return dulAt == ulLen;
}

/** Bytes of the lengths in a sample of H.264: 4, whatever the configuration says, unless only that adds up. */
ULONG_32 H264LengthSize(const mp4_avcC_box *pstConfiguration, const UCHAR *pucSample, ULONG_32 ulLen) {
    const ULONG_32 ulStated = pstConfiguration != nullptr ? pstConfiguration->lengthSizeMinusOne : START_CODE_SIZE;
    const bool bUsual = ulStated == START_CODE_SIZE || LengthsAddUp(pucSample, ulLen, START_CODE_SIZE) ||
                        !LengthsAddUp(pucSample, ulLen, ulStated);
    return bUsual ? START_CODE_SIZE : ulStated;
}

/**
 * Bytes of the lengths in a sample of H.265, or 0 for a byte stream, as recordings have it. The start code of three
 * bytes may as well be the length of a unit of some 300 bytes; then the sum decides.
 */
ULONG_32 H265LengthSize(const mp4_hvcC_box *pstConfiguration, const UCHAR *pucSample, ULONG_32 ulLen) {
    if (pstConfiguration == nullptr || ulLen < START_CODE_SIZE || memcmp(pucSample, START_CODE, START_CODE_SIZE) == 0) {
        return 0;
    }
    const ULONG_32 ulStated = pstConfiguration->lengthSizeMinusOne;
    const bool bShortCode = memcmp(pucSample, START_CODE + 1, START_CODE_SIZE - 1) == 0;
    return bShortCode && !LengthsAddUp(pucSample, ulLen, ulStated) ? 0 : ulStated;
}

/** Bytes of the lengths in a sample; 0 if it stays as it is stored. */
ULONG_32 LengthSize(const mp4_moov_box &stParser, const mp4_sample_node &stNode, const UCHAR *pucSample) {
    const ULONG_32 ulLen = static_cast<ULONG_32>(stNode.size);
    if (stNode.type != stParser.iVideoTrak) {
        return 0;
    }
    return PayloadOf(stParser, stNode) == PLAYER_PAYLOAD_H264
               ? H264LengthSize(Configuration(stParser, stNode.type), pucSample, ulLen)
               : H265LengthSize(H265Configuration(stParser, stNode.type), pucSample, ulLen);
}

/**
 * Turns short lengths into start codes, which are longer: the sample moves to the end of the room that it will take,
 * and comes forward unit by unit. Gives the bytes that it then has; 0 if ulRoom does not hold them.
 */
ULONG_32 GrowToByteStream(UCHAR *pucSample, ULONG_32 ulLen, ULONG_32 ulLengthSize, ULONG_32 ulRoom) {
    DULONG dulRead = 0;
    DULONG dulGrown = 0;
    while (dulRead + ulLengthSize <= ulLen) {
        const DULONG dulUnit =
            std::min<DULONG>(UnitLength(pucSample + dulRead, ulLengthSize), ulLen - dulRead - ulLengthSize);
        dulRead += ulLengthSize + dulUnit;
        dulGrown += START_CODE_SIZE + dulUnit;
    }
    if (dulGrown > ulRoom) {
        return 0;
    }
    const UCHAR *pucFrom = pucSample + (dulGrown - dulRead);
    const UCHAR *pucEnd = pucSample + dulGrown;
    memmove(pucSample + (dulGrown - dulRead), pucSample, dulRead);
    for (UCHAR *pucTo = pucSample; pucFrom < pucEnd;) {
        const size_t ulLeft = static_cast<size_t>(pucEnd - pucFrom) - ulLengthSize;
        const size_t ulUnit = std::min<size_t>(UnitLength(pucFrom, ulLengthSize), ulLeft);
        memcpy(pucTo, START_CODE, START_CODE_SIZE);
        memmove(pucTo + START_CODE_SIZE, pucFrom + ulLengthSize, ulUnit);
        pucTo += START_CODE_SIZE + ulUnit;
        pucFrom += ulLengthSize + ulUnit;
    }
    return static_cast<ULONG_32>(dulGrown);
}

/**
 * Makes a byte stream of the sample behind the parameter sets. Gives the bytes of the frame; 0 if the buffer does not
 * hold them. H.265 that was stored as a byte stream has its own sets and keeps them.
 */
ULONG_32 MakeByteStream(const mp4_moov_box &stParser, const mp4_sample_node &stNode, ULONG_32 ulPrefix,
                        UCHAR *pucFrame) {
    const ULONG_32 ulLen = static_cast<ULONG_32>(stNode.size);
    UCHAR *pucSample = pucFrame + ulPrefix;
    const ULONG_32 ulLengthSize = LengthSize(stParser, stNode, pucSample);
    if (ulLengthSize == 0) {
        memmove(pucFrame, pucSample, ulPrefix != 0 ? ulLen : 0);
        return ulLen;
    }
    if (ulLengthSize == START_CODE_SIZE) {
        ToByteStream(pucSample, ulLen);
        return ulPrefix + ulLen;
    }
    const ULONG_32 ulRoom = VIDEO_FRAME_BUFFER_SIZE - FRAME_TAIL_ROOM - ulPrefix;
    const ULONG_32 ulGrown = GrowToByteStream(pucSample, ulLen, ulLengthSize, ulRoom);
    return ulGrown != 0 ? ulPrefix + ulGrown : 0;
}

bool HasShortLengths(const mp4_moov_box &stParser, const mp4_sample_node &stNode) {
    const mp4_avcC_box *pstConfiguration = Configuration(stParser, stNode.type);
    return pstConfiguration != nullptr && pstConfiguration->lengthSizeMinusOne != START_CODE_SIZE;
}

/** Fills in what a frame is, and moves on. */
void FinishFrame(mp4_moov_box *pstParser, const mp4_sample_node &stNode, ULONG_32 ulLen, MP4_FRAME_INFO_S *pstFrame) {
    pstFrame->lPayload = PayloadOf(*pstParser, stNode);
    if (stNode.type == pstParser->iVideoTrak) {
        pstFrame->lFormatType = stNode.key == 1 ? 0 : 1;
    } else if (pstFrame->lPayload == PLAYER_PAYLOAD_AAC) {
        const mp4_mp4a_box &stAudio = *Description(*pstParser, stNode.type)->mp4a;
        pstFrame->lFormatType = 7;
        pstFrame->ucAudioType = stAudio.ucAudioType;
        pstFrame->ucFrequencyIndex = stAudio.ucFrequencyIndex;
        pstFrame->ucChannelNum = stAudio.ucChannelNum;
    } else {
        pstFrame->lFormatType = 0;
    }
    pstFrame->ulBufferLen = ulLen;
    pstFrame->dulTimestamp = stNode.timestamp;
    word::Store(pstParser->iPlayTime, static_cast<LONG_32>(stNode.timestamp / TICKS_A_SECOND));
    ++pstParser->iCurSampleIndex;
}

/**
 * Steps over a plain P frame after a look at its start alone, leaving all as if it had been made. False if that doesn't
 * settle it, and for samples that would fail.
 */
bool StepOverPlain(FILE *pFile, mp4_moov_box *pstParser, const mp4_sample_node &stNode, MP4_FRAME_INFO_S *pstFrame) {
    const ULONG_32 ulSize = static_cast<ULONG_32>(stNode.size);
    if (stNode.key == 1 || ulSize <= PEEK_SIZE || ulSize + FRAME_TAIL_ROOM > VIDEO_FRAME_BUFFER_SIZE ||
        stNode.dlOffset + stNode.size > pstParser->dlMdatDataEnd ||
        !ReadAt(pFile, stNode.dlOffset, pstFrame->pucBuffer, PEEK_SIZE)) {
        return false;
    }
    const LONG_32 lPayload = PayloadOf(*pstParser, stNode);
    const bool bForeign = lPayload == PLAYER_PAYLOAD_H265 && H265Configuration(*pstParser, stNode.type) != nullptr &&
                          memcmp(pstFrame->pucBuffer, START_CODE, START_CODE_SIZE) != 0;
    if (bForeign || HasShortLengths(*pstParser, stNode)) {
        return false;  // the whole sample tells how it is stored
    }
    // A length that the end of the look cuts in two is left out: as raw bytes it could pass for a start code.
    const ULONG_32 ulLen = lPayload == PLAYER_PAYLOAD_H264 ? ToByteStream(pstFrame->pucBuffer, PEEK_SIZE) : PEEK_SIZE;
    if (SpMark_Scan(lPayload, pstFrame->pucBuffer, ulLen) != SpVerdict::kPlain) {
        return false;
    }
    FinishFrame(pstParser, stNode, ulSize, pstFrame);
    return true;
}

ULONG_32 ReadComplete() {
    LOG_INFO("MP4_GetOneFrameData Info, File Read Complete.");
    return PLAYER_ERR_FILE_END;
}

/** The node at the place of reading, or null at the end of the list. */
const mp4_sample_node *CurrentNode(const mp4_moov_box &stParser) {
    const size_t ulIndex = static_cast<size_t>(stParser.iCurSampleIndex);
    return ulIndex < stParser.list.size() ? &stParser.list[ulIndex] : nullptr;
}

/** Reads on to the next key or marked P frame. */
ULONG_32 ReadKeyOrSpFrame(FILE *pFile, mp4_moov_box *pstParser, MP4_FRAME_INFO_S *pstFrame) {
    while (const mp4_sample_node *pstNode = CurrentNode(*pstParser)) {
        if (pstNode->type != pstParser->iVideoTrak) {
            ++pstParser->iCurSampleIndex;
            continue;
        }
        if (StepOverPlain(pFile, pstParser, *pstNode, pstFrame)) {
            continue;
        }
        ULONG_32 ulResult = MP4_MakeOneFrame(pFile, pstParser, pstNode, pstFrame);
        if (ulResult != PLAYER_ERR_OK) {
            LOG_ERROR("MP4_GetOneFrameData Failed, MP4_MakeOneFrame Failed, Error[0x%x].", ulResult);
            return ulResult;
        }
        const SpVerdict enVerdict = pstNode->key == 1
                                        ? SpVerdict::kSp
                                        : SpMark_Scan(pstFrame->lPayload, pstFrame->pucBuffer, pstFrame->ulBufferLen);
        if (enVerdict == SpVerdict::kSp) {
            return PLAYER_ERR_OK;
        }
        if (enVerdict == SpVerdict::kUnknownPayload) {
            ulResult = PLAYER_ERR_FAILED;
            LOG_ERROR("MP4_GetOneFrameData Failed, Unknow PayLoad[%d] Failed, Error[0x%x].", pstFrame->lPayload,
                      ulResult);
            return ulResult;
        }
    }
    return ReadComplete();
}

/** Steps over a sample that the buffer can't hold. */
ULONG_32 TooLarge(mp4_moov_box *pstParser, const mp4_sample_node &stNode) {
    LOG_ERROR("MP4_MakeOneFrame Failed, Sample Size[%d] OverFlow.", stNode.size);
    ++pstParser->iCurSampleIndex;
    return PLAYER_ERR_FILE_READ;
}

/** Whether a node is of a kind that was asked for. */
bool IsWanted(const mp4_moov_box &stParser, const mp4_sample_node &stNode, LONG_32 lGetType) {
    switch (lGetType) {
        case MP4_FRAME_GET_TYPE_ONLY_I_FRAME:
            return stNode.key == 1;
        case MP4_FRAME_GET_TYPE_ONLY_VIDEO_FRAME:
            return stNode.type == stParser.iVideoTrak;
        default:
            return true;
    }
}

}  // namespace

ULONG_32 MP4_GetOneFrameData(FILE *pFile, mp4_moov_box *pstParser, LONG_32 lGetType, MP4_FRAME_INFO_S *pstFrame) {
    if (pstParser == nullptr) {
        LOG_ERROR("MP4_GetOneFrameData Failed, Mp4info is Null.");
        return PLAYER_ERR_PARAM;
    }
    if (pFile == nullptr || pstFrame == nullptr || pstFrame->pucBuffer == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    pstFrame->dulTimestamp = 0;
    pstFrame->ulBufferLen = 0;
    pstFrame->lPayload = 0;
    pstFrame->lFormatType = 0;
    if (pstParser->bInitRead == 0) {
        pstParser->iCurSampleIndex = 0;
        pstParser->bInitRead = 1;
    }
    if (lGetType == MP4_FRAME_GET_TYPE_ONLY_I_SP_FRAME) {
        return ReadKeyOrSpFrame(pFile, pstParser, pstFrame);
    }
    while (const mp4_sample_node *pstNode = CurrentNode(*pstParser)) {
        if (IsWanted(*pstParser, *pstNode, lGetType)) {
            return MP4_MakeOneFrame(pFile, pstParser, pstNode, pstFrame);
        }
        ++pstParser->iCurSampleIndex;
    }
    return ReadComplete();
}

ULONG_32 MP4_MakeOneFrame(FILE *pFile, mp4_moov_box *pstParser, const mp4_sample_node *pstNode,
                          MP4_FRAME_INFO_S *pstFrame) {
    if (pFile == nullptr || pstParser == nullptr || pstNode == nullptr || pstFrame == nullptr ||
        pstFrame->pucBuffer == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const ULONG_32 ulPrefix = PrefixSize(*pstParser, *pstNode);
    const ULONG_32 ulSize = static_cast<ULONG_32>(pstNode->size);
    if (DULONG{ulPrefix} + ulSize + FRAME_TAIL_ROOM > VIDEO_FRAME_BUFFER_SIZE) {
        return TooLarge(pstParser, *pstNode);
    }
    PutPrefix(*pstParser, *pstNode, ulPrefix, pstFrame->pucBuffer);
    if (!ReadAt(pFile, pstNode->dlOffset, pstFrame->pucBuffer + ulPrefix, ulSize)) {
        LOG_ERROR("MP4_MakeOneFrame Failed, File Ends In Sample[%d].", pstParser->iCurSampleIndex);
        ++pstParser->iCurSampleIndex;
        return PLAYER_ERR_FILE_END;
    }
    const ULONG_32 ulLen = MakeByteStream(*pstParser, *pstNode, ulPrefix, pstFrame->pucBuffer);
    if (ulLen == 0 && ulSize != 0) {
        return TooLarge(pstParser, *pstNode);
    }
    FinishFrame(pstParser, *pstNode, ulLen, pstFrame);
    return PLAYER_ERR_OK;
}
