/**
 * @file krdf_inner.h
 * @brief What the parts of the KRDF parser share: reading at the current place, and the records of the indexes.
 *
 * All reads go through two windows on the file, one on the indexes and one on the groups, because a walk goes to and
 * fro between them. A window never reads ahead of the group at hand: behind it a writer may still be at work.
 */
#ifndef ZELVANE_FILE_KRDF_KRDF_INNER_H
#define ZELVANE_FILE_KRDF_KRDF_INNER_H

#include "file/krdf/krdf_parser.h"
#include "foundations/bytes.h"
#include "foundations/com_log.h"

/** Logs an error unless a search keeps quiet. */
#define KRDF_LOG(pstKrdfParser, ...)    \
    do {                                \
        if (!(pstKrdfParser)->bQuiet) { \
            LOG_ERROR(__VA_ARGS__);     \
        }                               \
    } while (0)

/** Moves to a place; false if no file reaches there. */
inline bool KrdfInner_Seek(KRDF_PARSER_S *pstKrdfParser, DULONG dulPos) {
    pstKrdfParser->ulFileReadPos = dulPos;
    return dulPos <= static_cast<DULONG>(INT64_MAX);
}

/** The current place, for a log line. */
inline long long KrdfInner_Pos(const KRDF_PARSER_S *pstKrdfParser) {
    return static_cast<long long>(pstKrdfParser->ulFileReadPos);
}

/** Reads bytes of an index and moves behind them; nothing moves and false if they are not all there. */
bool KrdfInner_ReadIndex(KRDF_PARSER_S *pstKrdfParser, UCHAR *pucTo, ULONG_32 ulCount);

/** Reads bytes of a group; ulAhead: so many bytes from here on are known to be the group's. */
bool KrdfInner_ReadData(KRDF_PARSER_S *pstKrdfParser, UCHAR *pucTo, ULONG_32 ulCount, ULONG_32 ulAhead);

/** Forgets what the index window holds, as a writer may have gone on. */
inline void KrdfInner_DropIndex(KRDF_PARSER_S *pstKrdfParser) { pstKrdfParser->stIndexWindow.ulLen = 0; }

/** Reads an index info at the current place. The number of its entries plus 1 is its word 0 (main) or 1 (sub). */
bool KrdfInner_ReadItems(KRDF_PARSER_S *pstKrdfParser, ULONG_32 ulWord, ULONG_32 *pulItems);

/** Entries that can be used out of what an index info says; 0 for none. */
inline ULONG_32 KrdfInner_Usable(ULONG_32 ulItems, ULONG_32 ulMost) {
    const ULONG_32 ulEntries = ulItems > 1 ? ulItems - 1 : 0;
    return ulEntries < ulMost ? ulEntries : ulMost;
}

/** Reads a main index entry at the current place. */
bool KrdfInner_ReadMainEntry(KRDF_PARSER_S *pstKrdfParser, ZARDO_DATE_TIME_S *pstTime);

/** Reads a sub index entry at the current place. */
bool KrdfInner_ReadSubEntry(KRDF_PARSER_S *pstKrdfParser, SUB_INDEX_S *pstEntry);

/** Takes the six fields of a record's time. */
ZARDO_DATE_TIME_S KrdfInner_DateOf(const TIME_STAMP_S &stStamp);

/** Reads a packet head at the current place; false if it is not all there. */
bool KrdfInner_ReadHead(KRDF_PARSER_S *pstKrdfParser, ULONG_32 ulAhead);

/** Where unit n has its main index entry, and where its sub index info. */
inline DULONG KrdfInner_MainEntryPos(const KRDF_PARSER_S *pstKrdfParser, ULONG_32 ulUnit) {
    return pstKrdfParser->ulFileInitPos + KRDF_MAIN_INDEX_POS + KRDF_INDEX_INFO_SIZE +
           DULONG{ulUnit - 1} * KRDF_MAIN_ENTRY_SIZE;
}
inline DULONG KrdfInner_SubIndexPos(const KRDF_PARSER_S *pstKrdfParser, ULONG_32 ulUnit) {
    return pstKrdfParser->ulFileInitPos + ((ulUnit - 1) << KRDF_UNIT_SHIFT) + KRDF_FIRST_SUB_INDEX_POS;
}

/** Where sub index entry n of the current unit stands. */
inline DULONG KrdfInner_SubEntryPos(const KRDF_PARSER_S *pstKrdfParser, ULONG_32 ulEntry) {
    return pstKrdfParser->ulSubIndexBegin + KRDF_INDEX_INFO_SIZE + DULONG{ulEntry - 1} * KRDF_SUB_ENTRY_SIZE;
}

/** Bytes that are left of the current group, as it says itself. */
inline ULONG_32 KrdfInner_GroupLeft(const KRDF_PARSER_S *pstKrdfParser) {
    return pstKrdfParser->ulGOPDataLen > pstKrdfParser->ulReadDataLenInGOP
               ? pstKrdfParser->ulGOPDataLen - pstKrdfParser->ulReadDataLenInGOP
               : 0;
}

#endif
