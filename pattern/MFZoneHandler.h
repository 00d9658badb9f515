#pragma once

#include "pattern/MFChunkableClass.h"
#include "pattern/MFInitInterface.h"
#include "pattern/MFZoneHandlerInterface.h"
#include "platform/MFRelaxed.h"

#include <cstdint>
#include <vector>

class MFSystemInfo;
class MFZone;

// A lane: an ordered list of zones that the editor paints and erases. The audio side
// never takes a lock; `busy` (audio claim) and `editing` (editor claim) keep a list walk
// and a change apart, and zones held by audio clients are deferred to `trash`.
class MFZoneHandler : public MFChunkableClass,
                      public MFZoneHandlerInterface,
                      public MFInitInterface {
public:
    static constexpr int32_t bodyMagic = 520860;
    static constexpr int32_t stepCount = 128;
    static constexpr int32_t lastStep = 127;
    static constexpr int waitTries = 1000;

    // A non-temporary handler registers with the owner's init objects.
    MFZoneHandler(MFSystemInfo& owner, int32_t id, bool temporary);
    ~MFZoneHandler() override;
    MFZoneHandler(const MFZoneHandler&) = delete;
    MFZoneHandler& operator=(const MFZoneHandler&) = delete;

    virtual void clearAllWithId(int32_t groupId);

    bool addZone(MFZone* zone) override;
    void removeZone(MFZone* zone) override;
    void clearZones(bool deferred) override;
    void destroyZone(MFZone* zone) override;
    int32_t readChunk(MFChunk& chunk, bool skip) override;
    void writeChunk(MFChunk& chunk) override;
    MFZone* createZone(int32_t zoneType) override;
    MFZone* zoneAt(int32_t step) override;
    const std::vector<MFZone*>& zones() override;
    bool freeRange(int32_t step, int32_t& lastFree) override;
    bool purgeDeleted() override;
    bool waitForAudio() override;
    bool isBusy() const override { return busy.get(); }
    int32_t zoneCount() const override { return int32_t(zoneList.size()); }
    void setBusy(bool value) override { busy.set(value); }
    MFZone* zoneByIndex(int32_t index) override;
    int32_t indexOfZone(const MFZone* zone) override;
    void copyZones() override;
    void pasteZones() override;
    void randomise(int32_t steps) override;

    void initAll() override { clearZones(false); }

    // Replaces this lane's zones with copies of the live zones of `source`.
    void copyZonesFrom(MFZoneHandler& source);

    bool isEditing() const { return editing.get(); }
    const std::vector<MFZone*>& trashList() const { return trash; }
    static MFZoneHandler* clipboard();
    static void clearClipboard();

    MFRelaxed<bool> dirty = false;
    MFSystemInfo& owner;

protected:
    // Called after every change of the list or of a zone; the float lane rebuilds tables.
    virtual void zonesChanged() {}

    std::vector<MFZone*> zoneList;
    std::vector<MFZone*> trash;
    const std::vector<MFZone*> emptyList;
    MFFlag busy;
    MFFlag editing;

private:
    void takeOut(std::vector<MFZone*>& list, MFZone* zone);
    bool inList(const std::vector<MFZone*>& list, const MFZone* zone) const;
};
