#pragma once

#include "platform/MFRelaxed.h"

#include <algorithm>
#include <cstdint>

// The value block of one parameter. The raw value is the truth; the touch flag is 1
// while the user holds the control; the mapped forms are functions of the raw value,
// the tempo and the sample rate, recomputed by every setParameter.
struct MFParameterValue {
    MFRelaxed<float> raw = 0.0f;
    MFRelaxed<float> touch = 0.0f;
    MFRelaxed<float> copy = 0.0f;
    MFRelaxed<float> mapped = 0.0f;
    MFRelaxed<float> mappedAlt = 0.0f;
};

// Tags run from 0 to 565; one block per tag keeps every value addressable by its tag.
constexpr int32_t mfTagCount = 566;

// A raw value as the mappings take it: held to the normalised range 0..1.
inline float mfUnitValue(float raw) {
    return std::clamp(raw, 0.0f, 1.0f);
}
