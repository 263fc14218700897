/**
 * @file file_container.h
 * @brief What the file layer knows of a container: one record of functions each. A further container is a file of its
 * own and a row in file_detect.cpp.
 */
#ifndef ZELVANE_FILE_FILE_CONTAINER_H
#define ZELVANE_FILE_FILE_CONTAINER_H

#include "file/module_file.h"

/** Functions that log lines name when one of them fails. */
struct FILE_CONTAINER_NAMES_S {
    const CHAR *pcRead;
    const CHAR *pcSeek;
    const CHAR *pcTime;
};

/** One container. All functions but pfnIs get an open file of their kind and return 0 or an error code. */
struct FILE_CONTAINER_S {
    HANDLE FILE_INFO_S::*
        phParser; /**< the handle that tells an open file's container; null for our MPEG-TS, which has none */
    BOOL_T (*pfnIs)(FILE *pFile); /**< whether a file is one */
    ULONG_32 (*pfnCreate)(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo);
    ULONG_32 (*pfnProperty)(FILE_INFO_S *pstFileInfo);
    ULONG_32 (*pfnRead)(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl);
    ULONG_32 (*pfnSeek)(FILE_INFO_S *pstFileInfo, ULONG_32 ulSeconds, LONG_32 lFrameRate);
    ULONG_32 (*pfnPlayTime)(FILE_INFO_S *pstFileInfo, ULONG_32 *pulPlayTime);
    void (*pfnToBegin)(FILE_INFO_S *pstFileInfo); /**< after the rewind of an open; null: the rewind did all */
    void (*pfnRelease)(FILE_INFO_S *pstFileInfo); /**< gives the parser up; null: there is nothing to give up */
    FILE_CONTAINER_NAMES_S stNames; /**< of those whose failures the file layer logs; null: they log themselves */
};

extern const FILE_CONTAINER_S gstMp4Container;
extern const FILE_CONTAINER_S gstTsContainer;
extern const FILE_CONTAINER_S gstForeignTsContainer; /**< begins as our own files do */
extern const FILE_CONTAINER_S gstCutTsContainer;     /**< the same, but it begins inside a packet or with a time stamp */
extern const FILE_CONTAINER_S gstAviContainer;
extern const FILE_CONTAINER_S gstKrdfContainer;

/** Container of an open file. */
const FILE_CONTAINER_S &FileContainer_Of(const FILE_INFO_S *pstFileInfo);

/** Length of a file, 0 if it can't be told. The position becomes the end. */
DULONG File_Length(FILE *pFile);

/** A buffer for a frame, VIDEO_FRAME_BUFFER_SIZE bytes, or null, logged. */
UCHAR *File_AllocFrameBuffer();

#endif
