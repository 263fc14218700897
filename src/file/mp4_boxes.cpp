#include "file/mp4_boxes.h"

#include <sys/stat.h>

#include <cstring>
#include <iterator>
#include <new>

#include "file/mp4_inner.h"
#include "file/mp4_places.h"
#include "foundations/bytes.h"
#include "foundations/com_log.h"

namespace {

/** A box that a parent may hold; a null reader steps over it. */
template <class Parent>
struct CHILD_ROW {
    const CHAR *pcType;
    LONG_32 (*pfnRead)(FILE *pFile, const MP4_HEAD_S &stHead, Parent *pstParent);
};

/** Boxes that no recording has are told in the log, read or not. */
void TellUnknown(const CHAR *pcName, const MP4_HEAD_S &stHead) {
    LOG_WARN("mp4_read_%s_box Warning, Unknow Box Type[%s]", pcName, stHead.szType);
}

/** Finds a child's row, runs it, and says so in the log if there is none. */
template <class Parent, size_t N>
LONG_32 ReadChild(FILE *pFile, const MP4_HEAD_S &stHead, const CHAR *pcName, const CHILD_ROW<Parent> (&astRows)[N],
                  Parent *pstParent) {
    for (const CHILD_ROW<Parent> &stRow : astRows) {
        if (Mp4_IsType(stHead, stRow.pcType)) {
            return stRow.pfnRead != nullptr ? stRow.pfnRead(pFile, stHead, pstParent) : 0;
        }
    }
    TellUnknown(pcName, stHead);
    return 0;
}

/** Reads the children of a box, which must fill it exactly. 0, or -1 when they don't or one of them failed. */
template <class Parent, size_t N>
LONG_32 ReadChildren(FILE *pFile, ULONG_32 ulBoxSize, const CHAR *pcName, const CHILD_ROW<Parent> (&astRows)[N],
                     Parent *pstParent) {
    const DLONG dlStart = ftello(pFile);
    DLONG dlSum = 0;
    for (ULONG_32 i = 0; i < MP4_CHILDREN_MAX; ++i) {
        const MP4_HEAD_S stHead = Mp4_ReadHead(pFile, dlStart + dlSum);
        if (stHead.ulSize < MP4_HEAD_SIZE || stHead.ulSize > INT32_MAX ||
            dlSum + stHead.ulSize + MP4_HEAD_SIZE > ulBoxSize) {
            break;
        }
        if (ReadChild(pFile, stHead, pcName, astRows, pstParent) != 0) {
            return -1;
        }
        dlSum += stHead.ulSize;
        if (dlSum + MP4_HEAD_SIZE == ulBoxSize) {
            return 0;
        }
    }
    LOG_ERROR("mp4_read_%s_box Failed, Box Size OverFlow", pcName);
    return -1;
}

template <class Box>
void SetHead(Box *pstBox, const CHAR *pcType, ULONG_32 ulBoxSize) {
    pstBox->type = Mp4_TypeWord(pcType);
    pstBox->size = ulBoxSize;
}

/** Opens the record of a box that begins with version and flags. */
template <class Box>
void StartBox(FILE *pFile, const CHAR *pcType, ULONG_32 ulBoxSize, Box *pstBox) {
    SetHead(pstBox, pcType, ulBoxSize);
    Mp4_ReadVersion(pFile, &pstBox->version, &pstBox->flags);
}

/** A time of 64 bits, as version 1 has it, up to what the record holds. */
ULONG_32 ReadLongTime(FILE *pFile) {
    const ULONG_32 ulHigh = read_uint32_lit(pFile);
    const ULONG_32 ulLow = read_uint32_lit(pFile);
    return ulHigh == 0 ? ulLow : UINT32_MAX;
}

/** Times, time scale and duration of "mvhd" and "mdhd". */
template <class Box>
void ReadTimes(FILE *pFile, Box *pstBox) {
    const bool bLong = pstBox->version == 1;
    pstBox->creation_time = bLong ? ReadLongTime(pFile) : read_uint32_lit(pFile);
    pstBox->modification_time = bLong ? ReadLongTime(pFile) : read_uint32_lit(pFile);
    pstBox->timescale = read_uint32_lit(pFile);
    pstBox->duration = bLong ? ReadLongTime(pFile) : read_uint32_lit(pFile);
}

void ReadWords(FILE *pFile, ULONG_32 *pulTo, size_t ulCount) {
    for (size_t i = 0; i < ulCount; ++i) {
        pulTo[i] = read_uint32_lit(pFile);
    }
}

/** A row whose reader fills one record of the parent. */
#define CHILD_RECORD(szType, Parent, member, pfnReader)                                   \
    {                                                                                     \
        szType, [](FILE *pFile, const MP4_HEAD_S &stHead, Parent *pstParent) -> LONG_32 { \
            pstParent->member = {};                                                       \
            pfnReader(pFile, stHead.ulSize, &pstParent->member);                          \
            return 0;                                                                     \
        }                                                                                 \
    }

LONG_32 AddTrack(FILE *pFile, const MP4_HEAD_S &stHead, mp4_moov_box *pstMoov) {
    if (pstMoov->trak.size() >= MP4_TRACKS_MAX) {
        LOG_WARN("mp4_read_moov_box Warning, More Than %u Tracks", static_cast<ULONG_32>(MP4_TRACKS_MAX));
        return 0;
    }
    try {
        pstMoov->trak.emplace_back();
    } catch (const std::bad_alloc &) {
        LOG_ERROR("mp4_read_moov_box Failed, No Memory For A Track");
        return -1;
    }
    return mp4_read_trak_box(pFile, stHead.ulSize, &pstMoov->trak.back());
}

LONG_32 ReadSmhd(FILE *pFile, const MP4_HEAD_S &stHead, mp4_minf_box *pstMinf) {
    pstMinf->smhd.reset(new (std::nothrow) mp4_smhd_box);
    if (pstMinf->smhd != nullptr) {
        mp4_read_smhd_box(pFile, stHead.ulSize, pstMinf->smhd.get());
    }
    return 0;
}

LONG_32 ReadMvex(FILE *pFile, const MP4_HEAD_S &stHead, mp4_moov_box *pstMoov) {
    TellUnknown("moov", stHead);
    Mp4_ReadDefaults(pFile, stHead.ulSize, pstMoov);
    return 0;
}

LONG_32 ReadLargeOffsets(FILE *pFile, const MP4_HEAD_S &stHead, mp4_stbl_box *pstStbl) {
    TellUnknown("stbl", stHead);
    mp4_read_co64_box(pFile, stHead.ulSize, &pstStbl->stco);
    return 0;
}

constexpr CHILD_ROW<mp4_moov_box> MOOV_CHILDREN[] = {
    CHILD_RECORD("mvhd", mp4_moov_box, mvhd, mp4_read_mvhd_box),
    {"trak", AddTrack},
    CHILD_RECORD("iods", mp4_moov_box, iods, mp4_read_iods_box),
    {"udta", nullptr},
    {"mvex", ReadMvex},
};

constexpr CHILD_ROW<mp4_trak_box> TRAK_CHILDREN[] = {
    CHILD_RECORD("tkhd", mp4_trak_box, tkhd, mp4_read_tkhd_box),
    CHILD_RECORD("mdia", mp4_trak_box, mdia, mp4_read_mdia_box),
    {"edts", nullptr},
    {"udta", nullptr},
};

constexpr CHILD_ROW<mp4_mdia_box> MDIA_CHILDREN[] = {
    CHILD_RECORD("mdhd", mp4_mdia_box, mdhd, mp4_read_mdhd_box),
    CHILD_RECORD("hdlr", mp4_mdia_box, hdlr, mp4_read_hdlr_box),
    CHILD_RECORD("minf", mp4_mdia_box, minf, mp4_read_minf_box),
};

constexpr CHILD_ROW<mp4_minf_box> MINF_CHILDREN[] = {
    {"smhd", ReadSmhd},
    CHILD_RECORD("stbl", mp4_minf_box, stbl, mp4_read_stbl_box),
    {"vmhd", nullptr},
    {"dinf", nullptr},
};

// "stz2" and "c064" are read in the layout of the plain boxes: the recorders write neither.
constexpr CHILD_ROW<mp4_stbl_box> STBL_CHILDREN[] = {
    CHILD_RECORD("stsd", mp4_stbl_box, stsd, mp4_read_stsd_box),
    CHILD_RECORD("stts", mp4_stbl_box, stts, mp4_read_stts_box),
    CHILD_RECORD("stss", mp4_stbl_box, stss, mp4_read_stss_box),
    CHILD_RECORD("stsc", mp4_stbl_box, stsc, mp4_read_stsc_box),
    CHILD_RECORD("stsz", mp4_stbl_box, stsz, mp4_read_stsz_box),
    CHILD_RECORD("stz2", mp4_stbl_box, stsz, mp4_read_stsz_box),
    CHILD_RECORD("stco", mp4_stbl_box, stco, mp4_read_stco_box),
    CHILD_RECORD("c064", mp4_stbl_box, stco, mp4_read_stco_box),
    {"co64", ReadLargeOffsets},
    {"ctts", nullptr},
};

#undef CHILD_RECORD

/** Size of a box whose head says 1 and has its size behind it, in 64 bits; 0 if the file is too short for it. */
DLONG ReadLargeSize(FILE *pFile, DLONG dlData) {
    UCHAR aucSize[8];
    const bool bThere = fread(aucSize, 1, sizeof(aucSize), pFile) == sizeof(aucSize);
    const DULONG dulSize = bytes::Reader(aucSize, bThere ? sizeof(aucSize) : 0).U64Be();
    const DLONG dlMost = Mp4_FileLength(pFile) - dlData + MP4_HEAD_SIZE;
    return dulSize >= 2 * MP4_HEAD_SIZE && dlMost > 0 && dulSize <= static_cast<DULONG>(dlMost)
               ? static_cast<DLONG>(dulSize)
               : 0;
}

/** A recording that was not finished has no size here: its data reach to the end of the file. */
DLONG ReadMdat(FILE *pFile, DLONG dlData, ULONG_32 ulSize, mp4_moov_box *pstMoov) {
    pstMoov->dlMdatDataOffset = dlData;
    const DLONG dlLarge = ulSize == 1 ? ReadLargeSize(pFile, dlData) : 0;
    if (dlLarge != 0) {
        pstMoov->dlMdatDataOffset = dlData + MP4_HEAD_SIZE;
        pstMoov->dlMdatDataEnd = dlData + dlLarge - MP4_HEAD_SIZE;
        return dlLarge;
    }
    if (ulSize > MP4_HEAD_SIZE) {
        pstMoov->dlMdatDataEnd = dlData + ulSize - MP4_HEAD_SIZE;
        return ulSize;
    }
    pstMoov->dlMdatDataEnd = std::max(Mp4_FileLength(pFile), dlData);
    fseeko(pFile, dlData, SEEK_SET);
    return pstMoov->dlMdatDataEnd - dlData + MP4_HEAD_SIZE;
}

}  // namespace

/* ---- what all boxes are read with ------------------------------------------------------------------------------ */

MP4_HEAD_S Mp4_ReadHead(FILE *pFile, DLONG dlPos) {
    MP4_HEAD_S stHead = {};
    if (fseeko(pFile, dlPos, SEEK_SET) == 0) {
        stHead.ulSize = read_uint32_lit(pFile);
        Mp4_ReadBytes(pFile, stHead.szType, 4);
    }
    return stHead;
}

bool Mp4_IsType(const MP4_HEAD_S &stHead, const CHAR *pcType) { return memcmp(stHead.szType, pcType, 4) == 0; }

ULONG_32 Mp4_TypeWord(const CHAR *pcType) {
    ULONG_32 ulType = 0;
    for (size_t i = 0; i < 4; ++i) {
        ulType = ulType << 8 | static_cast<UCHAR>(pcType[i]);
    }
    return ulType;
}

void Mp4_ReadBytes(FILE *pFile, void *pTo, size_t ulCount) {
    const size_t ulRead = fread(pTo, 1, ulCount, pFile);
    memset(static_cast<UCHAR *>(pTo) + ulRead, 0, ulCount - ulRead);
}

void Mp4_ReadVersion(FILE *pFile, UCHAR *pucVersion, ULONG_32 *pulFlags) {
    const ULONG_32 ulWord = read_uint32_lit(pFile);
    *pucVersion = static_cast<UCHAR>(ulWord >> 24);
    *pulFlags = ulWord & 0xFFFFFF;
}

DLONG Mp4_FileLength(FILE *pFile) {
    // Every table asks. A seek to the end would throw the stream's buffer away, to be read again each time.
    struct stat stStat = {};
    const int iFile = fileno(pFile);
    if (iFile >= 0 && fstat(iFile, &stStat) == 0 && S_ISREG(stStat.st_mode)) {
        return stStat.st_size;
    }
    const DLONG dlPos = ftello(pFile);
    const DLONG dlLength = fseeko(pFile, 0, SEEK_END) == 0 ? ftello(pFile) : 0;
    fseeko(pFile, dlPos, SEEK_SET);
    return std::max<DLONG>(dlLength, 0);
}

UCHAR read_uint8(FILE *pFile) {
    UCHAR ucValue = 0;
    Mp4_ReadBytes(pFile, &ucValue, sizeof(ucValue));
    return ucValue;
}

USHORT read_uint16_lit(FILE *pFile) {
    UCHAR auc[2];
    Mp4_ReadBytes(pFile, auc, sizeof(auc));
    return bytes::Be16(auc);
}

ULONG_32 read_uint32_lit(FILE *pFile) {
    UCHAR auc[4];
    Mp4_ReadBytes(pFile, auc, sizeof(auc));
    return bytes::Be32(auc);
}

USHORT read_uint16_big(FILE *pFile) {
    UCHAR auc[2];
    Mp4_ReadBytes(pFile, auc, sizeof(auc));
    return bytes::Le16(auc);
}

/* ---- boxes that hold boxes ------------------------------------------------------------------------------------- */

ULONG_32 mp4_read_root_box(FILE *pFile, mp4_moov_box *pstMoov, DLONG *pdlBoxSize) {
    if (pFile == nullptr || pstMoov == nullptr || pdlBoxSize == nullptr) {
        return 1;
    }
    const DLONG dlPos = ftello(pFile);
    const MP4_HEAD_S stHead = Mp4_ReadHead(pFile, dlPos);
    pstMoov->dlFileEnd = Mp4_FileLength(pFile);
    *pdlBoxSize = stHead.ulSize;
    if (Mp4_IsType(stHead, "moov")) {
        if (mp4_read_moov_box(pFile, stHead.ulSize, pstMoov) != 0) {
            LOG_ERROR("mp4_read_moov_box Failed");
            return 1;
        }
    } else if (Mp4_IsType(stHead, "mdat")) {
        *pdlBoxSize = ReadMdat(pFile, dlPos + MP4_HEAD_SIZE, stHead.ulSize, pstMoov);
    } else if (stHead.ulSize == 0 && !Mp4_IsType(stHead, "ftyp")) {
        *pdlBoxSize = 1;  // filling between boxes
    } else if (!Mp4_IsType(stHead, "ftyp") && !Mp4_IsType(stHead, "free")) {
        LOG_INFO("%s==mark Undifined", stHead.szType);
        if (Mp4_IsType(stHead, "moof")) {
            Mp4_ReadFragment(pFile, dlPos, stHead.ulSize, pstMoov);
        }
    }
    return 0;
}

LONG_32 mp4_read_moov_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_moov_box *pstBox) {
    SetHead(pstBox, "moov", ulBoxSize);
    return ReadChildren(pFile, ulBoxSize, "moov", MOOV_CHILDREN, pstBox);
}

LONG_32 mp4_read_trak_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_trak_box *pstBox) {
    SetHead(pstBox, "trak", ulBoxSize);
    const LONG_32 lResult = ReadChildren(pFile, ulBoxSize, "trak", TRAK_CHILDREN, pstBox);
    pstBox->iCurSampleIndex = 0;
    pstBox->iCurChunkOffsetIndex = 0;
    return lResult;
}

mp4_mdia_box *mp4_read_mdia_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_mdia_box *pstBox) {
    SetHead(pstBox, "mdia", ulBoxSize);
    ReadChildren(pFile, ulBoxSize, "mdia", MDIA_CHILDREN, pstBox);
    return pstBox;
}

mp4_minf_box *mp4_read_minf_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_minf_box *pstBox) {
    SetHead(pstBox, "minf", ulBoxSize);
    ReadChildren(pFile, ulBoxSize, "minf", MINF_CHILDREN, pstBox);
    return pstBox;
}

mp4_stbl_box *mp4_read_stbl_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stbl_box *pstBox) {
    SetHead(pstBox, "stbl", ulBoxSize);
    ReadChildren(pFile, ulBoxSize, "stbl", STBL_CHILDREN, pstBox);
    return pstBox;
}

/* ---- boxes of fixed layout -------------------------------------------------------------------------- */

mp4_mvhd_box *mp4_read_mvhd_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_mvhd_box *pstBox) {
    StartBox(pFile, "mvhd", ulBoxSize, pstBox);
    ReadTimes(pFile, pstBox);
    pstBox->rate = read_uint32_lit(pFile);
    pstBox->volume = read_uint16_big(pFile);
    Mp4_ReadBytes(pFile, pstBox->reserved, sizeof(pstBox->reserved));
    ReadWords(pFile, pstBox->matrix, std::size(pstBox->matrix));
    ReadWords(pFile, pstBox->pre_defined, std::size(pstBox->pre_defined));
    pstBox->next_track_id = read_uint32_lit(pFile);
    return pstBox;
}

mp4_iods_box *mp4_read_iods_box(FILE * /*pFile*/, ULONG_32 /*ulBoxSize*/, mp4_iods_box *pstBox) {
    LOG_INFO("mp4_read_iods_box Warning Iods Undefined");
    return pstBox;
}

mp4_tkhd_box *mp4_read_tkhd_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_tkhd_box *pstBox) {
    StartBox(pFile, "tkhd", ulBoxSize, pstBox);
    const bool bLong = pstBox->version == 1;
    pstBox->creation_time = bLong ? ReadLongTime(pFile) : read_uint32_lit(pFile);
    pstBox->modification_time = bLong ? ReadLongTime(pFile) : read_uint32_lit(pFile);
    pstBox->track_id = read_uint32_lit(pFile);
    pstBox->reserved = read_uint32_lit(pFile);
    pstBox->duration = bLong ? ReadLongTime(pFile) : read_uint32_lit(pFile);
    ReadWords(pFile, pstBox->reserved2, std::size(pstBox->reserved2));
    pstBox->layer = read_uint16_big(pFile);
    pstBox->alternate_group = read_uint16_big(pFile);
    pstBox->volume = read_uint16_big(pFile);
    pstBox->reserved3 = read_uint16_big(pFile);
    ReadWords(pFile, pstBox->matrix, std::size(pstBox->matrix));
    pstBox->width = read_uint32_lit(pFile);
    pstBox->height = read_uint32_lit(pFile);
    return pstBox;
}

mp4_mdhd_box *mp4_read_mdhd_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_mdhd_box *pstBox) {
    StartBox(pFile, "mdhd", ulBoxSize, pstBox);
    ReadTimes(pFile, pstBox);
    pstBox->language = read_uint16_big(pFile);
    pstBox->pre_defined = read_uint16_big(pFile);
    return pstBox;
}

mp4_hdlr_box *mp4_read_hdlr_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_hdlr_box *pstBox) {
    StartBox(pFile, "hdlr", ulBoxSize, pstBox);
    pstBox->pre_defined = read_uint32_lit(pFile);
    Mp4_ReadBytes(pFile, pstBox->handler_type, sizeof(pstBox->handler_type));
    pstBox->handler_type[4] = '\0';
    Mp4_ReadBytes(pFile, pstBox->reserved, sizeof(pstBox->reserved));
    const UCHAR ucNameLen = read_uint8(pFile);
    Mp4_ReadBytes(pFile, pstBox->name, ucNameLen);
    pstBox->name[ucNameLen] = '\0';
    return pstBox;
}

mp4_smhd_box *mp4_read_smhd_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_smhd_box *pstBox) {
    StartBox(pFile, "smhd", ulBoxSize, pstBox);
    pstBox->balance = read_uint16_big(pFile);
    pstBox->reserved = read_uint16_big(pFile);
    return pstBox;
}
