#include "process/QuitWhenDoneTerminationPrompt.h"

int QuitWhenDoneTerminationPrompt::runModal(const QString&, const QString&, const QStringList&) {
    return ThirdButton;
}
