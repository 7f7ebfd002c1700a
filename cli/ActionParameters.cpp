#include "cli/ActionParameters.h"

#include "cli/ArgumentValue.h"
#include "core/files/Bookmark.h"
#include "core/objects/ClassInfo.h"
#include "process/workflow/Action.h"

#include <QtCore/QFileInfo>

#include <cmath>
#include <limits>

namespace ondrel {

namespace {

QString typeOfValue(const QVariant& value) {
    switch (value.metaType().id()) {
    case QMetaType::Bool: return QStringLiteral("bool");
    case QMetaType::ULongLong:
    case QMetaType::UInt: return QStringLiteral("unsigned");
    case QMetaType::LongLong:
    case QMetaType::Int: return QStringLiteral("integer");
    case QMetaType::Double:
    case QMetaType::Float: return QStringLiteral("float");
    case QMetaType::QString: return QStringLiteral("text");
    case QMetaType::QStringList:
    case QMetaType::QVariantList: return QStringLiteral("list");
    case QMetaType::QByteArray: return QStringLiteral("data");
    default: return value.isValid() ? QString::fromLatin1(value.typeName()) : QStringLiteral("any");
    }
}

// The parameters of a fresh action of the same class: their values fix the types.
QVariantMap defaultsOf(const Action& action) {
    const ObjectPtr fresh = ClassRegistry::create(action.className());
    const auto freshAction = std::dynamic_pointer_cast<Action>(fresh);
    QVariantMap defaults = freshAction ? freshAction->parameterValues() : action.parameterValues();
    for (const QString& key : action.parameterKeys())
        if (!defaults.contains(key))
            defaults.insert(key, QVariant());
    return defaults;
}

// `textsOnly`: a list must hold texts alone (the default is a list of texts).
// `folderOnly`: a path must name a folder (a destination).
QVariant readTyped(const QString& type, bool textsOnly, bool folderOnly, const QString& text, QString* error) {
    if (type == QLatin1String("bool"))
        return ArgumentValue::parseAs(QStringLiteral("bool"), text, error);
    if (type == QLatin1String("unsigned") || type == QLatin1String("integer")) {
        bool ok = false;
        const qint64 v = text.trimmed().toLongLong(&ok);
        if (!ok || (type == QLatin1String("unsigned") && v < 0)) {
            *error = QStringLiteral("'%1' is not %2").arg(text, type == QLatin1String("unsigned") ? QStringLiteral("a whole number of 0 or more")
                                                                                               : QStringLiteral("a whole number"));
            return QVariant();
        }
        return type == QLatin1String("unsigned") ? QVariant(quint64(v)) : QVariant(v);
    }
    if (type == QLatin1String("float")) {
        bool ok = false;
        const double v = text.trimmed().toDouble(&ok);
        // "nan" and "inf" read as numbers, but no parameter takes them.
        if (!ok || !std::isfinite(v)) {
            *error = QStringLiteral("'%1' is not a finite number").arg(text);
            return QVariant();
        }
        return v;
    }
    if (type == QLatin1String("text"))
        return text;
    if (type == QLatin1String("list")) {
        const QVariant list = ArgumentValue::parseAs(QStringLiteral("json"), text, error);
        if (list.isValid() && !Variant::isList(list)) {
            *error = QStringLiteral("'%1' is not a JSON list").arg(text);
            return QVariant();
        }
        if (list.isValid() && textsOnly)
            for (const QVariant& element : list.toList())
                if (!Variant::isString(element)) {
                    *error = QStringLiteral("'%1' is not a JSON list of texts").arg(text);
                    return QVariant();
                }
        return list;
    }
    if (type == QLatin1String("data")) {
        if (text.isEmpty())
            return QByteArray();
        const QFileInfo info(text);
        if (!info.exists()) {
            *error = QStringLiteral("'%1' does not exist").arg(text);
            return QVariant();
        }
        if (folderOnly && !info.isDir()) {
            *error = QStringLiteral("'%1' is not a folder").arg(text);
            return QVariant();
        }
        VMKError bookmarkError;
        const QByteArray data = Bookmark::bookmarkData(URL::fileURLWithPath(info.absoluteFilePath()),
                                                       Bookmark::WithSecurityScope, &bookmarkError);
        if (data.isEmpty())
            *error = QStringLiteral("'%1' can't be bookmarked: %2").arg(text, bookmarkError.localizedDescription());
        return data.isEmpty() ? QVariant() : QVariant(data);
    }
    return ArgumentValue::parse(text, error);
}

} // namespace

QList<QPair<QString, QString>> ActionParameters::typesOfAction(const Action& action) {
    const QVariantMap defaults = defaultsOf(action);
    QList<QPair<QString, QString>> types;
    for (const QString& key : action.parameterKeys())
        types.append({key, typeOfValue(defaults.value(key))});
    return types;
}

bool ActionParameters::read(const Action& action, const QStringList& arguments, QVariantMap* values, QString* error) {
    const QVariantMap defaults = defaultsOf(action);
    const QStringList keys = action.parameterKeys();
    for (const QString& argument : arguments) {
        const qsizetype equals = argument.indexOf(QLatin1Char('='));
        if (equals <= 0) {
            *error = QStringLiteral("'%1' is not KEY=VALUE").arg(argument);
            return false;
        }
        const QString key = argument.left(equals);
        if (!keys.contains(key)) {
            *error = keys.isEmpty() ? QStringLiteral("%1 has no parameters, so none is '%2'").arg(action.className(), key)
                                    : QStringLiteral("%1 has no parameter '%2' (it has %3)")
                                          .arg(action.className(), key, keys.join(QStringLiteral(", ")));
            return false;
        }
        const QVariant defaultValue = defaults.value(key);
        const QString type = typeOfValue(defaultValue);
        QString valueError;
        const QVariant value =
            readTyped(type, defaultValue.typeId() == QMetaType::QStringList,
                      key == QLatin1String("destinationBookmark"), argument.mid(equals + 1), &valueError);
        // A 32-bit parameter would keep a larger number as infinity: one from
        // halfway between its largest value and the next power of two on
        // (below that, the number rounds to the largest value, which is how
        // workflow show prints it).
        constexpr double kFloatOverflow = 0x1.ffffffp+127;
        if (valueError.isEmpty() && defaultValue.typeId() == QMetaType::Float &&
            std::abs(value.toDouble()) >= kFloatOverflow)
            valueError = QStringLiteral("'%1' is beyond the range of a 32-bit number").arg(argument.mid(equals + 1));
        if (!valueError.isEmpty() || (!value.isValid() && type != QLatin1String("any"))) {
            *error = QStringLiteral("%1 of %2 takes %3: %4").arg(key, action.className(), type, valueError);
            return false;
        }
        values->insert(key, value);
    }
    return true;
}

void ActionParameters::apply(Action& action, const QVariantMap& values) {
    for (const QString& key : action.parameterKeys())
        if (values.contains(key))
            action.setValueForKey(values.value(key), key);
}

QVariant ActionParameters::displayValue(const QVariant& value) {
    if (!Variant::isData(value))
        return value;
    const QByteArray data = value.toByteArray();
    if (data.isEmpty())
        return QStringLiteral("");
    VMKError error;
    const URL url = Bookmark::URLByResolvingBookmarkData(data, nullptr, &error);
    return url.isEmpty() ? QVariant(error.localizedDescription()) : QVariant(url.path());
}

} // namespace ondrel
