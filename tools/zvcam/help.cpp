#include "zvcam/options.h"

namespace zvcam {
namespace {

const char kHelp[] =
    R"(zvcam - a camera for demonstrations and tests: sends H.264 or H.265 with sound, or writes a device's record of it

usage: zvcam [option...] [FILE] DESTINATION...
       zvcam --krdf RECORD [option...] [FILE]

FILE is H.264 or H.265 as an encoder writes it (Annex B, .264 or .265). Without one a moving test picture is sent, which
ffmpeg encodes. DESTINATION, one or many, is
  udp://HOST:PORT     sends RTP datagrams there
  tcp://[HOST]:PORT   serves any number of clients there, RTP packets behind "$" heads; port 0 takes a free one
with ?ts behind it for MPEG-TS as this platform's devices write it, instead of RTP.

examples
  zvcam udp://127.0.0.1:5004                             the test picture, for zvplay udp://:5004
  zvcam --loop --audio aac front.264 tcp://:8554         a file as a camera, for zvplay tcp://127.0.0.1:8554
  zvcam --loss 1 --reorder 1 --seed 7 udp://127.0.0.1:5004
  zvcam --fast --split 7 front.265 tcp://127.0.0.1:8554?ts
  zvcam --krdf a.krdf --seconds 60 --audio g711u         a record, for zvplay a.krdf
  zvcam --listen said.wav --echo tcp://:8554             for zvplay --talk hello.wav tcp://127.0.0.1:8554
  zvcam --sdp cam.sdp udp://127.0.0.1:5004               for ffplay -protocol_whitelist file,udp,rtp cam.sdp

stream
  --seconds T          stop after so much of the stream: seconds, or 1:30
  --loop               begin again at the end of FILE
  --fps N              frame rate of FILE; default its own, or 25
  --speed X            X times as fast
  --fast               as fast as the sockets take it; it ends when the last client has gone
  --wait N             wait for N clients before the first frame; default 1 if all destinations are tcp://
                       who comes later begins with the next key frame
test picture
  --size WxH           default 640x360
  --codec h264|h265    default h264; of records also jpeg
  --bit-rate KBIT      default 2000
  --gop N              frames from key frame to key frame; default 2 seconds
sound
  --audio KIND         g711u, g711a or aac: a beep a second; default none
  --audio-file FILE    instead of the beep: raw G.711 at 8000 Hz, or AAC with ADTS heads
  --listen FILE.wav    write down what a client says (G.711 mu-law in RTP on channel 4 of its connection); the second who
                       talks gets FILE-2.wav, and so on
  --echo               send it back as the camera's sound (TCP, instead of --audio)
protection
  --scramble --rsa-key PEM   scramble, for who holds the private key: zvplay --rsa-key PEM
  --scramble-file PASSWORD   scramble, for who knows the password of a recording: zvplay --password PASSWORD
                             both together make a stream that is live for the one and a file for the other; keys change
  --watermark TEXT     mark key pictures, at most 256 characters: zvprobe --watermark RECORDING
packets
  --mtu N              most bytes of payload in a packet, default 1400
  --aggregate          H.264 parameter sets and messages in one packet
  --playback-time T    header extension with the playback time, from T seconds since 1970 on, or from now on
  --finish             a last packet that says that the playback has finished
  --spread MS          spread the datagrams of a frame over so many milliseconds
  --sdp FILE           write a description of the first udp:// destination, for other players
analytics
  --analytics FILE     send rules and moving boxes beside the pictures, as a JSON file says; see below
record
  --krdf RECORD        write the stream into a KRDF record, as fast as it comes, and send nothing; FILE may be .mjpeg, and
                       --playback-time T is when it begins, default now; its sound is G.711
  --unit-groups N      go on in the next unit, 256 MiB further, after N groups of pictures; default when one is full. The
                       file has holes then: 16 units are 4 GiB at most, of which little lies on the disk
  --gop N              of JPEG: pictures a group; default a second of them

faults, as percentages of the packets; they repeat exactly with the same --seed N, default 1
  --loss P             left out, --loss-burst N at a time
  --reorder P          sent behind up to --reorder-depth N later ones, default 3
  --duplicate P        sent twice
  --damage P           one to three bytes changed, anywhere in the packet
  --truncate P         cut short
  --garbage P          random bytes in front (TCP)
  --false-length P     another length in the head (TCP)
faults of every client's connection
  --split N            TCP writes of 1 to N bytes
  --reset-after N      reset the connection behind N packets
  --close-after N      close it behind N packets and half a packet
  --stall-after N      send nothing behind N packets, for --stall SECONDS, default 5

a scene for --analytics; all but points and from may be left out, and stands here with its default or all its words
  {
    "version": 2,                   1: rules, and how many boxes there are; 2: both
    "as": "sei",                    data: in data frames; sei: in messages of the pictures, version 2 only; both
    "hold": 500,                    milliseconds that a box stands; version 2
    "rule_hold": 2500,              milliseconds that a rule stands; version 2
    "every": 1,                     pictures from one record of boxes to the next; rules go once a second
    "rules": [{
      "type": "line",               or area
      "points": [[1000, 2000], [9000, 2000]],   2 to 16, version 1: 7; in ten-thousandths of the picture
      "direction": "none",          both, cw, ccw: an arrow on a line; in, out: of an area
      "triggered": false, "color": "green", "alpha": 255, "fill": "none", "fill_alpha": 64, "id": 0
    }],                             colors: none deep light white black red green blue orange purple pink yellow
    "boxes": [{                       brown gray
      "from": [500, 4000, 1500, 6000],          left, top, right, bottom
      "to": [8500, 4000, 9500, 6000], "seconds": 4,   there, and back again
      "rule": 0,                    that it sets off, 0 for none
      "color": "red", "alpha": 255, "id": 0
    }]
  }

  --quiet              no notes on standard error
  --version            print the library's version
  --help               print this

At its end, also when it is interrupted, it prints one line of JSON on standard output: what was sent, in all and by
client. "drops" are frames left out for a client that does not keep up.

exit codes
  0 done   1 wrong command line   2 source   3 network   4 the report could not be written
)";

}  // namespace

const char *HelpText() { return kHelp; }

}  // namespace zvcam
