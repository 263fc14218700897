/**
 * @file mp4_descriptions.cpp
 * @brief What a track's samples are: the entries of "stsd" and the decoder configurations in them.
 */
#include <cstring>
#include <new>

#include "file/mp4_boxes.h"
#include "file/mp4_inner.h"
#include "foundations/bytes.h"
#include "foundations/com_log.h"

namespace {

/** Fixed part of a visual sample entry, behind the box's head. */
constexpr ULONG_32 VISUAL_ENTRY_SIZE = 78;

/** Boxes in a visual sample entry that are looked through for "avcC". */
constexpr ULONG_32 ENTRY_BOXES_MAX = 32;

/** Words of an audio sample entry up to the type of the box in it. */
constexpr size_t AUDIO_ENTRY_WORDS = 8;

/** Far more than the descriptors of one AAC track take. */
constexpr size_t DESCRIPTORS_SIZE_MAX = 512;

/** Tags of ISO/IEC 14496-1, table 1. */
enum : UCHAR {
    TAG_ES = 3,
    TAG_DECODER_CONFIG = 4,
    TAG_DECODER_SPECIFIC = 5,
};

/** Up to four bytes of seven bits, the top bit of each announcing another. */
template <class NextByte>
ULONG_32 DescriptorSize(NextByte pfnNext) {
    ULONG_32 ulSize = 0;
    for (int i = 0; i < 4; ++i) {
        const UCHAR ucByte = pfnNext();
        ulSize = ulSize << 7 | (ucByte & 0x7FU);
        if ((ucByte & 0x80) == 0) {
            break;
        }
    }
    return ulSize;
}

/** Takes the audio configuration out of an "esds" box, from behind its version word on. */
void ReadDescriptors(bytes::Reader stReader, mp4_mp4a_box *pstBox) {
    while (stReader.Left() != 0) {
        const UCHAR ucTag = stReader.U8();
        const ULONG_32 ulSize = DescriptorSize([&] { return stReader.U8(); });
        if (ucTag == TAG_ES) {
            stReader.Skip(3);  // number and flags
        } else if (ucTag == TAG_DECODER_CONFIG) {
            if (stReader.U8() != MP4_CODE_AAC) {
                return;
            }
            pstBox->lCodeType = MP4_CODE_AAC;
            stReader.Skip(12);  // stream type, buffer size, two bit rates
        } else if (ucTag == TAG_DECODER_SPECIFIC) {
            const UCHAR ucFirst = stReader.U8();
            const UCHAR ucSecond = stReader.U8();
            pstBox->ucFrequencyIndex = static_cast<UCHAR>(ucFirst >> 3);
            pstBox->ucAudioType = static_cast<UCHAR>((ucFirst & 7) << 1 | ucSecond >> 7);
            pstBox->ucChannelNum = static_cast<UCHAR>(ucSecond >> 3 & 15);
            return;
        } else {
            stReader.Skip(ulSize);
        }
    }
}

/** Reads one parameter set of a configuration and keeps it if it is the first. False when the box ends before. */
bool ReadParameterSet(FILE *pFile, ULONG_32 *pulLeft, bool bKeep, USHORT *pusLen, std::unique_ptr<UCHAR[]> *ppucUnit) {
    if (*pulLeft < 2) {
        return false;
    }
    const USHORT usLen = read_uint16_lit(pFile);
    *pulLeft -= 2;
    if (usLen > *pulLeft) {
        return false;
    }
    *pulLeft -= usLen;
    if (!bKeep) {
        return fseeko(pFile, usLen, SEEK_CUR) == 0;
    }
    ppucUnit->reset(new (std::nothrow) UCHAR[usLen]);
    if (*ppucUnit != nullptr) {
        Mp4_ReadBytes(pFile, ppucUnit->get(), usLen);
        *pusLen = usLen;
    }
    return true;
}

void ReadVisualEntry(FILE *pFile, const CHAR *pcType, ULONG_32 ulBoxSize, mp4_avc1_box *pstBox) {
    pstBox->type = Mp4_TypeWord(pcType);
    pstBox->size = ulBoxSize;
    Mp4_ReadBytes(pFile, pstBox->reserved, sizeof(pstBox->reserved));
    pstBox->data_reference_index = read_uint16_lit(pFile);
    Mp4_ReadBytes(pFile, pstBox->pre_defined, sizeof(pstBox->pre_defined));
    pstBox->width = read_uint16_lit(pFile);
    pstBox->height = read_uint16_lit(pFile);
    pstBox->horiz_resolution = read_uint32_lit(pFile);
    pstBox->vert_resolution = read_uint32_lit(pFile);
    pstBox->reserved2 = read_uint32_lit(pFile);
    pstBox->frames_count = read_uint16_lit(pFile);
    Mp4_ReadBytes(pFile, pstBox->compressor_name, sizeof(pstBox->compressor_name));
    pstBox->bit_depth = read_uint8(pFile);
    pstBox->pre_defined2 = read_uint16_big(pFile);
}

/** Looks for the decoder configuration behind the fixed part of an entry. */
void ReadConfiguration(FILE *pFile, DLONG dlPos, ULONG_32 ulLeft, mp4_avc1_box *pstBox) {
    for (ULONG_32 i = 0; i < ENTRY_BOXES_MAX && ulLeft >= MP4_HEAD_SIZE; ++i) {
        const MP4_HEAD_S stHead = Mp4_ReadHead(pFile, dlPos);
        if (Mp4_IsType(stHead, "avcC")) {
            pstBox->avcC.reset(new (std::nothrow) mp4_avcC_box);
            if (pstBox->avcC != nullptr) {
                mp4_read_avcC_box(pFile, std::min(stHead.ulSize, ulLeft), pstBox->avcC.get());
            }
            return;
        }
        if (stHead.ulSize < MP4_HEAD_SIZE || stHead.ulSize > ulLeft) {
            return;
        }
        dlPos += stHead.ulSize;
        ulLeft -= stHead.ulSize;
    }
}

template <class Box, class Reader>
void ReadEntry(FILE *pFile, ULONG_32 ulRoom, Reader pfnRead, std::unique_ptr<Box> *ppstBox) {
    ppstBox->reset(new (std::nothrow) Box);
    if (*ppstBox != nullptr) {
        pfnRead(pFile, ulRoom, ppstBox->get());
    }
}

/** Reads one entry, which has ulRoom bytes with its head. */
void ReadDescription(FILE *pFile, const MP4_HEAD_S &stHead, ULONG_32 ulRoom, Sample_description *pstEntry) {
    pstEntry->size = stHead.ulSize;
    memcpy(pstEntry->type, stHead.szType, sizeof(pstEntry->type));
    if (Mp4_IsType(stHead, "mp4a")) {
        ReadEntry(pFile, ulRoom, mp4_read_mp4a_box, &pstEntry->mp4a);
    } else if (Mp4_IsType(stHead, "avc1")) {
        ReadEntry(pFile, ulRoom, mp4_read_avc1_box, &pstEntry->avc1);
    } else if (Mp4_IsType(stHead, "hev1")) {
        ReadEntry(pFile, ulRoom, mp4_read_hev1_box, &pstEntry->avc1);
    } else {
        LOG_WARN("mp4_read_stbl_box warm, Unknow Box Type[%s]", stHead.szType);
    }
}

}  // namespace

ULONG_32 mp4_read_descr_size(FILE *pFile) {
    return DescriptorSize([pFile] { return read_uint8(pFile); });
}

mp4_avcC_box *mp4_read_avcC_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_avcC_box *pstBox) {
    pstBox->type = Mp4_TypeWord("avcC");
    pstBox->size = ulBoxSize;
    pstBox->configurationVersion = read_uint8(pFile);
    pstBox->AVCProfileIndication = read_uint8(pFile);
    pstBox->profile_compatibility = read_uint8(pFile);
    pstBox->AVCLevelIndication = read_uint8(pFile);
    pstBox->lengthSizeMinusOne = static_cast<UCHAR>((read_uint8(pFile) & 3) + 1);
    pstBox->numOfSequenceParameterSet = read_uint8(pFile) & 31;
    ULONG_32 ulLeft = Mp4_Body(ulBoxSize, 6);
    for (UCHAR i = 0; i < pstBox->numOfSequenceParameterSet; ++i) {
        SPS &stSps = pstBox->sps;
        if (!ReadParameterSet(pFile, &ulLeft, i == 0, &stSps.sequenceParameterSetLength,
                              &stSps.sequenceParameterSetNALUnit)) {
            return pstBox;
        }
    }
    if (ulLeft == 0) {
        return pstBox;
    }
    pstBox->numOfPictureParameterSets = read_uint8(pFile);
    --ulLeft;
    if (pstBox->numOfPictureParameterSets != 0) {
        PPS &stPps = pstBox->pps;
        ReadParameterSet(pFile, &ulLeft, true, &stPps.pictureParameterSetLength, &stPps.pictureParameterSetNALUnit);
    }
    return pstBox;
}

mp4_avc1_box *mp4_read_avc1_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_avc1_box *pstBox) {
    const DLONG dlPos = ftello(pFile);
    ReadVisualEntry(pFile, "avc1", ulBoxSize, pstBox);
    ReadConfiguration(pFile, dlPos + VISUAL_ENTRY_SIZE, Mp4_Body(ulBoxSize, VISUAL_ENTRY_SIZE), pstBox);
    return pstBox;
}

mp4_avc1_box *mp4_read_hev1_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_avc1_box *pstBox) {
    ReadVisualEntry(pFile, "hev1", ulBoxSize, pstBox);
    return pstBox;
}

mp4_mp4a_box *mp4_read_mp4a_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_mp4a_box *pstBox) {
    UCHAR aucEntry[DESCRIPTORS_SIZE_MAX];
    const size_t ulLen = std::min<size_t>(Mp4_Body(ulBoxSize, 0), sizeof(aucEntry));
    bytes::Reader stReader(aucEntry, fread(aucEntry, 1, ulLen, pFile));
    stReader.Skip(AUDIO_ENTRY_WORDS * 4);
    if (!stReader.Match("esds", 4)) {
        return pstBox;
    }
    stReader.Skip(8);  // type and version word
    ReadDescriptors(stReader, pstBox);
    return pstBox;
}

mp4_stsd_box *mp4_read_stsd_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stsd_box *pstBox) {
    pstBox->type = Mp4_TypeWord("stsd");
    pstBox->size = ulBoxSize;
    Mp4_ReadVersion(pFile, &pstBox->version, &pstBox->flags);
    ULONG_32 ulLeft = Mp4_Body(ulBoxSize, 8);
    const ULONG_32 ulCount =
        std::min({read_uint32_lit(pFile), ulLeft / MP4_HEAD_SIZE, static_cast<ULONG_32>(MP4_DESCRIPTIONS_MAX)});
    pstBox->number_of_entries = 0;
    pstBox->sample_description.reset(ulCount != 0 ? new (std::nothrow) Sample_description[ulCount] : nullptr);
    DLONG dlPos = ftello(pFile);
    while (pstBox->sample_description != nullptr && pstBox->number_of_entries < ulCount && ulLeft >= MP4_HEAD_SIZE) {
        const MP4_HEAD_S stHead = Mp4_ReadHead(pFile, dlPos);
        ReadDescription(pFile, stHead, ulLeft, &pstBox->sample_description[pstBox->number_of_entries++]);
        if (stHead.ulSize < MP4_HEAD_SIZE || stHead.ulSize > ulLeft) {
            break;
        }
        dlPos += stHead.ulSize;
        ulLeft -= stHead.ulSize;
    }
    return pstBox;
}
