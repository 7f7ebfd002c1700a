#include "shell/formatters/MIDINoteFormatter.h"

namespace ondrel {

QString MIDINoteFormatter::stringForObjectValue(const QVariant& value) const {
    return m_formatter.stringForObjectValue(value);
}

bool MIDINoteFormatter::getObjectValue(QVariant* out, const QString& string, QString* errorDescription) const {
    return m_formatter.getObjectValue(out, string, errorDescription);
}

std::shared_ptr<Formatter> MIDINoteFormatter::copy() const { return std::make_shared<MIDINoteFormatter>(); }

} // namespace ondrel
