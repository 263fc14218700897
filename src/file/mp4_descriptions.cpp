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

/** Boxes in a visual sample entry that are looked through for the decoder configuration. */
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

/** Whether something that was asked for is there; the log tells when it isn't. The file plays without it. */
template <class Pointer>
bool HasMemory(const Pointer &pMade) {
    if (pMade == nullptr) {
        LOG_ERROR("MP4_CreateMp4Parser Failed, No Memory For A Sample Description");
    }
    return pMade != nullptr;
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
    if (HasMemory(*ppucUnit)) {
        Mp4_ReadBytes(pFile, ppucUnit->get(), usLen);
        *pusLen = usLen;
    }
    return true;
}

/** Collects parameter sets as a byte stream; none for want of memory. */
class SetStream {
 public:
    /** ulBox bytes of configuration become no more than twice as many: a set's length of two bytes makes room for four.
     */
    SetStream(size_t ulBox, mp4_sets_t *pstSets) : m_pstSets(pstSets) {
        pstSets->length = 0;
        pstSets->stream.reset(new (std::nothrow) UCHAR[2 * ulBox]);
        HasMemory(pstSets->stream);
    }
    /** Adds ulCount sets, or steps over them. */
    void Add(bytes::Reader *pstReader, ULONG_32 ulCount, bool bKeep) {
        constexpr UCHAR START_CODE[] = {0, 0, 0, 1};
        for (ULONG_32 i = 0; i < ulCount && pstReader->Ok(); ++i) {
            const USHORT usLen = pstReader->U16Be();
            const UCHAR *pucSet = pstReader->Take(usLen);
            if (pucSet != nullptr && usLen != 0 && bKeep && m_pstSets->stream != nullptr) {
                UCHAR *pucTo = m_pstSets->stream.get() + m_pstSets->length;
                memcpy(pucTo, START_CODE, sizeof(START_CODE));
                memcpy(pucTo + sizeof(START_CODE), pucSet, usLen);
                m_pstSets->length += static_cast<ULONG_32>(sizeof(START_CODE) + usLen);
            }
        }
    }

 private:
    mp4_sets_t *m_pstSets;
};

/** Reads a configuration's sets: pfnRead gets its bytes from behind the box's head on. The file's place stays. */
template <class Read>
void ReadSets(FILE *pFile, ULONG_32 ulBoxSize, mp4_sets_t *pstSets, Read pfnRead) {
    const DLONG dlPos = ftello(pFile);
    const size_t ulRoom = std::min<size_t>(Mp4_Body(ulBoxSize, 0), MP4_CONFIGURATION_SIZE_MAX);
    const std::unique_ptr<UCHAR[]> pucBox(new (std::nothrow) UCHAR[ulRoom]);
    if (HasMemory(pucBox)) {
        const size_t ulLen = fread(pucBox.get(), 1, ulRoom, pFile);
        SetStream stStream(ulLen, pstSets);
        pfnRead(bytes::Reader(pucBox.get(), ulLen), &stStream);
    }
    fseeko(pFile, dlPos, SEEK_SET);
}

void ReadH264Sets(bytes::Reader stReader, SetStream *pstStream) {
    stReader.Skip(5);
    const ULONG_32 ulSps = stReader.U8() & 31;
    pstStream->Add(&stReader, ulSps, true);
    pstStream->Add(&stReader, stReader.U8(), true);
}

/** Other units than parameter sets are left out: they may be meant for one picture alone. */
void ReadH265Sets(bytes::Reader stReader, SetStream *pstStream) {
    constexpr UCHAR FIRST_SET = 32;
    constexpr UCHAR LAST_SET = 34;
    stReader.Skip(22);
    const UCHAR ucArrays = stReader.U8();
    for (UCHAR i = 0; i < ucArrays && stReader.Ok(); ++i) {
        const UCHAR ucType = stReader.U8() & 63;
        const ULONG_32 ulCount = stReader.U16Be();
        pstStream->Add(&stReader, ulCount, ucType >= FIRST_SET && ucType <= LAST_SET);
    }
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

/**
 * Looks for a decoder configuration behind the fixed part of an entry that starts at a place. Gives the bytes that it
 * may have with its head, behind which the file then stands, or 0.
 */
ULONG_32 FindConfiguration(FILE *pFile, DLONG dlEntry, ULONG_32 ulEntrySize, const CHAR *pcType) {
    DLONG dlPos = dlEntry + VISUAL_ENTRY_SIZE;
    ULONG_32 ulLeft = Mp4_Body(ulEntrySize, VISUAL_ENTRY_SIZE);
    for (ULONG_32 i = 0; i < ENTRY_BOXES_MAX && ulLeft >= MP4_HEAD_SIZE; ++i) {
        const MP4_HEAD_S stHead = Mp4_ReadHead(pFile, dlPos);
        if (Mp4_IsType(stHead, pcType)) {
            return std::min(stHead.ulSize, ulLeft);
        }
        if (stHead.ulSize < MP4_HEAD_SIZE || stHead.ulSize > ulLeft) {
            return 0;
        }
        dlPos += stHead.ulSize;
        ulLeft -= stHead.ulSize;
    }
    return 0;
}

template <class Box, class Reader>
void ReadEntry(FILE *pFile, ULONG_32 ulRoom, Reader pfnRead, std::unique_ptr<Box> *ppstBox) {
    ppstBox->reset(new (std::nothrow) Box);
    if (HasMemory(*ppstBox)) {
        pfnRead(pFile, ulRoom, ppstBox->get());
    }
}

/** Reads a configuration that was found; a head without room for it is none. */
template <class Box, class Reader>
void ReadConfiguration(FILE *pFile, DLONG dlEntry, ULONG_32 ulEntrySize, const CHAR *pcType, Reader pfnRead,
                       std::unique_ptr<Box> *ppstBox) {
    const ULONG_32 ulSize = FindConfiguration(pFile, dlEntry, ulEntrySize, pcType);
    if (ulSize != 0) {
        ReadEntry(pFile, ulSize, pfnRead, ppstBox);
    }
}

/** Reads an entry that no recording has: H.264 with its sets in the samples, H.265 with its sets in front. */
void ReadForeignEntry(FILE *pFile, const MP4_HEAD_S &stHead, ULONG_32 ulRoom, Sample_description *pstEntry) {
    if (Mp4_IsType(stHead, "avc3")) {
        ReadEntry(pFile, ulRoom, mp4_read_avc1_box, &pstEntry->avc1);
    } else if (Mp4_IsType(stHead, "hvc1")) {
        ReadEntry(pFile, ulRoom, mp4_read_hev1_box, &pstEntry->avc1);
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
        ReadForeignEntry(pFile, stHead, ulRoom, pstEntry);
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
    ReadSets(pFile, ulBoxSize, &pstBox->sets, ReadH264Sets);
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

mp4_hvcC_box *mp4_read_hvcC_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_hvcC_box *pstBox) {
    constexpr DLONG LENGTH_SIZE_AT = 21;
    pstBox->type = Mp4_TypeWord("hvcC");
    pstBox->size = ulBoxSize;
    ReadSets(pFile, ulBoxSize, &pstBox->sets, ReadH265Sets);
    const bool bThere = fseeko(pFile, LENGTH_SIZE_AT, SEEK_CUR) == 0;
    pstBox->lengthSizeMinusOne = static_cast<UCHAR>(((bThere ? read_uint8(pFile) : 3) & 3) + 1);
    return pstBox;
}

mp4_avc1_box *mp4_read_avc1_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_avc1_box *pstBox) {
    const DLONG dlPos = ftello(pFile);
    ReadVisualEntry(pFile, "avc1", ulBoxSize, pstBox);
    ReadConfiguration(pFile, dlPos, ulBoxSize, "avcC", mp4_read_avcC_box, &pstBox->avcC);
    return pstBox;
}

mp4_avc1_box *mp4_read_hev1_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_avc1_box *pstBox) {
    const DLONG dlPos = ftello(pFile);
    ReadVisualEntry(pFile, "hev1", ulBoxSize, pstBox);
    ReadConfiguration(pFile, dlPos, ulBoxSize, "hvcC", mp4_read_hvcC_box, &pstBox->hvcC);
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
    if (ulCount != 0 && !HasMemory(pstBox->sample_description)) {
        return pstBox;
    }
    DLONG dlPos = ftello(pFile);
    while (pstBox->number_of_entries < ulCount && ulLeft >= MP4_HEAD_SIZE) {
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
