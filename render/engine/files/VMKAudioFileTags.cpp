#include "render/engine/files/VMKAudioFileTags.h"

#include "render/engine/files/VMKAudioChunkFile.h"
#include "render/engine/files/VMKAudioMetadata.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QtEndian>

#include <cmath>

#include <taglib/aifffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/flacfile.h>
#include <taglib/flacpicture.h>
#include <taglib/id3v2tag.h>
#include <taglib/infotag.h>
#include <taglib/mp4coverart.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

namespace ondrel {

namespace {

using Kind = VMKAudioFileFormat::Kind;

TagLib::String tagString(const QString& text) { return TagLib::String(text.toUtf8().constData(), TagLib::String::UTF8); }
QString qString(const TagLib::String& text) { return QString::fromUtf8(text.toCString(true)); }
TagLib::ByteVector byteVector(const QByteArray& data) { return TagLib::ByteVector(data.constData(), uint(data.size())); }
QByteArray byteArray(const TagLib::ByteVector& data) { return QByteArray(data.data(), qsizetype(data.size())); }

QString mimeTypeOfImage(const QByteArray& data) {
    if (data.startsWith("\x89PNG"))
        return QStringLiteral("image/png");
    if (data.startsWith("GIF8"))
        return QStringLiteral("image/gif");
    return QStringLiteral("image/jpeg");
}

QString textOfValue(const QVariant& value) {
    if (value.typeId() == QMetaType::QDateTime)
        return value.toDateTime().toUTC().toString(Qt::ISODate);
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float)
        return QString::number(value.toDouble(), 'g', 15);
    return value.toString();
}

TagLib::StringList valuesOf(const QVariant& value) {
    TagLib::StringList list;
    if (value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList) {
        for (const QVariant& v : value.toList())
            if (!textOfValue(v).isEmpty())
                list.append(tagString(textOfValue(v)));
    } else if (!textOfValue(value).isEmpty()) {
        list.append(tagString(textOfValue(value)));
    }
    return list;
}

QVariant valueOf(const VMKAudioMetadataItem& item, const TagLib::StringList& values) {
    if (values.isEmpty())
        return {};
    if (item.valueType == QLatin1String("list")) {
        QVariantList list;
        for (const auto& v : values)
            list.append(qString(v));
        return list;
    }
    const QString first = qString(values.front()).trimmed();
    if (item.valueType == QLatin1String("integer")) {
        static const QRegularExpression leading(QStringLiteral("^[+-]?\\d+"));
        const auto match = leading.match(first);
        return match.hasMatch() ? QVariant(match.captured().toLongLong()) : QVariant();
    }
    if (item.valueType == QLatin1String("real")) {
        bool ok = false;
        const double v = first.toDouble(&ok);
        return ok ? QVariant(v) : QVariant();
    }
    QStringList texts;
    for (const auto& v : values)
        texts.append(qString(v));
    return texts.join(QStringLiteral("; "));
}

// The properties of `metadata` for a format type, and the image.
TagLib::PropertyMap propertiesFor(const QVariantMap& metadata, const QString& formatType, QByteArray* image) {
    TagLib::PropertyMap map;
    for (auto it = metadata.cbegin(); it != metadata.cend(); ++it) {
        const VMKAudioMetadataItem* item = VMKAudioMetadata::itemForKey(it.key());
        if (!item || !item->formats.contains(formatType))
            continue;
        if (item->valueType == QLatin1String("image")) {
            if (image)
                *image = it.value().toByteArray();
            continue;
        }
        const TagLib::StringList values = valuesOf(it.value());
        if (!values.isEmpty())
            map.insert(tagString(item->formats.value(formatType)), values);
    }
    return map;
}

void addProperties(const TagLib::PropertyMap& map, const QString& formatType, QVariantMap* metadata) {
    for (const auto& item : VMKAudioMetadata::items()) {
        if (!item.formats.contains(formatType) || metadata->contains(item.key))
            continue;
        const auto found = map.find(tagString(item.formats.value(formatType)));
        if (found == map.end())
            continue;
        const QVariant value = valueOf(item, found->second);
        if (value.isValid())
            metadata->insert(item.key, value);
    }
}

// ---- ID3v2 pictures

QByteArray id3Picture(TagLib::ID3v2::Tag* tag) {
    if (!tag)
        return {};
    const auto& frames = tag->frameListMap()["APIC"];
    for (auto* frame : frames)
        if (auto* picture = dynamic_cast<TagLib::ID3v2::AttachedPictureFrame*>(frame))
            return byteArray(picture->picture());
    return {};
}

void setID3Picture(TagLib::ID3v2::Tag* tag, const QByteArray& image) {
    tag->removeFrames("APIC");
    if (image.isEmpty())
        return;
    auto* frame = new TagLib::ID3v2::AttachedPictureFrame;
    frame->setMimeType(tagString(mimeTypeOfImage(image)));
    frame->setType(TagLib::ID3v2::AttachedPictureFrame::FrontCover);
    frame->setPicture(byteVector(image));
    tag->addFrame(frame);
}

TagLib::FLAC::Picture* flacPicture(const QByteArray& image) {
    auto* picture = new TagLib::FLAC::Picture;
    picture->setType(TagLib::FLAC::Picture::FrontCover);
    picture->setMimeType(tagString(mimeTypeOfImage(image)));
    picture->setData(byteVector(image));
    return picture;
}

// ---- Core Audio info chunk

QVariantMap cafMetadata(const QString& path) {
    QVariantMap metadata;
    const VMKAudioChunkFile file = VMKAudioChunkFile::chunkFileWithPath(path);
    const auto* info = file.chunk("info");
    if (!info)
        return metadata;
    const QByteArray data = file.readChunk(*info, 1 << 20);
    if (data.size() < 4)
        return metadata;
    const quint32 count = qFromBigEndian<quint32>(data.constData());
    QHash<QString, QString> entries;
    qsizetype at = 4;
    auto next = [&]() -> QString {
        const qsizetype zero = data.indexOf('\0', at);
        if (zero < 0) {
            at = data.size();
            return {};
        }
        const QString text = QString::fromUtf8(data.mid(at, zero - at));
        at = zero + 1;
        return text;
    };
    for (quint32 i = 0; i < count && at < data.size(); ++i) {
        const QString key = next();
        const QString value = next();
        entries.insert(key, value);
    }
    for (const auto& item : VMKAudioMetadata::items()) {
        const QString field = item.formats.value(QStringLiteral("coreaudio"));
        if (field.isEmpty() || !entries.contains(field))
            continue;
        const QVariant value = valueOf(item, TagLib::StringList(tagString(entries.value(field))));
        if (value.isValid())
            metadata.insert(item.key, value);
    }
    return metadata;
}

bool writeCAFMetadata(const QString& path, const QVariantMap& metadata, VMKError* error) {
    QByteArray body;
    quint32 count = 0;
    for (auto it = metadata.cbegin(); it != metadata.cend(); ++it) {
        const VMKAudioMetadataItem* item = VMKAudioMetadata::itemForKey(it.key());
        const QString field = item ? item->formats.value(QStringLiteral("coreaudio")) : QString();
        const QString text = textOfValue(it.value());
        if (field.isEmpty() || text.isEmpty())
            continue;
        body.append(field.toUtf8()).append('\0').append(text.toUtf8()).append('\0');
        ++count;
    }
    std::vector<std::pair<QByteArray, QByteArray>> chunks;
    if (count > 0) {
        QByteArray info(4, '\0');
        qToBigEndian<quint32>(count, info.data());
        chunks.push_back({"info", info + body});
    }
    return VMKAudioChunkFile::replaceChunks(path, {"info"}, chunks, error);
}

VMKError tagError(const QString& path, const QString& reason) {
    return VMKError::errorWithCode(VMKAudioFileErrorTags,
                                   QStringLiteral("Writing the tags of “%1”").arg(path.section(QLatin1Char('/'), -1)),
                                   reason);
}

} // namespace

QVariantMap VMKAudioFileTags::metadataOfFile(const QString& path, const VMKAudioFileFormat& format) {
    QVariantMap metadata;
    const QByteArray name = QFile::encodeName(path);
    const QString imageKey = QStringLiteral("imageData");
    switch (format.kind) {
    case Kind::WAVE: {
        TagLib::RIFF::WAV::File file(name.constData(), false);
        if (!file.isValid())
            break;
        if (file.hasID3v2Tag()) {
            addProperties(file.ID3v2Tag()->properties(), QStringLiteral("id3v24"), &metadata);
            const QByteArray image = id3Picture(file.ID3v2Tag());
            if (!image.isEmpty())
                metadata.insert(imageKey, image);
        }
        if (file.hasInfoTag())
            addProperties(file.InfoTag()->properties(), QStringLiteral("wave"), &metadata);
        break;
    }
    case Kind::AIFF: {
        TagLib::RIFF::AIFF::File file(name.constData(), false);
        if (!file.isValid() || !file.hasID3v2Tag())
            break;
        addProperties(file.tag()->properties(), QStringLiteral("aiff"), &metadata);
        const QByteArray image = id3Picture(file.tag());
        if (!image.isEmpty())
            metadata.insert(imageKey, image);
        break;
    }
    case Kind::MP3: {
        TagLib::MPEG::File file(name.constData(), false);
        if (!file.isValid() || !file.hasID3v2Tag())
            break;
        addProperties(file.ID3v2Tag()->properties(), QStringLiteral("id3v24"), &metadata);
        const QByteArray image = id3Picture(file.ID3v2Tag());
        if (!image.isEmpty())
            metadata.insert(imageKey, image);
        break;
    }
    case Kind::FLAC: {
        TagLib::FLAC::File file(name.constData(), false);
        if (!file.isValid())
            break;
        if (file.hasXiphComment())
            addProperties(file.xiphComment()->properties(), QStringLiteral("vorbis"), &metadata);
        const auto pictures = file.pictureList();
        if (!pictures.isEmpty())
            metadata.insert(imageKey, byteArray(pictures.front()->data()));
        break;
    }
    case Kind::OggVorbis: {
        TagLib::Ogg::Vorbis::File file(name.constData(), false);
        if (!file.isValid() || !file.tag())
            break;
        addProperties(file.tag()->properties(), QStringLiteral("vorbis"), &metadata);
        const auto pictures = file.tag()->pictureList();
        if (!pictures.isEmpty())
            metadata.insert(imageKey, byteArray(pictures.front()->data()));
        break;
    }
    case Kind::M4A: {
        TagLib::MP4::File file(name.constData(), false);
        if (!file.isValid() || !file.tag())
            break;
        TagLib::PropertyMap map = file.tag()->properties();
        for (const auto& [atom, value] : file.tag()->itemMap())
            if (atom.startsWith("----:com.apple.iTunes:"))
                map.replace(atom.substr(22).upper(), value.toStringList());
        if (!map.contains("TEMPO") && map.contains("BPM"))
            map.insert("TEMPO", map["BPM"]);
        addProperties(map, QStringLiteral("itunes"), &metadata);
        if (file.tag()->contains("covr")) {
            const auto covers = file.tag()->item("covr").toCoverArtList();
            if (!covers.isEmpty())
                metadata.insert(imageKey, byteArray(covers.front().data()));
        }
        break;
    }
    case Kind::CAF: metadata = cafMetadata(path); break;
    case Kind::AU:
    case Kind::Wave64:
    case Kind::VOX: break;
    }
    return metadata;
}

bool VMKAudioFileTags::writeMetadata(const QString& path, const VMKAudioFileFormat& format, const QVariantMap& metadata,
                                     VMKError* error) {
    if (metadata.isEmpty() || format.metadataFormatType.isEmpty())
        return true;
    const QByteArray name = QFile::encodeName(path);
    QByteArray image;
    bool saved = false;
    switch (format.kind) {
    case Kind::WAVE: {
        TagLib::RIFF::WAV::File file(name.constData(), false);
        if (!file.isValid())
            break;
        file.ID3v2Tag()->setProperties(propertiesFor(metadata, QStringLiteral("id3v24"), &image));
        setID3Picture(file.ID3v2Tag(), image);
        file.InfoTag()->setProperties(propertiesFor(metadata, QStringLiteral("wave"), nullptr));
        saved = file.save(TagLib::RIFF::WAV::File::AllTags, TagLib::File::StripOthers, TagLib::ID3v2::v4);
        break;
    }
    case Kind::AIFF: {
        TagLib::RIFF::AIFF::File file(name.constData(), false);
        if (!file.isValid())
            break;
        file.tag()->setProperties(propertiesFor(metadata, QStringLiteral("aiff"), &image));
        setID3Picture(file.tag(), image);
        saved = file.save(TagLib::ID3v2::v4);
        break;
    }
    case Kind::MP3: {
        TagLib::MPEG::File file(name.constData(), false);
        if (!file.isValid())
            break;
        file.ID3v2Tag(true)->setProperties(propertiesFor(metadata, QStringLiteral("id3v24"), &image));
        setID3Picture(file.ID3v2Tag(true), image);
        saved = file.save(TagLib::MPEG::File::ID3v2, TagLib::File::StripOthers, TagLib::ID3v2::v4);
        break;
    }
    case Kind::FLAC: {
        TagLib::FLAC::File file(name.constData(), false);
        if (!file.isValid())
            break;
        file.xiphComment(true)->setProperties(propertiesFor(metadata, QStringLiteral("vorbis"), &image));
        file.removePictures();
        if (!image.isEmpty())
            file.addPicture(flacPicture(image));
        saved = file.save();
        break;
    }
    case Kind::OggVorbis: {
        TagLib::Ogg::Vorbis::File file(name.constData(), false);
        if (!file.isValid() || !file.tag())
            break;
        TagLib::PropertyMap map = propertiesFor(metadata, QStringLiteral("vorbis"), &image);
        map.insert("ENCODER", TagLib::StringList("Ondrel"));
        file.tag()->setProperties(map);
        file.tag()->removeAllPictures();
        if (!image.isEmpty())
            file.tag()->addPicture(flacPicture(image));
        saved = file.save();
        break;
    }
    case Kind::M4A: {
        TagLib::MP4::File file(name.constData(), false);
        if (!file.isValid() || !file.tag())
            break;
        // Fields without an atom of their own go into freeform atoms; the
        // tempo also goes into the integer tempo atom players show.
        TagLib::PropertyMap map = propertiesFor(metadata, QStringLiteral("itunes"), &image);
        const auto tempo = map.find("TEMPO");
        if (tempo != map.end() && !tempo->second.isEmpty())
            map.insert("BPM", TagLib::StringList(TagLib::String::number(int(std::lround(
                                  QString::fromUtf8(tempo->second.front().toCString(true)).toDouble())))));
        const TagLib::PropertyMap unsupported = file.tag()->setProperties(map);
        for (const auto& [key, values] : unsupported)
            file.tag()->setItem("----:com.apple.iTunes:" + key, TagLib::MP4::Item(values));
        if (!image.isEmpty()) {
            TagLib::MP4::CoverArtList covers;
            covers.append(TagLib::MP4::CoverArt(image.startsWith("\x89PNG") ? TagLib::MP4::CoverArt::PNG
                                                                             : TagLib::MP4::CoverArt::JPEG,
                                                byteVector(image)));
            file.tag()->setItem("covr", covers);
        }
        saved = file.save();
        break;
    }
    case Kind::CAF: return writeCAFMetadata(path, metadata, error);
    case Kind::AU:
    case Kind::Wave64:
    case Kind::VOX: return true;
    }
    if (!saved) {
        VMKError::set(error, tagError(path, QStringLiteral("the tag library could not save them")));
        return false;
    }
    return true;
}

} // namespace ondrel
