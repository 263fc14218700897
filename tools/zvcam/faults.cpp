#include "zvcam/faults.h"

#include <utility>

namespace zvcam {

bool FaultLine::Lose() {
    if (losing_ == 0 && dice_.Falls(options_.loss)) losing_ = options_.loss_burst;
    if (losing_ == 0) return false;
    --losing_;
    ++counters_.lost;
    return true;
}

void FaultLine::Harm(Packet *packet) {
    if (packet->size() < 2) return;
    if (dice_.Falls(options_.truncate)) {
        packet->resize(1 + dice_.Below(packet->size() - 1));
        ++counters_.truncated;
    }
    if (dice_.Falls(options_.damage)) {
        const size_t begin = dice_.Below(packet->size());
        for (size_t i = 0, count = 1 + dice_.Below(3); i < count && begin + i < packet->size(); ++i) {
            (*packet)[begin + i] ^= static_cast<uint8_t>(1 + dice_.Below(255));
        }
        ++counters_.damaged;
    }
}

void FaultLine::Emit(Packet packet, std::vector<Packet> *out) {
    if (dice_.Falls(options_.duplicate)) {
        ++counters_.duplicated;
        out->push_back(packet);
    }
    out->push_back(std::move(packet));
}

void FaultLine::Pass(Packet packet, std::vector<Packet> *out) {
    if (Lose()) return;
    Harm(&packet);
    if (held_.empty() && dice_.Falls(options_.reorder)) {
        overtakers_ = 1 + dice_.Below(options_.reorder_depth);
        held_ = std::move(packet);
        return;
    }
    Emit(std::move(packet), out);
    if (held_.empty() || --overtakers_ > 0) return;
    ++counters_.reordered;
    Emit(std::exchange(held_, {}), out);
}

void FaultLine::Finish(std::vector<Packet> *out) {
    if (!held_.empty()) Emit(std::exchange(held_, {}), out);
}

}  // namespace zvcam
