// The exported wrappers of the extensions: by form, no logic.
#include "player_ext.h"

#include "cloud/hls_tls.h"
#include "frame/wrapper_forms.h"

BOOL_T ZelvaneExt_SetCloudCa(const CHAR *pcCaFile) {
    LOG_INFO("Call %s.", __func__);
    return form::Global(__func__, [&] { return HlsTls_SetCa(pcCaFile); });
}
