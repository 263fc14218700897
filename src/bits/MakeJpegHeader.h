/**
 * @file MakeJpegHeader.h
 * @brief The JFIF headers that an RTP JPEG stream leaves out (RFC 2435, Appendices A and B).
 *
 * Pure functions that write into the caller's buffer.
 */
#ifndef ZELVANE_BITS_MAKEJPEGHEADER_H
#define ZELVANE_BITS_MAKEJPEGHEADER_H

#include "foundations/player_types.h"

/** Room that MakeHeaders() needs at most, bytes. */
enum : ULONG_32 { JPEG_HEADER_MAX_SIZE = 629 };

extern "C" {

/**
 * Derives both quantisation tables, 64 bytes each, in the zig-zag order of a DQT segment.
 * @param q    quality, limited to 1 to 99
 * @param lqt  gets the luminance table
 * @param cqt  gets the chrominance table
 */
MODULE_API void MakeTables(int q, UCHAR *lqt, UCHAR *cqt);

/**
 * Writes everything from SOI to SOS.
 * @param p     buffer of JPEG_HEADER_MAX_SIZE bytes
 * @param type  0: chroma halved across (4:2:2); else halved both ways (4:2:0)
 * @param w     width, pixels
 * @param h     height, pixels
 * @param lqt   luminance table, 64 bytes, zig-zag order
 * @param cqt   chrominance table
 * @param dri   restart interval; 0: no DRI segment
 * @return bytes written, 0 for a null pointer
 */
MODULE_API int MakeHeaders(UCHAR *p, int type, int w, int h, UCHAR *lqt, UCHAR *cqt, USHORT dri);

/** Writes a DQT segment with one table; returns the place behind it. */
MODULE_API UCHAR *MakeQuantHeader(UCHAR *p, const UCHAR *qt, int tableNo);

/** Writes a DHT segment with one table; returns the place behind it. */
MODULE_API UCHAR *MakeHuffmanHeader(UCHAR *p, const UCHAR *codelens, int ncodes, const UCHAR *symbols, int nsymbols,
                                    int tableNo, int tableClass);

/** Writes a DRI segment; returns the place behind it. */
MODULE_API UCHAR *MakeDRIHeader(UCHAR *p, USHORT dri);

}  // extern "C"

#endif
