#include "actions/format/ChangeToMP3Action.h"

namespace ondrel {

const ClassInfo& ChangeToMP3Action::staticClassInfo() {
    using C = ChangeToMP3Action;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("ChangeToMP3Action"))
            .property(QStringLiteral("quality"), &C::quality, &C::setQuality)
            .property(QStringLiteral("bitrate"), &C::bitrate, &C::setBitrate)
            .property(QStringLiteral("method"), &C::method, &C::setMethod)
            .property(QStringLiteral("useJointStereo"), &C::useJointStereo, &C::setUseJointStereo);
    return info;
}

ChangeToMP3Action::ChangeToMP3Action()
    : m_quality(0.8),
      m_bitrate(160000),
      m_method(QStringLiteral("cbr")),
      m_useJointStereo(false) {}

QStringList ChangeToMP3Action::parameterKeys() const {
    return {QStringLiteral("quality"), QStringLiteral("bitrate"), QStringLiteral("method"),
            QStringLiteral("useJointStereo")};
}

void ChangeToMP3Action::setQuality(double quality) { setAndNotify(QStringLiteral("quality"), m_quality, quality); }

void ChangeToMP3Action::setBitrate(quint64 bitrate) { setAndNotify(QStringLiteral("bitrate"), m_bitrate, bitrate); }

void ChangeToMP3Action::setMethod(const QString& method) { setAndNotify(QStringLiteral("method"), m_method, method); }

void ChangeToMP3Action::setUseJointStereo(bool useJointStereo) {
    setAndNotify(QStringLiteral("useJointStereo"), m_useJointStereo, useJointStereo);
}

void ChangeToMP3Action::compileInstructionsForFileEntity(
    const std::shared_ptr<AudioProcessCommandInstructions>& instructions,
    const std::shared_ptr<FileEntity>&, qsizetype) {
    instructions->setFormat(QStringLiteral("MP3 Audio File"));
    instructions->setBitrate(qint64(m_bitrate));
    instructions->addArgumentValue(m_method, QStringLiteral("method"));
    instructions->addArgumentValue(m_quality, QStringLiteral("quality"));
    instructions->addArgumentValue(m_useJointStereo, QStringLiteral("use joint stereo"));
}

} // namespace ondrel
