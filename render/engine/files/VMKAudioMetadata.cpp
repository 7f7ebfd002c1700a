#include "render/engine/files/VMKAudioMetadata.h"

#include "core/text/VMKLocalizedString.h"

#include <QtCore/QVariantMap>

namespace ondrel {

namespace {

// An item stored as the same tag property in every tag format, with an
// optional RIFF INFO presence and Core Audio info key.
VMKAudioMetadataItem item(const char* key, const char* type, const char* property, bool inInfo = false,
                          const char* coreAudio = nullptr) {
    VMKAudioMetadataItem i{QString::fromLatin1(key), QString::fromLatin1(type), {}};
    const QString field = QString::fromLatin1(property);
    for (const char* format : {"id3v24", "aiff", "vorbis", "itunes"})
        i.formats.insert(QString::fromLatin1(format), field);
    if (inInfo)
        i.formats.insert(QStringLiteral("wave"), field);
    if (coreAudio)
        i.formats.insert(QStringLiteral("coreaudio"), QString::fromLatin1(coreAudio));
    return i;
}

} // namespace

const std::vector<VMKAudioMetadataItem>& VMKAudioMetadata::items() {
    static const std::vector<VMKAudioMetadataItem> table = [] {
        std::vector<VMKAudioMetadataItem> t = {
            item("title", "text", "TITLE", true, "title"),
            item("artist", "text", "ARTIST", true, "artist"),
            item("album", "text", "ALBUM", true, "album"),
            item("albumArtist", "text", "ALBUMARTIST"),
            item("composer", "text", "COMPOSER", false, "composer"),
            item("lyricist", "text", "LYRICIST", false, "lyricist"),
            item("genre", "text", "GENRE", true, "genre"),
            item("comments", "text", "COMMENT", true, "comments"),
            item("year", "text", "DATE", true, "year"),
            item("trackNumber", "integer", "TRACKNUMBER", true, "track number"),
            item("discNumber", "integer", "DISCNUMBER"),
            item("copyright", "text", "COPYRIGHT", false, "copyright"),
            item("encodedBy", "text", "ENCODEDBY", false, "encoding application"),
            item("ISRC", "text", "ISRC"),
            item("lyrics", "text", "LYRICS"),
            [] {
                // MP4 keeps the tempo as an integer: the exact one goes beside it.
                auto tempo = item("tempo", "real", "BPM", false, "tempo");
                tempo.formats.insert(QStringLiteral("itunes"), QStringLiteral("TEMPO"));
                return tempo;
            }(),
            item("musicalKey", "text", "INITIALKEY", false, "key signature"),
            item("musicalScale", "text", "MUSICALSCALE"),
            item("beats", "integer", "BEATS"),
            item("meterNumerator", "integer", "METERNUMERATOR"),
            item("meterDenominator", "integer", "METERDENOMINATOR"),
            item("baseNote", "integer", "BASENOTE"),
            item("lowNote", "integer", "LOWNOTE"),
            item("highNote", "integer", "HIGHNOTE"),
            item("playbackType", "text", "PLAYBACKTYPE"),
            item("instrument", "text", "INSTRUMENT"),
            item("descriptors", "list", "DESCRIPTORS"),
            item("imageData", "image", "PICTURE"),
        };
        return t;
    }();
    return table;
}

const VMKAudioMetadataItem* VMKAudioMetadata::itemForKey(const QString& key) {
    for (const auto& i : items())
        if (i.key == key)
            return &i;
    return nullptr;
}

QVariantList VMKAudioMetadata::itemList() {
    QVariantList list;
    for (const auto& i : items()) {
        QVariantMap formats;
        for (auto it = i.formats.cbegin(); it != i.formats.cend(); ++it)
            formats.insert(it.key(), it.value());
        list.append(QVariantMap{{QStringLiteral("key"), i.key},
                                {QStringLiteral("valueType"), i.valueType},
                                {QStringLiteral("formats"), formats}});
    }
    return list;
}

QString VMKAudioMetadata::titleForKey(const QString& key) {
    return VMKLocalizedString(QStringLiteral("VMKMetadataItem_") + key);
}

QString VMKAudioMetadata::keyForTitle(const QString& title) {
    for (const auto& i : items())
        if (titleForKey(i.key) == title)
            return i.key;
    return QString();
}

} // namespace ondrel
