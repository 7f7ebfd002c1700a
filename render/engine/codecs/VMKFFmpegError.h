#pragma once

#include <QtCore/QString>

extern "C" {
#include <libavutil/error.h>
}

namespace ondrel {

// FFmpeg's text for one of its error codes.
inline QString ffmpegError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

} // namespace ondrel
