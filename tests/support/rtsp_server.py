#!/usr/bin/python3
"""GStreamer's RTSP server with a few test streams, for the flow tests of RTSP clients.

usage: rtsp_server.py PORT [none|basic|digest]

Streams: /h264 /h265 /mjpeg (video alone), /pcmu /pcma /aac (H.264 with sound), /vp8 (what nobody plays), /short (ends).
With a login: user "camera", password "s3cret/@:".
"""
import sys

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstRtspServer", "1.0")
from gi.repository import GLib, Gst, GstRtspServer  # noqa: E402

SOURCE = "videotestsrc is-live=true {} ! video/x-raw,width=320,height=240,framerate=25/1 ! "
H264 = "x264enc tune=zerolatency speed-preset=ultrafast key-int-max=25 bitrate=400 ! rtph264pay name=pay0 pt=96"
SOUND = " audiotestsrc is-live=true ! audio/x-raw,rate={},channels=1 ! {} name=pay1"
VIDEO = SOURCE.format("") + H264
STREAMS = {
    "/h264": VIDEO,
    "/h265": SOURCE.format("") + "x265enc tune=zerolatency speed-preset=ultrafast key-int-max=25 ! rtph265pay name=pay0 pt=97",
    "/mjpeg": SOURCE.format("") + "videoconvert ! video/x-raw,format=I420 ! jpegenc ! rtpjpegpay name=pay0 pt=26",
    "/pcmu": VIDEO + SOUND.format(8000, "mulawenc ! rtppcmupay"),
    "/pcma": VIDEO + SOUND.format(8000, "alawenc ! rtppcmapay"),
    "/aac": VIDEO + SOUND.format(44100, "avenc_aac ! rtpmp4gpay pt=98"),
    "/vp8": SOURCE.format("") + "vp8enc deadline=1 ! rtpvp8pay name=pay0 pt=96",
    "/short": SOURCE.format("num-buffers=40") + H264,
}


def protect(server, method):
    """Asks for a login of every client."""
    auth = GstRtspServer.RTSPAuth()
    token = GstRtspServer.RTSPToken()
    token.set_string("media.factory.role", "user")
    if method == "basic":
        auth.add_basic(GstRtspServer.RTSPAuth.make_basic("camera", "s3cret/@:"), token)
    else:
        auth.set_supported_methods(2)
        auth.add_digest("camera", "s3cret/@:", token)
    server.set_auth(auth)


def main():
    Gst.init(None)
    server = GstRtspServer.RTSPServer()
    server.set_address("127.0.0.1")
    server.set_service(sys.argv[1])
    method = sys.argv[2] if len(sys.argv) > 2 else "none"
    for path, pipeline in STREAMS.items():
        factory = GstRtspServer.RTSPMediaFactory()
        factory.set_launch(f"( {pipeline} )")
        if method != "none":
            permissions = GstRtspServer.RTSPPermissions()
            permissions.add_permission_for_role("user", "media.factory.access", True)
            permissions.add_permission_for_role("user", "media.factory.construct", True)
            factory.set_permissions(permissions)
        server.get_mount_points().add_factory(path, factory)
    if method != "none":
        protect(server, method)
    if server.attach(None) == 0:
        sys.exit("rtsp_server: the port is taken")
    print("ready", flush=True)
    GLib.MainLoop().run()


main()
