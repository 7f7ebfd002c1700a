#pragma once

#include "actions/save/SaveActionFilenameToken.h"

namespace ondrel {

// "[T]text": literal text, shown as plain text rather than a pill.
class SaveActionFilenameTextToken : public SaveActionFilenameToken {
    ONDREL_OBJECT(SaveActionFilenameTextToken, SaveActionFilenameToken)
public:
    SaveActionFilenameTextToken() = default;
    void initWithComponent(const QString& component) override { m_text = component.mid(3); }
    QString text() const { return m_text; }
    void setText(const QString& text);
    int tokenStyle() const override { return 1; }
    QString component() const override { return QStringLiteral("[T]") + m_text; }
    QString displayString() const override { return m_text; }

private:
    QString m_text;
};

} // namespace ondrel
