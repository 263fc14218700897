// What comes from peers: streams over UDP and TCP, cloud recordings, and the voice that goes back.
#include <poll.h>
#include <sys/socket.h>

#include "player_ext.h"
#include "support/net_peer.h"
#include "torture/scenes.h"

namespace torture {

namespace {

using support::Socket;

/** Awaits the pictures of a network stream, and closes it. */
void Receive(Stage &stage, const Port &port) {
    stage.Await([&] { return port.pictures == long{FRAMES} && port.sounds == long{FRAMES}; });
    stage.Try("CloseNetStream", Zelvane_CloseNetStream(port.number));
    NoteMedia(stage, port);
}

void Udp(Stage &stage) {
    const uint16_t number = support::FreeUdpPort();
    const Library library(stage);
    if (!library) {
        return;
    }
    const Port port(stage);
    if (!port || !stage.Try("OpenNetStream", Zelvane_OpenNetStream(port.number, "127.0.0.1", number, "127.0.0.1", 0,
                                                                   PLAYER_PROTOCOL_UDP))) {
        return;
    }
    const Socket peer = support::UdpSender(number);
    for (const auto *packets : {&stage.material.rtpH264, &stage.material.rtpSound}) {
        for (const Bytes &packet : *packets) {
            peer.Send(packet);
        }
    }
    Receive(stage, port);
}

void Tcp(Stage &stage) {
    const support::TcpServer server;
    const Library library(stage);
    if (!library) {
        return;
    }
    const Port port(stage);
    stage.Try("SetNatParam", !port || Zelvane_SetNatParam(port.number, PLAYER_NAT_IN, "0123456789abcdef"));
    if (!port || !stage.Try("OpenNetStream", Zelvane_OpenNetStream(port.number, nullptr, 0, "127.0.0.1", server.Port(),
                                                                   PLAYER_PROTOCOL_TCP))) {
        return;
    }
    const Socket peer = server.Accept();
    peer.Send(support::FramedAll(stage.material.rtpH264));
    peer.Send(support::FramedAll(stage.material.rtpSound));
    Receive(stage, port);
}

/** Two segments, one by HTTP and one by HTTPS. */
void Cloud(Stage &stage) {
    const Library library(stage);
    if (!library) {
        return;
    }
    const Port port(stage);
    stage.Try("SetCachePath", Zelvane_SetCachePath((stage.folder + "/cache").c_str()));
    stage.Try("SetCloudCa", ZelvaneExt_SetCloudCa(stage.material.server->Cert().Ca().c_str()));
    if (!port || !stage.Try("OpenHlsStream", Zelvane_OpenHlsStream(port.number))) {
        return;
    }
    stage.Try("SpeedPlay", Zelvane_SpeedPlay(port.number, PLAYER_SPEED_4_FORWARD));
    stage.Try("UpdatePlayInfo", Zelvane_UpdatePlayInfo(port.number, stage.material.playlist.c_str(), CLOUD_START));
    stage.Await([&] { return port.pictures == long{2 * FRAMES}; });
    stage.Try("CloseHlsStream", Zelvane_CloseHlsStream(port.number));
    NoteMedia(stage, port);
    stage.NoteFiles(false);
}

/** Blocks of sound to a device, which all fit into its connection. */
void Voice(Stage &stage) {
    const support::TcpServer server;
    const Library library(stage);
    if (!library) {
        return;
    }
    const Port port(stage);
    if (!port ||
        !stage.Try("OpenVoiceSvc", Zelvane_OpenVoiceSvc(port.number, PLAYER_VOICE_SERVICE_TALKBACK_INPUT, 0, nullptr, 0,
                                                        "127.0.0.1", server.Port(), PLAYER_PROTOCOL_TCP))) {
        return;
    }
    const Socket device = server.Accept();
    const Bytes block(640, 0x11);
    for (int i = 0; i < 20; ++i) {
        stage.Try("VoiceInputData", Zelvane_VoiceInputData(port.number, block.data(), 640, nullptr));
    }
    stage.Try("CloseVoiceSvc", Zelvane_CloseVoiceSvc(port.number));
    long heard = 0;
    uint8_t bytes[4096];
    for (ssize_t got = 1; got > 0; heard += std::max<ssize_t>(got, 0)) {
        got = recv(device.Fd(), bytes, sizeof(bytes), 0);
    }
    stage.Note("heard", heard);
}

}  // namespace

std::vector<SceneRow> NetScenes() { return {{"udp", Udp}, {"tcp", Tcp}, {"cloud", Cloud}, {"voice", Voice}}; }

}  // namespace torture
