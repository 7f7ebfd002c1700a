#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace ondrel {

// Names MIDI note numbers: the pitch class ("C", "C♯", "D", "E♭", "E", "F",
// "F♯", "G", "A♭", "A", "B♭", "B") and the octave, the number / 12 minus 2,
// so 60 is "C3" and 0 is "C-2". A value class, safe to share once set up.
class VMKMIDINoteFormatter {
public:
    // The name of any note number (octaves below -2 for negative numbers).
    static QString nameOfNote(int note);

    // The name of a number from 0 to 127 (a fraction is dropped); "" for
    // anything else.
    QString stringForObjectValue(const QVariant& note) const;

    // Reads a name back into its note number (an int in `out`). "#" and "b"
    // stand for "♯" and "♭". Answers false, with a description when asked,
    // for text that isn't a note name or a name outside 0 to 127.
    bool getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const;
};

} // namespace ondrel
