#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/MFVEXFilter.h"
#include "engine/MFRoundingGuard.h"
#include "support/EffectHarness.h"
#include "support/SignalMeasure.h"

// Frequency response of the Filter across cutoff, resonance, mode and sample rate.
// The linear modes are measured from impulse responses: the impulse is small (1e-3), so
// the output clip y (1 - |y| / 4) bends the response by under 0.1 %.

namespace {

constexpr float impulseLevel = 1e-3f;
// Silence before the impulse: covers the 24 ms cutoff glide at 192 kHz and the input
// gain's smoothing (time constant 500 samples) many times over.
constexpr std::size_t settle = 16384;
constexpr double ceilingLow = 0.40;  // below this fraction of the rate the formula holds
constexpr double ceilingHigh = 0.46; // the ceiling stays this far below Nyquist

struct Setup {
    float rate;
    int bank;
    int mode;
    float cutoff;
    float resonance;
};

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

void configure(MFVEXFilter& f, const Setup& s) {
    f.setParameter(MFVEXFilter::parameterCutoff, s.cutoff);
    f.setParameter(MFVEXFilter::parameterResonance, s.resonance);
    f.setParameter(MFVEXFilter::parameterMode, float(s.mode) * 0.1f);
    f.setParameter(MFVEXFilter::parameterBank, float(s.bank) * 0.5f);
}

// Left channel's response to a unit impulse (scaled back from impulseLevel).
std::vector<float> impulseResponse(const Setup& s, std::size_t length) {
    TestContext c(s.rate);
    EXPECT_EQ(c.info.sampleRate, s.rate);
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

double toDb(double ratio) {
    return 20.0 * std::log10(ratio);
}

} // namespace

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
                const auto h = impulseResponse({rate, 0, probes[p].mode, c, 0.0f}, 32768);
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
                const auto notch = impulseResponse({rate, 0, 7, c, 0.0f}, 32768);
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
                peakGain(impulseResponse({96000.0f, 0, mode, 0.45f, resonance}, 16384));
        const auto low = impulseResponse({96000.0f, 0, 4, 0.45f, resonance}, 16384);
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
                            peakGain(impulseResponse({rate, bank, mode, c, resonance}, 16384));
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
                        configure(f, {rate, bank, mode, c, 0.0f});
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
