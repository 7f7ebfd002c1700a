#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel info FILE...`: what the engine knows of audio files: format,
// encoding, channels, rate, bit depth, frames, length, bit rate, metadata
// and labels.
class InfoCommand {
public:
    static int run(const QStringList& arguments);
};

} // namespace ondrel
