#pragma once

#include "actions/save/SaveActionFilenameToken.h"

namespace ondrel {

// "[A]key": a measure of the file, formatted as the program shows it.
class SaveActionFilenameAnalysisToken : public SaveActionFilenameToken {
    ONDREL_OBJECT(SaveActionFilenameAnalysisToken, SaveActionFilenameToken)
public:
    SaveActionFilenameAnalysisToken() = default;
    void initWithComponent(const QString& component) override { m_property = component.mid(3); }

    // The key of the measure.
    QString property() const { return m_property; }
    void setProperty(const QString& property);

    QString component() const override { return QStringLiteral("[A]") + m_property; }
    // The key's title, the text of "Entity_property_<key>".
    QString displayString() const override;
    bool hasMenu() const override { return true; }
    // The keys the menu offers, in menu order.
    static const QStringList& analysisKeys();

private:
    QString m_property;
};

} // namespace ondrel
