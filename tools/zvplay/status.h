/** Tells the user how it goes: a live line on a terminal, JSON lines, a report at the end. */
#ifndef ZVPLAY_STATUS_H
#define ZVPLAY_STATUS_H

#include <string>

#include "options.h"
#include "player.h"
#include "talk.h"

namespace zvplay {

/** What there is to tell of a cloud recording beyond that. */
struct CloudState {
    std::string date;  ///< of the picture, as people write it; empty for other sources
    uint32_t segments = 0, fetched = 0;
    uint64_t cache_bytes = 0;
    uint32_t message = 0;      ///< newest run message; 0 for none
    std::string message_text;  ///< what it means
};

/** The state of the player that is not the library's. */
struct PlayState {
    double position = 0;  ///< seconds from the stream's beginning
    double played = 0;    ///< seconds of it that were played
    bool paused = false;
    bool sound = false;
    std::string live;          ///< of a stream that is kept up: "stale since 3 s"; empty for other sources
    std::string live_word;     ///< the same in one word, for programs
    unsigned reconnects = 0;   ///< how often it was connected again
    bool waiting = false;      ///< for the first frame from the network
    bool recording = false;    ///< the three below mean something
    double length = 0;         ///< seconds
    int speed = kNormalSpeed;  ///< index into kSpeeds
    bool loop = false;         ///< begins again at the end
    TalkState talk;            ///< to the camera
    bool analytics = false;    ///< rules and boxes are drawn
    std::string refusal;       ///< what the library refused just now, in words
    std::string record;        ///< "REC" while it records, "REC FAILED: why" when that broke off
    CloudState cloud;
    std::string capture;       ///< what is being recorded or was saved just now, in words
    std::string recorded;      ///< the first file that was recorded; empty for none
    unsigned recorded_files = 0;
};

/** Writes to standard output. For one thread. */
class Status {
 public:
    explicit Status(const Options &options);

    /** Whether a live line is kept: only on a terminal, and not beside JSON. */
    bool IsLive() const { return live_; }

    /** Whether nobody reads standard output any more. */
    bool IsUnheard() const { return unheard_; }

    /** What is not plain play, in words: "  2x  PAUSED". Empty for plain play. */
    static std::string Mode(const PlayState &state);

    /** Renews the live line. */
    void Live(const Figures &figures, const PlayState &state);

    /** The line of one second of JSON. */
    void Second(const Figures &figures, const PlayState &state);

    /** A line for the user, on standard error. */
    void Note(const std::string &text);

    /** The last words: what was played and what was odd. */
    void Report(const Figures &figures, const PlayState &state, const std::string &saved, const std::string &remark);

 private:
    void Flush();
    void Json(const Figures &figures, const PlayState &state, bool end);

    const Options &options_;
    bool live_;
    bool dirty_ = false;  ///< a live line stands without a line end
    bool unheard_ = false;
    int most_lost_ = 0;
    uint32_t pictures_ = 0;  ///< at the last live line
    double position_ = 0;    ///< at the last live line
    double pictures_a_second_ = 0;
};

}  // namespace zvplay

#endif
