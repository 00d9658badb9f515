// Value words of a host chunk that are no numbers or far out of range: a damaged chunk
// once set parameters to NaN, which the effects carried into their read positions and
// crashed on, and huge values overflowed their integer arithmetic.
#include "engine/EngineRig.h"
#include "support/SignalMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace {

constexpr int32_t bodyStart = 9; // five header words, four version words

struct PlainValue {
    int32_t tag;
    std::size_t word; // index of the value word in the chunk
    float defaultValue;
};

// The plain value records of a whole-state chunk, walked alongside the registry's list
// (the writer's order).
std::vector<PlainValue> plainValues(MFUniClient& plugin, const std::vector<uint32_t>& words) {
    std::vector<PlainValue> found;
    std::size_t p = bodyStart;
    for (MFParameterRecord* r : plugin.getRegistry().recordsByCategory[0]) {
        EXPECT_EQ(int32_t(words[p]), r->id) << "the walk lost the record list";
        const std::size_t size = words[p + 1];
        if (!r->chunkable) {
            EXPECT_EQ(size, 1u);
            found.push_back({r->index, p + 2, r->defaultValue});
        }
        p += 2 + size;
    }
    EXPECT_EQ(int32_t(words[p]), -1) << "the record list ends where the registry's does";
    return found;
}

uint32_t asWord(float f) {
    uint32_t w;
    std::memcpy(&w, &f, 4);
    return w;
}

} // namespace

TEST(StateChunkValues, NoNumbersCountAsMissingOutOfRangeIsClampedAndTheRestLoads) {
    EngineRig rig;
    MFUniClient* plugin = rig.client;

    void* data = nullptr;
    const int32_t bytes = plugin->getChunk(&data, false);
    ASSERT_GT(bytes, bodyStart * 4);
    std::vector<uint32_t> words(std::size_t(bytes) / 4);
    std::memcpy(words.data(), data, words.size() * 4);

    const std::vector<PlainValue> values = plainValues(*plugin, words);
    ASSERT_GT(values.size(), 10u);
    // One value is real and different, so that a refused stream cannot pass the test; the
    // others alternate between NaN and infinity.
    const PlainValue changed = values[values.size() / 2];
    const float before = plugin->getRegistry().rawValue(changed.tag);
    const float wanted = before == 0.25f ? 0.75f : 0.25f;
    for (std::size_t i = 0; i < values.size(); ++i)
        words[values[i].word] = asWord(i % 2 ? std::numeric_limits<float>::quiet_NaN()
                                             : -std::numeric_limits<float>::infinity());
    words[changed.word] = asWord(wanted);
    // Two host parameters far outside their 0..1 range: clamped to its ends.
    std::vector<PlainValue> hostValues;
    for (const PlainValue& v : values)
        if (v.tag < MFUniClient::hostParameterCount && v.tag != changed.tag)
            hostValues.push_back(v);
    ASSERT_GE(hostValues.size(), 2u);
    const PlainValue high = hostValues[0], low = hostValues[1];
    words[high.word] = asWord(1.0e30f);
    words[low.word] = asWord(-4.0e16f);

    plugin->setChunk(words.data(), int32_t(words.size() * 4), false);

    EXPECT_EQ(plugin->getRegistry().rawValue(changed.tag), wanted) << "the stream was loaded";
    EXPECT_EQ(plugin->getRegistry().rawValue(high.tag), 1.0f);
    EXPECT_EQ(plugin->getRegistry().rawValue(low.tag), 0.0f);
    for (const PlainValue& v : values) {
        if (v.tag == changed.tag || v.tag == high.tag || v.tag == low.tag)
            continue;
        const float now = plugin->getRegistry().rawValue(v.tag);
        ASSERT_TRUE(std::isfinite(now)) << "tag " << v.tag;
        // A load resets the category first, so a value that is no number counts as missing.
        // Host parameters store what they are given; internal ones may derive their value.
        if (v.tag < MFUniClient::hostParameterCount) {
            EXPECT_EQ(now, v.defaultValue) << "tag " << v.tag << " falls to its default";
        }
    }

    // And the plug-in still plays: a second of a sine through every lane's defaults gives
    // finite samples only.
    const std::vector<float> sine = signal::sine(300.0, 44100.0, 44100, 0.5f);
    rig.run(sine, sine);
    EXPECT_TRUE(signal::allFinite(rig.outLeft.data(), rig.outLeft.size()));
    EXPECT_TRUE(signal::allFinite(rig.outRight.data(), rig.outRight.size()));
}
