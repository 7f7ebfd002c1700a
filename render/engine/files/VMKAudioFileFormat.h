#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <vector>

namespace ondrel {

// A four-character code as one unsigned 32-bit number, first character in the
// highest byte ('lpcm' == fourCharCode("lpcm")).
constexpr quint32 fourCharCode(const char (&code)[5]) {
    return (quint32(quint8(code[0])) << 24) | (quint32(quint8(code[1])) << 16) |
           (quint32(quint8(code[2])) << 8) | quint32(quint8(code[3]));
}

// The encodings of audio data the engine knows by code.
namespace VMKAudioEncoding {
constexpr quint32 PCM = fourCharCode("lpcm");  // integer or floating point, by the bit depth
constexpr quint32 uLaw = fourCharCode("ulaw");
constexpr quint32 aLaw = fourCharCode("alaw");
constexpr quint32 IMA4 = fourCharCode("ima4");  // IMA ADPCM
constexpr quint32 FLAC = fourCharCode("flac");
constexpr quint32 Vorbis = fourCharCode("vorb");
constexpr quint32 MPEG3 = fourCharCode(".mp3");
constexpr quint32 AAC = fourCharCode("aac ");
constexpr quint32 ALAC = fourCharCode("alac");
} // namespace VMKAudioEncoding

// Error codes of the file layer (domain VMKError; the graph uses 1 to 99).
enum VMKAudioFileErrorCode : int {
    VMKAudioFileErrorNotFound = 101,        // no file at the location, or a folder
    VMKAudioFileErrorUnknownFormat = 102,   // the content is no audio format we read
    VMKAudioFileErrorDamaged = 103,         // a known format whose content is broken or truncated
    VMKAudioFileErrorRead = 104,            // reading samples failed
    VMKAudioFileErrorUnsupported = 105,     // a format, encoding or depth that can't be written
    VMKAudioFileErrorWrite = 106,           // writing or encoding failed
    VMKAudioFileErrorCancelled = 107,       // the job was cancelled
    VMKAudioFileErrorTags = 108,            // reading or writing metadata or labels failed
};

// One container format the engine reads and writes: its display name, the
// extensions (the first one is given to new files), the encodings it holds
// (the first is its default), which library does the work, and which kinds of
// metadata and labels it can carry. The table in the source file is the one
// place where formats are listed.
class VMKAudioFileFormat {
public:
    enum class Kind { WAVE, AIFF, AU, Wave64, CAF, FLAC, OggVorbis, MP3, M4A, VOX };
    enum class Library { Sndfile, LibFLAC, LibVorbis, LAME, FFmpeg };

    Kind kind;
    QString name;                    // "FLAC Audio File"
    QStringList extensions;          // lower case, without the dot
    std::vector<quint32> encodings;  // the ones that can be written; the first is the default
    Library readLibrary;
    Library writeLibrary;
    QString metadataFormatType;  // the "formats" entry of the metadata table ("wave", "id3v24" ...)
    bool isLossy;
    bool holdsLabels;

    QString extension() const { return extensions.value(0); }
    // The library that writes `encoding` here (Apple Lossless and AAC in Core
    // Audio files go to FFmpeg's encoders).
    Library writeLibraryForEncoding(quint32 encoding) const;
    bool hasEncoding(quint32 code) const;

    static const std::vector<VMKAudioFileFormat>& formats();
    static const VMKAudioFileFormat& formatOfKind(Kind kind);
    // By display name, exact; nullptr when unknown.
    static const VMKAudioFileFormat* formatNamed(const QString& name);
    // By extension, case-insensitive; nullptr when none has it.
    static const VMKAudioFileFormat* formatForExtension(const QString& extension);

    // "PCM" -> 'lpcm', "AAC" -> 'aac ' ...; any other text gives 0.
    static quint32 encodingCodeFromEncoding(const QString& encoding);
    // The four characters of a code ('aac ' -> "aac "); a code with a
    // character outside printable ASCII gives its number in decimal.
    static QString stringWithFourCharCode(quint32 code);
};

} // namespace ondrel
