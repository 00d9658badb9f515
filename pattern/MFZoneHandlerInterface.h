#pragma once

#include <cstdint>
#include <vector>

class MFChunk;
class MFZone;

// One lane as the zone view sees it; a pattern container implements it by forwarding.
class MFZoneHandlerInterface {
public:
    virtual ~MFZoneHandlerInterface() = default;

    // Takes ownership on success; false (zone stays with the caller) if audio stays busy.
    virtual bool addZone(MFZone* zone) = 0;
    virtual void removeZone(MFZone* zone) = 0;
    virtual void clearZones(bool deferred) = 0;
    virtual void destroyZone(MFZone* zone) = 0;
    virtual int32_t readChunk(MFChunk& chunk, bool skip) {
        (void)chunk;
        (void)skip;
        return 3;
    }
    virtual void writeChunk(MFChunk& chunk) { (void)chunk; }
    virtual MFZone* createZone(int32_t zoneType) {
        (void)zoneType;
        return nullptr;
    }
    virtual const char* name() const { return "empty"; }
    virtual MFZone* zoneAt(int32_t step) = 0;
    virtual const std::vector<MFZone*>& zones() = 0;
    virtual bool freeRange(int32_t step, int32_t& lastFree) = 0;
    virtual bool purgeDeleted() = 0;
    virtual bool waitForAudio() = 0;
    virtual bool isBusy() const = 0;
    virtual int32_t zoneCount() const = 0;
    virtual void setBusy(bool value) = 0;
    virtual void stepPressed(int32_t step) { (void)step; }
    virtual bool isMarkedStep(int32_t step) {
        (void)step;
        return false;
    }
    virtual MFZone* zoneByIndex(int32_t index) = 0;
    virtual int32_t indexOfZone(const MFZone* zone) = 0;
    virtual int32_t zoneNumberAt(int32_t step) {
        (void)step;
        return -1;
    }
    virtual int32_t currentIndex() { return 0; }
    virtual void copyZones() = 0;
    virtual void pasteZones() = 0;
    virtual void randomise(int32_t steps) = 0;
    // The first spare place; a pattern container stores the steps given to randomise.
    virtual void setRandomSteps(int32_t steps) { (void)steps; }
    virtual void spareOperation2() {}
    virtual void spareOperation3() {}
    virtual void spareOperation4() {}
    virtual void spareOperation5() {}
};
