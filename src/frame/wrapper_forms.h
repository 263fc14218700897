/**
 * @file wrapper_forms.h
 * @brief The forms that the exported wrappers have, each written once.
 *
 * A wrapper is one call of a form with its own name (__func__), the port and the port logic's function. A form logs,
 * checks the port number, takes the API lock, sets the last error and turns the code into a BOOL_T.
 */
#ifndef ZELVANE_FRAME_WRAPPER_FORMS_H
#define ZELVANE_FRAME_WRAPPER_FORMS_H

#include "foundations/com_log.h"
#include "frame/last_error.h"
#include "port/port_hold.h"
#include "port/port_lock.h"

namespace form {

/** Who calls a form: its log lines tell the wrapper's name and place in the source. */
struct NAME_S {
    const CHAR *pcName;
    const CHAR *pcFile;
    LONG lLine;

    NAME_S(const CHAR *pcCalled, const CHAR *pcCaller = __builtin_FILE(), LONG lCaller = __builtin_LINE())
        : pcName(pcCalled), pcFile(pcCaller), lLine(lCaller) {}
};

#define FORM_LOG(enLevel, stName, ...)                                                   \
    do {                                                                                 \
        if (Log_IsLevelOn(enLevel)) {                                                    \
            Log_WriteLogCallBack(enLevel, (stName).pcFile, (stName).lLine, __VA_ARGS__); \
        }                                                                                \
    } while (0)

/** Sets the last error and gives the wrapper's result for failure. */
inline BOOL_T Fail(ULONG_32 ulError) {
    LastError_Set(ulError);
    return 0;
}

/** A client's text for a log line. */
inline const CHAR *Text(const CHAR *pcText) { return pcText != nullptr ? pcText : "(null)"; }

inline bool IsPort(const NAME_S &stName, ULONG_32 ulPort) {
    if (ulPort < PLAYER_MAX_PORT_NUM) {
        return true;
    }
    FORM_LOG(PLAYER_LOG_ERROR, stName, "%s Get Port[%d] Failed.", stName.pcName, ulPort);
    LastError_Set(PLAYER_ERR_PORT);
    return false;
}

/** Runs the call without the lock, the record held. */
template <class CALL>
ULONG_32 Held(const NAME_S &stName, ULONG_32 ulPort, CALL &&oCall) {
    const CPortHold oHold(ulPort);
    if (oHold.Port() == nullptr) {
        FORM_LOG(PLAYER_LOG_ERROR, stName, "Get Port[%03d] Failed.", static_cast<LONG_32>(ulPort));
        return PLAYER_ERR_PORT;
    }
    return oCall();
}

/** Runs the call as its kind wants it; a call turned away counts as wrong state. */
template <class CALL>
ULONG_32 Run(const NAME_S &stName, ULONG_32 ulPort, PORT_CALL_E enCall, CALL &&oCall) {
    if (enCall == PORT_CALL_UNLOCKED) {
        return Held(stName, ulPort, oCall);
    }
    const CPortLock oLock(ulPort, enCall);
    return oLock.Entered() ? oCall() : static_cast<ULONG_32>(PLAYER_ERR_PARAM);
}

inline BOOL_T Result(const NAME_S &stName, ULONG_32 ulPort, ULONG_32 ulResult) {
    if (ulResult == PLAYER_ERR_OK) {
        return 1;
    }
    FORM_LOG(PLAYER_LOG_ERROR, stName, "Port[%03d] Call %s Failed, Error:[0x%x].", ulPort, stName.pcName, ulResult);
    return Fail(ulResult);
}

inline BOOL_T LoggedResult(const NAME_S &stName, ULONG_32 ulPort, ULONG_32 ulResult) {
    if (!Result(stName, ulPort, ulResult)) {
        return 0;
    }
    FORM_LOG(PLAYER_LOG_INFO, stName, "Port[%03d] Call %s Success.", ulPort, stName.pcName);
    return 1;
}

/** After the entry line: check, lock, call, result line. */
template <class CALL>
BOOL_T Entered(const NAME_S &stName, ULONG_32 ulPort, PORT_CALL_E enCall, CALL &&oCall) {
    return IsPort(stName, ulPort) ? LoggedResult(stName, ulPort, Run(stName, ulPort, enCall, oCall)) : 0;
}

/** Standard form. */
template <class CALL>
BOOL_T Standard(const NAME_S &stName, ULONG_32 ulPort, CALL &&oCall) {
    FORM_LOG(PLAYER_LOG_INFO, stName, "Port[%03d] Call %s.", ulPort, stName.pcName);
    return Entered(stName, ulPort, PORT_CALL_NORMAL, oCall);
}

/** Standard form of a call that closes. */
template <class CALL>
BOOL_T Close(const NAME_S &stName, ULONG_32 ulPort, CALL &&oCall) {
    FORM_LOG(PLAYER_LOG_INFO, stName, "Port[%03d] Call %s.", ulPort, stName.pcName);
    return Entered(stName, ulPort, PORT_CALL_CLOSE, oCall);
}

/** Standard form whose entry line names a detail: the placeholder itself, never the value. */
template <class CALL>
BOOL_T Detail(const NAME_S &stName, ULONG_32 ulPort, const CHAR *pcDetail, CALL &&oCall) {
    FORM_LOG(PLAYER_LOG_INFO, stName, "Port[%03d] Call %s, %s.", ulPort, stName.pcName, pcDetail);
    return Entered(stName, ulPort, PORT_CALL_NORMAL, oCall);
}

/** Quiet form, for calls at a high rate: no line on entry or success. */
template <class CALL>
BOOL_T Quiet(const NAME_S &stName, ULONG_32 ulPort, PORT_CALL_E enCall, CALL &&oCall) {
    return IsPort(stName, ulPort) ? Result(stName, ulPort, Run(stName, ulPort, enCall, oCall)) : 0;
}

/** Whether a pointer that the call needs is there. */
inline bool HavePointer(const NAME_S &stName, const void *pPointer) {
    if (pPointer != nullptr) {
        return true;
    }
    FORM_LOG(PLAYER_LOG_ERROR, stName, "invalid param");
    LastError_Set(PLAYER_ERR_PARAM);
    return false;
}

/** Quiet form of a getter. */
template <class CALL>
BOOL_T QuietGetter(const NAME_S &stName, ULONG_32 ulPort, PORT_CALL_E enCall, const void *pOutput, CALL &&oCall) {
    return IsPort(stName, ulPort) && HavePointer(stName, pOutput)
               ? Result(stName, ulPort, Run(stName, ulPort, enCall, oCall))
               : 0;
}

/** Standard form of a call that needs a pointer. */
template <class CALL>
BOOL_T WithPointer(const NAME_S &stName, ULONG_32 ulPort, PORT_CALL_E enCall, const void *pPointer, CALL &&oCall) {
    FORM_LOG(PLAYER_LOG_INFO, stName, "Port[%03d] Call %s.", ulPort, stName.pcName);
    return IsPort(stName, ulPort) && HavePointer(stName, pPointer)
               ? LoggedResult(stName, ulPort, Run(stName, ulPort, enCall, oCall))
               : 0;
}

/** Global form, for calls without a port: no lock. */
template <class CALL>
BOOL_T Global(const NAME_S &stName, CALL &&oCall) {
    ULONG_32 ulResult = oCall();
    if (ulResult != PLAYER_ERR_OK) {
        FORM_LOG(PLAYER_LOG_ERROR, stName, "Call %s Failed, Error:[0x%x].", stName.pcName, ulResult);
        return Fail(ulResult);
    }
    FORM_LOG(PLAYER_LOG_INFO, stName, "Call %s Success.", stName.pcName);
    return 1;
}

/** After the entry line of the log-only form: call, result line. */
template <class CALL>
BOOL_T LogOnlyResult(const NAME_S &stName, ULONG_32 ulPort, CALL &&oCall) {
    ULONG_32 ulResult = Held(stName, ulPort, oCall);
    if (ulResult != PLAYER_ERR_OK) {
        FORM_LOG(PLAYER_LOG_ERROR, stName, "Port[%03d] Call %s Failed, Error:[0x%x].", ulPort, stName.pcName, ulResult);
        return 0;
    }
    FORM_LOG(PLAYER_LOG_INFO, stName, "Port[%03d] Call %s Success.", ulPort, stName.pcName);
    return 1;
}

/** Log-only form: no lock, no check of the number here, no last error. */
template <class CALL>
BOOL_T LogOnly(const NAME_S &stName, ULONG_32 ulPort, CALL &&oCall) {
    FORM_LOG(PLAYER_LOG_INFO, stName, "Port[%03d] Call %s.", ulPort, stName.pcName);
    return LogOnlyResult(stName, ulPort, oCall);
}

/** Log-only form whose entry line names a detail. */
template <class CALL>
BOOL_T LogOnlyDetail(const NAME_S &stName, ULONG_32 ulPort, const CHAR *pcDetail, CALL &&oCall) {
    FORM_LOG(PLAYER_LOG_INFO, stName, "Port[%03d] Call %s, %s.", ulPort, stName.pcName, pcDetail);
    return LogOnlyResult(stName, ulPort, oCall);
}

}  // namespace form

#endif
