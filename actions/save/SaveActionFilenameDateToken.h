#pragma once

#include "actions/save/SaveActionFilenameToken.h"

#include <QtCore/QDateTime>

namespace ondrel {

// "[D]style": the date of compiling, in a date style: 1 short, 2 medium,
// 3 long, 4 full; no time.
class SaveActionFilenameDateToken : public SaveActionFilenameToken {
    ONDREL_OBJECT(SaveActionFilenameDateToken, SaveActionFilenameToken)
public:
    SaveActionFilenameDateToken() = default;
    void initWithComponent(const QString& component) override;

    qint64 style() const { return m_style; }
    void setStyle(qint64 style);

    QString component() const override { return QStringLiteral("[D]%1").arg(m_style); }
    // Today in the style.
    QString displayString() const override;
    bool hasMenu() const override { return true; }

    // The date, in local time, as a date formatter of that style writes it
    // in English: 1 "11/24/26", 2 "Nov 24, 2026", 3 "November 24, 2026",
    // 4 "Tuesday, November 24, 2026". Any other style writes nothing, as a
    // formatter without a date style does.
    static QString stringFromDate(const QDateTime& date, qint64 style);

private:
    qint64 m_style = 0;
};

} // namespace ondrel
