#include "analytics/iva_show.h"

#include <mutex>

#include "foundations/shared_word.h"

namespace {

enum : ULONG_32 { SHOW_RULE_BIT = 1, SHOW_TOUCHING_BIT = 2, SHOW_OTHERS_BIT = 4 };

// Setters hold gstSetLock; what render threads read is reached as words.
std::mutex gstSetLock;
IVA_SHOW_PARAM_S m_stShowParam = {1, 1, 1, 1};
IVA_SHOW_PARAM_S m_stArrShowParam[PLAYER_MAX_PORT_NUM];
IVA_SHOW_OBJ_TYPE_S m_stShowObjType[PLAYER_MAX_PORT_NUM];
BOOL_T m_bArrShowOsd[PLAYER_MAX_PORT_NUM];
BOOL_T m_bPortRelate;
BOOL_T m_bInit;
ULONG_32 gulTicket;

void Store(const IVA_SHOW_PARAM_S &stFrom, IVA_SHOW_PARAM_S &stTo) {
    word::Store(stTo.bShowRule, stFrom.bShowRule);
    word::Store(stTo.bShowResultTouthRule, stFrom.bShowResultTouthRule);
    word::Store(stTo.bShowResultUntouthRule, stFrom.bShowResultUntouthRule);
    word::Store(stTo.bShowResultTrack, stFrom.bShowResultTrack);
}

IVA_SHOW_PARAM_S FromBits(ULONG_32 ulShowParam) {
    return {(ulShowParam & SHOW_RULE_BIT) != 0, (ulShowParam & SHOW_TOUCHING_BIT) != 0,
            (ulShowParam & SHOW_OTHERS_BIT) != 0, 1};
}

void InitLocked() {
    for (ULONG_32 i = 0; i < PLAYER_MAX_PORT_NUM; ++i) {
        Store({1, 1, 1, 1}, m_stArrShowParam[i]);
        m_stShowObjType[i] = {1, 1, 1};
        m_bArrShowOsd[i] = 0;
    }
}

/** A setter of a port: the first one sets all ports to their start. */
template <class SET>
void SetOfPort(ULONG_32 ulPort, SET &&oSet) {
    if (ulPort >= PLAYER_MAX_PORT_NUM) {
        return;
    }
    std::lock_guard<std::mutex> oGuard(gstSetLock);
    if (!m_bInit) {
        InitLocked();
        m_bInit = 1;
    }
    oSet();
    word::Add(gulTicket, 1);
}

}  // namespace

void InitDrawParam(void) {
    std::lock_guard<std::mutex> oGuard(gstSetLock);
    InitLocked();
}

void SetIVAShowParam(ULONG_32 ulShowParam) {
    std::lock_guard<std::mutex> oGuard(gstSetLock);
    Store(FromBits(ulShowParam), m_stShowParam);
    word::Add(gulTicket, 1);
}

void SetIVAShowParamEx(ULONG_32 ulPort, ULONG_32 ulShowParam, BOOL_T bFlag) {
    SetOfPort(ulPort, [&] {
        Store(FromBits(ulShowParam), m_stArrShowParam[ulPort]);
        word::StoreRelease(m_bPortRelate, bFlag);
    });
}

void SetIVAShowObjType(ULONG_32 ulPort, BOOL_T bShowPerson, BOOL_T bShowVeh, BOOL_T bShowNonVeh) {
    SetOfPort(ulPort, [&] { m_stShowObjType[ulPort] = {bShowPerson, bShowVeh, bShowNonVeh}; });
}

void SetIVAShowOsdInfo(ULONG_32 ulPort, BOOL_T bShowOsd) {
    SetOfPort(ulPort, [&] { m_bArrShowOsd[ulPort] = bShowOsd; });
}

void IvaShow_GetParam(ULONG_32 ulPort, IVA_SHOW_PARAM_S *pstParam) {
    const bool bOwn = word::LoadAcquire(m_bPortRelate) != 0 && ulPort < PLAYER_MAX_PORT_NUM;
    const IVA_SHOW_PARAM_S &stFrom = bOwn ? m_stArrShowParam[ulPort] : m_stShowParam;
    *pstParam = {word::Load(stFrom.bShowRule), word::Load(stFrom.bShowResultTouthRule),
                 word::Load(stFrom.bShowResultUntouthRule), word::Load(stFrom.bShowResultTrack)};
}

ULONG_32 IvaShow_Ticket(void) { return word::Load(gulTicket); }
