// Opening and releasing a file: what it is, its parser, its properties.
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "file/file_container.h"
#include "file/module_file.h"
#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"

namespace {

const size_t STREAM_BUFFER_SIZE = 256 * 1024; /**< reads are small and in order: fewer, larger ones to the kernel */

/* ---- the file itself ---- */

bool IsPipe(const CHAR *pcFileName) {
    struct stat stStat;
    return pcFileName != nullptr && stat(pcFileName, &stStat) == 0 && S_ISFIFO(stStat.st_mode);
}

ULONG_32 OpenStream(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo) {
    ULONG_32 ulError = PLAYER_ERR_OK;
    pstFileInfo->pFile = File_OpenForReading(pcFileName, &ulError);
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

/* ---- the containers, in the order in which they are tried ---- */

const FILE_CONTAINER_S *const gapContainer[] = {&gstMp4Container, &gstForeignTsContainer, &gstTsContainer,
                                                &gstAviContainer, &gstKrdfContainer,      &gstCutTsContainer};

ULONG_32 CreateParser(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo) {
    pstFileInfo->pucFrameDataAddr = File_AllocFrameBuffer();
    if (pstFileInfo->pucFrameDataAddr == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    for (const FILE_CONTAINER_S *pstContainer : gapContainer) {
        if (pstContainer->pfnIs(pstFileInfo->pFile)) {
            return pstContainer->pfnCreate(pcFileName, pstFileInfo);
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

/** The parser of the container, if the file has one. */
void ReleaseParser(FILE_INFO_S *pstFileInfo) {
    const FILE_CONTAINER_S &stContainer = FileContainer_Of(pstFileInfo);
    if (stContainer.pfnRelease != nullptr) {
        stContainer.pfnRelease(pstFileInfo);
        pstFileInfo->*stContainer.phParser = nullptr;
    }
}

void ReleaseParts(FILE_INFO_S *pstFileInfo) {
    free(pstFileInfo->pucFrameDataAddr);
    pstFileInfo->pucFrameDataAddr = nullptr;
    CloseStream(pstFileInfo);
    free(pstFileInfo->pucTsDataAddr);
    pstFileInfo->pucTsDataAddr = nullptr;
}

}  // namespace

FILE *File_OpenForReading(const CHAR *pcFileName, ULONG_32 *pulError) {
    *pulError = PLAYER_ERR_NOT_SUPPORT;
    return IsPipe(pcFileName) ? nullptr : WYK_FileOpen(pcFileName, "rb", pulError);
}

UCHAR *File_AllocFrameBuffer() {
    UCHAR *pucBuffer = static_cast<UCHAR *>(calloc(1, VIDEO_FRAME_BUFFER_SIZE));
    if (pucBuffer == nullptr) {
        LOG_ERROR("File_CreateFileParser Failed, WYK_MALLOC[%d] Failed.",
                  static_cast<LONG_32>(VIDEO_FRAME_BUFFER_SIZE));
    }
    return pucBuffer;
}

const FILE_CONTAINER_S &FileContainer_Of(const FILE_INFO_S *pstFileInfo) {
    for (const FILE_CONTAINER_S *pstContainer : gapContainer) {
        if (pstContainer->phParser != nullptr && pstFileInfo->*pstContainer->phParser != nullptr) {
            return *pstContainer;
        }
    }
    return gstTsContainer;
}

DULONG File_Length(FILE *pFile) {
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
        ReleaseParser(pstFileInfo);
        ReleaseParts(pstFileInfo);
    }
    return ulResult;
}

ULONG_32 File_ReleaseFileParser(FILE_INFO_S *pstFileInfo) {
    if (pstFileInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (pstFileInfo->hAviParser == nullptr) {
        ReleaseParser(pstFileInfo);
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
    ULONG_32 ulResult = FileContainer_Of(pstFileInfo).pfnProperty(pstFileInfo);
    if (ulResult == PLAYER_ERR_OK) {
        File_GetIFrameIntervalTime(pstFileInfo);
    }
    return ulResult;
}
