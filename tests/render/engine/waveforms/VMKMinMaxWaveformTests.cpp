#include "render/engine/graph/VMKAudioStream.h"
#include "render/engine/waveforms/VMKMinMaxWaveform.h"
#include "render/engine/waveforms/VMKWaveformBuffer.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace ondrel {

TEST(VMKMinMaxWaveform, TableEntriesAreLittleEndianSixteenBitPairs) {
    EXPECT_EQ(VMKMinMaxWaveform::tableLengthForFrames(0), 4);
    EXPECT_EQ(VMKMinMaxWaveform::tableLengthForFrames(255), 4);
    EXPECT_EQ(VMKMinMaxWaveform::tableLengthForFrames(256), 8);
    EXPECT_EQ(VMKMinMaxWaveform::tableLengthForFrames(1000), 16);

    EXPECT_EQ(VMKMinMaxWaveform::tableValueForSample(1.0f), 32767);
    EXPECT_EQ(VMKMinMaxWaveform::tableValueForSample(-1.0f), -32767);
    EXPECT_EQ(VMKMinMaxWaveform::tableValueForSample(1.7f), 32767);
    EXPECT_EQ(VMKMinMaxWaveform::tableValueForSample(-1.5f), -32768);
    EXPECT_EQ(VMKMinMaxWaveform::tableValueForSample(0.5f), 16383);    // 16383.5 cut towards zero
    EXPECT_EQ(VMKMinMaxWaveform::tableValueForSample(-0.5f), -16383);
    EXPECT_EQ(VMKMinMaxWaveform::tableValueForSample(0.00001f), 0);

    auto waveform = VMKMinMaxWaveform::waveform();
    waveform->setData(QByteArray(8, '\0'));
    waveform->setValuesAtIndex(1, 0.5f, -1.0f);
    const QByteArray expected("\x00\x00\x00\x00\xff\x3f\x01\x80", 8);
    EXPECT_EQ(waveform->table(), expected);
    waveform->setValuesAtIndex(3, -0.25f, -0.5f);  // the largest sample may be negative
    EXPECT_EQ(waveform->count(), 4);
    EXPECT_EQ(waveform->table().size(), 16);

    std::vector<float> values(6);
    waveform->getPositiveValues(values.data(), -1, 6);  // from before the start to past the end
    EXPECT_EQ(values, (std::vector<float>{0.0f, 0.0f, 16383.0f / 32767.0f, 0.0f, -8191.0f / 32767.0f, 0.0f}));
    waveform->getNegativeValues(values.data(), 1, 3);
    EXPECT_EQ(values[0], -1.0f);
    EXPECT_EQ(values[2], -16383.0f / 32767.0f);
}

TEST(VMKMinMaxWaveform, ReducesRunsToTheirExtremes) {
    auto made = VMKMinMaxWaveform::waveform();
    std::vector<float> run(1000);
    for (size_t i = 0; i < run.size(); ++i)
        run[i] = float(int(i % 37) - 20) / 40.0f;
    run[613] = 0.9f;
    run[999] = -0.95f;
    EXPECT_EQ(made->positiveValueForBuffer(run.data(), 1000), 0.9f);
    EXPECT_EQ(made->negativeValueForBuffer(run.data(), 1000), -0.95f);
    EXPECT_EQ(made->positiveValueForBuffer(run.data(), 13), -8.0f / 40.0f);  // a short run of negatives
    EXPECT_EQ(made->negativeValueForBuffer(run.data() + 5, 3), -15.0f / 40.0f);
    EXPECT_EQ(made->positiveValueForBuffer(run.data(), 0), 0.0f);
    made->setData(QByteArray("\x01\x02\x03", 3));  // less than one entry
    EXPECT_EQ(made->count(), 0);
}

TEST(VMKWaveformBuffer, HoldsTwoValuesPerColumnAndChannel) {
    VMKError error;
    EXPECT_FALSE(VMKWaveformBuffer::initWithChannels(0, 10, &error));
    EXPECT_TRUE(error.isError());
    auto buffer = VMKWaveformBuffer::initWithChannels(2, 10);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->frames(), 10);
    buffer->setPositiveValue(0.5f, 3, 1);
    buffer->setNegativeValue(-0.25f, 9, 0);
    buffer->setPositiveValue(1.0f, 10, 0);  // out of range: ignored
    buffer->setNegativeValue(1.0f, 0, 2);
    EXPECT_EQ(buffer->positiveValuesForChannel(1)[3], 0.5f);
    EXPECT_EQ(buffer->negativeValuesForChannel(0)[9], -0.25f);
    for (uint32_t c = 0; c < 2; ++c)
        for (int64_t f = 0; f < 10; ++f) {
            if (!(c == 1 && f == 3)) {
                EXPECT_EQ(buffer->positiveValuesForChannel(c)[f], 0.0f);
            }
            if (!(c == 0 && f == 9)) {
                EXPECT_EQ(buffer->negativeValuesForChannel(c)[f], 0.0f);
            }
        }
    EXPECT_FALSE(buffer->positiveValuesForChannel(2));
    EXPECT_TRUE(buffer->setFrames(4));
    EXPECT_FALSE(buffer->setFrames(11));
    buffer->clear();
    EXPECT_EQ(buffer->positiveValuesForChannel(1)[3], 0.0f);
}

TEST(VMKMinMaxWaveform, ANaNSampleHidesNoExtremeWhereverItFalls) {
    VMKMinMaxWaveform waveform;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // A run of 256 with its extremes at the start and a NaN moved through every place.
    for (size_t at = 1; at < 256; ++at) {
        std::vector<float> run(256, 0.0f);
        run[0] = 0.9f;
        run[1 + at % 255] = -0.8f;
        run[at] = nan;
        if (at == 1 + at % 255)
            continue;
        ASSERT_EQ(waveform.positiveValueForBuffer(run.data(), 256), 0.9f) << "NaN at " << at;
        ASSERT_EQ(waveform.negativeValueForBuffer(run.data(), 256), -0.8f) << "NaN at " << at;
    }
    // NaN first, then numbers; and a run of nothing but NaN reads as silence in the table.
    std::vector<float> run{nan, 0.25f, -0.5f, 0.125f};
    EXPECT_EQ(waveform.positiveValueForBuffer(run.data(), 4), 0.25f);
    EXPECT_EQ(waveform.negativeValueForBuffer(run.data(), 4), -0.5f);
    std::vector<float> nothing(300, nan);
    waveform.setValuesAtIndex(0, waveform.positiveValueForBuffer(nothing.data(), 300),
                              waveform.negativeValueForBuffer(nothing.data(), 300));
    float values[1] = {1.0f};
    waveform.getPositiveValues(values, 0, 1);
    EXPECT_EQ(values[0], 0.0f);
    waveform.getNegativeValues(values, 0, 1);
    EXPECT_EQ(values[0], 0.0f);
}

} // namespace ondrel
