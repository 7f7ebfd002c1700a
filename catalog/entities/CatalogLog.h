#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ondrel {

enum class LogLevel : unsigned { Error = 3, Warning = 4, Notice = 5 };

// Logs the text of `key` with its %1, %2 ... filled from `arguments`.
void catalogLog(LogLevel level, const QString& key, const QStringList& arguments = {});

} // namespace ondrel
