#pragma once

#include "core/objects/Object.h"

namespace ondrel {

// One metadata entry to write into the output. Keys are kept in lower case so
// that they compare without regard to case, and a value is never absent.
class AudioProcessCommandPropertyInstructions : public Object {
    ONDREL_OBJECT(AudioProcessCommandPropertyInstructions, Object)
public:
    QString key() const { return m_key; }
    void setKey(const QString& key);  // stores key.toLower()
    QVariant value() const { return m_value; }
    void setValue(const QVariant& value);  // absent is stored as the empty string

    // The item of the properties record, by the kind of value:
    // "|key|:\"text\"", "|key|:date \"MM/dd/yyyy hh:mm:ss AM\"",
    // "|key|:{\"a\",\"b\"}" for a list, "|key|:value" for anything else.
    QString scriptDescription() const override;

private:
    QString m_key;
    QVariant m_value = QStringLiteral("");
};

} // namespace ondrel
