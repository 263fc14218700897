#include "cloud/hls_tls.h"

#include <wolfssl/options.h>
#include <wolfssl/ssl.h>
#include <wolfssl/wolfcrypt/ecc.h>

#include <stdio.h>
#include <string.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <vector>

#include "foundations/com_log.h"
#include "foundations/guards.h"

namespace {

const size_t CA_FILE_MAX = 16U << 20;
const size_t SESSION_NUM = 8;
const ULONG_32 CIPHER_TEXT_ROOM = 8192;

struct SESSION_S {
    std::string strHost;
    WOLFSSL_SESSION *pstSession = nullptr;
};

/** What all connections share. */
struct TLS_STATE_S {
    QLOM_SDK_MUTEX_S stMutex = PTHREAD_MUTEX_INITIALIZER;
    bool bHeld = false; /**< the library's own reference: connections alone would take it down and up all the time */
    std::vector<UCHAR> aucCa; /**< CA certificates, PEM; empty when nobody is verified */
    ULONG_32 ulCaChange = 0;  /**< sessions made under an older choice are not kept */
    std::array<SESSION_S, SESSION_NUM> astSession;
    size_t ulNextSession = 0; /**< the one to give way */
};

/** Never destroyed: a thread may still be at work while the process ends. In place, so that it is always to be had. */
TLS_STATE_S &State() {
    alignas(TLS_STATE_S) static UCHAR aucMemory[sizeof(TLS_STATE_S)];
    static TLS_STATE_S &stState = *new (aucMemory) TLS_STATE_S;
    return stState;
}

struct TlsFree {
    void operator()(WOLFSSL_CTX *pstCtx) const { wolfSSL_CTX_free(pstCtx); }
    void operator()(WOLFSSL *pstSsl) const { wolfSSL_free(pstSsl); }
    void operator()(WOLFSSL_SESSION *pstSession) const { wolfSSL_SESSION_free(pstSession); }
};
using CtxPtr = std::unique_ptr<WOLFSSL_CTX, TlsFree>;
using SslPtr = std::unique_ptr<WOLFSSL, TlsFree>;
using SessionPtr = std::unique_ptr<WOLFSSL_SESSION, TlsFree>;

/* ---- one connection's reference of the TLS library ---- */

/** Releases what the TLS library keeps for a thread that did a handshake: 12 MB of precomputed points, and more. */
struct THREAD_END_S {
    bool bUsed = false;
    ~THREAD_END_S() {
        if (bUsed) {
            wc_ecc_fp_free();
        }
    }
};
thread_local THREAD_END_S gtlThreadEnd;

/** Counts a user; under the lock, since the count is not safe on its way between none and one. */
void HoldLibrary() {
    gtlThreadEnd.bUsed = true;
    CMutexGuard oGuard(&State().stMutex);
    if (!State().bHeld) {
        wolfSSL_Init();
        State().bHeld = true;
    }
    wolfSSL_Init();
}

/** Takes back one HoldLibrary(). */
void DropLibrary() {
    CMutexGuard oGuard(&State().stMutex);
    wolfSSL_ERR_clear_error();  // each thread has a queue of them, which nobody reads
    wolfSSL_Cleanup();
}

/* ---- sessions ---- */

void ForgetSession(SESSION_S *pstEntry) {
    wolfSSL_SESSION_free(pstEntry->pstSession);
    *pstEntry = {};
}

void ForgetAllSessions() {
    for (SESSION_S &stEntry : State().astSession) {
        ForgetSession(&stEntry);
    }
}

SESSION_S *FindSession(const std::string &strHost) {
    auto &astSession = State().astSession;
    const auto it = std::find_if(astSession.begin(), astSession.end(), [&](const SESSION_S &stEntry) {
        return stEntry.pstSession != nullptr && stEntry.strHost == strHost;
    });
    return it != astSession.end() ? &*it : nullptr;
}

void OfferSession(const std::string &strHost, WOLFSSL *pstSsl) {
    CMutexGuard oGuard(&State().stMutex);
    const SESSION_S *pstEntry = FindSession(strHost);
    if (pstEntry != nullptr) {
        wolfSSL_set_session(pstSsl, pstEntry->pstSession);
    }
}

/** False if there was none. */
bool DropSession(const std::string &strHost) {
    CMutexGuard oGuard(&State().stMutex);
    SESSION_S *pstEntry = FindSession(strHost);
    if (pstEntry != nullptr) {
        ForgetSession(pstEntry);
    }
    return pstEntry != nullptr;
}

/** The choice that a connection was made under travels with it. */
void *ChangeAsMark(ULONG_32 ulCaChange) { return reinterpret_cast<void *>(static_cast<uintptr_t>(ulCaChange)); }

/** A session that finds no memory is made anew next time. */
void KeepSession(const std::string &strHost, WOLFSSL *pstSsl) try {
    CMutexGuard oGuard(&State().stMutex);
    TLS_STATE_S &stState = State();
    SessionPtr pSession(wolfSSL_get1_session(pstSsl));
    if (pSession == nullptr || wolfSSL_get_ex_data(pstSsl, 0) != ChangeAsMark(stState.ulCaChange)) {
        return;
    }
    std::string strOwn = strHost;
    SESSION_S *pstEntry = FindSession(strHost);
    if (pstEntry == nullptr) {
        pstEntry = &stState.astSession[stState.ulNextSession++ % SESSION_NUM];
    }
    ForgetSession(pstEntry);
    pstEntry->strHost.swap(strOwn);
    pstEntry->pstSession = pSession.release();
} catch (const std::bad_alloc &) {
}

/* ---- verification ---- */

thread_local int gtlVerifyError = 0; /**< why the server of this thread's handshake was turned down */

int NoteVerifyError(int iPassed, WOLFSSL_X509_STORE_CTX *pstStore) {
    if (iPassed == 0) {
        gtlVerifyError = wolfSSL_X509_STORE_CTX_get_error(pstStore);
    }
    return iPassed;
}

bool LoadCa(WOLFSSL_CTX *pstCtx, const std::vector<UCHAR> &aucCa) {
    return wolfSSL_CTX_load_verify_buffer(pstCtx, aucCa.data(), static_cast<long>(aucCa.size()),
                                          WOLFSSL_FILETYPE_PEM) == WOLFSSL_SUCCESS;
}

/** Sets whom a connection trusts: everybody, or who can show a name and an issuer. */
bool SetVerification(WOLFSSL_CTX *pstCtx, ULONG_32 *pulCaChange) {
    CMutexGuard oGuard(&State().stMutex);
    const TLS_STATE_S &stState = State();
    *pulCaChange = stState.ulCaChange;
    if (stState.aucCa.empty()) {
        wolfSSL_CTX_set_verify(pstCtx, WOLFSSL_VERIFY_NONE, nullptr);
        return true;
    }
    wolfSSL_CTX_set_verify(pstCtx, WOLFSSL_VERIFY_PEER, NoteVerifyError);
    return LoadCa(pstCtx, stState.aucCa);
}

bool IsVerified(const WOLFSSL *pstSsl) { return wolfSSL_get_verify_mode(pstSsl) != WOLFSSL_VERIFY_NONE; }

std::vector<UCHAR> ReadCaFile(const CHAR *pcCaFile) {
    std::vector<UCHAR> aucCa;
    const std::unique_ptr<FILE, int (*)(FILE *)> pFile(fopen(pcCaFile, "rbe"), fclose);
    std::array<UCHAR, 4096> aucBlock;
    size_t ulLen = 1;
    while (pFile != nullptr && ulLen > 0 && aucCa.size() <= CA_FILE_MAX) {
        ulLen = fread(aucBlock.data(), 1, aucBlock.size(), pFile.get());
        aucCa.insert(aucCa.end(), aucBlock.begin(), aucBlock.begin() + static_cast<std::ptrdiff_t>(ulLen));
    }
    return aucCa.size() <= CA_FILE_MAX ? aucCa : std::vector<UCHAR>();
}

/** Whether a connection could be verified by these. */
bool HoldsCertificates(const std::vector<UCHAR> &aucCa) {
    HoldLibrary();
    const bool bGood = [&] {
        const CtxPtr pCtx(wolfSSL_CTX_new(wolfSSLv23_client_method()));
        return pCtx != nullptr && !aucCa.empty() && LoadCa(pCtx.get(), aucCa);
    }();
    DropLibrary();
    return bGood;
}

/* ---- handshake ---- */

/** Suites with ChaCha20 first: without AES instructions in the TLS library it is more than twice as fast. */
std::string CipherList() {
    std::array<CHAR, CIPHER_TEXT_ROOM> szAll = {};
    if (wolfSSL_get_ciphers(szAll.data(), static_cast<int>(szAll.size())) != WOLFSSL_SUCCESS) {
        return {};
    }
    std::string strFast;
    std::string strRest;
    for (const CHAR *pcAt = szAll.data(); *pcAt != '\0';) {
        const std::string strName(pcAt, strcspn(pcAt, ":"));
        (strName.find("CHACHA20") != std::string::npos ? strFast : strRest) += strName + ":";
        pcAt += strName.size() + (pcAt[strName.size()] == ':' ? 1 : 0);
    }
    std::string strAll = strFast + strRest;
    if (!strAll.empty()) {
        strAll.pop_back();
    }
    return strAll;
}

CtxPtr MakeContext(ULONG_32 *pulCaChange) {
    CtxPtr pCtx(wolfSSL_CTX_new(wolfSSLv23_client_method()));
    if (pCtx == nullptr || !SetVerification(pCtx.get(), pulCaChange)) {
        LOG_ERROR("Get CyaSSL Ctx Failed.");
        return nullptr;
    }
    const std::string strCiphers = CipherList();
    if (!strCiphers.empty()) {
        wolfSSL_CTX_set_cipher_list(pCtx.get(), strCiphers.c_str());
    }
    return pCtx;
}

WOLFSSL *MakeObject(WOLFSSL_CTX *pstCtx, const std::string &strHost, WYK_SOCKET_S stSocket, ULONG_32 ulCaChange) {
    WOLFSSL *pstSsl = wolfSSL_new(pstCtx);
    if (pstSsl == nullptr) {
        LOG_ERROR("Get CyaSSL Object Failed.");
        return nullptr;
    }
    wolfSSL_set_fd(pstSsl, stSocket);
    wolfSSL_SetIOWriteFlags(pstSsl, MSG_NOSIGNAL);  // a peer that is gone must not kill the client
    wolfSSL_UseSNI(pstSsl, WOLFSSL_SNI_HOST_NAME, strHost.data(), static_cast<unsigned short>(strHost.size()));
    wolfSSL_UseSessionTicket(pstSsl);
    wolfSSL_set_ex_data(pstSsl, 0, ChangeAsMark(ulCaChange));
    if (IsVerified(pstSsl)) {
        wolfSSL_check_domain_name(pstSsl, strHost.c_str());
    }
    OfferSession(strHost, pstSsl);
    return pstSsl;
}

HLS_IO_E WhatIsWanted(WOLFSSL *pstSsl, int iResult) {
    switch (wolfSSL_get_error(pstSsl, iResult)) {
        case WOLFSSL_ERROR_WANT_READ:
            return HLS_IO_WANT_READ;
        case WOLFSSL_ERROR_WANT_WRITE:
            return HLS_IO_WANT_WRITE;
        default:
            return HLS_IO_FAILED;
    }
}

/** Logs why, and tells a server that was turned down from one that can't do TLS. */
ULONG_32 HandshakeFailed(WOLFSSL *pstSsl, const std::string &strHost, int iResult) {
    const int iError = gtlVerifyError != 0 ? gtlVerifyError : wolfSSL_get_error(pstSsl, iResult);
    LOG_ERROR("CyaSSL Connect Socket Failed.");
    if (!IsVerified(pstSsl) || gtlVerifyError == 0) {
        return PLAYER_ERR_FAILED;
    }
    LOG_ERROR("Hls_Socket_Init Failed, Server [%s] Not Verified: %s.", strHost.c_str(),
              wolfSSL_ERR_reason_error_string(static_cast<unsigned long>(iError)));
    return PLAYER_ERR_HLS_CONNECT;
}

ULONG_32 Handshake(WOLFSSL *pstSsl, const std::string &strHost, bool *pbAgain, const PLAYER_HLS_TYPE_INFO_S *pstInfos) {
    const DLONG dlDeadline = Hls_ClockMs() + HLS_PATIENCE_MS;
    gtlVerifyError = 0;
    for (;;) {
        const int iResult = wolfSSL_connect(pstSsl);
        if (iResult == WOLFSSL_SUCCESS) {
            return PLAYER_ERR_OK;
        }
        const HLS_IO_E enWanted = WhatIsWanted(pstSsl, iResult);
        if (enWanted != HLS_IO_WANT_READ && enWanted != HLS_IO_WANT_WRITE) {
            *pbAgain = DropSession(strHost);
            return HandshakeFailed(pstSsl, strHost, iResult);
        }
        const short sEvents = enWanted == HLS_IO_WANT_READ ? POLLIN : POLLOUT;
        const HLS_WAIT_E enWait = HlsWait_Until(wolfSSL_get_fd(pstSsl), sEvents, dlDeadline, pstInfos);
        if (enWait == HLS_WAIT_ENDED) {
            return PLAYER_ERR_HLS_CANCELLED;
        }
        if (enWait == HLS_WAIT_TOO_LONG) {
            return HandshakeFailed(pstSsl, strHost, iResult);
        }
    }
}

ULONG_32 Connect(const std::string &strHost, WYK_SOCKET_S stSocket, WOLFSSL **ppstSsl, bool *pbAgain,
                 const PLAYER_HLS_TYPE_INFO_S *pstInfos) try {
    ULONG_32 ulCaChange = 0;
    const CtxPtr pCtx = MakeContext(&ulCaChange);
    SslPtr pSsl(pCtx != nullptr ? MakeObject(pCtx.get(), strHost, stSocket, ulCaChange) : nullptr);
    if (pSsl == nullptr) {
        return PLAYER_ERR_FAILED;
    }
    ULONG_32 ulResult = Handshake(pSsl.get(), strHost, pbAgain, pstInfos);
    if (ulResult == PLAYER_ERR_OK) {
        *ppstSsl = pSsl.release();
    }
    return ulResult;
} catch (const std::bad_alloc &) {
    LOG_ERROR("CyaSSL Connect Socket Failed, No Memory.");
    return PLAYER_ERR_FAILED;
}

}  // namespace

ULONG_32 HlsTls_SetCa(const CHAR *pcCaFile) try {
    std::vector<UCHAR> aucCa;
    if (pcCaFile != nullptr) {
        aucCa = ReadCaFile(pcCaFile);
        if (!HoldsCertificates(aucCa)) {
            return PLAYER_ERR_FILE_NOT_FOUND;
        }
    }
    CMutexGuard oGuard(&State().stMutex);
    State().aucCa.swap(aucCa);
    State().ulCaChange++;
    ForgetAllSessions();
    return PLAYER_ERR_OK;
} catch (const std::bad_alloc &) {
    return PLAYER_ERR_MALLOC;
}

ULONG_32 HlsTls_Connect(const std::string &strHost, WYK_SOCKET_S stSocket, CYASSL **ppCyassl, bool *pbAgain,
                        const PLAYER_HLS_TYPE_INFO_S *pstInfos) {
    HoldLibrary();
    ULONG_32 ulResult = Connect(strHost, stSocket, ppCyassl, pbAgain, pstInfos);
    if (ulResult != PLAYER_ERR_OK) {
        DropLibrary();
    }
    return ulResult;
}

HLS_IO_E HlsTls_Read(CYASSL *pCyassl, void *pBuffer, ULONG_32 ulRoom, LONG *plLen) {
    const int iLen = wolfSSL_read(pCyassl, pBuffer, static_cast<int>(ulRoom));
    *plLen = iLen;
    if (iLen == 0) {
        return HLS_IO_END;  // with a goodbye or without
    }
    return iLen > 0 ? HLS_IO_DONE : WhatIsWanted(pCyassl, iLen);
}

HLS_IO_E HlsTls_Write(CYASSL *pCyassl, const void *pData, ULONG_32 ulLen) {
    const int iLen = wolfSSL_write(pCyassl, pData, static_cast<int>(ulLen));
    if (iLen == static_cast<int>(ulLen)) {
        return HLS_IO_DONE;
    }
    return iLen > 0 ? HLS_IO_FAILED : WhatIsWanted(pCyassl, iLen);
}

void HlsTls_Close(const std::string &strHost, CYASSL *pCyassl) {
    KeepSession(strHost, pCyassl);
    wolfSSL_shutdown(pCyassl);
    wolfSSL_free(pCyassl);
    DropLibrary();
}

void HlsTls_Cleanup() {
    CMutexGuard oGuard(&State().stMutex);
    ForgetAllSessions();
    if (State().bHeld) {
        wolfSSL_Cleanup();
        State().bHeld = false;
    }
}
