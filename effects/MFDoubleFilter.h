#pragma once

// Two-pole state-variable stage in double precision whose output is the high-pass.
// The small offsets keep the state away from denormals without a flush mode.
class MFDoubleFilter {
public:
    static constexpr double offset = 1e-10;

    double low = 0.0;
    double high = 0.0;
    double band = 0.0;
    double frequency = 0.0;
    double spare = 0.0;
    double damping = 1.0;

    double run(double x) {
        high = x + offset - low - damping * band;
        band = high * frequency + offset + band;
        low = low - offset + frequency * band;
        return high;
    }
    double output() const { return high; }
    // Clears the state and sets the coefficient again; damping returns to 1.
    void clear(double coefficient);
};
