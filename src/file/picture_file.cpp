#include "file/picture_file.h"

#include <limits.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <new>

#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"

namespace {

const size_t BMP_HEAD_SIZE = 54;
const CHAR *const TEMP_ENDING = ".temp";

void CutExtension(CHAR *pcFileName, const CHAR *pcExtension) {
    CHAR *pcDot = strrchr(pcFileName, '.');
    if (pcDot != nullptr && strcmp(pcDot, pcExtension) == 0) {
        *pcDot = '\0';
    }
}

/** A file that is being written, beside its name until it is whole. Both containers share the words of their failures.
 */
class CPictureFile {
 public:
    CPictureFile(CHAR *pcFileName, const CHAR *pcExtension) {
        CutExtension(pcFileName, pcExtension);
        snprintf(m_acPath, sizeof(m_acPath), "%s%s", pcFileName, pcExtension);
        NameTemp();
        m_pFile = WYK_FileOpen(m_acTemp, "wb", &m_ulResult);
        if (m_pFile == nullptr) {
            LOG_ERROR("File_SaveJpeg Failed, WYK_FileOpen Failed, Error[0x%x].", m_ulResult);
        }
    }
    ~CPictureFile() { Close(); }
    CPictureFile(const CPictureFile &) = delete;
    CPictureFile &operator=(const CPictureFile &) = delete;

    /** After a failure nothing more is written. */
    void Write(const UCHAR *pucData, ULONG_32 ulLen) {
        if (m_ulResult == PLAYER_ERR_OK) {
            NoteWrite(WYK_FileWrite(m_pFile, pucData, ulLen));
        }
    }

    /** What became of it all: some disks tell that they are full only at the end. A picture that is not whole goes. */
    ULONG_32 Close() {
        if (m_pFile == nullptr) {
            return m_ulResult;
        }
        const bool bWhole = fclose(m_pFile) == 0;
        m_pFile = nullptr;
        if (m_ulResult == PLAYER_ERR_OK && !bWhole) {
            NoteWrite(PLAYER_ERR_DISK_FULL);
        }
        if (m_ulResult == PLAYER_ERR_OK && rename(m_acTemp, m_acPath) != 0) {
            NoteWrite(PLAYER_ERR_FAILED);
        }
        if (m_ulResult != PLAYER_ERR_OK) {
            unlink(m_acTemp);
        }
        return m_ulResult;
    }

 private:
    /** The file's own name with the ending of what is being written, cut where a name may not be so long. */
    void NameTemp() {
        snprintf(m_acTemp, sizeof(m_acTemp), "%s", m_acPath);
        CHAR *pcSlash = strrchr(m_acTemp, '/');
        CHAR *pcOwn = pcSlash != nullptr ? pcSlash + 1 : m_acTemp;
        const size_t ulOwn = strlen(pcOwn);
        if (ulOwn <= NAME_MAX) {  // a longer one fails at its opening, as it is
            CHAR *pcEnd = pcOwn + std::min(ulOwn, NAME_MAX - strlen(TEMP_ENDING));
            snprintf(pcEnd, static_cast<size_t>(m_acTemp + sizeof(m_acTemp) - pcEnd), "%s", TEMP_ENDING);
        }
    }

    void NoteWrite(ULONG_32 ulResult) {
        m_ulResult = ulResult;
        if (ulResult != PLAYER_ERR_OK) {
            LOG_ERROR("File_SaveJpeg Failed, WYK_FileWrite Failed, Error[0x%x].", ulResult);
        }
    }

    CHAR m_acPath[PATH_MAX];
    CHAR m_acTemp[PATH_MAX];
    FILE *m_pFile = nullptr;
    ULONG_32 m_ulResult = PLAYER_ERR_OK;
};

/** Little-endian, one field after the other. */
class CHeadWriter {
 public:
    explicit CHeadWriter(UCHAR *pucAt) : m_pucAt(pucAt) {}
    CHeadWriter &Put(ULONG_32 ulValue, int lBytes) {
        for (int i = 0; i < lBytes; i++) {
            *m_pucAt++ = static_cast<UCHAR>(ulValue >> (8 * i));
        }
        return *this;
    }

 private:
    UCHAR *m_pucAt;
};

void FillBmpHead(ULONG_32 ulWidth, ULONG_32 ulHeight, UCHAR (&aucHead)[BMP_HEAD_SIZE]) {
    std::fill_n(aucHead, BMP_HEAD_SIZE, UCHAR{0});
    const ULONG_32 ulPixels = (ulWidth * 24 + 31) / 32 * ulHeight * 4;
    CHeadWriter(aucHead).Put(0x4D42, 2).Put(BMP_HEAD_SIZE + ulPixels, 4).Put(0, 4).Put(BMP_HEAD_SIZE, 4);
    CHeadWriter(aucHead + 14).Put(40, 4).Put(ulWidth, 4).Put(ulHeight, 4).Put(1, 2).Put(24, 2);
}

CODEC_PIC_S SourceOf(const CODE_DECODED_DATA_S &stData) {
    CODEC_PIC_S stSource = {};
    for (int i = 0; i < 4; i++) {
        stSource.pucData[i] = stData.pucData[i];
        stSource.ulLineSize[i] = static_cast<ULONG_32>(stData.lLineSize[i]);
    }
    stSource.ulWidth = static_cast<ULONG_32>(std::max(stData.lWidth, 0));
    stSource.ulHeight = static_cast<ULONG_32>(std::max(stData.lHeight, 0));
    return stSource;
}

/** Bytes of the pixels at most; 0 when the file's 32-bit sizes can't hold them. */
ULONG_32 PixelRoom(const CODEC_PIC_S &stSource) {
    const DULONG dulRoom = static_cast<DULONG>(stSource.ulHeight) * (stSource.ulWidth / 4 * 4) * 4;
    return dulRoom <= INT_MAX ? static_cast<ULONG_32>(dulRoom) : 0;
}

}  // namespace

ULONG_32 File_SaveJpeg(CODEC_INFO_S *pstCodec, CHAR *pcFileName, CODE_DECODED_DATA_S *pstDecodeData,
                       FISH_EYE_INFO_S * /*pstFisheyeInfo*/) {
    if (pcFileName == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    CODEC_FRAME_S stFrame = {};
    const ULONG_32 ulResult = CODE_Encoder(pstCodec, pstDecodeData, &stFrame);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_SaveJpeg Failed, CODE_Encoder Failed, Error[0x%x].", ulResult);
        return ulResult;
    }
    CPictureFile oFile(pcFileName, ".jpg");
    oFile.Write(stFrame.pucData, stFrame.ulSize);
    return oFile.Close();
}

ULONG_32 File_SaveBmp(CHAR *pcFileName, CODE_DECODED_DATA_S *pstDecodeData) {
    if (pcFileName == nullptr || pstDecodeData == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const CODEC_PIC_S stSource = SourceOf(*pstDecodeData);
    const ULONG_32 ulRoom = PixelRoom(stSource);
    const std::unique_ptr<UCHAR[]> pucPixels(ulRoom != 0 ? new (std::nothrow) UCHAR[ulRoom] : nullptr);
    if (ulRoom != 0 && pucPixels == nullptr) {
        LOG_ERROR("File_SaveBmp Failed, WYK_MALLOC Size[%d] Failed.", static_cast<LONG_32>(ulRoom));
        return PLAYER_ERR_MALLOC;
    }
    CODEC_PIC_S stPixels = {};
    stPixels.pucData[0] = pucPixels.get();
    stPixels.ulLineSize[0] = ulRoom;
    const ULONG_32 ulResult = CODE_ColorSpace(FORMAT_COLORSPACE_YUVTORGB32, &stSource, &stPixels);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_SaveBmp Failed, CODE_ColorSpace Failed, Error[0x%x].", ulResult);
        return ulResult;
    }
    UCHAR aucHead[BMP_HEAD_SIZE];
    FillBmpHead(stSource.ulWidth / 4 * 4, stSource.ulHeight / 4 * 4, aucHead);
    CPictureFile oFile(pcFileName, ".bmp");
    oFile.Write(aucHead, BMP_HEAD_SIZE);
    oFile.Write(pucPixels.get(), stPixels.ulLineSize[0]);
    return oFile.Close();
}
