#include "scripting/ScriptValueReader.h"

#include "catalog/entities/Entity.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/GroupEntity.h"
#include "core/files/URL.h"
#include "core/objects/Variant.h"
#include "process/instructions/AudioProcessCommandSourceInstructions.h"
#include "process/instructions/ScriptText.h"
#include "scripting/ScriptError.h"

#include <QtCore/QLocale>
#include <QtCore/QStringList>

#include <charconv>
#include <mutex>
#include <string>

namespace ondrel {

namespace {

bool isBlank(QChar c) { return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\r'); }
bool isWordStart(QChar c) { return c.isLetter() || c == QLatin1Char('_'); }
bool isWordChar(QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_'); }
bool isDigit(QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); }

} // namespace

ScriptValueReader::ScriptValueReader(QStringView text, EntityResolver resolver)
    : m_text(text), m_resolver(std::move(resolver)) {}

QVariant ScriptValueReader::valueWithText(const QString& text, EntityResolver resolver, VMKError* error) {
    ScriptValueReader reader(text, std::move(resolver));
    QVariant value;
    reader.skipBlanks(true);
    bool ok = reader.readValue(value);
    if (ok) {
        reader.skipBlanks(true);
        if (!reader.atEnd())
            ok = reader.fail(QStringLiteral("the text goes on after the value"));
    }
    if (!ok) {
        VMKError::set(error, reader.error());
        return QVariant();
    }
    return value;
}

QVariant ScriptValueReader::fileEntityValue(const std::shared_ptr<FileEntity>& fileEntity) {
    static std::once_flag registered;
    std::call_once(registered, [] {
        QMetaType::registerConverter<std::shared_ptr<FileEntity>, ObjectPtr>(
            [](const std::shared_ptr<FileEntity>& file) -> ObjectPtr { return file; });
    });
    return QVariant::fromValue(fileEntity);
}

// MARK: - Cursor

void ScriptValueReader::skipBlanks(bool lineEnds) {
    while (m_position < m_text.size() &&
           (isBlank(m_text[m_position]) || (lineEnds && m_text[m_position] == QLatin1Char('\n'))))
        ++m_position;
}

bool ScriptValueReader::atEnd() {
    skipBlanks();
    return m_position >= m_text.size();
}

bool ScriptValueReader::atLineEnd() {
    skipBlanks();
    return m_position >= m_text.size() || m_text[m_position] == QLatin1Char('\n');
}

QString ScriptValueReader::peekWord() {
    skipBlanks();
    if (!isWordStart(peek()))
        return QString();
    qsizetype end = m_position + 1;
    while (end < m_text.size() && isWordChar(m_text[end]))
        ++end;
    return m_text.mid(m_position, end - m_position).toString();
}

QString ScriptValueReader::readWord() {
    const QString word = peekWord();
    m_position += word.size();
    return word;
}

bool ScriptValueReader::readWord(QLatin1String word) {
    if (peekWord() != word)
        return false;
    m_position += word.size();
    return true;
}

bool ScriptValueReader::isValueWord(const QString& word) {
    static const QStringList words = {QStringLiteral("true"),   QStringLiteral("false"), QStringLiteral("date"),
                                      QStringLiteral("posix"),  QStringLiteral("entity"), QStringLiteral("inf"),
                                      QStringLiteral("nan")};
    return words.contains(word);
}

bool ScriptValueReader::fail(const QString& message, qsizetype position) {
    m_failure = message;
    m_failurePosition = position < 0 ? m_position : position;
    return false;
}

void ScriptValueReader::lineAndColumn(qsizetype position, qsizetype& line, qsizetype& column) const {
    line = 1;
    qsizetype lineStart = 0;
    for (qsizetype i = 0; i < position && i < m_text.size(); ++i)
        if (m_text[i] == QLatin1Char('\n')) {
            ++line;
            lineStart = i + 1;
        }
    column = position - lineStart + 1;
}

VMKError ScriptValueReader::error() const {
    qsizetype line = 0;
    qsizetype column = 0;
    lineAndColumn(m_failurePosition, line, column);
    VMKError error = ScriptError::errorWithCode(
        1, QStringLiteral("Reading the script text"),
        QStringLiteral("line %1, column %2: %3").arg(line).arg(column).arg(m_failure));
    error.setUserInfoValue(QStringLiteral("line"), line);
    error.setUserInfoValue(QStringLiteral("column"), column);
    return error;
}

// MARK: - Values

bool ScriptValueReader::readValue(QVariant& value) { return readValue(value, 0); }

bool ScriptValueReader::readValue(QVariant& value, int depth) {
    skipBlanks();
    const QChar c = peek();
    if (c == QLatin1Char('{'))
        return readCollection(value, depth);
    if (c == QLatin1Char('"')) {
        QString text;
        if (!readString(text))
            return false;
        value = text;
        return true;
    }
    if (isDigit(c) || c == QLatin1Char('-') || c == QLatin1Char('+') || c == QLatin1Char('.'))
        return readNumber(value);
    const qsizetype start = m_position;
    const QString word = peekWord();
    if (word == QLatin1String("true") || word == QLatin1String("false")) {
        m_position += word.size();
        value = word == QLatin1String("true");
        return true;
    }
    if (word == QLatin1String("inf") || word == QLatin1String("nan"))
        return readNumber(value);
    if (word == QLatin1String("date")) {
        m_position += word.size();
        skipBlanks();
        QString text;
        if (!readString(text))
            return false;
        // The day and the time of day are read apart: read as one they make a
        // local time, and an hour that the local clock skips would be no date.
        const QString& format = ScriptText::DateFormat;
        const qsizetype textBlank = text.indexOf(QLatin1Char(' '));
        const qsizetype formatBlank = format.indexOf(QLatin1Char(' '));
        const QDate day = textBlank < 0 ? QDate() : QLocale::c().toDate(text.left(textBlank), format.left(formatBlank));
        const QTime time =
            textBlank < 0 ? QTime() : QLocale::c().toTime(text.mid(textBlank + 1), format.mid(formatBlank + 1));
        if (!day.isValid() || !time.isValid())
            return fail(QStringLiteral("\"%1\" is no date").arg(text), start);
        value = QDateTime(day, time, Qt::UTC);
        return true;
    }
    if (word == QLatin1String("posix")) {
        m_position += word.size();
        if (!readWord(QLatin1String("file")))
            return fail(QStringLiteral("\"posix\" must be followed by \"file\""));
        skipBlanks();
        QString path;
        if (!readString(path))
            return false;
        if (path.isEmpty())
            return fail(QStringLiteral("a file needs a path"), start);
        value = QVariant::fromValue(URL::fileURLWithPath(path));
        return true;
    }
    if (word == QLatin1String("entity"))
        return readSpecifier(value);
    if (m_position >= m_text.size())  // not c.isNull(): a NUL character is no end
        return fail(QStringLiteral("the text ends where a value was expected"));
    if (c == QLatin1Char('\n'))
        return fail(QStringLiteral("the line ends where a value was expected"));
    if (!word.isEmpty())
        return fail(QStringLiteral("\"%1\" is no value").arg(word));
    return fail(c.isPrint() ? QStringLiteral("a value was expected, not \"%1\"").arg(c)
                            : QStringLiteral("a value was expected, not the character U+%1")
                                  .arg(c.unicode(), 4, 16, QLatin1Char('0')));
}

bool ScriptValueReader::readCollection(QVariant& value, int depth) {
    if (depth >= MaximumDepth)
        return fail(QStringLiteral("lists and records nest deeper than %1").arg(MaximumDepth));
    ++m_position;  // '{'
    skipBlanks();
    if (peek() == QLatin1Char('}')) {
        ++m_position;
        value = QVariantList();
        return true;
    }
    const bool isRecord = peek() == QLatin1Char('|');
    QVariantList list;
    QVariantMap record;
    for (;;) {
        skipBlanks();
        if (isRecord) {
            if (peek() != QLatin1Char('|'))
                return fail(QStringLiteral("a record item must begin with a key between bars"));
            const qsizetype keyStart = ++m_position;
            while (m_position < m_text.size() && m_text[m_position] != QLatin1Char('|') &&
                   m_text[m_position] != QLatin1Char('\n'))
                ++m_position;
            if (peek() != QLatin1Char('|'))
                return fail(QStringLiteral("the key has no closing bar"), keyStart - 1);
            const QString key = m_text.mid(keyStart, m_position - keyStart).toString();
            ++m_position;
            skipBlanks();
            if (peek() != QLatin1Char(':'))
                return fail(QStringLiteral("a colon must follow the key \"%1\"").arg(key));
            ++m_position;
            QVariant item;
            if (!readValue(item, depth + 1))
                return false;
            record.insert(key, item);
        } else {
            QVariant item;
            if (!readValue(item, depth + 1))
                return false;
            list.append(item);
        }
        skipBlanks();
        if (peek() == QLatin1Char(',')) {
            ++m_position;
            continue;
        }
        if (peek() == QLatin1Char('}')) {
            ++m_position;
            break;
        }
        return fail(m_position >= m_text.size()
                        ? QStringLiteral("the text ends inside a %1").arg(isRecord ? "record" : "list")
                        : QStringLiteral("a comma or a closing brace was expected"));
    }
    value = isRecord ? QVariant(record) : QVariant(list);
    return true;
}

bool ScriptValueReader::readString(QString& text) {
    if (peek() != QLatin1Char('"'))
        return fail(QStringLiteral("a quoted string was expected"));
    const qsizetype start = m_position;
    const qsizetype end = m_text.indexOf(QLatin1Char('"'), start + 1);
    if (end < 0)
        return fail(QStringLiteral("the string has no closing quote"), start);
    text = m_text.mid(start + 1, end - start - 1).toString();
    m_position = end + 1;
    return true;
}

bool ScriptValueReader::readNumber(QVariant& value) {
    const qsizetype start = m_position;
    qsizetype end = m_position;
    if (end < m_text.size() && (m_text[end] == QLatin1Char('-') || m_text[end] == QLatin1Char('+')))
        ++end;
    bool whole = true;
    if (m_text.mid(end).startsWith(QLatin1String("inf")) || m_text.mid(end).startsWith(QLatin1String("nan"))) {
        end += 3;
        whole = false;
    } else {
        const qsizetype digits = end;
        while (end < m_text.size() && isDigit(m_text[end]))
            ++end;
        qsizetype count = end - digits;
        if (end < m_text.size() && m_text[end] == QLatin1Char('.')) {
            whole = false;
            ++end;
            const qsizetype fraction = end;
            while (end < m_text.size() && isDigit(m_text[end]))
                ++end;
            count += end - fraction;
        }
        if (count == 0)
            return fail(QStringLiteral("a number was expected"));
        if (end < m_text.size() && (m_text[end] == QLatin1Char('e') || m_text[end] == QLatin1Char('E'))) {
            whole = false;
            ++end;
            if (end < m_text.size() && (m_text[end] == QLatin1Char('-') || m_text[end] == QLatin1Char('+')))
                ++end;
            const qsizetype exponent = end;
            while (end < m_text.size() && isDigit(m_text[end]))
                ++end;
            if (end == exponent)
                return fail(QStringLiteral("the exponent has no digits"), start);
        }
    }
    if (end < m_text.size() && isWordChar(m_text[end]))
        return fail(QStringLiteral("a number runs into a word"), start);
    // from_chars takes no plus sign; the text is Latin-1 by now.
    std::string chars = m_text.mid(start, end - start).toString().toStdString();
    if (!chars.empty() && chars.front() == '+')
        chars.erase(0, 1);
    const char* first = chars.data();
    const char* last = first + chars.size();
    m_position = end;
    if (whole) {
        qint64 integer = 0;
        const auto result = std::from_chars(first, last, integer);
        if (result.ec == std::errc() && result.ptr == last) {
            value = integer;
            return true;
        }
        // Too large for 64 bits: kept as a floating number.
    }
    double number = 0;
    const auto result = std::from_chars(first, last, number);
    // Out of range, from_chars leaves the number as it was: that 0 must not
    // stand for a value of 1e400 or 1e-400.
    if (result.ec == std::errc::result_out_of_range)
        return fail(QStringLiteral("%1 is beyond the range of numbers").arg(QString::fromStdString(chars).left(40)),
                    start);
    if (result.ptr != last || result.ec != std::errc())
        return fail(QStringLiteral("\"%1\" is no number").arg(QString::fromStdString(chars)), start);
    value = number;
    return true;
}

bool ScriptValueReader::readSpecifier(QVariant& value) {
    const qsizetype start = m_position;
    // The IDs from the entity itself out to its outermost group.
    QStringList IDs;
    do {
        if (!readWord(QLatin1String("entity")) || !readWord(QLatin1String("id")))
            return fail(QStringLiteral("\"entity id\" was expected"));
        skipBlanks();
        QString ID;
        if (!readString(ID))
            return false;
        IDs.append(ID);
    } while (readWord(QLatin1String("of")));
    if (!m_resolver)
        return fail(QStringLiteral("entities can't be named here"), start);
    std::shared_ptr<Entity> entity = m_resolver(IDs.front());
    if (!entity)
        return fail(QStringLiteral("there is no entity with the ID \"%1\"").arg(IDs.front()), start);
    // Each container of the specifier must be the parent of the one before,
    // and the outermost must hang at the top of the catalog, as the entity's
    // own text would say.
    std::shared_ptr<Entity> inner = entity;
    for (qsizetype i = 1; i < IDs.size(); ++i) {
        std::shared_ptr<Entity> container = inner->parent();
        if (!container || container->ID() != IDs[i])
            return fail(QStringLiteral("the entity \"%1\" is not in the entity \"%2\"").arg(IDs[i - 1], IDs[i]), start);
        inner = container;
    }
    const auto top = inner->parent();
    if (!top || top->parent())
        return fail(QStringLiteral("the entity \"%1\" is not at the top of the catalog").arg(IDs.back()), start);
    if (auto fileEntity = std::dynamic_pointer_cast<FileEntity>(entity))
        value = fileEntityValue(fileEntity);
    else
        value = Variant::fromObject(entity);
    return true;
}

} // namespace ondrel
