#include "process/application/QuitWhenDoneTerminationPrompt.h"

namespace ondrel {

int QuitWhenDoneTerminationPrompt::runModal(const QString&, const QString&, const QStringList&) {
    return ThirdButton;
}

} // namespace ondrel
