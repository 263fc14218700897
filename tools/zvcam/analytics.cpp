#include "zvcam/analytics.h"

#include <algorithm>

namespace zvcam {
namespace {

using Record = std::vector<uint8_t>;

constexpr int kResultV1 = 0, kRuleV1 = 1, kResultV2 = 16, kRuleV2 = 17;  // kinds of records
constexpr uint8_t kUserData = 5, kTrailingBits = 0x80;                   // an SEI message; the end of its unit
constexpr size_t kRulesV1 = 8, kPointsV1 = 7, kPointsV2 = 16;
constexpr double kRulesEvery = 1;  // seconds
// 0x00RRGGBB, by the numbers that version 2 gives colours
constexpr uint32_t kRgb[] = {0,        0x404040, 0xC0C0C0, 0xFFFFFF, 0x000000, 0xFF0000, 0x00FF00,
                             0x0000FF, 0xFFA500, 0x800080, 0xFFC0CB, 0xFFFF00, 0xA52A2A, 0x808080};

void Put(Record *record, uint32_t value, int bytes = 4) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) record->push_back(static_cast<uint8_t>(value >> shift));
}

Record HeadV2(size_t count, uint16_t hold) {
    Record record;
    Put(&record, 1);  // channel
    Put(&record, 1);  // analytics are on
    Put(&record, static_cast<uint32_t>(count), 2);
    Put(&record, hold, 2);
    return record;
}

Record RulesV2(const Scene &scene) {
    Record record = HeadV2(scene.rules.size(), scene.rule_hold);
    for (const SceneRule &rule : scene.rules) {
        Put(&record, rule.id);
        Put(&record, rule.triggered);
        Put(&record, rule.area);
        Put(&record, rule.direction);
        for (size_t i = 0; i < kPointsV2; ++i) {
            for (size_t k = 0; k < 2; ++k) Put(&record, i < rule.points.size() ? rule.points[i][k] : 0, 2);
        }
        Put(&record, static_cast<uint32_t>(rule.points.size()));
        Put(&record, rule.color);
        Put(&record, rule.fill);
        Put(&record, rule.alpha);
        Put(&record, rule.fill_alpha);
        Put(&record, 0);  // no attachment
        Put(&record, 0);
    }
    return record;
}

Record ResultV2(const Scene &scene, double seconds) {
    Record record = HeadV2(scene.boxes.size(), scene.hold);
    for (const SceneBox &box : scene.boxes) {
        Put(&record, box.id);
        Put(&record, box.rule);
        for (const uint16_t value : BoxAt(box, seconds)) Put(&record, value, 2);
        Put(&record, box.color);
        Put(&record, box.alpha);
        Put(&record, 0);  // no trail
        Put(&record, 0);  // no attachment
        Put(&record, 0);
    }
    return record;
}

/** Lines have a direction that they forbid, areas too: 0 and 1, or 2 for neither. */
uint32_t DirectionV1(const SceneRule &rule) {
    constexpr uint32_t kClockwise = 2, kEntering = 4;
    const uint32_t first = rule.area ? kEntering : kClockwise;
    return rule.direction == first ? 0 : rule.direction == first + 1 ? 1 : 2;
}

Record RulesV1(const Scene &scene) {
    Record record;
    for (const uint32_t value : {1, 1, 25, 0}) Put(&record, value);  // channel, on, rate, shadows
    for (size_t i = 0; i < kRulesV1; ++i) {
        const bool there = i < scene.rules.size();
        const SceneRule &rule = there ? scene.rules[i] : SceneRule();
        Put(&record, 1);  // channel
        Put(&record, rule.id);
        Put(&record, there);
        Put(&record, rule.area);
        record.insert(record.end(), 36, 0);  // no size filter
        Put(&record, DirectionV1(rule));
        Put(&record, static_cast<uint32_t>(rule.points.size()));
        for (size_t k = 0; k < kPointsV1 * 2; ++k) {
            Put(&record, k / 2 < rule.points.size() ? rule.points[k / 2][k % 2] : 0);
        }
        Put(&record, kRgb[rule.color]);
        Put(&record, 0);
    }
    return record;
}

/** How many targets there are. What is known of each has no common form: its box in four words. */
Record ResultV1(const Scene &scene, double seconds) {
    Record record;
    Put(&record, static_cast<uint32_t>(scene.boxes.size()));
    for (size_t i = 0; i < kRulesV1; ++i) Put(&record, i == 0 ? static_cast<uint32_t>(scene.boxes.size()) : 0);
    for (const SceneBox &box : scene.boxes) {
        for (const uint16_t value : BoxAt(box, seconds)) Put(&record, value);
    }
    return record;
}

/** A private SEI message in a unit of its own (H.264 and H.265, 7.3.2.3 and 7.4.1). Its size counts the emulation
 *  prevention bytes, as this platform's cameras do. */
Record SeiUnit(bool h265, int kind, const Record &body) {
    Record raw;
    raw.push_back(static_cast<uint8_t>(kind == kResultV2 ? 32 : 33));  // subtype
    int zeros = 0;
    for (const uint8_t byte : body) {
        if (zeros >= 2 && byte <= 3) {
            raw.push_back(3);
            zeros = 0;
        }
        zeros = byte == 0 ? zeros + 1 : 0;
        raw.push_back(byte);
    }
    Record unit = h265 ? Record{39 << 1, 1} : Record{6};
    unit.push_back(kUserData);
    size_t left = raw.size();
    for (; left >= 255; left -= 255) unit.push_back(255);
    unit.push_back(static_cast<uint8_t>(left));
    unit.insert(unit.end(), raw.begin(), raw.end());
    unit.push_back(kTrailingBits);
    return unit;
}

/** Kind and length, then the body: no scene fills more than one segment. */
Record DataFrame(int kind, const Record &body) {
    Record frame = {static_cast<uint8_t>(kind)};
    Put(&frame, static_cast<uint32_t>(body.size()), 2);
    frame.insert(frame.end(), body.begin(), body.end());
    return frame;
}

}  // namespace

std::unique_ptr<Analytics> Analytics::Open(const std::string &path, bool h265, Failure *failure) {
    tools::Json json;
    Scene scene;
    if (!tools::ReadJsonFile(path, &json, failure) || !ReadScene(path, json, &scene, failure)) return nullptr;
    return std::make_unique<Analytics>(std::move(scene), h265);
}

void Analytics::Add(int kind, const Record &body) {
    if (scene_.as_data) data_.push_back(DataFrame(kind, body));
    if (scene_.as_sei) units_.push_back(SeiUnit(h265_, kind, body));
}

void Analytics::Next(double seconds, bool key) {
    data_.clear();
    units_.clear();
    const bool first = scene_.version == 1;
    if (!scene_.rules.empty() && (key || seconds >= rules_due_)) {
        Add(first ? kRuleV1 : kRuleV2, first ? RulesV1(scene_) : RulesV2(scene_));
        rules_due_ = seconds + kRulesEvery;
    }
    if (!scene_.boxes.empty() && pictures_ % scene_.every == 0) {
        Add(first ? kResultV1 : kResultV2, first ? ResultV1(scene_, seconds) : ResultV2(scene_, seconds));
    }
    ++pictures_;
}

}  // namespace zvcam
