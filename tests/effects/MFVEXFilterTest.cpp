#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/MFVEXFilter.h"
#include "engine/MFRoundingGuard.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

namespace {

// Small signals keep the output soft clip y (1 - |y| / 4) under 1.25 % of gain error,
// so the magnitudes below measure the filter, not the clip.
constexpr float probeLevel = 0.05f;
// Samples left for the cutoff glide, the input-gain ramp and the filter's own decay.
constexpr std::size_t settle = 16384;

double toDb(double ratio) {
    return 20.0 * std::log10(ratio);
}

struct FilterSetup {
    float cutoff = 0.5f;
    float resonance = 0.0f;
    int mode = 4;
    int bank = 0;
};

void configure(MFVEXFilter& f, const FilterSetup& s) {
    f.setParameter(MFVEXFilter::parameterCutoff, s.cutoff);
    f.setParameter(MFVEXFilter::parameterResonance, s.resonance);
    f.setParameter(MFVEXFilter::parameterMode, float(s.mode) * 0.1f);
    f.setParameter(MFVEXFilter::parameterBank, float(s.bank) * 0.5f);
}

// Gain of the fully wet filter for a sine at hz, measured after the settle span.
double gainAt(const FilterSetup& s, double hz, float rate = 48000.0f) {
    TestContext c(rate);
    MFVEXFilter f(179, c.info);
    configure(f, s);
    EffectDriver driver(f, -1);
    driver.setMix(1.0f);
    const std::size_t n = settle + 8192;
    std::vector<float> l = signal::sine(hz, rate, n, probeLevel), r = l;
    driver.run(l, r);
    return signal::toneMagnitude(l.data() + settle, 8192, hz, rate) / probeLevel;
}

// Frequency response across cutoff, resonance, mode and sample rate. The linear modes are
// measured from impulse responses: the impulse is small (1e-3), so the output clip
// y (1 - |y| / 4) bends the response by under 0.1 %.
constexpr float impulseLevel = 1e-3f;
// Silence before the impulse: covers the 24 ms cutoff glide at 192 kHz and the input
// gain's smoothing (time constant 500 samples) many times over.
constexpr double ceilingLow = 0.40;  // below this fraction of the rate the formula holds
constexpr double ceilingHigh = 0.46; // the ceiling stays this far below Nyquist

// The cutoff rule: ((0.13 + c) * 0.87)^3 * 16011 Hz.
double formulaHz(double c) {
    const double x = (0.13 + c) * 0.87;
    return x * x * x * 16011.0;
}

// The rates swept: common rates the context accepts, and always the top of its range.
std::vector<float> sweepRates() {
    std::vector<float> rates;
    for (float r : {22050.0f, 32000.0f, 44100.0f, 48000.0f, 96000.0f, 176400.0f, 192000.0f})
        if (r <= MFSystemInfo::maximumRate)
            rates.push_back(r);
    if (rates.back() != MFSystemInfo::maximumRate)
        rates.push_back(MFSystemInfo::maximumRate);
    return rates;
}

// Left channel's response to a unit impulse (scaled back from impulseLevel).
std::vector<float> impulseResponse(float rate, const FilterSetup& s, std::size_t length) {
    TestContext c(rate);
    EXPECT_EQ(c.info.sampleRate, rate);
    MFVEXFilter f(179, c.info);
    configure(f, s);
    EffectDriver driver(f, -1);
    driver.setMix(1.0f);
    std::vector<float> l(settle + length, 0.0f), r(settle + length, 0.0f);
    l[settle] = r[settle] = impulseLevel;
    {
        MFRoundingGuard truncation;
        driver.run(l, r);
    }
    std::vector<float> h(l.begin() + std::ptrdiff_t(settle), l.end());
    for (float& x : h)
        x /= impulseLevel;
    return h;
}

double gain(const std::vector<float>& h, double hz, float rate) {
    return signal::transformMagnitude(h.data(), h.size(), hz, rate);
}

// Where the gain crosses `level`, by bisection on a log scale from 5 Hz to just below
// Nyquist; `rising` for high-pass shapes.
double crossing(const std::vector<float>& h, float rate, double level, bool rising) {
    double lo = 5.0, hi = 0.4999 * rate;
    for (int i = 0; i < 26; ++i) {
        const double mid = std::sqrt(lo * hi);
        const bool above = gain(h, mid, rate) >= level;
        (above != rising ? lo : hi) = mid;
    }
    return std::sqrt(lo * hi);
}

// Largest gain at any frequency: the spectrum's top bin, refined by a parabola through
// the neighbouring bins in dB (exact to a few thousandths of a dB on these peaks).
double peakGain(const std::vector<float>& h) {
    const std::vector<double> m = signal::magnitudeSpectrum(h.data(), h.size());
    const auto top = std::size_t(std::max_element(m.begin(), m.end()) - m.begin());
    if (top == 0 || top + 1 >= m.size())
        return m[top];
    const double a = std::log(m[top - 1]), b = std::log(m[top]), c = std::log(m[top + 1]);
    const double denominator = a - 2.0 * b + c;
    if (denominator >= 0.0)
        return m[top];
    const double offset = 0.5 * (a - c) / denominator;
    return std::exp(b - 0.25 * (a - c) * offset);
}

} // namespace

TEST(VEXFilter, ParameterMappings) {
    TestContext c;
    MFVEXFilter f(179, c.info);
    // The classic menu sends 0.1, 0.3, 0.5 and 0.6; float products land just under the
    // integer, which the 0.001 offset absorbs.
    for (int m : {1, 3, 5, 6, 0, 9}) {
        f.setParameter(MFVEXFilter::parameterMode, float(m) * 0.1f);
        EXPECT_EQ(f.getMode(), m);
    }
    f.setParameter(MFVEXFilter::parameterMode, 1.0f);
    EXPECT_EQ(f.getMode(), 9);
    f.setParameter(MFVEXFilter::parameterBank, 0.49f);
    EXPECT_EQ(f.getBank(), 0);
    f.setParameter(MFVEXFilter::parameterBank, 0.5f);
    EXPECT_EQ(f.getBank(), 1);
    EXPECT_NEAR(MFVEXFilter::cutoffHz(0.0f), 23.16, 0.05); // 0.1131^3 * 16011
    EXPECT_NEAR(MFVEXFilter::cutoffHz(1.0f), 15213.0, 2.0);
}

// The cutoff glides over 24 ms of ticks: part way after the first tick, there at the end.
TEST(VEXFilter, CutoffGlidesOverTwentyFourMilliseconds) {
    TestContext c(48000.0f);
    MFVEXFilter f(179, c.info);
    f.setMix(1.0f);
    f.controlTick();
    EXPECT_FLOAT_EQ(f.getCutoffCurrent(), 0.5f);
    f.setParameter(MFVEXFilter::parameterCutoff, 1.0f);
    f.controlTick();
    EXPECT_GT(f.getCutoffCurrent(), 0.5f);
    EXPECT_LT(f.getCutoffCurrent(), 0.53f);
    const int ticks = int(24.0f * c.info.ticksPerMs); // 18 ticks at 48 kHz
    for (int i = 1; i < ticks - 1; ++i)
        f.controlTick();
    EXPECT_LT(f.getCutoffCurrent(), 1.0f);
    f.controlTick();
    f.controlTick();
    EXPECT_FLOAT_EQ(f.getCutoffCurrent(), 1.0f);
}

// Low, high and band modes: the passband within 1 dB and 2-pole slopes (12 dB per octave)
// giving at least 30 dB three octaves out. (Where the cutoff sits: the response sweeps.)
TEST(VEXFilter, LowHighBandMagnitudeResponses) {
    for (float cutoff : {0.3f, 0.5f, 0.7f}) {
        const double hz = MFVEXFilter::cutoffHz(cutoff);
        SCOPED_TRACE(hz);
        FilterSetup low{cutoff, 0.0f, 4, 0};
        EXPECT_NEAR(toDb(gainAt(low, hz / 8)), 0.0, 1.0);
        if (hz * 8 < 20000) {
            EXPECT_LT(toDb(gainAt(low, hz * 8)), -30.0);
        }
        FilterSetup high{cutoff, 0.0f, 0, 0};
        if (hz * 4 < 20000) {
            EXPECT_NEAR(toDb(gainAt(high, hz * 4)), 0.0, 1.5);
        }
        EXPECT_LT(toDb(gainAt(high, hz / 8)), -30.0);
        FilterSetup band{cutoff, 0.0f, 2, 0};
        const double centre = gainAt(band, hz);
        EXPECT_GT(toDb(centre) - toDb(gainAt(band, hz / 8)), 12.0);
        if (hz * 8 < 20000) {
            EXPECT_GT(toDb(centre) - toDb(gainAt(band, hz * 8)), 12.0);
        }
    }
    // The series pair (mode 5) falls twice as fast: at least 55 dB three octaves out.
    EXPECT_LT(toDb(gainAt({0.3f, 0.0f, 5, 0}, MFVEXFilter::cutoffHz(0.3f) * 8)), -55.0);
}

// Resonance lifts the lowpass at its cutoff step by step, and by at least 12 dB overall.
TEST(VEXFilter, ResonancePeakGrowsWithResonance) {
    const float cutoff = 0.45f;
    const double hz = MFVEXFilter::cutoffHz(cutoff);
    double previous = 0.0;
    for (float r : {0.0f, 0.3f, 0.6f, 0.9f, 1.0f}) {
        // The low output at the cutoff is x / d: compare without the bank 0 input gain by
        // measuring relative to the passband.
        const FilterSetup s{cutoff, r, 4, 0};
        const double relative = gainAt(s, hz) / gainAt(s, hz / 8);
        EXPECT_GT(relative, previous) << r;
        previous = relative;
    }
    EXPECT_GT(toDb(previous), 12.0);
}

// Mode 7 is a notch: deep at the cutoff, flat two octaves either side.
TEST(VEXFilter, NotchMode) {
    const float cutoff = 0.4f;
    const double hz = MFVEXFilter::cutoffHz(cutoff);
    const FilterSetup s{cutoff, 0.0f, 7, 0};
    EXPECT_LT(toDb(gainAt(s, hz)), -25.0);
    EXPECT_NEAR(toDb(gainAt(s, hz / 4)), 0.0, 1.5);
    EXPECT_NEAR(toDb(gainAt(s, hz * 4)), 0.0, 1.5);
}

// The comb of mode 6 rings at the cutoff's period: with resonance its output has a
// clear peak at the cutoff (the loop's fundamental) over the half-way frequency.
TEST(VEXFilter, CombModeAndSampleHoldModesProduceTheirSound) {
    const float rate = 48000.0f;
    const float cutoff = 0.35f; // ~1.17 kHz: the loop's period fits in the 544-sample line
    const double hz = MFVEXFilter::cutoffHz(cutoff);
    for (int bank : {0, 1}) {
        SCOPED_TRACE(bank);
        // Noise through the resonant comb: its strongest line below 1.6x the cutoff sits on
        // the cutoff within 4 % (a quarter-tone and a little).
        TestContext c(rate);
        MFVEXFilter f(179, c.info);
        configure(f, {cutoff, 1.0f, 6, bank});
        EffectDriver driver(f, -1);
        driver.setMix(1.0f);
        std::vector<float> l = signal::noise(48000, 21), r = l;
        for (float& x : l)
            x *= 0.1f;
        r = l;
        driver.run(l, r);
        const double found =
            signal::dominantFrequency(l.data() + 8000, 32768, rate, hz * 0.6, hz * 1.6, 2.0);
        EXPECT_NEAR(found, hz, hz * 0.04);
        // Sample and hold at 8x the cutoff then a lowpass: a tone well below passes at
        // roughly its level (within 6 dB), the held steps filtered away.
        const FilterSetup hold{0.6f, 0.0f, 9, bank};
        const double g = gainAt(hold, 200.0, rate);
        EXPECT_GT(g, 0.5);
        EXPECT_LT(g, 2.0);
    }
}

// The side-by-side copies of bank 1 stand below the cutoff: the resonant band mode has a
// second formant an octave down, with a valley between, where bank 0 has one peak.
TEST(VEXFilter, BankOneCopiesAddAFormantAnOctaveDown) {
    const float cutoff = 0.5f;
    const double hz = MFVEXFilter::cutoffHz(cutoff);
    const FilterSetup copies{cutoff, 1.0f, 2, 1};
    const double valley = toDb(gainAt(copies, hz * 0.7));
    EXPECT_GT(toDb(gainAt(copies, hz)) - valley, 10.0);
    EXPECT_GT(toDb(gainAt(copies, hz * 0.5)) - valley, 10.0);
    const FilterSetup single{cutoff, 1.0f, 2, 0};
    EXPECT_GT(toDb(gainAt(single, hz)) - toDb(gainAt(single, hz * 0.5)), 15.0);
}

// A mode change keeps the stages' state: returning to a mode continues its ringing.
TEST(VEXFilter, ModeChangeKeepsStageState) {
    TestContext c;
    MFVEXFilter f(179, c.info);
    configure(f, {0.4f, 0.8f, 4, 0});
    EffectDriver driver(f, -1);
    driver.setMix(1.0f);
    std::vector<float> l = signal::noise(4096, 5), r = l;
    driver.run(l, r);
    const float low = f.stage(0, 4, 0).lowL;
    EXPECT_NE(low, 0.0f);
    f.setParameter(MFVEXFilter::parameterMode, 0.2f);
    std::vector<float> z(64, 0.0f), z2 = z;
    driver.run(z, z2);
    EXPECT_EQ(f.stage(0, 4, 0).lowL, low);
}

namespace {
// Drives full-scale white noise at the most resonant setting, then silence for the tail:
// the output and the stage records stay finite and bounded (|state| < 1e4), and clear of
// the denormal range.
void runNoise(float rate, int bank, int mode, float cutoff, double seconds, double tail = 0.0) {
    TestContext c(rate);
    MFVEXFilter f(179, c.info);
    configure(f, {cutoff, 1.0f, mode, bank});
    EffectDriver driver(f, -1);
    driver.setMix(1.0f);
    driver.setRunPattern({1, 64, 13, 37});
    const std::size_t block = 65536;
    std::vector<float> l(block), r(block);
    std::size_t remaining = std::size_t(seconds * rate);
    unsigned seed = 11;
    while (remaining > 0) {
        const std::size_t n = std::min(block, remaining);
        l = signal::noise(n, seed++);
        r = signal::noise(n, seed++);
        driver.run(l, r);
        ASSERT_TRUE(signal::allFinite(l.data(), n)) << rate << " " << bank << " " << mode;
        ASSERT_LE(signal::peak(l.data(), n), 1.0f);
        remaining -= n;
    }
    std::vector<float> tl(std::size_t(tail * rate), 0.0f), tr = tl;
    driver.run(tl, tr);
    EXPECT_EQ(signal::denormalCount(tl.data(), tl.size()), 0u) << bank << " " << mode;
    for (int s = 0; s < MFVEXFilter::stagesPerMode; ++s) {
        const auto& st = f.stage(bank, mode, s);
        for (float v : {st.bandL, st.lowL, st.highL, st.bandR, st.lowR, st.highR}) {
            ASSERT_TRUE(std::isfinite(v));
            ASSERT_LT(std::fabs(v), 1e4f) << rate << " " << bank << " " << mode;
            ASSERT_NE(std::fpclassify(v), FP_SUBNORMAL) << bank << " " << mode;
        }
    }
}
} // namespace

// Every mode of both banks at the edges of the cutoff range and of the rate range; and in
// each, a long silent tail after loud noise.
TEST(VEXFilter, AllModesStableAtMaximumResonanceAndQuietAfter) {
    for (int bank : {0, 1})
        for (int mode = 0; mode < MFVEXFilter::modeCount; ++mode)
            runNoise(44100.0f, bank, mode, 0.2f, 0.2, 2.0);
    for (float rate : {11050.0f, 44100.0f, 48000.0f, 96000.0f, 176000.0f})
        for (int bank : {0, 1})
            for (int mode = 0; mode < 10; ++mode)
                for (float cutoff : {0.0f, 1.0f})
                    runNoise(rate, bank, mode, cutoff, 0.1);
}

// A full minute at each rate for the sharpest case (the series pair at the top of the
// range), and a tenth of it for the bank-1 copies. Shortened under AddressSanitizer,
// which runs it some ten times slower.
TEST(VEXFilter, SixtySecondsOfNoiseAtMaximumResonance) {
#if defined(__SANITIZE_ADDRESS__)
    const double seconds = 6.0;
#else
    const double seconds = 60.0;
#endif
    for (float rate : {44100.0f, 48000.0f, 96000.0f, 176000.0f}) {
        runNoise(rate, 0, 3, 1.0f, seconds);
        runNoise(rate, 1, 5, 1.0f, seconds / 10);
    }
}

// Tempo changes leave the filter alone; rate changes renew the comb within its line.
TEST(VEXFilter, TempoAndRateChangesKeepReadsInside) {
    TestContext c(44100.0f);
    MFVEXFilter f(179, c.info);
    configure(f, {0.0f, 1.0f, 6, 1});
    EffectDriver driver(f, -1);
    driver.setMix(1.0f);
    std::vector<float> l = signal::noise(8192, 9), r = l;
    for (double bpm : {45.0, 499.0, 120.0}) {
        c.changeTempo(bpm);
        driver.run(l, r);
    }
    for (float rate : {22050.0f, 176000.0f, 11050.0f, 96000.0f}) {
        ASSERT_TRUE(c.info.setSampleRate(rate));
        f.updateBuffers(false);
        l = signal::noise(8192, 10);
        r = l;
        driver.run(l, r);
        EXPECT_TRUE(signal::allFinite(l.data(), l.size())) << rate;
    }
}

// At resonance 0 the single stages are -3 dB and the series pairs -6 dB at the cutoff of
// the formula, within 1 % (a sixth of a semitone), at every rate, as long as the formula
// stays under 40 % of the rate. Above that the cutoff stops at a ceiling between 40 and 46 %
// of the rate, and it never runs backwards as the knob rises. The notch sits on the cutoff.
TEST(VEXFilterResponse, CutoffFollowsTheFormulaUpToACeilingBelowNyquist) {
    struct Probe {
        int mode;
        double level;
        bool rising;
    };
    const Probe probes[] = {{4, std::sqrt(0.5), false}, // low
                            {0, std::sqrt(0.5), true},  // high
                            {5, 0.5, false},            // two lows in series
                            {1, 0.5, true}};            // two highs in series
    for (float rate : sweepRates()) {
        double previous[4] = {};
        for (int step = 0; step <= 10; ++step) {
            const float c = float(step) * 0.1f;
            const double expected = formulaHz(c);
            SCOPED_TRACE(testing::Message() << rate << " Hz, cutoff " << c);
            for (int p = 0; p < 4; ++p) {
                const auto h = impulseResponse(rate, {c, 0.0f, probes[p].mode, 0}, 32768);
                const double found = crossing(h, rate, probes[p].level, probes[p].rising);
                if (expected <= ceilingLow * rate) {
                    EXPECT_NEAR(found, expected, expected * 0.01) << "mode " << probes[p].mode;
                } else {
                    EXPECT_GE(found, ceilingLow * rate * 0.99) << "mode " << probes[p].mode;
                    EXPECT_LE(found, ceilingHigh * rate) << "mode " << probes[p].mode;
                }
                EXPECT_GE(found, previous[p] * 0.999) << "mode " << probes[p].mode;
                previous[p] = found;
            }
            if (expected <= ceilingLow * rate) {
                const auto notch = impulseResponse(rate, {c, 0.0f, 7, 0}, 32768);
                EXPECT_LT(toDb(gain(notch, expected, rate)), -40.0);
            }
        }
    }
}

// The peak of every linear mode at every rate and cutoff stays within 0.1 dB of what its
// resonance gives where the band's top is far away (1.4 kHz at 96 kHz). Bank 1 sums two
// copies (four in mode 7) at 0.7 each, with no input gain; its copies may line up
// differently near the top, so its bound is the sum of what each copy asks for:
// 0.7 x the copies' peaks, each a bank 0 peak over bank 0's input gain (the low-pass's
// DC gain). At resonance 0 that is the bank's own passband, 1.4.
TEST(VEXFilterResponse, ResponseNeverRisesAboveWhatTheResonanceAsksFor) {
    const int modes[] = {0, 1, 2, 3, 4, 5, 7};
    const float resonances[] = {0.0f, 0.5f, 1.0f};
    const double tolerance = std::pow(10.0, 0.1 / 20.0);
    std::vector<float> rates;
    for (float r : {22050.0f, 44100.0f, 96000.0f, MFSystemInfo::maximumRate})
        rates.push_back(r);
    for (float resonance : resonances) {
        double reference[10] = {};
        for (int mode : modes)
            reference[mode] =
                peakGain(impulseResponse(96000.0f, {0.45f, resonance, mode, 0}, 16384));
        const auto low = impulseResponse(96000.0f, {0.45f, resonance, 4, 0}, 16384);
        double inputGain = 0.0;
        for (float x : low)
            inputGain += x;
        for (int bank : {0, 1})
            for (int mode : modes) {
                double bound = reference[mode];
                if (bank == 1)
                    bound = mode == 7 ? 0.7 * 2.0 * (reference[0] + reference[2]) / inputGain
                                      : 0.7 * 2.0 * reference[mode] / inputGain;
                for (float rate : rates)
                    for (float c : {0.3f, 0.6f, 0.8f, 0.9f, 1.0f}) {
                        const double peak =
                            peakGain(impulseResponse(rate, {c, resonance, mode, bank}, 16384));
                        EXPECT_LE(peak, bound * tolerance)
                            << "bank " << bank << " mode " << mode << " resonance " << resonance
                            << " at " << rate << " Hz, cutoff " << c << ": " << toDb(peak)
                            << " dB over " << toDb(bound);
                    }
            }
    }
}

// At resonance 0 no mode, linear or not (the comb of mode 6, the sample and hold of 8 and
// 9), gives a tone above 16 kHz more level than the bank passes: 1 in bank 0, 1.4 in
// bank 1 (two copies at 0.7), and a sample and hold no more than its input's peak. Measured as
// output over input RMS of a sine, after the glide; the 1 % allows for the window's partial period.
TEST(VEXFilterResponse, NoModeLiftsTheBandAboveSixteenKilohertz) {
    for (float rate : sweepRates()) {
        if (rate < 40000.0f)
            continue; // no band above 16 kHz
        std::vector<double> tones;
        const double top = 0.47 * rate;
        for (int k = 0; k < 5; ++k)
            tones.push_back(16000.0 * std::pow(top / 16000.0, k / 4.0));
        for (int bank : {0, 1})
            for (int mode = 0; mode < MFVEXFilter::modeCount; ++mode)
                for (float c : {0.0f, 0.5f, 0.7f, 0.8f, 0.9f, 1.0f})
                    for (double hz : tones) {
                        TestContext context(rate);
                        MFVEXFilter f(179, context.info);
                        configure(f, {c, 0.0f, mode, bank});
                        EffectDriver driver(f, -1);
                        driver.setMix(1.0f);
                        const auto start = std::size_t(0.03 * rate);
                        const std::size_t window = 4096;
                        std::vector<float> l = signal::sine(hz, rate, start + window, 0.25f);
                        std::vector<float> r = l;
                        const double in = signal::rms(l.data() + start, window);
                        {
                            MFRoundingGuard truncation;
                            driver.run(l, r);
                        }
                        const double out = signal::rms(l.data() + start, window);
                        // A held sample of a sine is never above its peak, sqrt(2) times its
                        // RMS: at a slow hold rate the held steps may land near the crests.
                        const double hold = (mode == 8 || mode == 9) ? std::sqrt(2.0) : 1.0;
                        EXPECT_LE(out / in, (bank == 0 ? 1.0 : 1.4) * hold * 1.01)
                            << rate << " Hz, bank " << bank << " mode " << mode << " cutoff " << c
                            << " tone " << hz;
                    }
    }
}
