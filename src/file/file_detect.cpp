// Opening and releasing a file: what it is, its parser, its properties.
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "file/file_inner.h"
#include "file/module_avi.h"
#include "file/module_file.h"
#include "file/module_krdf.h"
#include "file/mp4_parse.h"
#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"

namespace {

const size_t STREAM_BUFFER_SIZE = 256 * 1024; /**< reads are small and in order: fewer, larger ones to the kernel */

/* ---- the file itself ---- */

/** A pipe is no file to move in, and to open one waits for a writer that may never come. */
bool IsPipe(const CHAR *pcFileName) {
    struct stat stStat;
    return pcFileName != nullptr && stat(pcFileName, &stStat) == 0 && S_ISFIFO(stStat.st_mode);
}

ULONG_32 OpenStream(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo) {
    ULONG_32 ulError = PLAYER_ERR_NOT_SUPPORT;
    pstFileInfo->pFile = IsPipe(pcFileName) ? nullptr : WYK_FileOpen(pcFileName, "rb", &ulError);
    if (pstFileInfo->pFile == nullptr) {
        LOG_ERROR("File_CreateFileParser Failed, Fopen Failed, Error[0x%x].", ulError);
        return PLAYER_ERR_FILE_OPEN;
    }
    pstFileInfo->pcStreamBuffer = static_cast<CHAR *>(malloc(STREAM_BUFFER_SIZE));
    if (pstFileInfo->pcStreamBuffer != nullptr) {
        setvbuf(pstFileInfo->pFile, pstFileInfo->pcStreamBuffer, _IOFBF, STREAM_BUFFER_SIZE);
    }
    return PLAYER_ERR_OK;
}

void CloseStream(FILE_INFO_S *pstFileInfo) {
    if (pstFileInfo->pFile != nullptr) {
        fclose(pstFileInfo->pFile);
        pstFileInfo->pFile = nullptr;
    }
    free(pstFileInfo->pcStreamBuffer);
    pstFileInfo->pcStreamBuffer = nullptr;
}

UCHAR *AllocFrameBuffer() {
    UCHAR *pucBuffer = static_cast<UCHAR *>(malloc(VIDEO_FRAME_BUFFER_SIZE));
    if (pucBuffer == nullptr) {
        LOG_ERROR("File_CreateFileParser Failed, WYK_MALLOC[%d] Failed.",
                  static_cast<LONG_32>(VIDEO_FRAME_BUFFER_SIZE));
    }
    return pucBuffer;
}

/* ---- the kinds of files, in the order in which they are tried ---- */

ULONG_32 CreateMp4(const CHAR *, FILE_INFO_S *pstFileInfo) {
    pstFileInfo->hMp4Parser = MP4_CreateMp4Parser(pstFileInfo->pFile, 0);
    if (pstFileInfo->hMp4Parser == nullptr) {
        LOG_ERROR("File_CreateFileParser Failed, MP4_CreateMp4Parser Failed.");
        return PLAYER_ERR_PARAM;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 CreateTs(const CHAR *, FILE_INFO_S *pstFileInfo) {
    pstFileInfo->pucTsDataAddr = AllocFrameBuffer();
    if (pstFileInfo->pucTsDataAddr == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    pstFileInfo->stTsStreamInfo = {};
    return PLAYER_ERR_OK;
}

ULONG_32 CreateAvi(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo) {
    pstFileInfo->hAviParser = AVI_CreateParser(pcFileName);
    if (pstFileInfo->hAviParser == nullptr) {
        LOG_ERROR("File_CreateFileParser Failed, AVI_CreateAviParser Failed.");
        return PLAYER_ERR_NOT_SUPPORT;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 CreateKrdf(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo) {
    pstFileInfo->hKrdfParser = KRDF_CreateKrdfParser(pcFileName, pstFileInfo->dulFileStartPos);
    if (pstFileInfo->hKrdfParser == nullptr) {
        LOG_ERROR("File_CreateFileParser Failed, KRDF_CreateKrdfParser Failed.");
        return PLAYER_ERR_NOT_SUPPORT;
    }
    return PLAYER_ERR_OK;
}

struct FORMAT_ROW_S {
    BOOL_T (*pfnIsFormat)(FILE *pFile);
    ULONG_32 (*pfnCreate)(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo);
};

const FORMAT_ROW_S gastFormat[] = {
    {MP4_IsMp4File, CreateMp4}, {TS_IsTSFile, CreateTs}, {AVI_IsAviFile, CreateAvi}, {KRDF_IsKrdfFile, CreateKrdf}};

ULONG_32 CreateParser(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo) {
    pstFileInfo->pucFrameDataAddr = AllocFrameBuffer();
    if (pstFileInfo->pucFrameDataAddr == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    for (const FORMAT_ROW_S &stRow : gastFormat) {
        if (stRow.pfnIsFormat(pstFileInfo->pFile)) {
            return stRow.pfnCreate(pcFileName, pstFileInfo);
        }
    }
    return PLAYER_ERR_NOT_SUPPORT;
}

ULONG_32 ReadProperties(FILE_INFO_S *pstFileInfo) {
    ULONG_32 ulResult = File_GetFileProperty(pstFileInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_CreateFileParser Failed, File_GetFileProperty.");
    }
    return ulResult;
}

void ReleaseParts(FILE_INFO_S *pstFileInfo) {
    MP4_ReleaseMp4Parser(static_cast<mp4_moov_box *>(pstFileInfo->hMp4Parser));
    pstFileInfo->hMp4Parser = nullptr;
    KRDF_DestroyKrdfParser(pstFileInfo->hKrdfParser);
    pstFileInfo->hKrdfParser = nullptr;
    free(pstFileInfo->pucFrameDataAddr);
    pstFileInfo->pucFrameDataAddr = nullptr;
    CloseStream(pstFileInfo);
    free(pstFileInfo->pucTsDataAddr);
    pstFileInfo->pucTsDataAddr = nullptr;
}

/* ---- properties ---- */

ULONG_32 GetMp4Property(FILE_INFO_S *pstFileInfo) {
    MP4_INFO_S stInfo = {};
    ULONG_32 ulResult = MP4_GetMp4Info(static_cast<mp4_moov_box *>(pstFileInfo->hMp4Parser), &stInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_GetFileProperty Failed, MP4_GetMp4Info Failed, Error[0x%x].", ulResult);
        return ulResult;
    }
    pstFileInfo->dulFirstTime = 0;
    pstFileInfo->ulLastTime = stInfo.ulPlayTime;
    pstFileInfo->lFrameRate = static_cast<LONG_32>(stInfo.ulFrameRate);
    return PLAYER_ERR_OK;
}

ULONG_32 GetAviProperty(FILE_INFO_S *pstFileInfo) {
    AVI_INFO_S stInfo = {};
    ULONG_32 ulResult = AVI_GetAviInfo(pstFileInfo->hAviParser, &stInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_GetFileProperty Failed, AVI_GetAviInfo Failed, Error[0x%x].", ulResult);
        return ulResult;
    }
    pstFileInfo->dulFirstTime = 0;
    pstFileInfo->ulLastTime = stInfo.ulPlayTime;
    pstFileInfo->lFrameRate = static_cast<LONG_32>(stInfo.ulFrameRate);
    return PLAYER_ERR_OK;
}

ULONG_32 GetKrdfProperty(FILE_INFO_S *pstFileInfo) {
    pstFileInfo->dulFileSize = pstFileInfo->dulFileEndPos != 0
                                   ? pstFileInfo->dulFileEndPos - pstFileInfo->dulFileStartPos
                                   : FileInner_Length(pstFileInfo->pFile);
    if (pstFileInfo->dulFileSize == 0) {
        LOG_ERROR("File_GetFileProperty fail, File Len is Zero");
        return PLAYER_ERR_FAILED;
    }
    KRDF_INFO_S stInfo = {};
    ULONG_32 ulResult = KRDF_GetKrdfInfo(pstFileInfo->hKrdfParser, &stInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_GetFileProperty Failed, KRDF_GetKrdfInfo Failed, Error[0x%x].", ulResult);
        return ulResult;
    }
    pstFileInfo->dulFirstTime = stInfo.dulFirstTime;
    pstFileInfo->ulLastTime = stInfo.ulLastTime;
    pstFileInfo->lFrameRate = stInfo.lFrameRate;
    return PLAYER_ERR_OK;
}

ULONG_32 GetProperty(FILE_INFO_S *pstFileInfo) {
    if (pstFileInfo->hMp4Parser != nullptr) {
        return GetMp4Property(pstFileInfo);
    }
    if (pstFileInfo->hAviParser != nullptr) {
        return GetAviProperty(pstFileInfo);
    }
    return pstFileInfo->hKrdfParser != nullptr ? GetKrdfProperty(pstFileInfo) : FileInner_GetTsProperty(pstFileInfo);
}

}  // namespace

DULONG FileInner_Length(FILE *pFile) {
    const off_t lLen = fseeko(pFile, 0, SEEK_END) == 0 ? ftello(pFile) : -1;
    return lLen > 0 ? static_cast<DULONG>(lLen) : 0;
}

ULONG_32 File_CreateFileParser(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo) {
    if (pstFileInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulResult = OpenStream(pcFileName, pstFileInfo);
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = CreateParser(pcFileName, pstFileInfo);
    }
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = ReadProperties(pstFileInfo);
    }
    if (ulResult != PLAYER_ERR_OK) {
        if (pstFileInfo->hAviParser != nullptr) {
            AVI_FileClose(nullptr, pstFileInfo->hAviParser);
            pstFileInfo->hAviParser = nullptr;
        }
        ReleaseParts(pstFileInfo);
    }
    return ulResult;
}

ULONG_32 File_ReleaseFileParser(FILE_INFO_S *pstFileInfo) {
    if (pstFileInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ReleaseParts(pstFileInfo);
    *pstFileInfo = {};
    return PLAYER_ERR_OK;
}

ULONG_32 File_CreateTsParser(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo) {
    if (pstFileInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *pstFileInfo = {};
    ULONG_32 ulResult = OpenStream(pcFileName, pstFileInfo);
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = ReadProperties(pstFileInfo);
    }
    if (ulResult != PLAYER_ERR_OK) {
        CloseStream(pstFileInfo);
    }
    return ulResult;
}

ULONG_32 File_ReleaseTsParser(FILE_INFO_S *pstFileInfo) {
    if (pstFileInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    CloseStream(pstFileInfo);
    *pstFileInfo = {};
    return PLAYER_ERR_OK;
}

ULONG_32 File_GetFileProperty(FILE_INFO_S *pstFileInfo) {
    if (pstFileInfo == nullptr || pstFileInfo->pFile == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulResult = GetProperty(pstFileInfo);
    if (ulResult == PLAYER_ERR_OK) {
        File_GetIFrameIntervalTime(pstFileInfo);
    }
    return ulResult;
}
