#pragma once

#include "process/interfaces/TerminationPrompt.h"

namespace ondrel {

// The command line's answer when asked to quit during work: nobody is there
// to ask, so it always quits when the work is done.
class QuitWhenDoneTerminationPrompt : public TerminationPrompt {
public:
    int runModal(const QString& messageText, const QString& informativeText,
                 const QStringList& buttonTitles) override;
};

} // namespace ondrel
