#include "cli/PrintingUserNotifier.h"

#include "cli/Output.h"

namespace ondrel {

void PrintingUserNotifier::deliverNotification(const UserNotification& notification) {
    if (Output::isQuiet())
        return;
    QString text = notification.title;
    if (!notification.subtitle.isEmpty())
        text += QStringLiteral(", ") + notification.subtitle;
    // One write of the whole line (stdio locks the stream for each call).
    Output::error(Output::oneLine(text));
}

} // namespace ondrel
