/**
 * @file avifmt.h
 * @brief AVI files on a plain descriptor: a classic RIFF file of up to about 4 GiB with one index, one video stream and
 * up to eight audio tracks.
 *
 * A handle writes (AVI_open_output_file) or reads (AVI_open_input_file, AVI_open_fd) and belongs to one thread;
 * video_pos of a reading handle is a word that others may load meanwhile. Functions of the other mode fail with
 * AVI_ERR_NOT_PERM. Failures are -1, null or 0 as told, and the number in AVI_errno says why. A null handle gives -1,
 * null or 0 and leaves AVI_errno alone.
 *
 * Video is told by the first three characters of its chunk id ("00d": "00db" and "00dc"), audio by all four.
 */
#ifndef ZELVANE_FILE_AVI_AVIFMT_H
#define ZELVANE_FILE_AVI_AVIFMT_H

#include <sys/types.h>

#include "foundations/module_api.h"
#include "player_public.h"

inline constexpr int AVI_MAX_TRACKS = 8;

/** avi_t::mode. */
enum : long { AVI_MODE_WRITE = 0, AVI_MODE_READ = 1 };

/** Flags of an index entry, in `key` too, of which it is the only one in files of ours. */
enum : ULONG_32 { AVI_KEYFRAME = 16 };

/** Values of AVI_errno. */
enum : long {
    AVI_ERR_NONE = 0,
    AVI_ERR_SIZELIM = 1, /**< the file would grow beyond its limit */
    AVI_ERR_OPEN = 2,    /**< can't be opened */
    AVI_ERR_READ = 3,    /**< can't be read, or ends too early */
    AVI_ERR_WRITE = 4,   /**< can't be written */
    AVI_ERR_WRITE_INDEX = 5,
    AVI_ERR_CLOSE = 6,
    AVI_ERR_NOT_PERM = 7, /**< the handle is of the other mode */
    AVI_ERR_NO_MEM = 8,
    AVI_ERR_NO_AVI = 9, /**< no "RIFF" of form "AVI " */
    AVI_ERR_NO_HDRL = 10,
    AVI_ERR_NO_MOVI = 11,
    AVI_ERR_NO_VIDS = 12,
    AVI_ERR_NO_IDX = 13, /**< opened without an index, and this needs one */
    AVI_ERR_UNKNOWN = 14
};

/** One video chunk. */
typedef struct {
    DLONG key; /**< flags of its index entry: AVI_KEYFRAME for a key frame, 0 in an index that was rebuilt */
    DLONG pos; /**< place of its data in the file */
    DLONG len; /**< bytes */
} video_index_entry;

/** One audio chunk. */
typedef struct {
    DLONG pos; /**< place of its data in the file */
    DLONG len; /**< bytes */
    DLONG tot; /**< bytes of the track in front of it */
} audio_index_entry;

/** One audio track. */
typedef struct {
    long a_fmt;        /**< wave format tag: 80 MPEG audio, 85 MP3 */
    long a_chans;      /**< channels */
    long a_rate;       /**< Hz */
    long a_bits;       /**< bits a sample */
    long mp3rate;      /**< kbit/s */
    long audio_strn;   /**< stream number */
    DLONG audio_bytes; /**< bytes of sound */
    long audio_chunks; /**< chunks */
    char audio_tag[4]; /**< chunk id, such as "01wb" */
    long audio_posc;   /**< next chunk */
    DLONG audio_posb;  /**< next byte in it */
    off_t a_codech_off;
    off_t a_codecf_off;
    audio_index_entry *audio_index; /**< reading: audio_chunks entries */
} track_t;

/** A file. */
typedef struct {
    long fdes;                             /**< descriptor */
    long mode;                             /**< AVI_MODE_WRITE or AVI_MODE_READ */
    long width, height;                    /**< pixels */
    double fps;                            /**< frames a second */
    char compressor[8];                    /**< video handler, four characters and a terminator */
    char compressor2[8];                   /**< the same of the video format chunk */
    long video_strn;                       /**< number of the video stream */
    long video_frames;                     /**< frames */
    char video_tag[4];                     /**< chunk id, such as "00db" */
    long video_pos;                        /**< next frame */
    unsigned long max_len;                 /**< largest video chunk, bytes */
    track_t track[AVI_MAX_TRACKS];         /**< the first anum are there */
    off_t pos;                             /**< where the next chunk is written, or the next read in sequence begins */
    long n_idx, max_idx;                   /**< index entries used and allocated */
    off_t v_codech_off;                    /**< place of the handler in the stream header */
    off_t v_codecf_off;                    /**< place of the compression in the format chunk */
    UCHAR (*idx)[16];                      /**< index entries as in the file: id, flags, position, length */
    video_index_entry *video_index;        /**< reading: video_frames entries; null without an index */
    off_t last_pos;                        /**< writing: head of the last video chunk; 0 before the first */
    DLONG last_len;                        /**< and its bytes */
    int must_use_index;                    /**< a frame was duplicated: the index tells more than the chunks */
    off_t movi_start;                      /**< first chunk of the "movi" list */
    int anum, aptr;                        /**< audio tracks, current track */
    UCHAR *bitmap_info_header;             /**< reading: video format, AVI_BITMAP_BYTES */
    UCHAR *wave_format_ex[AVI_MAX_TRACKS]; /**< reading: audio formats, AVI_WAVE_BYTES each */
    int rebuilt; /**< reading: the file has no index that holds, and one was made of its chunks */
} avi_t;

/** Bytes of the copies of format chunks; what a file does not have of them is 0. */
inline constexpr size_t AVI_BITMAP_BYTES = 40;
inline constexpr size_t AVI_WAVE_BYTES = 18;

extern "C" {

/** Number of the last failure of any handle, AVI_ERR_*. Shared by all threads, loaded and stored as a word. */
MODULE_API extern long AVI_errno;
/** Texts of the numbers. */
MODULE_API extern const char *avi_errors[];
/** How many. */
MODULE_API extern int num_avi_errors;

/* ---- writing --------------------------------------------------------------------------------------------------- */

/** Creates a file, with room for the header; null on failure. */
MODULE_API avi_t *AVI_open_output_file(const char *filename);

/** Sets the video stream and writes the header. @param compressor four characters; "RGB..." becomes none */
MODULE_API void AVI_set_video(avi_t *AVI, long width, long height, double fps, const char *compressor);

/**
 * Adds an audio track, which becomes the current one, and writes the header. **A ninth one ends the process.**
 * @param bits    bits a sample
 * @param format  wave format tag
 * @param mp3rate kbit/s
 */
MODULE_API void AVI_set_audio(avi_t *AVI, long channels, long rate, long bits, long format, long mp3rate);

/** Sets the frame rate, which is one for the whole file, and writes the header. */
MODULE_API void AVI_set_fps(avi_t *AVI, double fps);

/** Sets the bit rate of the current track, kbit/s, and writes the header. */
MODULE_API void AVI_set_audio_bitrate(avi_t *AVI, long bitrate);

/** Appends a frame, by one system call. @return 0 or -1; a frame that failed left nothing behind */
MODULE_API long AVI_write_frame(avi_t *AVI, const void *data, DLONG bytes, long keyframe);

/** Lets the index show the last frame once more; nothing before the first. @return 0 or -1 */
MODULE_API long AVI_dup_frame(avi_t *AVI);

/** Appends a chunk of the current track. @return 0 or -1 */
MODULE_API long AVI_write_audio(avi_t *AVI, const void *data, DLONG bytes);

/** Widens the last chunk, which has to be one of the current track. @return 0 or -1 */
MODULE_API long AVI_append_audio(avi_t *AVI, const void *data, DLONG bytes);

/** Bytes that still fit, and bytes that the file has, both with the index counted in; 0 for a reading handle. */
MODULE_API DLONG AVI_bytes_remain(avi_t *AVI);
MODULE_API DLONG AVI_bytes_written(avi_t *AVI);

/** Limit of a file's size, bytes. */
MODULE_API DLONG AVI_max_size(void);

/* ---- both ------------------------------------------------------------------------------------------------------ */

/** Chooses the current audio track. @return 0, or -1 if there is none of this number */
MODULE_API long AVI_set_audio_track(avi_t *AVI, long track);
MODULE_API long AVI_get_audio_track(avi_t *AVI);

/**
 * Finishes a file that was written (index, header, length), closes the descriptor and frees the handle.
 * @return 0; -1 with AVI_errno, and everything is closed and freed all the same
 */
MODULE_API long AVI_close(avi_t *AVI);

/* ---- reading --------------------------------------------------------------------------------------------------- */

/** Opens a file. @param getIndex 0 stops behind the headers: frames can't be found by number then. @return or null */
MODULE_API avi_t *AVI_open_input_file(const char *filename, long getIndex);
/** The same on a descriptor, which belongs to the handle from here on and is closed on failure too. */
MODULE_API avi_t *AVI_open_fd(long fd, long getIndex);

/** Bytes of a frame or of a chunk of the current track; 0 out of range. */
MODULE_API DLONG AVI_frame_size(avi_t *AVI, long frame);
MODULE_API DLONG AVI_audio_size(avi_t *AVI, long frame);

/** Number of the next frame. */
MODULE_API long AVI_get_video_position(avi_t *AVI);
/** Goes to the first chunk, be it sound or video. @return 0 or -1 */
MODULE_API long AVI_seek_start(avi_t *AVI);
/** Goes to a frame, and the sequential read with it; negative is 0, beyond the last stays where it reads. */
MODULE_API long AVI_set_video_position(avi_t *AVI, long frame);

/**
 * Reads the frame at video_pos, by the index, and moves on; the sequential read goes on behind it.
 * @param vidbuf   VIDEO_FRAME_BUFFER_SIZE bytes; null only moves on
 * @param keyframe 1 or 0; may be null
 * @return bytes; -1 at the end, and for a frame that is larger than the buffer or not all there, which is passed over
 */
MODULE_API DLONG AVI_read_frame(avi_t *AVI, UCHAR *vidbuf, long *keyframe);

/** Goes to a byte of the current track's sound; beyond the last it is the end. @return 0 or -1 */
MODULE_API long AVI_set_audio_position(avi_t *AVI, DLONG byte);
/** Reads sound of the current track on from there. @return bytes, fewer at the end; -1 */
MODULE_API DLONG AVI_read_audio(avi_t *AVI, UCHAR *audbuf, DLONG bytes);
/** Reads what is left of the chunk there and moves on. @param audbuf VIDEO_FRAME_BUFFER_SIZE bytes; null asks only */
MODULE_API DLONG AVI_read_audio_chunk(avi_t *AVI, UCHAR *audbuf);

/**
 * Reads the next chunk of the video or of the current track, whatever the index says.
 * @param vidbuf,audbuf VIDEO_FRAME_BUFFER_SIZE bytes each; may be the same
 * @param keyframe      not touched
 * @param len           bytes
 * @return 0 video, with 0 bytes also the end of the file; 1 audio; -1 for a chunk that is larger than the buffer or not
 *         all there, which is passed over, and after many chunks of other streams in a row
 */
MODULE_API long AVI_read_data(avi_t *AVI, UCHAR *vidbuf, long *keyframe, UCHAR *audbuf, DLONG *len);

/** 1 for a key frame, else 0; -1 without an index. */
MODULE_API long AVI_iskeyframe(avi_t *AVI, long frame);

/* ---- failures -------------------------------------------------------------------------------------------------- */

/** Prints a text of the caller and the last failure on standard error. */
MODULE_API void AVI_print_error(const char *str);
/** The last failure in words, in a buffer of the thread. */
MODULE_API char *AVI_strerror(void);

/* ---- what a handle knows --------------------------------------------------------------------------------------- */

MODULE_API long AVI_video_frames(avi_t *AVI);
MODULE_API long AVI_video_width(avi_t *AVI);
MODULE_API long AVI_video_height(avi_t *AVI);
MODULE_API double AVI_frame_rate(avi_t *AVI);
/** Null for a null handle. */
MODULE_API char *AVI_video_compressor(avi_t *AVI);
MODULE_API long AVI_max_video_chunk(avi_t *AVI);
MODULE_API long AVI_audio_tracks(avi_t *AVI);
MODULE_API long AVI_audio_channels(avi_t *AVI);
MODULE_API long AVI_audio_mp3rate(avi_t *AVI);
MODULE_API long AVI_audio_bits(avi_t *AVI);
/** Wave format tag; 0 without audio. */
MODULE_API long AVI_audio_format(avi_t *AVI);
MODULE_API long AVI_audio_rate(avi_t *AVI);
MODULE_API DLONG AVI_audio_bytes(avi_t *AVI);
MODULE_API long AVI_audio_chunks(avi_t *AVI);
MODULE_API DLONG AVI_audio_codech_offset(avi_t *AVI);
MODULE_API DLONG AVI_audio_codecf_offset(avi_t *AVI);
MODULE_API DLONG AVI_video_codech_offset(avi_t *AVI);
MODULE_API DLONG AVI_video_codecf_offset(avi_t *AVI);

/** Numbers as AVI files have them, the lowest byte first. */
MODULE_API void long2str(UCHAR *dst, ULONG_32 n);
MODULE_API ULONG_32 str2ulong(const UCHAR *str);
MODULE_API ULONG_32 str2ushort(const UCHAR *str);

/** Moves all the bytes, in as many system calls as it takes. @return bytes; fewer at the end or on failure */
MODULE_API size_t avi_read(long fd, UCHAR *buf, size_t len);
MODULE_API size_t avi_write(long fd, const UCHAR *buf, size_t len);
}

#endif
