#include "actions/save/SaveActionFilenameAnalysisToken.h"

#include "core/text/VMKLocalizedString.h"

namespace ondrel {

const ClassInfo& SaveActionFilenameAnalysisToken::staticClassInfo() {
    using C = SaveActionFilenameAnalysisToken;
    static const ClassInfo& info =
        ClassInfo::define<C, SaveActionFilenameToken>(QStringLiteral("SaveActionFilenameAnalysisToken"))
            .property(QStringLiteral("property"), &C::property, &C::setProperty);
    return info;
}

void SaveActionFilenameAnalysisToken::setProperty(const QString& property) {
    setAndPost(QStringLiteral("property"), m_property, property);
}

QString SaveActionFilenameAnalysisToken::displayString() const {
    return VMKLocalizedString(QStringLiteral("Entity_property_%1").arg(m_property));
}

const QStringList& SaveActionFilenameAnalysisToken::analysisKeys() {
    static const QStringList keys{
        QStringLiteral("peak"),         QStringLiteral("positiveMaximum"),  QStringLiteral("negativeMaximum"),
        QStringLiteral("peakToPeak"),   QStringLiteral("RMS"),              QStringLiteral("average"),
        QStringLiteral("DCOffset"),     QStringLiteral("formFactor"),       QStringLiteral("crestFactor"),
        QStringLiteral("difference"),   QStringLiteral("midPeak"),          QStringLiteral("sidePeak"),
        QStringLiteral("countOfClipEvents"), QStringLiteral("detectedSemitone"), QStringLiteral("programLoudness"),
        QStringLiteral("truePeak"),     QStringLiteral("loudnessRange")};
    return keys;
}

} // namespace ondrel
