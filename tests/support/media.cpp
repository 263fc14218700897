#include "support/media.h"

extern "C" {
#include <libavutil/md5.h>
}

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>

std::string MediaPath(const char *name) {
    const char *folder = std::getenv("ZELVANE_MEDIA");
    return std::string(folder != nullptr ? folder : ".") + "/" + name;
}

Bytes ReadFile(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<Span> SplitUnits(Span stream) {
    std::vector<size_t> starts;
    for (size_t i = 0; i + 3 <= stream.size(); ++i) {
        if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) {
            starts.push_back(i != 0 && stream[i - 1] == 0 ? i - 1 : i);
            i += 2;
        }
    }
    std::vector<Span> units;
    for (size_t i = 0; i < starts.size(); ++i) {
        const size_t end = i + 1 < starts.size() ? starts[i + 1] : stream.size();
        units.push_back(stream.subspan(starts[i], end - starts[i]));
    }
    return units;
}

std::vector<Span> SplitAccessUnits(Span stream, AVCodecID codec) {
    AVCodecParserContext *parser = av_parser_init(codec);
    AVCodecContext *context = avcodec_alloc_context3(avcodec_find_decoder(codec));
    Bytes padded(stream.begin(), stream.end());
    padded.resize(stream.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    std::vector<Span> units;
    size_t fed = 0;
    size_t taken = 0;
    for (bool more = true; more;) {
        uint8_t *out = nullptr;
        int size = 0;
        const auto left = static_cast<int>(stream.size() - fed);
        const int used = av_parser_parse2(parser, context, &out, &size, padded.data() + fed, left, 0, 0, 0);
        fed += static_cast<size_t>(used);
        more = left > 0 || size > 0;
        if (size > 0) {
            units.push_back(stream.subspan(taken, static_cast<size_t>(size)));
            taken += static_cast<size_t>(size);
        }
    }
    avcodec_free_context(&context);
    av_parser_close(parser);
    return units;
}

std::string Md5(Span data) {
    uint8_t sum[16];
    av_md5_sum(sum, data.data(), data.size());
    std::string text;
    for (const uint8_t byte : sum) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

std::string PictureMd5(const uint8_t *const planes[], const int strides[], int width, int height) {
    static thread_local Bytes picture;
    picture.clear();
    for (int plane = 0; plane < 3; ++plane) {
        const int columns = plane == 0 ? width : (width + 1) / 2;
        const int rows = plane == 0 ? height : (height + 1) / 2;
        for (int row = 0; row < rows; ++row) {
            const uint8_t *line = planes[plane] + static_cast<ptrdiff_t>(strides[plane]) * row;
            picture.insert(picture.end(), line, line + columns);
        }
    }
    return Md5(picture);
}

double Psnr(Span a, Span b) {
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        sum += (a[i] - b[i]) * (a[i] - b[i]);
    }
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / std::max(sum, 1e-9));
}

void ReferenceDecode(std::vector<Span> packets, AVCodecID codec, const std::function<void(const AVFrame &)> &take) {
    AVCodecContext *context = avcodec_alloc_context3(avcodec_find_decoder(codec));
    context->thread_count = 1;
    if (codec == AV_CODEC_ID_PCM_MULAW || codec == AV_CODEC_ID_PCM_ALAW) {
        av_channel_layout_default(&context->ch_layout, 1);
        context->sample_rate = 8000;
    }
    if (avcodec_open2(context, nullptr, nullptr) == 0) {
        AVFrame *frame = av_frame_alloc();
        AVPacket *packet = av_packet_alloc();
        packets.emplace_back();
        for (const Span &data : packets) {
            if (!data.empty() && av_new_packet(packet, static_cast<int>(data.size())) == 0) {
                std::memcpy(packet->data, data.data(), data.size());
            }
            avcodec_send_packet(context, data.empty() ? nullptr : packet);
            av_packet_unref(packet);
            while (avcodec_receive_frame(context, frame) == 0) {
                take(*frame);
            }
        }
        av_packet_free(&packet);
        av_frame_free(&frame);
    }
    avcodec_free_context(&context);
}

std::vector<std::string> ReferenceMd5s(Span stream, AVCodecID codec) {
    std::vector<std::string> sums;
    ReferenceDecode(SplitAccessUnits(stream, codec), codec, [&sums](const AVFrame &frame) {
        sums.push_back(PictureMd5(frame.data, frame.linesize, frame.width, frame.height));
    });
    return sums;
}

std::vector<int16_t> ReferenceSamples(const std::vector<Span> &packets, AVCodecID codec) {
    std::vector<int16_t> samples;
    ReferenceDecode(packets, codec, [&samples](const AVFrame &frame) {
        const int channels = frame.ch_layout.nb_channels;
        for (int i = 0; i < frame.nb_samples * channels; ++i) {
            const uint8_t *plane = frame.extended_data[frame.format == AV_SAMPLE_FMT_S16 ? 0 : i % channels];
            const int at = frame.format == AV_SAMPLE_FMT_S16 ? i : i / channels;
            const long value = frame.format == AV_SAMPLE_FMT_FLTP
                                   ? lrintf(reinterpret_cast<const float *>(plane)[at] * 32768.0F)
                                   : reinterpret_cast<const int16_t *>(plane)[at];
            samples.push_back(static_cast<int16_t>(std::clamp(value, -32768L, 32767L)));
        }
    });
    return samples;
}
