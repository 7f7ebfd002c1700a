#pragma once

#include "core/text/VMKError.h"
#include "render/engine/files/VMKAudioFileFormat.h"

#include <QtCore/QVariantMap>

namespace ondrel {

// The tags of audio files, by the keys of the metadata table: ID3v2.4 in
// MP3, WAVE (with the RIFF INFO list beside it) and AIFF files, Vorbis
// comments in FLAC and Ogg Vorbis files, atoms in MP4 files (through TagLib),
// and the info chunk of CAF files (our own chunk code). Other formats hold no
// tags: writing drops them without an error.
class VMKAudioFileTags {
public:
    // The file's metadata; empty when it has none or its tags are damaged.
    static QVariantMap metadataOfFile(const QString& path, const VMKAudioFileFormat& format);
    // Writes `metadata` into a finished file, replacing its tags.
    static bool writeMetadata(const QString& path, const VMKAudioFileFormat& format, const QVariantMap& metadata,
                              VMKError* error);
};

} // namespace ondrel
