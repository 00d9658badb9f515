#include "effects/MFDoubleFilter.h"

void MFDoubleFilter::clear(double coefficient) {
    low = high = band = spare = 0.0;
    frequency = coefficient;
    damping = 1.0;
}
