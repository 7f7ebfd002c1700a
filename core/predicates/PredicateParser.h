#pragma once

#include "core/text/VMKError.h"

#include <QtCore/QString>
#include <QtCore/QVariantList>

#include <memory>
#include <vector>

namespace ondrel {

class Expression;
class Predicate;

// Reads predicate text (see Predicate.h for the language) into a tree of
// predicates and expressions. One parser reads one text once.
//
// Errors have the action "Parsing the predicate", code 1 for text that is not
// a predicate and code 2 for missing or unsuitable arguments, and the user
// info "position" (the offset of the fault in the text) and "format".
class PredicateParser {
public:
    PredicateParser(const QString& format, const QVariantList& arguments);

    std::shared_ptr<Predicate> parse(VMKError* error);

    // Keywords of the language, in any case; a key path component spelled
    // like one is written with a leading '#'.
    static bool isReservedWord(const QString& word);

    enum ErrorCode { SyntaxError = 1, ArgumentError = 2 };

private:
    enum class TokenKind { End, Identifier, Number, Text, Substitution, Symbol };
    struct Token {
        TokenKind kind = TokenKind::End;
        QString text;    // identifier, symbol, or the substitution's conversion
        QVariant value;  // number or text
        qsizetype position = 0;
        qsizetype length = 0;
        bool escaped = false;  // an identifier written #name
    };

    bool tokenize();
    bool lexNumber(qsizetype& i);
    bool lexText(qsizetype& i);
    bool lexSubstitution(qsizetype& i);

    std::shared_ptr<Predicate> parseOr();
    std::shared_ptr<Predicate> parseAnd();
    std::shared_ptr<Predicate> parseNot();
    std::shared_ptr<Predicate> parsePrimary();
    std::shared_ptr<Predicate> parseComparison();
    bool parseOptions(int* options);
    std::shared_ptr<Expression> parseExpression();
    std::shared_ptr<Expression> parseKeyPath(const QString& first);
    std::shared_ptr<Expression> parseSubstitution(const Token& token);
    std::shared_ptr<Expression> parseCast(const Token& token);

    const Token& current() const { return m_tokens[m_index]; }
    void advance() {
        if (m_index + 1 < m_tokens.size())
            ++m_index;
    }
    bool isKeyword(const char* word) const;
    bool isSymbol(const char* symbol) const;
    QString describeCurrent() const;

    // Records the first fault; always answers false / null for chaining.
    bool fail(qsizetype position, const QString& reason, ErrorCode code = SyntaxError);
    bool expected(const QString& what);
    // Counts one level of nesting; false (with an error) past the limit, so
    // that hostile text cannot exhaust the stack.
    bool enter();
    void leave() { --m_depth; }

    QString m_format;
    QVariantList m_arguments;
    qsizetype m_nextArgument = 0;
    std::vector<Token> m_tokens;
    size_t m_index = 0;
    int m_depth = 0;  // nesting of parentheses, NOT and lists
    VMKError m_error;
};

} // namespace ondrel
