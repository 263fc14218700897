#include "cloud/hls_response.h"

#include "cloud/scan_text.h"
#include "foundations/com_log.h"

namespace {

const LONG_32 STATUS_OK = 200;
const LONG_32 STATUS_UNAUTHORIZED = 401;
const LONG_32 STATUS_FORBIDDEN = 403;
const std::string_view END_OF_HEAD = "\r\n\r\n";

/** "HTTP/1.1", wherever it stands, and the number behind it. */
ULONG_32 ReadStatus(std::string_view strHead) {
    const size_t ulAt = strHead.find("HTTP/1.1");
    if (ulAt == std::string_view::npos) {
        LOG_ERROR("Hls_Socket_Recv Failed, Http Post Parse Failed.");
        return PLAYER_ERR_FAILED;
    }
    CTextScan oScan(strHead.substr(ulAt));
    LONG_32 lStatus = 0;
    if (!oScan.Word() || !oScan.Int(&lStatus)) {
        LOG_ERROR("Hls_Socket_Recv Failed, Get Http Post ULStateCode Failed.");
        return PLAYER_ERR_FAILED;
    }
    if (lStatus == STATUS_OK) {
        return PLAYER_ERR_OK;
    }
    LOG_ERROR("Hls_Socket_Recv Failed, Http Socket Error[0x%x].", static_cast<ULONG_32>(lStatus));
    return lStatus == STATUS_UNAUTHORIZED || lStatus == STATUS_FORBIDDEN ? PLAYER_ERR_HLS_HTTP_DENIED
                                                                         : PLAYER_ERR_HLS_HTTP_STATUS;
}

/** The number behind the first blank that follows the name. */
ULONG_32 ReadContentLength(std::string_view strHead, LONG_32 *plLength) {
    const size_t ulAt = strHead.find("Content-Length");
    if (ulAt == std::string_view::npos) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    CTextScan oScan(strHead.substr(ulAt));
    if (!oScan.Except(" ") || !oScan.Int(plLength) || *plLength < 0) {
        LOG_ERROR("Hls_Socket_Recv Failed, Get Content Length Failed.");
        return PLAYER_ERR_FAILED;
    }
    return PLAYER_ERR_OK;
}

}  // namespace

ULONG_32 HlsResponse_ReadHead(const CHAR *pcHead, HLS_RESPONSE_S *pstResponse) {
    const std::string_view strHead(pcHead);
    ULONG_32 ulResult = ReadStatus(strHead);
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = ReadContentLength(strHead, &pstResponse->lContentLength);
    }
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    const size_t ulEnd = strHead.find(END_OF_HEAD);
    if (ulEnd == std::string_view::npos) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    pstResponse->ulBodyOffset = static_cast<ULONG_32>(ulEnd + END_OF_HEAD.size());
    return PLAYER_ERR_OK;
}
