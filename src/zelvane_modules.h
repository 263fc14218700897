/**
 * @file zelvane_modules.h
 * @brief Every module's header, for programs that call module-level functions.
 */
#ifndef ZELVANE_MODULES_H
#define ZELVANE_MODULES_H

#include "analytics/fisheye_types.h"
#include "analytics/module_iva.h"
#include "bits/MakeJpegHeader.h"
#include "bits/dsp_mcfw_preparse.h"
#include "cloud/hls_types.h"
#include "codec/module_code.h"
#include "file/module_file.h"
#include "file/mp4_boxes.h"
#include "file/mp4_parse.h"
#include "file/picture_file.h"
#include "foundations/PlayerLog.h"
#include "foundations/bytes.h"
#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"
#include "foundations/mw_sdk_bp.h"
#include "foundations/player_types.h"
#include "foundations/shared_word.h"
#include "foundations/wake.h"
#include "intake/module_net.h"
#include "intake/module_rtp.h"
#include "intake/module_sei.h"
#include "intake/module_ts.h"
#include "output/audioplay.h"
#include "output/videodisplay.h"
#include "port/player_manager.h"
#include "port/voice_types.h"
#include "protection/module_scramble.h"
#include "protection/watermark_types.h"
#include "queue/com_report.h"
#include "queue/module_queue.h"
#include "record/record_format.h"
#include "record/record_name.h"
#include "record/record_thread.h"
#include "record/record_types.h"
#include "record/rollover.h"

#endif
