/**
 * @file file_inner.h
 * @brief What the parts of the file layer share.
 */
#ifndef ZELVANE_FILE_FILE_INNER_H
#define ZELVANE_FILE_FILE_INNER_H

#include "file/module_file.h"

/** Length of a file, 0 if it can't be told. The position becomes the end. */
DULONG FileInner_Length(FILE *pFile);

/** Properties of an MPEG-TS file, read off its clock references. The position becomes the start. */
ULONG_32 FileInner_GetTsProperty(FILE_INFO_S *pstFileInfo);

/** Gathers and unpacks the packets of the next frame of an MPEG-TS file. */
ULONG_32 FileInner_ReadTsFrame(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl);

/** Moves an MPEG-TS file. */
ULONG_32 FileInner_SetTsTime(FILE_INFO_S *pstFileInfo, ULONG_32 ulSeconds);

/** Time of the newest clock reference of an MPEG-TS file, seconds since its start; 0 before the first. */
ULONG_32 FileInner_GetTsTime(const FILE_INFO_S *pstFileInfo);

#endif
