#pragma once

#include "effects/MFEffect.h"
#include "support/AllocationCounter.h"
#include "support/EffectHarness.h"

#include <cmath>
#include <cstddef>
#include <vector>

// Runs an effect through zones, ragged runs and knob moves inside an allocation
// counter; the buffers and the driver's state are prepared before counting starts.
template <typename Knobs>
std::size_t allocationsWhileDriving(MFEffect& fx, int32_t gateIndex, Knobs knobs) {
    EffectDriver d(fx, gateIndex);
    d.setRunPattern({64, 1, 17, 46});
    std::vector<float> l(4096), r(4096);
    for (std::size_t i = 0; i < l.size(); ++i)
        l[i] = r[i] = 0.5f * std::sin(0.03f * float(i));
    d.onTick([&](int64_t t) {
        if (t % 50 == 0)
            d.setGate(float(t / 50 % 3));
        knobs(fx, t);
    });
    d.run(l, r); // warm-up outside the counter
    AllocationCounter counter;
    for (int k = 0; k < 60; ++k) {
        d.run(l, r);
        fx.gateOn();
        fx.gateOff();
        fx.setMix(float(k % 2));
    }
    return counter.count();
}
