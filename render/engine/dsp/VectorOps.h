#pragma once

#include <cstdint>

namespace ondrel {

// Vector helpers over plain float arrays, the engine's inner loops. They are
// compiled out of line with the vectoriser on; n may be any count, and the
// arrays of one call must not overlap unless a function says otherwise.
namespace dsp {

void clear(float* destination, int64_t n);
void fill(float* destination, float value, int64_t n);
void copy(float* destination, const float* source, int64_t n);  // may overlap
void add(float* destination, const float* source, int64_t n);                    // d += s
void scale(float* destination, float gain, int64_t n);                            // d *= g
void multiply(float* destination, const float* source, int64_t n);               // d *= s
void reverse(float* values, int64_t n);
float sumOfSquares(const float* source, int64_t n);
void zeroNonFinite(float* values, int64_t n);  // NaN and +-inf become 0
float maximum(const float* source, int64_t n);  // 0 for n == 0; NaN skipped, NaN if all are
float minimum(const float* source, int64_t n);  // 0 for n == 0; NaN skipped, NaN if all are
float sum(const float* source, int64_t n);
float sumOfMagnitudes(const float* source, int64_t n);
// Sum over i of sign(a[i]) x sign(b[i]), the sign being +1 for a value at or
// above 0 and -1 below: n for channels alike in sign, -n for opposites.
float signProductSum(const float* a, const float* b, int64_t n);
// Largest |a[i] + b[i]| and largest |a[i] - b[i]|; 0 for n == 0.
float maximumMagnitudeOfSum(const float* a, const float* b, int64_t n);
float maximumMagnitudeOfDifference(const float* a, const float* b, int64_t n);

// The index of the first value whose sign bit differs from the one before it,
// or -1 when the sign never changes. 0.0 counts as positive, -0.0 as negative.
int64_t firstSignChange(const float* values, int64_t n);
// The largest absolute value, and in `index` the first index that holds it;
// 0 and index 0 for n == 0. NaN is skipped.
float maximumMagnitude(const float* values, int64_t n, int64_t* index);
void divide(float* destination, float divisor, int64_t n);  // d /= divisor
// A second-order filter in place, direct form I: y = b0 x + b1 x1 + b2 x2 -
// a1 y1 - a2 y2. `coefficients` are {b0, b1, b2, a1, a2}, already divided by
// a0; `state` is {x1, x2, y1, y2}, carried from one call to the next.
void biquad(float* values, int64_t n, const float* coefficients, float* state);

} // namespace dsp

} // namespace ondrel
