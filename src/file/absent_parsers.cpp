// KRDF: recognised, and no parser behind it in this build.
#include <string.h>

#include "file/module_krdf.h"
#include "foundations/com_log.h"

namespace {

const size_t KRDF_HEAD_LEN = 144;
const UCHAR KRDF_MAGIC[] = {0x67, 0x13, 0, 0};

/** Reads the first bytes of a file and puts the position back; false if they are not all there. */
template <size_t LEN>
bool ReadHead(FILE *pFile, UCHAR (&aucHead)[LEN]) {
    if (pFile == nullptr) {
        return false;
    }
    const off_t lPos = ftello(pFile);
    const bool bRead = fseeko(pFile, 0, SEEK_SET) == 0 && fread(aucHead, 1, LEN, pFile) == LEN;
    return lPos >= 0 && fseeko(pFile, lPos, SEEK_SET) == 0 && bRead;
}

ULONG_32 NoParser(const CHAR *pcFunction) {
    LOG_ERROR("%s Failed, Not Support, Error:[0x%x].", pcFunction, static_cast<ULONG_32>(PLAYER_ERR_NOT_SUPPORT));
    return PLAYER_ERR_NOT_SUPPORT;
}

HANDLE NoHandle(const CHAR *pcFunction) {
    NoParser(pcFunction);
    return nullptr;
}

}  // namespace

BOOL_T KRDF_IsKrdfFile(FILE *pFile) {
    UCHAR aucHead[KRDF_HEAD_LEN];
    return ReadHead(pFile, aucHead) && memcmp(aucHead, KRDF_MAGIC, sizeof(KRDF_MAGIC)) == 0;
}

HANDLE KRDF_CreateKrdfParser(const CHAR *, DULONG) { return NoHandle(__func__); }

void KRDF_DestroyKrdfParser(HANDLE) {}

ULONG_32 KRDF_GetKrdfInfo(HANDLE, KRDF_INFO_S *) { return NoParser(__func__); }

ULONG_32 KRDF_GetOneFrameData(HANDLE, ULONG_32, KRDF_FRAME_INFO_S *) { return NoParser(__func__); }

ULONG_32 KRDF_SetPlayTime(HANDLE, ULONG_32) { return NoParser(__func__); }

ULONG_32 KRDF_GetPlayTime(HANDLE, ULONG_32 *) { return NoParser(__func__); }
