#pragma once

// The plug-in object on a fake host, driven as a host drives it: blocks of any slicing,
// MIDI handed over before a block, hooks around every tick with the tick's absolute sample.

#include "engine/MFUniClient.h"
#include "engine/MidiTestEvents.h"
#include "pattern/MFZone.h"
#include "support/FakeHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

class HookedClient : public MFUniClient {
public:
    explicit HookedClient(vst::HostCallback host) : MFUniClient(host) {}
    void runTick(int32_t i) override {
        if (beforeTick)
            beforeTick(blockStart + i);
        MFUniClient::runTick(i);
        if (afterTick)
            afterTick(blockStart + i);
    }
    std::function<void(int64_t)> beforeTick, afterTick;
    int64_t blockStart = 0;
};

// Paints one zone through the lane's own interface, as the zone view does.
inline void paintZone(MFZoneHandlerContainer<MFFloatZoneHandler>& lane, int32_t pattern,
                      int32_t first, int32_t last) {
    MFFloatZoneHandler* handler = lane.handler(pattern);
    ASSERT_NE(handler, nullptr);
    MFZone* zone = handler->createZone(0);
    zone->start = first;
    zone->end = last;
    ASSERT_TRUE(handler->addZone(zone));
}

// One zone over the whole pattern on every lane, for the first `patterns` patterns.
inline void openEveryLane(MFUniClient& c, int32_t patterns = 1) {
    for (int32_t lane = 0; lane < mflane::count; ++lane)
        for (int32_t p = 0; p < patterns; ++p) {
            c.getLane(lane).zones.handler(p)->clearZones(false);
            paintZone(c.getLane(lane).zones, p, 0, 31);
        }
}

class EngineRig {
public:
    // Unity master gain, resumed, on a host playing from 0 at 120 bpm.
    explicit EngineRig(float rate = 44100.0f) : rate(rate) {
        client = new HookedClient(FakeHost::callback());
        host.attach(client);
        client->setSampleRate(rate);
        client->setParameter(1, 0.5f); // "masterlevel": the gain is twice the raw value
        client->resume();
    }
    // Sixteenth steps ("Tempo") placed by the host's song position.
    void sixteenths() {
        client->setParameter(499, 0.15f);
        client->setParameter(501, 0.0f);
    }
    // lane -1 is the loop range.
    void paint(int32_t lane, int32_t first, int32_t last, int32_t pattern = 0) {
        paintZone(lane < 0 ? client->getMasterLane() : client->getLane(lane).zones, pattern, first,
                  last);
    }
    void send(MidiTestEvents& list) { pending = &list; }

    // One host block; the host's clock moves on by it.
    void block(const float* l, const float* r, float* ol, float* orr, int n) {
        if (pending) {
            client->processEvents(const_cast<vst::VstEvents*>(pending->list()));
            pending = nullptr;
        }
        float* in[2] = {const_cast<float*>(l), const_cast<float*>(r)};
        float* out[2] = {ol, orr};
        client->processReplacing(in, out, n);
        client->blockStart += n;
        host.advance(n, rate);
    }
    // Runs the input in blocks of the given sizes (cycled) and appends the output.
    void run(const std::vector<float>& l, const std::vector<float>& r,
             const std::vector<int>& sizes = {256}) {
        const std::size_t first = outLeft.size();
        outLeft.resize(first + l.size());
        outRight.resize(first + l.size());
        for (std::size_t done = 0, k = 0; done < l.size();) {
            const int n =
                int(std::min<std::size_t>(std::size_t(sizes[k++ % sizes.size()]), l.size() - done));
            block(&l[done], &r[done], &outLeft[first + done], &outRight[first + done], n);
            done += std::size_t(n);
        }
    }
    void run(int64_t frames, const std::function<float(int64_t)>& input = {},
             const std::vector<int>& sizes = {256}) {
        std::vector<float> in(std::size_t(frames), 0.25f);
        if (input)
            for (int64_t k = 0; k < frames; ++k)
                in[std::size_t(k)] = input(client->blockStart + k);
        run(in, in, sizes);
    }

    float rate;
    FakeHost host;
    HookedClient* client;
    MidiTestEvents* pending = nullptr;
    std::vector<float> outLeft, outRight;
};
