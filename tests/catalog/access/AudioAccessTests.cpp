#include "catalog/entities/ChannelDetails.h"
#include "catalog/entities/FileEntity.h"
#include "render/engine/graph/VMKAudioBufferList.h"
#include "render/engine/waveforms/VMKMinMaxWaveform.h"
#include "render/engine/waveforms/VMKWaveformBuffer.h"
#include "tests/support/catalog/CatalogTestSupport.h"

#include <QtCore/QtEndian>

#include <functional>

using namespace ondrel;

namespace {

using AudioAccessTest = CatalogTest;

constexpr double kRate = 8192.0;
constexpr float kUnset = 9.0f;  // what a column holds before drawing

// A ramp from -0.5 through 0 at frame 4096, and its negative: every value a
// multiple of 1 / 8192, exact in floats.
float ramp(int64_t frame) { return float(frame) / 8192.0f - 0.5f; }

std::vector<std::vector<float>> rampAndNegative() {
    std::vector<std::vector<float>> audio(2, std::vector<float>(8192));
    for (int64_t n = 0; n < 8192; ++n) {
        audio[0][size_t(n)] = ramp(n);
        audio[1][size_t(n)] = -ramp(n);
    }
    return audio;
}

// Overview entries whose largest value is (e + 1) x scale and whose smallest
// is half of that, negated, in table units.
QByteArray overviewTable(int entries, int scale) {
    QByteArray table(entries * 4, '\0');
    auto* bytes = reinterpret_cast<uchar*>(table.data());
    for (int e = 0; e < entries; ++e) {
        qToLittleEndian<qint16>(qint16((e + 1) * scale), bytes + 4 * e);
        qToLittleEndian<qint16>(qint16(-((e + 1) * scale / 2)), bytes + 4 * e + 2);
    }
    return table;
}

struct Column {
    float positive[2];
    float negative[2];
};

std::shared_ptr<VMKWaveformBuffer> draw(FileEntity& file, DoubleRange range, int64_t columns) {
    auto buffer = VMKWaveformBuffer::initWithChannels(2, columns);
    for (int64_t j = 0; j < columns; ++j)
        for (uint32_t c = 0; c < 2; ++c) {
            buffer->setPositiveValue(kUnset, j, c);
            buffer->setNegativeValue(kUnset, j, c);
        }
    file.getWaveform(*buffer, range);
    return buffer;
}

void expectColumns(const VMKWaveformBuffer& buffer, const std::function<Column(int64_t)>& expected) {
    for (int64_t j = 0; j < buffer.frames(); ++j) {
        const Column column = expected(j);
        for (uint32_t c = 0; c < 2; ++c) {
            EXPECT_FLOAT_EQ(buffer.positiveValuesForChannel(c)[j], column.positive[c]) << "column " << j << " channel " << c;
            EXPECT_FLOAT_EQ(buffer.negativeValuesForChannel(c)[j], column.negative[c]) << "column " << j << " channel " << c;
        }
    }
}

} // namespace

// Each member of a split file is read into the channel of its index, from
// round(rate x location); without readers nothing is read.
TEST_F(AudioAccessTest, ASplitFileReadsEachMemberIntoItsChannel) {
    const auto audio = rampAndNegative();
    ASSERT_TRUE(writeFloatWav(dataPath("Take.L.wav"), {audio[0]}, kRate));
    ASSERT_TRUE(writeFloatWav(dataPath("Take.R.wav"), {audio[1]}, kRate));
    auto file = FileEntity::initWithURLs({URL::fileURLWithPath(dataPath("Take.L.wav")),
                                          URL::fileURLWithPath(dataPath("Take.R.wav"))});
    ASSERT_TRUE(file);
    auto buffer = VMKAudioBufferList::initWithChannels(2, 16);
    EXPECT_FALSE(file->getAudio(*buffer, 0.25));

    file->load();
    ASSERT_TRUE(file->getAudio(*buffer, 0.25 + 0.4 / kRate));  // rounds to frame 2048
    for (int64_t i = 0; i < 16; ++i) {
        EXPECT_EQ(buffer->valueAtFrame(i, 0), ramp(2048 + i)) << i;
        EXPECT_EQ(buffer->valueAtFrame(i, 1), -ramp(2048 + i)) << i;
    }
    file->unload();
}

// Wide columns come from the overview (its entries, 256 frames each, reduced
// per column; a column that ends before 0 is left alone), narrower ones from
// the audio (the lower value no higher than 0), and columns narrower than a
// sample show the one sample they fall on, on its side of zero only.
TEST_F(AudioAccessTest, TheWaveformIsDrawnFromOverviewAudioOrSamples) {
    auto file = fileEntityWithAudio(dataPath("ramp.wav"), rampAndNegative(), kRate);
    ASSERT_TRUE(file);
    for (int c = 0; c < 2; ++c)
        file->insertObjectInChannelDetailsAtIndex(std::make_shared<ChannelDetails>(), c);
    file->load();
    const int scales[2] = {100, 10};
    for (int c = 0; c < 2; ++c)
        std::static_pointer_cast<VMKMinMaxWaveform>(file->objectInChannelDetailsAtIndex(c)->waveform())
            ->setData(overviewTable(33, scales[c]));

    // 2048 frames a column: 8 entries each, from entry round(rate x t) / 256
    // cut towards zero. Column 1 takes entries -7 .. 0 (the ones before the
    // first read as 0), the next ones 0 .. 7 and 8 .. 15.
    expectColumns(*draw(*file, {-0.49, 1.0}, 4), [&](int64_t j) -> Column {
        if (j == 0)
            return {{kUnset, kUnset}, {kUnset, kUnset}};
        const int last = j == 1 ? 0 : int(j - 2) * 8 + 7;
        auto top = [&](int c) { return float((last + 1) * scales[c]) / 32767.0f; };
        auto bottom = [&](int c) { return float(-((last + 1) * scales[c] / 2)) / 32767.0f; };
        return {{top(0), top(1)}, {bottom(0), bottom(1)}};
    });

    // 128 frames a column from frame 3072: the ramp crosses 0 in column 8.
    expectColumns(*draw(*file, {0.375, 0.25}, 16), [](int64_t j) -> Column {
        const int64_t first = 3072 + 128 * j, last = first + 127;
        return {{ramp(last), -ramp(first)}, {std::min(ramp(first), 0.0f), std::min(-ramp(last), 0.0f)}};
    });

    // Half a frame a column over frames 4094 .. 4097.
    expectColumns(*draw(*file, {4094 / kRate, 4 / kRate}, 8), [](int64_t j) -> Column {
        const float value = ramp(4094 + j / 2);
        Column column{{kUnset, kUnset}, {kUnset, kUnset}};
        (value > 0.0f ? column.positive[0] : column.negative[0]) = value;
        (-value > 0.0f ? column.positive[1] : column.negative[1]) = -value;
        return column;
    });
    file->unload();
}
