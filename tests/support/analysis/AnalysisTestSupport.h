#pragma once

#include "core/files/URL.h"
#include "tests/support/engine/EngineTestSupport.h"

#include <QtCore/QVariantList>
#include <QtCore/QVariantMap>

#include <vector>

namespace ondrel {

// What one analysis of a file (or a split file's files) left behind.
struct AnalysisResults {
    QVariantMap properties;  // the entity's: aggregate, metadata, label counts
    QVariantList channels;   // one dictionary per channel
};

// Runs an AnalysisOperation over `urls` on the calling thread, as the
// analysis queue would, with the true peak measured or not as `truePeak`
// says (the user's setting is set so), and answers its results (empty when
// it measured nothing).
AnalysisResults analyzeFiles(const std::vector<URL>& urls, bool truePeak = true);

// Writes `audio` as a 32-bit float WAVE file, samples beyond full scale
// included, exactly as given; fails the test when it can't.
void writeFloatWave(const TestAudio& audio, double sampleRate, const QString& path);

// The value of `key` in a channel or aggregate dictionary as a float.
float measure(const QVariantMap& results, const char* key);

} // namespace ondrel
