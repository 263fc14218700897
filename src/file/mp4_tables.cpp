/**
 * @file mp4_tables.cpp
 * @brief The tables of a track: sizes, chunks, sync samples.
 *
 * A table's count meets its limits before memory is asked for: the room in its box, the bytes left in the file. Each
 * table is read at one go.
 */
#include <new>

#include "file/mp4_boxes.h"
#include "file/mp4_inner.h"
#include "foundations/com_log.h"

namespace {

/** Entries that a count may stand for: no more than a list of samples may have. */
ULONG_32 LimitCount(FILE *pFile, ULONG_32 ulCount, ULONG_32 ulRoom, ULONG_32 ulEntrySize) {
    const DLONG dlLeft = std::max<DLONG>(Mp4_FileLength(pFile) - ftello(pFile), 0);
    const DLONG dlMost = std::min<DLONG>(dlLeft, ulRoom) / ulEntrySize;
    return static_cast<ULONG_32>(std::min<DLONG>({ulCount, dlMost, MP4_SAMPLES_MAX}));
}

/** Room for the entries of a table; the log tells when there is none. */
template <class Entry>
std::unique_ptr<Entry[]> NewTable(ULONG_32 ulCount) {
    std::unique_ptr<Entry[]> pstTable(new (std::nothrow) Entry[ulCount]);
    if (pstTable == nullptr) {
        LOG_ERROR("MP4_CreateMp4Parser Failed, No Memory For A Table Of %u Entries", ulCount);
    }
    return pstTable;
}

/** A table of numbers, and how many there are: 0 if there is no memory for them. */
std::unique_ptr<ULONG_32[]> ReadTable(FILE *pFile, ULONG_32 *pulCount) {
    std::unique_ptr<ULONG_32[]> pulTable = *pulCount != 0 ? NewTable<ULONG_32>(*pulCount) : nullptr;
    if (pulTable == nullptr) {
        *pulCount = 0;
        return nullptr;
    }
    Mp4_ReadBytes(pFile, pulTable.get(), size_t{*pulCount} * sizeof(ULONG_32));
    for (ULONG_32 i = 0; i < *pulCount; ++i) {
        pulTable[i] = __builtin_bswap32(pulTable[i]);
    }
    return pulTable;
}

/** Opens a table's record; gives the room behind it and ulFixed bytes more. */
template <class Box>
ULONG_32 StartTable(FILE *pFile, const CHAR *pcType, ULONG_32 ulBoxSize, ULONG_32 ulFixed, Box *pstBox) {
    pstBox->type = Mp4_TypeWord(pcType);
    pstBox->size = ulBoxSize;
    Mp4_ReadVersion(pFile, &pstBox->version, &pstBox->flags);
    return Mp4_Body(ulBoxSize, ulFixed);
}

}  // namespace

mp4_stts_box *mp4_read_stts_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stts_box *pstBox) {
    const ULONG_32 ulRoom = StartTable(pFile, "stts", ulBoxSize, 8, pstBox);
    const ULONG_32 ulCount = LimitCount(pFile, read_uint32_lit(pFile), ulRoom, 8);
    pstBox->number_of_entries = 0;
    pstBox->time_to_sample_table_count = NewTable<ULONG_32>(ulCount);
    pstBox->time_to_sample_table_duration = NewTable<ULONG_32>(ulCount);
    if (pstBox->time_to_sample_table_count == nullptr || pstBox->time_to_sample_table_duration == nullptr) {
        return pstBox;
    }
    ULONG_32 aulPairs[512];
    for (ULONG_32 i = 0; i < ulCount;) {
        const ULONG_32 ulNow = std::min<ULONG_32>(ulCount - i, 256);
        Mp4_ReadBytes(pFile, aulPairs, size_t{ulNow} * 8);
        for (ULONG_32 j = 0; j < ulNow; ++j, ++i) {
            pstBox->time_to_sample_table_count[i] = __builtin_bswap32(aulPairs[2 * j]);
            pstBox->time_to_sample_table_duration[i] = __builtin_bswap32(aulPairs[2 * j + 1]);
        }
    }
    pstBox->number_of_entries = ulCount;
    return pstBox;
}

mp4_stss_box *mp4_read_stss_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stss_box *pstBox) {
    const ULONG_32 ulRoom = StartTable(pFile, "stss", ulBoxSize, 8, pstBox);
    pstBox->number_of_entries = LimitCount(pFile, read_uint32_lit(pFile), ulRoom, 4);
    pstBox->sync_sample_table = ReadTable(pFile, &pstBox->number_of_entries);
    return pstBox;
}

mp4_stsc_box *mp4_read_stsc_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stsc_box *pstBox) {
    const ULONG_32 ulRoom = StartTable(pFile, "stsc", ulBoxSize, 8, pstBox);
    const ULONG_32 ulCount = LimitCount(pFile, read_uint32_lit(pFile), ulRoom, sizeof(mp4_list_t));
    pstBox->map_amount = 0;
    pstBox->scmap = NewTable<mp4_list_t>(ulCount);
    if (pstBox->scmap == nullptr) {
        return pstBox;
    }
    Mp4_ReadBytes(pFile, pstBox->scmap.get(), size_t{ulCount} * sizeof(mp4_list_t));
    for (ULONG_32 i = 0; i < ulCount; ++i) {
        mp4_list_t &stEntry = pstBox->scmap[i];
        stEntry.first_chunk_num = __builtin_bswap32(stEntry.first_chunk_num);
        stEntry.sample_amount_in_cur_table = __builtin_bswap32(stEntry.sample_amount_in_cur_table);
        stEntry.sample_description_id = __builtin_bswap32(stEntry.sample_description_id);
    }
    pstBox->map_amount = ulCount;
    return pstBox;
}

mp4_stsz_box *mp4_read_stsz_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stsz_box *pstBox) {
    const ULONG_32 ulRoom = StartTable(pFile, "stsz", ulBoxSize, 12, pstBox);
    pstBox->samples_size_intotal = read_uint32_lit(pFile);
    pstBox->table_size = read_uint32_lit(pFile);
    if (pstBox->samples_size_intotal == 0) {
        pstBox->table_size = LimitCount(pFile, pstBox->table_size, ulRoom, 4);
        pstBox->sample_size_table = ReadTable(pFile, &pstBox->table_size);
    }
    return pstBox;
}

mp4_stco_box *mp4_read_co64_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stco_box *pstBox) {
    const ULONG_32 ulRoom = StartTable(pFile, "co64", ulBoxSize, 8, pstBox);
    const ULONG_32 ulCount = LimitCount(pFile, read_uint32_lit(pFile), ulRoom, sizeof(DULONG));
    pstBox->chunk_offset_64.reset(ulCount != 0 ? new (std::nothrow) DULONG[ulCount] : nullptr);
    pstBox->chunk_offset_amount = pstBox->chunk_offset_64 != nullptr ? ulCount : 0;
    if (pstBox->chunk_offset_64 != nullptr) {
        Mp4_ReadBytes(pFile, pstBox->chunk_offset_64.get(), size_t{ulCount} * sizeof(DULONG));
    }
    for (ULONG_32 i = 0; i < pstBox->chunk_offset_amount; ++i) {
        pstBox->chunk_offset_64[i] = __builtin_bswap64(pstBox->chunk_offset_64[i]);
    }
    return pstBox;
}

mp4_stco_box *mp4_read_stco_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stco_box *pstBox) {
    const ULONG_32 ulRoom = StartTable(pFile, "stco", ulBoxSize, 8, pstBox);
    pstBox->chunk_offset_amount = LimitCount(pFile, read_uint32_lit(pFile), ulRoom, 4);
    pstBox->chunk_offset_from_file_begin = ReadTable(pFile, &pstBox->chunk_offset_amount);
    return pstBox;
}
