#include "cli/InfoCommand.h"

#include "cli/Output.h"
#include "core/files/URL.h"
#include "render/engine/files/VMKAudioFileFormat.h"
#include "render/engine/files/VMKAudioFileInfo.h"
#include "render/engine/files/VMKAudioFileReader.h"
#include "render/engine/files/VMKAudioLabel.h"
#include "render/engine/files/VMKAudioMetadata.h"

#include <cmath>

namespace ondrel {

namespace {

QString encodingName(quint32 code) {
    switch (code) {
    case VMKAudioEncoding::PCM:
        return QStringLiteral("PCM");
    case VMKAudioEncoding::uLaw:
        return QStringLiteral("µLaw");
    case VMKAudioEncoding::aLaw:
        return QStringLiteral("ALaw");
    case VMKAudioEncoding::IMA4:
        return QStringLiteral("IMA ADPCM");
    case VMKAudioEncoding::FLAC:
        return QStringLiteral("FLAC");
    case VMKAudioEncoding::Vorbis:
        return QStringLiteral("Vorbis");
    case VMKAudioEncoding::MPEG3:
        return QStringLiteral("MPEG 3");
    case VMKAudioEncoding::AAC:
        return QStringLiteral("AAC");
    case VMKAudioEncoding::ALAC:
        return QStringLiteral("Apple Lossless");
    case 0:
        return QStringLiteral("unknown");
    default:
        return VMKAudioFileFormat::stringWithFourCharCode(code);
    }
}

// 1:02:03.456, or 3.456 under a minute.
QString clockTime(double seconds) {
    const qint64 ms = qint64(std::llround(seconds * 1000.0));
    const qint64 h = ms / 3600000, m = (ms / 60000) % 60;
    const double s = double(ms % 60000) / 1000.0;
    if (h > 0)
        return QStringLiteral("%1:%2:%3").arg(h).arg(m, 2, 10, QLatin1Char('0')).arg(s, 6, 'f', 3, QLatin1Char('0'));
    if (m > 0)
        return QStringLiteral("%1:%2").arg(m).arg(s, 6, 'f', 3, QLatin1Char('0'));
    return QString::number(s, 'f', 3);
}

QVariantMap describe(const URL& url, VMKError* error) {
    const auto info = VMKAudioFileInfo::initWithURL(url, error);
    if (!info)
        return {};
    const auto reader = VMKAudioFileReader::initWithURL(url, error);
    if (!reader)
        return {};
    const double length = info->sampleRate() > 0 ? double(info->frames()) / info->sampleRate() : 0.0;
    QVariantList labels;
    for (const auto& label : reader->labels())
        labels << QVariantMap{{QStringLiteral("type"), label->type()},
                              {QStringLiteral("location"), label->location()},
                              {QStringLiteral("length"), label->length()},
                              {QStringLiteral("name"), label->name()}};
    return {{QStringLiteral("path"), url.path()},
            {QStringLiteral("format"), info->format()},
            {QStringLiteral("encoding"), encodingName(info->encoding())},
            {QStringLiteral("channels"), info->numberOfChannels()},
            {QStringLiteral("sampleRate"), info->sampleRate()},
            {QStringLiteral("bitDepth"), info->bitDepth()},
            {QStringLiteral("floatingPoint"), info->isFloatingPoint()},
            {QStringLiteral("frames"), info->frames()},
            {QStringLiteral("length"), length},
            {QStringLiteral("bitrate"), info->bitrate()},
            {QStringLiteral("fileSize"), info->fileSize()},
            {QStringLiteral("metadata"), reader->metadata()},
            {QStringLiteral("labels"), labels}};
}

void printText(const QVariantMap& facts) {
    auto row = [](const QString& name, const QString& value) {
        Output::line(QStringLiteral("  %1 %2").arg(name.leftJustified(13), value));
    };
    Output::line(Output::oneLine(facts.value(QStringLiteral("path")).toString()));
    row(QStringLiteral("Format"), facts.value(QStringLiteral("format")).toString());
    row(QStringLiteral("Encoding"), facts.value(QStringLiteral("encoding")).toString());
    row(QStringLiteral("Channels"), facts.value(QStringLiteral("channels")).toString());
    row(QStringLiteral("Sample rate"), QStringLiteral("%1 Hz").arg(facts.value(QStringLiteral("sampleRate")).toDouble()));
    const quint64 depth = facts.value(QStringLiteral("bitDepth")).toULongLong();
    row(QStringLiteral("Bit depth"),
        depth == 0 ? QStringLiteral("-")
                   : QStringLiteral("%1%2").arg(depth).arg(facts.value(QStringLiteral("floatingPoint")).toBool()
                                                               ? QStringLiteral(" (floating point)")
                                                               : QString()));
    row(QStringLiteral("Frames"), facts.value(QStringLiteral("frames")).toString());
    row(QStringLiteral("Length"), clockTime(facts.value(QStringLiteral("length")).toDouble()));
    const quint64 bitrate = facts.value(QStringLiteral("bitrate")).toULongLong();
    row(QStringLiteral("Bit rate"), bitrate ? QStringLiteral("%1 kbit/s").arg(double(bitrate) / 1000.0) : QStringLiteral("-"));
    row(QStringLiteral("File size"), QStringLiteral("%1 bytes").arg(facts.value(QStringLiteral("fileSize")).toULongLong()));
    const QVariantMap metadata = facts.value(QStringLiteral("metadata")).toMap();
    if (!metadata.isEmpty()) {
        Output::line(QStringLiteral("  Metadata"));
        for (auto it = metadata.cbegin(); it != metadata.cend(); ++it) {
            const QString value = Variant::isData(it.value())
                                      ? QStringLiteral("(%1 bytes of data)").arg(it.value().toByteArray().size())
                                      : Output::toText(it.value());
            Output::line(QStringLiteral("    %1 %2").arg(it.key().leftJustified(15), value));
        }
    }
    const QVariantList labels = facts.value(QStringLiteral("labels")).toList();
    if (!labels.isEmpty()) {
        Output::line(QStringLiteral("  Labels"));
        for (const QVariant& entry : labels) {
            const QVariantMap label = entry.toMap();
            const double location = label.value(QStringLiteral("location")).toDouble();
            const double length = label.value(QStringLiteral("length")).toDouble();
            Output::line(QStringLiteral("    %1 %2%3  %4")
                             .arg(label.value(QStringLiteral("type")).toString().leftJustified(7), clockTime(location),
                                  length > 0 ? QStringLiteral(" + ") + clockTime(length) : QString(),
                                  Output::oneLine(label.value(QStringLiteral("name")).toString())));
        }
    }
}

} // namespace

int InfoCommand::run(const QStringList& arguments) {
    if (arguments.isEmpty())
        return Output::usage(QStringLiteral("info needs one or more audio files"));
    QVariantList all;
    bool failed = false;
    for (const QString& path : arguments) {
        VMKError error;
        const QVariantMap facts = describe(URL::fileURLWithPath(path), &error);
        if (facts.isEmpty()) {
            Output::error(QStringLiteral("%1: %2").arg(path, error.localizedDescription()));
            failed = true;
            continue;
        }
        if (Output::isJson())
            all << facts;
        else
            printText(facts);
    }
    if (Output::isJson())
        Output::printJson(all);
    if (!failed)
        return Output::Done;
    return all.isEmpty() && arguments.size() == 1 ? Output::CannotOpen : Output::SomeItemFailed;
}

} // namespace ondrel
