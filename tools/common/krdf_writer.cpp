#include "common/krdf_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

namespace tools {
namespace {

constexpr uint64_t kMainIndex = 0x4000, kFirstUnit = 0x14000, kUnit = 0x10000000;
constexpr uint32_t kBlock = 16384, kBlocksAUnit = kUnit / kBlock, kMostBlocks = 1023, kMostUnits = 16;
constexpr uint32_t kSuperData = 144, kIndexInfo = 16, kMainEntry = 8, kSubEntry = 16;
constexpr size_t kPacketFrame = 24 + 4;  // head and tail

void Put(uint64_t value, size_t bytes, std::vector<uint8_t> *to) {
    for (size_t i = 0; i < bytes; ++i) to->push_back(static_cast<uint8_t>(value >> 8 * i));
}

/** An index info: the number of entries plus one is word 0 of the main index, and word 1 of a sub index. */
std::vector<uint8_t> IndexInfo(uint32_t entries, bool main) {
    std::vector<uint8_t> info;
    Put(main ? entries + 1 : 0, 4, &info);
    Put(main ? 0 : entries + 1, 4, &info);
    Put(0, 8, &info);
    return info;
}

}  // namespace

KrdfWriter::~KrdfWriter() {
    if (file_ >= 0) close(file_);
}

bool KrdfWriter::WriteAt(uint64_t place, const std::vector<uint8_t> &data, Failure *failure) {
    for (size_t done = 0; done < data.size();) {
        const ssize_t wrote = pwrite(file_, data.data() + done, data.size() - done, static_cast<off_t>(place + done));
        if (wrote > 0) {
            done += static_cast<size_t>(wrote);
        } else if (errno != EINTR) {
            *failure = {kExitSource, path_ + ": it can't be written: " + std::strerror(errno), "is the disk full?"};
            return false;
        }
    }
    return true;
}

bool KrdfWriter::Open(const std::string &path, const KrdfLayout &layout, Failure *failure) {
    path_ = path;
    layout_ = layout;
    file_ = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file_ < 0) {
        *failure = {kExitSource, path + ": it can't be created: " + std::strerror(errno), ""};
        return false;
    }
    std::vector<uint8_t> super_data;
    Put(0x1367, 4, &super_data);
    super_data.resize(kSuperData);
    return WriteAt(0, super_data, failure) && WriteAt(layout_.base + kMainIndex, IndexInfo(0, true), failure);
}

uint64_t KrdfWriter::UnitPlace() const { return layout_.base + kFirstUnit + (unit_ - 1) * kUnit; }

/** Two words; the upper bits of the second are the index entry's or the packet head's. */
void KrdfWriter::PutTime(uint64_t seconds, uint32_t second_bits, std::vector<uint8_t> *to) const {
    const time_t clock = static_cast<time_t>(seconds);
    tm date = {};
    gmtime_r(&clock, &date);
    Put(static_cast<uint32_t>(date.tm_year + 1900) | static_cast<uint32_t>(date.tm_mon + 1) << 12 |
            static_cast<uint32_t>(date.tm_mday) << 16 | static_cast<uint32_t>(date.tm_hour) << 21 |
            static_cast<uint32_t>(date.tm_min) << 26,
        4, to);
    Put(static_cast<uint32_t>(date.tm_sec) | second_bits, 4, to);
}

void KrdfWriter::PutPacket(const KrdfFrame &frame, Bytes payload, bool first, bool last) {
    Put(0x1357, 4, &group_);
    PutTime(frame.seconds, 0, &group_);
    const unsigned flags =
        (frame.video ? 0u : 1u) | (first ? 2u : 0u) | (frame.video ? frame.kind & 3u : 0u) << 2 | (last ? 0x80u : 0u);
    Put(flags, 1, &group_);
    Put(layout_.rate & 31, 1, &group_);
    Put(packets_++, 2, &group_);
    Put(0, 1, &group_);
    Put(frame.stream, 1, &group_);
    Put(payload.size(), 2, &group_);
    Put(frame.video ? pictures_ : sounds_, 4, &group_);
    group_.insert(group_.end(), payload.begin(), payload.end());
    Put(0x1358, 4, &group_);
}

bool KrdfWriter::Add(const KrdfFrame &frame, Failure *failure) {
    if (frame.video && frame.begins) {
        if (!FinishGroup(failure)) return false;
        Put(0x2006, 4, &group_);
        Put(0, 4, &group_);  // its length, when it is known
        group_begin_ = frame.seconds;
    }
    if (group_.empty() || frame.data.empty()) return true;
    const size_t packets = (frame.data.size() + layout_.payload - 1) / layout_.payload;
    if (group_.size() + frame.data.size() + packets * kPacketFrame > size_t{kMostBlocks} * kBlock) {
        *failure = {kExitSource, path_ + ": a group of pictures is larger than 16 MiB", "use more key frames"};
        return false;
    }
    for (size_t at = 0; at < frame.data.size(); at += layout_.payload) {
        const size_t size = std::min<size_t>(layout_.payload, frame.data.size() - at);
        PutPacket(frame, frame.data.subspan(at, size), at == 0, at + size == frame.data.size());
    }
    ++(frame.video ? pictures_ : sounds_);
    return true;
}

bool KrdfWriter::BeginUnit(Failure *failure) {
    if (unit_ == kMostUnits) {
        *failure = {kExitSource, path_ + ": the record is full", "a record has 16 units of 256 MiB"};
        return false;
    }
    ++unit_;
    groups_ = 0;
    next_block_ = layout_.index_blocks;
    std::vector<uint8_t> entry;
    PutTime(group_begin_, 0, &entry);
    return WriteAt(layout_.base + kMainIndex + kIndexInfo + uint64_t{unit_ - 1} * kMainEntry, entry, failure);
}

/** Writes the group under way behind the others, or in another unit, and then names it in the indexes. */
bool KrdfWriter::FinishGroup(Failure *failure) {
    if (group_.empty()) return true;
    const uint32_t size = static_cast<uint32_t>(group_.size()), blocks = (size + kBlock - 1) / kBlock;
    for (size_t i = 0; i < 4; ++i) group_[4 + i] = static_cast<uint8_t>(size >> 8 * i);
    const uint32_t most = (layout_.index_blocks * kBlock - kIndexInfo) / kSubEntry;
    const bool full = unit_ == 0 || next_block_ + blocks > kBlocksAUnit || groups_ == most ||
                      (layout_.groups_a_unit > 0 && groups_ >= layout_.groups_a_unit);
    if (full && !BeginUnit(failure)) return false;
    std::vector<uint8_t> entry;
    PutTime(group_begin_, blocks << 8 | next_block_ << 18, &entry);
    Put(0, 8, &entry);
    const uint64_t unit = UnitPlace();
    const bool wrote = WriteAt(unit + uint64_t{next_block_} * kBlock, group_, failure) &&
                       WriteAt(unit + kIndexInfo + uint64_t{groups_} * kSubEntry, entry, failure) &&
                       WriteAt(unit, IndexInfo(groups_ + 1, false), failure) &&
                       (!full || WriteAt(layout_.base + kMainIndex, IndexInfo(unit_, true), failure));
    next_block_ += blocks;
    ++groups_;
    ++all_groups_;
    group_.clear();
    return wrote;
}

bool KrdfWriter::Close(Failure *failure) {
    const bool wrote = FinishGroup(failure);
    const uint64_t end = unit_ > 0 ? UnitPlace() + uint64_t{next_block_} * kBlock : layout_.base + kFirstUnit;
    const bool closed = ftruncate(file_, static_cast<off_t>(end)) == 0 && close(file_) == 0;
    file_ = -1;
    if (wrote && !closed) *failure = {kExitSource, path_ + ": it can't be written: " + std::strerror(errno), ""};
    return wrote && closed;
}

}  // namespace tools
