#include "render/engine/files/VMKAudioFileFormat.h"

#include <algorithm>

namespace ondrel {

using namespace VMKAudioEncoding;

bool VMKAudioFileFormat::hasEncoding(quint32 code) const {
    return std::find(encodings.begin(), encodings.end(), code) != encodings.end();
}

VMKAudioFileFormat::Library VMKAudioFileFormat::writeLibraryForEncoding(quint32 encoding) const {
    if (kind == Kind::CAF && (encoding == ALAC || encoding == AAC))
        return Library::FFmpeg;
    return writeLibrary;
}

const std::vector<VMKAudioFileFormat>& VMKAudioFileFormat::formats() {
    using L = Library;
    static const std::vector<VMKAudioFileFormat> table = {
        {Kind::WAVE, QStringLiteral("WAVE File"), {QStringLiteral("wav"), QStringLiteral("wave")},
         {PCM, uLaw, aLaw, IMA4}, L::Sndfile, L::Sndfile, QStringLiteral("wave"), false, true},
        {Kind::AIFF, QStringLiteral("AIFF File"),
         {QStringLiteral("aif"), QStringLiteral("aiff"), QStringLiteral("aifc")}, {PCM, uLaw, aLaw},
         L::Sndfile, L::Sndfile, QStringLiteral("aiff"), false, true},
        {Kind::AU, QStringLiteral("AU File"), {QStringLiteral("au"), QStringLiteral("snd")}, {PCM, uLaw, aLaw},
         L::Sndfile, L::Sndfile, QString(), false, false},
        {Kind::Wave64, QStringLiteral("Wave64 File"), {QStringLiteral("w64")}, {PCM, uLaw, aLaw, IMA4},
         L::Sndfile, L::Sndfile, QString(), false, false},
        {Kind::CAF, QStringLiteral("CAF File"), {QStringLiteral("caf")}, {PCM, uLaw, aLaw, ALAC, AAC}, L::Sndfile,
         L::Sndfile, QStringLiteral("coreaudio"), false, true},
        {Kind::FLAC, QStringLiteral("FLAC Audio File"), {QStringLiteral("flac")}, {VMKAudioEncoding::FLAC},
         L::Sndfile, L::LibFLAC, QStringLiteral("vorbis"), false, false},
        {Kind::OggVorbis, QStringLiteral("Ogg Vorbis Audio File"), {QStringLiteral("ogg"), QStringLiteral("oga")},
         {Vorbis}, L::LibVorbis, L::LibVorbis, QStringLiteral("vorbis"), true, false},
        {Kind::MP3, QStringLiteral("MP3 Audio File"), {QStringLiteral("mp3")}, {MPEG3}, L::Sndfile, L::LAME,
         QStringLiteral("id3v24"), true, false},
        {Kind::M4A, QStringLiteral("M4A Audio File"), {QStringLiteral("m4a"), QStringLiteral("mp4")}, {AAC, ALAC},
         L::FFmpeg, L::FFmpeg, QStringLiteral("itunes"), true, false},
        {Kind::VOX, QStringLiteral("VOX Audio File"), {QStringLiteral("vox")}, {uLaw}, L::Sndfile, L::Sndfile,
         QString(), false, false},
    };
    return table;
}

const VMKAudioFileFormat& VMKAudioFileFormat::formatOfKind(Kind kind) {
    const auto& table = formats();
    return *std::find_if(table.begin(), table.end(), [kind](const auto& f) { return f.kind == kind; });
}

const VMKAudioFileFormat* VMKAudioFileFormat::formatNamed(const QString& name) {
    for (const auto& format : formats())
        if (format.name == name)
            return &format;
    return nullptr;
}

const VMKAudioFileFormat* VMKAudioFileFormat::formatForExtension(const QString& extension) {
    const QString lower = extension.toLower();
    for (const auto& format : formats())
        if (format.extensions.contains(lower))
            return &format;
    return nullptr;
}

quint32 VMKAudioFileFormat::encodingCodeFromEncoding(const QString& encoding) {
    static const QHash<QString, quint32> codes = {
        {QStringLiteral("PCM"), fourCharCode("lpcm")},      {QStringLiteral("AC3"), fourCharCode("ac-3")},
        {QStringLiteral("IMA4"), fourCharCode("ima4")},     {QStringLiteral("AAC"), fourCharCode("aac ")},
        {QStringLiteral("MPEG 4"), fourCharCode("celp")},   {QStringLiteral("MACE3"), fourCharCode("MAC3")},
        {QStringLiteral("MACE6"), fourCharCode("MAC6")},    {QStringLiteral("µLaw"), fourCharCode("ulaw")},
        {QStringLiteral("ALaw"), fourCharCode("alaw")},     {QStringLiteral("iLBC"), fourCharCode("ilbc")},
        {QStringLiteral("QDesign"), fourCharCode("QDMC")},  {QStringLiteral("QDesign2"), fourCharCode("QDM2")},
        {QStringLiteral("Qualcomm"), fourCharCode("Qclp")}, {QStringLiteral("MPEG 1"), fourCharCode(".mp1")},
        {QStringLiteral("MPEG 2"), fourCharCode(".mp2")},   {QStringLiteral("MPEG 3"), fourCharCode(".mp3")},
        {QStringLiteral("Apple Lossless"), fourCharCode("alac")},
        {QStringLiteral("ALAC"), fourCharCode("alac")},     {QStringLiteral("AMR"), fourCharCode("samr")},
        {QStringLiteral("Audible"), fourCharCode("AUDB")},  {QStringLiteral("AES3"), fourCharCode("aes3")},
    };
    return codes.value(encoding, 0);
}

QString VMKAudioFileFormat::stringWithFourCharCode(quint32 code) {
    char chars[4] = {char(code >> 24), char(code >> 16), char(code >> 8), char(code)};
    for (char c : chars)
        if (c < 0x20 || c > 0x7e)
            return QString::number(code);
    return QString::fromLatin1(chars, 4);
}

} // namespace ondrel
