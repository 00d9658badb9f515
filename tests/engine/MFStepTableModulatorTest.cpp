// Step tables driving knobs: destinations, smoothing ramps, the merge of tables A and B,
// and recording a held knob into the displayed table.

#include "engine/MFStepTableModulator.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFBufferRegistry.h"
#include "effects/MFSystemInfo.h"
#include "engine/MFParameterSink.h"
#include "engine/MFParameterValue.h"
#include "engine/MFStepTableTargets.h"
#include "pattern/MFTableXY.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

namespace {

struct RecordingSink : MFParameterSink {
    std::vector<std::pair<int32_t, float>> calls;
    void setParameter(int32_t tag, float value) override { calls.emplace_back(tag, value); }
};

constexpr int reverb = 0;
constexpr int xloop = 13;
constexpr int32_t reverbMix = 72;
constexpr int32_t reverbRoom = 67;
constexpr int32_t reverbDamp = 68;
// "List" raw values choosing a row with the factor 6 of the reverb: truncate(6v).
constexpr float listNone = 0.0f;
constexpr float listRoom = 2.5f / 6.0f;
constexpr float listDamp = 3.5f / 6.0f;
constexpr float ticksPerMs44k = 44100.0f / 64.0f * 0.001f;

struct Rig {
    MFBufferRegistry registry;
    std::vector<MFBPMChangeInterface*> listeners;
    MFSystemInfo info{registry, listeners};
    MFTableXY a{info, 32};
    MFTableXY b{info, 32};
    std::unique_ptr<MFParameterValue[]> values{new MFParameterValue[mfTagCount]};
    RecordingSink sink;
    std::unique_ptr<MFStepTableModulator> mod;

    explicit Rig(int effect = reverb) {
        a.setRowCount(12);
        b.setRowCount(12);
        mod = std::make_unique<MFStepTableModulator>(a, b, mfStepTableTargets[size_t(effect)],
                                                     values.get(), sink);
    }
    // Writes a whole pass of one row: values[k] at step k, the rest as the last.
    static void fill(MFTableXY& t, int32_t row, std::vector<float> v) {
        for (int32_t k = 0; k < 32; ++k)
            t.setRawOnRow(k, row, v[size_t(std::min<int32_t>(k, int32_t(v.size()) - 1))]);
    }
    void tick(float step) { mod->tick(step, ticksPerMs44k); }
    std::vector<std::pair<int32_t, float>> take() { return std::exchange(sink.calls, {}); }
};

using Calls = std::vector<std::pair<int32_t, float>>;

TEST(StepTableModulator, ListChoosesTheKnobAndZeroMovesNothing) {
    Rig r;
    Rig::fill(r.a, 0, {0.1f, 0.9f, 0.3f, 0.7f});
    Rig::fill(r.b, 0, {0.6f, 0.2f});
    r.mod->setList(MFStepTableModulator::tableA, listNone);
    r.mod->setList(MFStepTableModulator::tableB, listNone);
    for (int s = 0; s < 4; ++s)
        r.tick(float(s));
    EXPECT_TRUE(r.take().empty()) << "\"List\" 0 feeds the sink slot only";
    EXPECT_EQ(r.mod->table(0).slots[0], 0.7f);

    // The present value goes to a newly chosen knob at once, without waiting for a step.
    r.mod->setList(MFStepTableModulator::tableA, listRoom);
    EXPECT_EQ(r.take(), (Calls{{reverbRoom, 0.7f}}));
    r.mod->setList(MFStepTableModulator::tableA, listDamp);
    EXPECT_EQ(r.take(), (Calls{{reverbDamp, 0.7f}}));

    // Raw values map by truncate(min(6v, 5)); out-of-range ones stay on real rows.
    struct Case {
        float v;
        int32_t destination;
    };
    for (const Case c : {Case{1.5f / 6.0f, 1}, Case{0.999f, 5}, Case{1.0f, 5}, Case{4.0f, 5},
                         Case{-1.0f, 0}, Case{std::nanf(""), 0}}) {
        r.mod->setList(MFStepTableModulator::tableB, c.v);
        EXPECT_EQ(r.mod->table(1).destination, c.destination) << c.v;
    }

    // X-Loop's factor 7 leaves a row 6 without a knob: nothing moves, nothing breaks.
    Rig x(xloop);
    Rig::fill(x.a, 0, {0.25f, 0.75f});
    x.mod->setList(MFStepTableModulator::tableA, 1.0f);
    EXPECT_EQ(x.mod->table(0).destination, 6);
    x.tick(0.0f);
    x.tick(1.0f);
    EXPECT_TRUE(x.take().empty());
}

TEST(StepTableModulator, UnsmoothedJumpIsOneCallOnTheStepsTick) {
    Rig r;
    Rig::fill(r.a, 0, {0.2f, 0.2f, 0.8f, 0.8f, 0.8f});
    r.mod->setSmooth(MFStepTableModulator::tableA, 0.0f);
    r.mod->setList(MFStepTableModulator::tableA, listRoom);
    EXPECT_TRUE(r.take().empty()) << "a first merge at 0 sends nothing";

    r.tick(0.0f);
    EXPECT_EQ(r.take(), (Calls{{reverbRoom, 0.2f}}));
    // Ticks inside a step and a next step of the same value: no calls.
    r.tick(0.0f);
    r.tick(0.5f);
    r.tick(1.0f);
    EXPECT_TRUE(r.take().empty());
    r.tick(2.0f);
    EXPECT_EQ(r.take(), (Calls{{reverbRoom, 0.8f}}));
    r.tick(2.9f);
    r.tick(3.0f);
    r.tick(4.0f);
    EXPECT_TRUE(r.take().empty());
}

TEST(StepTableModulator, RampLandsExactlyOnItsTargetAfterItsLength) {
    Rig r;
    Rig::fill(r.a, 0, {0.0f, 1.0f});
    r.mod->setSmooth(MFStepTableModulator::tableA, 0.1f); // 100 ms
    r.mod->setList(MFStepTableModulator::tableA, listRoom);
    r.tick(0.0f);
    EXPECT_TRUE(r.take().empty());

    // 100 ms at 44100 Hz is 68.90625 ticks: the value is short of 1 after 68 ticks and
    // exactly 1 at the 69th, and every tick moves it by one equal slope.
    const double ramp = 100.0 * 44100.0 / 64.0 * 0.001;
    const int last = static_cast<int>(std::ceil(ramp));
    std::vector<float> sent;
    for (int n = 1; n <= last + 5; ++n) {
        r.tick(1.0f);
        for (const auto& [tag, v] : r.take()) {
            EXPECT_EQ(tag, reverbRoom);
            sent.push_back(v);
        }
        ASSERT_EQ(sent.size(), size_t(std::min(n, last))) << "one call per ramp tick, then none";
    }
    EXPECT_EQ(sent.back(), 1.0f);
    EXPECT_LT(sent[size_t(last - 2)], 1.0f);
    // 68 float subtractions of the slope: each rounds by at most half an ulp of 1,
    // so the accumulated error stays below 68 * 6e-8 < 1e-5.
    for (int k = 1; k < last; ++k)
        EXPECT_NEAR(sent[size_t(k - 1)], double(k) / ramp, 1e-5) << k;
}

TEST(StepTableModulator, BothTablesOnOneKnobTheLastChangeWins) {
    Rig r;
    Rig::fill(r.a, 0, {0.1f, 0.3f, 0.3f, 0.3f, 0.9f});
    Rig::fill(r.b, 0, {0.1f, 0.1f, 0.6f, 0.6f, 0.9f});
    r.mod->setList(MFStepTableModulator::tableA, listRoom);
    r.mod->setList(MFStepTableModulator::tableB, listRoom);
    r.tick(0.0f); // both at 0.1: one call
    EXPECT_EQ(r.take(), (Calls{{reverbRoom, 0.1f}}));
    r.tick(1.0f); // A moves
    EXPECT_EQ(r.take(), (Calls{{reverbRoom, 0.3f}}));
    r.tick(2.0f); // B moves, A stands
    EXPECT_EQ(r.take(), (Calls{{reverbRoom, 0.6f}}));
    r.tick(3.0f); // neither moves: B's value stays
    EXPECT_TRUE(r.take().empty());
    r.tick(4.0f); // both move to one value: B is merged last, and the knob is already there
    EXPECT_EQ(r.take(), (Calls{{reverbRoom, 0.9f}}));
}

TEST(StepTableModulator, RecordingWritesTheHeldKnobIntoTheDisplayedTableOncePerStep) {
    Rig r;
    Rig::fill(r.a, 3, {0.25f});
    Rig::fill(r.b, 3, {0.5f});
    Rig::fill(r.b, 0, {0.125f});
    r.mod->setRow(3.0f);
    r.mod->setList(MFStepTableModulator::tableA, 1.5f / 6.0f); // ReverbMix
    r.mod->setList(MFStepTableModulator::tableB, listRoom);
    r.tick(0.0f);
    EXPECT_EQ(r.take(), (Calls{{reverbMix, 0.25f}, {reverbRoom, 0.5f}}));

    // Table B on display, "rec" on, the knob held.
    r.mod->setTableSwitch(0.5f);
    r.mod->setRecord(0.5f);
    EXPECT_EQ(r.mod->getIsTableA(), 0.0f);
    EXPECT_LT(r.mod->table(1).recordLevel, MFStepTableModulator::recordingLevel)
        << "armed but the knob is not held";
    r.values[reverbRoom].raw = 0.7f;
    r.values[reverbRoom].touch = 1.0f;
    r.mod->refreshRecordState();
    EXPECT_EQ(r.mod->table(1).recordLevel, 3.0f);
    EXPECT_EQ(r.mod->table(0).recordLevel, 1.0f) << "A is not displayed";

    r.tick(5.0f);
    r.values[reverbRoom].raw = 0.9f; // moved within the step: not written again
    r.tick(5.25f);
    r.tick(5.5f);
    r.tick(6.0f);
    EXPECT_EQ(r.b.rawAt(5, 3), 0.7f);
    EXPECT_EQ(r.b.rawAt(6, 3), 0.9f);
    EXPECT_EQ(r.b.rawAt(7, 3), 0.5f);
    EXPECT_EQ(r.b.rawAt(5, 0), 0.125f) << "only the displayed pattern's row";
    EXPECT_EQ(r.a.rawAt(5, 3), 0.25f) << "table A keeps its values";
    // While recording, B drives nothing, and the user's own moves stay the knob's.
    EXPECT_TRUE(r.take().empty());

    // Let go and disarm: B drives again, with what it recorded.
    r.values[reverbRoom].touch = 0.0f;
    r.mod->refreshRecordState();
    r.mod->setRecord(0.0f);
    r.tick(5.0f);
    EXPECT_EQ(r.take(), (Calls{{reverbRoom, 0.7f}}));
    r.tick(6.0f);
    EXPECT_EQ(r.take(), (Calls{{reverbRoom, 0.9f}}));

    // Table A on display: the same hold records into A, not B.
    r.mod->setTableSwitch(0.0f);
    r.mod->setRecord(1.0f);
    r.values[reverbMix].raw = 0.375f;
    r.values[reverbMix].touch = 1.0f;
    r.mod->refreshRecordState();
    r.tick(9.0f);
    EXPECT_EQ(r.a.rawAt(9, 3), 0.375f);
    EXPECT_EQ(r.b.rawAt(9, 3), 0.5f);
}

TEST(StepTableModulator, DamagedTableValuesNeverReachAKnob) {
    Rig r;
    r.mod->setList(MFStepTableModulator::tableA, listRoom);
    r.a.setRawOnRow(1, 0, std::nanf(""));
    r.a.setRawOnRow(2, 0, -INFINITY);
    for (float s : {0.0f, 1.0f, 2.0f, -5.0f, 1e30f, std::nanf("")})
        r.tick(s);
    for (const auto& [tag, v] : r.take())
        EXPECT_TRUE(std::isfinite(v)) << tag;
}

} // namespace
