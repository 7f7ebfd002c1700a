#include "actions/save/SaveActionFilenameTextToken.h"

namespace ondrel {

const ClassInfo& SaveActionFilenameTextToken::staticClassInfo() {
    using C = SaveActionFilenameTextToken;
    static const ClassInfo& info = ClassInfo::define<C, SaveActionFilenameToken>(QStringLiteral("SaveActionFilenameTextToken"))
                                       .property(QStringLiteral("text"), &C::text, &C::setText);
    return info;
}

void SaveActionFilenameTextToken::setText(const QString& text) {
    setAndPost(QStringLiteral("text"), m_text, text);
}

} // namespace ondrel
