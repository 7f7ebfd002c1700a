#include "cli/DefaultsCommand.h"

#include "cli/ArgumentValue.h"
#include "cli/Output.h"
#include "core/storage/UserDefaults.h"

namespace ondrel {

int DefaultsCommand::read(const QStringList& arguments) {
    UserDefaults& defaults = *UserDefaults::standardUserDefaults();
    if (arguments.isEmpty()) {
        const QVariantMap all = defaults.persistentDomain();
        if (Output::isJson()) {
            Output::printJson(all);
        } else {
            for (auto it = all.cbegin(); it != all.cend(); ++it)
                Output::line(it.key() + QStringLiteral(" = ") + Output::toText(it.value()));
        }
        return Output::Done;
    }
    if (arguments.size() > 1)
        return Output::usage(QStringLiteral("defaults read takes at most one key"));
    const QString& key = arguments.first();
    const QVariant value = defaults.objectForKey(key);
    if (!value.isValid()) {
        Output::error(QStringLiteral("the default '%1' is not set").arg(key));
        return Output::SomeItemFailed;
    }
    if (Output::isJson())
        Output::printJson(value);
    else
        Output::line(Output::toText(value));
    return Output::Done;
}

int DefaultsCommand::write(const QStringList& arguments) {
    if (arguments.size() != 2 && arguments.size() != 3)
        return Output::usage(QStringLiteral("usage: ondrel defaults write KEY [string|int|float|bool|json] VALUE"));
    QString problem;
    const QVariant value = arguments.size() == 3 ? ArgumentValue::parseAs(arguments[1], arguments[2], &problem)
                                                 : ArgumentValue::parse(arguments[1], &problem);
    if (!value.isValid())
        return Output::usage(QStringLiteral("cannot read the value: %1").arg(problem));
    UserDefaults& defaults = *UserDefaults::standardUserDefaults();
    defaults.setObjectForKey(value, arguments[0]);
    VMKError error;
    if (!defaults.synchronize(&error)) {
        Output::error(error.localizedDescription());
        return Output::CannotOpen;
    }
    return Output::Done;
}

int DefaultsCommand::remove(const QStringList& arguments) {
    if (arguments.size() != 1)
        return Output::usage(QStringLiteral("usage: ondrel defaults delete KEY"));
    UserDefaults& defaults = *UserDefaults::standardUserDefaults();
    defaults.removeObjectForKey(arguments[0]);
    return defaults.synchronize() ? Output::Done : Output::CannotOpen;
}

} // namespace ondrel
