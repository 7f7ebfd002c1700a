#include "tests/support/engine/EngineTestSupport.h"
#include "tests/support/engine/TestGenerator.h"

#include "render/engine/files/VMKAudioChunkFile.h"
#include "render/engine/files/VMKAudioFileLabels.h"
#include "render/engine/files/VMKAudioFileReader.h"
#include "render/engine/files/VMKAudioFileWriterAudioProcessor.h"
#include "render/engine/files/VMKAudioLabel.h"

#include <QtCore/QFile>
#include <QtCore/QtEndian>

#include <gtest/gtest.h>

namespace ondrel {

namespace {

class TestLabel : public VMKAudioLabel {
    ONDREL_OBJECT(TestLabel, VMKAudioLabel)
public:
    static std::shared_ptr<TestLabel> labelOfType(const QString& type) {
        return std::static_pointer_cast<TestLabel>(VMKAudioLabel::labelOfType(type, staticClassInfo()));
    }
    int extra = 0;

protected:
    void copyValuesTo(VMKAudioLabel& other) const override {
        VMKAudioLabel::copyValuesTo(other);
        static_cast<TestLabel&>(other).extra = extra;
    }
};

const ClassInfo& TestLabel::staticClassInfo() {
    static const ClassInfo& info = ClassInfo::define<TestLabel, VMKAudioLabel>(QStringLiteral("TestLabel"));
    return info;
}

std::shared_ptr<VMKAudioLabel> label(const QString& type, double location, double length, const QString& name) {
    auto l = VMKAudioLabel::labelOfType(type);
    l->setLocation(location);
    l->setLength(length);
    if (!name.isEmpty())
        l->setValueForKey(name, QStringLiteral("name"));
    return l;
}

// A copy is a label of its own, of the subclass of the original with its values.
TEST(VMKAudioLabel, CopiesAreIndependentAndKeepTheirSubclass) {
    auto region = label(VMKAudioLabel::region, 1.5, 2.0, "Verse");
    auto copy = region->copy();
    EXPECT_NE(copy.get(), region.get());
    EXPECT_TRUE(copy->isEqual(*region));
    copy->setName("Chorus");
    EXPECT_EQ(region->name(), "Verse");

    auto own = TestLabel::labelOfType(VMKAudioLabel::loop);
    ASSERT_TRUE(own);
    EXPECT_EQ(own->className(), "TestLabel");
    own->extra = 7;
    auto ownCopy = std::dynamic_pointer_cast<TestLabel>(own->copy());
    ASSERT_TRUE(ownCopy);
    EXPECT_EQ(ownCopy->extra, 7);
    EXPECT_EQ(ownCopy->type(), "loop");
}

// Writes one second of noise with `labels` in `format`; answers the file.
URL writeWithLabels(const TestFolder& folder, const QString& format, const VMKAudioLabelList& labels,
                    const QVariantMap& metadata = {}) {
    auto writer = std::make_shared<VMKAudioFileWriterAudioProcessor>();
    writer->setFormat(format);
    writer->setRange({0, 1.0});
    writer->setBaseDirectory(folder.url(QString()));
    writer->setBaseFilename(QStringLiteral("labels"));
    IndexSet indexes;
    for (size_t i = 0; i < labels.size(); ++i)
        indexes.add(qsizetype(i));
    writer->insertLabels(labels, indexes);
    writer->metadata() = metadata;
    VMKError error;
    EXPECT_TRUE(renderIntoWriter(std::make_shared<TestGenerator>(2, 48000, TestGenerator::ramp), writer, &error))
        << error.localizedDescription().toStdString();
    return writer->resultURL();
}

// A 32-bit little-endian number, as RIFF chunks hold them.
QByteArray le32(quint32 v) {
    QByteArray b(4, '\0');
    qToLittleEndian(v, b.data());
    return b;
}

VMKAudioLabelList sampleLabels() {
    return {label(VMKAudioLabel::marker, 0.25, 0, "Start ä"), label(VMKAudioLabel::region, 0.5, 0.125, "Verse"),
            label(VMKAudioLabel::slice, 0.0625, 0, {}), label(VMKAudioLabel::loop, 0.75, 0.2, "Loop A"),
            label(VMKAudioLabel::marker, 0.9, 0, {})};
}

using LabelRows = std::vector<std::tuple<QString, double, double, QString>>;

// The sample labels as a format that holds every kind reads them back, in order.
const LabelRows kEveryKind{{"slice", 0.0625, 0, ""},
                           {"marker", 0.25, 0, "Start ä"},
                           {"region", 0.5, 0.125, "Verse"},
                           {"loop", 0.75, 0.2, "Loop A"},
                           {"marker", 0.9, 0, ""}};

void expectLabels(const VMKAudioLabelList& actual, const LabelRows& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        const auto& [type, location, length, name] = expected[i];
        EXPECT_EQ(actual[i]->type(), type) << i;
        EXPECT_DOUBLE_EQ(actual[i]->location(), location) << i;
        EXPECT_DOUBLE_EQ(actual[i]->length(), length) << i;
        EXPECT_EQ(actual[i]->name(), name) << i;
    }
}

// Each format keeps the kinds of labels it has a place for, beside the file's
// tags: AIFF turns slices into markers, drops regions and keeps two loops;
// FLAC keeps none.
TEST(VMKAudioFileLabels, EachFormatKeepsWhatItHoldsBesideItsTags) {
    auto aiffLabels = sampleLabels();
    aiffLabels.push_back(label(VMKAudioLabel::loop, 0.1, 0.05, "Loop B"));
    aiffLabels.push_back(label(VMKAudioLabel::loop, 0.3, 0.05, "Loop C"));  // a third loop has no place
    const LabelRows aiffRows{{"marker", 0.0625, 0, ""},
                             {"loop", 0.1, 0.05, "Loop B"},
                             {"marker", 0.25, 0, "Start ä"},
                             {"loop", 0.75, 0.2, "Loop A"},
                             {"marker", 0.9, 0, ""}};
    struct Case {
        const char* format;
        VMKAudioLabelList labels;
        LabelRows expected;
    };
    const Case cases[] = {{"WAVE File", sampleLabels(), kEveryKind},
                          {"AIFF File", aiffLabels, aiffRows},
                          {"CAF File", sampleLabels(), kEveryKind},
                          {"FLAC Audio File", sampleLabels(), {}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.format);
        TestFolder folder;
        const URL url = writeWithLabels(folder, c.format, c.labels, {{"title", "With labels"}, {"tempo", 120.5}});
        auto reader = VMKAudioFileReader::initWithURL(url);
        ASSERT_TRUE(reader);
        expectLabels(reader->labels(), c.expected);
        EXPECT_EQ(reader->metadata().value("title").toString(), "With labels");
        if (QLatin1String(c.format) == QLatin1String("CAF File")) {
            EXPECT_EQ(reader->metadata().value("tempo").toDouble(), 120.5);
        }
        EXPECT_EQ(reader->frames(), 48000u);
    }
}

// A WAVE file of silence with the chunks given after the data.
QByteArray waveWithChunks(const std::vector<std::pair<QByteArray, QByteArray>>& chunks, quint32 riffSize = 0) {
    QByteArray fmt;
    fmt += QByteArray("\x01\x00\x01\x00", 4) + le32(8000) + le32(16000) + QByteArray("\x02\x00\x10\x00", 4);
    QByteArray body = "WAVE" + QByteArray("fmt ") + le32(16) + fmt + "data" + le32(1600) + QByteArray(1600, '\0');
    for (const auto& [id, data] : chunks)
        body += id + le32(quint32(data.size())) + data;
    return "RIFF" + le32(riffSize ? riffSize : quint32(body.size())) + body;
}

TEST(VMKAudioFileLabels, DamagedChunksNeverReadOutsideTheFile) {
    TestFolder folder;
    const QByteArray cuePoint = le32(1) + le32(80) + "data" + le32(0) + le32(0) + le32(80);
    struct Case {
        const char* name;
        QByteArray bytes;
        size_t labels;
    };
    const std::vector<Case> cases = {
        // A count far beyond the points present.
        {"count.wav", waveWithChunks({{"cue ", le32(1000000) + cuePoint}}), 1},
        // A list whose sub-chunk claims more than there is.
        {"adtl.wav", waveWithChunks({{"cue ", le32(1) + cuePoint}, {"LIST", "adtl" + QByteArray("labl") + le32(9999) + le32(1) + "Na"}}), 1},
        // A chunk size running past the end of the file.
        {"past.wav", waveWithChunks({{"cue ", le32(1) + cuePoint}}).left(1600 + 44 + 20), 0},
        // A sampler chunk with a loop whose end lies before its start, and a huge loop count.
        {"smpl.wav", waveWithChunks({{"smpl", QByteArray(28, '\0') + le32(70000) + le32(0) + le32(1) + le32(0) + le32(500) + le32(100) + le32(0) + le32(0)}}), 0},
        // A RIFF size smaller than the header.
        {"riff.wav", waveWithChunks({{"cue ", le32(1) + cuePoint}}, 4), 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const QString path = folder.path(c.name);
        ASSERT_TRUE(writeBytes(path, c.bytes));
        const auto labels = VMKAudioFileLabels::labelsOfFile(path, 8000);
        EXPECT_EQ(labels.size(), c.labels);
        if (!labels.empty()) {
            EXPECT_DOUBLE_EQ(labels[0]->location(), 0.01);  // frame 80
        }
        // Replacing labels in a damaged file fails cleanly or succeeds; it never crashes.
        VMKError error;
        VMKAudioFileLabels::writeLabels(path, VMKAudioFileFormat::formatOfKind(VMKAudioFileFormat::Kind::WAVE),
                                        8000, sampleLabels(), &error);
    }
}

TEST(VMKAudioFileLabels, RewritingReplacesOldLabelsAndKeepsTheAudio) {
    TestFolder folder;
    const URL url = writeWithLabels(folder, "WAVE File", sampleLabels(), {{"title", "Kept"}});
    const TestAudio before = readFile(url.path());
    VMKError error;
    ASSERT_TRUE(VMKAudioFileLabels::writeLabels(url.path(), VMKAudioFileFormat::formatOfKind(VMKAudioFileFormat::Kind::WAVE),
                                                48000, {label(VMKAudioLabel::marker, 0.5, 0, "Only")}, &error));
    auto after = VMKAudioFileReader::initWithURL(url);
    ASSERT_TRUE(after);
    expectLabels(after->labels(), {{"marker", 0.5, 0, "Only"}});
    EXPECT_EQ(after->metadata().value("title").toString(), "Kept");
    EXPECT_EQ(readAllFrames(*after), before);
    EXPECT_EQ(VMKAudioChunkFile::chunkFileWithPath(url.path()).chunksWithID("cue ").size(), 1u);
}

} // namespace

// Some writers leave out the pad byte behind a chunk of odd size. The chunks
// behind it are found all the same, and labels written into such a file
// keep its audio and are found again.
TEST(VMKAudioFileLabels, ChunksBehindAMissingPadByteAreFound) {
    TestFolder folder;
    QByteArray fmt = QByteArray("\x01\x00\x01\x00", 4) + le32(8000) + le32(8000) + QByteArray("\x01\x00\x08\x00", 4);
    const QByteArray samples("\x80\xC8\x3C", 3);  // 0, 0.5625, -0.53125 as unsigned 8-bit
    const QByteArray cue = le32(1) + le32(7) + le32(2) + "data" + le32(0) + le32(0) + le32(2);
    const QByteArray labl = le32(7) + QByteArray("Mark\0", 5);
    const QByteArray adtl = "adtl" + QByteArray("labl") + le32(quint32(labl.size())) + labl + QByteArray(1, '\0');
    for (bool padded : {true, false}) {
        SCOPED_TRACE(padded ? "padded" : "unpadded");
        QByteArray body = "WAVE" + QByteArray("fmt ") + le32(16) + fmt + "data" + le32(3) + samples;
        if (padded)
            body += QByteArray(1, '\0');
        body += "cue " + le32(quint32(cue.size())) + cue + "LIST" + le32(quint32(adtl.size())) + adtl;
        const QString path = folder.path(padded ? "padded.wav" : "unpadded.wav");
        ASSERT_TRUE(writeBytes(path, "RIFF" + le32(quint32(body.size())) + body));

        auto labels = VMKAudioFileLabels::labelsOfFile(path, 8000);
        ASSERT_EQ(labels.size(), 1u);
        EXPECT_EQ(labels[0]->name(), "Mark");
        EXPECT_DOUBLE_EQ(labels[0]->location(), 2.0 / 8000.0);

        VMKError error;
        ASSERT_TRUE(VMKAudioFileLabels::writeLabels(path, VMKAudioFileFormat::formatOfKind(VMKAudioFileFormat::Kind::WAVE),
                                                    8000, {label(VMKAudioLabel::marker, 1.0 / 8000.0, 0, "New")}, &error))
            << error.localizedDescription().toStdString();
        labels = VMKAudioFileLabels::labelsOfFile(path, 8000);
        ASSERT_EQ(labels.size(), 1u);
        EXPECT_EQ(labels[0]->name(), "New");
        auto reader = VMKAudioFileReader::initWithURL(URL::fileURLWithPath(path), &error);
        ASSERT_TRUE(reader) << error.localizedDescription().toStdString();
        ASSERT_EQ(reader->frames(), 3u);
        float read[3];
        float* channels[1] = {read};
        ASSERT_TRUE(reader->readFrames(channels, 1, 3, 0));
        EXPECT_EQ(read[1], 0.5625f);
        EXPECT_EQ(read[2], -0.53125f);
        QString output;
        EXPECT_EQ(runTool("sox", {"--i", "-s", path}, &output), 0) << output.toStdString();
        EXPECT_EQ(output.trimmed(), "3");
    }
}

} // namespace ondrel
