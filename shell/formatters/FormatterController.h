#pragma once

#include "shell/formatters/Formatter.h"

#include <QtCore/QHash>
#include <QtCore/QStringList>

#include <memory>

namespace ondrel {

// The one way to show a property value: holds a formatter for each property
// key, so that a place which shows a key needs no knowledge of its unit.
// Keys that share a unit share one formatter (all level keys one
// LevelFormatter). Made once, at the first sharedInstance(), and never
// changed after: safe to use from any thread.
class FormatterController {
public:
    static std::shared_ptr<FormatterController> sharedInstance();

    // Key to formatter, for every key with one.
    const QHash<QString, std::shared_ptr<Formatter>>& formatters() const { return m_formatters; }
    // The keys in the order their formatters were made.
    const QStringList& keys() const { return m_keys; }

    // The formatter of a key, or null.
    std::shared_ptr<Formatter> formatterForKey(const QString& key) const;

    // The text of a value of a key: by the key's formatter; without one, a
    // text as it stands and anything else by its description ("" for an
    // absent value).
    QString stringForObjectValue(const QVariant& value, const QString& key) const;

    // Reads a text of a key back into a value by the key's formatter (absent
    // when it can't, with the reason in `errorDescription` when given);
    // without a formatter, the text as it stands.
    QVariant objectValueForString(const QString& string, const QString& key, QString* errorDescription = nullptr) const;

private:
    FormatterController();
    void add(const QStringList& keys, const std::shared_ptr<Formatter>& formatter);

    QHash<QString, std::shared_ptr<Formatter>> m_formatters;
    QStringList m_keys;
};

} // namespace ondrel
