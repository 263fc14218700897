// MPEG-TS of other makers behind the file layer: reading, times and jumps.
#include <string.h>

#include <algorithm>
#include <memory>
#include <new>

#include "file/file_container.h"
#include "file/foreign_ts.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

const DULONG TICKS_A_SECOND = 90000;
const ULONG_32 BLOCK_PACKETS = 512;          /**< read at one go */
const ULONG_32 MAX_STRIDE = 204;             /**< of packets in a file */
const DULONG TABLES_LIMIT = 8 * 1024 * 1024; /**< so far into a file its tables are looked for */
const DULONG TAIL_LIMIT = 32 * 1024 * 1024;  /**< so far from its end its last time is looked for */
const DULONG PROBE_LIMIT = 4 * 1024 * 1024;  /**< so far from a place a time is looked for */
const DULONG NEAR_ENOUGH = 256 * 1024;       /**< where halving gives way to reading on */
const DULONG BACK_STEP = 2 * 1024 * 1024;    /**< looked back at first for a key frame, then twice that, and so on */
const ULONG_32 RATE_FRAMES = 24;             /**< whose distances give the frame rate */
const DULONG NO_KEY = ~0ULL;

/** Packets of a file, one by one. */
struct PACKET_SOURCE_S {
    FILE *pFile;
    FOREIGN_TS_LAYOUT_S stLayout;
    DULONG dulBlock;  /**< where the block lies in the file */
    ULONG_32 ulBytes; /**< in the block */
    ULONG_32 ulAt;    /**< of the next packet in the block */
    UCHAR aucBlock[BLOCK_PACKETS * MAX_STRIDE];
};

struct FOREIGN_FILE_S {
    PACKET_SOURCE_S stSource;
    FOREIGN_TS_S stStream;
    DULONG dulFirst; /**< time of the file's first unit */
    DULONG dulNear;  /**< a time close to the next one, for those that wrap */
    DULONG dulNow;   /**< of the frame read last; atomic */
    DULONG dulUnit;  /**< where the frame of pictures starts that is being gathered */
    DULONG dulFrame; /**< where the one given out last started */
    bool bNeedKey;   /**< pictures before the next key frame lack what they refer to */
};

FOREIGN_FILE_S *FileOf(const FILE_INFO_S *pstFileInfo) {
    return static_cast<FOREIGN_FILE_S *>(pstFileInfo->hForeignTsParser);
}

bool IsStopped(const FILE_INFO_S *pstFileInfo) {
    return pstFileInfo->pbRun != nullptr && !word::Load(*pstFileInfo->pbRun);
}

/* ---- packets ---- */

DULONG Position(const PACKET_SOURCE_S &stSource) { return stSource.dulBlock + stSource.ulAt; }

/** Moves to the packet at or behind a place. */
void MoveTo(DULONG dulPos, PACKET_SOURCE_S *pstSource) {
    const FOREIGN_TS_LAYOUT_S &stLayout = pstSource->stLayout;
    const DULONG dulPast = dulPos > stLayout.ulFirst ? dulPos - stLayout.ulFirst : 0;
    pstSource->dulBlock = stLayout.ulFirst + (dulPast + stLayout.ulStride - 1) / stLayout.ulStride * stLayout.ulStride;
    pstSource->ulBytes = 0;
    pstSource->ulAt = 0;
}

/** Reads the block that begins with the next packet; false at the end of the file. */
bool FillBlock(PACKET_SOURCE_S *pstSource) {
    pstSource->dulBlock += pstSource->ulAt;
    pstSource->ulAt = 0;
    pstSource->ulBytes = 0;
    if (pstSource->dulBlock > static_cast<DULONG>(INT64_MAX) ||
        fseeko(pstSource->pFile, static_cast<off_t>(pstSource->dulBlock), SEEK_SET) != 0) {
        return false;
    }
    const size_t ulWanted = static_cast<size_t>(BLOCK_PACKETS) * pstSource->stLayout.ulStride;
    pstSource->ulBytes = static_cast<ULONG_32>(fread(pstSource->aucBlock, 1, ulWanted, pstSource->pFile));
    return pstSource->ulBytes >= TS_PACKET_SIZE;
}

bool HasPacket(const PACKET_SOURCE_S &stSource) {
    return stSource.ulAt <= stSource.ulBytes && stSource.ulBytes - stSource.ulAt >= TS_PACKET_SIZE;
}

/** Where bytes were lost or added packets lie elsewhere: looks for them. */
void Realign(PACKET_SOURCE_S *pstSource) {
    if (pstSource->ulBytes - pstSource->ulAt < FOREIGN_TS_LAYOUT_SIZE) {
        FillBlock(pstSource);
    }
    for (ULONG_32 i = 0; i < MAX_STRIDE && HasPacket(*pstSource); i++, pstSource->ulAt++) {
        const UCHAR *pucAt = pstSource->aucBlock + pstSource->ulAt;
        FOREIGN_TS_LAYOUT_S stLayout = {};
        const size_t ulLeft = pstSource->ulBytes - pstSource->ulAt;
        if (*pucAt == 'G' && ForeignTs_FindLayout(pucAt, std::min<size_t>(ulLeft, FOREIGN_TS_LAYOUT_SIZE), &stLayout) &&
            stLayout.ulFirst == 0 && stLayout.ulStride == pstSource->stLayout.ulStride) {
            return;
        }
    }
}

/** Gives the next packet, which stays the next one until Advance(); null at the end of the file. */
const UCHAR *NextPacket(PACKET_SOURCE_S *pstSource) {
    if (!HasPacket(*pstSource) && !FillBlock(pstSource)) {
        return nullptr;
    }
    if (pstSource->aucBlock[pstSource->ulAt] != 'G') {
        Realign(pstSource);
        if (!HasPacket(*pstSource) && !FillBlock(pstSource)) {
            return nullptr;
        }
    }
    return pstSource->aucBlock + pstSource->ulAt;
}

void Advance(PACKET_SOURCE_S *pstSource) { pstSource->ulAt += pstSource->stLayout.ulStride; }

/** Finds out how packets lie, and begins with the first one. */
bool BeginPackets(FILE *pFile, PACKET_SOURCE_S *pstSource) {
    *pstSource = {};
    pstSource->pFile = pFile;
    UCHAR aucHead[FOREIGN_TS_LAYOUT_SIZE];
    const size_t ulLen = fseeko(pFile, 0, SEEK_SET) == 0 ? fread(aucHead, 1, sizeof(aucHead), pFile) : 0;
    if (!ForeignTs_FindLayout(aucHead, ulLen, &pstSource->stLayout)) {
        return false;
    }
    MoveTo(0, pstSource);
    return true;
}

/* ---- what a file is ---- */

/** Whether the packets say that another maker wrote them. */
bool HasForeignMarks(PACKET_SOURCE_S *pstSource) {
    FOREIGN_TS_MARKS_S stMarks = {};
    const UCHAR *pucPacket = NextPacket(pstSource);
    while (pucPacket != nullptr && ForeignTs_Mark(pucPacket, &stMarks) &&
           Position(*pstSource) < FOREIGN_TS_TAIL_BYTES) {
        Advance(pstSource);
        pucPacket = NextPacket(pstSource);
    }
    return stMarks.bForeign || !stMarks.bTail;
}

bool FindProgramme(PACKET_SOURCE_S *pstSource, FOREIGN_TS_PROGRAMME_S *pstProgramme) {
    const std::unique_ptr<FOREIGN_TS_TABLES_S> pstTables(new (std::nothrow) FOREIGN_TS_TABLES_S());
    if (pstTables == nullptr) {
        return false;
    }
    const UCHAR *pucPacket = NextPacket(pstSource);
    while (pucPacket != nullptr && !ForeignTs_AddTable(pucPacket, pstTables.get()) &&
           Position(*pstSource) < TABLES_LIMIT) {
        Advance(pstSource);
        pucPacket = NextPacket(pstSource);
    }
    return ForeignTs_ChooseProgramme(pstTables.get(), pstProgramme);
}

/** Whether a file has packets and a programme; looks at whose packets they are if it begins as ours do. */
BOOL_T IsForeign(FILE *pFile, bool bAsOurs) {
    const off_t lPos = ftello(pFile);
    const std::unique_ptr<PACKET_SOURCE_S> pstSource(new (std::nothrow) PACKET_SOURCE_S);
    FOREIGN_TS_PROGRAMME_S stProgramme = {};
    bool bIs = pstSource != nullptr && BeginPackets(pFile, pstSource.get());
    bIs = bIs && (!bAsOurs || HasForeignMarks(pstSource.get()));
    if (bIs) {
        MoveTo(0, pstSource.get());
        bIs = FindProgramme(pstSource.get(), &stProgramme);
    }
    fseeko(pFile, std::max<off_t>(lPos, 0), SEEK_SET);
    return bIs ? 1 : 0;
}

void Release(FILE_INFO_S *pstFileInfo) { delete FileOf(pstFileInfo); }

ULONG_32 Create(const CHAR *, FILE_INFO_S *pstFileInfo) {
    std::unique_ptr<FOREIGN_FILE_S> pstFile(new (std::nothrow) FOREIGN_FILE_S());
    pstFileInfo->pucTsDataAddr = File_AllocFrameBuffer();
    if (pstFile == nullptr || pstFileInfo->pucTsDataAddr == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    FOREIGN_TS_PROGRAMME_S stProgramme = {};
    if (!BeginPackets(pstFileInfo->pFile, &pstFile->stSource) || !FindProgramme(&pstFile->stSource, &stProgramme)) {
        return PLAYER_ERR_NOT_SUPPORT;
    }
    ForeignTs_Begin(stProgramme, pstFileInfo->pucTsDataAddr, &pstFile->stStream);
    pstFileInfo->hForeignTsParser = pstFile.release();
    return PLAYER_ERR_OK;
}

/* ---- frames ---- */

/** Goes on at a place of the file, whose time is near to this one. */
void GoOnAt(DULONG dulPos, DULONG dulNear, FOREIGN_FILE_S *pstFile) {
    MoveTo(dulPos, &pstFile->stSource);
    ForeignTs_Flush(&pstFile->stStream);
    pstFile->dulNear = dulNear;
    pstFile->bNeedKey = true;
}

DULONG TimeOf(DULONG dulTime, FOREIGN_FILE_S *pstFile) {
    pstFile->dulNear = ForeignTs_Unwrap(dulTime, pstFile->dulNear);
    word::Store(pstFile->dulNow, pstFile->dulNear);
    return pstFile->dulNear;
}

/** Puts sound where the caller finds room for a head in front of it. */
void GiveSound(const FOREIGN_TS_SOUND_S &stSound, FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame) {
    FOREIGN_FILE_S *pstFile = FileOf(pstFileInfo);
    memcpy(pstFileInfo->pucFrameDataAddr, stSound.pucData, stSound.ulLen);
    pstFrame->pucBuffer = pstFileInfo->pucFrameDataAddr;
    pstFrame->ulBufferLen = stSound.ulLen;
    pstFrame->lPayload = pstFile->stStream.stAudio.lPayload;
    pstFrame->lFormatType = 0;
    pstFrame->dulTimestamp = TimeOf(stSound.dulTime, pstFile);
    if (pstFrame->lPayload == PLAYER_PAYLOAD_AAC) {
        pstFrame->ucAudioType = stSound.ucRateIndex;
        pstFrame->ucFrequencyIndex = stSound.ucObjectType;
        pstFrame->ucChannelNum = stSound.ucChannels;
    }
}

bool IsKeyOnly(ULONG_32 ulFrameCtrl) {
    return ulFrameCtrl == FRAME_CTRL_ONLY_I_FRAME || ulFrameCtrl == FRAME_CTRL_ONLY_I_SP_FRAME;
}

/** Gives the frame of pictures that is whole; false if it is to be passed over. */
bool GiveVideo(FOREIGN_FILE_S *pstFile, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
    const FOREIGN_TS_TRACK_S &stTrack = pstFile->stStream.stVideo;
    const bool bKey = ForeignTs_IsKey(stTrack.lPayload, stTrack.pucData, stTrack.ulLen);
    if (!bKey && (pstFile->bNeedKey || IsKeyOnly(ulFrameCtrl))) {
        return false;
    }
    pstFile->bNeedKey = false;
    pstFile->dulFrame = pstFile->dulUnit;
    pstFrame->pucBuffer = stTrack.pucData;
    pstFrame->ulBufferLen = stTrack.ulLen;
    pstFrame->lPayload = stTrack.lPayload;
    pstFrame->lFormatType = bKey ? PLAYER_VIDEO_FRAME_I : PLAYER_VIDEO_FRAME_P;
    pstFrame->dulTimestamp = TimeOf(stTrack.dulTime, pstFile);
    return true;
}

/** Reads one packet. */
FOREIGN_TS_E AddPacket(const UCHAR *pucPacket, bool bSound, FOREIGN_FILE_S *pstFile) {
    const FOREIGN_TS_E enResult = ForeignTs_Add(pucPacket, bSound, &pstFile->stStream);
    if (enResult == FOREIGN_TS_E::FRAME) {
        return enResult;
    }
    if (ForeignTs_StartsUnit(pucPacket, pstFile->stStream.stVideo.usPid)) {
        pstFile->dulUnit = Position(pstFile->stSource);
    }
    Advance(&pstFile->stSource);
    return enResult;
}

ULONG_32 ReadFrame(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
    FOREIGN_FILE_S *pstFile = FileOf(pstFileInfo);
    const bool bSound = ulFrameCtrl != FRAME_CTRL_PAUSE && !IsKeyOnly(ulFrameCtrl);
    FOREIGN_TS_SOUND_S stSound = {};
    while (!IsStopped(pstFileInfo)) {
        if (bSound && ForeignTs_NextSound(&pstFile->stStream, &stSound)) {
            GiveSound(stSound, pstFileInfo, pstFrame);
            return PLAYER_ERR_OK;
        }
        const UCHAR *pucPacket = NextPacket(&pstFile->stSource);
        if (pucPacket == nullptr) {
            return ForeignTs_EndVideo(&pstFile->stStream) && GiveVideo(pstFile, pstFrame, ulFrameCtrl)
                       ? PLAYER_ERR_OK
                       : PLAYER_ERR_FILE_END;
        }
        const FOREIGN_TS_E enResult = AddPacket(pucPacket, bSound, pstFile);
        if (enResult == FOREIGN_TS_E::FRAME && GiveVideo(pstFile, pstFrame, ulFrameCtrl)) {
            return PLAYER_ERR_OK;
        }
        if (enResult == FOREIGN_TS_E::LOST && !pstFile->bNeedKey) {
            pstFile->bNeedKey = true;
            return PLAYER_ERR_PACKET_LOST;
        }
    }
    return PLAYER_ERR_FAILED;
}

ULONG_32 Read(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
    const ULONG_32 ulResult = ReadFrame(pstFileInfo, pstFrame, ulFrameCtrl);
    if (ulResult != PLAYER_ERR_OK && ulResult != PLAYER_ERR_FILE_END) {
        LOG_ERROR("Parser Failed,Error[%lu].", static_cast<unsigned long>(ulResult));
    }
    return ulResult;
}

/* ---- times ---- */

/** The PID whose times are the file's: pictures, or sound where there are none. */
USHORT TimePid(const FOREIGN_FILE_S &stFile) {
    const FOREIGN_TS_S &stStream = stFile.stStream;
    return stStream.stVideo.usPid != 0 ? stStream.stVideo.usPid : stStream.stAudio.usPid;
}

/** Finds the first unit with a time at or behind the source's position, ahead of an end. */
bool FindTime(DULONG dulEnd, USHORT usPid, PACKET_SOURCE_S *pstSource, DULONG *pdulTime) {
    const UCHAR *pucPacket = NextPacket(pstSource);
    while (pucPacket != nullptr && Position(*pstSource) < dulEnd) {
        if (ForeignTs_UnitTime(pucPacket, usPid, pdulTime)) {
            return true;
        }
        Advance(pstSource);
        pucPacket = NextPacket(pstSource);
    }
    return false;
}

/** The latest time of the last units in the file, or of its first one. */
DULONG FindLastTime(DULONG dulSize, FOREIGN_FILE_S *pstFile) {
    const DULONG dulStep = DULONG{BLOCK_PACKETS} * pstFile->stSource.stLayout.ulStride;
    const DULONG dulLimit = dulSize - std::min(dulSize, TAIL_LIMIT);
    DULONG dulLast = pstFile->dulFirst;
    for (DULONG dulEnd = dulSize; dulEnd > dulLimit && dulLast == pstFile->dulFirst;) {
        const DULONG dulFrom = dulEnd - std::min(dulEnd, dulStep);
        DULONG dulTime = 0;
        MoveTo(dulFrom, &pstFile->stSource);
        for (; FindTime(dulEnd, TimePid(*pstFile), &pstFile->stSource, &dulTime); Advance(&pstFile->stSource)) {
            const DULONG dulWhole = ForeignTs_Unwrap(dulTime, dulLast);
            dulLast = static_cast<DLONG>(dulWhole) > static_cast<DLONG>(dulLast) ? dulWhole : dulLast;
        }
        dulEnd = dulFrom;
    }
    return dulLast;
}

/** The shortest distance of the first frames of pictures, ticks; 0 if there are no two. */
DULONG MeasureFrame(FILE_INFO_S *pstFileInfo) {
    DULONG dulShortest = 0;
    DULONG dulBefore = 0;
    bool bBefore = false;
    FILE_FRAME_INFO_S stFrame = {};
    for (ULONG_32 i = 0; i < RATE_FRAMES; i++) {
        if (ReadFrame(pstFileInfo, &stFrame, FRAME_CTRL_PAUSE) != PLAYER_ERR_OK) {
            break;
        }
        const DULONG dulStep = stFrame.dulTimestamp - dulBefore;
        if (bBefore && dulStep != 0 && static_cast<DLONG>(dulStep) > 0 && (dulShortest == 0 || dulStep < dulShortest)) {
            dulShortest = dulStep;
        }
        dulBefore = stFrame.dulTimestamp;
        bBefore = true;
    }
    return dulShortest;
}

ULONG_32 GetProperty(FILE_INFO_S *pstFileInfo) {
    FOREIGN_FILE_S *pstFile = FileOf(pstFileInfo);
    pstFileInfo->dulFileSize = File_Length(pstFileInfo->pFile);
    MoveTo(0, &pstFile->stSource);
    if (!FindTime(pstFileInfo->dulFileSize, TimePid(*pstFile), &pstFile->stSource, &pstFile->dulFirst)) {
        LOG_ERROR("File_GetFileProperty Failed, File_GetPCR Get First Frame Pcr Failed.");
    }
    pstFileInfo->dulFirstTime = pstFile->dulFirst;
    pstFileInfo->usPid = TimePid(*pstFile);
    GoOnAt(0, pstFile->dulFirst, pstFile);
    const DULONG dulFrame = pstFile->stStream.stVideo.usPid != 0 ? MeasureFrame(pstFileInfo) : 0;
    if (dulFrame != 0) {
        pstFileInfo->lFrameRate = static_cast<LONG_32>((TICKS_A_SECOND + dulFrame / 2) / dulFrame);
    }
    const DULONG dulWhole = FindLastTime(pstFileInfo->dulFileSize, pstFile) - pstFile->dulFirst + dulFrame;
    pstFileInfo->ulLastTime = static_cast<ULONG_32>(dulWhole / TICKS_A_SECOND);
    GoOnAt(0, pstFile->dulFirst, pstFile);
    word::Store(pstFile->dulNow, pstFile->dulFirst);
    return PLAYER_ERR_OK;
}

ULONG_32 PlayTime(FILE_INFO_S *pstFileInfo, ULONG_32 *pulPlayTime) {
    const FOREIGN_FILE_S *pstFile = FileOf(pstFileInfo);
    const DLONG dlPast = static_cast<DLONG>(word::Load(pstFile->dulNow) - pstFile->dulFirst);
    *pulPlayTime = dlPast > 0 ? static_cast<ULONG_32>(static_cast<DULONG>(dlPast) / TICKS_A_SECOND) : 0;
    return PLAYER_ERR_OK;
}

/* ---- jumps ---- */

/** Halves the file until the place is near at which units are as late as the target. @return a place ahead of it */
DULONG FindPlace(DULONG dulTarget, DULONG dulSize, FOREIGN_FILE_S *pstFile) {
    DULONG dulLow = 0;
    DULONG dulHigh = dulSize;
    while (dulHigh - dulLow > NEAR_ENOUGH) {
        const DULONG dulMiddle = dulLow + (dulHigh - dulLow) / 2;
        DULONG dulTime = 0;
        MoveTo(dulMiddle, &pstFile->stSource);
        const bool bFound =
            FindTime(std::min(dulHigh, dulMiddle + PROBE_LIMIT), TimePid(*pstFile), &pstFile->stSource, &dulTime);
        const DLONG dlPast = static_cast<DLONG>(ForeignTs_Unwrap(dulTime, pstFile->dulFirst) - dulTarget);
        (bFound && dlPast < 0 ? dulLow : dulHigh) = dulMiddle;
    }
    return dulLow;
}

/** Whether a frame is one to which a jump can go: with pictures in the file a key frame, else sound. */
bool ReadTarget(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, DULONG *pdulPos, bool *pbMore) {
    FOREIGN_FILE_S *pstFile = FileOf(pstFileInfo);
    const bool bVideo = pstFile->stStream.stVideo.usPid != 0;
    *pdulPos = Position(pstFile->stSource);
    const ULONG_32 ulResult =
        ReadFrame(pstFileInfo, pstFrame, bVideo ? ULONG_32{FRAME_CTRL_ONLY_I_FRAME} : ULONG_32{FRAME_CTRL_PLAY});
    *pdulPos = bVideo ? pstFile->dulFrame : *pdulPos;
    *pbMore = ulResult == PLAYER_ERR_OK || ulResult == PLAYER_ERR_PACKET_LOST;
    return ulResult == PLAYER_ERR_OK;
}

/** Reads on from a place. @return where the first key frame at or behind the target is; else NO_KEY, and the last one
 * ahead of it in pdulBefore */
DULONG FindKey(DULONG dulFrom, DULONG dulTarget, FILE_INFO_S *pstFileInfo, DULONG *pdulBefore) {
    GoOnAt(dulFrom, dulTarget, FileOf(pstFileInfo));
    FILE_FRAME_INFO_S stFrame = {};
    *pdulBefore = NO_KEY;
    for (bool bMore = true; bMore;) {
        DULONG dulPos = 0;
        if (!ReadTarget(pstFileInfo, &stFrame, &dulPos, &bMore)) {
            continue;
        }
        if (static_cast<DLONG>(stFrame.dulTimestamp - dulTarget) >= 0) {
            return dulPos;
        }
        *pdulBefore = dulPos;
    }
    return NO_KEY;
}

/** The key frame at or behind a time; behind the last one, that. */
DULONG FindKeyAround(DULONG dulTarget, FILE_INFO_S *pstFileInfo) {
    DULONG dulFrom = FindPlace(dulTarget, pstFileInfo->dulFileSize, FileOf(pstFileInfo));
    DULONG dulBefore = NO_KEY;
    for (DULONG dulStep = BACK_STEP;; dulStep *= 2) {
        const DULONG dulKey = FindKey(dulFrom, dulTarget, pstFileInfo, &dulBefore);
        if (dulKey != NO_KEY || dulBefore != NO_KEY || dulFrom == 0 || IsStopped(pstFileInfo)) {
            return dulKey != NO_KEY ? dulKey : dulBefore;
        }
        dulFrom -= std::min(dulFrom, dulStep);
    }
}

ULONG_32 Seek(FILE_INFO_S *pstFileInfo, ULONG_32 ulSeconds, LONG_32) {
    FOREIGN_FILE_S *pstFile = FileOf(pstFileInfo);
    if (ulSeconds >= pstFileInfo->ulLastTime && ulSeconds != 0) {
        return PLAYER_ERR_OK;
    }
    if (ulSeconds == 0) {
        GoOnAt(0, pstFile->dulFirst, pstFile);
        return PLAYER_ERR_OK;
    }
    const DULONG dulBefore = pstFile->stStream.stVideo.bOpen ? pstFile->dulUnit : Position(pstFile->stSource);
    const DULONG dulNear = pstFile->dulNear;
    const DULONG dulNow = pstFile->dulNow;
    const DULONG dulTarget = pstFile->dulFirst + ulSeconds * TICKS_A_SECOND;
    const DULONG dulKey = FindKeyAround(dulTarget, pstFileInfo);
    if (dulKey == NO_KEY) {
        LOG_ERROR("Get Offset Failed.");
        GoOnAt(dulBefore, dulNear, pstFile);
        word::Store(pstFile->dulNow, dulNow);
        return PLAYER_ERR_FAILED;
    }
    GoOnAt(dulKey, dulTarget, pstFile);
    return PLAYER_ERR_OK;
}

}  // namespace

const FILE_CONTAINER_S gstForeignTsContainer = {
    &FILE_INFO_S::hForeignTsParser, File_IsForeignTs, Create, GetProperty, Read, Seek, PlayTime, nullptr, Release,
    {nullptr, nullptr, nullptr}};

const FILE_CONTAINER_S gstCutTsContainer = {
    &FILE_INFO_S::hForeignTsParser, File_IsCutTs, Create, GetProperty, Read, Seek, PlayTime, nullptr, Release,
    {nullptr, nullptr, nullptr}};

BOOL_T File_IsForeignTs(FILE *pFile) { return TS_IsTSFile(pFile) == 1 ? IsForeign(pFile, true) : 0; }

BOOL_T File_IsCutTs(FILE *pFile) { return pFile != nullptr && TS_IsTSFile(pFile) != 1 ? IsForeign(pFile, false) : 0; }
