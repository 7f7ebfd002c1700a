#pragma once

#include "actions/save/SaveActionFilenameToken.h"

namespace ondrel {

// "[P]title": the value of a metadata property, named by the item's title
// in the user's language (so a change of language loses the link).
class SaveActionFilenamePropertyToken : public SaveActionFilenameToken {
    ONDREL_OBJECT(SaveActionFilenamePropertyToken, SaveActionFilenameToken)
public:
    SaveActionFilenamePropertyToken() = default;
    void initWithComponent(const QString& component) override { m_property = component.mid(3); }

    QString property() const { return m_property; }
    void setProperty(const QString& property);

    QString component() const override { return QStringLiteral("[P]") + m_property; }
    QString displayString() const override { return m_property; }
    bool hasMenu() const override { return true; }
    // The titles the menu offers: every metadata item that isn't an image.
    static QStringList menuTitles();

private:
    QString m_property;
};

} // namespace ondrel
