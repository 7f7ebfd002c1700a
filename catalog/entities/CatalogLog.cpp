#include "catalog/entities/CatalogLog.h"

#include "core/text/VMKLocalizedString.h"
#include "logging/LogController.h"

namespace ondrel {

void catalogLog(LogLevel level, const QString& key, const QStringList& arguments) {
    // One pass over the text: a path holding "%2" is not filled in again.
    QString text = VMKLocalizedString(key);
    switch (arguments.size()) {
    case 0: break;
    case 1: text = text.arg(arguments[0]); break;
    case 2: text = text.arg(arguments[0], arguments[1]); break;
    case 3: text = text.arg(arguments[0], arguments[1], arguments[2]); break;
    default: text = text.arg(arguments[0], arguments[1], arguments[2], arguments[3]); break;
    }
    LogController::sharedInstance()->logWithLevel(unsigned(level), text);
}

} // namespace ondrel
