#pragma once

#include "effects/MFBPMChangeInterface.h"
#include "effects/MFBufferRegistry.h"
#include "effects/MFSystemInfo.h"
#include "pattern/MFChunk.h"
#include "pattern/MFChunkableClass.h"
#include "pattern/MFZone.h"
#include "pattern/MFZoneHandlerInterface.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

// A shared context as the plug-in object would own it, for lanes and tables alike.
struct PatternContext {
    MFBufferRegistry registry;
    std::vector<MFBPMChangeInterface*> listeners;
    MFSystemInfo info{registry, listeners};
};

inline uint32_t bitsOf(float f) {
    uint32_t u;
    std::memcpy(&u, &f, 4);
    return u;
}

// Paints one zone through the lane's own interface, as the zone view does.
inline MFZone* paint(MFZoneHandlerInterface& lane, int32_t start, int32_t end) {
    MFZone* zone = lane.createZone(0);
    zone->setRange(start, end);
    EXPECT_TRUE(lane.addZone(zone)) << start << ".." << end;
    return zone;
}

// Both passes of the writer; the words it wrote.
inline std::vector<uint32_t> writeWords(MFChunkableClass& object) {
    MFChunk c;
    c.beginMeasure(120.0f, 44100.0f);
    object.writeChunk(c);
    const int32_t measured = c.position;
    c.allocateMeasured();
    c.position = 0;
    object.writeChunk(c);
    EXPECT_EQ(c.position, measured) << "measuring and writing passes disagree";
    return std::vector<uint32_t>(c.data, c.data + c.capacity());
}

inline void attachWords(MFChunk& c, const std::vector<uint32_t>& words) {
    c.attachCopy(words.data(), words.size() * 4);
    c.position = 0;
}

// Reads a body from the given words; the status, and how many words it took.
inline int32_t readWords(MFChunkableClass& object, const std::vector<uint32_t>& words,
                         bool skip = false, int32_t* consumed = nullptr) {
    MFChunk c;
    attachWords(c, words);
    const int32_t status = object.readChunk(c, skip);
    if (consumed)
        *consumed = c.position;
    return status;
}
