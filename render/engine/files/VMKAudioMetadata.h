#pragma once

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QVariantList>

#include <vector>

namespace ondrel {

// One kind of metadata the engine reads and writes: its key (the key of the
// `metadata` dictionaries of readers and writers), the type of its value
// ("text", "integer", "real", "list" of texts, "image" data), and for each
// format type it can be stored in, the field that holds it there.
//
// Format types: "id3v24" (MP3, WAVE and AIFF files through ID3v2.4 frames),
// "aiff" (ID3v2.4 in AIFF files), "wave" (the RIFF INFO list; the ID3 frames
// of WAVE files hold all the others), "vorbis" (Vorbis comments of FLAC and
// Ogg files), "itunes" (MP4 atoms), "coreaudio" (the info chunk of CAF
// files). The field of the first four and of "itunes" is the tag library's
// property name; that of "coreaudio" the info key.
struct VMKAudioMetadataItem {
    QString key;
    QString valueType;
    QHash<QString, QString> formats;
};

class VMKAudioMetadata {
public:
    static const std::vector<VMKAudioMetadataItem>& items();
    static const VMKAudioMetadataItem* itemForKey(const QString& key);
    // The table as a property list: dictionaries of "key", "valueType" and
    // "formats" (a dictionary of format type to field).
    static QVariantList itemList();
    // The user's title of an item: the text of "VMKMetadataItem_<key>".
    static QString titleForKey(const QString& key);
    // The key whose title is `title`, first match in table order; empty when none.
    static QString keyForTitle(const QString& title);
};

} // namespace ondrel
