#pragma once

#include <QtCore/QString>

class QCollator;

namespace ondrel {

// The string orderings the system sorts and filters with. Each answers <0, 0
// or >0, like a three-way compare.
//
//   compare                          literal, by UTF-16 code unit
//   caseInsensitiveCompare           literal after case folding
//   localizedCaseInsensitiveCompare  the user's collation, ignoring case
//   localizedStandardCompare         the user's collation, ignoring case, with
//                                    digit runs compared as numbers, as a file
//                                    browser orders names ("Take 2" < "take 10")
//
// The localized orderings keep one collator per thread.
class StringCompare {
public:
    static int compare(const QString& a, const QString& b);
    static int caseInsensitiveCompare(const QString& a, const QString& b);
    static int localizedCaseInsensitiveCompare(const QString& a, const QString& b);
    static int localizedStandardCompare(const QString& a, const QString& b);

    // The ordering named by a comparison selector ("compare:",
    // "caseInsensitiveCompare:", "localizedStandardCompare:",
    // "localizedCaseInsensitiveCompare:"); literal for any other name.
    static int compareWithSelector(const QString& selector, const QString& a, const QString& b);

    // The collator behind the localized ordering named by `selector`, or null
    // for the literal ones. For sorting many texts: compute each text's
    // QCollatorSortKey once and compare the keys, which order as the
    // comparison does. The collator belongs to the calling thread.
    static const QCollator* collatorForSelector(const QString& selector);
};

} // namespace ondrel
