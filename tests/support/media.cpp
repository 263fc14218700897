#include "support/media.h"

extern "C" {
#include <libavutil/md5.h>
}

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

std::vector<std::string> ReferenceMd5s(Span stream, AVCodecID codec) {
    AVCodecContext *context = avcodec_alloc_context3(avcodec_find_decoder(codec));
    context->thread_count = 1;
    std::vector<std::string> sums;
    if (avcodec_open2(context, nullptr, nullptr) == 0) {
        AVFrame *frame = av_frame_alloc();
        AVPacket *packet = av_packet_alloc();
        std::vector<Span> units = SplitAccessUnits(stream, codec);
        units.emplace_back();
        for (const Span &unit : units) {
            if (!unit.empty() && av_new_packet(packet, static_cast<int>(unit.size())) == 0) {
                std::memcpy(packet->data, unit.data(), unit.size());
            }
            avcodec_send_packet(context, unit.empty() ? nullptr : packet);
            av_packet_unref(packet);
            while (avcodec_receive_frame(context, frame) == 0) {
                sums.push_back(PictureMd5(frame->data, frame->linesize, frame->width, frame->height));
            }
        }
        av_packet_free(&packet);
        av_frame_free(&frame);
    }
    avcodec_free_context(&context);
    return sums;
}
