// The exported wrappers of recording: by form, no logic.
#include <string.h>

#include "frame/wrapper_forms.h"
#include "record/record_control.h"
#include "player_sdk_func.h"

BOOL_T Zelvane_StartRecord(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulMediaFileFormat, CHAR *pcFilePostfix) {
    if (pcFileName != nullptr && strchr(pcFileName, '%') != nullptr) {
        LOG_INFO("Call Port[%03d] Zelvane_StartRecord, FileFormat:[%d], FileName Contains percentage sign.", ulPort,
                 ulMediaFileFormat);
    } else {
        LOG_INFO("Call Port[%03d] Zelvane_StartRecord, FileFormat:[%d], FileName:%s.", ulPort, ulMediaFileFormat,
                 form::Text(pcFileName));
    }
    if (!form::IsPort(__func__, ulPort) || !form::HavePointer(__func__, pcFileName)) {
        return 0;
    }
    return form::Entered(__func__, ulPort, PORT_CALL_NORMAL,
                         [&] { return Player_StartRecord(ulPort, pcFileName, ulMediaFileFormat, pcFilePostfix); });
}

BOOL_T Zelvane_StopRecord(ULONG_32 ulPort) {
    return form::Standard(__func__, ulPort, [&] { return Player_StopRecord(ulPort); });
}

BOOL_T Zelvane_StopRecordEx(ULONG_32 ulPort, CHAR *pcFilePath) {
    return form::WithPointer(__func__, ulPort, PORT_CALL_NORMAL, pcFilePath,
                             [&] { return Player_StopRecordEx(ulPort, pcFilePath); });
}

BOOL_T Zelvane_SetRecordSize(ULONG_32 ulPort, ULONG_32 ulFileSize) {
    return form::Detail(__func__, ulPort, "FileSize:[%d]MB", [&] { return Player_SetRecordSize(ulPort, ulFileSize); });
}

BOOL_T Zelvane_SetRecordDivByTime(ULONG_32 ulPort, ULONG_32 ulTime) {
    return form::Detail(__func__, ulPort, "Time:[%d]", [&] { return Player_SetRecordDivByTime(ulPort, ulTime); });
}

BOOL_T Zelvane_GetRecordStatus(ULONG_32 ulPort, BOOL_T *pbRecording) {
    return form::WithPointer(__func__, ulPort, PORT_CALL_UNLOCKED, pbRecording,
                             [&] { return Player_GetRecordStatus(ulPort, pbRecording); });
}

BOOL_T Zelvane_GetRecordFiles(ULONG_32 ulPort, PLAYER_RECORD_GET_FILENAME_POS_E enGetFileOrder,
                              PLAYER_RECORD_FILES_NAME_INFO_S *pstFilesNameInfo) {
    LOG_INFO("Port[%03d] Call %s, %s.", ulPort, __func__, "Order:[%d]");
    return form::Entered(__func__, ulPort, PORT_CALL_UNLOCKED,
                         [&] { return Player_GetRecordFiles(ulPort, enGetFileOrder, pstFilesNameInfo); });
}

BOOL_T Zelvane_GetRecordFileSize(ULONG_32 ulPort, DULONG *pulRecordingFileSize) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    if (!form::IsPort(__func__, ulPort) || !form::HavePointer(__func__, pulRecordingFileSize)) {
        return 0;
    }
    const ULONG_32 ulResult = form::Run(__func__, ulPort, PORT_CALL_UNLOCKED,
                                        [&] { return Player_GetFileSize(ulPort, pulRecordingFileSize); });
    if (!form::Result(__func__, ulPort, ulResult)) {
        return 0;
    }
    LOG_INFO("Call Port[%03d] Zelvane_GetRecordFileSize Success, Size[%d].", ulPort,
             static_cast<LONG_32>(*pulRecordingFileSize));
    return 1;
}
