#include "zvcam/scrambler.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>

#include "codec/zvrsa.h"
#include "common/access_units.h"
#include "seal/seal.h"
#include "zvcam/units.h"

namespace zvcam {
namespace {

constexpr size_t kClear = 16;      // bytes of the first slice that stay as they are
constexpr size_t kMost = 1000000;  // players can't restore pictures of this size and above
constexpr uint8_t kSubtypeRandom = 20, kSubtypeKey = 36, kSubtypeFileKey = 37;
constexpr uint8_t kPayloadUserData = 5;
constexpr char kSalt[] = "MorvaQ";
constexpr int kTries = 1000;

/** Bytes that would be taken for a start code, or for emulation prevention. */
bool HasRun(Bytes data) {
    for (size_t i = 2; i < data.size(); ++i) {
        if (data[i - 2] == 0 && data[i - 1] == 0 && data[i] <= 3) return true;
    }
    return false;
}

/** The byte that a master key and a random number give. */
uint8_t DeriveByte(const std::array<uint8_t, 4> &master, const std::array<uint8_t, 4> &random) {
    std::vector<uint8_t> message(master.begin(), master.end());
    message.insert(message.end(), random.begin(), random.end());
    message.insert(message.end(), kSalt, kSalt + std::strlen(kSalt));
    uint8_t digest[ZVRSA_MD5_LEN];
    BP_MD5_Calc(message.data(), message.size(), digest);
    const uint8_t low = static_cast<uint8_t>(digest[3] + digest[7] + digest[11] + digest[15]);
    return (low & 15) == 0 ? low | 15 : low;
}

}  // namespace

bool Scrambler::Refuse(const std::string &why) {
    complaint_ = why;
    return false;
}

/** Players look for one kind of key picture and one of P pictures. */
bool Scrambler::CheckSlices(const std::vector<Bytes> &units, bool key) {
    const int wanted = h265_ ? (key ? 19 : 1) : (key ? 5 : 1);
    for (const Bytes unit : units) {
        const int type = h265_ ? tools::UnitTypeH265(unit) : tools::UnitTypeH264(unit);
        if (IsSlice(unit, h265_) && type != wanted) {
            return Refuse("a picture of unit type " + std::to_string(type) + " can't be scrambled" +
                          (h265_ ? "; encode without B pictures" : ""));
        }
    }
    return true;
}

/** A new master key, and its sealed forms, which stand in the stream without emulation prevention. */
bool Scrambler::NewMasterKey() {
    for (int tries = 0; tries < kTries; ++tries) {
        std::generate(master_.begin(), master_.end(), [this] { return static_cast<uint8_t>(dice_()); });
        std::array<uint8_t, 16> block = {};
        std::copy(master_.begin(), master_.end(), block.begin());
        if (!options_.rsa_key.modulus.empty()) {
            sealed_live_ = Seal_Rsa(options_.rsa_key.modulus, options_.rsa_key.exponent, master_);
            if (sealed_live_.empty()) return Refuse("the RSA key can't encrypt");
        }
        if (!options_.password.empty()) sealed_file_ = Seal_Block(options_.password, block);
        if (!HasRun(sealed_live_) && !HasRun(sealed_file_)) return true;
    }
    return Refuse("no key found that can stand in the stream");
}

bool Scrambler::BeginGroup() {
    if (groups_++ % std::max(options_.key_groups, 1U) == 0 && !NewMasterKey()) return false;
    // Without zeros, so that the message needs no emulation prevention.
    std::generate(random_.begin(), random_.end(), [this] { return static_cast<uint8_t>(1 + dice_() % 255); });
    xor_byte_ = DeriveByte(master_, random_);
    return true;
}

void Scrambler::AppendMessage(const std::vector<uint8_t> &subtype_and_data) {
    std::vector<uint8_t> &unit = made_.emplace_back(SeiHead(h265_));
    unit.push_back(kPayloadUserData);
    unit.push_back(static_cast<uint8_t>(subtype_and_data.size()));
    unit.insert(unit.end(), subtype_and_data.begin(), subtype_and_data.end());
    unit.push_back(0x80);
}

void Scrambler::AppendKeyMessages() {
    const auto key = [this](uint8_t subtype, const std::vector<uint8_t> &sealed) {
        std::vector<uint8_t> message = {subtype};
        message.insert(message.end(), sealed.begin(), sealed.end());
        if (!sealed.empty()) AppendMessage(message);
    };
    key(kSubtypeKey, sealed_live_);
    key(kSubtypeFileKey, sealed_file_);
    AppendMessage({kSubtypeRandom, 3, 0, random_[0], random_[1], random_[2], random_[3]});
}

/** All from the first slice on becomes one unit: what stands behind its clear bytes shows no start code any more. */
void Scrambler::AppendSlices(std::vector<Bytes>::const_iterator from, std::vector<Bytes>::const_iterator to) {
    std::vector<uint8_t> plain(from->begin(), from->end());
    for (++from; from != to; ++from) {
        plain.insert(plain.end(), {0, 0, 0, 1});
        plain.insert(plain.end(), from->begin(), from->end());
    }
    // A unit must not end with a zero byte; a zero behind the picture doesn't belong to it.
    if (plain.size() > kClear && plain.back() == xor_byte_) plain.push_back(0);
    std::vector<uint8_t> &unit = made_.emplace_back();
    const size_t clear = std::min(kClear, plain.size());
    unit.assign(plain.begin(), plain.begin() + static_cast<ptrdiff_t>(clear));
    for (uint8_t &byte : plain) byte ^= xor_byte_;
    AppendEscaped(Bytes(plain).subspan(clear), &unit);
}

bool Scrambler::Apply(std::vector<Bytes> *units, bool key) {
    const auto slice =
        std::find_if(units->cbegin(), units->cend(), [this](Bytes unit) { return IsSlice(unit, h265_); });
    if (slice == units->cend()) return Refuse("a picture without a slice");
    if (!CheckSlices(*units, key) || (key && !BeginGroup())) return false;
    if (xor_byte_ == 0) return Refuse("the stream begins without a key picture");
    made_.clear();
    const auto head = std::find_if(units->cbegin(), slice, [this](Bytes unit) { return !IsHead(unit, h265_); });
    if (key) AppendKeyMessages();
    AppendSlices(slice, units->cend());
    std::vector<Bytes> result(units->cbegin(), head);
    result.insert(result.end(), made_.begin(), made_.end() - 1);
    result.insert(result.end(), head, slice);
    result.push_back(made_.back());
    const auto add = [](size_t size, Bytes unit) { return size + 4 + unit.size(); };
    const size_t size = std::accumulate(result.begin(), result.end(), size_t{0}, add);
    if (size >= kMost) return Refuse("a picture of " + std::to_string(size) + " bytes is too large to be scrambled");
    *units = std::move(result);
    return true;
}

}  // namespace zvcam
