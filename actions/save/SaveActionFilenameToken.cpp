#include "actions/save/SaveActionFilenameToken.h"

#include "actions/save/SaveActionFilenameAnalysisToken.h"
#include "actions/save/SaveActionFilenameCounterToken.h"
#include "actions/save/SaveActionFilenameDateToken.h"
#include "actions/save/SaveActionFilenameFilenameToken.h"
#include "actions/save/SaveActionFilenamePropertyToken.h"
#include "actions/save/SaveActionFilenameTextFileToken.h"
#include "actions/save/SaveActionFilenameTextToken.h"
#include "core/dispatch/NotificationCenter.h"
#include "core/storage/KeyedArchiver.h"
#include "core/storage/KeyedUnarchiver.h"

namespace ondrel {

const QString SaveActionFilenameToken::DidChangeNotification = QStringLiteral("SaveActionFilenameTokenDidChange");
const QString SaveActionFilenameToken::PasteboardType = QStringLiteral("com.velmark.ondrel.filenameEditorToken");

const ClassInfo& SaveActionFilenameToken::staticClassInfo() {
    static const ClassInfo& info =
        ClassInfo::define<SaveActionFilenameToken, Object>(QStringLiteral("SaveActionFilenameToken"));
    return info;
}

std::shared_ptr<SaveActionFilenameToken> SaveActionFilenameToken::tokenWithComponent(const QString& component) {
    std::shared_ptr<SaveActionFilenameToken> token;
    if (component.startsWith(QLatin1String("[F]")))
        token = std::make_shared<SaveActionFilenameFilenameToken>();
    else if (component.startsWith(QLatin1String("[P]")))
        token = std::make_shared<SaveActionFilenamePropertyToken>();
    else if (component.startsWith(QLatin1String("[A]")))
        token = std::make_shared<SaveActionFilenameAnalysisToken>();
    else if (component.startsWith(QLatin1String("[C]")))
        token = std::make_shared<SaveActionFilenameCounterToken>();
    else if (component.startsWith(QLatin1String("[N]")))
        token = std::make_shared<SaveActionFilenameTextFileToken>();
    else if (component.startsWith(QLatin1String("[D]")))
        token = std::make_shared<SaveActionFilenameDateToken>();
    else if (component.startsWith(QLatin1String("[T]")))
        token = std::make_shared<SaveActionFilenameTextToken>();
    else {
        // Plain text: the whole string is the text, and its component gains the tag.
        auto text = std::make_shared<SaveActionFilenameTextToken>();
        text->setText(component);
        return text;
    }
    token->initWithComponent(component);
    return token;
}

void SaveActionFilenameToken::initWithComponent(const QString&) {}

void SaveActionFilenameToken::postDidChange() {
    NotificationCenter::defaultCenter().postNotification(DidChangeNotification, this);
}

QByteArray SaveActionFilenameToken::pasteboardPropertyListForType(const QString& type) const {
    if (type != PasteboardType)
        return {};
    return KeyedArchiver::archivedDataWithRootObject(component());
}

std::shared_ptr<SaveActionFilenameToken> SaveActionFilenameToken::initWithPasteboardPropertyList(
    const QByteArray& data, const QString& type) {
    if (type != PasteboardType)
        return nullptr;
    const QVariant component = KeyedUnarchiver::unarchiveObjectWithData(data);
    if (!Variant::isString(component))
        return nullptr;
    return tokenWithComponent(component.toString());
}

} // namespace ondrel
