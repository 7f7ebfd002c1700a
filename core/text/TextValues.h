#pragma once

#include <QtCore/QStringView>

namespace ondrel {

// Numbers read from text the forgiving way the system's strings do: leading
// white space is skipped, an optional sign and the digits that follow are
// read, and reading stops at the first other character. Text without a
// number reads 0; a number beyond the range saturates.
class TextValues {
public:
    // "12abc" -> 12, " -3" -> -3, "" and "x" -> 0, "99999999999999999999" -> INT64_MAX.
    static qint64 integerValue(QStringView text);
};

} // namespace ondrel
