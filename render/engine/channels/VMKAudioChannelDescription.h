#pragma once

#include <QtCore/QString>

namespace ondrel {

// One channel of a channel set: its abbreviation ("L", "Lfe" ...) and its name.
class VMKAudioChannelDescription {
public:
    VMKAudioChannelDescription(const QString& abbreviation, const QString& name)
        : m_abbreviation(abbreviation), m_name(name) {}

    const QString& abbreviation() const { return m_abbreviation; }
    const QString& name() const { return m_name; }

private:
    QString m_abbreviation;
    QString m_name;
};

} // namespace ondrel
