#pragma once

#include <QtCore/QStringList>
#include <QtCore/QVariantMap>

#include <memory>

namespace ondrel {

class Action;

// The parameters of an action as the command line reads and shows them.
// A parameter's type is that of its value in a new action of the class:
// "bool", "unsigned", "integer", "float", "text", "list", "data" (a
// bookmark, given as a path, "" for none; a destinationBookmark names a
// folder); a parameter without a default takes what the text looks like.
class ActionParameters {
public:
    // The type name of each parameter key of the class, in key order.
    static QList<QPair<QString, QString>> typesOfAction(const Action& action);

    // Reads KEY=VALUE arguments for `action` into typed values. On the first
    // unknown key, malformed argument or value of the wrong type, answers
    // false with a message that names it; `values` is then incomplete and
    // nothing has been set.
    static bool read(const Action& action, const QStringList& arguments, QVariantMap* values, QString* error);

    // Sets values that read() gave, in the action's key order.
    static void apply(Action& action, const QVariantMap& values);

    // A value as the command line shows it: a bookmark as its path.
    static QVariant displayValue(const QVariant& value);
};

} // namespace ondrel
