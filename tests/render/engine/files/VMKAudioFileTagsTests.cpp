#include "tests/support/engine/EngineTestSupport.h"
#include "tests/support/engine/TestGenerator.h"

#include "render/engine/files/VMKAudioFileReader.h"
#include "render/engine/files/VMKAudioFileTags.h"
#include "render/engine/files/VMKAudioFileWriterAudioProcessor.h"

#include <gtest/gtest.h>

namespace ondrel {

namespace {

// A tiny but real PNG header and some bytes: tags store images as data.
QByteArray pngBytes() {
    QByteArray bytes("\x89PNG\r\n\x1a\n", 8);
    for (int i = 0; i < 300; ++i)
        bytes.append(char(i * 37));
    return bytes;
}

URL writeTagged(const TestFolder& folder, const QString& format, const QVariantMap& metadata) {
    auto writer = std::make_shared<VMKAudioFileWriterAudioProcessor>();
    writer->setFormat(format);
    writer->setRange({0, 0.5});
    writer->setBitrate(128000);
    writer->setBaseDirectory(folder.url(QString()));
    writer->setBaseFilename(QStringLiteral("tagged"));
    writer->metadata() = metadata;
    VMKError error;
    EXPECT_TRUE(renderIntoWriter(std::make_shared<TestGenerator>(2, 44100, TestGenerator::ramp), writer, &error))
        << error.localizedDescription().toStdString();
    return writer->resultURL();
}

class TagRoundTrip : public ::testing::TestWithParam<const char*> {};

TEST_P(TagRoundTrip, TagsOfTheTableComeBack) {
    TestFolder folder;
    const QVariantMap metadata{{"title", "Ein Titel – ü"},
                               {"artist", "Artist"},
                               {"album", "Album"},
                               {"comments", "A comment"},
                               {"genre", "Ambient"},
                               {"year", "2024"},
                               {"trackNumber", 7},
                               {"tempo", 128.5},
                               {"musicalKey", "F#m"},
                               {"baseNote", 62},
                               {"descriptors", QVariantList{"Single", "Dry"}},
                               {"imageData", pngBytes()},
                               {"noSuchKey", "dropped"}};
    const URL url = writeTagged(folder, GetParam(), metadata);
    auto reader = VMKAudioFileReader::initWithURL(url);
    ASSERT_TRUE(reader);
    const QVariantMap read = reader->metadata();
    const QString format = GetParam();
    // Core Audio files hold the text tags only.
    const QStringList notInCAF{"tempo", "baseNote", "descriptors", "imageData"};
    const auto text = [](const QVariant& v) {
        if (v.typeId() == QMetaType::QByteArray)
            return QString::fromLatin1(v.toByteArray().toHex());
        return v.typeId() == QMetaType::QVariantList || v.typeId() == QMetaType::QStringList ? v.toStringList().join('|')
                                                                                            : v.toString();
    };
    for (auto it = metadata.begin(); it != metadata.end(); ++it) {
        if (it.key() == "noSuchKey") {
            EXPECT_FALSE(read.contains(it.key()));
        } else if (format != QLatin1String("CAF File") || !notInCAF.contains(it.key())) {
            EXPECT_EQ(text(read.value(it.key())), text(it.value())) << it.key().toStdString();
        }
    }
    // Other tools still open the file and see the title.
    const QString output = probe(url.path(), "format_tags=title:stream_tags=title");
    if (format != QLatin1String("CAF File")) {
        EXPECT_TRUE(output.contains("Ein Titel")) << output.toStdString();
    }
    // The samples are untouched by tagging.
    EXPECT_EQ(reader->frames(), 22050u);
}

INSTANTIATE_TEST_SUITE_P(Formats, TagRoundTrip,
                         ::testing::Values("WAVE File", "AIFF File", "MP3 Audio File", "FLAC Audio File",
                                           "Ogg Vorbis Audio File", "M4A Audio File", "CAF File"),
                         [](const auto& testInfo) {
                             std::string name = testInfo.param;
                             name.erase(std::remove(name.begin(), name.end(), ' '), name.end());
                             return name;
                         });

TEST(VMKAudioFileTags, ToolWrittenTagsAreRead) {
    TestFolder folder;
    const TestAudio audio = makeSines(2, 22050, 44100, 0.5f, 16);
    ASSERT_TRUE(soxWrite(audio, 44100, {"-b", "16"}, folder.path("in.wav")));
    struct Case {
        const char* file;
        const char* format;
    };
    for (const auto& c : {Case{"t.mp3", "MP3 Audio File"}, Case{"t.flac", "FLAC Audio File"},
                          Case{"t.m4a", "M4A Audio File"}, Case{"t.ogg", "Ogg Vorbis Audio File"}}) {
        SCOPED_TRACE(c.file);
        QString output;
        ASSERT_EQ(runTool("ffmpeg", {"-v", "error", "-y", "-i", folder.path("in.wav"), "-metadata", "title=Tool Title",
                                     "-metadata", "artist=Tool Artist", "-metadata", "genre=Rock", folder.path(c.file)},
                          &output),
                  0)
            << output.toStdString();
        auto reader = VMKAudioFileReader::initWithURL(folder.url(c.file));
        ASSERT_TRUE(reader);
        const QVariantMap read = reader->metadata();
        EXPECT_EQ(read.value("title").toString(), "Tool Title");
        EXPECT_EQ(read.value("artist").toString(), "Tool Artist");
        EXPECT_EQ(read.value("genre").toString(), "Rock");
    }
    ASSERT_EQ(runTool("metaflac", {"--set-tag=BPM=99", "--set-tag=COMMENT=By metaflac", folder.path("t.flac")}), 0);
    auto reader = VMKAudioFileReader::initWithURL(folder.url("t.flac"));
    EXPECT_EQ(reader->metadata().value("tempo").toDouble(), 99.0);
    EXPECT_EQ(reader->metadata().value("comments").toString(), "By metaflac");
}

} // namespace

} // namespace ondrel
