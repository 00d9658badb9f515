#include "support/AllocationCounter.h"

#include "effects/MFAlignedArray.h"
#include "effects/MFBPMChangeInterface.h"
#include "effects/MFBufferRegistry.h"
#include "effects/MFSystemInfo.h"
#include "engine/MFParameterSink.h"
#include "engine/MFParameterValue.h"
#include "engine/MFStepTableModulator.h"
#include "engine/MFStepTableTargets.h"
#include "engine/MFTransport.h"
#include "pattern/MFTableXY.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

// Counts calls in place: a sink that stored them would allocate itself.
struct CountingSink : MFParameterSink {
    int calls = 0;
    float sum = 0.0f;
    void setParameter(int32_t, float value) override {
        ++calls;
        sum += value;
    }
};

} // namespace

// The tick's clock and all 28 tables, with swing, notes, ramps, recording and pattern
// changes under way, must not touch the heap.
TEST(ClockRealtime, StepComputationAndTableTicksDoNotAllocate) {
    MFBufferRegistry registry;
    std::vector<MFBPMChangeInterface*> listeners;
    MFSystemInfo info(registry, listeners);
    const float rate = 48000.0f;
    const float samplesPerBeat = rate * 0.5f;
    const float ticksPerMs = rate / 64.0f * 0.001f;

    MFAlignedArray ring;
    ring.setSize(static_cast<uint32_t>(rate));
    MFTransport transport;
    transport.setSwingRing(&ring);
    transport.setStepLength(0.1f, samplesPerBeat);
    transport.setSwing(0.7f);
    transport.setRetrigger(1.0f);
    transport.runningFlag = 1.0f;
    transport.refreshTransportGate();

    std::unique_ptr<MFParameterValue[]> values(new MFParameterValue[mfTagCount]);
    CountingSink sink;
    std::vector<std::unique_ptr<MFTableXY>> tables;
    std::vector<std::unique_ptr<MFStepTableModulator>> mods;
    for (const MFStepTableTargets& t : mfStepTableTargets) {
        auto a = std::make_unique<MFTableXY>(info, 32);
        auto b = std::make_unique<MFTableXY>(info, 32);
        a->setRowCount(12);
        b->setRowCount(12);
        for (int32_t row = 0; row < 12; ++row)
            for (int32_t k = 0; k < 32; ++k) {
                a->setRawOnRow(k, row, float((k * 7 + row) % 11) / 10.0f);
                b->setRawOnRow(k, row, float((k * 5 + row) % 13) / 12.0f);
            }
        auto m = std::make_unique<MFStepTableModulator>(*a, *b, t, values.get(), sink);
        m->setList(MFStepTableModulator::tableA, 0.2f);
        m->setList(MFStepTableModulator::tableB, 0.5f);
        m->setSmooth(MFStepTableModulator::tableA, 0.05f);
        m->setTableSwitch(1.0f);
        m->setRecord(1.0f);
        values[t.targetTags[2]].touch = 1.0f;
        m->refreshRecordState();
        tables.push_back(std::move(a));
        tables.push_back(std::move(b));
        mods.push_back(std::move(m));
    }

    std::size_t allocations = 0;
    {
        AllocationCounter counter;
        for (int n = 0; n < 20000; ++n) {
            if (n % 3000 == 0)
                transport.setPositionMode(float((n / 3000) % 2));
            if (n % 700 == 0)
                transport.setNoteHeld(float((n / 700) % 2));
            transport.setPosition(double(n) * 64.0 / double(samplesPerBeat));
            transport.computeStep(2.0f, 29.0f, ticksPerMs);
            if (n % 1500 == 0)
                for (auto& m : mods)
                    m->setRow(float((n / 1500) % 12));
            for (auto& m : mods)
                m->tick(transport.currentStep, ticksPerMs);
        }
        allocations = counter.count();
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_GT(sink.calls, 0) << "the tables did drive their knobs";
    EXPECT_TRUE(sink.sum == sink.sum);
}
