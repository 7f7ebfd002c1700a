#include "cli/ActionsCommand.h"

#include "cli/ActionParameters.h"
#include "cli/Output.h"
#include "core/objects/ClassInfo.h"
#include "process/workflow/Action.h"

#include <algorithm>

namespace ondrel {

QStringList ActionsCommand::actionClassNames() {
    QStringList names;
    for (const QString& name : ClassRegistry::subclassesOf(QStringLiteral("Action"))) {
        const ClassInfo* info = ClassRegistry::classNamed(name);
        if (info && info->canCreate())
            names << name;
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::shared_ptr<Action> ActionsCommand::actionNamed(const QString& name) {
    for (const QString& className : actionClassNames())
        if (className == name || Action::identifierForClassName(className) == name)
            return std::dynamic_pointer_cast<Action>(ClassRegistry::create(className));
    return nullptr;
}

QString ActionsCommand::displayNameOfClass(const QString& className) {
    QString name = className.endsWith(QLatin1String("Action")) ? className.chopped(6) : className;
    QString words;
    for (qsizetype i = 0; i < name.size(); ++i) {
        const QChar c = name[i];
        const bool wordStart = i > 0 && c.isUpper() &&
                               (name[i - 1].isLower() || (i + 1 < name.size() && name[i + 1].isLower() && name[i - 1].isUpper()));
        if (wordStart)
            words += QLatin1Char(' ');
        words += c;
    }
    return words;
}

int ActionsCommand::run(const QStringList& arguments) {
    if (!arguments.isEmpty())
        return Output::usage(QStringLiteral("actions takes no arguments, not '%1'").arg(arguments[0]));
    QVariantList list;
    for (const QString& className : actionClassNames()) {
        const auto action = std::dynamic_pointer_cast<Action>(ClassRegistry::create(className));
        if (!action)
            continue;
        const QVariantMap defaults = action->parameterValues();
        QVariantList parameters;
        for (const auto& [key, type] : ActionParameters::typesOfAction(*action))
            parameters << QVariantMap{{QStringLiteral("key"), key},
                                      {QStringLiteral("type"), type},
                                      {QStringLiteral("default"), ActionParameters::displayValue(defaults.value(key))}};
        list << QVariantMap{{QStringLiteral("identifier"), Action::identifierForClassName(className)},
                            {QStringLiteral("className"), className},
                            {QStringLiteral("name"), displayNameOfClass(className)},
                            {QStringLiteral("parameters"), parameters}};
    }
    if (Output::isJson()) {
        Output::printJson(list);
        return Output::Done;
    }
    for (const QVariant& entry : list) {
        const QVariantMap map = entry.toMap();
        Output::line(QStringLiteral("%1  %2  \"%3\"").arg(map.value(QStringLiteral("identifier")).toString(),
                                                          map.value(QStringLiteral("className")).toString(),
                                                          map.value(QStringLiteral("name")).toString()));
        for (const QVariant& parameter : map.value(QStringLiteral("parameters")).toList()) {
            const QVariantMap p = parameter.toMap();
            const QVariant value = p.value(QStringLiteral("default"));
            Output::line(QStringLiteral("    %1 (%2) = %3")
                             .arg(p.value(QStringLiteral("key")).toString(), p.value(QStringLiteral("type")).toString(),
                                  value.isValid() ? Output::toText(value) : QStringLiteral("none")));
        }
    }
    return Output::Done;
}

} // namespace ondrel
