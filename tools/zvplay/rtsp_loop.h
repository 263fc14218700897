/** Plays a camera or server that speaks RTSP, and keeps the stream up. */
#ifndef ZVPLAY_RTSP_LOOP_H
#define ZVPLAY_RTSP_LOOP_H

#include <vector>

#include "common/rtsp_session.h"
#include "play_loop.h"

namespace zvplay {

class RtspLoop : public PlayLoop {
 public:
    RtspLoop(const Options &options, Player *player, Window *window, Status *status);

    PlayState State() const override;
    std::string Remark() const override;

 private:
    bool IsReady() const override { return open_; }
    bool Advance(Failure *failure) override;
    bool IsOver() override;
    int WaitMilliseconds() const override { return 50; }
    void Pause() override { player_.SetPaused(paused_); }
    void Finish() override { session_.Stop(); }
    bool TakeOffer(Failure *failure);

    Clock::time_point start_ = Clock::now();
    bool open_ = false, started_ = false;  ///< the port; something came
    std::vector<tools::SdpTrack> tracks_;
    unsigned sessions_ = 0;
    tools::RtspSession session_;  ///< the last member: it ends before all that its thread uses
};

}  // namespace zvplay

#endif
