#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel defaults read [KEY]`, `defaults write KEY [TYPE] VALUE`, `defaults delete KEY`.
class DefaultsCommand {
public:
    // All stored defaults, or the value of one key (registered ones too).
    static int read(const QStringList& arguments);
    // Stores KEY's value, read as its text suggests or as TYPE says.
    static int write(const QStringList& arguments);
    // Removes a stored default.
    static int remove(const QStringList& arguments);
};

} // namespace ondrel
