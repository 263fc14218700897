// What zvcam sends beside its pictures: scenes as users write them, the records made of them, and who counts them.
#include <gtest/gtest.h>

#include <memory>

#include "support/media.h"
#include "support/net_peer.h"
#include "tools/program.h"
#include "zelvane_modules.h"
#include "zvcam/analytics.h"
#include "zvplay/analytics_records.h"

namespace {

using zvcam::Analytics;
using zvcam::Scene;

const char *const kScene = R"({"hold": 700, "rule_hold": 1200,
  "rules": [{"id": 3, "type": "area", "points": [[0, 256], [10000, 0], [5000, 65535]], "direction": "out", "color": "pink",
             "fill": "gray", "alpha": 200, "fill_alpha": 0, "triggered": true},
            {"type": "line", "points": [[1, 2], [3, 4]], "direction": "cw"}],
  "boxes": [{"id": 9, "rule": 3, "from": [0, 0, 100, 100], "to": [1000, 500, 1100, 600], "seconds": 2, "color": "blue"}]})";

bool Read(const std::string &text, Scene *scene, tools::Failure *failure) {
    tools::Json json;
    return tools::ParseJson("scene", text, &json, failure) && zvcam::ReadScene("scene", json, scene, failure);
}

Scene ReadGood(const std::string &text) {
    Scene scene;
    tools::Failure failure;
    EXPECT_TRUE(Read(text, &scene, &failure)) << failure.what;
    return scene;
}

struct FreeSei {
    void operator()(SEI_INFO_S *info) const {
        IVA_FreeBuffers(&info->stSeiIvaInfo.stIvaInfo);
        Sei_InfoClear(info);
        delete info;
    }
};

/** What the library reads out of a scene's records. */
std::unique_ptr<SEI_INFO_S, FreeSei> Parse(Analytics *analytics, double seconds, bool h265) {
    std::unique_ptr<SEI_INFO_S, FreeSei> info(new SEI_INFO_S{});
    IVA_INFO_S &iva = info->stSeiIvaInfo.stIvaInfo;
    iva.bDRVEnable = 1;
    analytics->Next(seconds, true);
    Bytes frame;
    for (const auto &unit : analytics->Units()) {
        frame.insert(frame.end(), {0, 0, 0, 1});
        frame.insert(frame.end(), unit.begin(), unit.end());
    }
    EXPECT_EQ(zvplay::CountMessages(frame, h265), analytics->Units().size());
    if (!frame.empty()) {
        EXPECT_EQ(Sei_Parse(h265 ? PLAYER_PAYLOAD_H265 : PLAYER_PAYLOAD_H264, frame.data(),
                            static_cast<LONG_32>(frame.size()), info.get()),
                  0U);
    }
    for (auto data : analytics->DataFrames()) {
        EXPECT_EQ(DataParse(&iva, reinterpret_cast<CHAR *>(data.data()), static_cast<LONG_32>(data.size())), 0U);
    }
    return info;
}

}  // namespace

TEST(Scenes, BecomeRecordsThatTheLibraryReads) {
    for (const bool h265 : {false, true}) {
        for (const bool data : {false, true}) {
            Scene scene = ReadGood(kScene);
            scene.as_data = data;
            scene.as_sei = !data;
            Analytics analytics(scene, h265);
            const auto info = Parse(&analytics, 1, h265);
            const IVA_INFO_V2_S &v2 = info->stSeiIvaInfo.stIvaInfo.stMetaV2;
            EXPECT_EQ(IvaRecords_RuleHoldTime(v2), 1200U);
            EXPECT_EQ(IvaRecords_ResultHoldTime(v2), 700U);
            IVA_REPORT_RULE_INFO_V2_S rule = {};
            ASSERT_TRUE(v2.bHaveRule && IvaRecords_RuleNum(v2) == 2 && IvaRecords_Rule(v2, 0, &rule));
            EXPECT_EQ(std::tuple(rule.ulRuleID, rule.bTriggered, rule.enRuleType, rule.enTrigType, rule.ulCoordNum),
                      std::tuple(3U, 1, IVA_REPORT_RULE_POLY, IVA_REPORT_TRIG_OUT, 3U));
            EXPECT_EQ(std::tuple(rule.enLineColor, rule.enFillColor, rule.ulLineAlpha, rule.ulFillAlpha),
                      std::tuple(IVA_REPORT_COLOR_PINK, IVA_REPORT_COLOR_GRAY, 200U, 0U));
            EXPECT_EQ(std::pair(rule.astCoord[0].usY, rule.astCoord[2].usY), std::pair(USHORT{256}, USHORT{65535}));
            IVA_REPORT_RESULT_INFO_V2_EX_S target = {};
            DULONG at = 0;
            ASSERT_TRUE(v2.bHaveResult && IvaRecords_NextTarget(v2, &at, &target));
            EXPECT_EQ(std::tuple(target.ulTargetID, target.ulTrigRule, target.stStart.usX, target.stEnd.usY),
                      std::tuple(9U, 3U, USHORT{500}, USHORT{350}))
                << "half of the way after half of the time";
        }
    }
}

TEST(Scenes, OfVersionOneHaveRulesAndNumbers) {
    Scene scene = ReadGood(std::string(kScene).replace(1, 0, "\"version\": 1, "));
    Analytics analytics(scene, false);
    const auto info = Parse(&analytics, 0, false);
    const IVA_INFO_V1_S &v1 = info->stSeiIvaInfo.stIvaInfo.stMetaV1;
    ASSERT_TRUE(v1.bHaveRule && v1.bHaveResult);
    EXPECT_EQ(v1.stResultHead.ulAllNum, 1U);
    const IVA_REPORT_RULE_INFO_S *rules = v1.stRuleConfig.astRule;
    EXPECT_EQ(std::tuple(rules[0].bEnable, rules[1].bEnable, rules[2].bEnable), std::tuple(1, 1, 0));
    EXPECT_EQ(rules[0].enZoneDirect, RULE_FRAME_DIRECT_EXIT_E);
    EXPECT_EQ(rules[1].enLineDirect, RULE_LINE_DIRECT_DEASIL_FORBID_E);
    EXPECT_EQ(std::pair(rules[0].stRulePts.ulPointNum, rules[0].ulRuleColor), std::pair(3U, 0xFFC0CBU));
    analytics.Next(0.5, false);
    EXPECT_EQ(analytics.DataFrames().size(), 1U) << "rules go once a second";
}

TEST(Scenes, BoxesGoThereAndBack) {
    const zvcam::SceneBox box = ReadGood(kScene).boxes[0];
    for (const auto &[seconds, left] : {std::pair{0.0, 0}, {1.0, 500}, {2.0, 1000}, {3.0, 500}, {4.0, 0}, {9.0, 500}}) {
        EXPECT_EQ(zvcam::BoxAt(box, seconds)[0], left) << seconds;
    }
}

TEST(Scenes, SayWhatIsWrongWithThem) {
    const std::pair<const char *, const char *> cases[] = {
        {"", "line 1: a value is missing"},
        {"{\n\"rules\": [\n}", "line 3"},
        {"{\"rules\" 1}", "colon"},
        {"{\"rules\": [] ", "comma or }"},
        {"{\"a\\x\": 1}", "escape"},
        {"{\"a", "no end"},
        {"{} x", "behind the end"},
        {"[1]", "is no object"},
        {"{}", "nothing in it"},
        {"{\"boxs\": []}", "knows no \"boxs\""},
        {"{\"boxes\": [{\"from\": [1, 2, 3]}]}", "box 1 wants 4 numbers"},
        {"{\"boxes\": [{\"from\": [1, 2, 3, 65536]}]}", "from 0 to 65535"},
        {"{\"boxes\": [{\"from\": [1, 2, 3, 4], \"color\": \"mauve\"}]}", "none, deep, light"},
        {"{\"boxes\": [{\"from\": [1, 2, 3, 4], \"seconds\": 0}]}", "wants a number for \"seconds\""},
        {"{\"rules\": [{\"points\": [[1, 1]]}]}", "rule 1 wants two points"},
        {"{\"rules\": [{\"points\": [[1, 1], [2, 2]], \"triggered\": 1}]}", "true or false"},
        {"{\"version\": 1, \"as\": \"sei\", \"boxes\": [{\"from\": [1, 2, 3, 4]}]}", "data only"},
        {"{\"version\": 3}", "\"version\""},
    };
    for (const auto &[text, says] : cases) {
        Scene scene;
        tools::Failure failure;
        EXPECT_FALSE(Read(text, &scene, &failure)) << text;
        EXPECT_NE(failure.what.find(says), std::string::npos) << failure.what;
        EXPECT_EQ(failure.exit_code, tools::kExitSource);
    }
    Scene scene;
    tools::Failure failure;
    EXPECT_FALSE(Read(std::string(100000, '['), &scene, &failure));
    tools::Json json;
    EXPECT_TRUE(tools::ParseJson("all", R"( {"a": [true, false, null, -1.5e2, "\"\n"], "b": {}} )", &json, &failure));
    const tools::Json *list = json.Find("a");
    ASSERT_TRUE(list != nullptr && list->items.size() == 5);
    EXPECT_EQ(std::pair(list->items[3].number, list->items[4].text), std::pair(-150.0, std::string("\"\n")));
    EXPECT_EQ(json.Find("c"), nullptr);
}

TEST(Scenes, RecordsAreCountedWhereTheyPass) {
    const Bytes marked = {0x80, 0x80 | 50, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 16, 0, 0};
    Bytes open = marked;
    open[1] = 50;
    EXPECT_EQ(zvplay::CountDataFrames(marked), 1U);
    EXPECT_EQ(zvplay::CountDataFrames(open), 0U);
    const Bytes foreign = {0, 0, 1, 6, 5, 0xFF, 0xFF, 0x10, 0xDC, 0, 0, 1, 6, 5, 3, 32, 1, 0x80, 0, 0, 1, 0x65, 0, 0, 1,
                           6, 5, 3, 33, 1, 0x80};
    EXPECT_EQ(zvplay::CountMessages(foreign, false), 1U) << "neither an encoder's own nor one behind a slice";
    for (size_t length = 0; length < foreign.size(); ++length) {
        EXPECT_LE(zvplay::CountMessages({foreign.data(), length}, false), 1U);
        EXPECT_EQ(zvplay::CountDataFrames({foreign.data(), length}), 0U);
    }
}

TEST(Scenes, GoFromCameraToPlayer) {
    const Scratch folder;
    const std::string text = kScene;
    const struct {
        const char *scene, *codec, *query;
    } cases[] = {{"\"as\": \"sei\", ", "h264", ""},
                 {"\"as\": \"both\", ", "h265", ""},
                 {"\"as\": \"data\", ", "h264", "?ts"},
                 {"\"version\": 1, ", "h264", ""}};
    for (const auto &row : cases) {
        const std::string path = folder.At("scene.json");
        FILE *file = fopen(path.c_str(), "w");
        fputs(std::string(text).replace(1, 0, row.scene).c_str(), file);
        fclose(file);
        const std::string address = "tcp://127.0.0.1:" + std::to_string(support::FreeUdpPort()) + row.query;
        Program camera("zvcam", {"--analytics", path, "--codec", row.codec, "--seconds", "2", "--fast", address});
        ASSERT_TRUE(Soon([&] { return camera.Err().find("serves") != std::string::npos; })) << camera.Err();
        Program player("zvplay", {"--headless", "--analytics", "--stats", "json", address});
        EXPECT_EQ(player.Wait(), 0) << player.Err();
        EXPECT_EQ(camera.Wait(), 0) << camera.Err();
        EXPECT_EQ(Last(player.Out(), "pictures"), "50") << row.scene;
        EXPECT_EQ(Last(player.Out(), "analytics_records"), Last(camera.Out(), "records")) << row.scene;
        EXPECT_GE(std::stoi(Last(camera.Out(), "records")), 50 + 2) << row.scene;
    }
}
