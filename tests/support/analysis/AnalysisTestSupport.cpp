#include "tests/support/analysis/AnalysisTestSupport.h"

#include "analysis/operation/AnalysisOperation.h"
#include "core/storage/UserDefaults.h"

#include <gtest/gtest.h>

namespace ondrel {

AnalysisResults analyzeFiles(const std::vector<URL>& urls, bool truePeak) {
    UserDefaults::standardUserDefaults()->setObjectForKey(truePeak, AnalysisOperation::EnableTruePeakKey);
    auto operation = std::make_shared<AnalysisOperation>();
    operation->setURLs(urls);
    operation->start();
    EXPECT_TRUE(operation->isCompleted());
    return {operation->entityProperties(), operation->entityChannelProperties()};
}

void writeFloatWave(const TestAudio& audio, double sampleRate, const QString& path) {
    VMKAudioFileEncoderSettings settings;
    settings.format = &VMKAudioFileFormat::formatOfKind(VMKAudioFileFormat::Kind::WAVE);
    settings.sampleRate = sampleRate;
    settings.bitDepth = 32;
    settings.isFloatingPoint = true;
    VMKError error;
    ASSERT_TRUE(encodeAudio(audio, settings, path, &error)) << error.localizedDescription().toStdString();
}

float measure(const QVariantMap& results, const char* key) {
    const QVariant value = results.value(QLatin1String(key));
    EXPECT_TRUE(value.isValid()) << "no " << key;
    return value.toFloat();
}

} // namespace ondrel
