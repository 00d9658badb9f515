#pragma once

#include "pattern/MFChunkableClass.h"
#include "platform/MFRelaxed.h"

#include <atomic>
#include <cstdint>
#include <vector>

class MFChunk;
class MFSystemInfo;

// A row of floats with a value range, read by the engine with interpolation.
// The array holds one entry more than the size: the last repeats the first, so
// an interpolated read at the end wraps around without a bounds test.
class MFTable : public MFChunkableClass {
public:
    static constexpr uint32_t flagBusy = 0x00000001;
    static constexpr uint32_t flagInterpolate = 0x00000008;
    static constexpr uint32_t flagNoEqualNeighbours = 0x00001000;
    static constexpr uint32_t flagInteger = 0x00008000;
    static constexpr uint32_t flagRegistered = 0x00080000;
    static constexpr uint32_t defaultFlags = 0x00060188;
    // Display options the plug-in adds for its own tables.
    static constexpr uint32_t pluginFlags = 0x00020200;

    static constexpr uint32_t bodyMarker = 0xFFCB4286u;
    static constexpr int32_t bodyVersion = 1;
    // Sizes read from a chunk beyond this are hostile, whatever the chunk holds.
    static constexpr int32_t maximumSize = 65536;
    static constexpr float neighbourNudge = 0.0001f;

    MFTable(MFSystemInfo& owner, int32_t size);
    ~MFTable() override;
    MFTable(const MFTable&) = delete;
    MFTable& operator=(const MFTable&) = delete;

    int32_t readChunk(MFChunk& chunk, bool skip) override;
    void writeChunk(MFChunk& chunk) override;

    void setValues(const std::vector<float>& list) override;
    // Reads a table body, appending its values to the list; a damaged body adds nothing.
    void collectValues(MFChunk& chunk, std::vector<float>& list) override;
    virtual void setSize(int32_t n, int32_t mode);
    virtual void setLength(float value);
    virtual void setLengthTimesFour(float value);
    virtual void raise(int32_t from, int32_t to);
    virtual void lower(int32_t from, int32_t to);
    virtual void fillDefault();
    virtual void reserved2() {}
    virtual float interpolateAtCursor();
    virtual float valueAt(int32_t index);
    // valueAt without the virtual call, for the audio thread's per-tick reads.
    float stepValue(int32_t index) {
        readCursor = static_cast<float>(index);
        if (values == nullptr || isBusy() || index < 0 || index > getSize())
            return 0.0f;
        return load(index);
    }
    virtual float valueAtPosition(float position);
    virtual void writeAtCursor(float value);
    virtual void setValue(int32_t index, float value);
    virtual void writeAtCursor2(float value);
    virtual void writeRounded(float value);
    virtual float normalisedAt(float position);
    virtual void setNormalised(int32_t position, float value);
    virtual void setIntegerMode(bool on);
    virtual int32_t currentRowIndex() const { return 0; }
    virtual void copy();
    virtual void paste();

    // The raise/lower step: fine on the unit range, whole units otherwise.
    float step() const;

    int32_t getSize() const { return static_cast<int32_t>(size); }
    float getMinimum() const { return minimum; }
    float getMaximum() const { return maximum; }
    float getDefault() const { return defaultValue; }
    void setRange(float low, float high) {
        minimum = low;
        maximum = high;
    }
    void setDefault(float value) { defaultValue = value; }
    float getLength() const { return lengthValue; }
    float getNominalSize() const { return nominalSize; }
    // Sample rate, random range and buffer registry: the table view's random fill reads it.
    MFSystemInfo& getOwner() const { return owner; }

    uint32_t getFlags() const { return flags.load(std::memory_order_acquire); }
    void setFlags(uint32_t bits) { flags.fetch_or(bits, std::memory_order_acq_rel); }
    void clearFlags(uint32_t bits) { flags.fetch_and(~bits, std::memory_order_acq_rel); }
    bool isBusy() const { return (getFlags() & flagBusy) != 0; }

    // The stored entry, guard included (index == size); 0.0 outside or without values.
    float rawEntry(int32_t index) const;
    // Stores without any of the write rules; index 0 and the guard move together.
    void storeRaw(int32_t index, float value);

    MFRelaxed<float> readCursor = 0.0f;
    MFRelaxed<float> writeCursor = 0.0f;
    // Read by the table view: label spacing and first label.
    int32_t viewSetting1 = 10;
    int32_t viewSetting2 = 1;

    // The table the copy button last stored, for paste.
    static MFTable* clipboard;

protected:
    // Reads one table body (three floats, optional marker and version, count,
    // values) and applies it through the virtual writers. 0 on a damaged body.
    int32_t readTableBody(MFChunk& chunk, bool skip);
    void releaseValues();
    float load(int32_t index) const {
        // The editor's thread stores single floats while the audio thread reads them.
        return std::atomic_ref<float>(values[index]).load(std::memory_order_relaxed);
    }
    void store(int32_t index, float value);
    float leftNeighbour(int32_t index) const;
    float linearAt(float position) const;

    MFSystemInfo& owner;
    std::atomic<uint32_t> flags{defaultFlags};
    float* values = nullptr;
    std::atomic<uint32_t> size{0};
    float lengthValue = 0.0f;
    float minimum = 0.0f;
    float maximum = 1.0f;
    float defaultValue = 0.0f;
    int32_t reservedInt = 0;
    float nominalSize = 0.0f;
};
