#pragma once

#include <QtCore/QString>

namespace ondrel {

// The user text of a key from the English table (resources/strings/en.strings,
// compiled into the program). A key without a text shows itself.
QString VMKLocalizedString(const QString& key);

} // namespace ondrel
