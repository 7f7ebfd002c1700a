#include "cli/DefaultsCommand.h"

#include "cli/ArgumentValue.h"
#include "cli/Output.h"
#include "core/storage/UserDefaults.h"

namespace ondrel {

namespace {

int read(const QStringList& arguments) {
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

int write(const QStringList& arguments) {
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

int remove(const QStringList& arguments) {
    if (arguments.size() != 1)
        return Output::usage(QStringLiteral("usage: ondrel defaults delete KEY"));
    UserDefaults& defaults = *UserDefaults::standardUserDefaults();
    defaults.removeObjectForKey(arguments[0]);
    return defaults.synchronize() ? Output::Done : Output::CannotOpen;
}

} // namespace

int DefaultsCommand::run(const QStringList& arguments) {
    if (arguments.isEmpty())
        return Output::usage(QStringLiteral("defaults needs read, write or delete"));
    const QString verb = arguments.first();
    const QStringList rest = arguments.mid(1);
    if (verb == QLatin1String("read"))
        return read(rest);
    if (verb == QLatin1String("write"))
        return write(rest);
    if (verb == QLatin1String("delete"))
        return remove(rest);
    return Output::usage(QStringLiteral("unknown defaults verb '%1'").arg(verb));
}

QString DefaultsCommand::help() {
    return QStringLiteral(
        "  defaults read [KEY]                 the stored user defaults, or one of them\n"
        "  defaults write KEY [TYPE] VALUE     stores a default; VALUE is read as a boolean\n"
        "                                      (true/false/on/off), number, JSON list or\n"
        "                                      dictionary, or text; TYPE (string, int, float,\n"
        "                                      bool, json) forces the reading\n"
        "  defaults delete KEY                 removes a stored default\n");
}

} // namespace ondrel
