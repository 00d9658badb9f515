#pragma once

#include "effects/MFSystemInfo.h"
#include "pattern/MFChunk.h"
#include "pattern/MFChunkableClass.h"
#include "pattern/MFInitInterface.h"
#include "pattern/MFZoneHandlerInterface.h"
#include "platform/MFRelaxed.h"

#include <algorithm>
#include <cstdint>
#include <vector>

// Process-wide state shared by every container of every plug-in instance.
struct MFContainerGlobals {
    // The copy clipboard: at most one temporary clone per lane tag.
    static std::vector<MFInitInterface*>& clipboard() {
        // Frees what is still on the clipboard when the library is unloaded. The list of
        // containers is created first (by the first container), so it outlives this one.
        struct Entries {
            std::vector<MFInitInterface*> list;
            ~Entries() {
                for (MFInitInterface* entry : list)
                    delete entry;
            }
        };
        containers();
        static Entries entries;
        return entries.list;
    }
    static std::vector<void*>& containers() {
        static std::vector<void*> all;
        return all;
    }
    static inline void* zonePointer = nullptr;

    static void clearClipboard() {
        for (MFInitInterface* entry : clipboard())
            delete entry;
        clipboard().clear();
    }
};

// One lane across all patterns: a handler per pattern, and the lane interface forwarded
// to the handler of `current`, so that switching patterns is a single integer store.
template <class Handler>
class MFZoneHandlerContainer : public MFChunkableClass,
                               public MFZoneHandlerInterface,
                               public MFInitInterface {
public:
    static constexpr int32_t bodyMagic = 512795;
    static constexpr int32_t maximumHandlers = 64;
    // No zone of the lane is sounding.
    static constexpr int32_t noMark = -1;

    MFZoneHandlerContainer(MFSystemInfo& systemInfo, int32_t groupId, int32_t count,
                           bool isTemporary)
        : MFChunkableClass(zoneType), owner(systemInfo) {
        id = groupId;
        temporary = isTemporary;
        handlerCount = count;
        createHandlers(count);
        MFContainerGlobals::containers().push_back(this);
        if (!temporary)
            owner.initObjects.push_back(this);
    }

    ~MFZoneHandlerContainer() override {
        destroyHandlers();
        auto& all = MFContainerGlobals::containers();
        all.erase(std::remove(all.begin(), all.end(), static_cast<void*>(this)), all.end());
        if (!temporary) {
            auto& objects = owner.initObjects;
            objects.erase(
                std::remove(objects.begin(), objects.end(), static_cast<MFInitInterface*>(this)),
                objects.end());
        }
    }

    MFZoneHandlerContainer(const MFZoneHandlerContainer&) = delete;
    MFZoneHandlerContainer& operator=(const MFZoneHandlerContainer&) = delete;

    virtual void clearAllWithId(int32_t groupId) { currentHandler()->clearAllWithId(groupId); }
    // Never null while the container holds handlers; the audio thread reads its tables.
    virtual Handler* currentHandler() { return handlers[clampedCurrent()]; }
    virtual Handler* handler(int32_t index) {
        return index >= 0 && index < maximumHandlers ? handlers[index] : nullptr;
    }

    // --- body -------------------------------------------------------------------------
    void writeChunk(MFChunk& chunk) override {
        chunk.writeInt(bodyMagic);
        chunk.writeInt(1);
        chunk.writeInt(handlerCount);
        chunk.writeInt(current);
        for (int32_t i = 0; i < handlerCount && i < maximumHandlers; ++i)
            if (handlers[i])
                handlers[i]->writeChunk(chunk);
    }

    // The pattern comes from its parameter, so `current` is not restored; the magic is
    // not checked. Always 1 on a complete body; 0 when the buffer ended early.
    int32_t readChunk(MFChunk& chunk, bool skip) override {
        uint32_t head[4];
        chunk.readFourCleared(head);
        if (chunk.overrun())
            return 0;
        const int32_t count = int32_t(head[2]);
        // A body without a usable handler count would leave the lane without patterns;
        // refuse it and keep what is there.
        if (count < 1 || count >= maximumHandlers)
            return 0;
        if (!skip) {
            destroyHandlers();
            handlerCount = count;
            createHandlers(count);
        }
        for (int32_t i = 0; i < count; ++i) {
            if (handlers[i]) {
                handlers[i]->readChunk(chunk, skip);
            } else {
                // A check of a stream with more patterns than this lane holds must still
                // step over each pattern's body.
                Handler scratch(owner, -1, true);
                scratch.readChunk(chunk, true);
            }
        }
        return chunk.overrun() ? 0 : 1;
    }

    // --- lane interface, forwarded --------------------------------------------------------
    bool addZone(MFZone* zone) override { return currentHandler()->addZone(zone); }
    void removeZone(MFZone* zone) override { currentHandler()->removeZone(zone); }
    void clearZones(bool deferred) override { currentHandler()->clearZones(deferred); }
    void destroyZone(MFZone* zone) override { currentHandler()->destroyZone(zone); }
    MFZone* createZone(int32_t zoneType) override { return currentHandler()->createZone(zoneType); }
    const char* name() const override { return "empty"; }
    MFZone* zoneAt(int32_t step) override { return currentHandler()->zoneAt(step); }
    const std::vector<MFZone*>& zones() override { return currentHandler()->zones(); }
    bool freeRange(int32_t step, int32_t& lastFree) override {
        return currentHandler()->freeRange(step, lastFree);
    }
    bool purgeDeleted() override { return currentHandler()->purgeDeleted(); }
    bool waitForAudio() override { return currentHandler()->waitForAudio(); }
    bool isBusy() const override { return handlers[clampedCurrent()]->isBusy(); }
    int32_t zoneCount() const override { return handlers[clampedCurrent()]->zoneCount(); }
    void setBusy(bool value) override { currentHandler()->setBusy(value); }
    void stepPressed(int32_t step) override { currentHandler()->stepPressed(step); }
    // Called with a zone's index in the list: whether that zone is the one sounding now.
    bool isMarkedStep(int32_t step) override { return step == markedPattern.load(); }
    MFZone* zoneByIndex(int32_t index) override { return currentHandler()->zoneByIndex(index); }
    int32_t indexOfZone(const MFZone* zone) override { return currentHandler()->indexOfZone(zone); }
    int32_t zoneNumberAt(int32_t step) override { return currentHandler()->zoneNumberAt(step); }
    int32_t currentIndex() override { return current; }
    void copyZones() override { MFContainerGlobals::zonePointer = this; }
    void pasteZones() override { MFContainerGlobals::zonePointer = this; }
    void randomise(int32_t) override {}
    void setRandomSteps(int32_t steps) override { randomSteps = steps; }

    // The audio thread names the zone it plays (its index in the list, or noMark) once a
    // tick; the zone view reads it at idle. Stored only when it changes, so that a steady
    // zone costs a load and no write to a line the editor reads.
    void markZone(int32_t index) {
        if (markedPattern.load() != index)
            markedPattern.store(index);
    }

    // --- init interface -----------------------------------------------------------------
    // Empties only the current pattern, once per existing pattern, on purpose: the lane
    // init button must not wipe the song's other patterns.
    void initAll() override {
        for (int32_t i = 0; i < maximumHandlers; ++i)
            if (handlers[i])
                currentHandler()->clearZones(false);
        dirty = true;
    }
    void initCurrent() override {
        currentHandler()->clearZones(false);
        dirty = true;
    }
    void random() override { currentHandler()->randomise(randomSteps); }

    MFInitInterface* clone() override {
        auto* copy = new MFZoneHandlerContainer(owner, id, handlerCount, true);
        for (int32_t i = 0; i < maximumHandlers; ++i)
            if (handlers[i] && copy->handlers[i])
                copy->handlers[i]->copyZonesFrom(*handlers[i]);
        copy->reservedWord = reservedWord;
        copy->tag = tag;
        copy->copySource = copySource;
        return copy;
    }

    void copy(int32_t from, int32_t to) override {
        copySource = current;
        auto& entries = MFContainerGlobals::clipboard();
        for (auto it = entries.begin(); it != entries.end(); ++it) {
            if ((*it)->tag == tag) {
                delete *it;
                entries.erase(it);
                break;
            }
        }
        MFInitInterface* entry = clone();
        entry->copyFrom = from;
        entry->copyTo = to;
        entries.push_back(entry);
    }

    void paste() override {
        for (MFInitInterface* entry : MFContainerGlobals::clipboard()) {
            if (entry->tag != tag)
                continue;
            auto* source = dynamic_cast<MFZoneHandlerContainer*>(entry);
            if (!source)
                return;
            Handler* from = source->handler(source->copySource);
            if (from)
                currentHandler()->copyZonesFrom(*from);
            return;
        }
    }

    MFRelaxed<bool> dirty = false;
    MFSystemInfo& owner;
    int32_t handlerCount = 0;
    // Written by the pattern parameter, read by the audio thread at the next step.
    MFRelaxed<int32_t> current = 0;
    MFRelaxed<int32_t> previous = 0;
    Handler* handlers[maximumHandlers] = {};
    int32_t copySource = -1;
    MFRelaxed<int32_t> markedPattern = noMark;
    int32_t randomSteps = 128;

private:
    // A current index outside the handlers falls back to pattern 0, which always exists
    // when any handler does.
    int32_t clampedCurrent() const {
        const int32_t c = current;
        return c >= 0 && c < maximumHandlers && handlers[c] ? c : 0;
    }

    void createHandlers(int32_t count) {
        if (count > 0 && count < maximumHandlers)
            for (int32_t i = 0; i < count; ++i)
                handlers[i] = new Handler(owner, -1, true);
    }

    void destroyHandlers() {
        for (auto& h : handlers) {
            delete h;
            h = nullptr;
        }
    }
};
