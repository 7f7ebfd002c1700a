#include "core/storage/PropertyList.h"

#include "core/objects/Object.h"

#include <QtCore/QFile>
#include <QtCore/QSaveFile>
#include <QtCore/QXmlStreamReader>
#include <QtCore/QXmlStreamWriter>

#include <cmath>
#include <limits>

namespace ondrel {

namespace {

const QString kReadAction = QStringLiteral("Reading the property list");
const QString kWriteAction = QStringLiteral("Writing the property list");

constexpr int kMaximumDepth = 512;
constexpr qsizetype kBase64LineLength = 76;

QString typeName(const QVariant& value) {
    if (Variant::isAbsent(value))
        return QStringLiteral("an absent value");
    if (Variant::isNull(value))
        return QStringLiteral("the null marker");
    if (const ObjectPtr object = Variant::object(value))
        return QStringLiteral("an object of class %1").arg(object->className());
    return QStringLiteral("a value of type %1").arg(QString::fromLatin1(value.typeName()));
}

// The first character XML 1.0 can't carry, or -1.
qsizetype invalidCharacterIndex(const QString& text) {
    const qsizetype n = text.size();
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t c = text[i].unicode();
        if (c >= 0x20 && c < 0xD800)
            continue;
        if (c == 0x09 || c == 0x0A || c == 0x0D)
            continue;
        if (c >= 0xE000 && c <= 0xFFFD)
            continue;
        if (QChar::isHighSurrogate(c) && i + 1 < n && QChar::isLowSurrogate(text[i + 1].unicode())) {
            ++i;
            continue;
        }
        return i;
    }
    return -1;
}

// A date as written, in UTC; empty when it is not valid or its year has no
// four-digit form.
QString dateText(const QDateTime& value) {
    const QDateTime date = value.toUTC();
    if (!date.isValid())
        return QString();
    return date.toString(date.time().msec() ? Qt::ISODateWithMs : Qt::ISODate);
}

bool isAsciiDigit(QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); }

QString describeKeyPath(const QStringList& path) {
    return path.isEmpty() ? QStringLiteral("the root") : QStringLiteral("\"%1\"").arg(path.join(QLatin1Char('/')));
}

// MARK: - Writing

class Writer {
public:
    explicit Writer(QByteArray* out) : m_xml(out) {}

    bool writeDocument(const QVariant& root) {
        m_xml.writeStartDocument();
        m_xml.writeCharacters(QStringLiteral("\n"));
        m_xml.writeDTD(QStringLiteral(
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">"));
        m_xml.writeCharacters(QStringLiteral("\n"));
        m_xml.writeStartElement(QStringLiteral("plist"));
        m_xml.writeAttribute(QStringLiteral("version"), QStringLiteral("1.0"));
        m_xml.writeCharacters(QStringLiteral("\n"));
        if (!writeValue(root, 0))
            return false;
        m_xml.writeCharacters(QStringLiteral("\n"));
        m_xml.writeEndElement();
        m_xml.writeEndDocument();
        if (m_xml.hasError())
            return fail(QStringLiteral("the XML writer failed"));
        return true;
    }

    const QString& failure() const { return m_failure; }

private:
    bool fail(const QString& reason) {
        if (m_failure.isEmpty())
            m_failure = reason;
        return false;
    }

    void newline(int depth) { m_xml.writeCharacters(QLatin1Char('\n') + QString(depth, QLatin1Char('\t'))); }

    // Text with its carriage returns kept as character references (a reader
    // would turn a literal one into a line feed).
    bool writeText(const QString& element, const QString& text) {
        const qsizetype bad = invalidCharacterIndex(text);
        if (bad >= 0)
            return fail(QStringLiteral("the text at %1 holds the character U+%2, which XML can't carry")
                            .arg(describeKeyPath(m_path))
                            .arg(uint(text[bad].unicode()), 4, 16, QLatin1Char('0')));
        m_xml.writeStartElement(element);
        if (!text.contains(QLatin1Char('\r'))) {
            m_xml.writeCharacters(text);
        } else {
            const QStringList parts = text.split(QLatin1Char('\r'));
            for (qsizetype i = 0; i < parts.size(); ++i) {
                if (i > 0)
                    m_xml.writeEntityReference(QStringLiteral("#xD"));
                if (!parts[i].isEmpty())
                    m_xml.writeCharacters(parts[i]);
            }
        }
        m_xml.writeEndElement();
        return true;
    }

    bool writeDictionary(const QVariantMap& map, int depth) {
        if (map.isEmpty()) {
            m_xml.writeEmptyElement(QStringLiteral("dict"));
            return true;
        }
        m_xml.writeStartElement(QStringLiteral("dict"));
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            m_path.append(it.key());
            newline(depth + 1);
            if (!writeText(QStringLiteral("key"), it.key()))
                return false;
            newline(depth + 1);
            if (!writeValue(it.value(), depth + 1))
                return false;
            m_path.removeLast();
        }
        newline(depth);
        m_xml.writeEndElement();
        return true;
    }

    bool writeArray(const QVariantList& list, int depth) {
        if (list.isEmpty()) {
            m_xml.writeEmptyElement(QStringLiteral("array"));
            return true;
        }
        m_xml.writeStartElement(QStringLiteral("array"));
        for (qsizetype i = 0; i < list.size(); ++i) {
            m_path.append(QString::number(i));
            newline(depth + 1);
            if (!writeValue(list[i], depth + 1))
                return false;
            m_path.removeLast();
        }
        newline(depth);
        m_xml.writeEndElement();
        return true;
    }

    void writeData(const QByteArray& data, int depth) {
        if (data.isEmpty()) {
            m_xml.writeEmptyElement(QStringLiteral("data"));
            return;
        }
        const QByteArray base64 = data.toBase64();
        const QString indent = QLatin1Char('\n') + QString(depth, QLatin1Char('\t'));
        QString text;
        text.reserve(base64.size() + (base64.size() / kBase64LineLength + 2) * indent.size());
        for (qsizetype i = 0; i < base64.size(); i += kBase64LineLength) {
            text += indent;
            text += QLatin1String(base64.mid(i, kBase64LineLength));
        }
        text += indent;
        m_xml.writeTextElement(QStringLiteral("data"), text);
    }

    static QString realText(double value) {
        if (std::isnan(value))
            return QStringLiteral("nan");
        if (std::isinf(value))
            return value > 0 ? QStringLiteral("+infinity") : QStringLiteral("-infinity");
        return QString::number(value, 'g', QLocale::FloatingPointShortest);
    }

    bool writeValue(const QVariant& value, int depth) {
        switch (value.typeId()) {
        case QMetaType::QVariantMap:
            return writeDictionary(value.toMap(), depth);
        case QMetaType::QVariantHash: {
            const QVariantHash hash = value.toHash();
            QVariantMap map;
            for (auto it = hash.cbegin(); it != hash.cend(); ++it)
                map.insert(it.key(), it.value());
            return writeDictionary(map, depth);
        }
        case QMetaType::QVariantList:
        case QMetaType::QStringList:
            return writeArray(value.toList(), depth);
        case QMetaType::QString:
            return writeText(QStringLiteral("string"), value.toString());
        case QMetaType::QByteArray:
            writeData(value.toByteArray(), depth);
            return true;
        case QMetaType::Bool:
            m_xml.writeEmptyElement(value.toBool() ? QStringLiteral("true") : QStringLiteral("false"));
            return true;
        case QMetaType::Double:
        case QMetaType::Float:
            m_xml.writeTextElement(QStringLiteral("real"), realText(value.toDouble()));
            return true;
        case QMetaType::ULongLong:
        case QMetaType::ULong:
            m_xml.writeTextElement(QStringLiteral("integer"), QString::number(value.toULongLong()));
            return true;
        case QMetaType::QDateTime: {
            const QDateTime date = value.toDateTime();
            if (!date.isValid())
                return fail(QStringLiteral("the date at %1 is not valid").arg(describeKeyPath(m_path)));
            const QString text = dateText(date);
            if (text.isEmpty())
                return fail(QStringLiteral("the date at %1 is out of range").arg(describeKeyPath(m_path)));
            m_xml.writeTextElement(QStringLiteral("date"), text);
            return true;
        }
        default:
            break;
        }
        if (Variant::isInteger(value)) {
            m_xml.writeTextElement(QStringLiteral("integer"), QString::number(value.toLongLong()));
            return true;
        }
        return fail(QStringLiteral("%1 at %2 has no property list form").arg(typeName(value), describeKeyPath(m_path)));
    }

    QXmlStreamWriter m_xml;
    QStringList m_path;
    QString m_failure;
};

// MARK: - Reading

class Reader {
public:
    explicit Reader(const QByteArray& data) : m_xml(data) {}

    QVariant readDocument() {
        QXmlStreamReader::TokenType token = next();
        if (token != QXmlStreamReader::StartElement) {
            fail(QStringLiteral("the document holds no element"));
            return QVariant();
        }
        if (m_xml.name() != QLatin1String("plist")) {
            fail(QStringLiteral("the root element is <%1>, not <plist>").arg(m_xml.name()));
            return QVariant();
        }
        token = next();
        if (token != QXmlStreamReader::StartElement) {
            fail(QStringLiteral("the <plist> element holds no value"));
            return QVariant();
        }
        QVariant root;
        if (!readValue(&root, 0))
            return QVariant();
        token = next();
        if (token != QXmlStreamReader::EndElement) {
            fail(QStringLiteral("the <plist> element holds more than one value"));
            return QVariant();
        }
        while (!m_xml.atEnd() && m_failure.isEmpty())
            next();
        if (!m_failure.isEmpty())
            return QVariant();
        return root;
    }

    QString failure() const {
        return QStringLiteral("line %1: %2").arg(m_failureLine).arg(m_failure);
    }
    bool hasFailed() const { return !m_failure.isEmpty(); }
    qint64 failureLine() const { return m_failureLine; }

private:
    bool fail(const QString& reason) {
        if (m_failure.isEmpty()) {
            m_failure = reason;
            m_failureLine = m_xml.lineNumber();
        }
        return false;
    }

    bool failXml() {
        return fail(m_xml.errorString().isEmpty() ? QStringLiteral("malformed XML") : m_xml.errorString());
    }

    // The next start or end element (or the end of the document); text other
    // than white space between elements is an error.
    QXmlStreamReader::TokenType next() {
        for (;;) {
            const QXmlStreamReader::TokenType token = m_xml.readNext();
            switch (token) {
            case QXmlStreamReader::StartElement:
            case QXmlStreamReader::EndElement:
            case QXmlStreamReader::EndDocument:
                return token;
            case QXmlStreamReader::Characters:
                if (!m_xml.isWhitespace()) {
                    fail(QStringLiteral("unexpected text \"%1\"").arg(m_xml.text().trimmed().left(40)));
                    return QXmlStreamReader::Invalid;
                }
                break;
            case QXmlStreamReader::Invalid:
                failXml();
                return token;
            case QXmlStreamReader::EntityReference:
                fail(QStringLiteral("unknown entity &%1;").arg(m_xml.name()));
                return QXmlStreamReader::Invalid;
            default:  // the declaration, the document type, comments, processing instructions
                break;
            }
        }
    }

    // The text of the current element, which may hold no element.
    bool readText(QString* text) {
        text->clear();
        const QString element = m_xml.name().toString();
        for (;;) {
            switch (m_xml.readNext()) {
            case QXmlStreamReader::Characters:
                text->append(m_xml.text());
                break;
            case QXmlStreamReader::EndElement:
                return true;
            case QXmlStreamReader::StartElement:
                return fail(QStringLiteral("<%1> inside <%2>").arg(m_xml.name(), element));
            case QXmlStreamReader::EntityReference:
                return fail(QStringLiteral("unknown entity &%1;").arg(m_xml.name()));
            case QXmlStreamReader::Invalid:
                return failXml();
            default:  // comments, processing instructions
                break;
            }
        }
    }

    bool readValue(QVariant* out, int depth) {
        if (depth > kMaximumDepth)
            return fail(QStringLiteral("the values nest deeper than %1 levels").arg(kMaximumDepth));
        const QString name = m_xml.name().toString();
        if (name == QLatin1String("dict"))
            return readDictionary(out, depth);
        if (name == QLatin1String("array"))
            return readArray(out, depth);
        static const QStringList scalars = {QStringLiteral("string"), QStringLiteral("integer"), QStringLiteral("real"),
                                            QStringLiteral("true"),   QStringLiteral("false"),   QStringLiteral("date"),
                                            QStringLiteral("data")};
        if (!scalars.contains(name))
            return fail(QStringLiteral("unknown element <%1>").arg(name));
        QString text;
        if (!readText(&text))
            return false;
        if (name == QLatin1String("string")) {
            *out = text;
            return true;
        }
        if (name == QLatin1String("integer"))
            return parseInteger(text.trimmed(), out);
        if (name == QLatin1String("real"))
            return parseReal(text.trimmed(), out);
        if (name == QLatin1String("true") || name == QLatin1String("false")) {
            if (!text.trimmed().isEmpty())
                return fail(QStringLiteral("<%1> holds text").arg(name));
            *out = name == QLatin1String("true");
            return true;
        }
        if (name == QLatin1String("date"))
            return parseDate(text.trimmed(), out);
        return parseData(text, out);
    }

    bool readDictionary(QVariant* out, int depth) {
        QVariantMap map;
        for (;;) {
            QXmlStreamReader::TokenType token = next();
            if (token == QXmlStreamReader::EndElement)
                break;
            if (token != QXmlStreamReader::StartElement)
                return fail(QStringLiteral("the <dict> is not closed"));
            if (m_xml.name() != QLatin1String("key"))
                return fail(QStringLiteral("<%1> where a <key> belongs in a <dict>").arg(m_xml.name()));
            QString key;
            if (!readText(&key))
                return false;
            token = next();
            if (token != QXmlStreamReader::StartElement)
                return fail(QStringLiteral("the key \"%1\" has no value").arg(key));
            if (map.contains(key))
                return fail(QStringLiteral("the key \"%1\" appears twice in one <dict>").arg(key));
            QVariant value;
            if (!readValue(&value, depth + 1))
                return false;
            map.insert(key, value);
        }
        *out = map;
        return true;
    }

    bool readArray(QVariant* out, int depth) {
        QVariantList list;
        for (;;) {
            const QXmlStreamReader::TokenType token = next();
            if (token == QXmlStreamReader::EndElement)
                break;
            if (token != QXmlStreamReader::StartElement)
                return fail(QStringLiteral("the <array> is not closed"));
            QVariant value;
            if (!readValue(&value, depth + 1))
                return false;
            list.append(value);
        }
        *out = list;
        return true;
    }

    bool parseInteger(const QString& text, QVariant* out) {
        QString digits = text;
        bool negative = false;
        if (digits.startsWith(QLatin1Char('-')) || digits.startsWith(QLatin1Char('+'))) {
            negative = digits[0] == QLatin1Char('-');
            digits.remove(0, 1);
        }
        int base = 10;
        if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)) {
            base = 16;
            digits.remove(0, 2);
        }
        bool ok = !digits.isEmpty();
        for (const QChar c : std::as_const(digits))
            ok = ok && (isAsciiDigit(c) || (base == 16 && QStringLiteral("abcdefABCDEF").contains(c)));
        const quint64 magnitude = ok ? digits.toULongLong(&ok, base) : 0;
        if (!ok)
            return fail(QStringLiteral("\"%1\" is not an integer").arg(text));
        if (negative) {
            if (magnitude > quint64(std::numeric_limits<qint64>::max()) + 1)
                return fail(QStringLiteral("the integer %1 is out of range").arg(text));
            *out = QVariant::fromValue<qint64>(qint64(0 - magnitude));
        } else if (magnitude > quint64(std::numeric_limits<qint64>::max())) {
            *out = QVariant::fromValue<quint64>(magnitude);
        } else {
            *out = QVariant::fromValue<qint64>(qint64(magnitude));
        }
        return true;
    }

    bool parseReal(const QString& text, QVariant* out) {
        const QString lower = text.toLower();
        if (lower == QLatin1String("nan")) {
            *out = std::numeric_limits<double>::quiet_NaN();
            return true;
        }
        if (lower == QLatin1String("+infinity") || lower == QLatin1String("infinity") ||
            lower == QLatin1String("inf") || lower == QLatin1String("+inf")) {
            *out = std::numeric_limits<double>::infinity();
            return true;
        }
        if (lower == QLatin1String("-infinity") || lower == QLatin1String("-inf")) {
            *out = -std::numeric_limits<double>::infinity();
            return true;
        }
        bool ok = false;
        const double value = text.toDouble(&ok);
        if (!ok || text.isEmpty() || !std::isfinite(value))
            return fail(QStringLiteral("\"%1\" is not a real number").arg(text));
        *out = value;
        return true;
    }

    bool parseDate(const QString& text, QVariant* out) {
        QDateTime date = QDateTime::fromString(text, Qt::ISODateWithMs);
        if (!date.isValid() || text.size() < 10)
            return fail(QStringLiteral("\"%1\" is not an ISO 8601 date").arg(text));
        if (date.timeSpec() == Qt::LocalTime)
            date.setTimeSpec(Qt::UTC);  // a date without a zone is read as UTC
        *out = date.toUTC();
        return true;
    }

    bool parseData(const QString& text, QVariant* out) {
        QByteArray base64;
        base64.reserve(text.size());
        for (const QChar c : text) {
            const char16_t u = c.unicode();
            if (u == ' ' || u == '\t' || u == '\n' || u == '\r')
                continue;
            if (u > 0x7F)
                return fail(QStringLiteral("the <data> is not valid base64"));
            base64.append(char(u));
        }
        const QByteArray::FromBase64Result result =
            QByteArray::fromBase64Encoding(base64, QByteArray::AbortOnBase64DecodingErrors);
        if (result.decodingStatus != QByteArray::Base64DecodingStatus::Ok)
            return fail(QStringLiteral("the <data> is not valid base64"));
        *out = result.decoded;
        return true;
    }

    QXmlStreamReader m_xml;
    QString m_failure;
    qint64 m_failureLine = 0;
};

bool isPropertyListValue(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            if (invalidCharacterIndex(it.key()) >= 0 || !isPropertyListValue(it.value()))
                return false;
        return true;
    }
    case QMetaType::QVariantHash: {
        const QVariantHash hash = value.toHash();
        for (auto it = hash.cbegin(); it != hash.cend(); ++it)
            if (invalidCharacterIndex(it.key()) >= 0 || !isPropertyListValue(it.value()))
                return false;
        return true;
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        for (const QVariant& element : value.toList())
            if (!isPropertyListValue(element))
                return false;
        return true;
    }
    case QMetaType::QString:
        return invalidCharacterIndex(value.toString()) < 0;
    case QMetaType::QDateTime:
        return !dateText(value.toDateTime()).isEmpty();  // what the writer can write
    case QMetaType::QByteArray:
        return true;
    default:
        return Variant::isNumber(value);
    }
}

} // namespace

QByteArray PropertyList::dataWithPropertyList(const QVariant& plist, VMKError* error) {
    QByteArray out;
    Writer writer(&out);
    if (!writer.writeDocument(plist)) {
        VMKError::set(error, VMKError::errorWithCode(WriteInvalidError, kWriteAction, writer.failure()));
        return QByteArray();
    }
    return out;
}

QVariant PropertyList::propertyListWithData(const QByteArray& data, VMKError* error) {
    Reader reader(data);
    QVariant root = reader.readDocument();
    if (reader.hasFailed()) {
        VMKError e = VMKError::errorWithCode(ReadCorruptError, kReadAction, reader.failure());
        e.setUserInfoValue(QStringLiteral("line"), reader.failureLine());
        VMKError::set(error, e);
        return QVariant();
    }
    return root;
}

bool PropertyList::isPropertyList(const QVariant& plist) { return isPropertyListValue(plist); }

bool PropertyList::writeToFile(const QVariant& plist, const QString& path, VMKError* error) {
    const QByteArray data = dataWithPropertyList(plist, error);
    if (data.isNull())
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        VMKError::set(error, VMKError::errorWithCode(FileWriteError, kWriteAction,
                                                     QStringLiteral("%1: %2").arg(path, file.errorString())));
        return false;
    }
    return true;
}

QVariant PropertyList::readFromFile(const QString& path, VMKError* error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        VMKError::set(error, VMKError::errorWithCode(FileReadError, kReadAction,
                                                     QStringLiteral("%1: %2").arg(path, file.errorString())));
        return QVariant();
    }
    VMKError inner;
    QVariant root = propertyListWithData(file.readAll(), &inner);
    if (inner) {
        VMKError e = VMKError::errorWithCode(inner.code(), inner.action(), QStringLiteral("%1, %2").arg(path, inner.reason()));
        e.setUserInfo(inner.userInfo());
        e.setUserInfoValue(QStringLiteral("path"), path);
        VMKError::set(error, e);
        return QVariant();
    }
    return root;
}

} // namespace ondrel
