// The loops below are written for the vectoriser: the cheap cost model lets
// -O2 vectorise loops of unknown length, and the reductions keep eight lanes.
#pragma GCC optimize("tree-vectorize", "vect-cost-model=cheap")

#include "render/engine/dsp/VectorOps.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace ondrel {

namespace dsp {

namespace {
bool onlyNaN(const float* source, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        if (source[i] == source[i])
            return false;
    return true;
}
} // namespace

void clear(float* destination, int64_t n) {
    if (n > 0)
        std::memset(destination, 0, size_t(n) * sizeof(float));
}

void fill(float* __restrict destination, float value, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        destination[i] = value;
}

void copy(float* destination, const float* source, int64_t n) {
    if (n > 0 && destination != source)
        std::memmove(destination, source, size_t(n) * sizeof(float));
}

void add(float* __restrict destination, const float* __restrict source, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        destination[i] += source[i];
}

void scale(float* __restrict destination, float gain, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        destination[i] *= gain;
}

void multiply(float* __restrict destination, const float* __restrict source, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        destination[i] *= source[i];
}

void reverse(float* values, int64_t n) {
    for (int64_t i = 0, j = n - 1; i < j; ++i, --j) {
        const float t = values[i];
        values[i] = values[j];
        values[j] = t;
    }
}

void zeroNonFinite(float* __restrict values, int64_t n) {
    constexpr float kLargest = std::numeric_limits<float>::max();
    for (int64_t i = 0; i < n; ++i)
        values[i] = (values[i] <= kLargest && values[i] >= -kLargest) ? values[i] : 0.0f;
}

float sumOfSquares(const float* __restrict source, int64_t n) {
    float lanes[8] = {};
    int64_t i = 0;
    for (; i + 8 <= n; i += 8)
        for (int k = 0; k < 8; ++k)
            lanes[k] += source[i + k] * source[i + k];
    float sum = 0.0f;
    for (; i < n; ++i)
        sum += source[i] * source[i];
    for (int k = 0; k < 8; ++k)
        sum += lanes[k];
    return sum;
}

// NaN never wins a comparison below, so it is skipped wherever it falls; a
// run with no number at all answers NaN.
float maximum(const float* __restrict source, int64_t n) {
    if (n <= 0)
        return 0.0f;
    constexpr float kLowest = -std::numeric_limits<float>::infinity();
    float lanes[8];
    for (int k = 0; k < 8; ++k)
        lanes[k] = kLowest;
    int64_t i = 0;
    for (; i + 8 <= n; i += 8)
        for (int k = 0; k < 8; ++k)
            lanes[k] = source[i + k] > lanes[k] ? source[i + k] : lanes[k];
    float result = kLowest;
    for (; i < n; ++i)
        result = source[i] > result ? source[i] : result;
    for (int k = 0; k < 8; ++k)
        result = lanes[k] > result ? lanes[k] : result;
    return result == kLowest && onlyNaN(source, n) ? std::numeric_limits<float>::quiet_NaN() : result;
}

float minimum(const float* __restrict source, int64_t n) {
    if (n <= 0)
        return 0.0f;
    constexpr float kHighest = std::numeric_limits<float>::infinity();
    float lanes[8];
    for (int k = 0; k < 8; ++k)
        lanes[k] = kHighest;
    int64_t i = 0;
    for (; i + 8 <= n; i += 8)
        for (int k = 0; k < 8; ++k)
            lanes[k] = source[i + k] < lanes[k] ? source[i + k] : lanes[k];
    float result = kHighest;
    for (; i < n; ++i)
        result = source[i] < result ? source[i] : result;
    for (int k = 0; k < 8; ++k)
        result = lanes[k] < result ? lanes[k] : result;
    return result == kHighest && onlyNaN(source, n) ? std::numeric_limits<float>::quiet_NaN() : result;
}

int64_t firstSignChange(const float* values, int64_t n) {
    for (int64_t i = 1; i < n; ++i)
        if (std::signbit(values[i]) != std::signbit(values[i - 1]))
            return i;
    return -1;
}

float maximumMagnitude(const float* values, int64_t n, int64_t* index) {
    float largest = 0.0f;
    int64_t at = 0;
    for (int64_t i = 0; i < n; ++i) {
        const float magnitude = std::fabs(values[i]);
        if (magnitude > largest) {
            largest = magnitude;
            at = i;
        }
    }
    if (index)
        *index = at;
    return largest;
}

void divide(float* __restrict destination, float divisor, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        destination[i] /= divisor;
}

// The recursion runs sample by sample: each output feeds the next.
void biquad(float* values, int64_t n, const float* coefficients, float* state) {
    const float b0 = coefficients[0], b1 = coefficients[1], b2 = coefficients[2];
    const float a1 = coefficients[3], a2 = coefficients[4];
    float x1 = state[0], x2 = state[1], y1 = state[2], y2 = state[3];
    for (int64_t i = 0; i < n; ++i) {
        const float x = values[i];
        const float y = b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        values[i] = y;
    }
    state[0] = x1;
    state[1] = x2;
    state[2] = y1;
    state[3] = y2;
}

// The reductions below keep eight partial results, like sumOfSquares.
namespace {
template <class Term>
float laneSum(int64_t n, Term term) {
    float lanes[8] = {};
    int64_t i = 0;
    for (; i + 8 <= n; i += 8)
        for (int k = 0; k < 8; ++k)
            lanes[k] += term(i + k);
    float result = 0.0f;
    for (; i < n; ++i)
        result += term(i);
    for (int k = 0; k < 8; ++k)
        result += lanes[k];
    return result;
}

template <class Term>
float laneMaximum(int64_t n, Term term) {
    float lanes[8] = {};
    int64_t i = 0;
    for (; i + 8 <= n; i += 8)
        for (int k = 0; k < 8; ++k) {
            const float value = term(i + k);
            lanes[k] = value > lanes[k] ? value : lanes[k];
        }
    float result = 0.0f;
    for (; i < n; ++i) {
        const float value = term(i);
        result = value > result ? value : result;
    }
    for (int k = 0; k < 8; ++k)
        result = lanes[k] > result ? lanes[k] : result;
    return result;
}
} // namespace

float sum(const float* __restrict source, int64_t n) {
    return laneSum(n, [source](int64_t i) { return source[i]; });
}

float sumOfMagnitudes(const float* __restrict source, int64_t n) {
    return laneSum(n, [source](int64_t i) { return std::fabs(source[i]); });
}

float signProductSum(const float* __restrict a, const float* __restrict b, int64_t n) {
    return laneSum(n, [a, b](int64_t i) { return (a[i] >= 0.0f ? 1.0f : -1.0f) * (b[i] >= 0.0f ? 1.0f : -1.0f); });
}

float maximumMagnitudeOfSum(const float* __restrict a, const float* __restrict b, int64_t n) {
    return laneMaximum(n, [a, b](int64_t i) { return std::fabs(a[i] + b[i]); });
}

float maximumMagnitudeOfDifference(const float* __restrict a, const float* __restrict b, int64_t n) {
    return laneMaximum(n, [a, b](int64_t i) { return std::fabs(a[i] - b[i]); });
}

} // namespace dsp

} // namespace ondrel
