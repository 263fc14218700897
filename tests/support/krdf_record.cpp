#include "support/krdf_record.h"

#include <gtest/gtest.h>

namespace support {

namespace {

/** A writer that has to succeed. */
class Writer {
 public:
    Writer(const std::string &path, const tools::KrdfLayout &layout) {
        EXPECT_TRUE(m_writer.Open(path, layout, &m_failure)) << m_failure.what;
    }
    ~Writer() { EXPECT_TRUE(m_writer.Close(&m_failure)) << m_failure.what; }
    void Add(const tools::KrdfFrame &frame) { EXPECT_TRUE(m_writer.Add(frame, &m_failure)) << m_failure.what; }

 private:
    tools::KrdfWriter m_writer;
    tools::Failure m_failure;
};

}  // namespace

void WriteKrdf(const std::string &path, const std::vector<KrdfLetters> &frames, const tools::KrdfLayout &layout) {
    Writer writer(path, layout);
    for (const KrdfLetters &letters : frames) {
        tools::KrdfFrame frame;
        frame.video = letters.kind != 's';
        frame.stream = frame.video ? tools::kKrdfH264 : tools::kKrdfG711u;
        frame.kind = letters.kind == 'p' ? 1 : letters.kind == 'b' ? 2 : 0;
        frame.begins = letters.kind == 'k';
        frame.seconds = KRDF_BEGIN + letters.second;
        frame.data = {reinterpret_cast<const uint8_t *>(letters.data.data()), letters.data.size()};
        writer.Add(frame);
    }
}

std::vector<KrdfLetters> KrdfGroups(unsigned count) {
    std::vector<KrdfLetters> frames;
    for (unsigned group = 1; group <= count; ++group) {
        for (const char name : {'k', 'p', 'q'}) {
            frames.push_back({name == 'q' ? 'p' : name, std::to_string(group) + name, group * 2 - 2});
        }
    }
    return frames;
}

void WriteKrdf(const std::string &path, const KrdfMedia &media, const tools::KrdfLayout &layout) {
    Writer writer(path, layout);
    for (size_t i = 0; i < media.units.size(); ++i) {
        tools::KrdfFrame frame;
        frame.seconds = KRDF_BEGIN + i / layout.rate;
        if (!media.sound.empty() && i > 0) {
            frame.stream = tools::kKrdfG711u;
            frame.data = media.sound[i % media.sound.size()];
            writer.Add(frame);
        }
        frame.video = true;
        frame.stream = media.codec;
        frame.begins = i % media.keyDistance == 0;
        frame.kind = frame.begins || media.codec == tools::kKrdfJpeg ? 0 : 1;
        frame.data = media.units[i];
        writer.Add(frame);
    }
}

}  // namespace support
