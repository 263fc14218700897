/**
 * @file mp4_boxes.h
 * @brief Boxes of the ISO base media file format (ISO/IEC 14496-12, -14, -15), as far as recordings need them, and the
 *        flat list of a file's samples that is made of them.
 *
 * A recording is a plain file: one "mdat" in which video and audio follow each other without gaps, boxes of version 0
 * with 32-bit offsets, H.264 or H.265 video and AAC or MPEG audio. Files of other writers, to which that walk does not
 * do justice, are listed by their tables and fragments (mp4_places.h). Compact sample sizes are misread; such a file
 * opens and gives no frames.
 *
 * Each box is kept in a plain record of its name; the fields are those of the standard in file order. Nothing in a file
 * is believed: a child lies within its parent, an entry count within its box and within the file, and bytes that are
 * not there read as 0. A table that no memory is left for counts as empty. Nothing throws. One thread at a time works
 * with a parser; pointers given to these functions are not null unless it is said.
 */
#ifndef ZELVANE_FILE_MP4_BOXES_H
#define ZELVANE_FILE_MP4_BOXES_H

#include <stdio.h>

#include <memory>
#include <vector>

#include "foundations/player_types.h"

/** Limits of what is read from a file. */
enum : ULONG_32 {
    MP4_TRACKS_MAX = 64,       /**< tracks of a file; more are left out */
    MP4_CHILDREN_MAX = 65536,  /**< boxes on one level; more are an overflow */
    MP4_DESCRIPTIONS_MAX = 64, /**< sample descriptions of a track; more are left out */
    MP4_SAMPLES_MAX = 8 << 20, /**< samples of a file, about 80 hours of video with sound; the list ends there */
    MP4_PLACES_MAX = 2 << 20,  /**< of a track that goes by tables or fragments, some 19 hours of video */
    MP4_CONFIGURATION_SIZE_MAX = 64 << 10, /**< bytes of a decoder configuration; of a longer one the start counts */
    MP4_FRAGMENTS_SIZE_MAX = 64 << 20,     /**< bytes of all "moof" boxes of a file; more are left out */
};

/** What an "mp4a" entry holds, by its object type indication (ISO/IEC 14496-1, table 5). */
enum : LONG_32 {
    MP4_CODE_AAC = 64,
    MP4_CODE_MPEG_AUDIO = 107, /**< also anything that is not understood */
};

/** First sequence parameter set. */
struct SPS {
    USHORT sequenceParameterSetLength = 0;                /**< bytes */
    std::unique_ptr<UCHAR[]> sequenceParameterSetNALUnit; /**< or null */
};

/** First picture parameter set. */
struct PPS {
    USHORT pictureParameterSetLength = 0;                /**< bytes */
    std::unique_ptr<UCHAR[]> pictureParameterSetNALUnit; /**< or null */
};

/** Parameter sets as a byte stream, to be put in front of key frames. */
struct mp4_sets_t {
    std::unique_ptr<UCHAR[]> stream; /**< or null */
    ULONG_32 length = 0;             /**< bytes */
};

/** Decoder configuration (ISO/IEC 14496-15, 5.3.3.1). */
struct mp4_avcC_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR configurationVersion = 0;
    UCHAR AVCProfileIndication = 0;
    UCHAR profile_compatibility = 0;
    UCHAR AVCLevelIndication = 0;
    UCHAR lengthSizeMinusOne = 0; /**< the length size itself: the stored value and 1 */
    UCHAR numOfSequenceParameterSet = 0;
    SPS sps; /**< the first of them */
    UCHAR numOfPictureParameterSets = 0;
    PPS pps;         /**< the first of them */
    mp4_sets_t sets; /**< all of them */
};

/** Decoder configuration of H.265 (ISO/IEC 14496-15, 8.3.3.1), as far as it is used. */
struct mp4_hvcC_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR lengthSizeMinusOne = 0; /**< the length size itself: the stored value and 1 */
    mp4_sets_t sets;
};

/** Visual sample entry, for "avc3", "hev1" and "hvc1" as well. */
struct mp4_avc1_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR reserved[6] = {};
    USHORT data_reference_index = 0;
    UCHAR pre_defined[16] = {};
    USHORT width = 0;  /**< pixels */
    USHORT height = 0; /**< rows */
    ULONG_32 horiz_resolution = 0;
    ULONG_32 vert_resolution = 0;
    ULONG_32 reserved2 = 0;
    USHORT frames_count = 0;
    UCHAR compressor_name[33] = {};
    UCHAR bit_depth = 0;
    USHORT pre_defined2 = 0;            /**< little-endian read */
    std::unique_ptr<mp4_avcC_box> avcC; /**< null for H.265 and where there is none */
    std::unique_ptr<mp4_hvcC_box> hvcC; /**< null for H.264 and where there is none */
};

/** Audio sample entry. The first two names have changed places; who makes ADTS headers uses them so. */
struct mp4_mp4a_box {
    UCHAR ucAudioType = 0;      /**< index of the sampling rate (ISO/IEC 14496-3, table 1.18) */
    UCHAR ucFrequencyIndex = 0; /**< audio object type */
    UCHAR ucChannelNum = 0;     /**< channel configuration */
    LONG_32 lCodeType = MP4_CODE_MPEG_AUDIO;
};

/** One entry of "stsd". At most one of the pointers is set. */
struct Sample_description {
    ULONG_32 size = 0;
    CHAR type[5] = {};
    std::unique_ptr<mp4_avc1_box> avc1; /**< "avc1", "avc3", "hev1" and "hvc1" */
    std::unique_ptr<mp4_mp4a_box> mp4a; /**< "mp4a" */
};

struct mp4_stsd_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR version = 0;
    ULONG_32 flags = 0;
    ULONG_32 number_of_entries = 0; /**< that were read */
    std::unique_ptr<Sample_description[]> sample_description;
};

/** The play clock counts samples; this one only tells in which order samples of several tracks come. */
struct mp4_stts_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR version = 0;
    ULONG_32 flags = 0;
    ULONG_32 number_of_entries = 0;
    std::unique_ptr<ULONG_32[]> time_to_sample_table_count;
    std::unique_ptr<ULONG_32[]> time_to_sample_table_duration;
};

/** Sync samples, counted from 1. */
struct mp4_stss_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR version = 0;
    ULONG_32 flags = 0;
    ULONG_32 number_of_entries = 0;
    std::unique_ptr<ULONG_32[]> sync_sample_table;
    ULONG_32 sync_read_count = 0;
};

/** One entry of "stsc". */
struct mp4_list_t {
    ULONG_32 first_chunk_num;
    ULONG_32 sample_amount_in_cur_table;
    ULONG_32 sample_description_id;
};
static_assert(sizeof(mp4_list_t) == 12);

/** Used for files whose chunks don't follow each other: else a chunk reaches to where the next one starts. */
struct mp4_stsc_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR version = 0;
    ULONG_32 flags = 0;
    ULONG_32 map_amount = 0;
    std::unique_ptr<mp4_list_t[]> scmap;
};

struct mp4_stsz_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR version = 0;
    ULONG_32 flags = 0;
    ULONG_32 samples_size_intotal = 0; /**< size of every sample; 0: the table has them */
    ULONG_32 table_size = 0;           /**< samples */
    std::unique_ptr<ULONG_32[]> sample_size_table;
    ULONG_32 sample_read_count = 0;
};

struct mp4_stco_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR version = 0;
    ULONG_32 flags = 0;
    ULONG_32 chunk_offset_amount = 0;
    std::unique_ptr<ULONG_32[]> chunk_offset_from_file_begin;
    std::unique_ptr<DULONG[]> chunk_offset_64; /**< of "co64", in place of the table above */
    ULONG_32 chunk_read_count = 0;
};

struct mp4_stbl_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    mp4_stsd_box stsd;
    mp4_stts_box stts;
    mp4_stss_box stss;
    mp4_stsc_box stsc;
    mp4_stsz_box stsz;
    mp4_stco_box stco;
};

struct mp4_vmhd_box {};
struct mp4_dinf_box {};

struct mp4_smhd_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR version = 0;
    ULONG_32 flags = 0;
    USHORT balance = 0;  /**< little-endian read */
    USHORT reserved = 0; /**< little-endian read */
};

struct mp4_hdlr_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR version = 0;
    ULONG_32 flags = 0;
    ULONG_32 pre_defined = 0;
    CHAR handler_type[5] = {}; /**< "vide", "soun" ... */
    UCHAR reserved[12] = {};
    CHAR name[256] = {}; /**< read one byte behind its place; carries no meaning */
};

struct mp4_minf_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    std::unique_ptr<mp4_vmhd_box> vmhd; /**< stays null */
    std::unique_ptr<mp4_smhd_box> smhd; /**< or null */
    mp4_dinf_box dinf;
    mp4_stbl_box stbl;
};

struct mp4_mdhd_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR version = 0;
    ULONG_32 flags = 0;
    ULONG_32 creation_time = 0;
    ULONG_32 modification_time = 0;
    ULONG_32 timescale = 0; /**< ticks a second */
    ULONG_32 duration = 0;  /**< ticks */
    USHORT language = 0;    /**< little-endian read */
    USHORT pre_defined = 0; /**< little-endian read */
};

struct mp4_mdia_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    mp4_mdhd_box mdhd;
    mp4_hdlr_box hdlr;
    mp4_minf_box minf;
};

struct mp4_tkhd_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR version = 0;
    ULONG_32 flags = 0;
    ULONG_32 creation_time = 0;
    ULONG_32 modification_time = 0;
    ULONG_32 track_id = 0;
    ULONG_32 reserved = 0;
    ULONG_32 duration = 0;
    ULONG_32 reserved2[2] = {};
    USHORT layer = 0; /**< little-endian read, as are the three below */
    USHORT alternate_group = 0;
    USHORT volume = 0;
    USHORT reserved3 = 0;
    ULONG_32 matrix[9] = {};
    ULONG_32 width = 0;
    ULONG_32 height = 0;
};

struct mp4_edts_box {};
struct mp4_udta_box {};
struct mp4_iods_box {};

/** Where a sample lies and when it is to be decoded. */
struct mp4_place_t {
    DLONG dlOffset;  /**< in the file */
    DULONG dulTime;  /**< ticks of the track */
    ULONG_32 ulSize; /**< bytes */
    ULONG_32 bKey;   /**< 1 for a sync sample */
};

/** What a fragment doesn't say of a track's samples ("trex", ISO/IEC 14496-12, 8.8.3). */
struct mp4_trex_box {
    ULONG_32 track_id;
    ULONG_32 default_sample_duration;
    ULONG_32 default_sample_size;
    ULONG_32 default_sample_flags;
};

struct mp4_trak_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    mp4_tkhd_box tkhd;
    mp4_edts_box edts;
    mp4_mdia_box mdia;
    mp4_udta_box udta;
    LONG_32 iCurSampleIndex = 0;
    LONG_32 iCurChunkOffsetIndex = 0;
    std::vector<mp4_place_t> fragments; /**< samples of fragments */
    DULONG fragment_time = 0;           /**< when the next of them is due, ticks */
};

struct mp4_mvhd_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    UCHAR version = 0;
    ULONG_32 flags = 0;
    ULONG_32 creation_time = 0;
    ULONG_32 modification_time = 0;
    ULONG_32 timescale = 0; /**< ticks a second */
    ULONG_32 duration = 0;  /**< ticks */
    ULONG_32 rate = 0;
    USHORT volume = 0; /**< little-endian read */
    UCHAR reserved[10] = {};
    ULONG_32 matrix[9] = {};
    ULONG_32 pre_defined[6] = {};
    ULONG_32 next_track_id = 0;
};

/** One sample of a file. */
struct mp4_sample_node {
    DLONG dlOffset;       /**< where it lies in the file */
    LONG_32 size;         /**< bytes */
    LONG_32 type;         /**< index of its track in mp4_moov_box::trak */
    LONG_32 key;          /**< 1 for a sync sample of the video track */
    LONG_32 sample_count; /**< index in its track */
    LONG_32 chunk_count;  /**< index of the chunk that it opens, or -1 */
    DULONG timestamp;     /**< 90 kHz ticks */
};
static_assert(sizeof(mp4_sample_node) == 40);

/** The parser: an open file's boxes, its samples and the place of reading. Starts as constructed. */
struct mp4_moov_box {
    ULONG_32 type = 0;
    ULONG_32 size = 0;
    mp4_mvhd_box mvhd;
    mp4_iods_box iods;
    mp4_udta_box udta;
    std::vector<mp4_trak_box> trak;
    std::vector<mp4_sample_node> list; /**< all samples in file order */
    LONG_32 iVideoTrak = 0;            /**< index of the video track */
    DLONG dlMdatDataOffset = 0;        /**< first byte of the media data */
    DLONG dlMdatDataEnd = 0;           /**< behind the last */
    LONG_32 iPrevTrak = 0;             /**< track of the last listed sample */
    BOOL_T bInitRead = 0;              /**< 1 once a frame was asked for */
    LONG_32 iCurSampleIndex = 0;       /**< next sample to look at */
    DULONG dulTimestamp = 0;           /**< time of the next video sample while the list is made, 90 kHz ticks */
    DULONG timescale = 0;              /**< 90 kHz ticks a sample of the leading track */
    LONG_32 iPlayTime = 0;             /**< seconds; other threads read it */
    std::vector<mp4_trex_box> trex;    /**< defaults for fragments, at most one a track */
    DLONG dlFileEnd = 0;               /**< length of the file */
    DLONG dlFragmentBytes = 0;         /**< of "moof" boxes that were read */
    DLONG dlFragmentData = 0;          /**< bytes of the samples in them */
    size_t ulFragmentSamples = 0;      /**< in them */
};

extern "C" {

/**
 * Reads the box at the file's position: a head, and of "moov" and "mdat" what they hold.
 * @param pdlBoxSize gets how far the next box is away; 1 for an unknown box of size 0. An "mdat" of size 8 or less
 *                   reaches to the end of the file
 * @return 0; 1 for a "moov" whose boxes don't add up, or a null pointer
 */
MODULE_API ULONG_32 mp4_read_root_box(FILE *pFile, mp4_moov_box *pstMoov, DLONG *pdlBoxSize);

/**
 * Lists the samples of a file whose boxes are read. Walks the media data from front to back: a sample belongs to the
 * track of which a chunk starts there, else to the track of the sample before. All samples run on the clock of the
 * video track. Where that misses chunks of the file, or where the first track is no video, the samples are listed by
 * the tables of the video and the sound track, in the order of their times. Tables that don't agree leave the walk's
 * list, or that of the first track alone, with its first sample's size for all.
 * @param lFlag unused
 * @return 0, also for an empty list; -1 for no track, no memory or a null pointer
 */
MODULE_API LONG_32 make_sample_list(mp4_moov_box *pstMoov, LONG_32 lFlag);

/*
 * One reader a box. The file stands behind the box's head of 8 bytes; ulBoxSize counts the head. The readers of "moov"
 * and "trak" give 0, or -1 when their children don't add up or no memory is left; the others fill the record and give
 * it back.
 */
MODULE_API LONG_32 mp4_read_moov_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_moov_box *pstBox);
MODULE_API LONG_32 mp4_read_trak_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_trak_box *pstBox);
MODULE_API mp4_mvhd_box *mp4_read_mvhd_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_mvhd_box *pstBox);
MODULE_API mp4_iods_box *mp4_read_iods_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_iods_box *pstBox);
MODULE_API mp4_tkhd_box *mp4_read_tkhd_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_tkhd_box *pstBox);
MODULE_API mp4_mdia_box *mp4_read_mdia_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_mdia_box *pstBox);
MODULE_API mp4_mdhd_box *mp4_read_mdhd_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_mdhd_box *pstBox);
MODULE_API mp4_hdlr_box *mp4_read_hdlr_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_hdlr_box *pstBox);
MODULE_API mp4_minf_box *mp4_read_minf_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_minf_box *pstBox);
MODULE_API mp4_smhd_box *mp4_read_smhd_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_smhd_box *pstBox);
MODULE_API mp4_stbl_box *mp4_read_stbl_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stbl_box *pstBox);
MODULE_API mp4_stsd_box *mp4_read_stsd_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stsd_box *pstBox);
MODULE_API mp4_avc1_box *mp4_read_avc1_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_avc1_box *pstBox);
MODULE_API mp4_avc1_box *mp4_read_hev1_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_avc1_box *pstBox);
MODULE_API mp4_avcC_box *mp4_read_avcC_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_avcC_box *pstBox);
MODULE_API mp4_hvcC_box *mp4_read_hvcC_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_hvcC_box *pstBox);
MODULE_API mp4_mp4a_box *mp4_read_mp4a_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_mp4a_box *pstBox);
MODULE_API mp4_stts_box *mp4_read_stts_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stts_box *pstBox);
MODULE_API mp4_stss_box *mp4_read_stss_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stss_box *pstBox);
MODULE_API mp4_stsc_box *mp4_read_stsc_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stsc_box *pstBox);
MODULE_API mp4_stsz_box *mp4_read_stsz_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stsz_box *pstBox);
MODULE_API mp4_stco_box *mp4_read_stco_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stco_box *pstBox);
MODULE_API mp4_stco_box *mp4_read_co64_box(FILE *pFile, ULONG_32 ulBoxSize, mp4_stco_box *pstBox);

/** Size of a descriptor at the file's position (ISO/IEC 14496-1, 8.3.3): up to 4 bytes of 7 bits. */
MODULE_API ULONG_32 mp4_read_descr_size(FILE *pFile);

/*
 * Numbers at the file's position; bytes that are not there are 0. The names run against their sense: "lit" reads the
 * big-endian number that MP4 has, "big" takes the two bytes as they are, little-endian.
 */
MODULE_API UCHAR read_uint8(FILE *pFile);
MODULE_API USHORT read_uint16_lit(FILE *pFile);
MODULE_API ULONG_32 read_uint32_lit(FILE *pFile);
MODULE_API USHORT read_uint16_big(FILE *pFile);
}

#endif
