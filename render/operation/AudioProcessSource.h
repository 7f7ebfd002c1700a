#pragma once

#include "core/files/URL.h"

#include <QtCore/QString>
#include <QtCore/QVariantMap>

#include <memory>
#include <vector>

namespace ondrel {

class AudioProcessCommandSourceInstructions;
class VMKAudioLabel;

// One source of a render, as its file entity was when the render was made,
// so that the render never reads the catalog again.
struct AudioProcessSource {
    // The files of the entity; several for a split file, in channel order.
    std::vector<URL> URLs;
    QString format;    // container display name ("WAVE File")
    QString encoding;  // encoding name as the entity shows it ("PCM")
    double sampleRate = 0.0;
    quint64 channels = 0;  // over all its files
    quint64 bitDepth = 0;
    quint64 bitrate = 0;
    double length = 0.0;  // seconds
    bool floatingPoint = false;
    QVariantMap metadata;
    std::vector<std::shared_ptr<VMKAudioLabel>> labels;
    // What the workflow asks of this source; never null.
    std::shared_ptr<AudioProcessCommandSourceInstructions> instructions;
};

} // namespace ondrel
