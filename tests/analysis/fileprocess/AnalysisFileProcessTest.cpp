#include "analysis/fileprocess/AnalysisFileProcess.h"
#include "analysis/fileprocess/AnalysisFileProcessCommand.h"
#include "analysis/operation/AnalysisOperation.h"
#include "catalog/controller/EntityController.h"
#include "catalog/entities/ChannelDetails.h"
#include "catalog/entities/FileEntity.h"
#include "catalog/entities/Label.h"
#include "core/storage/KeyedUnarchiver.h"
#include "core/storage/UserDefaults.h"
#include "core/storage/VMKDatabaseQuery.h"
#include "core/text/VMKLocalizedString.h"
#include "fileprocesses/FileProcessController.h"
#include "logging/LogController.h"
#include "render/engine/files/VMKAudioFileFormat.h"
#include "render/engine/files/VMKAudioFileLabels.h"
#include "render/engine/files/VMKAudioFileTags.h"
#include "render/engine/files/VMKAudioLabel.h"
#include "tests/support/analysis/AnalysisTestSupport.h"
#include "tests/support/catalog/CatalogTestSupport.h"

#include <cmath>

#include <gtest/gtest.h>

namespace ondrel {
namespace {

constexpr double kRate = 8000.0;

std::vector<float> tone(float amplitude, qint64 frames) {
    std::vector<float> out(static_cast<size_t>(frames));
    for (qint64 i = 0; i < frames; ++i)
        out[size_t(i)] = amplitude * float(std::sin(2.0 * M_PI * 500.0 * double(i) / kRate));
    return out;
}

class AnalysisFileProcessTest : public CatalogTest {
protected:
    void SetUp() override {
        CatalogTest::SetUp();
        EntityController::sharedInstance();
    }

    FileEntityPtr entity(const QString& name, const TestAudio& audio) {
        writeFloatWave(audio, kRate, dataPath(name));
        VMKError error;
        auto made = FileEntity::initWithURL(URL::fileURLWithPath(dataPath(name)), &error);
        EXPECT_TRUE(made) << error.localizedDescription().toStdString();
        return made;
    }

    // Hands the entities to a new analysis file process; with `wait`, until
    // its queue has emptied.
    static std::shared_ptr<AnalysisFileProcess> analyze(const std::vector<FileEntityPtr>& entities, bool wait = true) {
        auto command = std::make_shared<AnalysisFileProcessCommand>();
        QVariantList items;
        for (const auto& e : entities)
            items.append(Variant::fromObject(e));
        command->setItems(items);
        auto process = Variant::object<AnalysisFileProcess>(
            Variant::fromObject(FileProcessController::sharedInstance()->executeFileProcessCommand(command)));
        EXPECT_TRUE(process);
        if (process && wait) {
            EXPECT_TRUE(spinUntil([&] { return process->items().isEmpty(); }, 60000));
        }
        return process;
    }

    static QVariant row(const QString& column, const FileEntityPtr& e, int channelIndex) {
        return catalogValue(QStringLiteral("SELECT %1 FROM FileAnalysis WHERE fileEntityID = '%2' AND channelIndex = %3")
                                .arg(column, e->ID())
                                .arg(channelIndex));
    }
    static qint64 analysisRows(const FileEntityPtr& e) {
        return catalogValue(QStringLiteral("SELECT COUNT(*) FROM FileAnalysis WHERE fileEntityID = '%1'").arg(e->ID()))
            .toLongLong();
    }
};

std::shared_ptr<VMKAudioLabel> label(const QString& type, double location, double length) {
    auto made = VMKAudioLabel::labelOfType(type);
    made->setLocation(location);
    made->setLength(length);
    return made;
}

// Catches a lost or misplaced write of the hand-over: a column bound to the
// wrong key, metadata not in its archived form, labels not written, the
// whole-file row given an overview, a channel row without its table, the
// true peak written as a number when it was not measured (or the default not
// honoured), an entity left holding the waveforms of a file that is not
// loaded, or the operation kept after it finished.
TEST_F(AnalysisFileProcessTest, ResultsLandInTheRowsAndOnTheEntity) {
    const qint64 frames = 4000;
    const auto& wave = VMKAudioFileFormat::formatOfKind(VMKAudioFileFormat::Kind::WAVE);
    for (const bool truePeak : {true, false}) {
        SCOPED_TRACE(truePeak ? "true peak" : "no true peak");
        UserDefaults::standardUserDefaults()->setObjectForKey(truePeak, AnalysisOperation::EnableTruePeakKey);
        const QString path = dataPath(QStringLiteral("tagged%1.wav").arg(int(truePeak)));
        writeFloatWave({tone(0.5f, frames), tone(0.25f, frames)}, kRate, path);
        VMKError error;
        ASSERT_TRUE(VMKAudioFileTags::writeMetadata(path, wave, {{QStringLiteral("title"), QStringLiteral("Take One")}}, &error));
        ASSERT_TRUE(VMKAudioFileLabels::writeLabels(path, wave, kRate,
                                                    {label(QStringLiteral("marker"), 0.1, 0.0),
                                                     label(QStringLiteral("marker"), 0.2, 0.0),
                                                     label(QStringLiteral("region"), 0.1, 0.2)},
                                                    &error));
        const auto file = FileEntity::initWithURL(URL::fileURLWithPath(path));
        ASSERT_TRUE(file);

        analyze({file});

        auto stored = [&](const QString& column, const QString& table = QStringLiteral("FileEntity")) {
            return catalogValue(QStringLiteral("SELECT %1 FROM %2 WHERE fileEntityID = '%3'").arg(column, table, file->ID()));
        };
        EXPECT_EQ(stored(QStringLiteral("countOfMarkers")).toInt(), 2);
        EXPECT_EQ(stored(QStringLiteral("countOfRegions")).toInt(), 1);
        EXPECT_NEAR(stored(QStringLiteral("midPeak")).toDouble(), 20.0 * std::log10(0.75 * 0.5), 0.01);
        EXPECT_EQ(Variant::isNullOrAbsent(stored(QStringLiteral("truePeak"))), !truePeak);
        EXPECT_EQ(stored(QStringLiteral("COUNT(*)"), QStringLiteral("FileLabel")).toInt(), 3);
        const QVariant title = stored(QStringLiteral("value"), QStringLiteral("FileProperty"));
        EXPECT_EQ(KeyedUnarchiver::unarchiveObjectWithData(title.toByteArray()).toString(), QStringLiteral("Take One"));
        EXPECT_EQ(analysisRows(file), 3);
        EXPECT_TRUE(Variant::isNullOrAbsent(row(QStringLiteral("wavetable"), file, 0)));
        EXPECT_EQ(row(QStringLiteral("wavetable"), file, 1).toByteArray().size(), 4 * (frames / 256 + 1));
        EXPECT_NEAR(row(QStringLiteral("peak"), file, 0).toDouble(), -6.02, 0.01);
        EXPECT_NEAR(row(QStringLiteral("peak"), file, 2).toDouble(), -12.04, 0.01);

        EXPECT_EQ(file->truePeak() == FileEntity::TruePeakNotMeasured, !truePeak);
        EXPECT_EQ(file->metadata().value(QStringLiteral("title")).toString(), QStringLiteral("Take One"));
        ASSERT_EQ(file->countOfChannelDetails(), 2);
        EXPECT_NEAR(file->objectInChannelDetailsAtIndex(1)->peak(), -12.04f, 0.01f);
        EXPECT_FALSE(file->objectInChannelDetailsAtIndex(0)->waveform());
        EXPECT_EQ(file->countOfLabels(), 3);  // read back from the rows
        EXPECT_FALSE(file->analysisOperation());
    }
}

// Catches the channels of a split file put in name order, or each file's
// channels at the start instead of after those of the files before it: the
// files are given in an order that is not their names' order, each at its
// own level.
TEST_F(AnalysisFileProcessTest, SplitFileChannelsArriveInTheOrderOfItsFiles) {
    const QStringList names = {QStringLiteral("Take.L.wav"), QStringLiteral("Take.R.wav"), QStringLiteral("Take.C.wav")};
    const float levels[] = {0.5f, 0.25f, 0.125f};
    std::vector<URL> urls;
    for (int i = 0; i < 3; ++i) {
        writeFloatWave({tone(levels[i], 4000)}, kRate, dataPath(names[i]));
        urls.push_back(URL::fileURLWithPath(dataPath(names[i])));
    }
    VMKError error;
    const auto file = FileEntity::initWithURLs(urls, &error);
    ASSERT_TRUE(file) << error.localizedDescription().toStdString();

    analyze({file});

    ASSERT_EQ(file->countOfChannelDetails(), 3);
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(names[i].toStdString());
        const double expected = 20.0 * std::log10(double(levels[i]));
        EXPECT_NEAR(file->objectInChannelDetailsAtIndex(i)->peak(), expected, 0.01);
        EXPECT_NEAR(row(QStringLiteral("peak"), file, i + 1).toDouble(), expected, 0.01);
    }
    // Three channels have no stereo measures.
    EXPECT_TRUE(Variant::isNullOrAbsent(
        catalogValue(QStringLiteral("SELECT difference FROM FileEntity WHERE fileEntityID = '%1'").arg(file->ID()))));
}

// Catches a stop that lets queued analyses run, or one that wipes the rows
// of files measured before. The interleaving is fixed: the test holds the
// catalog while the process starts and stops, so no analysis can store its
// results, and so none can finish and free a place in the queue, before the
// stop. The eight places are taken by fillers; the two files behind them
// can't have begun.
TEST_F(AnalysisFileProcessTest, StopLeavesUnstartedFilesUnmeasuredAndKeepsEarlierResults) {
    const auto earlier = entity(QStringLiteral("earlier.wav"), {tone(0.5f, 2000)});
    ASSERT_TRUE(earlier);
    analyze({earlier});
    ASSERT_EQ(analysisRows(earlier), 2);

    std::vector<FileEntityPtr> items;
    for (int i = 0; i < AnalysisFileProcess::kMaxConcurrentAnalyses; ++i)
        items.push_back(entity(QStringLiteral("filler%1.wav").arg(i), {tone(0.25f, 2000)}));
    const auto unstarted = entity(QStringLiteral("unstarted.wav"), {tone(0.25f, 2000)});
    items.push_back(unstarted);
    items.push_back(earlier);

    std::shared_ptr<AnalysisFileProcess> process;
    EntityController::sharedInstance()->executeStatement(QStringLiteral("SELECT 1"), nullptr, [&](VMKDatabaseQuery&) {
        process = analyze(items, false);
        ASSERT_TRUE(process);
        process->stop();
    });
    ASSERT_TRUE(spinUntil([&] { return process->items().isEmpty(); }, 60000));

    EXPECT_FALSE(process->isProcessing());
    EXPECT_EQ(process->progressDescription(),
              VMKLocalizedString(QStringLiteral("AnalysisFileProcess_progressDescription_stopped")));
    EXPECT_EQ(analysisRows(unstarted), 0);
    EXPECT_EQ(unstarted->countOfChannelDetails(), 0);
    EXPECT_EQ(analysisRows(earlier), 2);
    EXPECT_NEAR(row(QStringLiteral("peak"), earlier, 1).toDouble(), -6.02, 0.01);
}

// Catches a finished analysis counted twice in the progress: announced as
// completed while its operation, its analyzer at the end, is still queued.
// The held catalog keeps the analysis from completing before the observation.
TEST_F(AnalysisFileProcessTest, ProgressCountsACompletedAnalysisOnce) {
    const auto file = entity(QStringLiteral("once.wav"), {tone(0.5f, 2000)});
    std::shared_ptr<AnalysisFileProcess> process;
    std::vector<double> announced;
    ObservationHandle observation;
    EntityController::sharedInstance()->executeStatement(QStringLiteral("SELECT 1"), nullptr, [&](VMKDatabaseQuery&) {
        process = analyze({file}, false);
        observation = process->observe(QStringLiteral("progress"), 0,
                                       [&](const KeyValueChangeInfo&) { announced.push_back(process->progress()); });
    });
    ASSERT_TRUE(spinUntil([&] { return process->items().isEmpty(); }, 60000));
    EXPECT_EQ(announced, std::vector<double>{1.0});
}

// Catches one unreadable file that stops its neighbours or is logged more
// than once: a file overwritten with other bytes and one cut inside its
// header, between two good ones, after their entities were made.
TEST_F(AnalysisFileProcessTest, AnUnreadableFileIsLoggedOnceAndTheOthersAreMeasured) {
    const auto first = entity(QStringLiteral("first.wav"), {tone(0.5f, 2000)});
    const auto garbage = entity(QStringLiteral("garbage.wav"), {tone(0.5f, 2000)});
    const auto last = entity(QStringLiteral("last.wav"), {tone(0.5f, 2000)});
    const auto cut = entity(QStringLiteral("cut.wav"), {tone(0.5f, 2000)});
    ASSERT_TRUE(first && garbage && last && cut);
    ASSERT_TRUE(writeBytes(dataPath(QStringLiteral("garbage.wav")), QByteArray(3000, 'x')));
    ASSERT_TRUE(writeBytes(dataPath(QStringLiteral("cut.wav")), readBytes(dataPath(QStringLiteral("first.wav"))).left(20)));
    const quint64 warnings = LogController::sharedInstance()->warningCount();

    const auto process = analyze({first, garbage, last, cut});

    EXPECT_EQ(LogController::sharedInstance()->warningCount() - warnings, 2u);
    EXPECT_EQ(process->completedCount(), 4u);
    for (const auto& good : {first, last}) {
        EXPECT_EQ(analysisRows(good), 2);
        EXPECT_NEAR(good->peak(), -6.02f, 0.01f);
    }
}

} // namespace
} // namespace ondrel
