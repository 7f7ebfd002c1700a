#include "core/text/VMKMIDINoteFormatter.h"

#include "core/objects/Variant.h"
#include "core/text/VMKLocalizedString.h"

#include <QtCore/QRegularExpression>

#include <cmath>

namespace ondrel {

namespace {

const char* const kPitchClasses[12] = {"C", "C♯", "D", "E♭", "E", "F", "F♯", "G", "A♭", "A", "B♭", "B"};

// Semitones above C of the natural notes C to B, by letter from A.
const int kNaturals[7] = {9, 11, 0, 2, 4, 5, 7};

} // namespace

QString VMKMIDINoteFormatter::nameOfNote(int note) {
    // Floor division, so that the octave and pitch class stay right below 0.
    const int octave = note >= 0 ? note / 12 : -((-note + 11) / 12);
    const int pitchClass = note - octave * 12;
    return QString::fromUtf8(kPitchClasses[pitchClass]) + QString::number(octave - 2);
}

QString VMKMIDINoteFormatter::stringForObjectValue(const QVariant& note) const {
    if (!Variant::isNumber(note))
        return {};
    const double value = std::trunc(note.toDouble());
    if (!(value >= 0.0 && value <= 127.0))
        return {};
    return nameOfNote(int(value));
}

bool VMKMIDINoteFormatter::getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const {
    static const QRegularExpression name(QStringLiteral("^([A-Ga-g])(♯|#|♭|b)?(-?\\d{1,3})$"));
    const QRegularExpressionMatch match = name.match(string.trimmed());
    int note = -1;
    if (match.hasMatch()) {
        const QString accidental = match.captured(2);
        const int shift = accidental.isEmpty() ? 0 : (accidental == QStringLiteral("♯") || accidental == QLatin1String("#")) ? 1 : -1;
        note = kNaturals[match.captured(1).toUpper().at(0).unicode() - 'A'] + shift +
               (match.captured(3).toInt() + 2) * 12;
    }
    if (note < 0 || note > 127) {
        if (errorDescription)
            *errorDescription = VMKLocalizedString(QStringLiteral("VMKMIDINoteFormatter_error_invalidNote")).arg(string);
        return false;
    }
    if (out)
        *out = note;
    return true;
}

} // namespace ondrel
