#pragma once

#include <vector>

// A drum loop made in code, so the renderer has something to play with no input:
// kick, snare, closed hats and a bass line, four bars at the given tempo.
struct DemoLoop {
    std::vector<float> left;
    std::vector<float> right;

    static DemoLoop make(double sampleRate, double tempo, int bars = 4);
};
