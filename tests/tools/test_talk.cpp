// Talk from end to end: zvplay or a client of the library says something to zvcam, which writes it down and echoes it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <thread>

#include "codec/g711.h"
#include "source/talk.h"
#include "support/client.h"
#include "support/net_peer.h"
#include "support/xvfb.h"
#include "tools/program.h"

// Behind gtest, whose names the macros in it would break.
#include "tools/desk.h"

using support::InputPort;
using support::WaitUntil;

namespace {

constexpr size_t WAV_HEAD = 44;

/** A camera that listens, and what it has heard. */
class Listener {
 public:
    explicit Listener(const std::vector<std::string> &more = {}) : m_program("zvcam", Words(more)) {}

    std::string Address() {
        const std::string says = "serves ";
        EXPECT_TRUE(Soon([&] { return m_program.Err().ends_with('\n'); }));
        const std::string text = m_program.Err().substr(m_program.Err().find(says) + says.size());
        return text.substr(0, text.find('\n'));
    }
    uint16_t Port() { return static_cast<uint16_t>(std::stoi(Address().substr(Address().rfind(':') + 1))); }
    /** Ends it. The samples that it wrote down, without their head. */
    Bytes Heard(const std::string &file = "said.wav") {
        if (m_report.empty()) {
            m_program.Interrupt();
            EXPECT_EQ(m_program.Wait(), 0) << m_program.Err();
            m_report = m_program.Out();
        }
        const Bytes wav = ReadFile(m_folder.At(file));
        EXPECT_GE(wav.size(), WAV_HEAD);
        uint32_t length = 0;
        memcpy(&length, wav.data() + 40, 4);
        EXPECT_EQ(length, wav.size() - WAV_HEAD);
        return Bytes(wav.begin() + WAV_HEAD, wav.end());
    }
    std::string Total(const std::string &key) const { return Last(m_report, key); }

 private:
    std::vector<std::string> Words(std::vector<std::string> words) const {
        words.insert(words.end(), {"--listen", m_folder.At("said.wav"), "tcp://127.0.0.1:0"});
        return words;
    }

    Scratch m_folder;
    Program m_program;
    std::string m_report;
};

/** Something like speech: syllables of a changing pitch, at 8 kHz. */
Bytes Speech(double seconds) {
    std::vector<int16_t> samples(static_cast<size_t>(seconds * 8000));
    double phase = 0;
    for (size_t i = 0; i < samples.size(); i++) {
        const double t = static_cast<double>(i) / 8000;
        phase += 2 * M_PI * (140 + 40 * std::sin(3 * t)) / 8000;
        const double loud = std::fabs(std::sin(4 * M_PI * t)) * 12000;
        samples[i] = static_cast<int16_t>(loud * (std::sin(phase) + 0.5 * std::sin(3 * phase)) / 1.5);
    }
    const auto *bytes = reinterpret_cast<const uint8_t *>(samples.data());
    return Bytes(bytes, bytes + 2 * samples.size());
}

/** What the law leaves of it. */
Bytes ThroughTheLaw(Span pcm) {
    const Bytes coded = MuLaw(pcm);
    Bytes result(2 * coded.size());
    ULONG_32 length = 0;
    EXPECT_EQ(G711Decoder(coded.data(), static_cast<ULONG_32>(coded.size()), result.data(), &length, G711_LAW_MU), 0);
    return result;
}

Bytes WithWavHead(Span pcm) {
    Bytes wav = {'R', 'I', 'F', 'F', 0, 0, 0, 0, 'W', 'A', 'V', 'E', 'f', 'm', 't', ' ', 16, 0, 0, 0, 1, 0,
                 1,   0,   0x40, 0x1F, 0, 0, 0x80, 0x3E, 0, 0, 2, 0, 16, 0, 'd', 'a', 't', 'a'};
    const uint32_t length = static_cast<uint32_t>(pcm.size()), whole = length + 36;
    memcpy(wav.data() + 4, &whole, 4);
    wav.insert(wav.end(), reinterpret_cast<const uint8_t *>(&length), reinterpret_cast<const uint8_t *>(&length) + 4);
    wav.insert(wav.end(), pcm.begin(), pcm.end());
    return wav;
}

void ExpectNothingLost(const Listener &camera) {
    for (const char *key : {"voice_lost", "voice_unknown", "voice_strays"}) {
        EXPECT_EQ(camera.Total(key), "0") << key;
    }
}

}  // namespace

TEST(Talk, WhatAClientSaysIsHeardAndComesBackWhileThePicturePlays) {
    const support::Library library;
    Listener camera({"--echo", "--loop", MediaPath("h264_640x360_bf0.264")});
    InputPort port([&](ULONG_32 number) { return OpenTalk(number, camera.Port()); }, Zelvane_CloseVoiceSvc);
    ASSERT_TRUE(Zelvane_OpenSound(port.Number())) << "else nobody wants sound decoded";
    const Bytes speech = Speech(3);
    const auto start = std::chrono::steady_clock::now();
    for (size_t at = 0; at < speech.size(); at += 320) {
        std::this_thread::sleep_until(start + std::chrono::milliseconds(at / 16));
        ASSERT_TRUE(Say(port.Number(), Span(speech).subspan(at, 320)));
        const Bytes echo = port.Pcm();  // never more than was said, and hardly less
        ASSERT_LE(echo.size(), at + 320);
#ifndef ZELVANE_SANITIZED
        ASSERT_GE(echo.size() + 16 * 1000, at) << "a second behind";
#endif
    }
    EXPECT_TRUE(WaitUntil([&] { return port.Pcm().size() >= speech.size(); }));
    EXPECT_EQ(port.Pcm(), ThroughTheLaw(speech)) << "there and back: in order, none lost, none twice";
    EXPECT_GE(port.PictureCount(), 65U);
    port.Close();
    EXPECT_EQ(camera.Heard(), ThroughTheLaw(speech));
    EXPECT_EQ(camera.Total("voices"), "150");
    ExpectNothingLost(camera);
}

TEST(Talk, ZvplayTalksFromFilesPipesAndAMicrophone) {
    const Scratch folder;
    const Bytes speech = Speech(1.01);  // the last block is half a one
    const std::string raw = folder.Write("speech.pcm", speech), wav = folder.Write("speech.wav", WithWavHead(speech));
    Bytes wide = WithWavHead(speech);  // the same at twice the rate
    wide[24] = 0x80, wide[25] = 0x3E;
    for (const std::string &source : {raw, wav, std::string("-"), folder.Write("wide.wav", wide)}) {
        SCOPED_TRACE(source);
        Listener camera;
        const int keep = dup(STDIN_FILENO), in = open(raw.c_str(), O_RDONLY | O_CLOEXEC);
        dup2(in, STDIN_FILENO);
        Program play("zvplay", {"--headless", "--stats", "json", "--talk", source, camera.Address()});
        dup2(keep, STDIN_FILENO);
        close(keep), close(in);
        EXPECT_EQ(play.Wait(), 0) << play.Err();
        EXPECT_EQ(Last(play.Out(), "talk"), "\"ended\"");
        EXPECT_EQ(Last(play.Out(), "talk_dropped"), "0");
        const Bytes heard = camera.Heard();
        if (source.ends_with("wide.wav")) {
            EXPECT_NEAR(static_cast<double>(heard.size()), static_cast<double>(speech.size()) / 2, 64);
        } else {
            EXPECT_EQ(heard, ThroughTheLaw(speech));
        }
        ExpectNothingLost(camera);
    }
#ifndef ZELVANE_SANITIZED  // SDL's capture thread has a stack that a sanitizer does not fit on
    Listener camera;
    setenv("SDL_AUDIODRIVER", "disk", 1);
    setenv("SDL_DISKAUDIOFILEIN", raw.c_str(), 1);
    Program play("zvplay", {"--headless", "--seconds", "2", "--talk", "mic", camera.Address()});
    EXPECT_EQ(play.Wait(), 0) << play.Err();
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    const Bytes heard = camera.Heard(), all = ThroughTheLaw(speech);
    EXPECT_GE(heard.size(), 8000U);
    EXPECT_TRUE(std::equal(all.begin(), all.begin() + static_cast<long>(std::min(heard.size(), all.size()) / 320 * 320),
                           heard.begin()));
#endif
}

TEST(Talk, SeveralCamerasHearTheSame) {
    const Scratch folder;
    const Bytes speech = Speech(1);
    Listener cameras[3];
    Program play("zvplay", {"--headless", "--talk", folder.Write("speech.pcm", speech), cameras[0].Address(),
                            cameras[1].Address(), cameras[2].Address()});
    EXPECT_EQ(play.Wait(), 0) << play.Err();
    for (Listener &camera : cameras) {
        EXPECT_EQ(camera.Heard(), ThroughTheLaw(speech));
        ExpectNothingLost(camera);
    }
}

TEST(Talk, AKeyBeginsAndEndsIt) {
#ifdef ZELVANE_SANITIZED
    setenv("SDL_RENDER_DRIVER", "software", 1);
#endif
    const Scratch folder;
    const Bytes speech = Speech(20);
    support::Xvfb server;
    ASSERT_NE(server.Name(), "") << "no Xvfb";
    Listener camera;
    Program play("zvplay", {"--stats", "json", "--talk", folder.Write("speech.pcm", speech), camera.Address()},
                 server.Name());
    Desk desk(server.Name());
    ASSERT_TRUE(Soon([&] { return desk.FindWindow() && Last(play.Out(), "talk") == "\"on\""; })) << play.Err();
    EXPECT_NE(Last(play.Out(), "talk_level"), "0");
    desk.Press(XK_t);
    EXPECT_TRUE(Soon([&] { return Last(play.Out(), "talk") == "\"off\""; }));
    const std::string said = Last(play.Out(), "talk_blocks");
    desk.Press(XK_t);
    EXPECT_TRUE(Soon([&] { return Last(play.Out(), "talk") == "\"on\"" && Last(play.Out(), "talk_blocks") != said; }));
    desk.Press(XK_q);
    EXPECT_EQ(play.Wait(), 0) << play.Err();
    const Bytes heard = camera.Heard(), all = ThroughTheLaw(speech);
    EXPECT_LT(heard.size(), all.size());
    EXPECT_TRUE(std::equal(heard.begin(), heard.end(), all.begin())) << "the file waits in the silence";
}

TEST(Talk, CommandLinesThatMakeNoSense) {
    const struct {
        const char *program;
        std::vector<std::string> words;
        int code;
        const char *says;
    } cases[] = {
        {"zvplay", {"--headless", "--talk", "none.wav", "tcp://127.0.0.1:9"}, 2, "none.wav"},
        {"zvplay", {"--headless", "--talk", "-", "udp://:5004"}, 1, "tcp://HOST:PORT"},
        {"zvplay", {"--headless", "--talk", "-", "tcp://127.0.0.1:9", "udp://:5004"}, 1, "tcp://HOST:PORT"},
        {"zvplay", {"--headless", "--talk", "-", MediaPath("camera.rtp")}, 1, "tcp://HOST:PORT"},
        {"zvplay", {"--headless", "tcp://127.0.0.1:9", "tcp://127.0.0.1:9"}, 1, "two sources"},
        {"zvplay", {"--headless", "--talk", "-", "tcp://127.0.0.1:" + std::to_string(support::FreeTcpPort())}, 2, "no talk"},
        {"zvcam", {"--listen", "x.wav", "udp://127.0.0.1:9"}, 1, "tcp://"},
        {"zvcam", {"--echo", "--audio", "g711u", "tcp://:0"}, 1, "--audio"},
        {"zvcam", {"--listen", "/nowhere/x.wav", "tcp://127.0.0.1:0"}, 1, "can't be written"},
    };
    for (const auto &row : cases) {
        Program run(row.program, row.words);
        EXPECT_EQ(run.Wait(), row.code) << row.says;
        EXPECT_NE(run.Err().find(row.says), std::string::npos) << run.Err();
    }
}
