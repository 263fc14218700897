#include "cloud/hls_resolve.h"

#include <netdb.h>
#include <pthread.h>
#include <string.h>

#include <memory>
#include <new>

#include "foundations/shared_word.h"

namespace {

ULONG_32 gulResolvers = 0; /**< threads at work; a word */

/** A question, shared by the one who asks and the thread that finds out; the last of the two releases it. */
struct QUESTION_S {
    std::string strHost;
    WAKE_FD_S stDone = {};
    BOOL_T bFound = 0; /**< written before stDone is signalled, read after, as the address is */
    HLS_ADDRESS_S stAddress = {};

    ~QUESTION_S() { WakeFd_Close(&stDone); }
};
using QuestionPtr = std::shared_ptr<QUESTION_S>;

bool LookUp(const std::string &strHost, int iFlags, HLS_ADDRESS_S *pstAddress) {
    struct addrinfo stHints = {};
    stHints.ai_family = AF_UNSPEC;
    stHints.ai_socktype = SOCK_STREAM;
    stHints.ai_flags = iFlags;
    struct addrinfo *pstList = nullptr;
    if (getaddrinfo(strHost.c_str(), nullptr, &stHints, &pstList) != 0 || pstList == nullptr) {
        return false;
    }
    pstAddress->ulLen = pstList->ai_addrlen;
    const bool bFits = pstList->ai_addrlen <= sizeof(pstAddress->stAddress);
    if (bFits) {
        memcpy(&pstAddress->stAddress, pstList->ai_addr, pstList->ai_addrlen);
    }
    freeaddrinfo(pstList);
    return bFits;
}

void *ResolverEntry(void *pParam) {
    const std::unique_ptr<QuestionPtr> pOwn(static_cast<QuestionPtr *>(pParam));
    QUESTION_S &stQuestion = **pOwn;
    word::StoreRelease(stQuestion.bFound, LookUp(stQuestion.strHost, 0, &stQuestion.stAddress));
    WakeFd_Signal(&stQuestion.stDone);
    word::Sub(gulResolvers, 1);
    return nullptr;
}

/** Starts a thread that goes by itself. */
bool StartResolver(const QuestionPtr &pQuestion) {
    std::unique_ptr<QuestionPtr> pShare(new (std::nothrow) QuestionPtr(pQuestion));
    if (pShare == nullptr) {
        return false;
    }
    pthread_attr_t stAttr;
    pthread_t hThread;
    pthread_attr_init(&stAttr);
    pthread_attr_setdetachstate(&stAttr, PTHREAD_CREATE_DETACHED);
    const bool bStarted = pthread_create(&hThread, &stAttr, ResolverEntry, pShare.get()) == 0;
    pthread_attr_destroy(&stAttr);
    if (bStarted) {
        pShare.release();  // the thread's now
    }
    return bStarted;
}

bool Ask(const QuestionPtr &pQuestion) {
    if (word::Add(gulResolvers, 1) <= HLS_RESOLVER_MAX && WakeFd_Open(&pQuestion->stDone) && StartResolver(pQuestion)) {
        return true;
    }
    word::Sub(gulResolvers, 1);
    return false;
}

}  // namespace

ULONG_32 HlsResolve_Host(const std::string &strHost, HLS_ADDRESS_S *pstAddress,
                         const PLAYER_HLS_TYPE_INFO_S *pstInfos) {
    if (LookUp(strHost, AI_NUMERICHOST, pstAddress)) {
        return PLAYER_ERR_OK;
    }
    const QuestionPtr pQuestion = std::make_shared<QUESTION_S>();
    pQuestion->strHost = strHost;
    if (!Ask(pQuestion)) {
        return PLAYER_ERR_HLS_CONNECT;
    }
    const HLS_WAIT_E enWait =
        HlsWait_Until(WakeFd_Descriptor(&pQuestion->stDone), POLLIN, Hls_ClockMs() + HLS_PATIENCE_MS, pstInfos);
    if (enWait == HLS_WAIT_ENDED) {
        return PLAYER_ERR_HLS_CANCELLED;
    }
    if (enWait != HLS_WAIT_READY || !word::LoadAcquire(pQuestion->bFound)) {
        return PLAYER_ERR_HLS_CONNECT;
    }
    *pstAddress = pQuestion->stAddress;
    return PLAYER_ERR_OK;
}
