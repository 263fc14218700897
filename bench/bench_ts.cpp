/**
 * @file bench_ts.cpp
 * @brief TS_Unpack over blocks of one frame, beside a bare walk over the same packets and libavformat reading the same
 *        elementary content from a stream of its own muxer. All read from memory; rates count elementary bytes.
 */
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "intake/module_ts.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

constexpr size_t FRAME_COUNT = 50;  // 1 MB, as warm in the caches as packets that have just been received
constexpr size_t KEY_INTERVAL = 25;
constexpr size_t KEY_LEN = 90000;
constexpr size_t OTHER_LEN = 16000;
constexpr size_t DELIMITER_LEN = 6;  // access unit delimiter that the mux puts ahead of each frame
constexpr int TICKS = 3600;

using BYTES = std::vector<UCHAR>;

[[noreturn]] void Fail(const char *pcWhat) {
    fprintf(stderr, "bench_ts: %s\n", pcWhat);
    exit(1);
}

struct CONTENT {
    std::vector<BYTES> astFrame;  // elementary stream: an access unit each
    std::vector<BYTES> astBlock;  // the same in the dialect's packets
    BYTES stForeign;              // the same by libavformat's muxer
    size_t ulEsLen = 0;
};

bool IsKey(size_t i) { return i % KEY_INTERVAL == 0; }

/** An access unit that looks like H.264 from outside; no byte in it is 0, so no start code arises. */
BYTES MakeFrame(size_t i, std::mt19937 &stRandom) {
    BYTES stFrame = {0, 0, 0, 1, 9, 0xF0, 0, 0, 0, 1, static_cast<UCHAR>(IsKey(i) ? 0x65 : 0x41)};
    const size_t ulLen = (IsKey(i) ? KEY_LEN : OTHER_LEN) + stRandom() % 2000;
    while (stFrame.size() < ulLen) {
        stFrame.push_back(static_cast<UCHAR>(1 + stRandom() % 255));
    }
    return stFrame;
}

BYTES PackFrame(BYTES &stData, size_t i, TS_PACKET_DEC_S &stDec) {
    TS_FRAMEDATA_S stFrame = {};
    stFrame.pucData = stData.data();
    stFrame.lDataLen = static_cast<LONG_32>(stData.size());
    stFrame.lPayload = PLAYER_PAYLOAD_H264;
    stFrame.lFormatType = IsKey(i) ? 0 : 1;
    stFrame.dulTimestamp = i * TICKS;
    ULONG_32 ulResult = TS_PackFirstPacket(&stFrame, &stDec);
    while (ulResult == PLAYER_ERR_PACK_AGAIN) {
        ulResult = TS_PackOtherPacket(&stFrame, &stDec);
    }
    if (ulResult != PLAYER_ERR_OK) {
        Fail("packing failed");
    }
    const UCHAR *pucBlock = reinterpret_cast<const UCHAR *>(stDec.szPacketBuff);
    BYTES stBlock(pucBlock, pucBlock + stDec.ulPacketDataLen);
    stDec.ulPacketDataLen = stDec.ulEsPacketDataLen = 0;
    return stBlock;
}

int AppendOutput(void *pOpaque, uint8_t *pucData, int lLen) {
    BYTES &stOut = *static_cast<BYTES *>(pOpaque);
    stOut.insert(stOut.end(), pucData, pucData + lLen);
    return lLen;
}

BYTES MuxForeign(std::vector<BYTES> &astFrame) {
    BYTES stOut;
    AVFormatContext *pstMux = nullptr;
    if (avformat_alloc_output_context2(&pstMux, nullptr, "mpegts", nullptr) < 0) {
        Fail("no mpegts muxer");
    }
    constexpr int lBuffer = 65536;
    pstMux->pb = avio_alloc_context(static_cast<UCHAR *>(av_malloc(lBuffer)), lBuffer, 1, &stOut, nullptr, AppendOutput,
                                    nullptr);
    AVStream *pstStream = avformat_new_stream(pstMux, nullptr);
    pstStream->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    pstStream->codecpar->codec_id = AV_CODEC_ID_H264;
    if (avformat_write_header(pstMux, nullptr) < 0) {
        Fail("no mpegts head");
    }
    AVPacket *pstPacket = av_packet_alloc();
    for (size_t i = 0; i < astFrame.size(); ++i) {
        pstPacket->data = astFrame[i].data();
        pstPacket->size = static_cast<int>(astFrame[i].size());
        pstPacket->pts = pstPacket->dts = static_cast<int64_t>(i) * TICKS;
        pstPacket->flags = IsKey(i) ? AV_PKT_FLAG_KEY : 0;
        if (av_write_frame(pstMux, pstPacket) < 0) {
            Fail("libavformat refused a frame");
        }
    }
    av_write_trailer(pstMux);
    avio_flush(pstMux->pb);
    av_packet_free(&pstPacket);
    av_freep(&pstMux->pb->buffer);
    avio_context_free(&pstMux->pb);
    avformat_free_context(pstMux);
    return stOut;
}

const CONTENT &Content() {
    static const CONTENT stContent = [] {
        CONTENT stMade;
        std::mt19937 stRandom(1);
        auto pstDec = std::make_unique<TS_PACKET_DEC_S>();
        pstDec->lVideoType = PLAYER_PAYLOAD_H264;
        pstDec->lAudioTyp = PLAYER_PAYLOAD_NULL;
        pstDec->lElemType = PLAYER_PAYLOAD_NULL;
        TS_CreatePAT(pstDec.get());
        TS_CreatePMT(pstDec.get());
        for (size_t i = 0; i < FRAME_COUNT; ++i) {
            stMade.astFrame.push_back(MakeFrame(i, stRandom));
            stMade.astBlock.push_back(PackFrame(stMade.astFrame.back(), i, *pstDec));
            stMade.ulEsLen += stMade.astFrame.back().size();
        }
        stMade.stForeign = MuxForeign(stMade.astFrame);
        return stMade;
    }();
    return stContent;
}

bool Same(const BYTES &stFrame, const UCHAR *pucData, size_t ulLen) {
    return stFrame.size() == ulLen && memcmp(stFrame.data(), pucData, ulLen) == 0;
}

UCHAR *FrameBuffer() {
    static BYTES stBuffer(VIDEO_FRAME_BUFFER_SIZE, 1);
    return stBuffer.data();
}

// ---- ours -----------------------------------------------------------------------------------------------------------

ULONG_32 Unpack(const BYTES &stBlock, TS_STREAM_INFO_S &stStream) {
    return TS_Unpack(const_cast<CHAR *>(reinterpret_cast<const CHAR *>(stBlock.data())),
                     static_cast<ULONG_32>(stBlock.size()), &stStream);
}

void CheckUnpack(const CONTENT &stContent) {
    TS_STREAM_INFO_S stStream = {};
    stStream.pucFrameData = FrameBuffer();
    for (size_t i = 0; i < FRAME_COUNT; ++i) {
        if (Unpack(stContent.astBlock[i], stStream) != PLAYER_ERR_OK || stStream.lPayload != PLAYER_PAYLOAD_H264 ||
            stStream.dulPCR != i * TICKS || stStream.lFrameType != (IsKey(i) ? 0 : 1) ||
            !Same(stContent.astFrame[i], stStream.pucFrameData + DELIMITER_LEN, stStream.ulFrameLen - DELIMITER_LEN)) {
            Fail("TS_Unpack gave another frame");
        }
    }
}

void BM_Unpack(benchmark::State &stState) {
    const CONTENT &stContent = Content();
    CheckUnpack(stContent);
    TS_STREAM_INFO_S stStream = {};
    stStream.pucFrameData = FrameBuffer();
    for (auto _ : stState) {
        for (const BYTES &stBlock : stContent.astBlock) {
            benchmark::DoNotOptimize(Unpack(stBlock, stStream));
        }
    }
    stState.SetBytesProcessed(static_cast<int64_t>(stState.iterations() * stContent.ulEsLen));
}

// ---- a bare walk ----------------------------------------------------------------------------------------------------

/** No more than finding each payload and copying it. */
size_t Walk(const BYTES &stBlock, UCHAR *pucTo) {
    size_t ulLen = 0;
    for (size_t i = 0; i + TS_PACKET_SIZE <= stBlock.size(); i += TS_PACKET_SIZE) {
        const UCHAR *pucPacket = stBlock.data() + i;
        size_t ulAt = (pucPacket[3] & 0x20) != 0 ? 5U + pucPacket[4] : 4U;
        if (pucPacket[0] != 0x47 || ulAt >= TS_PACKET_SIZE) {
            return 0;
        }
        memcpy(pucTo + ulLen, pucPacket + ulAt, TS_PACKET_SIZE - ulAt);
        ulLen += TS_PACKET_SIZE - ulAt;
    }
    return ulLen;
}

void BM_Walk(benchmark::State &stState) {
    const CONTENT &stContent = Content();
    for (auto _ : stState) {
        for (const BYTES &stBlock : stContent.astBlock) {
            benchmark::DoNotOptimize(Walk(stBlock, FrameBuffer()));
            benchmark::ClobberMemory();
        }
    }
    stState.SetBytesProcessed(static_cast<int64_t>(stState.iterations() * stContent.ulEsLen));
}

// ---- libavformat ----------------------------------------------------------------------------------------------------

struct MEMORY_INPUT {
    const BYTES &stData;
    size_t ulPos = 0;
};

int ReadInput(void *pOpaque, uint8_t *pucTo, int lLen) {
    MEMORY_INPUT &stInput = *static_cast<MEMORY_INPUT *>(pOpaque);
    const size_t ulLen = std::min(static_cast<size_t>(lLen), stInput.stData.size() - stInput.ulPos);
    memcpy(pucTo, stInput.stData.data() + stInput.ulPos, ulLen);
    stInput.ulPos += ulLen;
    return ulLen != 0 ? static_cast<int>(ulLen) : AVERROR_EOF;
}

int64_t SeekInput(void *pOpaque, int64_t llOffset, int lWhence) {
    MEMORY_INPUT &stInput = *static_cast<MEMORY_INPUT *>(pOpaque);
    const int64_t llSize = static_cast<int64_t>(stInput.stData.size());
    if ((lWhence & AVSEEK_SIZE) != 0) {
        return llSize;
    }
    int64_t llPos = lWhence == SEEK_END ? llSize + llOffset : lWhence == SEEK_CUR ? stInput.ulPos + llOffset : llOffset;
    if (llPos < 0 || llPos > llSize) {
        return AVERROR(EINVAL);
    }
    stInput.ulPos = static_cast<size_t>(llPos);
    return llPos;
}

/** A demuxer with its defaults, or alone: no parser, no filling in of times. */
struct FOREIGN {
    explicit FOREIGN(const BYTES &stData, bool bAlone) : stInput{stData} {
        constexpr int lBuffer = 1 << 20;
        pstIo = avio_alloc_context(static_cast<UCHAR *>(av_malloc(lBuffer)), lBuffer, 0, &stInput, ReadInput, nullptr,
                                   SeekInput);
        pstDemux = avformat_alloc_context();
        pstDemux->pb = pstIo;
        pstDemux->flags |= bAlone ? AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN : 0;
        if (avformat_open_input(&pstDemux, nullptr, av_find_input_format("mpegts"), nullptr) < 0) {
            Fail("libavformat does not open its own stream");
        }
        pstPacket = av_packet_alloc();
    }
    ~FOREIGN() {
        av_packet_free(&pstPacket);
        avformat_close_input(&pstDemux);
        av_freep(&pstIo->buffer);
        avio_context_free(&pstIo);
    }
    MEMORY_INPUT stInput;
    AVIOContext *pstIo = nullptr;
    AVFormatContext *pstDemux = nullptr;
    AVPacket *pstPacket = nullptr;
};

void CheckForeign(const CONTENT &stContent, bool bAlone) {
    FOREIGN stForeign(stContent.stForeign, bAlone);
    size_t ulFrame = 0;
    while (av_read_frame(stForeign.pstDemux, stForeign.pstPacket) >= 0) {
        const AVPacket &stPacket = *stForeign.pstPacket;
        if (ulFrame >= FRAME_COUNT ||
            !Same(stContent.astFrame[ulFrame], stPacket.data, static_cast<size_t>(stPacket.size))) {
            Fail("libavformat gave another frame");
        }
        ++ulFrame;
        av_packet_unref(stForeign.pstPacket);
    }
    if (ulFrame != FRAME_COUNT) {
        Fail("libavformat lost a frame");
    }
}

void ReadForeign(benchmark::State &stState, bool bAlone) {
    const CONTENT &stContent = Content();
    CheckForeign(stContent, bAlone);
    for (auto _ : stState) {
        stState.PauseTiming();
        auto pstForeign = std::make_unique<FOREIGN>(stContent.stForeign, bAlone);
        stState.ResumeTiming();
        while (av_read_frame(pstForeign->pstDemux, pstForeign->pstPacket) >= 0) {
            av_packet_unref(pstForeign->pstPacket);
        }
        stState.PauseTiming();
        pstForeign.reset();
        stState.ResumeTiming();
    }
    stState.SetBytesProcessed(static_cast<int64_t>(stState.iterations() * stContent.ulEsLen));
}

void BM_Libavformat(benchmark::State &stState) { ReadForeign(stState, false); }
void BM_LibavformatNoParser(benchmark::State &stState) { ReadForeign(stState, true); }

// Many short runs: the best of each is what the machine can do when nothing else runs on it.
BENCHMARK(BM_Unpack)->MinTime(0.05)->Repetitions(15);
BENCHMARK(BM_Walk)->MinTime(0.05)->Repetitions(15);
BENCHMARK(BM_Libavformat)->MinTime(0.05)->Repetitions(15);
BENCHMARK(BM_LibavformatNoParser)->MinTime(0.05)->Repetitions(15);

/** The usual table, and the best rates for the ratio below it. */
class Reporter : public benchmark::ConsoleReporter {
 public:
    void ReportRuns(const std::vector<Run> &astRun) override {
        ConsoleReporter::ReportRuns(astRun);
        for (const Run &stRun : astRun) {
            if (stRun.run_type != Run::RT_Iteration) {
                continue;
            }
            auto it = stRun.counters.find("bytes_per_second");
            if (it != stRun.counters.end()) {
                double &dRate = m_mapRate[stRun.run_name.function_name];
                dRate = std::max(dRate, static_cast<double>(it->second));
            }
        }
    }
    double Rate(const std::string &strName) { return m_mapRate[strName]; }

 private:
    std::map<std::string, double> m_mapRate;
};

}  // namespace

int main(int argc, char **argv) {
    av_log_set_level(AV_LOG_QUIET);
    benchmark::Initialize(&argc, argv);
    Reporter stReporter;
    benchmark::RunSpecifiedBenchmarks(&stReporter);
    const double dOurs = stReporter.Rate("BM_Unpack");
    for (const char *pcPeer : {"BM_Libavformat", "BM_LibavformatNoParser", "BM_Walk"}) {
        const double dPeer = stReporter.Rate(pcPeer);
        if (dOurs > 0 && dPeer > 0) {
            printf("TS_Unpack %.0f MB/s, %s %.0f MB/s: ratio %.2f\n", dOurs / 1e6, pcPeer + 3, dPeer / 1e6,
                   dOurs / dPeer);
        }
    }
    return 0;
}
