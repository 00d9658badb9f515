#pragma once

// The factory content as states the plug-in library loads, and renders of the built-in
// drum loop through the library as a host plays it: stopped blocks first, then the
// transport rolling from a song position, in blocks of a chosen slicing.

#include "tools/render/DemoLoop.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace factory {

struct State {
    std::string name;
    std::vector<uint8_t> bytes;
};

// Every whole-state preset as it is, then every effect preset loaded over "default"
// with one zone across the whole pattern on its lane, so that it sounds all the time.
const std::vector<State>& allStates();

struct Render {
    float rate = 44100.0f;
    int prerollBlocks = 0; // stopped blocks of silence before playback
    int prerollSize = 64;
    int blockSize = 64; // 0: random sizes from 1 to maxBlock
    double start = 0.0; // song position where playback starts, in quarter notes
    bool cycle = false; // a host loop from cycleStart to cycleEnd
    double cycleStart = 0.0, cycleEnd = 0.0;
    bool holdNote = false; // a key held from the first sample of playback
    int noteKey = 60;      // middle C: pattern 0
    double seconds = 4.25;
};
constexpr int maxBlock = 1024;

// The loop at a rate, built once per rate.
const DemoLoop& loopAt(float rate);

// One render in a fresh instance: left channel, then right channel.
std::vector<float> render(const State& state, const Render& how);

// Two exports in one instance: the render, the transport stopped for `gapBlocks` blocks
// of 256 silent samples, and the same render again.
std::pair<std::vector<float>, std::vector<float>> renderTwice(const State& state, const Render& how,
                                                              int gapBlocks);

// Describes where two renders part: the first differing sample and the difference in
// dB of full scale (RMS); empty when they are bit-identical.
std::string difference(const std::vector<float>& a, const std::vector<float>& b);

} // namespace factory
