#include "actions/save/SaveAction.h"

#include "core/files/Bookmark.h"
#include "core/files/URL.h"

namespace ondrel {

const ClassInfo& SaveAction::staticClassInfo() {
    using C = SaveAction;
    static const ClassInfo& info =
        ClassInfo::define<C, Action>(QStringLiteral("SaveAction"))
            .property(QStringLiteral("destinationBookmark"), &C::destinationBookmark, &C::setDestinationBookmark)
            .property(QStringLiteral("filenameComponents"), &C::filenameComponents, &C::setFilenameComponents)
            .property(QStringLiteral("replaceOriginal"), &C::replaceOriginal, &C::setReplaceOriginal)
            .property(QStringLiteral("addResults"), &C::addResults, &C::setAddResults)
            .property(QStringLiteral("preserveHierarchy"), &C::preserveHierarchy, &C::setPreserveHierarchy);
    return info;
}

SaveAction::SaveAction() : m_destinationBookmark(defaultDestinationBookmark()) {}

QStringList SaveAction::parameterKeys() const {
    return {QStringLiteral("destinationBookmark"), QStringLiteral("filenameComponents"),
            QStringLiteral("replaceOriginal"), QStringLiteral("addResults"), QStringLiteral("preserveHierarchy")};
}

std::shared_ptr<Action> SaveAction::copy() const {
    if (&classInfo() != &staticClassInfo())
        return Action::copy();
    std::shared_ptr<SaveAction> action(new SaveAction(WithoutDestination{}));
    action->setEnabled(isEnabled());
    action->setDisclosed(isDisclosed());
    action->setIdentifier(identifier());
    action->setName(name());
    action->m_destinationBookmark = m_destinationBookmark;
    action->m_filenameComponents = m_filenameComponents;
    action->m_replaceOriginal = m_replaceOriginal;
    action->m_addResults = m_addResults;
    action->m_preserveHierarchy = m_preserveHierarchy;
    return action;
}

QByteArray SaveAction::defaultDestinationBookmark() {
    const URL folder = URL::ondrelDirectory();
    if (!folder.existsAsDirectory())
        folder.createDirectory();
    return Bookmark::bookmarkData(folder, Bookmark::WithSecurityScope);
}

void SaveAction::setDestinationBookmark(const QByteArray& destinationBookmark) {
    QByteArray data = destinationBookmark;
    if (!data.isEmpty()) {
        bool isStale = false;
        const URL url = Bookmark::URLByResolvingBookmarkData(data, &isStale);
        if (url.isEmpty())
            data = defaultDestinationBookmark();
        else if (isStale)
            data = Bookmark::bookmarkData(url, Bookmark::WithSecurityScope);
    }
    setAndNotify(QStringLiteral("destinationBookmark"), m_destinationBookmark, std::move(data));
}

void SaveAction::setFilenameComponents(const QStringList& filenameComponents) {
    setAndNotify(QStringLiteral("filenameComponents"), m_filenameComponents, filenameComponents);
}

void SaveAction::setReplaceOriginal(bool replaceOriginal) {
    setAndNotify(QStringLiteral("replaceOriginal"), m_replaceOriginal, replaceOriginal);
}

void SaveAction::setAddResults(bool addResults) {
    setAndNotify(QStringLiteral("addResults"), m_addResults, addResults);
}

void SaveAction::setPreserveHierarchy(bool preserveHierarchy) {
    setAndNotify(QStringLiteral("preserveHierarchy"), m_preserveHierarchy, preserveHierarchy);
}

} // namespace ondrel
