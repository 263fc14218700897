/**
 * @file player_manager.h
 * @brief The port record, and the functions of the port logic.
 *
 * Which thread owns what. The client's calls on a port take turns under its API lock (port/port_lock.h); the pipeline
 * threads never take it. stFrameData, the stream records, the codecs and the statistics belong to the decode thread (on
 * a file port the play thread); stDecodeVideoData.stLock guards the decoded picture and the video decoder against the
 * render thread and snapshots; stFishInfoMutex and stSnatchInfo.stMutex guard what their names say. Run flags, settings
 * and counters that several threads see are words reached through foundations/shared_word.h.
 *
 * Every Player_ function that takes a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_PORT_PLAYER_MANAGER_H
#define ZELVANE_PORT_PLAYER_MANAGER_H

#include "analytics/fisheye_types.h"
#include "analytics/module_iva.h"
#include "cloud/hls_types.h"
#include "codec/module_code.h"
#include "file/module_file.h"
#include "foundations/player_types.h"
#include "foundations/wake.h"
#include "intake/module_net.h"
#include "intake/module_rtp.h"
#include "intake/module_sei.h"
#include "intake/module_ts.h"
#include "port/voice_types.h"
#include "protection/module_scramble.h"
#include "protection/watermark_types.h"
#include "queue/com_report.h"
#include "queue/module_queue.h"
#include "record/record_types.h"

/** Use mode of a port. */
typedef enum tagPortUsedTypeE {
    PORT_USED_TYPE_NULL = 0,  /**< allocated, no source */
    PORT_USED_TYPE_INPUT = 1, /**< packets pushed by the client */
    PORT_USED_TYPE_NET = 2,   /**< network stream */
    PORT_USED_TYPE_FILE = 3,  /**< local file */
    PORT_USED_TYPE_VOICE = 4, /**< voice service */
    PORT_USED_TYPE_HLS = 5    /**< cloud recording */
} PORT_USED_TYPE_E;

/** The older names of the same numbers. */
typedef enum tagPortUsedE {
    PORT_USED_NULL = 0,
    PORT_USED_INPUT = 1,
    PORT_USED_NET = 2,
    PORT_USED_FILE = 3,
    PORT_USED_VOICE = 4
} PORT_USED_E;

/** What the last decode produced. */
enum : ULONG { VIDEO_DATA = 0, AUDIO_DATA = 1 };

/** Container of the last packet. */
enum : ULONG_32 { STREAM_TYPE_NONE = 0, STREAM_TYPE_TS = 1, STREAM_TYPE_RTP = 2 };

/** One tap of the pipeline. The function is loaded once, then tested and called. */
typedef struct tagPlayerCallBackS {
    HANDLE hFunc;      /**< function, or null */
    void *pUserParam;  /**< the client's value */
    BOOL_T bContinue;  /**< the pipeline goes on past this tap */
} PLAYER_CALLBACK_S;

/** The taps of a port. */
typedef struct tagPortCallbackSetS {
    PLAYER_CALLBACK_S stSourceCB;     /**< raw packets */
    PLAYER_CALLBACK_S stVideoFrameCB; /**< whole video frames */
    PLAYER_CALLBACK_S stAudioFrameCB; /**< whole audio frames */
    PLAYER_CALLBACK_S stVideoDataCB;  /**< pictures */
    PLAYER_CALLBACK_S stAudioDataCB;  /**< PCM */
    PLAYER_CALLBACK_S stDrawCB;       /**< drawing */
    PLAYER_CALLBACK_S stVoiceDataCB;  /**< PCM for a voice service */
    PLAYER_CALLBACK_S stRunMsgCB;     /**< run messages */
} PLAYER_CALLBACKSET_S;

/** State of a container that the parser does not recognise in this version. */
typedef struct tagFlvStreamInfoS {
    UCHAR *pucFrameData;
    ULONG_32 ulFrameLen;
} FLV_STREAM_INFO_S;

/** Everything that a port has. Player_FreePort releases it last. */
typedef struct tagPlayerPortS {
    ULONG_32 ulPort;                            /**< this port's number */
    ULONG_32 ulPortUsed;                        /**< PORT_USED_TYPE_E */
    NET_INFO_S stNetInfo;                       /**< socket */
    CHAR *pcRecvDataAddr;                       /**< receive buffer */
    ULONG_32 ulRecvDataLen;                     /**< bytes in it */
    CHAR *pcRecvDataTmpAddr;                    /**< second receive buffer */
    ULONG_32 ulRecvDataTmpLen;                  /**< bytes in it */
    CHAR *pcFrameDataAddr;                      /**< frame assembly for video, VIDEO_FRAME_BUFFER_SIZE */
    ULONG_32 ulFrameDataLen;
    ULONG_32 ulFrameBufLen;
    CHAR *pcRtpAudioFrameDataAddr;              /**< frame assembly for audio, AUDIO_FRAME_BUFFER_SIZE */
    ULONG_32 ulRtpAudioFrameDataLen;
    ULONG_32 ulRtpAudioFrameBufLen;
    ULONG_32 ulCurStreamType;                   /**< container of the last packet */
    TS_STREAM_INFO_S stTsStreamInfo;            /**< TS depacketiser */
    RTP_STREAM_INFO_S stRtpVideoStreamInfo;     /**< RTP depacketiser, video */
    RTP_STREAM_INFO_S stRtpAudioStreamInfo;     /**< RTP depacketiser, audio and data */
    FLV_STREAM_INFO_S stFlvStreamInfo;          /**< unused */
    PLAYER_FRAMEDATA_S stFrameData;             /**< the current complete frame */
    PACKET_BUFFER_QUEUE_S stPacketBufferQueue;  /**< receive ring */
    ULONG_32 ulBufferNum;                       /**< its slots at the next open */
    BOOL_T bStartRecv;                          /**< source and decode threads run while set */
    NET_STATEINFO_S stStateInfo;                /**< statistics */
    PLAYER_CALLBACKSET_S stCallBack;            /**< taps */
    BOOL_T bNeedIFrame;                         /**< drop video until the next key frame */
    CODEC_INFO_S stVideoDecode;
    CODEC_INFO_S stAudioDecode;
    CODEC_INFO_S stVideoEncode;                 /**< JPEG encoder of snapshots */
    ULONG ulCurDataType;                        /**< VIDEO_DATA or AUDIO_DATA */
    CODE_DECODED_DATA_S stDecodeVideoData;      /**< decoded picture; its stLock guards the video decoder too */
    CODE_DECODED_DATA_S stDecodeAudioData;      /**< decoded PCM */
    CODE_DECODED_DATA_S stAdjustVideoData;      /**< picture after adjustment */
    NET_NAT_TIMER_PARAM_S stNatTimeParam;       /**< NAT keep-open */
    BOOL_T bInit;                               /**< the port takes pushed packets */
    struct timeval tiProTime;                   /**< last pacing instant of the decode side; milliseconds */
    ULONG_32 ulDelayTime;                       /**< stored, unused */
    BOOL_T bStartVideo;                         /**< the render thread runs while set */
    ULONG_32 ulDisplayScale;                    /**< PLAYER_RENDER_SCALE_E */
    ULONG_32 ulDigitalZoom;                     /**< zoom switch */
    BOOL_T bStartAudio;                         /**< sound wanted */
    BOOL_T bAudioPlayOnly;                      /**< file port */
    DULONG dulTimeStampBefore;                  /**< last video timestamp of the play thread */
    QLOM_SDK_THREAD_S hSourceThread;
    QLOM_SDK_THREAD_S hDecodeThread;
    QLOM_SDK_THREAD_S hRecordThread;
    QLOM_SDK_THREAD_S hSnatchThread;
    QLOM_SDK_THREAD_S hRenderThread;
    HANDLE hWnd;                                /**< client window */
    DECODED_BUFFER_QUEUE_S stDecodeBufferQueue; /**< decoded pictures */
    OFF_SCREEN_QUEUE_S stOffScreenQueue;        /**< inert */
    ULONG_32 ulDecodeBufferNum;                 /**< nodes of the picture queue at the next StartPlay */
    HANDLE hDisplayDev;
    PLAYER_RECT_S stSrcRect;                    /**< part of the picture that the zoom shows */
    HANDLE hSoundDev;
    LONG_32 lSoundVolume;
    FILE_INFO_S stFileInfo;                     /**< file being played */
    BOOL_T bFilePort;
    ULONG_32 ulSetPlayTime;                     /**< pending seek, seconds; all ones for none */
    ULONG_32 ulFrameCtrl;                       /**< FILE_FRAME_CTRL_TYPE_E */
    BOOL_T bCtrlSucc;                           /**< 0 while a single step is pending */
    BOOL_T bStartCkeckMark;                     /**< watermark check runs */
    PORT_MARK_INFO_S stMarkInfo;
    ULONG_32 ulMediaFileFormat;                 /**< record format */
    PACKET_BUFFER_QUEUE_S stRecordBufferQueue;  /**< packets for the record thread */
    BOOL_T bStartRecord;
    BOOL_T bHaveAudio;
    CODEC_INFO_S stRecordAudioEncode;
    CODEC_INFO_S stRecordAudioDecode;
    struct tagPlayerPortS *pstReordPort;        /**< helper port of a recording */
    PLAYER_RECORD_FILES_NAME_INFO_S *pstRecordFilesName;
    PLAYER_RECORD_FILENAME_LIST_S *pstFileNameCurNode;
    CHAR szFileName[PLAYER_FILE_NAME_LEN];
    CHAR szFileNameTemp[PLAYER_FILE_NAME_LEN];
    FLOAT fFilePlaySpeed;                       /**< pacing factor: below 1 is faster */
    PLAYER_PLAY_SPEED_E enSpeedValue;
    FILE *pRecordFile;
    TS_PACKET_DEC_S *pstTsRecordInfo;
    BOOL_T bInitTsRecordInfo;
    DLONG dlVideoSequence;
    HANDLE hAviHandle;
    BOOL_T bInitAviRecordInfo;
    HANDLE hMp4File;
    HANDLE hMp4Handle;
    ULONG_32 ulFileCount;                       /**< rollovers so far */
    DULONG ulFileMaxSize;                       /**< bytes of a record file; 0 for no limit */
    ULONG_32 ulFileMaxTime;                     /**< seconds of a record file; 0 for no limit */
    time_t lStartTime;
    DULONG dulPreTimeStamp;
    DULONG dulTotalTimeStamp;
    PORT_VOICE_INFO_S stVoiceInfo;
    HANDLE hCaptureDec;
    ULONG_32 ulUseDec;
    PLAYER_VIDEOADJUST_PARAM_S stAdjustParam;
    BOOL_T bAdjust;
    PLAYER_PICTURE_FLUENCY_E enPicFluncy;
    ADJUST_PACKET_SEQ_QUEUE_S stAdjustPktSeq;
    PLAYER_DEINTERLACEMODE_E enDeinterlaceMode;
    BOOL_T bDeinterlace;
    BOOL_T bMicQuiet;
    LONG_32 lMicVolume;
    BOOL_T bSoundQuiet;
    LONG_32 lSoundVolumeBeforeQuiet;
    BOOL_T bUseGpu;
    BOOL_T bUseGpuH265;
    ULONG_32 ulBufferCtrl;                      /**< PLAYER_BUFFER_CTRL_E */
    BOOL_T bFindRecordHead;                     /**< the next packet is the frame of a head just read */
    ULONG_32 ulRecWidth;
    ULONG_32 ulRecHeight;
    ULONG_32 ulRecPayload;
    ULONG_32 ulRecAudioPayload;
    BOOL_T bRecAudioChange;
    ULONG_32 ulRecFrameRate;
    SEI_INFO_S stSeiInfo;
    PLAYER_SOUND_CHANNEL_E enSoundChannel;
    MP4_SPS_PPS_INFO *pstMp4SpsPpsInfo;
    QLOM_SDK_MUTEX_S stFishInfoMutex;
    FISH_EYE_INFO_S stFishInfo;
    BOOL_T bReportFisheyeStream;
    BOOL_T bReportPtzStream;
    PTZ_INFO_S stPtzInfo;
    BOOL_T bPause;                              /**< live pause */
    LONG_32 lRectify;                           /**< PLAYER_VIDEO_CB_TYPE_E */
    RTP_PAYLOAD_TYPE_S *pstPayloadType;         /**< two entries, or null */
    RTP_AUDIO_INFO_S stRtpAudioInfo;
    IVA_INFO_S stIvaInfo;
    ULONG_32 ulRecordFileBeginTime;
    ULONG_32 ulRecordFileEndTime;
    BOOL_T bUseGpuRander;
    PLAYER_OSD_STYL_E enOSDStyle;
    void *lpParser;
    BOOL_T bChangeVideoDecode;
    BOOL_T bUseGpuDraw;
    BOOL_T bReCreateDec;                        /**< a video decoder was built and gave no picture yet */
    BOOL_T bReCreateH265GPUDec;
    PLAYER_SNATCH_INFO_S stSnatchInfo;
    BOOL_T bStartBroadcast;
    PACKET_BUFFER_QUEUE_S stBroadcastBufferQueue;
    QLOM_SDK_THREAD_S hBroadcastThread;
    BOOL_T bOneFrameDecordFlag;
    BOOL_T bCompression;
    QLOM_SDK_THREAD_S hHlsDownloadThread;
    QLOM_SDK_THREAD_S hTsManagerThread;
    PLAYER_HLS_TYPE_INFO_S stHlsTypeInfos;
    SEI_SCRAMBLE_INFO_S stScrambleInfo;
    BOOL_T bScrambleFlag;
    HANDLE hScrambleKey;

    WAKE_S stControlWake;                       /**< cuts the waits of the port's threads short: stop, seek, settings */
    LONG_32 lPictureWidth;                      /**< size of the last picture, for getters while the decoder works */
    LONG_32 lPictureHeight;
    LONG_32 lVideoCodecID;                      /**< stVideoDecode.lCodecID, for getters likewise */
    LONG_32 lAudioCodecID;                      /**< stAudioDecode.lCodecID likewise */
    HANDLE hRetiredPayloadType;                 /**< override table replaced while threads may still read it */
    WAKE_FD_S stSourceWake;                     /**< wakes the net thread; made and closed under gstPortMutexLock too */
    ULONG_32 ulControlTicket;                   /**< ticket of stControlWake that the play thread's pass began with */
    ULONG_32 ulFilePlayTime;                    /**< position of the play thread, seconds, for calls without the lock */
    BOOL_T bHelper;                             /**< helper port of a recording, which alone may free it */
} PLAEYR_PORT_S;

/** The port table. Null is a free port. Written under gstPortMutexLock. */
extern PLAEYR_PORT_S *gapPortList[PLAYER_MAX_PORT_NUM];
extern QLOM_SDK_MUTEX_S gstPortMutexLock;
/** Library-wide wish for hardware decoding; ports read it when they build a decoder. */
extern BOOL_T gbGpuAble;
extern BOOL_T gbGpuAbleH265;
extern LONG_32 glMaxDecChlNum;
extern PLAYER_HLS_STREAM_INFO_S gstHlsStreamInfo;

/** Logs and leaves with PLAYER_ERR_PORT when there is no such port; declares pstPort otherwise. */
#define PLAYER_GET_PORT(pstPort, ulPort)                                   \
    PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);                       \
    if (pstPort == nullptr) {                                              \
        LOG_ERROR("Get Port[%03d] Failed.", static_cast<LONG_32>(ulPort)); \
        return PLAYER_ERR_PORT;                                            \
    }

extern "C" {

/* ---- frame ---- */

/** The record of a port, or null when the number is out of range or free. Takes no lock. */
MODULE_API PLAEYR_PORT_S *Player_GetPort(ULONG_32 ulPort);
/** Takes the next free number in rotation and publishes a record with its defaults. */
MODULE_API ULONG_32 Player_AllocPort(ULONG_32 *pulPort);
/** Closes the port's source and releases the record; nothing for a free number. PLAYER_ERR_FAILED on its own
 *  threads, and for the helper port of a recording, which goes with the recording. */
MODULE_API ULONG_32 Player_FreePort(ULONG_32 ulPort);
/** Allocated ports whose mode is not 1, 2 or 3. */
MODULE_API ULONG_32 Player_GetPortUsedNum(void);
/** Brings the modules up, in the order of dependence. */
MODULE_API ULONG_32 Player_Startup(void);
/** Frees all ports and takes the modules down. */
MODULE_API ULONG_32 Player_Cleanup(void);
MODULE_API ULONG_32 Player_GetTotalVirtualSize(ULONG_32 *pulMallocNum, PLAYER_MALLOC_INFO_S *pastMallocInfo);
/** The library's dispatcher on the report thread: hands messages of kind 1 to the port's own callback. */
MODULE_API void Player_RunMsgReportDealWith(ULONG_32 ulRunInfoType, void *pMsg);
MODULE_API ULONG_32 Player_SetPlayerRunMsgCB(PLAYER_RUN_INFO_CALLBACK_PF pfnRunInfoFunc);
MODULE_API ULONG_32 Player_SetRunMsgCB(ULONG_32 ulPort, PLAYER_RUN_INFO_CALLBACK_PF pfnRunInfoFunc);

/* ---- intake ---- */

MODULE_API ULONG_32 Player_OpenInputStream(ULONG_32 ulPort, const UCHAR *pucFileHeadBuf, ULONG_32 ulSize);
MODULE_API ULONG_32 Player_InputMediaData(ULONG_32 ulPort, const UCHAR *pucDataBuf, ULONG_32 ulDataLen);
/** Also closes voice and cloud ports; success without a port. */
MODULE_API ULONG_32 Player_CloseInputStream(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_SetPacketBuffer(ULONG_32 ulPort, ULONG_32 ulBufferSize, ULONG_32 ulDelayRenderTime);
MODULE_API ULONG_32 Player_SetBufferCtrl(ULONG_32 ulPort, ULONG_32 ulBufferCtrl);
MODULE_API ULONG_32 Player_GetPacketQueueStart(ULONG_32 ulPort, ULONG_32 *pulFrameCount, ULONG_32 *pulPacketCount);
MODULE_API ULONG_32 Player_SetPayloadType(ULONG_32 ulPort, ULONG_32 ulNum, PLAYER_PAYLOAD_TYPE_S *pstPayloadType);
MODULE_API ULONG_32 Player_SetAudioInfo(ULONG_32 ulPort, PLAYER_AUDIO_INFO_S *pstAudioInfo);
MODULE_API ULONG_32 Player_OpenNetStream(ULONG_32 ulPort, const CHAR *pcLocalIP, USHORT usLocalPort,
                                         const CHAR *pcRemoteIP, USHORT usRemotePort, ULONG_32 ulTransProtl);
/** Success without a port. */
MODULE_API ULONG_32 Player_CloseNetStream(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_SetNatParam(ULONG_32 ulPort, ULONG_32 ulNatMode, const CHAR *pcNatSessionStr);
/** PLAYER_ERR_NOT_SUPPORT: the client chooses a stream's local port itself. */
MODULE_API ULONG_32 Player_GetLocalNetPort(ULONG_32 ulPort, const CHAR *pcLocalIP, LONG *plPort);
MODULE_API ULONG_32 Player_ReleaseLocalNetPort(ULONG_32 ulPort);
/** Stored and not used. Returns 0. */
MODULE_API ULONG_32 Player_SetTcpOutTime(LONG_32 lTcpOutTime);
/** The net receive thread of a net port; pParam is the port. */
MODULE_API void *__NetRecvThreadEntry(void *pParam);
/**
 * One step of taking frames out of a TCP stream: looks at what pcRecvDataAddr holds, or reads once.
 * @return 0 when one whole frame with its head lies at the start of pcRecvDataAddr, ulRecvDataLen bytes long, and what
 *         was behind it in pcRecvDataTmpAddr; 529 when it is to be called again; 2 without both buffers (NET_TCP_BUFFER_SIZE
 *         bytes each); 5 or 6 when the stream is broken or at its end
 */
MODULE_API ULONG_32 Player_RecvPacketEx(NET_INFO_S *pstNetInfo, PLAEYR_PORT_S *pstPort);
MODULE_API ULONG_32 Player_GetBitRate(ULONG_32 ulPort, LONG_32 *plBitRate);
MODULE_API ULONG_32 Player_GetLostPacketRate(ULONG_32 ulPort, LONG_32 *plRecvPktNum, LONG_32 *plLostPktNum);
MODULE_API ULONG_32 Player_ResetLostPacketRate(ULONG_32 ulPort);

/* ---- files ---- */

/** Opens a file and starts its play thread, paused. PLAYER_ERR_PARAM for a port in use. */
MODULE_API ULONG_32 Player_OpenMediaFile(ULONG_32 ulPort, const CHAR *pcFilename);
/** Stops everything that runs on a file port and closes the file; success for a port without a file. */
MODULE_API ULONG_32 Player_CloseMediaFile(ULONG_32 ulPort);
/** The play thread of a file port; pParam is the port. */
MODULE_API void *__FilePlayThreadEntry(void *pParam);
/** Reads the next frame of the file into stFrameData; learns the frame rate; puts a head in front of AAC. */
MODULE_API ULONG_32 Player_ParserFile(PLAEYR_PORT_S *pstPort, ULONG_32 ulFrameCtrl);
/**
 * Waits until the picture at hand has stood long enough. Any control call ends the wait.
 * @param pstStart when the pass began, as WYK_gettimeofday() gives it
 * @param fSpeed   factor on the time that a picture stands
 */
MODULE_API ULONG_32 Player_FileSleepProc(struct timeval *pstStart, FLOAT fSpeed, PLAEYR_PORT_S *pstPort);
MODULE_API ULONG_32 Player_PausePlay(ULONG_32 ulPort, BOOL_T bPause);
/** ulSpeed is a PLAYER_PLAY_SPEED_E. */
MODULE_API ULONG_32 Player_SpeedPlay(ULONG_32 ulPort, ULONG_32 ulSpeed);
/** Shows the next picture and pauses; returns when it has been read, PLAYER_ERR_FAILED if the port closes meanwhile. */
MODULE_API ULONG_32 Player_AFrameGo(ULONG_32 ulPort);
/** PLAYER_ERR_NOT_SUPPORT. */
MODULE_API ULONG_32 Player_AFrameBack(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_GetFileTime(ULONG_32 ulPort, ULONG_32 *pulTotalTime);
/** The play thread moves; this only tells it to. */
MODULE_API ULONG_32 Player_SetPlayedTime(ULONG_32 ulPort, ULONG_32 ulTime);
/** Region of the next file to open, bytes. */
MODULE_API ULONG_32 Player_SetFilePos(ULONG_32 ulPort, DULONG dulFileStartPos, DULONG dulFileEndPos);
MODULE_API ULONG_32 Player_CurPlayTime(ULONG_32 ulPort, ULONG_32 *pulPlayTime);
/** Fills in the positions of ulPortNum ports; needs no lock. */
MODULE_API ULONG_32 Player_CurPlayTimeEx(ULONG_32 ulPortNum, PLAYBACK_PLAY_TIME *pstPlayTimeArray);
MODULE_API ULONG_32 Player_Mp4GetRealTime(const CHAR *pcFileName, ULONG_32 *pulRealTime);

/* ---- pipeline ---- */

/** The decode thread of input, net and cloud ports; pParam is the port. */
MODULE_API void *__DecodeThreadEntry(void *pParam);
/** The render thread of a port with a window; pParam is the port. */
MODULE_API void *__RenderThreadEntry(void *pParam);
/** Takes one packet; 0 when stFrameData holds a complete frame. */
MODULE_API ULONG_32 Player_ParseStream(CHAR *pcRecvDataAddr, ULONG_32 ulRecvDataLen, PLAEYR_PORT_S *pstPort);
/** Works out frame rate and picture size for the video frame in stFrameData. */
MODULE_API ULONG_32 Player_StatisticsTimestamp(PLAEYR_PORT_S *pstPort);
/** Makes sure that a decoder for the frame in stFrameData exists. */
MODULE_API ULONG_32 Player_FindDecode(LONG lPayload, PLAEYR_PORT_S *pstPort);
/** Decodes one frame into stDecodeVideoData or stDecodeAudioData. */
MODULE_API ULONG_32 Player_Decoder(PLAYER_FRAMEDATA_S *pstFrame, PLAEYR_PORT_S *pstPort);
/** The decode side's pacing wait between two video frames. */
MODULE_API void Player_WaitForDecodeTime(PLAEYR_PORT_S *pstPort);
/** Correction of a wait by the backlog, milliseconds. */
MODULE_API LONG_32 Player_MashTimeFrameCount(ULONG_32 ulFrameCount, ULONG_32 ulHopeBufNum, LONG_32 lFrameRate);
MODULE_API ULONG_32 Player_GetFrameRate(ULONG_32 ulPort, LONG_32 *plFrameRate);
MODULE_API ULONG_32 Player_GetPictureSize(ULONG_32 ulPort, LONG_32 *plWidth, LONG_32 *plHeight);
MODULE_API ULONG_32 Player_GetEncodeType(ULONG_32 ulPort, ULONG_32 *pulVideoEncodeType, ULONG_32 *pulAudioEncodeType);
MODULE_API ULONG_32 Player_SetAdjust(ULONG_32 ulPort, BOOL_T bAble, PLAYER_VIDEOADJUST_PARAM_S *pstParam);
MODULE_API ULONG_32 Player_GetAdjust(ULONG_32 ulPort, PLAYER_VIDEOADJUST_PARAM_S *pstParam);
MODULE_API ULONG_32 Player_SetDeinterlaceMode(ULONG_32 ulPort, BOOL_T bAble, PLAYER_DEINTERLACEMODE_E enMode);
/** The result is the exported function's own: 0 when asked for hardware, 1 when it is taken back. */
MODULE_API BOOL_T Player_AbleGpuDecode(BOOL_T bAble);
MODULE_API ULONG_32 Player_AbleGpuDecodeEx(BOOL_T bAble, PLAYER_GPU_ABLE_STATE_S *pstGpuAbleState);
MODULE_API ULONG_32 Player_SetGpuDrawEnable(ULONG_32 ulPort, BOOL_T bAble);
MODULE_API ULONG_32 Player_SetOneFrameDecodeMode(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_StartPlay(ULONG_32 ulPort, HANDLE hWnd);
MODULE_API ULONG_32 Player_StopPlay(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_SetPictureFluency(ULONG_32 ulPort, ULONG_32 ulFluency);
MODULE_API ULONG_32 Player_PauseLive(ULONG_32 ulPort, BOOL_T bPause);
MODULE_API ULONG_32 Player_SetDecodeQueueBufferNum(ULONG_32 ulPort, ULONG_32 ulDecodeBufferNum);

/* ---- callbacks ---- */

MODULE_API ULONG_32 Player_SetSourceMediaDataCB(ULONG_32 ulPort, PLAYER_SOURCE_MEDIA_DATA_CALLBACK_PF pfnFunc,
                                                BOOL_T bContinue, void *pUserParam);
MODULE_API ULONG_32 Player_SetParseVideoDataCB(ULONG_32 ulPort, PLAYER_PARSE_VIDEO_DATA_CALLBACK_PF pfnFunc,
                                               BOOL_T bContinue, void *pUserParam);
MODULE_API ULONG_32 Player_SetParseAudioDataCB(ULONG_32 ulPort, PLAYER_PARSE_AUDIO_DATA_CALLBACK_PF pfnFunc,
                                               BOOL_T bContinue, void *pUserParam);
MODULE_API ULONG_32 Player_SetDecodeVideoMediaDataCB(ULONG_32 ulPort, PLAYER_DECODE_VIDEO_DATA_CALLBACK_PF pfnFunc,
                                                     BOOL_T bContinue, void *pUserParam);
MODULE_API ULONG_32 Player_SetDecodeAudioMediaDataCB(ULONG_32 ulPort, PLAYER_DECODE_AUDIO_DATA_CALLBACK_PF pfnFunc,
                                                     BOOL_T bContinue, void *pUserParam);
MODULE_API ULONG_32 Player_SetDrawMediaDataCB(ULONG_32 ulPort, PLAYER_DRAW_DATA_CALLBACK_PF pfnFunc, void *pUserParam);
MODULE_API ULONG_32 Player_SetDrawMediaDataCBEx(ULONG_32 ulPort, PLAYER_DRAW_DATA_CALLBACK_PF pfnFunc,
                                                void *pUserParam);
MODULE_API ULONG_32 Player_SetParseVoiceDataCB(ULONG_32 ulPort, PLAYER_PARSE_VOICE_DATA_CALLBACK_PF pfnFunc,
                                               BOOL_T bContinue, void *pUserParam);
MODULE_API ULONG_32 Player_SetVideoCallBackMode(ULONG_32 ulPort, ULONG_32 lRectify);
/** Given to the display; pUserParam is the port. */
MODULE_API void Player_DrawDataCB(HANDLE hDrawHandle, HANDLE hDrawing, void *pUserParam, LONG_REAL lReserved);
MODULE_API ULONG_32 Player_ExecuteSourceCB(CHAR *pcRecvDataAddr, ULONG_32 ulRecvDataLen, PLAEYR_PORT_S *pstPort);
MODULE_API ULONG_32 Player_ExecuteFrameCB(PLAEYR_PORT_S *pstPort);
MODULE_API ULONG_32 Player_ExecuteDecodeCB(PLAEYR_PORT_S *pstPort);
MODULE_API ULONG_32 Player_RectifyDecodeCB(PLAEYR_PORT_S *pstPort, CODE_DECODED_DATA_S *pstDecodeVideoData);

/* ---- display and sound ---- */

MODULE_API ULONG_32 Player_SetRenderScale(ULONG_32 ulPort, LONG_32 lRenderScale);
MODULE_API ULONG_32 Player_GetRenderScale(ULONG_32 ulPort, LONG_32 *plRenderScale);
MODULE_API ULONG_32 Player_SetDigitalZoom(ULONG_32 ulPort, PLAYER_RECT_S *pstRect);
MODULE_API ULONG_32 Player_OpenSound(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_CloseSound(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_GetSoundVolume(ULONG_32 ulPort, LONG_32 *plVolume);
MODULE_API ULONG_32 Player_SetSoundVolume(ULONG_32 ulPort, LONG_32 lVolume);
MODULE_API ULONG_32 Player_SetMicVolume(ULONG_32 ulPort, LONG_32 lVolume);
MODULE_API ULONG_32 Player_GetMicVolume(ULONG_32 ulPort, LONG_32 *plVolume);
MODULE_API ULONG_32 Player_SetMicQuietStatus(ULONG_32 ulPort, BOOL_T bQuiet);
MODULE_API ULONG_32 Player_GetMicQuietStatus(ULONG_32 ulPort, BOOL_T *pbQuiet);
MODULE_API ULONG_32 Player_SetSoundQuietStatus(ULONG_32 ulPort, BOOL_T bQuiet);
MODULE_API ULONG_32 Player_GetSoundQuietStatus(ULONG_32 ulPort, BOOL_T *pbQuiet);
MODULE_API ULONG_32 Player_SetPlaySoundChannel(ULONG_32 ulPort, ULONG_32 ulChannel);

/* ---- analytics, recording, voice, other sources ---- */

MODULE_API ULONG_32 Player_SetIvaEnable(ULONG_32 ulPort, BOOL_T bAble);
/** Starts a recording: Zelvane_StartRecord(). pcFilePostfix receives the bytes of the extension, or is null. */
MODULE_API ULONG_32 Player_StartRecord(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulMediaFileFormat,
                                       CHAR *pcFilePostfix);
/** Ends a recording; without one it only notes an empty file name. PLAYER_ERR_FAILED on the record thread itself. */
MODULE_API ULONG_32 Player_StopRecord(ULONG_32 ulPort);
/** The same with names and groups of its own; pcFilePath, 256 bytes, receives what fits behind its present length. */
MODULE_API ULONG_32 Player_StopRecordEx(ULONG_32 ulPort, CHAR *pcFilePath);
/** ulFileSize in MiB, 10 to 4000; takes the time limit away. */
MODULE_API ULONG_32 Player_SetRecordSize(ULONG_32 ulPort, ULONG_32 ulFileSize);
/** ulTime in minutes, 1 to 60; takes the size limit away. */
MODULE_API ULONG_32 Player_SetRecordDivByTime(ULONG_32 ulPort, ULONG_32 ulTime);
MODULE_API ULONG_32 Player_GetRecordStatus(ULONG_32 ulPort, BOOL_T *pbRecording);
/** enGetFilePos is a PLAYER_RECORD_GET_FILENAME_POS_E; the nodes stay the port's. */
MODULE_API ULONG_32 Player_GetRecordFiles(ULONG_32 ulPort, ULONG_32 enGetFilePos,
                                          PLAYER_RECORD_FILES_NAME_INFO_S *pstFilesNameInfo);
/** Does nothing. Returns 0. */
MODULE_API ULONG_32 Player_GetFileSize(ULONG_32 ulPort, DULONG *pulRecordingFileSize);
/** The record thread; pParam is the port. */
MODULE_API void *__RecordThreadEntry(void *pParam);
/* ---- snapshots; they need no API lock ---- */

/** Saves the port's picture; ulPicFormat is a tagPlayerPicFormateE. One at a time for a port. */
MODULE_API ULONG_32 Player_SnatchOnce(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat);
/** The same, or with bAsync 1 in a thread of its own that reports the result as run message 545. */
MODULE_API ULONG_32 Player_SnatchOnceEx(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat, BOOL_T bAsync);
/** The work of Player_SnatchOnce(), under its lock; cuts the extension of pcFileName in place. */
MODULE_API ULONG_32 Player_NormalSnatchOnce(ULONG_32 ulPort, CHAR *pcFileName, ULONG_32 ulPicFormat);
/** Does nothing. Returns 0. */
MODULE_API ULONG_32 Player_FisheyeSnatchOnce(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat);
/** Does nothing. Returns 0. */
MODULE_API ULONG_32 Player_PtzSnatchOnce(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat);
/** The thread of an asynchronous snapshot; pParam is the port. */
MODULE_API void *__SnatchThreadEntry(void *pParam);

/* ---- services ---- */

MODULE_API ULONG_32 Player_CloseVoiceSvc(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_CloseHlsStream(ULONG_32 ulPort);
/** Empties the table of the broadcast service. */
MODULE_API void Player_BroadcastInit(void);
}

#endif
