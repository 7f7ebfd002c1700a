#include "core/predicates/PredicateParser.h"

#include "core/predicates/BooleanPredicate.h"
#include "core/predicates/ComparisonPredicate.h"
#include "core/predicates/CompoundPredicate.h"
#include "core/values/Date.h"
#include "core/predicates/Expression.h"

#include <QtCore/QSet>

#include <optional>

namespace ondrel {

namespace {

using Type = ComparisonPredicate::PredicateOperatorType;
using Modifier = ComparisonPredicate::ComparisonPredicateModifier;

bool isIdentifierStart(QChar c) { return c.isLetter() || c == QLatin1Char('_') || c == QLatin1Char('@'); }
bool isIdentifierPart(QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_'); }
bool isDigit(QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); }

struct OperatorWord {
    const char* word;
    Type type;
};
constexpr OperatorWord kOperatorWords[] = {
    {"CONTAINS", Type::Contains}, {"BEGINSWITH", Type::BeginsWith}, {"ENDSWITH", Type::EndsWith},
    {"LIKE", Type::Like},         {"MATCHES", Type::Matches},       {"IN", Type::In},
    {"BETWEEN", Type::Between},
};
struct OperatorSymbol {
    const char* symbol;
    Type type;
};
constexpr OperatorSymbol kOperatorSymbols[] = {
    {"==", Type::EqualTo},           {"!=", Type::NotEqualTo}, {"<", Type::LessThan},
    {"<=", Type::LessThanOrEqualTo}, {">", Type::GreaterThan}, {">=", Type::GreaterThanOrEqualTo},
};

} // namespace

bool PredicateParser::isReservedWord(const QString& word) {
    static const QSet<QString> words = {
        QStringLiteral("AND"),           QStringLiteral("OR"),
        QStringLiteral("NOT"),           QStringLiteral("ANY"),
        QStringLiteral("SOME"),          QStringLiteral("ALL"),
        QStringLiteral("NONE"),          QStringLiteral("IN"),
        QStringLiteral("CONTAINS"),      QStringLiteral("BEGINSWITH"),
        QStringLiteral("ENDSWITH"),      QStringLiteral("LIKE"),
        QStringLiteral("MATCHES"),       QStringLiteral("BETWEEN"),
        QStringLiteral("TRUEPREDICATE"), QStringLiteral("FALSEPREDICATE"),
        QStringLiteral("YES"),           QStringLiteral("NO"),
        QStringLiteral("TRUE"),          QStringLiteral("FALSE"),
        QStringLiteral("NULL"),          QStringLiteral("NIL"),
        QStringLiteral("SELF"),          QStringLiteral("CAST"),
    };
    return words.contains(word.toUpper());
}

PredicateParser::PredicateParser(const QString& format, const QVariantList& arguments)
    : m_format(format), m_arguments(arguments) {}

std::shared_ptr<Predicate> PredicateParser::parse(VMKError* error) {
    std::shared_ptr<Predicate> predicate;
    if (tokenize()) {
        if (current().kind == TokenKind::End)
            expected(QStringLiteral("a predicate"));
        else if ((predicate = parseOr()) && current().kind != TokenKind::End) {
            expected(QStringLiteral("AND, OR or the end of the predicate"));
            predicate.reset();
        }
    }
    if (m_error) {
        VMKError::set(error, m_error);
        return nullptr;
    }
    return predicate;
}

// MARK: - Errors

bool PredicateParser::fail(qsizetype position, const QString& reason, ErrorCode code) {
    if (m_error)
        return false;
    const QString shown = m_format.size() > 200 ? m_format.left(200) + QChar(0x2026) : m_format;
    m_error = VMKError::errorWithCode(
        code, QStringLiteral("Parsing the predicate"),
        QStringLiteral("%1 (position %2 of \u201C%3\u201D)").arg(reason, QString::number(position), shown));
    m_error.setUserInfoValue(QStringLiteral("position"), qint64(position));
    m_error.setUserInfoValue(QStringLiteral("format"), m_format);
    return false;
}

bool PredicateParser::enter() {
    constexpr int kMaxDepth = 200;
    if (++m_depth <= kMaxDepth)
        return true;
    return fail(current().position, QStringLiteral("the predicate nests deeper than %1 levels").arg(kMaxDepth));
}

bool PredicateParser::expected(const QString& what) {
    return fail(current().position, QStringLiteral("expected %1, found %2").arg(what, describeCurrent()));
}

QString PredicateParser::describeCurrent() const {
    const Token& t = current();
    if (t.kind == TokenKind::End)
        return QStringLiteral("the end of the text");
    return QStringLiteral("\u201C%1\u201D").arg(m_format.mid(t.position, t.length));
}

// MARK: - Tokens

bool PredicateParser::tokenize() {
    static const char* const kTwoCharSymbols[][2] = {
        {"==", "=="}, {"=<", "<="}, {"=>", ">="}, {"!=", "!="}, {"<>", "!="},
        {"<=", "<="}, {">=", ">="}, {"&&", "&&"}, {"||", "||"},
    };
    qsizetype i = 0;
    const qsizetype n = m_format.size();
    while (true) {
        while (i < n && m_format.at(i).isSpace())
            ++i;
        if (i >= n)
            break;
        const QChar c = m_format.at(i);
        const QChar next = i + 1 < n ? m_format.at(i + 1) : QChar();
        if (isDigit(c) || (c == QLatin1Char('.') && isDigit(next)) ||
            ((c == QLatin1Char('-') || c == QLatin1Char('+')) &&
             (isDigit(next) || (next == QLatin1Char('.') && i + 2 < n && isDigit(m_format.at(i + 2)))))) {
            if (!lexNumber(i))
                return false;
            continue;
        }
        if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
            if (!lexText(i))
                return false;
            continue;
        }
        if (c == QLatin1Char('%')) {
            if (!lexSubstitution(i))
                return false;
            continue;
        }
        if (isIdentifierStart(c) || (c == QLatin1Char('#') && isIdentifierStart(next))) {
            Token t;
            t.kind = TokenKind::Identifier;
            t.position = i;
            if (c == QLatin1Char('#')) {
                t.escaped = true;
                ++i;
            }
            const qsizetype start = i++;
            while (i < n && isIdentifierPart(m_format.at(i)))
                ++i;
            t.text = m_format.mid(start, i - start);
            t.length = i - t.position;
            m_tokens.push_back(t);
            continue;
        }
        if (c == QLatin1Char('$'))
            return fail(i, QStringLiteral("substitution variables ($name) are not supported"));
        Token t;
        t.kind = TokenKind::Symbol;
        t.position = i;
        bool twoChars = false;
        for (const auto& pair : kTwoCharSymbols) {
            if (c == QLatin1Char(pair[0][0]) && next == QLatin1Char(pair[0][1])) {
                t.text = QString::fromLatin1(pair[1]);
                twoChars = true;
                break;
            }
        }
        if (!twoChars) {
            if (!QStringLiteral("(){}[],.=<>!").contains(c))
                return fail(i, QStringLiteral("unexpected character \u201C%1\u201D").arg(c));
            t.text = c == QLatin1Char('=') ? QStringLiteral("==") : QString(c);
        }
        t.length = twoChars ? 2 : 1;
        i += t.length;
        m_tokens.push_back(t);
    }
    Token end;
    end.position = n;
    m_tokens.push_back(end);
    return true;
}

bool PredicateParser::lexNumber(qsizetype& i) {
    const qsizetype n = m_format.size();
    Token t;
    t.kind = TokenKind::Number;
    t.position = i;
    qsizetype j = i;
    if (m_format.at(j) == QLatin1Char('-') || m_format.at(j) == QLatin1Char('+'))
        ++j;
    const bool hex = j + 1 < n && m_format.at(j) == QLatin1Char('0') &&
                     (m_format.at(j + 1) == QLatin1Char('x') || m_format.at(j + 1) == QLatin1Char('X'));
    bool isReal = false;
    if (hex) {
        j += 2;
        while (j < n && (isDigit(m_format.at(j)) || QStringLiteral("abcdefABCDEF").contains(m_format.at(j))))
            ++j;
    } else {
        while (j < n && isDigit(m_format.at(j)))
            ++j;
        if (j < n && m_format.at(j) == QLatin1Char('.')) {
            isReal = true;
            ++j;
            while (j < n && isDigit(m_format.at(j)))
                ++j;
        }
        if (j < n && (m_format.at(j) == QLatin1Char('e') || m_format.at(j) == QLatin1Char('E'))) {
            qsizetype k = j + 1;
            if (k < n && (m_format.at(k) == QLatin1Char('+') || m_format.at(k) == QLatin1Char('-')))
                ++k;
            if (k < n && isDigit(m_format.at(k))) {
                isReal = true;
                j = k;
                while (j < n && isDigit(m_format.at(j)))
                    ++j;
            }
        }
    }
    if (j < n && isIdentifierPart(m_format.at(j)))
        return fail(j, QStringLiteral("malformed number \u201C%1\u201D").arg(m_format.mid(i, j - i + 1)));
    QString text = m_format.mid(i, j - i);
    bool ok = false;
    if (hex) {
        const bool negative = text.startsWith(QLatin1Char('-'));
        const qint64 value = text.mid(negative || text.startsWith(QLatin1Char('+')) ? 3 : 2).toLongLong(&ok, 16);
        t.value = negative ? -value : value;
    } else if (!isReal) {
        t.value = text.toLongLong(&ok);
        if (!ok)
            t.value = text.toDouble(&ok);  // too large for an integer
    } else {
        t.value = text.toDouble(&ok);
    }
    if (!ok)
        return fail(i, QStringLiteral("malformed number \u201C%1\u201D").arg(text));
    t.length = j - i;
    i = j;
    m_tokens.push_back(t);
    return true;
}

bool PredicateParser::lexText(qsizetype& i) {
    const qsizetype n = m_format.size();
    const QChar quote = m_format.at(i);
    Token t;
    t.kind = TokenKind::Text;
    t.position = i;
    QString text;
    qsizetype j = i + 1;
    for (;; ++j) {
        if (j >= n)
            return fail(i, QStringLiteral("unterminated quoted text"));
        const QChar c = m_format.at(j);
        if (c == quote)
            break;
        if (c == QLatin1Char('%') && j + 1 < n && m_format.at(j + 1) == QLatin1Char('%')) {
            text += c;
            ++j;
            continue;
        }
        if (c != QLatin1Char('\\')) {
            text += c;
            continue;
        }
        if (++j >= n)
            return fail(i, QStringLiteral("unterminated quoted text"));
        const QChar e = m_format.at(j);
        switch (e.unicode()) {
        case 'n': text += QLatin1Char('\n'); break;
        case 't': text += QLatin1Char('\t'); break;
        case 'r': text += QLatin1Char('\r'); break;
        case '0': text += QChar(0); break;
        case '\\':
        case '"':
        case '\'': text += e; break;
        case 'u': {
            bool ok = false;
            const uint code = j + 4 < n ? m_format.mid(j + 1, 4).toUInt(&ok, 16) : 0;
            if (!ok)
                return fail(j - 1, QStringLiteral("malformed \\u escape in quoted text"));
            text += QChar(char16_t(code));
            j += 4;
            break;
        }
        default:  // kept as written, so that regular expressions read naturally ('\d+')
            text += QLatin1Char('\\');
            text += e;
        }
    }
    t.value = text;
    t.length = j + 1 - i;
    i = j + 1;
    m_tokens.push_back(t);
    return true;
}

bool PredicateParser::lexSubstitution(qsizetype& i) {
    const qsizetype n = m_format.size();
    Token t;
    t.kind = TokenKind::Substitution;
    t.position = i;
    qsizetype j = i + 1;
    if (j < n && (m_format.at(j) == QLatin1Char('@') || m_format.at(j) == QLatin1Char('K'))) {
        t.text = m_format.at(j);
    } else if (j < n && m_format.at(j) == QLatin1Char('%')) {
        return fail(i, QStringLiteral("a literal %% belongs inside quoted text"));
    } else {
        while (j < n && QStringLiteral("hlqLzjt").contains(m_format.at(j)))
            ++j;
        if (j >= n || !QStringLiteral("diouxXfFeEgGaAsS").contains(m_format.at(j)))
            return fail(i, QStringLiteral("unknown substitution \u201C%1\u201D").arg(m_format.mid(i, j + 1 - i)));
        t.text = m_format.at(j);
    }
    t.length = j + 1 - i;
    i = j + 1;
    m_tokens.push_back(t);
    return true;
}

bool PredicateParser::isKeyword(const char* word) const {
    const Token& t = current();
    return t.kind == TokenKind::Identifier && !t.escaped &&
           t.text.compare(QLatin1String(word), Qt::CaseInsensitive) == 0;
}

bool PredicateParser::isSymbol(const char* symbol) const {
    const Token& t = current();
    return t.kind == TokenKind::Symbol && t.text == QLatin1String(symbol);
}

// MARK: - Predicates

std::shared_ptr<Predicate> PredicateParser::parseOr() {
    if (!enter())
        return nullptr;
    std::vector<std::shared_ptr<Predicate>> parts;
    do {
        if (!parts.empty())
            advance();
        auto part = parseAnd();
        if (!part)
            return nullptr;
        parts.push_back(std::move(part));
    } while (isKeyword("OR") || isSymbol("||"));
    leave();
    if (parts.size() == 1)
        return parts.front();
    return Predicate::orPredicateWithSubpredicates(std::move(parts));
}

std::shared_ptr<Predicate> PredicateParser::parseAnd() {
    std::vector<std::shared_ptr<Predicate>> parts;
    do {
        if (!parts.empty())
            advance();
        auto part = parseNot();
        if (!part)
            return nullptr;
        parts.push_back(std::move(part));
    } while (isKeyword("AND") || isSymbol("&&"));
    if (parts.size() == 1)
        return parts.front();
    return Predicate::andPredicateWithSubpredicates(std::move(parts));
}

std::shared_ptr<Predicate> PredicateParser::parseNot() {
    if (isKeyword("NOT") || isSymbol("!")) {
        advance();
        if (!enter())
            return nullptr;
        auto operand = parseNot();
        if (!operand)
            return nullptr;
        leave();
        return Predicate::notPredicateWithSubpredicate(std::move(operand));
    }
    return parsePrimary();
}

std::shared_ptr<Predicate> PredicateParser::parsePrimary() {
    if (isSymbol("(")) {
        const qsizetype open = current().position;
        advance();
        auto inner = parseOr();
        if (!inner)
            return nullptr;
        if (!isSymbol(")")) {
            fail(current().position,
                 QStringLiteral("expected \u201C)\u201D to close the parenthesis opened at position %1, found %2")
                     .arg(QString::number(open), describeCurrent()));
            return nullptr;
        }
        advance();
        return inner;
    }
    if (isKeyword("TRUEPREDICATE")) {
        advance();
        return Predicate::truePredicate();
    }
    if (isKeyword("FALSEPREDICATE")) {
        advance();
        return Predicate::falsePredicate();
    }
    return parseComparison();
}

std::shared_ptr<Predicate> PredicateParser::parseComparison() {
    Modifier modifier = Modifier::Direct;
    bool negate = false;
    if (isKeyword("ANY") || isKeyword("SOME")) {
        modifier = Modifier::Any;
        advance();
    } else if (isKeyword("ALL")) {
        modifier = Modifier::All;
        advance();
    } else if (isKeyword("NONE")) {
        modifier = Modifier::Any;
        negate = true;
        advance();
    }
    auto left = parseExpression();
    if (!left)
        return nullptr;

    std::optional<Type> type;
    if (current().kind == TokenKind::Symbol) {
        for (const auto& op : kOperatorSymbols)
            if (isSymbol(op.symbol))
                type = op.type;
    } else {
        for (const auto& op : kOperatorWords)
            if (isKeyword(op.word))
                type = op.type;
    }
    if (!type) {
        expected(QStringLiteral("a comparison operator (==, !=, <, <=, >, >=, CONTAINS, BEGINSWITH, ENDSWITH, "
                                "LIKE, MATCHES, IN or BETWEEN)"));
        return nullptr;
    }
    advance();
    int options = 0;
    if (isSymbol("[") && !parseOptions(&options))
        return nullptr;

    const qsizetype rightPosition = current().position;
    auto right = parseExpression();
    if (!right)
        return nullptr;
    if (*type == Type::Between) {
        const bool pair =
            (right->expressionType() == Expression::ExpressionType::Aggregate && right->collection().size() == 2) ||
            (right->expressionType() == Expression::ExpressionType::ConstantValue &&
             Variant::isList(right->constantValue()) && right->constantValue().toList().size() == 2) ||
            right->expressionType() == Expression::ExpressionType::KeyPath;
        if (!pair) {
            fail(rightPosition, QStringLiteral("BETWEEN needs a list of two values, {low, high}"));
            return nullptr;
        }
    }
    std::shared_ptr<Predicate> comparison =
        std::make_shared<ComparisonPredicate>(std::move(left), std::move(right), modifier, *type, options);
    if (negate)
        return Predicate::notPredicateWithSubpredicate(std::move(comparison));
    return comparison;
}

bool PredicateParser::parseOptions(int* options) {
    advance();  // [
    if (current().kind != TokenKind::Identifier)
        return expected(QStringLiteral("comparison options (c, d or cd)"));
    for (const QChar c : current().text) {
        if (c == QLatin1Char('c') || c == QLatin1Char('C'))
            *options |= ComparisonPredicate::CaseInsensitivePredicateOption;
        else if (c == QLatin1Char('d') || c == QLatin1Char('D'))
            *options |= ComparisonPredicate::DiacriticInsensitivePredicateOption;
        else if (c != QLatin1Char('n') && c != QLatin1Char('N'))  // n: texts already normalized
            return fail(current().position, QStringLiteral("unknown comparison option \u201C%1\u201D").arg(c));
    }
    advance();
    if (!isSymbol("]"))
        return expected(QStringLiteral("\u201C]\u201D after the comparison options"));
    advance();
    return true;
}

// MARK: - Expressions

std::shared_ptr<Expression> PredicateParser::parseExpression() {
    const Token token = current();
    switch (token.kind) {
    case TokenKind::Number:
    case TokenKind::Text: advance(); return Expression::expressionForConstantValue(token.value);
    case TokenKind::Substitution: advance(); return parseSubstitution(token);
    case TokenKind::Symbol:
        if (token.text == QLatin1String("{")) {
            advance();
            if (!enter())
                return nullptr;
            std::vector<std::shared_ptr<Expression>> elements;
            if (!isSymbol("}")) {
                while (true) {
                    auto element = parseExpression();
                    if (!element)
                        return nullptr;
                    elements.push_back(std::move(element));
                    if (!isSymbol(","))
                        break;
                    advance();
                }
            }
            if (!isSymbol("}")) {
                expected(QStringLiteral("\u201C,\u201D or \u201C}\u201D in the list"));
                return nullptr;
            }
            advance();
            leave();
            return Expression::expressionForAggregate(std::move(elements));
        }
        break;
    case TokenKind::Identifier: {
        if (token.escaped || !isReservedWord(token.text)) {
            advance();
            return parseKeyPath(token.text);
        }
        const QString word = token.text.toUpper();
        if (word == QLatin1String("YES") || word == QLatin1String("TRUE") || word == QLatin1String("NO") ||
            word == QLatin1String("FALSE")) {
            advance();
            return Expression::expressionForConstantValue(word == QLatin1String("YES") ||
                                                          word == QLatin1String("TRUE"));
        }
        if (word == QLatin1String("NULL") || word == QLatin1String("NIL")) {
            advance();
            return Expression::expressionForConstantValue(Variant::null());
        }
        if (word == QLatin1String("SELF")) {
            advance();
            if (!isSymbol("."))
                return Expression::expressionForEvaluatedObject();
            advance();
            if (current().kind != TokenKind::Identifier) {
                expected(QStringLiteral("a key after \u201CSELF.\u201D"));
                return nullptr;
            }
            const QString first = current().text;
            advance();
            return parseKeyPath(first);
        }
        if (word == QLatin1String("CAST")) {
            advance();
            return parseCast(token);
        }
        break;
    }
    case TokenKind::End: break;
    }
    expected(QStringLiteral("a value or key path"));
    return nullptr;
}

std::shared_ptr<Expression> PredicateParser::parseKeyPath(const QString& first) {
    QString path = first;
    while (isSymbol(".")) {
        advance();
        if (current().kind != TokenKind::Identifier) {
            expected(QStringLiteral("a key after \u201C.\u201D"));
            return nullptr;
        }
        path += QLatin1Char('.') + current().text;
        advance();
    }
    return Expression::expressionForKeyPath(path);
}

std::shared_ptr<Expression> PredicateParser::parseSubstitution(const Token& token) {
    if (m_nextArgument >= m_arguments.size()) {
        fail(token.position,
             QStringLiteral("too few arguments: %1 needs argument %2, but %3 were given")
                 .arg(m_format.mid(token.position, token.length), QString::number(m_nextArgument + 1),
                      QString::number(m_arguments.size())),
             ArgumentError);
        return nullptr;
    }
    const qsizetype number = m_nextArgument + 1;
    const QVariant argument = m_arguments.at(m_nextArgument++);
    const QChar conversion = token.text.at(0);
    auto unsuitable = [&](const QString& what) {
        fail(token.position,
             QStringLiteral("argument %1 for %2 is not %3")
                 .arg(QString::number(number), m_format.mid(token.position, token.length), what),
             ArgumentError);
        return nullptr;
    };
    if (conversion == QLatin1Char('@'))
        return Expression::expressionForConstantValue(Variant::isAbsent(argument) ? Variant::null() : argument);
    if (conversion == QLatin1Char('K')) {
        if (!Variant::isString(argument) || argument.toString().isEmpty())
            return unsuitable(QStringLiteral("a key path"));
        return Expression::expressionForKeyPath(argument.toString());
    }
    if (conversion == QLatin1Char('s') || conversion == QLatin1Char('S')) {
        if (!Variant::isString(argument))
            return unsuitable(QStringLiteral("text"));
        return Expression::expressionForConstantValue(argument);
    }
    if (!Variant::isNumber(argument))
        return unsuitable(QStringLiteral("a number"));
    if (QStringLiteral("diouxX").contains(conversion)) {
        if (argument.typeId() == QMetaType::ULongLong || argument.typeId() == QMetaType::ULong)
            return Expression::expressionForConstantValue(argument.toULongLong());
        return Expression::expressionForConstantValue(argument.toLongLong());
    }
    return Expression::expressionForConstantValue(argument.toDouble());
}

std::shared_ptr<Expression> PredicateParser::parseCast(const Token& token) {
    if (!isSymbol("(")) {
        expected(QStringLiteral("\u201C(\u201D after CAST"));
        return nullptr;
    }
    advance();
    auto value = parseExpression();
    if (!value)
        return nullptr;
    if (!isSymbol(",")) {
        expected(QStringLiteral("\u201C,\u201D and a type name in CAST"));
        return nullptr;
    }
    advance();
    const Token typeToken = current();
    const QString typeName = typeToken.kind == TokenKind::Text ? typeToken.value.toString() : QString();
    if (typeName != QLatin1String("Date") && typeName != QLatin1String("NSDate")) {
        expected(QStringLiteral("the quoted type name \u201CDate\u201D"));
        return nullptr;
    }
    advance();
    if (!isSymbol(")")) {
        expected(QStringLiteral("\u201C)\u201D to close CAST"));
        return nullptr;
    }
    advance();
    const QVariant seconds = value->constantValue();
    if (value->expressionType() != Expression::ExpressionType::ConstantValue || !Variant::isNumber(seconds)) {
        fail(token.position, QStringLiteral("CAST to a date needs a number of seconds"));
        return nullptr;
    }
    const QDateTime date = Date::dateWithTimeIntervalSinceReferenceDate(seconds.toDouble());
    if (!date.isValid()) {
        fail(token.position, QStringLiteral("CAST to a date: the number of seconds is out of range"));
        return nullptr;
    }
    return Expression::expressionForConstantValue(date);
}

} // namespace ondrel
