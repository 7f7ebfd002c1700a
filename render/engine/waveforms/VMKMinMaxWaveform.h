#pragma once

#include "render/engine/waveforms/VMKWaveform.h"

#include <QtCore/QByteArray>

#include <memory>

namespace ondrel {

// The overview as analysis stores it: a table of 4-byte entries, entry b for
// frames 256 b to 256 b + 255. Bytes 4b, 4b+1 hold the block's largest sample
// and bytes 4b+2, 4b+3 its smallest, each a little-endian signed 16-bit
// number: the sample times 32767, limited to -32768..32767 and cut towards
// zero. A file of n frames has n / 256 + 1 entries (rounded down, plus one).
// The table is kept exactly as set. A run reduces to its maximum (positive)
// or minimum (negative).
class VMKMinMaxWaveform : public VMKWaveform {
    ONDREL_OBJECT(VMKMinMaxWaveform, VMKWaveform)

public:
    static std::shared_ptr<VMKMinMaxWaveform> waveform();
    static int64_t tableLengthForFrames(int64_t frames);
    static int16_t tableValueForSample(float sample);

    QByteArray& table() { return m_table; }
    const QByteArray& table() const { return m_table; }
    void setData(const QByteArray& data) { m_table = data; }

    // Writes entry `index` from a block's largest and smallest sample, growing
    // the table with zero entries when needed.
    void setValuesAtIndex(int64_t index, float largest, float smallest);

    int64_t count() const override { return m_table.size() / 4; }
    void getPositiveValues(float* values, int64_t index, int64_t length) const override;
    void getNegativeValues(float* values, int64_t index, int64_t length) const override;

private:
    void getValues(float* values, int64_t index, int64_t length, int offset) const;

    QByteArray m_table;
};

} // namespace ondrel
