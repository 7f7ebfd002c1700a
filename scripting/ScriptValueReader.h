#pragma once

#include "core/text/VMKError.h"

#include <QtCore/QString>
#include <QtCore/QStringView>
#include <QtCore/QVariant>

#include <functional>
#include <memory>

namespace ondrel {

class Entity;
class FileEntity;

// Reads the values of the script text of a run, as the records write them:
//   {|key|:value,…}          a record, to a QVariantMap
//   {value,…}, {}            a list, to a QVariantList ("{}" is the empty list)
//   "text"                   a string, as written (nothing is escaped, so a
//                            string ends at the next quote)
//   12, -3                   a whole number, to qint64
//   0.5, 1e+20, -inf, nan    a floating number, to double
//   true, false              a boolean
//   date "MM/dd/yyyy hh:mm:ss AM"   a date, read in UTC
//   posix file "/path"       a URL
//   entity id "X" of entity id "Y" …
//                            an entity specifier, resolved through the
//                            caller's resolver: a file entity becomes a
//                            std::shared_ptr<FileEntity>, any other entity an
//                            Object value
//
// The reader is a cursor over one text, so that the statement reader can read
// its keywords and values in turn. Blanks between tokens are spaces and tabs;
// a line end ends a value. Each failure leaves a message and the place; the
// reader never goes back, so reading is linear in the text.
class ScriptValueReader {
public:
    // The entity with this ID, or null. In the program: the catalog's
    // lookup by ID.
    using EntityResolver = std::function<std::shared_ptr<Entity>(const QString& ID)>;

    // Lists and records nest no deeper than this.
    static constexpr int MaximumDepth = 64;

    // A reader at the beginning of `text`, which must outlive it. Without a
    // resolver, an entity specifier fails to read.
    explicit ScriptValueReader(QStringView text, EntityResolver resolver = {});

    // The one value that makes up `text` (blanks around it allowed). Absent,
    // with a ScriptError naming the line and column, when it doesn't parse.
    static QVariant valueWithText(const QString& text, EntityResolver resolver = {}, VMKError* error = nullptr);

    // The value in which a file entity reaches the records' readers. The first
    // call registers the conversion of that value to an Object, which the
    // source reader of the process library relies on.
    static QVariant fileEntityValue(const std::shared_ptr<FileEntity>& fileEntity);

    qsizetype position() const { return m_position; }
    // Past the blanks: at the end of the text.
    bool atEnd();
    // Past the blanks: at a line end or the end of the text.
    bool atLineEnd();
    // Steps over blanks, and over line ends too when asked.
    void skipBlanks(bool lineEnds = false);
    // The word (letters, digits and underscores, starting with a letter) at
    // the cursor past the blanks, without reading it; empty when there is none.
    QString peekWord();
    // Reads the word past the blanks; empty (and nothing read) when there is none.
    QString readWord();
    // Reads `word` when it is the next word; false, and nothing read, otherwise.
    bool readWord(QLatin1String word);
    // True when the word begins a value (true, false, date, posix, entity, inf, nan).
    static bool isValueWord(const QString& word);

    // Reads one value. False, with the failure noted, when it doesn't parse.
    bool readValue(QVariant& value);

    // Notes a failure at the cursor (or at `position`) and answers false.
    bool fail(const QString& message, qsizetype position = -1);
    // The failure as a ScriptError 1: "line L, column C: message".
    VMKError error() const;
    // Line and column (from 1) of a place in the text.
    void lineAndColumn(qsizetype position, qsizetype& line, qsizetype& column) const;

private:
    bool readValue(QVariant& value, int depth);
    bool readCollection(QVariant& value, int depth);
    bool readString(QString& text);
    bool readNumber(QVariant& value);
    bool readSpecifier(QVariant& value);
    QChar peek() const { return m_position < m_text.size() ? m_text[m_position] : QChar(); }

    QStringView m_text;
    EntityResolver m_resolver;
    qsizetype m_position = 0;
    QString m_failure;
    qsizetype m_failurePosition = 0;
};

} // namespace ondrel
