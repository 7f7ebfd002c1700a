#pragma once

#include <QtCore/QStringList>

namespace ondrel {

// `ondrel defaults read [KEY]`, `defaults write KEY [TYPE] VALUE`, `defaults delete KEY`.
class DefaultsCommand {
public:
    static int run(const QStringList& arguments);
    static QString help();
};

} // namespace ondrel
