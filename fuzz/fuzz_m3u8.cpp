// Playlists: whatever the text, the list stays sorted, its URLs have a bound, and the same text twice adds nothing.
//
// Input: two texts with a zero byte between them, merged one after the other. A folder that isn't there stands for the
// cache, so nothing on the disk is touched.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cloud/module_hls.h"
#include "foundations/com_log.h"

namespace {

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

// A sink, so that the log lines are put together too.
void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

void RequireOrder(const HLS_NODE_LIST &liNodes) {
    ULONG ulBefore = 0;
    size_t ulZeros = 0;
    for (const HLS_NODE_INFO_S &stNode : liNodes) {
        Require(stNode.ulStartTime == 0 || stNode.ulStartTime > ulBefore);
        Require(stNode.strDownLink.size() < 1024 && !stNode.strDownURL.empty() && !stNode.strHostName.empty());
        Require(stNode.strFilePath.compare(0, 9, "/missing/") == 0 &&
                stNode.strFilePath.find('/', 9) == std::string::npos);
        Require(stNode.ulPort == (stNode.eProtocolType == HLS_STREAM_TYPE_HTTPS ? 443U : 80U));
        ulZeros += stNode.ulStartTime == 0;
        ulBefore = stNode.ulStartTime != 0 ? stNode.ulStartTime : ulBefore;
    }
    Require(ulZeros <= 1);
}

void Merge(const std::string &strText, HLS_NODE_LIST &liNodes) {
    ULONG_32 ulFirst = 0;
    ULONG_32 ulResult = HLS_m3u8_update(strText.c_str(), liNodes, "/missing", &ulFirst);
    Require(ulResult == PLAYER_ERR_OK || ulResult == PLAYER_ERR_PARAM);
    RequireOrder(liNodes);
    const size_t ulNodes = liNodes.size();
    Require(HLS_m3u8_update(strText.c_str(), liNodes, "/missing", &ulFirst) == ulResult && liNodes.size() == ulNodes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    Log_SetSysLogCB(DropLine);
    const std::string strInput(reinterpret_cast<const char *>(pucData), ulSize);
    const size_t ulCut = strInput.find('\0');
    HLS_NODE_LIST liNodes;
    Merge(strInput.substr(0, ulCut), liNodes);
    if (ulCut != std::string::npos) {
        Merge(strInput.substr(ulCut + 1), liNodes);
    }
    return 0;
}
