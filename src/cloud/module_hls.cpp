// The playlist: a text becomes segments in a list that is sorted by time.
#include "cloud/module_hls.h"

#include <dirent.h>
#include <errno.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <memory>
#include <new>
#include <unordered_set>

#include "cloud/scan_text.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

struct ALL_LISTS_S {
    HLS_NODE_LIST aliNodes[PLAYER_MAX_PORT_NUM];
};

const size_t TEXT_ROOM = 1024; /**< a URL with its terminator */
const size_t ZONE_ROOM = 12;   /**< a zone with its terminator */
const LONG_32 DEFAULT_TARGET_DURATION = 5;

const std::string_view TAG_HEAD = "#EXTM3U";
const std::string_view TAG_END = "#EXT-X-ENDLIST";
const std::string_view TAG_TARGET = "#EXT-X-TARGETDURATION";
const std::string_view TAG_ENTRY = "#EXTINF";
const std::string_view TAG_DATE = "#EXT-X-PROGRAM-DATE-TIME";

/** Each list has its lock at the same index. */
struct LIST_LOCKS_S {
    QLOM_SDK_MUTEX_S astMutex[PLAYER_MAX_PORT_NUM];
    LIST_LOCKS_S() {
        for (QLOM_SDK_MUTEX_S &stMutex : astMutex) {
            QLOM_SDK_mutex_init(0, nullptr, &stMutex);
        }
    }
};

QLOM_SDK_MUTEX_S *MutexOf(const HLS_NODE_LIST &liHlsNode) {
    static LIST_LOCKS_S stLocks;  // nothing to destroy
    const std::less<const HLS_NODE_LIST *> oBefore;
    const HLS_NODE_LIST *pliFirst = gliHlsNodeInfo;
    if (oBefore(&liHlsNode, pliFirst) || !oBefore(&liHlsNode, pliFirst + PLAYER_MAX_PORT_NUM)) {
        return nullptr;
    }
    return &stLocks.astMutex[&liHlsNode - pliFirst];
}

/* ---- reading an entry ---- */

/** Moves the text on to a tag; false, and nothing moves, if there is none. */
bool FindTag(std::string_view *pstrText, std::string_view strTag) {
    const size_t ulAt = pstrText->find(strTag);
    if (ulAt == std::string_view::npos) {
        return false;
    }
    pstrText->remove_prefix(ulAt);
    return true;
}

/** "TAG:%d" */
bool ReadSeconds(std::string_view strText, std::string_view strTag, LONG_32 *plSeconds) {
    CTextScan oScan(strText);
    return oScan.Literal(strTag) && oScan.Literal(":") && oScan.Int(plSeconds);
}

bool ReadField(CTextScan *poScan, std::string_view strBefore, ULONG *pulField) {
    LONG lValue = 0;
    if (!poScan->Literal(strBefore) || !poScan->Number(&lValue)) {
        return false;
    }
    *pulField = static_cast<ULONG>(lValue);
    return true;
}

/** As atoi does it, so a zone's minutes are dropped, and what is no number is 0. */
LONG ZoneHours(std::string_view strZone) {
    LONG_32 lHours = 0;
    CTextScan(strZone).Int(&lHours);
    return lHours;
}

/** Date and time, a fraction, a zone up to its comma, the line's end, and on the next line the URL. */
bool ReadDateAndLink(std::string_view strText, QLOM_SDK_DAY_TIME_S *pstTime, std::string_view *pstrLink) {
    CTextScan oScan(strText);
    std::string_view strZone;
    const bool bRead = oScan.Literal(TAG_DATE) && ReadField(&oScan, ":", &pstTime->ulYear) &&
                       ReadField(&oScan, "-", &pstTime->ulMon) && ReadField(&oScan, "-", &pstTime->ulMday) &&
                       ReadField(&oScan, "T", &pstTime->ulHour) && ReadField(&oScan, ":", &pstTime->ulMin) &&
                       ReadField(&oScan, ":", &pstTime->ulSec) && oScan.Literal(".") && oScan.Except("+-") &&
                       oScan.Except(",", &strZone) && oScan.Literal(",") && oScan.AnyOne() &&
                       oScan.Except("\n", pstrLink);
    pstTime->lZone = ZoneHours(strZone);
    return bRead && strZone.size() < ZONE_ROOM && pstrLink->size() < TEXT_ROOM;
}

/** "htt" and up to the host. */
bool SkipScheme(CTextScan *poScan) { return poScan->Literal("htt") && poScan->Except(":") && poScan->Literal("://"); }

/** What follows the last "/" of the path. */
bool ReadFileName(std::string_view strLink, std::string *pstrName) {
    CTextScan oScan(strLink);
    std::string_view strPath;
    if (!SkipScheme(&oScan) || !oScan.Except("/") || !oScan.Literal("/") || !oScan.Except("?", &strPath)) {
        return false;
    }
    *pstrName = strPath.substr(strPath.rfind('/') + 1);
    return true;
}

bool ReadHostAndPath(std::string_view strLink, HLS_NODE_INFO_S *pstNode) {
    CTextScan oScan(strLink);
    std::string_view strHost;
    std::string_view strPath;
    if (!SkipScheme(&oScan) || !oScan.Except("/", &strHost) || !oScan.Word(&strPath)) {
        return false;
    }
    pstNode->strHostName = strHost;
    pstNode->strDownURL = strPath;
    return true;
}

/* ---- the folder and the list ---- */

/** The names in a folder, read once for a whole playlist. */
class CFolderNames {
 public:
    explicit CFolderNames(const CHAR *pcPath) {
        const std::unique_ptr<DIR, int (*)(DIR *)> pDir(opendir(pcPath), closedir);
        m_bRead = pDir != nullptr || errno == ENOENT;  // a folder that isn't there holds nothing
        while (const struct dirent *pstEntry = pDir != nullptr ? readdir(pDir.get()) : nullptr) {
            m_oNames.emplace(pstEntry->d_name);
        }
    }
    /** Whether it is worth looking; a folder that can't be listed may still hold the file. */
    bool MayHold(const std::string &strName) const { return !m_bRead || m_oNames.count(strName) != 0; }

 private:
    bool m_bRead;
    std::unordered_set<std::string> m_oNames;
};

/** Finds the places of new starts in a list. Its index is made when the first one doesn't belong at the end. */
class CPlaces {
 public:
    explicit CPlaces(HLS_NODE_LIST *pliNodes) : m_pliNodes(pliNodes) {}

    /** The node with this start, or the one to insert in front of. A start of 0 is appended, wherever that is. */
    HLS_NODE_ITER Find(ULONG ulStart) {
        if (!m_pliNodes->empty() && m_pliNodes->back().ulStartTime != 0 && ulStart > m_pliNodes->back().ulStartTime) {
            return m_pliNodes->end();
        }
        MakeIndex();
        const auto itFound = ulStart != 0 ? m_oIndex.lower_bound(ulStart) : m_oIndex.find(0);
        return itFound != m_oIndex.end() ? itFound->second : m_pliNodes->end();
    }
    void Note(HLS_NODE_ITER itNode) {
        if (m_bIndexed) {
            m_oIndex.emplace(itNode->ulStartTime, itNode);
        }
    }

 private:
    void MakeIndex() {
        for (HLS_NODE_ITER it = m_pliNodes->begin(); !m_bIndexed && it != m_pliNodes->end(); ++it) {
            m_oIndex.emplace_hint(m_oIndex.end(), it->ulStartTime, it);
        }
        m_bIndexed = true;
    }

    HLS_NODE_LIST *m_pliNodes;
    bool m_bIndexed = false;
    std::map<ULONG, HLS_NODE_ITER> m_oIndex;
};

/** One update: what its entries have in common. */
struct UPDATE_S {
    HLS_NODE_LIST *pliNodes;
    std::string strFolder;
    CFolderNames oNames;
    CPlaces oPlaces;
    LONG_32 lTarget = DEFAULT_TARGET_DURATION;
    LONG_32 lDuration = 0; /**< of the newest entry, which stands when the next one has none */
    ULONG ulStart = 0;     /**< likewise */
};

/** What the disk says of a segment. What a download left half is thrown away. */
void ReadState(const UPDATE_S &stUpdate, const std::string &strName, HLS_NODE_INFO_S *pstNode) {
    pstNode->strFilePath = stUpdate.strFolder + "/" + strName + ".ts";
    pstNode->strFileTempPath = stUpdate.strFolder + "/" + strName + ".temp";
    if (stUpdate.oNames.MayHold(strName + ".ts") && QLOM_SDK_Access(pstNode->strFilePath.c_str()) == 0) {
        pstNode->eNodeDownType = HLS_STREAM_TYPE_DOWNLOADED;
        return;
    }
    if (stUpdate.oNames.MayHold(strName + ".temp")) {
        unlink(pstNode->strFileTempPath.c_str());
    }
}

void Merge(UPDATE_S *pstUpdate, HLS_NODE_INFO_S &&stNode) {
    HLS_NODE_LIST &liNodes = *pstUpdate->pliNodes;
    HLS_NODE_ITER itPlace = pstUpdate->oPlaces.Find(stNode.ulStartTime);
    if (itPlace != liNodes.end() && itPlace->ulStartTime == stNode.ulStartTime) {
        CHlsListGuard oGuard(liNodes);
        itPlace->strDownLink = std::move(stNode.strDownLink);
        itPlace->strDownURL = std::move(stNode.strDownURL);
        itPlace->strHostName = std::move(stNode.strHostName);
        itPlace->ulPort = stNode.ulPort;
        itPlace->eProtocolType = stNode.eProtocolType;
        return;
    }
    HLS_NODE_LIST liNew;
    liNew.push_back(std::move(stNode));
    const HLS_NODE_ITER itNew = liNew.begin();
    {
        CHlsListGuard oGuard(liNodes);
        liNodes.splice(itPlace, liNew);
    }
    pstUpdate->oPlaces.Note(itNew);
}

/* ---- one entry, one text ---- */

/** Makes a node of the entry at a date tag. */
ULONG_32 ReadEntry(std::string_view strText, UPDATE_S *pstUpdate, HLS_NODE_INFO_S *pstNode) {
    QLOM_SDK_DAY_TIME_S stTime = {};
    std::string_view strLink;
    if (!ReadDateAndLink(strText, &stTime, &strLink)) {
        LOG_ERROR("M3u8 Buffer Date Time Exception.");
        return PLAYER_ERR_PARAM;
    }
    std::string strName;
    if (!ReadFileName(strLink, &strName)) {
        LOG_ERROR("M3u8 Buffer Filename Exception.");
        return PLAYER_ERR_PARAM;
    }
    if (!ReadHostAndPath(strLink, pstNode)) {
        LOG_ERROR("M3u8 Buffer Url Exception.");
        return PLAYER_ERR_PARAM;
    }
    const bool bHttps = strLink.substr(0, 5) == "https";
    pstNode->ulPort = bHttps ? 443 : 80;
    pstNode->eProtocolType = bHttps ? HLS_STREAM_TYPE_HTTPS : HLS_STREAM_TYPE_HTTP;
    QLOM_SDK_GetUnixTimestamp(stTime, &pstUpdate->ulStart);  // an entry without a date counts as the one before
    pstNode->ulStartTime = pstUpdate->ulStart;
    pstNode->ulEndTime = pstUpdate->ulStart + static_cast<ULONG>(LONG{pstUpdate->lDuration});
    pstNode->strDownLink = strLink;
    LOG_ERROR("M3u8 Buffer Url Analyze, Start[%d], End[%d].", static_cast<LONG_32>(pstNode->ulStartTime),
              static_cast<LONG_32>(pstNode->ulEndTime));
    ReadState(*pstUpdate, strName, pstNode);
    return PLAYER_ERR_OK;
}

/** Works off the entries from a place on. */
ULONG_32 ReadEntries(std::string_view strText, UPDATE_S *pstUpdate, ULONG_32 *pulUpdateTime) {
    while (FindTag(&strText, TAG_ENTRY)) {
        if (!ReadSeconds(strText, TAG_ENTRY, &pstUpdate->lDuration)) {
            LOG_ERROR("M3u8 Buffer Not Contains Target Duration.");
        }
        if (pstUpdate->lDuration > pstUpdate->lTarget) {
            LOG_ERROR("M3u8 Media Segment Duration Exception.");
            return PLAYER_ERR_PARAM;
        }
        if (!FindTag(&strText, TAG_DATE)) {
            LOG_ERROR("M3u8 Buffer Exception.");
            return PLAYER_ERR_OK;
        }
        HLS_NODE_INFO_S stNode;
        ULONG_32 ulResult = ReadEntry(strText, pstUpdate, &stNode);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
        const ULONG_32 ulStart = static_cast<ULONG_32>(stNode.ulStartTime);
        Merge(pstUpdate, std::move(stNode));
        if (*pulUpdateTime == 0) {
            *pulUpdateTime = ulStart;
        }
    }
    return PLAYER_ERR_OK;
}

/** The head is looked at the wrong way round, and clients rely on it: only a text of the head alone is refused. */
bool IsListed(std::string_view *pstrText) {
    return *pstrText != TAG_HEAD && pstrText->find(TAG_END) != std::string_view::npos && FindTag(pstrText, TAG_TARGET);
}

ULONG_32 ReadPlaylist(std::string_view strText, HLS_NODE_LIST *pliNodes, const CHAR *pcCachePath,
                      ULONG_32 *pulUpdateTime) {
    if (!IsListed(&strText)) {
        LOG_ERROR("Invalid M3u8 Buffer!");
        return PLAYER_ERR_PARAM;
    }
    UPDATE_S stUpdate = {pliNodes, pcCachePath, CFolderNames(pcCachePath), CPlaces(pliNodes)};
    if (!ReadSeconds(strText, TAG_TARGET, &stUpdate.lTarget)) {
        LOG_ERROR("M3u8 Buffer Not Contains TARGETDURATION.");
        stUpdate.lTarget = DEFAULT_TARGET_DURATION;
    }
    return ReadEntries(strText, &stUpdate, pulUpdateTime);
}

}  // namespace

HLS_NODE_LIST (&gliHlsNodeInfo)[PLAYER_MAX_PORT_NUM] = (new ALL_LISTS_S)->aliNodes;

CHlsListGuard::CHlsListGuard(const HLS_NODE_LIST &liHlsNode) : m_pstMutex(MutexOf(liHlsNode)) {
    if (m_pstMutex != nullptr) {
        QLOM_SDK_mutex_lock(m_pstMutex);
    }
}

CHlsListGuard::~CHlsListGuard() {
    if (m_pstMutex != nullptr) {
        QLOM_SDK_mutex_unlock(m_pstMutex);
    }
}

void HlsList_Clear(HLS_NODE_LIST &liHlsNode) {
    HLS_NODE_LIST liOld;
    CHlsListGuard oGuard(liHlsNode);
    liOld.swap(liHlsNode);
}

ULONG_32 HLS_m3u8_update(const CHAR *pcM3u8Buffer, HLS_NODE_LIST &liHlsNode, const CHAR *pcCachePath,
                         ULONG_32 *pulUpdateTime) {
    if (pcM3u8Buffer == nullptr) {
        LOG_ERROR("M3u8 Buffer Is NULL!");
        return PLAYER_ERR_PARAM;
    }
    if (pcCachePath == nullptr || pulUpdateTime == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    try {
        return ReadPlaylist(pcM3u8Buffer, &liHlsNode, pcCachePath, pulUpdateTime);
    } catch (const std::bad_alloc &) {
        return PLAYER_ERR_MALLOC;
    }
}
