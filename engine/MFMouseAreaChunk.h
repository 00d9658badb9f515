#pragma once

#include "pattern/MFChunkableClass.h"
#include "platform/MFRelaxed.h"

// The saved state of a mouse area control: left, right, x, y, shift and control. The
// third float, x, is the parameter's raw value, so the pointer to it is retargeted onto
// the value block; the other five live here.
class MFMouseAreaChunk : public MFChunkableClass {
public:
    static constexpr int32_t fieldCount = 6;
    static constexpr int32_t valueField = 2;
    static constexpr int32_t bodyLeadWord = 10;

    MFMouseAreaChunk();

    void bindValue(MFRelaxed<float>* raw) { fields[valueField] = raw; }
    float value() const { return *fields[valueField]; }
    void setField(int32_t index, float v);
    float field(int32_t index) const;

    int32_t readChunk(MFChunk& chunk, bool skip) override;
    void writeChunk(MFChunk& chunk) override;

private:
    MFRelaxed<float> storage[fieldCount];
    MFRelaxed<float>* fields[fieldCount];
};
