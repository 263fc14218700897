/** What is saved of a stream while it plays: recordings and snapshots, with the files they went to. */
#ifndef ZVPLAY_CAPTURE_H
#define ZVPLAY_CAPTURE_H

#include <chrono>
#include <string>

#include "failure.h"
#include "options.h"
#include "player.h"
#include "status.h"

namespace zvplay {

/** Drives the recorder and the snapshots of the player's port. For one thread. */
class Capture {
 public:
    /** Both have to outlive it. */
    Capture(const Options &options, Player *player) : options_(options), player_(*player) {}

    /** Starts what the command line asks for, before the stream flows. @return false with the failure filled */
    bool Begin(Failure *failure);

    /** Starts a recording under a name made of the time, or ends the one that runs. */
    void ToggleRecording();

    /** Ends a recording that has broken off, so that the stream goes on without it. */
    void Watch();

    /** Saves the picture under a name made of the time. */
    void Snap();

    /** Saves the last picture if that was asked for, and ends the recording. @return false with the failure filled */
    bool End(Failure *failure);

    /** Adds the recording to the state: "REC" or "REC FAILED: why"; what was done fades after some seconds. */
    void Describe(PlayState *state) const;

    /** What was saved in all, for the report: "recorded cam.mp4 and 2 more, saved pic.jpg". Empty for nothing. */
    std::string Summary() const;

 private:
    using Clock = std::chrono::steady_clock;

    bool Record(const std::string &name, int format, Failure *failure);
    bool IsSource(const std::string &file) const;
    void StopRecording(std::chrono::milliseconds wait);
    bool SnapInto(const std::string &name, Failure *failure);
    void Say(const std::string &note);

    const Options &options_;
    Player &player_;
    std::string recording_;  ///< the name of the recording that runs
    std::string broken_;     ///< why the last recording broke off; empty if it did not
    std::string note_;       ///< what was done last
    Clock::time_point noted_;
    std::string first_file_, last_picture_;
    unsigned files_ = 0, pictures_ = 0;
};

}  // namespace zvplay

#endif
