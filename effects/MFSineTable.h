#pragma once

// One cycle of sine in 1024 steps (plus the closing entry) with a slope per step,
// read by phase in 0..1 with linear interpolation.
class MFSineTable {
public:
    static constexpr int size = 1024;

    static const MFSineTable& instance();

    float read(float phase) const {
        const float x = phase * float(size);
        const int whole = int(x);
        const int k = whole & (size - 1);
        return (x - float(whole)) * slope[k] + sine[k];
    }

    float sine[size + 1];
    float slope[size];

private:
    MFSineTable();
};
