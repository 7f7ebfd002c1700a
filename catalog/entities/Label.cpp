#include "catalog/entities/Label.h"

#include "catalog/entities/FileEntity.h"

namespace ondrel {

const ClassInfo& Label::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<Label, VMKAudioLabel>(QStringLiteral("Label"))
                                       .property(QStringLiteral("fileEntity"), &Label::fileEntity);
    return info;
}

Label::Label() = default;
Label::~Label() = default;

std::shared_ptr<Label> Label::labelOfType(const QString& type) {
    return std::static_pointer_cast<Label>(VMKAudioLabel::labelOfType(type, staticClassInfo()));
}

void Label::copyValuesTo(VMKAudioLabel& other) const {
    VMKAudioLabel::copyValuesTo(other);
    if (auto* label = dynamic_cast<Label*>(&other))
        label->m_fileEntity = m_fileEntity;
}

} // namespace ondrel
