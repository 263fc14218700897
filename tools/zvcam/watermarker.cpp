#include "zvcam/watermarker.h"

#include <algorithm>

#include "zvcam/units.h"

namespace zvcam {
namespace {

constexpr uint8_t kPayloadH264 = 26, kPayloadH265 = 232;
constexpr size_t kLeastText = 32;  // both halves together carry emulation prevention from 33 bytes on
constexpr size_t kStep = 128;      // bytes from one sampling pass to the next
constexpr size_t kPassesH265 = 16;

}  // namespace

Watermarker::Watermarker(const std::string &text, bool h265) : text_(text.substr(0, kMostMarkText)), h265_(h265) {
    text_.resize(std::max(text_.size(), kLeastText), ' ');
}

/** All bytes from behind the first slice's header to the end of the frame, as a file has them. */
bool Watermarker::Sample(const std::vector<Bytes> &units, std::string *mark) const {
    std::vector<uint8_t> body;
    for (const Bytes unit : units) {
        if (body.empty() && !IsSlice(unit, h265_)) continue;
        if (!body.empty()) body.insert(body.end(), {0, 0, 0, 1});
        body.insert(body.end(), unit.begin(), unit.end());
    }
    const size_t head = h265_ ? 2 : 1, passes = h265_ ? kPassesH265 : text_.size();
    if (body.size() < head + (passes - 1) * kStep + text_.size()) return false;
    *mark = text_;
    for (size_t pass = 0; pass < passes; ++pass) {
        for (size_t k = 0; k < mark->size(); ++k) {
            (*mark)[k] = static_cast<char>((*mark)[k] ^ static_cast<char>(body[head + pass * kStep + k]));
        }
    }
    return true;
}

bool Watermarker::Apply(std::vector<Bytes> *units) {
    std::string mark;
    const auto slice = std::find_if(units->begin(), units->end(), [this](Bytes unit) { return IsSlice(unit, h265_); });
    if (slice == units->end() || !Sample(*units, &mark)) return false;
    const std::string both = text_ + mark;
    std::vector<uint8_t> payload;
    AppendEscaped({reinterpret_cast<const uint8_t *>(both.data()), both.size()}, &payload);
    message_ = SeiHead(h265_);
    message_.push_back(h265_ ? kPayloadH265 : kPayloadH264);
    message_.insert(message_.end(), payload.size() / 255, 255);
    message_.push_back(static_cast<uint8_t>(payload.size() % 255));
    message_.insert(message_.end(), payload.begin(), payload.end());
    message_.push_back(0x80);
    units->insert(slice, Bytes(message_));
    return true;
}

}  // namespace zvcam
