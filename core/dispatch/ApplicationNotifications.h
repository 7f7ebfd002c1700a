#pragma once

#include <QtCore/QString>

namespace ondrel {

// Posted on the main thread when the program is about to quit (the desktop
// program when its event loop ends, the command line before it exits), so
// that controllers can write what they keep in memory.
inline const QString ApplicationWillTerminateNotification = QStringLiteral("ApplicationWillTerminateNotification");

} // namespace ondrel
