#include "fileprocesses/FileProcessCommand.h"

namespace ondrel {

const ClassInfo& FileProcessCommand::staticClassInfo() {
    using C = FileProcessCommand;
    static const ClassInfo& info = ClassInfo::define<C, Object>(QStringLiteral("FileProcessCommand"))
                                       .property(QStringLiteral("items"), &C::items, &C::setItems);
    return info;
}

FileProcessCommand::FileProcessCommand() = default;

FileProcessCommand::~FileProcessCommand() = default;

QVariantList FileProcessCommand::items() const {
    std::lock_guard lock(m_mutex);
    return m_items;
}

void FileProcessCommand::setItems(const QVariantList& items) {
    const QString key = QStringLiteral("items");
    willChangeValueForKey(key);
    {
        std::lock_guard lock(m_mutex);
        m_items = items;
    }
    didChangeValueForKey(key);
}

} // namespace ondrel
