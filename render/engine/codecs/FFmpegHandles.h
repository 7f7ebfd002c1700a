#pragma once

#include "render/engine/graph/CHandle.h"

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;

namespace ondrel {

// The releases of FFmpeg's objects, each by the call FFmpeg pairs with how
// the object was made.
void closeFFmpegInput(AVFormatContext* format);  // avformat_open_input
void freeFFmpegOutput(AVFormatContext* format);  // avformat_alloc_output_context2, closing any open file
void freeFFmpegCodec(AVCodecContext* codec);     // avcodec_alloc_context3
void freeFFmpegPacket(AVPacket* packet);         // av_packet_alloc
void freeFFmpegFrame(AVFrame* frame);            // av_frame_alloc

using FFmpegInput = CHandle<AVFormatContext, closeFFmpegInput>;
using FFmpegOutput = CHandle<AVFormatContext, freeFFmpegOutput>;
using FFmpegCodec = CHandle<AVCodecContext, freeFFmpegCodec>;
using FFmpegPacket = CHandle<AVPacket, freeFFmpegPacket>;
using FFmpegFrame = CHandle<AVFrame, freeFFmpegFrame>;

} // namespace ondrel
