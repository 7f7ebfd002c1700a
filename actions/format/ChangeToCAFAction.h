#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes the output a CAF file, of PCM or of AAC. With AAC the bit rate
// applies; otherwise, as with the other PCM formats, the depth applies only
// to a source without one of its own.
class ChangeToCAFAction : public Action {
    ONDREL_OBJECT(ChangeToCAFAction, Action)
public:
    // Starts at 16, false, "PCM", 160000.
    ChangeToCAFAction();

    // bitDepth, floatingPoint, encoding, bitrate.
    QStringList parameterKeys() const override;
    // True: the action settles the output's format and channels itself.
    bool preventInherentChannelSuffixDelimiter() const override { return true; }

    // Bits per sample, for a source without a depth of its own.
    quint64 bitDepth() const { return m_bitDepth; }
    void setBitDepth(quint64 bitDepth);
    // Floating point samples, written together with the depth.
    bool isFloatingPoint() const { return m_floatingPoint; }
    void setFloatingPoint(bool floatingPoint);
    // Encoding name, as "PCM" or "AAC".
    QString encoding() const { return m_encoding; }
    void setEncoding(const QString& encoding);
    // Bits per second, used with the encoding "AAC".
    quint64 bitrate() const { return m_bitrate; }
    void setBitrate(quint64 bitrate);

    // Writes the format "CAF File" and the encoding; then the bit rate for
    // "AAC", or else the depth when the source has none of its own.
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    quint64 m_bitDepth;
    bool m_floatingPoint;
    QString m_encoding;
    quint64 m_bitrate;
};

} // namespace ondrel
