// The JSON file of --analytics.
#include <algorithm>
#include <cmath>
#include <span>

#include "zvcam/analytics.h"

namespace zvcam {
namespace {

using tools::Json;

constexpr size_t kMostPoints = 16, kMostPointsV1 = 7, kMostRulesV1 = 8;
constexpr size_t kMostRules = 64, kMostBoxes = 200;  // so that a record fits a receiver's buffer of 10 kB

const char *const kColors[] = {"none", "deep",   "light",  "white", "black",  "red",   "green",
                               "blue", "orange", "purple", "pink",  "yellow", "brown", "gray"};
const char *const kDirections[] = {"none", "both", "cw", "ccw", "in", "out"};
const char *const kTypes[] = {"line", "area"};
const char *const kRoads[] = {"data", "sei", "both"};

/** Reads members of an object, and remembers the first that makes no sense. */
class Members {
 public:
    Members(const Json &object, std::string where, std::string *complaint)
        : object_(object), where_(std::move(where)), complaint_(*complaint) {
        if (object.kind != Json::kObject) Complain("is no object");
    }

    void Complain(const std::string &what) {
        if (complaint_.empty()) complaint_ = where_ + " " + what;
    }
    template <class T>
    void Number(const char *name, double least, double most, T *value) {
        const Json *member = object_.Find(name);
        if (member == nullptr) return;
        if (member->kind != Json::kNumber || !(member->number >= least && member->number <= most)) {
            return Complain(std::string("wants a number for \"") + name + "\"");
        }
        *value = static_cast<T>(member->number);
    }
    void Bool(const char *name, bool *value) {
        const Json *member = object_.Find(name);
        if (member == nullptr) return;
        if (member->kind != Json::kBool) return Complain(std::string("wants true or false for \"") + name + "\"");
        *value = member->truth;
    }
    template <class T>
    void Word(const char *name, std::span<const char *const> words, T *value) {
        const Json *member = object_.Find(name);
        if (member == nullptr) return;
        const auto found = std::find(words.begin(), words.end(), member->text);
        if (member->kind != Json::kText || found == words.end()) {
            std::string list;
            for (const char *word : words) list += std::string(list.empty() ? "" : ", ") + word;
            return Complain(std::string("wants one of these for \"") + name + "\": " + list);
        }
        *value = static_cast<T>(found - words.begin());
    }
    template <size_t N>
    void Coordinates(const char *name, const Json *list, std::array<uint16_t, N> *values) {
        bool good = list != nullptr && list->kind == Json::kList && list->items.size() == N;
        for (size_t i = 0; good && i < N; ++i) {
            const Json &item = list->items[i];
            good = item.kind == Json::kNumber && item.number >= 0 && item.number <= 65535;
            if (good) (*values)[i] = static_cast<uint16_t>(item.number);
        }
        if (!good) Complain("wants " + std::to_string(N) + " numbers from 0 to 65535 in \"" + name + "\"");
    }
    /** Members that nobody asks for are mistyped ones. */
    void Only(std::span<const char *const> names) {
        for (const auto &[name, value] : object_.members) {
            if (std::find(names.begin(), names.end(), name) == names.end()) Complain("knows no \"" + name + "\"");
        }
    }
    std::span<const Json> List(const char *name, size_t most) {
        const Json *member = object_.Find(name);
        if (member == nullptr) return {};
        if (member->kind != Json::kList || member->items.size() > most) {
            Complain(std::string("wants a list of up to ") + std::to_string(most) + " for \"" + name + "\"");
            return {};
        }
        return member->items;
    }
    const Json *Find(const char *name) const { return object_.Find(name); }

 private:
    const Json &object_;
    const std::string where_;
    std::string &complaint_;
};

void ReadRule(Members members, SceneRule *rule, int version) {
    static const char *const kNames[] = {"id",    "type", "points", "direction", "triggered",
                                         "color", "fill", "alpha",  "fill_alpha"};
    members.Only(kNames);
    members.Number("id", 0, UINT32_MAX, &rule->id);
    members.Word("type", kTypes, &rule->area);
    members.Word("direction", kDirections, &rule->direction);
    members.Bool("triggered", &rule->triggered);
    members.Word("color", kColors, &rule->color);
    members.Word("fill", kColors, &rule->fill);
    members.Number("alpha", 0, 255, &rule->alpha);
    members.Number("fill_alpha", 0, 255, &rule->fill_alpha);
    for (const Json &point : members.List("points", version == 1 ? kMostPointsV1 : kMostPoints)) {
        members.Coordinates("points", &point, &rule->points.emplace_back());
    }
    if (rule->points.size() < 2) members.Complain("wants two points or more");
}

void ReadBox(Members members, SceneBox *box) {
    static const char *const kNames[] = {"id", "rule", "from", "to", "seconds", "color", "alpha"};
    members.Only(kNames);
    members.Number("id", 0, UINT32_MAX, &box->id);
    members.Number("rule", 0, UINT32_MAX, &box->rule);
    members.Number("seconds", 0.04, 86400, &box->seconds);
    members.Word("color", kColors, &box->color);
    members.Number("alpha", 0, 255, &box->alpha);
    members.Coordinates("from", members.Find("from"), &box->from);
    box->to = box->from;
    if (members.Find("to") != nullptr) members.Coordinates("to", members.Find("to"), &box->to);
}

void ReadAll(Members members, Scene *scene, std::string *complaint) {
    static const char *const kNames[] = {"version", "as", "hold", "rule_hold", "every", "rules", "boxes"};
    members.Only(kNames);
    int road = 1;
    members.Number("version", 1, 2, &scene->version);
    if (scene->version == 1) road = 0;
    members.Word("as", kRoads, &road);
    scene->as_data = road != 1;
    scene->as_sei = road != 0;
    if (scene->version == 1 && scene->as_sei) members.Complain("of version 1 goes as data only");
    members.Number("hold", 0, 65535, &scene->hold);
    members.Number("rule_hold", 0, 65535, &scene->rule_hold);
    members.Number("every", 1, 100000, &scene->every);
    for (const Json &rule : members.List("rules", scene->version == 1 ? kMostRulesV1 : kMostRules)) {
        const std::string where = "rule " + std::to_string(scene->rules.size() + 1);
        ReadRule({rule, where, complaint}, &scene->rules.emplace_back(), scene->version);
    }
    for (const Json &box : members.List("boxes", kMostBoxes)) {
        const std::string where = "box " + std::to_string(scene->boxes.size() + 1);
        ReadBox({box, where, complaint}, &scene->boxes.emplace_back());
    }
}

}  // namespace

bool ReadScene(const std::string &name, const Json &json, Scene *scene, Failure *failure) {
    std::string complaint;
    *scene = {};
    ReadAll({json, "the scene", &complaint}, scene, &complaint);
    if (complaint.empty() && scene->rules.empty() && scene->boxes.empty()) complaint = "the scene has nothing in it";
    if (complaint.empty()) return true;
    *failure = {tools::kExitSource, name + ": " + complaint, "zvcam --help shows a scene"};
    return false;
}

std::array<uint16_t, 4> BoxAt(const SceneBox &box, double seconds) {
    const double turns = std::fmod(seconds / box.seconds, 2);
    const double part = turns <= 1 ? turns : 2 - turns;
    std::array<uint16_t, 4> at;
    for (size_t i = 0; i < at.size(); ++i) {
        at[i] = static_cast<uint16_t>(std::lround(box.from[i] + (box.to[i] - box.from[i]) * part));
    }
    return at;
}

}  // namespace zvcam
