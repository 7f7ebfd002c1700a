#include "core/values/UUID.h"

#include <QtCore/QUuid>

namespace ondrel {

QString UUID::UUIDString() { return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(); }

bool UUID::isValidUUIDString(const QString& text) {
    return text.size() == 36 && !QUuid::fromString(text).isNull();
}

} // namespace ondrel
