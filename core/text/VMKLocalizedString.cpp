#include "core/text/VMKLocalizedString.h"

#include <QtCore/QFile>
#include <QtCore/QHash>

namespace ondrel {

namespace {

// Reads the `"key" = "text";` form, with /* */ and // comments and the
// escapes \" \\ \n \t.
QHash<QString, QString> parseStrings(const QString& source) {
    QHash<QString, QString> table;
    const qsizetype n = source.size();
    qsizetype i = 0;
    auto skipSpace = [&] {
        while (i < n) {
            if (source[i].isSpace()) {
                ++i;
            } else if (source.mid(i, 2) == QLatin1String("/*")) {
                const qsizetype end = source.indexOf(QLatin1String("*/"), i + 2);
                i = end < 0 ? n : end + 2;
            } else if (source.mid(i, 2) == QLatin1String("//")) {
                const qsizetype end = source.indexOf(QLatin1Char('\n'), i);
                i = end < 0 ? n : end + 1;
            } else {
                break;
            }
        }
    };
    auto readQuoted = [&](QString* out) {
        if (i >= n || source[i] != QLatin1Char('"'))
            return false;
        ++i;
        QString text;
        while (i < n && source[i] != QLatin1Char('"')) {
            QChar c = source[i++];
            if (c == QLatin1Char('\\') && i < n) {
                const QChar e = source[i++];
                c = e == QLatin1Char('n') ? QLatin1Char('\n') : e == QLatin1Char('t') ? QLatin1Char('\t') : e;
            }
            text += c;
        }
        if (i >= n)
            return false;
        ++i;
        *out = text;
        return true;
    };
    while (true) {
        skipSpace();
        QString key, value;
        if (!readQuoted(&key))
            break;
        skipSpace();
        if (i >= n || source[i] != QLatin1Char('='))
            break;
        ++i;
        skipSpace();
        if (!readQuoted(&value))
            break;
        skipSpace();
        if (i < n && source[i] == QLatin1Char(';'))
            ++i;
        table.insert(key, value);
    }
    return table;
}

const QHash<QString, QString>& table() {
    static const QHash<QString, QString> strings = [] {
        QFile file(QStringLiteral(":/ondrel/strings/en.strings"));
        if (!file.open(QIODevice::ReadOnly))
            return QHash<QString, QString>();
        return parseStrings(QString::fromUtf8(file.readAll()));
    }();
    return strings;
}

} // namespace

QString VMKLocalizedString(const QString& key) {
    const auto& strings = table();
    auto it = strings.constFind(key);
    return it == strings.cend() ? key : it.value();
}

} // namespace ondrel
