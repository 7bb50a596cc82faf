# SPDX-License-Identifier: BSD-2-Clause
"""The clips that damage.py damages: codecs and containers, and how ffmpeg makes them."""

WIDTH, HEIGHT, FRAMES = 320, 240, 50
H264 = "-c:v libx264 -pix_fmt yuv420p -g 12 "
H265 = "-c:v libx265 -pix_fmt yuv420p -x265-params log-level=none:keyint=12:pools=none "
MPEG2 = "-c:v mpeg2video -pix_fmt yuv420p -bf 2 -b:v 1M "
MXF = "-c:v mpeg2video -pix_fmt yuv422p -b:v 4M -g 12 "
AV1 = "-c:v libaom-av1 -pix_fmt yuv420p -cpu-used 8 -b:v 400k -g 12 "
VP9 = "-c:v libvpx-vp9 -pix_fmt yuv420p -cpu-used 8 -deadline realtime -b:v 400k -g 12 "
DV = "-s 720x576 -c:v dvvideo -pix_fmt yuv420p -frames:v 15 "
FEW = "-frames:v 20 "  # files of these would be large
AUDIO = "-f lavfi -i sine=duration=2 -c:a mp2 -map 0 -map 1 "

# The name begins with the codec and ends with the file's extension.
FORMATS = {
    "h264.mp4": H264,
    "h264-nob.mp4": H264 + "-bf 0 -movflags +faststart",
    "h264-fragments.mp4": H264 + "-movflags +frag_keyframe+empty_moov",
    "h264.mov": H264,
    "h264.mkv": H264,
    "h264.ts": H264,
    "h264-audio.ts": AUDIO + H264,
    "h264-nob.avi": H264 + "-bf 0",
    "h264.flv": H264,
    "h264.264": H264,
    "h265.mp4": H265 + "-tag:v hvc1",
    "h265.mkv": H265,
    "h265.ts": H265,
    "h265.265": H265,
    "mpeg1.mpg": "-c:v mpeg1video -pix_fmt yuv420p -b:v 1M",
    "mpeg2.ts": MPEG2,
    "mpeg2-audio.ts": AUDIO + MPEG2,
    "mpeg2.mpg": MPEG2 + "-f vob",
    "mpeg2.m2v": MPEG2,
    "mpeg2.mxf": MXF,
    "mpeg4.avi": "-c:v mpeg4 -b:v 600k",
    "mpeg4.mp4": "-c:v mpeg4 -bf 2 -b:v 600k",
    "xvid.avi": "-c:v libxvid -b:v 600k",
    "msmpeg4.avi": "-c:v msmpeg4 -b:v 600k",
    "h263.3gp": "-s 352x288 -c:v h263 -b:v 600k",
    "vp8.webm": "-c:v libvpx -pix_fmt yuv420p -cpu-used 8 -deadline realtime -b:v 400k -g 12",
    "vp9.webm": VP9,
    "vp9.mp4": VP9,
    "av1.mp4": AV1,
    "av1.webm": AV1,
    "av1.ivf": AV1,
    "mjpeg.avi": "-c:v mjpeg -pix_fmt yuvj420p",
    "mjpeg.mov": "-c:v mjpeg -pix_fmt yuvj420p",
    "mjpeg.mjpeg": "-c:v mjpeg -pix_fmt yuvj420p",
    "prores.mov": FEW + "-c:v prores -pix_fmt yuv422p10le",
    "dnxhd.mov": FEW + "-c:v dnxhd -profile:v dnxhr_sq -pix_fmt yuv422p",
    "dnxhd.mxf": FEW + "-c:v dnxhd -profile:v dnxhr_sq -pix_fmt yuv422p",
    "jpeg2000.mxf": FEW + "-c:v jpeg2000 -pix_fmt yuv422p",
    "ffv1.mkv": FEW + "-c:v ffv1 -level 3 -slicecrc 1 -pix_fmt yuv420p",
    "ffv1.avi": FEW + "-c:v ffv1 -pix_fmt yuv420p",
    "huffyuv.avi": FEW + "-c:v huffyuv -pix_fmt yuv422p",
    "utvideo.avi": FEW + "-c:v utvideo -pix_fmt yuv420p",
    "theora.ogv": "-c:v libtheora -pix_fmt yuv420p -b:v 600k",
    "dv.dv": DV,
    "dv.avi": DV,
    "wmv2.wmv": "-c:v wmv2 -b:v 600k",
    "flv1.flv": "-c:v flv1 -b:v 600k",
    "rv20.rm": "-c:v rv20 -b:v 600k",
    "qtrle.mov": FEW + "-c:v qtrle",
    "gif.gif": "",
    "png.png": FEW + "-f image2pipe -c:v png -pix_fmt rgb24",
    "png.mov": FEW + "-c:v png -pix_fmt rgb24",
    "raw.avi": FEW + "-c:v rawvideo -pix_fmt yuv420p",
    "raw.y4m": FEW + "-pix_fmt yuv420p",
    "raw.nut": FEW + "-c:v rawvideo -pix_fmt yuv420p",
    "raw.yuv": FEW + "-f rawvideo -pix_fmt yuv420p",
}
# What the two programs must be told of files without a header.
QC_OPTIONS = {"raw.yuv": ["--raw", "--size", f"{WIDTH}x{HEIGHT}", "--fps", "25"]}
FFMPEG_OPTIONS = {"raw.yuv": ["-f", "rawvideo", "-s", f"{WIDTH}x{HEIGHT}", "-r", "25"]}
