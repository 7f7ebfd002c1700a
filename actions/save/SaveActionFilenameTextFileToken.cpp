#include "actions/save/SaveActionFilenameTextFileToken.h"

#include "core/files/Bookmark.h"

namespace ondrel {

const ClassInfo& SaveActionFilenameTextFileToken::staticClassInfo() {
    using C = SaveActionFilenameTextFileToken;
    static const ClassInfo& info =
        ClassInfo::define<C, SaveActionFilenameToken>(QStringLiteral("SaveActionFilenameTextFileToken"))
            .property(QStringLiteral("bookmarkString"), &C::bookmarkString, &C::setBookmarkString);
    return info;
}

void SaveActionFilenameTextFileToken::setBookmarkString(const QString& bookmarkString) {
    setAndPost(QStringLiteral("bookmarkString"), m_bookmarkString, bookmarkString);
}

QString SaveActionFilenameTextFileToken::displayString() const {
    if (m_bookmarkString.isEmpty())
        return QString();
    const auto decoded = QByteArray::fromBase64Encoding(m_bookmarkString.toLatin1(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return m_bookmarkString;
    bool isStale = false;
    const URL url = Bookmark::URLByResolvingBookmarkData(*decoded, &isStale);
    return url.isEmpty() ? QString() : url.lastPathComponent();
}

} // namespace ondrel
