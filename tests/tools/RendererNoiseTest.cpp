// The renderer's --noise through the pass-through plug-in, read back from the file it
// writes: the level a benchmark row names is the level the plug-in was fed.

#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace {

struct Stereo {
    std::vector<float> left, right;
    uint32_t rate = 0;
};

uint32_t word(const std::vector<char>& bytes, std::size_t at) {
    uint32_t v = 0;
    std::memcpy(&v, bytes.data() + at, 4);
    return v;
}

// A 32-bit float stereo WAV as the renderer writes it; empty on anything else.
Stereo readFloatWav(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    Stereo out;
    if (bytes.size() < 12 || std::memcmp(bytes.data(), "RIFF", 4) != 0 ||
        std::memcmp(bytes.data() + 8, "WAVE", 4) != 0)
        return out;
    bool floatStereo = false;
    for (std::size_t at = 12; at + 8 <= bytes.size();) {
        const uint32_t size = word(bytes, at + 4);
        const char* body = bytes.data() + at + 8;
        if (at + 8 + size > bytes.size())
            break;
        if (std::memcmp(bytes.data() + at, "fmt ", 4) == 0 && size >= 16) {
            uint16_t format = 0, channels = 0, bits = 0;
            std::memcpy(&format, body, 2);
            std::memcpy(&channels, body + 2, 2);
            std::memcpy(&out.rate, body + 4, 4);
            std::memcpy(&bits, body + 14, 2);
            floatStereo = format == 3 && channels == 2 && bits == 32;
        } else if (std::memcmp(bytes.data() + at, "data", 4) == 0 && floatStereo) {
            const std::size_t frames = size / 8;
            out.left.resize(frames);
            out.right.resize(frames);
            for (std::size_t i = 0; i < frames; ++i) {
                std::memcpy(&out.left[i], body + 8 * i, 4);
                std::memcpy(&out.right[i], body + 8 * i + 4, 4);
            }
        }
        at += 8 + size + (size & 1);
    }
    return out;
}

TEST(RendererNoise, PlaysIndependentChannelsAtTheAskedRmsLevel) {
    const std::string output = CADENZOID_TOOLS_TEST_DIR "/noise-minus-12.wav";
    const std::string command = std::string("'") + CADENZOID_RENDER_PATH +
                                "' -q --noise -12 --rate 48000 -p '" + PASSTHROUGH_PLUGIN_PATH +
                                "' -o '" + output + "' > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    const Stereo wav = readFloatWav(output);
    ASSERT_EQ(wav.rate, 48000u);
    ASSERT_EQ(wav.left.size(), 4u * 48000u);

    // The pass-through copies its input: the file holds the noise itself, which is scaled
    // to its level exactly, so 0.01 dB is float rounding with room to spare.
    for (const std::vector<float>* channel : {&wav.left, &wav.right}) {
        const double rms = signal::rms(channel->data(), channel->size());
        EXPECT_NEAR(20.0 * std::log10(rms), -12.0, 0.01);
    }
    // Independent channels: the correlation of 192000 pairs of unrelated samples stays
    // within a few times 1/sqrt(192000) = 0.0023 of zero; a copied or shared generator
    // would give 1.
    double both = 0.0, left = 0.0, right = 0.0;
    for (std::size_t i = 0; i < wav.left.size(); ++i) {
        both += double(wav.left[i]) * double(wav.right[i]);
        left += double(wav.left[i]) * double(wav.left[i]);
        right += double(wav.right[i]) * double(wav.right[i]);
    }
    EXPECT_LT(std::fabs(both / std::sqrt(left * right)), 0.01);
}

} // namespace
