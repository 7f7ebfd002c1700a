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

} // namespace dsp

} // namespace ondrel
