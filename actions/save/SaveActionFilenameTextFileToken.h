#pragma once

#include "actions/save/SaveActionFilenameToken.h"

namespace ondrel {

// "[N]bookmark": the next line of a text file, named by the base64 text of
// a bookmark of it.
class SaveActionFilenameTextFileToken : public SaveActionFilenameToken {
    ONDREL_OBJECT(SaveActionFilenameTextFileToken, SaveActionFilenameToken)
public:
    SaveActionFilenameTextFileToken() = default;
    void initWithComponent(const QString& component) override { m_bookmarkString = component.mid(3); }

    QString bookmarkString() const { return m_bookmarkString; }
    void setBookmarkString(const QString& bookmarkString);

    QString component() const override { return QStringLiteral("[N]") + m_bookmarkString; }
    // The resolved file's name; the text itself when it isn't base64; empty
    // when there is nothing or the bookmark doesn't resolve.
    QString displayString() const override;
    bool hasMenu() const override { return true; }

private:
    QString m_bookmarkString;
};

} // namespace ondrel
