#include "actions/save/SaveActionFilenamePropertyToken.h"

#include "render/engine/files/VMKAudioMetadata.h"

namespace ondrel {

const ClassInfo& SaveActionFilenamePropertyToken::staticClassInfo() {
    using C = SaveActionFilenamePropertyToken;
    static const ClassInfo& info =
        ClassInfo::define<C, SaveActionFilenameToken>(QStringLiteral("SaveActionFilenamePropertyToken"))
            .property(QStringLiteral("property"), &C::property, &C::setProperty);
    return info;
}

void SaveActionFilenamePropertyToken::setProperty(const QString& property) {
    setAndPost(QStringLiteral("property"), m_property, property);
}

QStringList SaveActionFilenamePropertyToken::menuTitles() {
    QStringList titles;
    for (const VMKAudioMetadataItem& item : VMKAudioMetadata::items())
        if (item.valueType != QLatin1String("image"))
            titles << VMKAudioMetadata::titleForKey(item.key);
    return titles;
}

} // namespace ondrel
