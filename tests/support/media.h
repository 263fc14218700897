/**
 * @file media.h
 * @brief Test streams made by the real encoders, how to cut them, and an independent decode to compare with.
 */
#ifndef ZELVANE_TESTS_SUPPORT_MEDIA_H
#define ZELVANE_TESTS_SUPPORT_MEDIA_H

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;
using Span = std::span<const uint8_t>;

/** Path of a stream of the shared media folder; the folder is named by the environment's ZELVANE_MEDIA. */
std::string MediaPath(const char *name);

/** A whole file; empty if it can't be read. */
Bytes ReadFile(const std::string &path);

/** Cuts a byte stream of video or sound into access units, by FFmpeg's parser. The spans point into `stream`. */
std::vector<Span> SplitAccessUnits(Span stream, AVCodecID codec);

/** Cuts it into units, each with its start code. */
std::vector<Span> SplitUnits(Span stream);

/** Lower-case hexadecimal MD5. */
std::string Md5(Span data);

/** MD5 of the visible part of an 8-bit 4:2:0 picture. */
std::string PictureMd5(const uint8_t *const planes[], const int strides[], int width, int height);

/** How alike two blocks of samples of the same size are, in dB; above 35 hardly anyone tells them apart. */
double Psnr(Span a, Span b);

/** Decodes packets by libavcodec alone, one thread, drained, and hands over each frame. */
void ReferenceDecode(std::vector<Span> packets, AVCodecID codec, const std::function<void(const AVFrame &)> &take);

/** What libavcodec makes of packets of sound: 16 bits, channels interleaved. */
std::vector<int16_t> ReferenceSamples(const std::vector<Span> &packets, AVCodecID codec);

/** MD5 of each picture of a stream, in display order, as libavcodec alone decodes it: one thread, drained. */
std::vector<std::string> ReferenceMd5s(Span stream, AVCodecID codec);

#endif
