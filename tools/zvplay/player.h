/** The library behind a small face: one port that plays pushed data, a recording or a stream from the network. */
#ifndef ZVPLAY_PLAYER_H
#define ZVPLAY_PLAYER_H

#include <atomic>
#include <cstdint>
#include <string>

#include "address.h"
#include "common/sdp.h"
#include "failure.h"
#include "player_sdk_func.h"
#include "source.h"

namespace zvplay {

/** What is known about the running stream. */
struct Figures {
    uint32_t frames = 0;           ///< whole video frames found so far
    uint32_t pictures = 0;         ///< pictures decoded so far
    uint32_t sounds = 0;           ///< whole audio frames found so far
    int32_t width = 0;             ///< of the last picture, pixels; 0 before it
    int32_t height = 0;            ///< rows
    int32_t rate = 0;              ///< frames a second of the stream; 0 until known
    int32_t bit_rate = 0;          ///< bits a second, smoothed
    int32_t packets = 0;           ///< pushes that the decode thread took in the last five seconds
    int32_t lost = 0;              ///< losses among them
    uint32_t waiting = 0;          ///< slots of the ring in use
    double fill = 0;               ///< the same as a part of the ring, 0 to 1
    uint32_t records = 0;          ///< records of rules and boxes that came
    uint32_t decode_failures = 0;  ///< run messages that say so
    const char *video = "";        ///< name of the video coding, empty until known
    const char *audio = "";        ///< name of the audio coding
};

/**
 * Owns the library from Open() to Close(). All functions are for one thread; the callbacks, which run on the library's
 * threads, only count.
 */
class Player {
 public:
    Player() = default;
    Player(const Player &) = delete;
    Player &operator=(const Player &) = delete;
    ~Player() { Close(); }

    /** Starts the library and takes a port. @return false with the failure filled */
    bool Open(Failure *failure);

    /** Opens scrambled streams with a PEM file's private key, scrambled recordings with a password; empty for neither.
     */
    bool SetKeys(const std::string &rsa_key, const std::string &password, Failure *failure);

    /** Opens the port for pushed data. @return false with the failure filled, as for the two below */
    bool OpenPushed(Failure *failure);

    /**
     * The same for RTP packets of any sender, as its description has them; to be called again when that has changed: a
     * window and sound go on.
     */
    bool OpenStandard(const std::vector<tools::SdpTrack> &tracks, Failure *failure);

    /** Gives one RTP packet; any thread, between OpenStandard() and the next or Close(). */
    void GivePacket(tools::Bytes packet) const;

    /** Opens a recording, which stands until SetSpeed() or Show(). @param paced at its own pace without a window too */
    bool OpenRecording(const std::string &path, bool paced, Failure *failure);

    /** Whether the recording is a KRDF record. */
    bool PlaysKrdf() const { return krdf_; }

    /** Receives from the network. The address is in figures. */
    bool OpenNetwork(const Address &address, Failure *failure);

    /** The same, with a voice service of that kind on the connection: PLAYER_VOICE_SVC_TYPE_E. */
    bool OpenTalk(const Address &address, ULONG_32 service, Failure *failure);

    /** The number of the port. */
    ULONG_32 Port() const { return port_; }

    /** Opens an empty cloud recording. @param limit of the cache folder, MB; 0 leaves it */
    bool OpenCloud(const std::string &cache, uint32_t limit, Failure *failure);

    /** Cloud recordings: hands in a playlist (or null) and goes to a Unix time (or 0). @return PLAYER_ERROR_E */
    uint32_t UpdateCloud(const char *playlist, uint32_t time);

    /** Cloud recordings: Unix time of the picture; 0 before the first. */
    uint32_t CloudTime() const;

    /** Cloud recordings: the newest run message that isn't about play; how many positions have begun to play; whether
     * play is at the end. */
    static uint32_t CloudMessage();
    static uint32_t CloudNormals();
    static bool CloudEnded();

    /** Shows the pictures in an X11 window. The window has to live until Close(). */
    bool Show(unsigned long window, Failure *failure);

    /** Whether the ring can take this piece now. A piece larger than the whole ring never fits: see Fits(). */
    bool HasRoom(const Push &push);

    /** Whether the ring can ever take this piece. */
    static bool Fits(const Push &push);

    /** Gives one piece to the library. @return false with the failure filled */
    bool Give(const Push &push, Failure *failure);

    void SetSound(bool on);

    /** Draws the rules and boxes that the camera sends over the picture, or not. */
    void SetAnalytics(bool on);

    /** Pushed data and network. */
    void SetPaused(bool paused);

    /** Recordings: stands still. SetSpeed() goes on. */
    void Halt();

    /** Recordings: plays so. @param value PLAYER_PLAY_SPEED_E */
    void SetSpeed(ULONG_32 value);

    /** Recordings: shows the next picture and stands still. */
    void Step();

    /** Recordings: goes to the first key frame at or behind a time, seconds. */
    void Seek(uint32_t seconds);

    /** Length of the recording, seconds. */
    uint32_t Length() const;

    /** Time of the recording's frame that was read last, seconds from its first frame; whole ones without video. */
    double Position();

    /** Frames found so far, of video and sound; cheap. */
    uint32_t Frames() const;

    /** How often the recording has come to its end. */
    static uint32_t Ends();

    /** Whether the peer has closed the stream. */
    static bool PeerClosed();
    void SetProportion(bool keep);

    /** Sets when a recording goes on in a new file: MB or minutes; 0 leaves it. */
    void SetSplit(uint32_t megabytes, uint32_t minutes);

    /** Records what flows from now on. @param format PLAYER_FILE_FORMATE_E @return false with the failure filled */
    bool StartRecording(const std::string &name, ULONG_32 format, Failure *failure);
    void StopRecording();

    /** How many files were recorded so far, and their names; empty for none. */
    uint32_t RecordedFiles() const;
    std::string FirstRecordedFile() const;
    std::string LastRecordedFile() const;

    /** Why the recorder gave up, PLAYER_ERROR_E; 0 when it did not. */
    static uint32_t RecordError();
    static std::string RecordErrorText();

    /** Saves the picture. @param format PLAYER_PIC_FORMATE_E @return false with the failure filled */
    bool Snap(const std::string &name, ULONG_32 format, Failure *failure);

    /** The figures of this moment. */
    Figures Read() const;

    /** Frames a second of the stream, as Figures::rate; cheap. */
    int32_t Rate() const;

    /** Stops, closes and frees everything in the right order; also without a successful Open(). */
    void Close();

 private:
    /** Raised by the callbacks, on the library's threads. */
    struct Counters {
        std::atomic<uint32_t> frames{0}, pictures{0}, sounds{0}, records{0};
        std::atomic<bool> whole{false};  ///< frames come whole: those of a file, whose stamps may stand still
        std::atomic<uint64_t> first_stamp{0}, stamp{0};  ///< of video frames, 90 kHz
    };
    static void OnPacket(ULONG_32 port, const UCHAR *data, ULONG_32 length, ULONG_32 format, void *counters,
                         LONG_REAL reserved);
    double PositionInGroup();
    static void OnFrame(ULONG_32 port, PLAYER_PARSE_VIDEO_DATA_S *frame, void *counters, LONG_REAL reserved);
    static void OnPicture(ULONG_32 port, PLAYER_PICTURE_DATA_S *picture, void *counters, LONG_REAL reserved);
    static void OnSound(ULONG_32 port, PLAYER_PARSE_AUDIO_DATA_S *frame, void *counters, LONG_REAL reserved);
    static void OnMessage(ULONG_32 kind, void *message);

    bool started_ = false, allocated_ = false, shown_ = false, sound_ = false;
    BOOL_T (*close_)(ULONG_32 port) = nullptr;  ///< undoes the open call
    bool queued_ = false;                       ///< there is a ring of packets
    ULONG_32 port_ = 0;
    HANDLE window_ = nullptr;
    bool krdf_ = false;
    uint32_t group_time_ = 0;    ///< of a record: when the group at the last look began, seconds
    uint32_t group_frames_ = 0;  ///< frames found when that group was first looked at
    size_t room_ = 0;           ///< slots that are free at least: only this side fills the ring
    Counters counters_;
};

}  // namespace zvplay

#endif
