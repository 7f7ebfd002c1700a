#pragma once

#include "core/text/VMKError.h"
#include "render/engine/files/VMKAudioFileFormat.h"

#include <QtCore/QString>
#include <QtCore/QVariantMap>

#include <memory>
#include <vector>

namespace ondrel {

// What a new file is to be: container, encoding, sample format and the
// encoder's own settings (the writer's file content properties).
struct VMKAudioFileEncoderSettings {
    const VMKAudioFileFormat* format = nullptr;
    quint32 encoding = 0;  // 0: the format's default
    double sampleRate = 0.0;
    int numberOfChannels = 0;
    int bitDepth = 0;  // 0: 16 where the encoding has a depth
    bool isFloatingPoint = false;
    quint32 bitrate = 0;  // bits per second, for encodings that take one
    QVariantMap properties;
    qint64 expectedFrames = 0;  // a hint (seek tables), 0 when unknown
};

// Encodes float channels into one new file. Made for one file; write() any
// number of times, then finish() once. A file left unfinished is incomplete.
class VMKAudioFileEncoder {
public:
    virtual ~VMKAudioFileEncoder() = default;

    // The encoder for `settings`, writing to `path`; empty with the reason in
    // `error` for a format, encoding, depth, rate or channel count the format
    // can't hold. The settings are completed (default encoding and depth).
    static std::unique_ptr<VMKAudioFileEncoder> encoderWithSettings(const VMKAudioFileEncoderSettings& settings,
                                                                    const QString& path, VMKError* error = nullptr);
    // The settings with defaults filled in and checked; false with the reason.
    static bool resolveSettings(VMKAudioFileEncoderSettings& settings, VMKError* error);

    const VMKAudioFileEncoderSettings& settings() const { return m_settings; }

    // `channels` holds settings().numberOfChannels pointers.
    virtual bool write(const float* const* channels, qint64 frames, VMKError* error) = 0;
    virtual bool finish(VMKError* error) = 0;

    static QString writingAction(const QString& path);

protected:
    // Creates the file and writes what comes before the samples.
    virtual bool open(VMKError* error) = 0;

    VMKAudioFileEncoderSettings m_settings;
    QString m_path;

    VMKError error(int code, const QString& reason) const;
    // Interleaved integers of `bits`, left-aligned in 32 bits, rounded and
    // clipped; the inverse of a read that divides by 2^(bits-1).
    static void interleaveIntegers(const float* const* channels, int count, qint64 frames, int bits, int32_t* out);
    static void interleaveFloats(const float* const* channels, int count, qint64 frames, float* out);
    // Copies `frames` samples for a lossy encoder, which can't take what is
    // no number: NaN becomes 0, an infinity full scale of its sign.
    static void copyFinite(const float* in, qint64 frames, float* out);
};

} // namespace ondrel
