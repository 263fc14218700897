#include "zvcloud/blocks.h"

#include <algorithm>
#include <filesystem>

#include "file/module_file.h"
#include "zvcam/packets.h"

namespace zvcloud {
namespace {

constexpr double kTicks = 90000;
constexpr uint64_t kClockMask = (uint64_t{1} << 33) - 1;

/** Pictures that zvcam's encoder or a file gives, packed by the library's own writer. */
class EncodedBlocks : public BlockSource {
 public:
    EncodedBlocks(std::unique_ptr<zvcam::Media> media)
        : media_(std::move(media)), maker_(zvcam::MakeTs(media_->Info())) {}

    bool Next(Block *block) override {
        zvcam::Frame frame;
        std::vector<zvcam::Packet> packets;
        if (!media_->Next(&frame) || !maker_->Make(frame, &packets)) return false;
        block->packets.clear();
        for (const zvcam::Packet &packet : packets) {
            block->packets.insert(block->packets.end(), packet.begin(), packet.end());
        }
        block->key = frame.video && frame.key;
        block->seconds = frame.due;
        return true;
    }

 private:
    std::unique_ptr<zvcam::Media> media_;
    std::unique_ptr<zvcam::PacketMaker> maker_;
};

/** A recording, packet for packet. Its clock may wrap; sound and pictures share it. */
class RecordedBlocks : public BlockSource {
 public:
    ~RecordedBlocks() override { File_ReleaseTsParser(&file_); }

    bool Open(const std::string &path, Failure *failure) {
        if (File_CreateTsParser(path.c_str(), &file_) == PLAYER_ERR_OK) return true;
        *failure = {kExitSource, path + ": no recording of MPEG-TS", "zvprobe tells what is in the file"};
        return false;
    }

    bool Next(Block *block) override {
        ULONG_32 length = 0;
        if (TS_GetOneFrameData(file_.pFile, FRAME_CTRL_PLAY, buffer_.data(), &length) != PLAYER_ERR_OK) return false;
        block->packets.assign(buffer_.begin(), buffer_.begin() + length);
        block->key = TS_IsPATFrame(buffer_.data()) == 1;
        for (ULONG_32 at = 0; at < length; at += TS_PACKET_SIZE) {
            USHORT pid = 0;
            DULONG clock = 0;
            if (TS_GetPCR(buffer_.data() + at, &pid, &clock) == PLAYER_ERR_OK) {
                seconds_ = static_cast<double>((clock - file_.dulFirstTime) & kClockMask) / kTicks;
                break;
            }
        }
        block->seconds = seconds_;
        return true;
    }

 private:
    FILE_INFO_S file_ = {};
    std::vector<uint8_t> buffer_ = std::vector<uint8_t>(VIDEO_FRAME_BUFFER_SIZE);
    double seconds_ = 0;
};

std::unique_ptr<BlockSource> OpenEncoded(const Options &options, Failure *failure) {
    zvcam::Options camera;
    camera.file = options.file;
    camera.seconds = options.seconds;
    camera.fast = true;
    camera.size = options.size;
    camera.bit_rate = options.bit_rate;
    camera.gop = 25;
    camera.fps = 25;
    camera.audio = options.file.empty() ? zvcam::kG711u : zvcam::kNoAudio;
    std::unique_ptr<zvcam::Media> media = zvcam::Media::Open(camera, failure);
    return media != nullptr ? std::make_unique<EncodedBlocks>(std::move(media)) : nullptr;
}

}  // namespace

std::unique_ptr<BlockSource> BlockSource::Open(const Options &options, Failure *failure) {
    if (std::filesystem::path(options.file).extension() != ".ts") return OpenEncoded(options, failure);
    auto blocks = std::make_unique<RecordedBlocks>();
    return blocks->Open(options.file, failure) ? std::move(blocks) : nullptr;
}

}  // namespace zvcloud
