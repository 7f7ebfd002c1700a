#pragma once

#include <QtCore/QString>

namespace ondrel {

class UUID {
public:
    // A new random UUID as upper-case text without braces:
    // "8F2C1E0A-5B7D-4C3E-9A1F-0D2E3F4A5B6C".
    static QString UUIDString();
    static bool isValidUUIDString(const QString& text);
};

} // namespace ondrel
