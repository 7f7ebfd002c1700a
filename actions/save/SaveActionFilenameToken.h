#pragma once

#include "core/objects/Object.h"

#include <QtCore/QStringList>

#include <memory>

namespace ondrel {

// One piece of an output name as the name editor shows it. The stored form
// of a name is a list of component strings; a token is a view of one of
// them: a three-character tag ("[F]", "[T]", "[C]", "[D]", "[P]", "[A]",
// "[N]") and what follows it. Any other string is plain text.
//
// Each change of a token posts "SaveActionFilenameTokenDidChange" with the
// token as its object, on the thread that made the change.
class SaveActionFilenameToken : public Object {
    ONDREL_OBJECT(SaveActionFilenameToken, Object)
public:
    static const QString DidChangeNotification;  // "SaveActionFilenameTokenDidChange"
    // "com.velmark.ondrel.filenameEditorToken", for reading and writing.
    static const QString PasteboardType;

    // The token of a component: tags are tested in the order [F] [P] [A] [C]
    // [N] [D] [T]; anything else is a text token holding the whole string.
    static std::shared_ptr<SaveActionFilenameToken> tokenWithComponent(const QString& component);

    // Reads what follows the tag (component.mid(3)). Base: nothing.
    virtual void initWithComponent(const QString& component);

    // 1 (plain text) for text tokens, 0 (a pill) for all others.
    virtual int tokenStyle() const { return 0; }
    // The stored form, which tokenWithComponent reads back.
    virtual QString component() const = 0;
    // What the editor shows for the token.
    virtual QString displayString() const = 0;
    virtual bool hasMenu() const { return false; }
    virtual bool hasPopover() const { return false; }
    QString description() const override { return component(); }

    // The pasteboard form: the keyed archive of component(); empty for
    // another type.
    QByteArray pasteboardPropertyListForType(const QString& type) const;
    // Null when the data isn't an archived string.
    static std::shared_ptr<SaveActionFilenameToken> initWithPasteboardPropertyList(const QByteArray& data,
                                                                                  const QString& type);

protected:
    SaveActionFilenameToken() = default;
    // Stores the value, announces the key and posts the change notification.
    template <class T>
    void setAndPost(const QString& key, T& field, T value) {
        if (field == value)
            return;
        setAndNotify(key, field, std::move(value));
        postDidChange();
    }
    void postDidChange();
};

} // namespace ondrel
