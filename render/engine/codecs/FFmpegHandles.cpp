#include "render/engine/codecs/FFmpegHandles.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace ondrel {

void closeFFmpegInput(AVFormatContext* format) { avformat_close_input(&format); }

void freeFFmpegOutput(AVFormatContext* format) {
    if (format->pb)
        avio_closep(&format->pb);
    avformat_free_context(format);
}

void freeFFmpegCodec(AVCodecContext* codec) { avcodec_free_context(&codec); }

void freeFFmpegPacket(AVPacket* packet) { av_packet_free(&packet); }

void freeFFmpegFrame(AVFrame* frame) { av_frame_free(&frame); }

} // namespace ondrel
