#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ondrel {

// Asks the user what to do when quitting while work is running. The desktop
// program shows a modal alert; the command line answers without asking.
class TerminationPrompt {
public:
    // Answers of runModal: the index of the chosen button.
    enum : int { FirstButton = 0, SecondButton = 1, ThirdButton = 2 };

    virtual ~TerminationPrompt() = default;
    // Shows the message, the informative text and the buttons (in order) and
    // answers the index of the button chosen, or anything else when none was.
    virtual int runModal(const QString& messageText, const QString& informativeText,
                         const QStringList& buttonTitles) = 0;
};

} // namespace ondrel
