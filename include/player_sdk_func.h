/**
 * @file player_sdk_func.h
 * @brief Every function of the Zelvane player library.
 *
 * Compiles alone as C11 and as C++20; all functions have C linkage.
 *
 * A first player: Zelvane_Init(), Zelvane_AllocPort(), one open call (Zelvane_OpenInputStream(),
 * Zelvane_OpenMediaFile(), Zelvane_OpenHlsStream()), Zelvane_StartPlay() with a window, and for a pushed stream Zelvane_InputMediaData() for
 * each packet; then the close call, Zelvane_FreePort(), Zelvane_Cleanup().
 *
 * Results. A function that returns BOOL_T gives 1 for success and 0 for failure; after a 0, Zelvane_GetLastError() on
 * the same thread gives the code (PLAYER_ERROR_E), unless the function says that it sets none. A port number of 256 or
 * more, or one that is not allocated, gives PLAYER_ERR_PORT everywhere.
 *
 * Threads. Any function may be called from any thread. Calls on one port take turns; calls on different ports run in
 * parallel. Getters of figures and settings, snapshots, Zelvane_GetPlayTimeEx() and the functions that set no last
 * error take no turn: they also answer while another call on the port takes its time. Freeing a port waits for the
 * calls on it that are under way; a later one finds no port.
 *
 * Callbacks. They run on threads of the library, the source callback of a pushed port inside the push. The log
 * callback runs wherever something is logged, also while the library holds locks: it takes the line, and calls
 * nothing but getters. Any other callback may call any function on its own port except one that opens, closes or
 * frees it, or stops what the callback belongs to: that one is refused, a close with PLAYER_ERR_FAILED, and nothing
 * is changed. It may call any function on other ports too. But somebody may wait for the callback itself, and so a
 * call that would have to wait for its turn gives up with PLAYER_ERR_PARAM
 * - once a port closes that the thread is inside of: whose thread it is, or whose source callback it is in; likewise
 *   once the thread itself is being stopped (Zelvane_StopPlay(), Zelvane_StopRecord());
 * - at once when the one it would wait for waits for this thread in the end, as two source callbacks do that ask
 *   each other's port: one of the calls in such a circle is refused, the others get their turn. A push counts as
 *   waiting for its port's decode thread while the ring is full, and so does Zelvane_AFrameGo() for the picture.
 * A close of another port is refused with PLAYER_ERR_PARAM when the threads it would wait for are themselves
 * closing, in the end, a port that the callback is inside of. A refused call changes nothing and may be made again
 * later.
 *
 * Lifetimes. The client owns what it passes in, and the library copies what it keeps, save window handles and callback
 * user values. Pointers given to callbacks hold for the time of the call.
 *
 * Log. Some lines tell of success at the level of errors, and some hold a format that was never filled in, as
 * "Continue:[%d]": other programs read them as they are. Neither is a fault.
 *
 * Not taken, and told in the log once a stream by a line that holds "Not Taken: ": datagrams above 10240 bytes; H.265
 * aggregation packets, and H.265 that begins with key pictures other than IDR_W_RADL (IDR_N_LP, CRA, and what leans on
 * them); JPEG over RTP with Q 255; several AAC units in a packet.
 */
#ifndef ZELVANE_PLAYER_SDK_FUNC_H
#define ZELVANE_PLAYER_SDK_FUNC_H

#include "player_public.h"

#if defined(__GNUC__)
#define ZELVANE_API __attribute__((visibility("default")))
#else
#define ZELVANE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- library ---------------------------------------------------------------------------------------------------- */

/**
 * Starts the library, or counts one more user of it if it runs already. Every success needs one Zelvane_Cleanup().
 * Without a log callback (Zelvane_SetWriteLogCB()) it opens its own log files; see Zelvane_SetLog(). A thread's last
 * error is lost by this call.
 * @return 1; or 0 with last error PLAYER_ERR_INIT when start-up failed
 */
ZELVANE_API BOOL_T Zelvane_Init(void);

/**
 * Takes back one Zelvane_Init(). The last one closes and frees every port and ends the library's threads. A call too
 * many does nothing. Called in a run-message callback it ends the library without waiting for that callback's thread.
 */
ZELVANE_API void Zelvane_Cleanup(void);

/**
 * Version of the library.
 * @return build in bits 16 to 31, minor version in bits 8 to 15, major version in bits 0 to 7: 0x00520502 for 2.5.82
 */
ZELVANE_API ULONG_32 Zelvane_GetVersion(void);

/**
 * How often Zelvane_Init() has been called and not yet been taken back.
 * @return the count, 0 while the library is off
 */
ZELVANE_API ULONG_32 Zelvane_GetInitCount(void);

/**
 * Code of the calling thread's last failure. A later success does not clear it; Zelvane_Init() does.
 * @return PLAYER_ERROR_E; 0 if the thread never failed
 */
ZELVANE_API ULONG_32 Zelvane_GetLastError(void);

/**
 * Takes a free port. Numbers go round, so that a number just freed is the last to be given out again.
 * @param[out] pulPort the port's number, 0 to 255
 * @return 1; or 0 with PLAYER_ERR_PARAM (null pointer, or the library is off), PLAYER_ERR_PORT (all 256 in use) or
 *         PLAYER_ERR_MALLOC
 */
ZELVANE_API BOOL_T Zelvane_AllocPort(ULONG_32 *pulPort);

/**
 * Closes whatever the port still plays and gives it back, once the calls on it that are under way have ended. Refused,
 * with a log line, in the port's own callbacks.
 * @param ulPort port
 */
ZELVANE_API void Zelvane_FreePort(ULONG_32 ulPort);

/**
 * Stores a limit of decode channels, which this version does not act on.
 * @param ulMaxDecChlNum limit; above 256 it stores 256 and fails
 * @return 1; or 0 with PLAYER_ERR_PARAM
 */
ZELVANE_API BOOL_T Zelvane_SetMaxDecChlNum(ULONG_32 ulMaxDecChlNum);

/**
 * Tells how much address space a decoder takes by system, coding and resolution, for planning.
 * @param[in,out] pulMallocNum  rows of the array; anything but PLAYER_MALLOC_INFO_NUM asks for that number
 * @param[out] pastMallocInfo   PLAYER_MALLOC_INFO_NUM rows
 * @return 1 when the rows were filled; 0 otherwise, with the number of rows in *pulMallocNum. Sets no last error
 */
ZELVANE_API BOOL_T Zelvane_GetTotalVirtualSize(ULONG_32 *pulMallocNum, PLAYER_MALLOC_INFO_S *pastMallocInfo);

/**
 * Accepted and not needed: the size of a client's window is read from the window itself.
 * @param ulPort        port
 * @param pstWindowSize not used
 * @return 1
 */
ZELVANE_API BOOL_T Zelvane_SetWindowSize(ULONG_32 ulPort, PLAYER_WIND_SIZE_S *pstWindowSize);

/* ---- log and run messages --------------------------------------------------------------------------------------- */

/**
 * Sends the log to the client instead of to files. To keep the library from opening log files it comes before
 * Zelvane_Init().
 * @param pfnWriteLogFunc takes each line, on the thread that wrote it
 * @return 1
 */
ZELVANE_API BOOL_T Zelvane_SetWriteLogCB(PLAYER_WRITE_LOG_CALLBACK_PF pfnWriteLogFunc);

/**
 * Sets level, folder and size of the log files "Player_SDK00.log" (current) and "Player_SDK01.log" (the one before).
 * Before the first call they lie in the working directory under a name that holds "\var\log\PlayerFile\".
 * @param ulLogLevel PLAYER_LOGLEVEL_E; 0 stops the writing and, oddly, gives 0 as its result
 * @param pcLogPath  folder, made if missing; null for the default; fewer than 240 characters
 * @param ulLogSize  largest size of a file, kilobytes, limited to 1536; not 0
 * @return 1; or 0, without a last error
 */
ZELVANE_API BOOL_T Zelvane_SetLog(ULONG_32 ulLogLevel, CHAR *pcLogPath, ULONG_32 ulLogSize);

/**
 * Writes a line of the client's into the library's log, with process and thread id in front.
 * @param ulLogLevel PLAYER_LOGLEVEL_E
 * @param pcFileName the client's source file
 * @param ulLineNo   line in it
 * @param pszFmt     printf format
 * @param vl         its arguments
 * @return 1
 */
ZELVANE_API BOOL_T Zelvane_WriteRmLogInfo(ULONG_32 ulLogLevel, const CHAR *pcFileName, ULONG_32 ulLineNo,
                                          const CHAR *pszFmt, va_list vl);

/**
 * Sets the callback for the run messages of all ports.
 * @param pfnRunInfoFunc callback on the report thread, or null
 * @return 1
 */
ZELVANE_API BOOL_T Zelvane_SetPlayerRunMsgCB(PLAYER_RUN_INFO_CALLBACK_PF pfnRunInfoFunc);

/**
 * Sets a callback for the messages of kind PLAYER_RUN_INFO_MEDIA_PROCESS of one port, in addition to the one for all.
 * @param ulPort         port
 * @param pfnRunInfoFunc callback on the report thread, or null
 * @return 1; or 0, without a last error
 */
ZELVANE_API BOOL_T Zelvane_SetRunMsgCB(ULONG_32 ulPort, PLAYER_RUN_INFO_CALLBACK_PF pfnRunInfoFunc);

/* ---- pushed streams --------------------------------------------------------------------------------------------- */

/**
 * Opens a port for packets that the client pushes.
 * @param ulPort         port, without an open source
 * @param pucFileHeadBuf first packet, or null
 * @param ulSize         its bytes; 0 for none
 * @param ulBufPoolSize  not used
 * @return 1; or 0 with PLAYER_ERR_PARAM (port in use; nothing is touched), PLAYER_ERR_MALLOC, PLAYER_ERR_RESOURCE, or
 *         the code of pushing the first packet, the port then being open
 */
ZELVANE_API BOOL_T Zelvane_OpenInputStream(ULONG_32 ulPort, const UCHAR *pucFileHeadBuf, ULONG_32 ulSize,
                                           ULONG_32 ulBufPoolSize);

/**
 * Pushes one packet: an RTP packet (RFC 3550; H.264 as RFC 6184, H.265 as RFC 7798, JPEG as RFC 2435, G.711, AAC),
 * MPEG-TS packets of one frame, one JPEG, or one access unit of H.264 or H.265. Of an access unit every start code up to
 * the first slice has 4 bytes; the slices of an H.265 key picture begin with the bytes 26 01, those of other pictures
 * with 02 01. Of anything else nothing comes. A JPEG of odd width or height is decoded whole; its U and V planes have
 * half the size, rounded down. The data are copied.
 * @param ulPort     port
 * @param pucDataBuf the packet
 * @param ulDataLen  its bytes; 0 is accepted and does nothing
 * @return 1; or 0 with PLAYER_ERR_PARAM (no open input stream, null pointer) or PLAYER_ERR_QUEUE_FULL (ring full: at
 *         once with PLAYER_BUFFER_CTRL_GIVEUP, otherwise after about a second)
 */
ZELVANE_API BOOL_T Zelvane_InputMediaData(ULONG_32 ulPort, const UCHAR *pucDataBuf, ULONG_32 ulDataLen);

/**
 * Closes a pushed stream: recording, sound, picture, threads, buffers. A port without one is left alone, with success.
 * @param ulPort port
 * @return 1; or 0 with PLAYER_ERR_PORT, or PLAYER_ERR_FAILED in the port's own callbacks
 */
ZELVANE_API BOOL_T Zelvane_CloseInputStream(ULONG_32 ulPort);

/**
 * Sets the length of the packet ring; takes effect at the next open.
 * @param ulPort            port
 * @param ulBufferSize      slots of 2048 bytes, limited to 1000 to 5000
 * @param ulDelayRenderTime stored, at most 10000, and not used
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetPacketBuffer(ULONG_32 ulPort, ULONG_32 ulBufferSize, ULONG_32 ulDelayRenderTime);

/**
 * Chooses what a full ring does.
 * @param ulPort       port
 * @param ulBufferCtrl PLAYER_BUFFER_CTRL_E
 * @return 1; or 0 with PLAYER_ERR_PARAM for another value
 */
ZELVANE_API BOOL_T Zelvane_SetBufferCtrl(ULONG_32 ulPort, ULONG_32 ulBufferCtrl);

/**
 * Tells how full the ring is. Without an open stream the outputs stay as they were.
 * @param ulPort              port
 * @param[out] pulFrameCount  whole video frames waiting (RTP only)
 * @param[out] pulPacketCount slots in use
 * @return 1; or 0, without a last error
 */
ZELVANE_API BOOL_T Zelvane_GetPacketQueueStart(ULONG_32 ulPort, ULONG_32 *pulFrameCount, ULONG_32 *pulPacketCount);

/**
 * Sets up to two RTP payload types of the client's own; they come before the built-in ones.
 * @param ulPort         port
 * @param ulNum          entries, at most 2
 * @param pstPayloadType entries, copied; the first must have a sample rate, or none counts
 * @return 1; 0 with PLAYER_ERR_PORT; 2 for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_SetPayloadType(ULONG_32 ulPort, ULONG_32 ulNum, PLAYER_PAYLOAD_TYPE_S *pstPayloadType);

/**
 * Describes the AAC of RTP payload type 104, which carries no description of its own.
 * @param ulPort       port
 * @param pstAudioInfo description, copied
 * @return 1; 0 with PLAYER_ERR_PORT; 2 for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_SetAudioInfo(ULONG_32 ulPort, PLAYER_AUDIO_INFO_S *pstAudioInfo);

/* ---- local files ------------------------------------------------------------------------------------------------ */

/**
 * Opens a local file, MP4, AVI or MPEG-TS of the platform's devices, on a port without an open source; MP4 of other
 * writers with H.264 or H.265 and AAC or MPEG audio plays too, also in fragments. The port is
 * paused: Zelvane_StartPlay() plays it in a window, Zelvane_PausePlay() with 0 without one. Without a window pictures are not
 * paced: frames are read and decoded as fast as they can be, unless the picture callback was set with bContinue 0. At
 * the end of the file the port pauses and sends a run message of kind PLAYER_RUN_INFO_MEDIA_PROCESS with
 * PLAYER_ERR_FILE_END.
 * @param ulPort     port
 * @param pcFilename path
 * @return 1; or 0 with PLAYER_ERR_PARAM (null, a port in use, a damaged MP4 or AVI file), PLAYER_ERR_FILE_OPEN (no such
 *         file),
 *         PLAYER_ERR_NOT_SUPPORT (no file of a known kind), PLAYER_ERR_FILE_READ or PLAYER_ERR_FAILED (no MPEG-TS that
 *         can be played), PLAYER_ERR_MALLOC, PLAYER_ERR_RESOURCE
 */
ZELVANE_API BOOL_T Zelvane_OpenMediaFile(ULONG_32 ulPort, const CHAR *pcFilename);

/**
 * Stops what runs on the port (recording, sound, picture) and closes its file. Without a file it does nothing.
 * @param ulPort port
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_CloseMediaFile(ULONG_32 ulPort);

/**
 * Pauses a file or a cloud recording, or plays on. After a pause every frame is played again, at the pace set before:
 * a choice of key frames made by Zelvane_SpeedPlay() is not taken up again.
 * @param ulPort port
 * @param bPause 1 pauses, another value plays
 * @return 1; or 0 with PLAYER_ERR_NOT_SUPPORT for another kind of source
 */
ZELVANE_API BOOL_T Zelvane_PausePlay(ULONG_32 ulPort, BOOL_T bPause);

/**
 * Sets the speed of a file, a pushed or a network stream, or up to 4 times that of a cloud recording. It ends a pause.
 * Sound plays at PLAYER_SPEED_1_FORWARD, and at the slow backward speeds, which are the same.
 * @param ulPort  port
 * @param ulSpeed PLAYER_PLAY_SPEED_E; from PLAYER_SPEED_4_FORWARD on a file shows its key frames only, save one of JPEG
 *                pictures. The ..._IFRAME speeds and the fast backward ones show each key frame for a part of the
 *                distance of two that depends on the frame rate. PLAYER_SPEED_INTELLIGENT_FORWARD,
 *                PLAYER_SPEED_1_FRAME_FORWARD and PLAYER_SPEED_I_FRAME_BACKWARD change nothing
 * @return 1; or 0 with PLAYER_ERR_NOT_SUPPORT for another kind of source, PLAYER_ERR_PARAM for another value
 */
ZELVANE_API BOOL_T Zelvane_SpeedPlay(ULONG_32 ulPort, ULONG_32 ulSpeed);

/**
 * Shows the next picture of a file and pauses. Returns when the picture has been read; from a callback of the port it
 * is refused.
 * @param ulPort port
 * @return 1; or 0 with PLAYER_ERR_NOT_SUPPORT for another kind of source, PLAYER_ERR_FAILED when the port is closed
 *         meanwhile or the call comes from one of its callbacks
 */
ZELVANE_API BOOL_T Zelvane_AFrameGo(ULONG_32 ulPort);

/**
 * Not there in this version.
 * @param ulPort port
 * @return 0 with PLAYER_ERR_NOT_SUPPORT
 */
ZELVANE_API BOOL_T Zelvane_AFrameBack(ULONG_32 ulPort);

/**
 * Moves a file to the first key frame behind a time. The call returns at once; the play thread moves, shows one picture
 * of the new place even while paused, and goes on as before. Time is counted in frames at the rate of the stream, or
 * 25 a second before the first picture has told it. Past the end an MP4 or AVI file stays where it is or ends; an
 * MPEG-TS file stays. A KRDF record moves to the group of pictures at the time or last before it, and past its total
 * time it ends; it does not go back to its start: with 0 it stays, and the log says so.
 * @param ulPort port
 * @param ulTime seconds since the start
 * @return 1; or 0 with PLAYER_ERR_NOT_SUPPORT for another kind of source
 */
ZELVANE_API BOOL_T Zelvane_SetPlayedTime(ULONG_32 ulPort, ULONG_32 ulTime);

/**
 * Sets the region of a KRDF record inside a larger file, for the next Zelvane_OpenMediaFile(). A close forgets it.
 * @param ulPort          port
 * @param dulFileStartPos first byte
 * @param dulFileEndPos   byte behind the last; 0 for the whole file
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetFilePos(ULONG_32 ulPort, DULONG dulFileStartPos, DULONG dulFileEndPos);

/**
 * Total time of a file.
 * @param ulPort            port
 * @param[out] pulTotalTime seconds
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer, PLAYER_ERR_NOT_SUPPORT for another kind of source
 */
ZELVANE_API BOOL_T Zelvane_GetFileTime(ULONG_32 ulPort, ULONG_32 *pulTotalTime);

/**
 * Position of what is being played: of a file or a cloud recording, or the playback time that a stream carries.
 * @param ulPort           port
 * @param[out] pulPlayTime seconds
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer, PLAYER_ERR_FAILED when the stream carries none
 */
ZELVANE_API BOOL_T Zelvane_GetPlayTime(ULONG_32 ulPort, ULONG_32 *pulPlayTime);

/**
 * Positions of several ports at once; it never waits for another call on them. A stream that carries no playback time
 * gives 0.
 * @param ulPortNum        entries
 * @param pstPlayTimeArray entries, ulPort filled in by the client; ulPlayTime is filled in up to the first failure
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer, PLAYER_ERR_PORT for a port that is not there
 */
ZELVANE_API BOOL_T Zelvane_GetPlayTimeEx(ULONG_32 ulPortNum, PLAYBACK_PLAY_TIME *pstPlayTimeArray);

/**
 * Time of day at which an MP4 recording of this library starts. Sets no last error.
 * @param pcFileName       path; a named pipe is refused
 * @param[out] pulRealTime seconds since local midnight; 0 when the file does not say
 * @return 1; or 0
 */
ZELVANE_API BOOL_T Zelvane_MP4GetRealTime(const CHAR *pcFileName, ULONG_32 *pulRealTime);


/* ---- cloud recordings ------------------------------------------------------------------------------------------- */

/**
 * Names the folder into which the segments of cloud recordings are fetched, one for all ports; it is made when it is
 * needed. The folder belongs to the cache: when it outgrows its limit its oldest files are removed, whatever they are.
 * May be called at any time and from any thread; playlists handed in later go by it.
 * @param pcCachePath path of at most 256 characters that holds a "/", copied
 * @return 1; or 0 with PLAYER_ERR_PARAM for null and for a longer path
 */
ZELVANE_API BOOL_T Zelvane_SetCachePath(const CHAR *pcCachePath);

/**
 * Sets the limit of the cache folder. It is looked at after each segment that was fetched. A segment larger than the
 * whole limit is not fetched.
 * @param ulValue MiB; below 100 counts as 100. 500 without this call
 * @return 1
 */
ZELVANE_API BOOL_T Zelvane_SetMaxCache(ULONG_32 ulValue);

/**
 * Removes everything in the cache folder, but not the folder. Links are removed, never followed. Ports may play
 * meanwhile: a segment that is being played stays readable, one that they come to later is fetched again, its picture
 * being left out this time.
 * @return 1; or 0 with PLAYER_ERR_FAILED when no folder is set or something in it can't be removed
 */
ZELVANE_API BOOL_T Zelvane_CleanCache(void);

/**
 * Opens a cloud recording on a port without an open source, still without a playlist. Zelvane_UpdatePlayInfo() hands
 * that in; Zelvane_StartPlay() shows the pictures in a window. Sound, callbacks and recording are those of a pushed
 * stream. The segments, MPEG-TS of the platform's devices, are fetched in order, one at a time and as fast as the server
 * gives, by HTTP from port 80 or HTTPS from port 443; servers are not verified unless ZelvaneExt_SetCloudCa() asks for
 * it.
 *
 * What happens is told by run messages of kind PLAYER_RUN_INFO_MEDIA_PROCESS, with the code in ulErrCode and a time in
 * ulReserved:
 *  - PLAYER_HLS_DOWNLOAD_FINISHED: every segment from the download's position on is in the cache;
 *  - PLAYER_ERR_HLS_CONNECT, PLAYER_ERR_HLS_ADDRESS_FAMILY, PLAYER_ERR_HLS_SEND, PLAYER_ERR_MALLOC: a server could not
 *    be asked; PLAYER_ERR_FAILED: that, or the connection broke, or the disk is full, or the answer makes no sense.
 *    ulReserved is the start of the segment. After a failure to connect or ask, the segment waits for the next playlist;
 *    after the others it is tried again twice a second;
 *  - PLAYER_ERR_HLS_HTTP_DENIED: the server refused (401, 403): the URLs have expired, hand in a new playlist;
 *    PLAYER_ERR_HLS_HTTP_STATUS: it answered anything else but 200, a redirection among them;
 *  - PLAYER_ERR_HLS_CANCELLED: a fetch was given up because the port closes;
 *  - all ones (0xFFFFFFFF): the cache folder could not be measured;
 *  - PLAYER_HLS_DOWNLOAD_WAIT_TIMEOUT: play waits for a segment, and has for longer than it lasts;
 *  - PLAYER_HLS_PLAY_NORMAL: the first picture of a new position comes; ulReserved is that position;
 *  - PLAYER_HLS_PLAY_FINISHED: play has come to the end of the playlist.
 * @param ulPort port
 * @return 1; or 0 with PLAYER_ERR_PARAM (port in use, or a callback of the port), PLAYER_ERR_HLS_NO_CACHE_PATH,
 *         PLAYER_ERR_MALLOC, PLAYER_ERR_RESOURCE
 */
ZELVANE_API BOOL_T Zelvane_OpenHlsStream(ULONG_32 ulPort);

/**
 * Closes a cloud recording with all that runs on its port. A fetch is given up at once; what is in the cache stays for
 * the next time. Success for a port without a cloud recording.
 * @param ulPort port
 * @return 1; or 0 with PLAYER_ERR_FAILED from a callback of the port
 */
ZELVANE_API BOOL_T Zelvane_CloseHlsStream(ULONG_32 ulPort);

/**
 * Hands in a playlist, or moves to a time, or both. The call never waits for a server. Entries are merged by their start
 * times with those handed in before: new ones find their place, known ones get the new URLs. Segments that are in the
 * cache already are not fetched again.
 * @param ulPort     port
 * @param pcM3u8Info playlist text; null keeps the ones handed in before. Each entry is three lines:
 *                   "#EXTINF:10,", "#EXT-X-PROGRAM-DATE-TIME:2020-01-02T03:04:05.000+08:00," and the URL; ahead of them
 *                   "#EXT-X-TARGETDURATION:10", and somewhere "#EXT-X-ENDLIST". Line ends are single line feeds, a URL
 *                   has at most 1023 characters and no port in it
 * @param ulPlayTime position to play from, Unix time in seconds; the last second of a segment counts with it. 0 lets play
 *                   go on where it is, and moves the download to the start of this playlist
 * @return 1; or 0 with PLAYER_ERR_PARAM (a text that is refused; the entries before the fault are kept),
 *         PLAYER_ERR_HLS_TIME_NOT_FOUND (no segment holds the time; the playlist is kept),
 *         PLAYER_ERR_HLS_NO_CACHE_PATH
 */
ZELVANE_API BOOL_T Zelvane_UpdatePlayInfo(ULONG_32 ulPort, const CHAR *pcM3u8Info, ULONG_32 ulPlayTime);

/* ---- network streams -------------------------------------------------------------------------------------------- */

/**
 * Opens a port that receives RTP (RFC 3550) or MPEG-TS from the network.
 *
 * With PLAYER_PROTOCOL_UDP each datagram is a packet; the port takes them from any sender. With PLAYER_PROTOCOL_TCP the
 * port connects, and each packet comes behind four bytes: "$", channel 0 or 2, and the packet's length, big-endian, at
 * most 10240. When that framing is lost the receiver goes on at the next head.
 *
 * A stream that ends leaves the port open and silent until Zelvane_CloseNetStream(). An empty datagram counts as the
 * end of a UDP stream and is told in a run message of kind PLAYER_RUN_INFO_STREAM.
 *
 * The call waits for a TCP connection for as long as the system tries; every later call returns at once.
 * @param ulPort       port, without an open source
 * @param pcLocalIP    local address for UDP; null, empty or zero for any; not used for TCP
 * @param usLocalPort  local port for UDP; not used for TCP
 * @param pcRemoteIP   address of the peer, IPv4 or IPv6, in figures; host names are not looked up. For UDP it chooses
 *                     the family only; with a multicast address nothing arrives, since this version joins no group
 * @param usRemotePort port of the peer; not used for UDP
 * @param ulTransProtl PLAYER_PROTOCOL_E
 * @return 1; or 0 with PLAYER_ERR_PARAM (port in use, no address, unknown protocol), PLAYER_ERR_SOCKET_CREATE (local
 *         address or port not to be had, connection refused), PLAYER_ERR_MALLOC or PLAYER_ERR_RESOURCE
 */
ZELVANE_API BOOL_T Zelvane_OpenNetStream(ULONG_32 ulPort, const CHAR *pcLocalIP, USHORT usLocalPort,
                                         const CHAR *pcRemoteIP, USHORT usRemotePort, ULONG_32 ulTransProtl);

/**
 * Closes a network stream: recording, sound, picture, threads, socket, buffers. A port without one is left alone, with
 * success. Never waits for the peer.
 * @param ulPort port
 * @return 1; or 0 with PLAYER_ERR_PORT, or PLAYER_ERR_FAILED in the port's own callbacks
 */
ZELVANE_API BOOL_T Zelvane_CloseNetStream(ULONG_32 ulPort);

/**
 * Has a message sent to the peer of a TCP stream, once, that keeps a NAT open between the two. Before or after the
 * open call. (A UDP stream has no peer to send to.)
 * @param ulPort          port
 * @param ulNatMode       PLAYER_NAT_MODE_E
 * @param pcNatSessionStr session, of which 16 bytes are sent
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_SetNatParam(ULONG_32 ulPort, ULONG_32 ulNatMode, const CHAR *pcNatSessionStr);

/**
 * Not supported: the client chooses the local port itself.
 * @param ulPort      port
 * @param pcLocalIP   not used
 * @param[out] plPort not touched
 * @return 0 with PLAYER_ERR_NOT_SUPPORT, or PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_GetLocalNetPort(ULONG_32 ulPort, const CHAR *pcLocalIP, LONG *plPort);

/**
 * Not supported, as Zelvane_GetLocalNetPort().
 * @param ulPort port
 * @return 0 with PLAYER_ERR_NOT_SUPPORT
 */
ZELVANE_API BOOL_T Zelvane_ReleaseLocalNetPort(ULONG_32 ulPort);

/**
 * Stored and not used.
 * @param lTcpOutTime seconds
 * @return 1
 */
ZELVANE_API BOOL_T Zelvane_SetTcpOutTime(LONG_32 lTcpOutTime);

/* ---- recording -------------------------------------------------------------------------------------------------- */

/**
 * Starts to record what comes into the port, without decoding it. The file begins with the first key frame that comes
 * from now on; one that does not carry its parameter sets gets the newest ones in front, so that no group of pictures
 * is missing between two files. While it is written its name ends in ".temp"; it gets its final name when it is closed.
 *
 * Run messages of kind PLAYER_RUN_INFO_RECORD_VIDEO tell of PLAYER_RUN_RECORD_ROLLED (a file was finished, the next one
 * follows), PLAYER_ERR_FILE_OPEN (the next one could not be opened), PLAYER_ERR_DISK_FULL (once a recording) and
 * PLAYER_RUN_RECORD_FINISHED. After the two failures the recording stands still until it is stopped; a port that waits
 * when its buffers are full then stands still with it, pictures and all: stop the recording, or see
 * Zelvane_SetBufferCtrl(). Under an AVI file a full disk costs the frames that find no room, and the recording goes on
 * when there is room again.
 *
 * A port holds two port numbers while it records.
 * @param ulPort            port
 * @param pcFileName        path, 255 characters at most; an ending ".mp4", ".ts" or ".avi" is cut off, the format
 * chooses its own
 * @param ulMediaFileFormat PLAYER_FILE_FORMATE_E
 * @param pcFilePostfix     receives ".mp4", ".ts" or ".avi" without a terminator; may be null
 * @return 1; or 0 with PLAYER_ERR_RECORD_STARTED (also after a failure that was not followed by a stop),
 *         PLAYER_ERR_FILE_OPEN, PLAYER_ERR_PARAM (null, unknown format), PLAYER_ERR_PORT (also: no port number left for
 *         the recording), PLAYER_ERR_MALLOC, PLAYER_ERR_RESOURCE
 */
ZELVANE_API BOOL_T Zelvane_StartRecord(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulMediaFileFormat,
                                       CHAR *pcFilePostfix);

/**
 * Ends a recording, closes its file and gives it its final name. Packets that wait to be recorded are dropped. Without
 * a recording it succeeds too, and leaves an empty name in the list of files.
 * @param ulPort port
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_StopRecord(ULONG_32 ulPort);

/**
 * As Zelvane_StopRecord(), and tells the final name. Two things differ: a file without stamp or with the wall clock in
 * its name keeps the ".temp" inside its final name, and a recording of sound alone is not closed by this call.
 * @param ulPort     port
 * @param pcFilePath receives the path; 256 bytes, empty text on entry
 * @return 1; or 0, with PLAYER_ERR_PARAM for null
 */
ZELVANE_API BOOL_T Zelvane_StopRecordEx(ULONG_32 ulPort, CHAR *pcFilePath);

/**
 * Sets the size at which a recording goes on in a new file, at the next key frame. Takes the place of a limit of time.
 * A new port has 4000 MiB. Recordings of sound alone know no limit.
 * @param ulPort     port
 * @param ulFileSize MiB, 10 to 4000
 * @return 1; or 0, with PLAYER_ERR_PARAM out of the range
 */
ZELVANE_API BOOL_T Zelvane_SetRecordSize(ULONG_32 ulPort, ULONG_32 ulFileSize);

/**
 * Sets the time after which a recording goes on in a new file, at the next key frame. Takes the place of a limit of
 * size.
 * @param ulPort port
 * @param ulTime minutes, 1 to 60
 * @return 1; or 0, with PLAYER_ERR_PARAM out of the range
 */
ZELVANE_API BOOL_T Zelvane_SetRecordDivByTime(ULONG_32 ulPort, ULONG_32 ulTime);

/**
 * Tells whether a recording was started and not stopped; one that stands still after a failure counts too.
 * @param ulPort      port
 * @param pbRecording result
 * @return 1; or 0, with PLAYER_ERR_PARAM for null
 */
ZELVANE_API BOOL_T Zelvane_GetRecordStatus(ULONG_32 ulPort, BOOL_T *pbRecording);

/**
 * Gives the files that the port's recordings have finished, in their order. The nodes are read in place and not freed;
 * no more of them than ulFileCount.
 * @param ulPort           port
 * @param enGetFileOrder   which; another value succeeds and gives nothing
 * @param pstFilesNameInfo result
 * @return 1; or 0, with PLAYER_ERR_PARAM for null or when there are none
 */
ZELVANE_API BOOL_T Zelvane_GetRecordFiles(ULONG_32 ulPort, PLAYER_RECORD_GET_FILENAME_POS_E enGetFileOrder,
                                          PLAYER_RECORD_FILES_NAME_INFO_S *pstFilesNameInfo);

/**
 * Has no function in this version: it succeeds and leaves the value alone.
 * @param ulPort               port
 * @param pulRecordingFileSize not changed
 * @return 1; or 0, with PLAYER_ERR_PARAM for null
 */
ZELVANE_API BOOL_T Zelvane_GetRecordFileSize(ULONG_32 ulPort, DULONG *pulRecordingFileSize);

/* ---- snapshots -------------------------------------------------------------------------------------------------- */

/**
 * Saves the picture that the port shows, as it was decoded or adjusted, and returns when the file is written. The port
 * goes on meanwhile; snapshots of one port take turns.
 * @param ulPort        port that decodes
 * @param pcFileName    where to. The extension of the format is put behind the name unless the name ends in just that:
 *                      "a" saved as JPEG becomes "a.jpg", "a.jpg" saved as a bitmap "a.jpg.bmp". Missing directories are made
 * @param ulPicFormat   PLAYER_PIC_FORMATE_E
 * @param pcFilePostfix not used
 * @return 1; or 0 with PLAYER_ERR_FAILED (no picture yet, or the file can't be made), PLAYER_ERR_PARAM (null name,
 *         unknown format), PLAYER_ERR_DISK_FULL, PLAYER_ERR_MALLOC
 */
ZELVANE_API BOOL_T Zelvane_SnatchOnce(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat,
                                      CHAR *pcFilePostfix);

/**
 * As Zelvane_SnatchOnce(), or in a thread of the library.
 *
 * With bAsync 1 the call returns at once, and a run message of kind PLAYER_RUN_INFO_SNATCH with the code 545 tells in
 * ulReserved what came of it. While such a snapshot runs, and for the name that was saved last, the call does nothing
 * and succeeds. A name shorter than the one before keeps that one's tail, so names of equal length are wanted; at most
 * 255 characters count.
 * @param ulPort      port that decodes
 * @param pcFileName  where to
 * @param ulPicFormat PLAYER_PIC_FORMATE_E
 * @param bAsync      1: in a thread; another value: in this one
 * @return as Zelvane_SnatchOnce(), or what starting the thread gave
 */
ZELVANE_API BOOL_T Zelvane_SnatchOnceEx(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat, BOOL_T bAsync);

/* ---- figures of a running stream -------------------------------------------------------------------------------- */

/**
 * Bit rate, smoothed over about five seconds.
 * @param ulPort         port
 * @param[out] plBitRate bits a second
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_GetBitRate(ULONG_32 ulPort, LONG_32 *plBitRate);

/**
 * Packets and losses of the last five seconds.
 * @param ulPort            port
 * @param[out] plRecvPktNum packets taken in
 * @param[out] plLostPktNum losses; a gap counts once, however long
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_GetLostPacketRate(ULONG_32 ulPort, LONG_32 *plRecvPktNum, LONG_32 *plLostPktNum);

/**
 * Forgets the losses counted so far.
 * @param ulPort port
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_ResetLostPacketRate(ULONG_32 ulPort);

/**
 * Frame rate of the video, from its parameter sets or its timestamps.
 * @param ulPort           port
 * @param[out] plFrameRate frames a second; 62 reads as 60
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_GetFrameRate(ULONG_32 ulPort, LONG_32 *plFrameRate);

/**
 * Size of the last decoded picture.
 * @param ulPort        port
 * @param[out] plWidth  pixels
 * @param[out] plHeight rows
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_GetPictureSize(ULONG_32 ulPort, LONG_32 *plWidth, LONG_32 *plHeight);

/**
 * Codings that the port decodes at present.
 * @param ulPort                   port
 * @param[out] pulVideoEncodeType  PLAYER_VIDEO_ENCODE_TYPE_E; may be null
 * @param[out] pulAudioEncodeType  PLAYER_AUDIO_ENCODE_TYPE_E; may be null
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_GetEncodeType(ULONG_32 ulPort, ULONG_32 *pulVideoEncodeType, ULONG_32 *pulAudioEncodeType);

/* ---- decoding --------------------------------------------------------------------------------------------------- */

/**
 * Sets the picture adjustment. No adjustment exists in this version: an adjusted port shows an empty picture.
 * @param ulPort   port
 * @param bAble    on or off
 * @param pstParam the five values, copied
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_SetAdjust(ULONG_32 ulPort, BOOL_T bAble, PLAYER_VIDEOADJUST_PARAM_S *pstParam);

/**
 * Reads the picture adjustment back.
 * @param ulPort        port
 * @param[out] pstParam the five values
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_GetAdjust(ULONG_32 ulPort, PLAYER_VIDEOADJUST_PARAM_S *pstParam);

/**
 * Sets deinterlacing, which works on H.264 pictures.
 * @param ulPort port
 * @param bAble  on or off
 * @param enMode how; an unknown value is stored and does nothing
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetDeinterlaceMode(ULONG_32 ulPort, BOOL_T bAble, PLAYER_DEINTERLACEMODE_E enMode);

/**
 * Asks for hardware decoding of H.264, which this version does not have.
 * @param bAble 1 to ask, 0 to go back
 * @return 0 when asked for, 1 when taken back; sets no last error
 */
ZELVANE_API BOOL_T Zelvane_AbleGpuDecode(BOOL_T bAble);

/**
 * Asks for hardware decoding and tells what there is: nothing in this version.
 * @param bAble                1 to ask, 0 to go back
 * @param[out] pstGpuAbleState cleared
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_AbleGpuDecodeEx(BOOL_T bAble, PLAYER_GPU_ABLE_STATE_S *pstGpuAbleState);

/**
 * Stored and not used.
 * @param ulPort port
 * @param bAble  on or off
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetGpuDrawEnable(ULONG_32 ulPort, BOOL_T bAble);

/**
 * Makes the port's later decoders work with one thread, frame by frame. It can't be taken back.
 * @param ulPort port
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetOneFrameDecodeMode(ULONG_32 ulPort);

/* ---- picture ---------------------------------------------------------------------------------------------------- */

/**
 * Shows the port's pictures in a window of the client's. May come before or after the open call. A window serves one
 * port at a time. Its size is followed.
 *
 * The library uses an X connection of its own, so the window has to exist on the server before the call: after
 * XCreateWindow() an XSync(). Of SDL2 it is info.x11.window of SDL_GetWindowWMInfo(), of GTK 3 GDK_WINDOW_XID() of a
 * realised widget's window, of Qt QWidget::winId(); a child window of a toolkit needs its flush or sync as well
 * (gdk_display_sync(), QGuiApplication::sync()), and on Wayland the toolkit's X11 backend.
 * @param ulPort port
 * @param hWnd   X11 window id, cast to a pointer
 * @return 1, also if it plays already; or 0 with PLAYER_ERR_DISPLAY_CREATE (null, in use, or not there: the server must
 *         have been told of it, as by XSync()) or PLAYER_ERR_RESOURCE
 */
ZELVANE_API BOOL_T Zelvane_StartPlay(ULONG_32 ulPort, HANDLE hWnd);

/**
 * Stops showing; the stream goes on.
 * @param ulPort port
 * @param hWnd   not used
 * @return 1; or 0, with PLAYER_ERR_FAILED in the port's own callbacks
 */
ZELVANE_API BOOL_T Zelvane_StopPlay(ULONG_32 ulPort, HANDLE hWnd);

/**
 * Chooses the pacing.
 * @param ulPort    port
 * @param ulFluency PLAYER_PICTURE_FLUENCY_E
 * @return 1; or 0 with PLAYER_ERR_PARAM for another value
 */
ZELVANE_API BOOL_T Zelvane_SetPictureFluency(ULONG_32 ulPort, ULONG_32 ulFluency);

/**
 * Holds the picture and the sound of a live port; decoding and callbacks go on, so that it resumes at once.
 * @param ulPort port
 * @param bPause 1 to hold, 0 to go on
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_PauseLive(ULONG_32 ulPort, BOOL_T bPause);

/**
 * Sets the length of the queue of decoded pictures; takes effect at the next Zelvane_StartPlay().
 * @param ulPort            port
 * @param ulDecodeBufferNum pictures; 3 or fewer change nothing
 * @return 1; or 0, without a last error
 */
ZELVANE_API BOOL_T Zelvane_SetDecodeQueueBufferNum(ULONG_32 ulPort, ULONG_32 ulDecodeBufferNum);

/**
 * Chooses the scaling; takes effect at once.
 * @param ulPort        port
 * @param hWnd          not used
 * @param lRenderScale  PLAYER_RENDER_SCALE_E
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetRenderScale(ULONG_32 ulPort, HANDLE hWnd, LONG_32 lRenderScale);

/**
 * Reads the scaling back.
 * @param ulPort             port
 * @param hWnd               not used
 * @param[out] plRenderScale PLAYER_RENDER_SCALE_E
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_GetRenderScale(ULONG_32 ulPort, HANDLE hWnd, LONG_32 *plRenderScale);

/**
 * Sets the digital zoom, which this version stores and does not draw.
 * @param ulPort  port
 * @param hWnd    not used
 * @param pstRect part of the picture, in 1/10,000; the whole (0, 0, 10000, 10000) or null turns it off
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetDigitalZoom(ULONG_32 ulPort, HANDLE hWnd, PLAYER_RECT_S *pstRect);

/* ---- sound ------------------------------------------------------------------------------------------------------ */

/**
 * Wants the port's sound. The device opens with the next audio frame; if it can't be opened, sound is off again. The
 * process has one sound device: one port is audible at a time.
 * @param ulPort port
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_OpenSound(ULONG_32 ulPort);

/**
 * Wants no sound.
 * @param ulPort port
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_CloseSound(ULONG_32 ulPort);

/**
 * Reads the volume back. While a sound device is open the output is left as it was.
 * @param ulPort        port
 * @param[out] plVolume volume
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_GetSoundVolume(ULONG_32 ulPort, LONG_32 *plVolume);

/**
 * Stores the volume. Sound plays at full volume in this version.
 * @param ulPort  port
 * @param lVolume volume, 128 at first
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetSoundVolume(ULONG_32 ulPort, LONG_32 lVolume);

/**
 * Stores the microphone's volume.
 * @param ulPort  port
 * @param lVolume volume, 128 at first
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetMicVolume(ULONG_32 ulPort, LONG_32 lVolume);

/**
 * Reads the microphone's volume back.
 * @param ulPort        port
 * @param[out] plVolume volume
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_GetMicVolume(ULONG_32 ulPort, LONG_32 *plVolume);

/**
 * Stores whether the microphone is quiet.
 * @param ulPort port
 * @param bQuiet 1 quiet
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetMicQuietStatus(ULONG_32 ulPort, BOOL_T bQuiet);

/**
 * Reads it back.
 * @param ulPort       port
 * @param[out] pbQuiet 1 quiet
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_GetMicQuietStatus(ULONG_32 ulPort, BOOL_T *pbQuiet);

/**
 * Sets the stored volume to 0 and keeps the old one, or brings that back.
 * @param ulPort port
 * @param bQuiet 1 quiet
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetSoundQuietStatus(ULONG_32 ulPort, BOOL_T bQuiet);

/**
 * Reads it back.
 * @param ulPort       port
 * @param[out] pbQuiet 1 quiet
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_GetSoundQuietStatus(ULONG_32 ulPort, BOOL_T *pbQuiet);

/**
 * Chooses the track of a stream with two.
 * @param ulPort    port
 * @param ulChannel PLAYER_SOUND_CHANNEL_E
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetPlaySoundChannel(ULONG_32 ulPort, ULONG_32 ulChannel);

/* ---- callbacks -------------------------------------------------------------------------------------------------- */

/**
 * Taps the packets as they arrive.
 * @param ulPort                  port
 * @param pfnSourceMediaDataCBFun callback, or null
 * @param bContinue               0: the packets go no further than the callback (and a recording)
 * @param pUserParam              handed to the callback
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetSourceMediaDataCB(ULONG_32 ulPort,
                                                PLAYER_SOURCE_MEDIA_DATA_CALLBACK_PF pfnSourceMediaDataCBFun,
                                                BOOL_T bContinue, void *pUserParam);

/**
 * Taps the whole video frames.
 * @param ulPort                 port
 * @param pfnParseVideoDataCBFun callback, or null
 * @param bContinue              0: video is not decoded
 * @param pUserParam             handed to the callback
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetParseVideoDataCB(ULONG_32 ulPort,
                                               PLAYER_PARSE_VIDEO_DATA_CALLBACK_PF pfnParseVideoDataCBFun,
                                               BOOL_T bContinue, void *pUserParam);

/**
 * Taps the whole audio frames.
 * @param ulPort                 port
 * @param pfnParseAudioDataCBFun callback, or null
 * @param bContinue              0: audio is not decoded
 * @param pUserParam             handed to the callback
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetParseAudioDataCB(ULONG_32 ulPort,
                                               PLAYER_PARSE_AUDIO_DATA_CALLBACK_PF pfnParseAudioDataCBFun,
                                               BOOL_T bContinue, void *pUserParam);

/**
 * Taps the decoded pictures.
 * @param ulPort                  port
 * @param pfnDecodeVideoDataCBFun callback, or null
 * @param bContinue               0: pictures are not shown
 * @param pUserParam              handed to the callback
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetDecodeVideoMediaDataCB(ULONG_32 ulPort,
                                                     PLAYER_DECODE_VIDEO_DATA_CALLBACK_PF pfnDecodeVideoDataCBFun,
                                                     BOOL_T bContinue, void *pUserParam);

/**
 * Taps the decoded sound. Sound is decoded while it is open (Zelvane_OpenSound()); otherwise each audio frame gives the
 * block that was decoded last, or none.
 * @param ulPort                  port
 * @param pfnDecodeAudioDataCBFun callback, or null
 * @param bContinue               0: sound is not played
 * @param pUserParam              handed to the callback
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetDecodeAudioMediaDataCB(ULONG_32 ulPort,
                                                     PLAYER_DECODE_AUDIO_DATA_CALLBACK_PF pfnDecodeAudioDataCBFun,
                                                     BOOL_T bContinue, void *pUserParam);

/**
 * Sets the draw callback, which the display of this version stores and does not call.
 * @param ulPort           port
 * @param pfnDrawDataCBFun callback, or null
 * @param pUserParam       handed to the callback
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetDrawMediaDataCB(ULONG_32 ulPort, PLAYER_DRAW_DATA_CALLBACK_PF pfnDrawDataCBFun,
                                              void *pUserParam);

/**
 * Accepted without effect.
 * @param ulPort           port
 * @param pfnDrawDataCBFun not used
 * @param pUserParam       not used
 * @return 1; or 0, without a last error
 */
ZELVANE_API BOOL_T Zelvane_SetDrawMediaDataCBEx(ULONG_32 ulPort, PLAYER_DRAW_DATA_CALLBACK_PF pfnDrawDataCBFun,
                                                void *pUserParam);

/**
 * Taps the decoded sound for a voice service.
 * @param ulPort                 port
 * @param pfnParseVoiceDataCBFun callback, or null
 * @param bContinue              0: sound is not played
 * @param pUserParam             handed to the callback
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetParseVoiceDataCB(ULONG_32 ulPort,
                                               PLAYER_PARSE_VOICE_DATA_CALLBACK_PF pfnParseVoiceDataCBFun,
                                               BOOL_T bContinue, void *pUserParam);

/**
 * Chooses which pictures reach the decode callback.
 * @param ulPort   port
 * @param lRectify PLAYER_VIDEO_CB_TYPE_E
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetVideoCallBackMode(ULONG_32 ulPort, ULONG_32 lRectify);

/* ---- voice ------------------------------------------------------------------------------------------------------ */

/**
 * Chooses what a port's next voice service sends. G.711 mu-law is the default, and what carries voice in this version:
 * with AAC a service opens and sends nothing, with PCM Zelvane_VoiceInputData() fails with PLAYER_ERR_NOT_SUPPORT.
 * @param ulPort         port
 * @param ulAudioEncType PLAYER_AUDIO_ENCODE_G711U, PLAYER_AUDIO_ENCODE_AAC or PLAYER_AUDIO_ENCODE_PCM
 * @param ulSampleRate   PLAYER_VOICE_WAVE_FORMAT_E
 * @param ulChannels     1
 * @return 1; or 0 with PLAYER_ERR_PORT, or PLAYER_ERR_NOT_SUPPORT for any other value
 */
ZELVANE_API BOOL_T Zelvane_SetVoiceEncodeType(ULONG_32 ulPort, ULONG_32 ulAudioEncType, ULONG_32 ulSampleRate,
                                              ULONG_32 ulChannels);

/**
 * Opens a port for talking to a device: what Zelvane_VoiceInputData() is given goes out on the connection that brings
 * the device's picture and sound. Windows, sound, recording and callbacks work on the port as on any other.
 *
 * With PLAYER_PROTOCOL_TCP and no socket the port connects as Zelvane_OpenNetStream() does. With a socket it uses a
 * connection of the client's, which reads from it and pushes what comes with Zelvane_InputMediaData(); the library
 * switches TCP_NODELAY on and never closes it. With PLAYER_PROTOCOL_UDP the port holds a bound socket, and sound is
 * accepted and sent nowhere.
 *
 * The sound goes out as RTP (RFC 3550) behind four bytes: "$", channel 4, and the packet's length, big-endian. Payload
 * type and marker are 0 and the time stamp grows by 640 a block, whatever is sent: receivers must not rely on them.
 * @param ulPort          port, without an open source
 * @param ulVoiceSvcType  PLAYER_VOICE_SVC_TYPE_E
 * @param stSocket        a connected socket of the client's, for PLAYER_PROTOCOL_TCP; 0 for none
 * @param pcLocalIP       local address for UDP; null, empty or zero for any
 * @param usLocalPort     local port for UDP
 * @param pcRemoteIP      address of the device, in figures; not used with a socket
 * @param usRemotePort    port of the device; not used with a socket
 * @param ulTransProtl    PLAYER_PROTOCOL_UDP or PLAYER_PROTOCOL_TCP
 * @return 1; or 0 with PLAYER_ERR_PARAM (port in use, no address), PLAYER_ERR_NOT_SUPPORT (a service that captures,
 *         another service or protocol), PLAYER_ERR_VOICE_BUSY (128 broadcast services are open),
 *         PLAYER_ERR_SOCKET_CREATE, PLAYER_ERR_MALLOC, PLAYER_ERR_RESOURCE, or PLAYER_ERR_FAILED (no encoder). Nothing
 *         is left open then
 */
ZELVANE_API BOOL_T Zelvane_OpenVoiceSvc(ULONG_32 ulPort, ULONG_32 ulVoiceSvcType, ULONG_32 stSocket,
                                        const CHAR *pcLocalIP, USHORT usLocalPort, const CHAR *pcRemoteIP,
                                        USHORT usRemotePort, ULONG_32 ulTransProtl);

/**
 * Closes a voice service and everything that the port runs; Zelvane_CloseNetStream(), Zelvane_CloseInputStream() and
 * Zelvane_FreePort() do the same. A port without one is left alone, with success. Ends a Zelvane_VoiceInputData() that
 * waits; if a part of a packet is out on the client's own connection it waits at most 100 milliseconds for the rest.
 * @param ulPort port
 * @return 1; or 0 with PLAYER_ERR_PORT, or PLAYER_ERR_FAILED in the port's own callbacks
 */
ZELVANE_API BOOL_T Zelvane_CloseVoiceSvc(ULONG_32 ulPort);

/**
 * Sends one block of sound: 16 bits a sample, one channel, in the machine's byte order, at the rate that was chosen
 * (8000 samples a second unless set). The blocks go out at once, so the client gives them at their pace. Any thread;
 * calls on a port take turns.
 *
 * A device that takes nothing holds the call for at most 100 milliseconds, once: the packet that was begun goes out with
 * the first call that finds room again, and until then blocks are dropped, at once. Nothing else of the port is held up
 * by that, and no packet is ever left half sent in front of another.
 * @param ulPort       port with a voice service
 * @param pucDataBuf   the block; an odd last byte is left out
 * @param ulDataLen    bytes, at most 3000 for G.711; more than 2800 go in two packets
 * @param pstVoiceParam not used; may be null
 * @return 1 when the block went out or will; or 0 with PLAYER_ERR_PORT, PLAYER_ERR_PARAM (null block, no service that
 *         sends), PLAYER_ERR_FAILED (block too long), PLAYER_ERR_NOT_SUPPORT (a service of PCM), or
 *         PLAYER_ERR_SOCKET_SEND (block dropped, or the connection is gone)
 */
ZELVANE_API BOOL_T Zelvane_VoiceInputData(ULONG_32 ulPort, const UCHAR *pucDataBuf, ULONG_32 ulDataLen,
                                          PLAYER_AUDIO_SAMPLE_PARAM_S *pstVoiceParam);

/* ---- analytics -------------------------------------------------------------------------------------------------- */

/**
 * Turns analytics of a port on or off; off at the start. While they are on, the rules and results that the camera sends,
 * in data frames or in private messages of the video, are drawn over the picture that they come with in the port's
 * window: lines and areas of rules, and the boxes of targets (4 pixels wide while a rule is set off, else 2). A record
 * stands as long as the camera says. Pictures of the decode callback and snapshots stay without. A port with analytics
 * on also obeys the camera's private coding heads, which hide single pictures, and skips its debugging data.
 * @param ulPort port
 * @param bAble  1 on
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetIVAEnable(ULONG_32 ulPort, BOOL_T bAble);

/**
 * Chooses what of analytics is drawn, on every port, from the next picture on. At the start that is all.
 * @param ulShowParam bit 0 rules, bit 1 targets that set off a rule, bit 2 targets that set off none
 * @return 1. Sets no last error
 */
ZELVANE_API BOOL_T Zelvane_SetIVAShowParam(ULONG_32 ulShowParam);

/**
 * Chooses what of analytics is drawn on a port, and whether the ports' own choices count. The port need not be
 * allocated, and the choice outlives it.
 * @param ulPort      port
 * @param ulShowParam as in Zelvane_SetIVAShowParam()
 * @param bFlag       for all ports: 1, each shows what was chosen for it (all, if nothing was); 0, what was chosen by
 *                    Zelvane_SetIVAShowParam()
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetIVAShowParamEx(ULONG_32 ulPort, ULONG_32 ulShowParam, BOOL_T bFlag);

/**
 * Tells where the camera's text band lies relative to the picture. Stored; the window shows pictures whole.
 * @param ulPort     port
 * @param ulOSDStyle PLAYER_OSD_STYL_E
 * @return 1; or 0 with PLAYER_ERR_PARAM for another value
 */
ZELVANE_API BOOL_T Zelvane_SetOSDStyle(ULONG_32 ulPort, ULONG_32 ulOSDStyle);

/**
 * Chooses the kinds of objects that are labelled. Stored only: a target's record doesn't tell its kind.
 * @param ulPort        port
 * @param bTargetVeh    1: vehicles
 * @param bTargetNonVeh 1: vehicles without an engine
 * @param bTargetPerson 1: people
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_EnableTargetTag(ULONG_32 ulPort, BOOL_T bTargetVeh, BOOL_T bTargetNonVeh,
                                           BOOL_T bTargetPerson);

/**
 * Turns the attributes of targets as text on or off. Stored only: this version draws no text.
 * @param ulPort  port
 * @param bEnable 1 on
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_EnableIvaOsd(ULONG_32 ulPort, BOOL_T bEnable);

/* ---- fisheye and PTZ: the interface of a dewarping that this version does not have ------------------------------- */

/**
 * Whether the port plays a fisheye stream. No stream is known as one in this version.
 * @param ulPort port
 * @return 0; oddly PLAYER_ERR_PORT itself, which is not 0, for a port that is not allocated
 */
ZELVANE_API BOOL_T Zelvane_IsFishEyeStream(ULONG_32 ulPort);

/**
 * Accepted; writes nothing.
 * @param ulPort         port
 * @param pstCenterPoint centre of the lens circle
 * @param pulRadius      its radius
 * @param pParm          not used; may be null
 * @return 1 or 0; oddly PLAYER_ERR_PARAM itself, without a last error, when one of the first two pointers is null
 */
ZELVANE_API BOOL_T Zelvane_GetFishEyeParam(ULONG_32 ulPort, PLAYER_POINT_S *pstCenterPoint, ULONG_32 *pulRadius,
                                           void *pParm);

/**
 * Asks for fisheye processing. What it does in this version: the port's next decoder is one in software, and the run
 * messages PLAYER_RUN_PTZ_STREAM and PLAYER_RUN_PTZ_STREAM_END tell whether key frames carry analytics.
 * @param ulPort    port
 * @param ulPtzMode PLAYER_PTZ_MODE_E; PLAYER_ORIGINAL ends it
 * @param ulFixMode mounting of the camera; not used
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetPtzAndFixMode(ULONG_32 ulPort, ULONG_32 ulPtzMode, ULONG_32 ulFixMode);

/**
 * Accepted; writes nothing.
 * @param ulPort     port
 * @param pulPtzMode view
 * @param pulFixMode mounting
 * @return 1; or 0 with PLAYER_ERR_PARAM for a null pointer
 */
ZELVANE_API BOOL_T Zelvane_GetPtzAndFixMode(ULONG_32 ulPort, ULONG_32 *pulPtzMode, ULONG_32 *pulFixMode);

/**
 * Accepted and without effect.
 * @param ulPort    port
 * @param ulPtzMode PLAYER_PTZ_DISPLAY_MODE_E
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetPtzDisplayMode(ULONG_32 ulPort, ULONG_32 ulPtzMode);

/**
 * Accepted and without effect.
 * @param ulPort          port
 * @param ulKeepAliveTime how long a view stands
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_SetPtzKeepAliveTime(ULONG_32 ulPort, ULONG_32 ulKeepAliveTime);

/**
 * The mouse was moved over the port's window. Accepted and without effect.
 * @param ulPort  port
 * @param ulFlags buttons and keys that are held
 * @param stPoint where it is, pixels
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_OnMouseMove(ULONG_32 ulPort, ULONG_32 ulFlags, PLAYER_POINT_S stPoint);

/**
 * The left button was pressed. Accepted and without effect.
 * @param ulPort  port
 * @param ulFlags buttons and keys that are held
 * @param stPoint where the mouse is, pixels
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_OnLButtonDown(ULONG_32 ulPort, ULONG_32 ulFlags, PLAYER_POINT_S stPoint);

/**
 * The left button was released. Accepted and without effect.
 * @param ulPort  port
 * @param ulFlags buttons and keys that are held
 * @param stPoint where the mouse is, pixels
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_OnLButtonUp(ULONG_32 ulPort, ULONG_32 ulFlags, PLAYER_POINT_S stPoint);

/**
 * The wheel was turned. Accepted and without effect.
 * @param ulPort  port
 * @param ulFlags buttons and keys that are held
 * @param sDelta  how far, and by its sign in which direction
 * @param stPoint where the mouse is, pixels
 * @return 1 or 0
 */
ZELVANE_API BOOL_T Zelvane_OnMouseWheel(ULONG_32 ulPort, ULONG_32 ulFlags, SHORT sDelta, PLAYER_POINT_S stPoint);

/**
 * Corrects the distortion of a face; the module for it is not part of this version.
 * @param pcFilePath  picture
 * @param pcFacePath  result
 * @param pcModelPath model
 * @return 0 with PLAYER_ERR_NOT_SUPPORT
 */
ZELVANE_API BOOL_T Zelvane_FaceCorrectFunc(const CHAR *pcFilePath, const CHAR *pcFacePath, CHAR *pcModelPath);

/* ---- content protection ----------------------------------------------------------------------------------------- */

/**
 * Sets the RSA key that the key messages of scrambled live and pushed streams are encrypted to, for all ports of the
 * process; any time, also while streams play. From then on such streams are shown clear. A frame that can't be restored,
 * and all that refer to it, are left out, so that the last clean picture stays in the window; each such key frame is
 * logged with PLAYER_ERR_SCRAMBLE. Recordings get every frame as it came; so do parse callbacks, but for the frames that
 * refer to one that was left out, as after a loss. While a key is set, ports also obey the coding heads in a stream,
 * which may say that a frame isn't to be shown, and keep debugging data from the decoder. Until a key is set, scrambled
 * streams are decoded as they come. An absurd key is found out when it is used.
 * @param pstRsaInfo key; every field is copied
 * @return 1; or 0 with PLAYER_ERR_PARAM
 */
ZELVANE_API BOOL_T Zelvane_SetRsaKey(PLAYER_RSA_INFO_S *pstRsaInfo);

/**
 * Gives the RSA key in use: the last one set, or a built-in one that shows the form.
 * @param[out] pstRsaInfo key
 * @return 1; or 0 with PLAYER_ERR_PARAM
 */
ZELVANE_API BOOL_T Zelvane_GetRsaKey(PLAYER_RSA_INFO_S *pstRsaInfo);

/**
 * Sets the password of scrambled files on a port; before the open call or while a file plays. What Zelvane_SetRsaKey()
 * says of streams then holds for the port's files, with PLAYER_ERR_FILE_SCRAMBLE.
 * @param ulPort       port; keeps the password until it is freed
 * @param pcPassword   password, need not end with a zero byte
 * @param lPasswordLen its bytes; what is above 64 is cut off, with success; 0 takes the password away
 * @return 1; or 0 with PLAYER_ERR_PARAM for a negative length or null
 */
ZELVANE_API BOOL_T Zelvane_SetFilePassword(ULONG_32 ulPort, CHAR *pcPassword, LONG_32 lPasswordLen);

/**
 * Tests the watermarks of a file: reads it whole, without decoding, on the calling thread. Another thread may end the
 * test by Zelvane_CheckMarkCancel() or by closing or freeing the port; it then succeeds with what was found so far.
 * Other calls on the port wait. A second test on a port carries on from the first: text and bHaveWaterMark stay until
 * they are replaced.
 * @param ulPort           port without a source
 * @param pcFilename       file to test
 * @param[out] pstMarkInfo result; its list is the client's, for Zelvane_FreeMarkInfo(), also after a read error in the
 *                         middle of the file. The test ends when the list holds PLAYER_MARK_LIST_NUM failures
 * @return 1; or 0 with PLAYER_ERR_PARAM (port in use; then *pstMarkInfo is not touched), PLAYER_ERR_MALLOC,
 *         PLAYER_ERR_FILE_OPEN or what the file's parser says
 */
ZELVANE_API BOOL_T Zelvane_CheckMark(ULONG_32 ulPort, const CHAR *pcFilename, PLAYER_MARK_INFO_S *pstMarkInfo);

/**
 * Ends a test that another thread runs on the port. It does not wait for it, and a test that begins right behind it is
 * not ended: repeat it until Zelvane_CheckMark() has returned.
 * @param ulPort port
 * @return always 0, with PLAYER_ERR_NOT_SUPPORT although the test ends; PLAYER_ERR_PORT without such a port
 */
ZELVANE_API BOOL_T Zelvane_CheckMarkCancel(ULONG_32 ulPort);

/**
 * Frees the list of a result.
 * @param pstMarkInfo result, or null; may be freed again
 */
ZELVANE_API void Zelvane_FreeMarkInfo(PLAYER_MARK_INFO_S *pstMarkInfo);

#ifdef __cplusplus
}
#endif

#endif
