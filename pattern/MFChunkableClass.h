#pragma once

#include <cstdint>
#include <vector>

class MFChunk;

// Anything that saves itself into a chunk. `type` tells the state reader what an object
// needs after loading: 0 zones, handlers and containers; 4 table; 5 XY table; 6 mouse area.
class MFChunkableClass {
public:
    static constexpr int32_t zoneType = 0;
    static constexpr int32_t tableType = 4;
    static constexpr int32_t tableXYType = 5;
    static constexpr int32_t mouseAreaType = 6;

    explicit MFChunkableClass(int32_t chunkType = zoneType) : type(chunkType) {}
    virtual ~MFChunkableClass() = default;

    // With skip set, consume exactly the words a real read would and change nothing.
    // Returns 0 when nothing useful was read, 1 on success, 3 or 4 when a record failed.
    virtual int32_t readChunk(MFChunk& chunk, bool skip) = 0;
    virtual void writeChunk(MFChunk& chunk) = 0;

    // Meaningful only for tables; everything else ignores them.
    virtual void setValues(const std::vector<float>& values) { (void)values; }
    virtual void collectValues(MFChunk& chunk, std::vector<float>& values) {
        (void)chunk;
        (void)values;
    }
    virtual void reserved() {}

    int32_t type;
};
