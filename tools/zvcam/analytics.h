/** Rules and moving boxes that the camera sends beside its pictures, from a JSON file. */
#ifndef ZVCAM_ANALYTICS_H
#define ZVCAM_ANALYTICS_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/failure.h"
#include "common/json_reader.h"

namespace zvcam {

using tools::Failure;

/** A line or an area that is watched. */
struct SceneRule {
    uint32_t id = 0;
    bool area = false;
    bool triggered = false;
    uint32_t direction = 0;  ///< what sets it off, as version 2 numbers it
    std::vector<std::array<uint16_t, 2>> points;
    uint32_t color = 6, fill = 0;  ///< as version 2 numbers colours
    uint32_t alpha = 255, fill_alpha = 64;
};

/** A box that goes to and fro. */
struct SceneBox {
    uint32_t id = 0;
    uint32_t rule = 0;                     ///< that it sets off; 0 for none
    std::array<uint16_t, 4> from{}, to{};  ///< left, top, right, bottom
    double seconds = 4;                    ///< one way
    uint32_t color = 5, alpha = 255;
};

/** What the file says. */
struct Scene {
    int version = 2;
    bool as_data = false, as_sei = true;
    uint16_t hold = 500, rule_hold = 2500;  ///< milliseconds, version 2
    uint32_t every = 1;                     ///< pictures from result to result
    std::vector<SceneRule> rules;
    std::vector<SceneBox> boxes;
};

/** Reads a scene. @param name what the text is called in the failure. @return false with the failure filled */
bool ReadScene(const std::string &name, const tools::Json &json, Scene *scene, Failure *failure);

/** Where a box is at a time, in seconds of the stream. */
std::array<uint16_t, 4> BoxAt(const SceneBox &box, double seconds);

/** Makes the records that belong to each picture. */
class Analytics {
 public:
    Analytics(Scene scene, bool h265) : scene_(std::move(scene)), h265_(h265) {}

    /** Reads the scene of a file. @return null with the failure filled */
    static std::unique_ptr<Analytics> Open(const std::string &path, bool h265, Failure *failure);

    /** Makes the records of the next picture; they hold until the next call. @param key of the picture */
    void Next(double seconds, bool key);

    bool SendsData() const { return scene_.as_data; }
    const std::vector<std::vector<uint8_t>> &DataFrames() const { return data_; }
    /** SEI units, with emulation prevention, without start codes. */
    const std::vector<std::vector<uint8_t>> &Units() const { return units_; }

 private:
    void Add(int kind, const std::vector<uint8_t> &body);

    const Scene scene_;
    const bool h265_;
    uint64_t pictures_ = 0;
    double rules_due_ = 0;
    std::vector<std::vector<uint8_t>> data_, units_;
};

}  // namespace zvcam

#endif
