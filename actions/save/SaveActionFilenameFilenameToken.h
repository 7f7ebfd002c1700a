#pragma once

#include "actions/save/SaveActionFilenameToken.h"

namespace ondrel {

// "[F]": the source's name without its extension.
class SaveActionFilenameFilenameToken : public SaveActionFilenameToken {
    ONDREL_OBJECT(SaveActionFilenameFilenameToken, SaveActionFilenameToken)
public:
    SaveActionFilenameFilenameToken() = default;
    QString component() const override { return QStringLiteral("[F]"); }
    // The text of "SaveActionFilenameFilenameToken_displayString".
    QString displayString() const override;
};

} // namespace ondrel
