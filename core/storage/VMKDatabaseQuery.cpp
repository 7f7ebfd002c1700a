#include "core/storage/VMKDatabaseQuery.h"

#include "core/values/Date.h"
#include "core/storage/VMKDatabaseController.h"
#include "core/objects/Variant.h"

#include <QtCore/QDateTime>

#include <sqlite3.h>

namespace ondrel {

namespace {
constexpr size_t kKeptTextCapacity = 16 * 1024;
}

void VMKDatabaseQuery::StatementFinalizer::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

VMKDatabaseQuery::VMKDatabaseQuery(VMKDatabaseController& controller, const QString& sql, StatementPointer statement)
    : m_controller(controller),
      m_sql(sql),
      m_statement(std::move(statement)),
      m_columnCount(m_statement ? sqlite3_column_count(m_statement.get()) : 0),
      m_argumentCount(m_statement ? sqlite3_bind_parameter_count(m_statement.get()) : 0),
      m_state(m_statement ? State::Ready : State::Done),
      m_texts(size_t(m_argumentCount)) {}

void VMKDatabaseQuery::recycle() {
    sqlite3_reset(m_statement.get());
    sqlite3_clear_bindings(m_statement.get());
    m_state = State::Ready;
    // An idle query keeps small buffers for its next use, not a huge one.
    for (std::string& text : m_texts) {
        if (text.capacity() > kKeptTextCapacity) {
            text.clear();
            text.shrink_to_fit();
        }
    }
}

// A binding starts a new run: rewind first when the statement has been
// stepped, since SQLite refuses bindings on a running statement.
bool VMKDatabaseQuery::readyToBind() {
    if (!m_statement.get())
        return false;
    if (m_state != State::Ready) {
        sqlite3_reset(m_statement.get());
        m_state = State::Ready;
    }
    return true;
}

// Texts are bound without a copy by SQLite: their UTF-8 stays here until the
// argument is bound again, and the storage is reused from row to row.
void VMKDatabaseQuery::setStringValue(const QString& value, int index) {
    if (!readyToBind())
        return;
    if (value.isNull()) {
        checkBinding(sqlite3_bind_null(m_statement.get(), index + 1), index);
        return;
    }
    if (!isArgument(index))
        return;
    std::string& text = m_texts[size_t(index)];
    text.resize(size_t(m_encoder.requiredSpace(value.size())));
    char* const begin = text.data();
    char* const end = m_encoder.appendToBuffer(begin, value);
    checkBinding(sqlite3_bind_text(m_statement.get(), index + 1, begin, int(end - begin), SQLITE_STATIC), index);
}

void VMKDatabaseQuery::setIntValue(qint32 value, int index) {
    if (!readyToBind())
        return;
    checkBinding(sqlite3_bind_int(m_statement.get(), index + 1, value), index);
}

void VMKDatabaseQuery::setLongLongValue(qint64 value, int index) {
    if (!readyToBind())
        return;
    checkBinding(sqlite3_bind_int64(m_statement.get(), index + 1, value), index);
}

void VMKDatabaseQuery::setDoubleValue(double value, int index) {
    if (!readyToBind())
        return;
    checkBinding(sqlite3_bind_double(m_statement.get(), index + 1, value), index);
}

void VMKDatabaseQuery::setDataValue(const QByteArray& value, int index) {
    if (!readyToBind())
        return;
    if (value.isNull()) {
        checkBinding(sqlite3_bind_null(m_statement.get(), index + 1), index);
        return;
    }
    // constData() of an empty, non-null array is "", so it binds an empty blob.
    checkBinding(sqlite3_bind_blob(m_statement.get(), index + 1, value.constData(), int(value.size()), SQLITE_TRANSIENT),
                 index);
}

void VMKDatabaseQuery::setNullValueToArgumentAtIndex(int index) {
    if (!readyToBind())
        return;
    checkBinding(sqlite3_bind_null(m_statement.get(), index + 1), index);
}

void VMKDatabaseQuery::setValue(const QVariant& value, int index) {
    switch (value.typeId()) {
    case QMetaType::Bool:
        setIntValue(value.toBool() ? 1 : 0, index);
        return;
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        setIntValue(value.toInt(), index);
        return;
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        setLongLongValue(value.toLongLong(), index);
        return;
    case QMetaType::Double:
    case QMetaType::Float:
        setDoubleValue(value.toDouble(), index);
        return;
    case QMetaType::QString:
        setStringValue(value.toString(), index);
        return;
    case QMetaType::QByteArray:
        setDataValue(value.toByteArray(), index);
        return;
    case QMetaType::QDateTime: {
        const QDateTime date = value.toDateTime();
        if (date.isValid())
            setDoubleValue(Date::timeIntervalSinceReferenceDate(date), index);
        else
            setNullValueToArgumentAtIndex(index);
        return;
    }
    default:
        break;
    }
    if (Variant::isNullOrAbsent(value)) {
        setNullValueToArgumentAtIndex(index);
    } else if (value.canConvert<QString>()) {
        setStringValue(value.toString(), index);
    } else {
        m_controller.reportFailure(m_sql, QStringLiteral("argument %1: a %2 can't be stored; bound NULL")
                                              .arg(index)
                                              .arg(QString::fromLatin1(value.typeName())));
        setNullValueToArgumentAtIndex(index);
    }
}

bool VMKDatabaseQuery::isArgument(int index) {
    if (index >= 0 && index < m_argumentCount)
        return true;
    checkBinding(SQLITE_RANGE, index);
    return false;
}

void VMKDatabaseQuery::checkBinding(int result, int index) {
    if (Q_UNLIKELY(result != SQLITE_OK)) {
        m_controller.reportFailure(
            m_sql, QStringLiteral("argument %1: %2").arg(index).arg(QString::fromUtf8(sqlite3_errstr(result))));
    }
}

void VMKDatabaseQuery::stepFailed() {
    m_state = State::Done;
    m_controller.reportFailure(m_sql);
}

void VMKDatabaseQuery::execute() {
    if (!m_statement.get())
        return;
    if (m_state != State::Ready)
        sqlite3_reset(m_statement.get());
    int result;
    while ((result = sqlite3_step(m_statement.get())) == SQLITE_ROW) {
    }
    if (result == SQLITE_DONE)
        m_state = State::Done;
    else
        stepFailed();
}

bool VMKDatabaseQuery::evaluateNextRow() {
    if (m_state == State::Done)
        return false;
    const int result = sqlite3_step(m_statement.get());
    if (result == SQLITE_ROW) {
        m_state = State::Row;
        return true;
    }
    if (result == SQLITE_DONE)
        m_state = State::Done;
    else
        stepFailed();
    return false;
}

QVariantList VMKDatabaseQuery::evaluatedRows() {
    QVariantList rows;
    if (m_state == State::Done)
        return rows;
    QStringList names;
    names.reserve(m_columnCount);
    for (int column = 0; column < m_columnCount; ++column)
        names.append(columnName(column));
    while (evaluateNextRow()) {
        QVariantMap row;
        for (int column = 0; column < m_columnCount; ++column)
            row.insert(names[column], valueAtColumn(column));
        rows.append(row);
    }
    return rows;
}

qint32 VMKDatabaseQuery::intValueAtColumn(int column) const {
    return hasColumn(column) ? sqlite3_column_int(m_statement.get(), column) : 0;
}

qint64 VMKDatabaseQuery::longLongValueAtColumn(int column) const {
    return hasColumn(column) ? sqlite3_column_int64(m_statement.get(), column) : 0;
}

double VMKDatabaseQuery::doubleValueAtColumn(int column) const {
    return hasColumn(column) ? sqlite3_column_double(m_statement.get(), column) : 0.0;
}

QString VMKDatabaseQuery::stringValueAtColumn(int column) const {
    if (!hasColumn(column) || sqlite3_column_type(m_statement.get(), column) == SQLITE_NULL)
        return QString();
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(m_statement.get(), column));
    const int size = sqlite3_column_bytes(m_statement.get(), column);
    if (!text)
        return QString();  // out of memory
    if (size == 0)
        return QStringLiteral("");
    return QString::fromUtf8(text, size);
}

QByteArray VMKDatabaseQuery::dataValueAtColumn(int column) const {
    QByteArray empty("", 0);
    if (!hasColumn(column) || sqlite3_column_type(m_statement.get(), column) == SQLITE_NULL)
        return empty;
    const void* bytes = sqlite3_column_blob(m_statement.get(), column);
    const int size = sqlite3_column_bytes(m_statement.get(), column);
    if (!bytes || size == 0)
        return empty;
    return QByteArray(static_cast<const char*>(bytes), size);
}

QVariant VMKDatabaseQuery::valueAtColumn(int column) const {
    if (!hasColumn(column))
        return QVariant();
    switch (sqlite3_column_type(m_statement.get(), column)) {
    case SQLITE_INTEGER:
        return QVariant(qlonglong(sqlite3_column_int64(m_statement.get(), column)));
    case SQLITE_FLOAT:
        return QVariant(sqlite3_column_double(m_statement.get(), column));
    case SQLITE_TEXT:
        return QVariant(stringValueAtColumn(column));
    case SQLITE_BLOB:
        return QVariant(dataValueAtColumn(column));
    default:
        return Variant::null();
    }
}

QString VMKDatabaseQuery::columnName(int column) const {
    if (!m_statement || column < 0 || column >= m_columnCount)
        return QString();
    return QString::fromUtf8(sqlite3_column_name(m_statement.get(), column));
}

qint64 VMKDatabaseQuery::lastInsertedRowID() const {
    return m_controller.m_database ? sqlite3_last_insert_rowid(m_controller.m_database.get()) : 0;
}

void VMKDatabaseQuery::reset() {
    if (!m_statement.get())
        return;
    sqlite3_reset(m_statement.get());
    m_state = State::Ready;
}

void VMKDatabaseQuery::resetArguments() {
    if (m_statement.get())
        sqlite3_clear_bindings(m_statement.get());
}

} // namespace ondrel
