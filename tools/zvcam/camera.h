/** The camera: gives the frames of the stream, when they are due, to everyone who is to have them. */
#ifndef ZVCAM_CAMERA_H
#define ZVCAM_CAMERA_H

#include <poll.h>

#include <memory>
#include <string>
#include <vector>

#include "zvcam/client.h"
#include "zvcam/media.h"

namespace zvcam {

/** Runs in one thread. Signals end the run: see Interrupt(). */
class Camera {
 public:
    explicit Camera(const Options &options) : options_(options) {}

    /** Opens source and destinations. @return false with the failure filled */
    bool Open(Failure *failure);

    /** Sends the stream to its end. @return false with the failure filled */
    bool Run(Failure *failure);

    /** One line of JSON: what was sent. */
    std::string Report() const;

    /** Makes Run() come to its end; for signal handlers. */
    static void Interrupt();
    static bool IsInterrupted();

 private:
    struct Listener {
        Socket socket;
        Destination destination;
    };
    /** A client that is gone. */
    struct Past {
        std::string name, ending;
        Counters counters;
    };

    bool OpenDestination(const Destination &destination, Failure *failure);
    bool WriteSdp(Failure *failure) const;
    void AddClient(Socket socket, const Destination &destination, const std::string &name);
    void Accept();
    void Serve();
    void RemoveEnded();
    bool MayProduce();
    bool IsDue(Clock::time_point now);
    void Produce();
    void TakeFrame();
    bool IsOver() const;
    void StopSlow(Clock::time_point now);
    void FinishAll();
    void Wait();
    Clock::time_point NextEvent(Clock::time_point now) const;
    void Note(const std::string &text) const;
    void EndStatus();
    void ShowStatus(Clock::time_point now);

    const Options options_;
    Tapes tapes_;
    std::unique_ptr<Media> media_;
    std::vector<Listener> listeners_;
    std::vector<std::unique_ptr<Client>> clients_;
    std::vector<Past> past_;
    std::vector<pollfd> polled_;
    uint32_t numbers_ = 0;     ///< clients ever
    uint32_t came_ = 0;        ///< of them, those who came by themselves
    bool started_ = false;     ///< the first frame has gone
    Clock::time_point start_;  ///< when the frame of time 0 was due
    Frame frame_;              ///< the next one
    bool has_frame_ = false;
    bool at_end_ = false;    ///< no frame will come any more
    bool finished_ = false;  ///< everyone's queue holds its end
    double position_ = 0;    ///< seconds of the stream that were given out
    uint64_t frames_ = 0;    ///< pictures of the stream that were given out
    bool refusal_noted_ = false;
    bool crowded_ = false;  ///< the system gives no descriptor for another client
    Clock::time_point shown_ = {};
    bool line_open_ = false;  ///< a status line stands without a line end
    uint64_t shown_bytes_ = 0;
};

}  // namespace zvcam

#endif
