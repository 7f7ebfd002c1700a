#pragma once

#include "process/workflow/Action.h"

namespace ondrel {

// Makes the output an MP3 file.
class ChangeToMP3Action : public Action {
    ONDREL_OBJECT(ChangeToMP3Action, Action)
public:
    // Starts at 0.8, 160000, "cbr", false.
    ChangeToMP3Action();

    // quality, bitrate, method, useJointStereo.
    QStringList parameterKeys() const override;
    // True: the action settles the output's format and channels itself.
    bool preventInherentChannelSuffixDelimiter() const override { return true; }

    // Encoder quality from 0 to 1, for the methods "cbr" and "vbr".
    double quality() const { return m_quality; }
    void setQuality(double quality);
    // Bits per second.
    quint64 bitrate() const { return m_bitrate; }
    void setBitrate(quint64 bitrate);
    // "cbr", "vbr" or "abr".
    QString method() const { return m_method; }
    void setMethod(const QString& method);
    // Codes a stereo pair as mid and side where that is smaller.
    bool useJointStereo() const { return m_useJointStereo; }
    void setUseJointStereo(bool useJointStereo);

    // Writes the format "MP3 Audio File", the bit rate, and the arguments
    // "method", "quality" and "use joint stereo".
    void compileInstructionsForFileEntity(const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
                                          const std::shared_ptr<FileEntity>& fileEntity, qsizetype process) override;

private:
    double m_quality;
    quint64 m_bitrate;
    QString m_method;
    bool m_useJointStereo;
};

} // namespace ondrel
