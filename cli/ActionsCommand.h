#pragma once

#include <QtCore/QStringList>

#include <memory>

namespace ondrel {

class Action;

// `ondrel actions`: every action class the program has, with its identifier
// and its parameters' types and defaults.
class ActionsCommand {
public:
    static int run(const QStringList& arguments);

    // A new action of the class named by its class name or its identifier
    // ("ChangeToFLACAction" or "changeToFLAC"); null when there is none.
    static std::shared_ptr<Action> actionNamed(const QString& name);
    // Every action class that can be made, by class name.
    static QStringList actionClassNames();
    // A class name as words: "ChangeSampleRateAppleAction" -> "Change Sample Rate Apple".
    static QString displayNameOfClass(const QString& className);
};

} // namespace ondrel
