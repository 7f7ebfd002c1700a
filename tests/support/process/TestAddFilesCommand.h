#pragma once

#include "core/objects/Object.h"

#include <QtCore/QVariantList>

namespace ondrel {

// The file processes library defines the real add-files command; this suite
// has one that holds what the process model gives it: its items.
class AddFilesFileProcessCommand : public Object {
    ONDREL_OBJECT(AddFilesFileProcessCommand, Object)
public:
    QVariantList items() const { return m_items; }
    void setItems(const QVariantList& items) { setAndNotify(QStringLiteral("items"), m_items, items); }

private:
    QVariantList m_items;
};

} // namespace ondrel
