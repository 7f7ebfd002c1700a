#include "actions/save/SaveActionFilenameFilenameToken.h"

#include "core/text/VMKLocalizedString.h"

namespace ondrel {

const ClassInfo& SaveActionFilenameFilenameToken::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<SaveActionFilenameFilenameToken, SaveActionFilenameToken>(
        QStringLiteral("SaveActionFilenameFilenameToken"));
    return info;
}

QString SaveActionFilenameFilenameToken::displayString() const {
    return VMKLocalizedString(QStringLiteral("SaveActionFilenameFilenameToken_displayString"));
}

} // namespace ondrel
