#include "core/UUID.h"

#include <QtCore/QUuid>

QString UUID::UUIDString() { return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(); }

bool UUID::isValidUUIDString(const QString& text) {
    return text.size() == 36 && !QUuid::fromString(text).isNull();
}
