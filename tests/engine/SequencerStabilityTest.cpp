// The whole plug-in left running at the edges of its ranges: every lane open, every knob
// at 0 and then at 1, the slowest and fastest tempi, the lowest and a very high sample
// rate, and then random automation of every host parameter and of internal tags at
// every block. Whatever the settings, what leaves the plug-in is finite, free of
// denormals and of bounded level.

#include "engine/EngineRig.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

constexpr int blockSize = 512;
// Input peak 0.5. With the master level at its top (x2) and resonant, fed-back stages at
// their extremes the output may rise well above the input, but a runaway loop grows
// without limit; 64 (+36 dBFS) is far above any musical setting and far below a runaway.
constexpr float levelBound = 64.0f;

struct Result {
    bool finite = true;
    std::size_t denormals = 0;
    float peak = 0.0f;
};

class Stress : public EngineRig {
public:
    Stress(float rate, double tempo) : EngineRig(rate) {
        host.setPlaying(0.0, tempo);
        openEveryLane(*client, MFEffectLane::patternCount);
        const std::vector<float> n = signal::noise(blockSize * 16, 7);
        const std::vector<float> s = signal::sine(110.0, rate, blockSize * 16, 0.25f);
        for (std::size_t i = 0; i < n.size(); ++i) {
            sourceLeft.push_back(0.25f * n[i] + s[i]);
            sourceRight.push_back(s[i] - 0.25f * n[i]);
        }
    }

    // Runs `seconds` of audio; the last quarter is silence, where tails decay towards the
    // denormal range. `perBlock` is called before each block.
    template <class Each> void run(double seconds, Result& r, Each&& perBlock) {
        const int blocks = int(seconds * double(rate)) / blockSize;
        std::vector<float> inL(blockSize), inR(blockSize), outL(blockSize), outR(blockSize);
        for (int b = 0; b < blocks; ++b) {
            perBlock(b);
            const bool silent = b >= blocks * 3 / 4;
            const std::size_t at = std::size_t(b % 16) * blockSize;
            for (int i = 0; i < blockSize; ++i) {
                inL[std::size_t(i)] = silent ? 0.0f : sourceLeft[at + std::size_t(i)];
                inR[std::size_t(i)] = silent ? 0.0f : sourceRight[at + std::size_t(i)];
            }
            block(inL.data(), inR.data(), outL.data(), outR.data(), blockSize);
            for (const std::vector<float>* o : {&outL, &outR}) {
                r.finite = r.finite && signal::allFinite(o->data(), o->size());
                r.denormals += signal::denormalCount(o->data(), o->size());
                const float p = signal::peak(o->data(), o->size());
                r.peak = p > r.peak ? p : r.peak;
            }
        }
    }

    std::vector<float> sourceLeft, sourceRight;
};

struct Setting {
    float rate;
    double tempo;
};

// 45 and 499 bpm are the tempo range's ends; 22050 Hz and 176 kHz stretch every
// rate-derived coefficient and buffer length.
const Setting settings[] = {
    {22050.0f, 45.0}, {22050.0f, 499.0}, {176000.0f, 45.0}, {176000.0f, 499.0}};

std::string describe(const Setting& s, const char* what) {
    return std::string(what) + " at " + std::to_string(int(s.rate)) + " Hz, " +
           std::to_string(int(s.tempo)) + " bpm";
}

void expectSane(const Result& r, const std::string& what) {
    EXPECT_TRUE(r.finite) << what;
    EXPECT_EQ(r.denormals, 0u) << what;
    EXPECT_LT(r.peak, levelBound) << what;
}

} // namespace

TEST(SequencerStability, EveryKnobAtZeroThenAtOneStaysFiniteAndBounded) {
    for (const Setting& s : settings) {
        for (const float knob : {0.0f, 1.0f}) {
            Stress stress(s.rate, s.tempo);
            for (int32_t tag = 0; tag < MFUniClient::hostParameterCount; ++tag)
                stress.client->setParameter(tag, knob);
            // Every lane on regardless of what the switches were just given, and the
            // master level at unity, so that the checks see what the effects make.
            for (int32_t lane = 0; lane < mflane::count; ++lane)
                stress.client->setParameter(mflane::tags[lane].bypass, 1.0f);
            stress.client->setParameter(1, 0.5f);
            Result r;
            stress.run(s.rate > 100000.0f ? 2.0 : 5.0, r, [](int) {});
            const std::string what = describe(s, knob == 0.0f ? "knobs at 0" : "knobs at 1");
            expectSane(r, what);
            EXPECT_GT(r.peak, 0.01f) << what << ": the output must carry signal";
        }
    }
}

TEST(SequencerStability, RandomAutomationOfEveryParameterAtEveryBlock) {
    std::mt19937 random(2024);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::uniform_int_distribution<int32_t> internalTag(MFUniClient::hostParameterCount,
                                                       mfTagCount - 1);
    // Extremes are where the faults hide: a third of the values sit at an end of the range.
    auto value = [&] {
        const float u = unit(random);
        return u < 0.15f ? 0.0f : u > 0.85f ? 1.0f : unit(random);
    };
    for (const Setting& s : settings) {
        Stress stress(s.rate, s.tempo);
        Result r;
        stress.run(s.rate > 100000.0f ? 4.0 : 10.0, r, [&](int) {
            for (int32_t tag = 0; tag < MFUniClient::hostParameterCount; ++tag)
                stress.client->setParameter(tag, value());
            for (int k = 0; k < 4; ++k)
                stress.client->setParameter(internalTag(random), value());
        });
        expectSane(r, describe(s, "random automation"));
    }
}
