#include "pattern/MFZoneHandler.h"

#include "effects/MFSystemInfo.h"
#include "pattern/MFChunk.h"
#include "pattern/MFRandom.h"
#include "pattern/MFZone.h"
#include "platform/MFMessageService.h"
#include "platform/MFSleep.h"

#include <algorithm>
#include <mutex>

namespace {

// Every lane of the process, for clearAllWithId; touched only on construction,
// destruction and from the editor, never from audio.
std::mutex registryMutex;
std::vector<MFZoneHandler*>& registry() {
    static std::vector<MFZoneHandler*> handlers;
    return handlers;
}

// Only the pointer is kept: a paste shows the source as it is at that moment.
MFZoneHandler* zoneClipboard = nullptr;

} // namespace

MFZoneHandler::MFZoneHandler(MFSystemInfo& systemInfo, int32_t groupId, bool isTemporary)
    : MFChunkableClass(zoneType), owner(systemInfo) {
    id = groupId;
    temporary = isTemporary;
    zoneList.reserve(stepCount);
    trash.reserve(stepCount);
    {
        std::lock_guard<std::mutex> lock(registryMutex);
        registry().push_back(this);
    }
    if (!temporary)
        owner.initObjects.push_back(this);
}

MFZoneHandler::~MFZoneHandler() {
    for (MFZone* zone : zoneList)
        destroyZone(zone);
    // Zones in trash that already left the list were destroyed with it or never existed.
    {
        std::lock_guard<std::mutex> lock(registryMutex);
        auto& handlers = registry();
        handlers.erase(std::remove(handlers.begin(), handlers.end(), this), handlers.end());
    }
    if (!temporary) {
        auto& objects = owner.initObjects;
        objects.erase(
            std::remove(objects.begin(), objects.end(), static_cast<MFInitInterface*>(this)),
            objects.end());
    }
}

void MFZoneHandler::clearAllWithId(int32_t groupId) {
    std::vector<MFZoneHandler*> matches;
    {
        std::lock_guard<std::mutex> lock(registryMutex);
        for (MFZoneHandler* handler : registry())
            if (handler->id == groupId && &handler->owner == &owner)
                matches.push_back(handler);
    }
    for (MFZoneHandler* handler : matches)
        handler->clearZones(false);
}

bool MFZoneHandler::inList(const std::vector<MFZone*>& list, const MFZone* zone) const {
    return std::find(list.begin(), list.end(), zone) != list.end();
}

void MFZoneHandler::takeOut(std::vector<MFZone*>& list, MFZone* zone) {
    list.erase(std::remove(list.begin(), list.end(), zone), list.end());
}

bool MFZoneHandler::addZone(MFZone* zone) {
    if (!zone)
        return false;
    editing.set(true);
    if (!waitForAudio()) {
        editing.set(false);
        return false;
    }
    auto place = std::find_if(zoneList.begin(), zoneList.end(),
                              [&](const MFZone* z) { return z->start > zone->start; });
    zoneList.insert(place, zone);
    editing.set(false);
    zonesChanged();
    return true;
}

void MFZoneHandler::removeZone(MFZone* zone) {
    if (zone && inList(zoneList, zone)) {
        zone->deleted.set(true);
        if (zone->inUse.get()) {
            if (!inList(trash, zone))
                trash.push_back(zone);
        } else {
            editing.set(true);
            if (waitForAudio()) {
                takeOut(zoneList, zone);
                takeOut(trash, zone);
                destroyZone(zone);
            } else if (!inList(trash, zone)) {
                trash.push_back(zone);
            }
            editing.set(false);
        }
    }
    zonesChanged();
}

void MFZoneHandler::clearZones(bool deferred) {
    if (deferred) {
        for (MFZone* zone : zoneList) {
            zone->deleted.set(true);
            if (!inList(trash, zone))
                trash.push_back(zone);
        }
        zonesChanged();
        return;
    }
    // Iterate over a snapshot position: zones that cannot go yet stay in place.
    std::size_t i = 0;
    while (i < zoneList.size()) {
        MFZone* zone = zoneList[i];
        zone->deleted.set(true);
        if (zone->inUse.get()) {
            if (!inList(trash, zone))
                trash.push_back(zone);
            ++i;
            continue;
        }
        editing.set(true);
        if (waitForAudio()) {
            takeOut(trash, zone);
            zoneList.erase(zoneList.begin() + std::ptrdiff_t(i));
            destroyZone(zone);
        } else {
            if (!inList(trash, zone))
                trash.push_back(zone);
            editing.set(false);
            ++i;
        }
    }
    editing.set(false);
    zonesChanged();
}

void MFZoneHandler::destroyZone(MFZone* zone) {
    delete zone;
}

int32_t MFZoneHandler::readChunk(MFChunk& chunk, bool skip) {
    const int32_t first = chunk.readInt();
    if (first > 0 && chunk.readInt() != bodyMagic)
        return 3;
    const int32_t count = chunk.readInt();
    if (chunk.overrun())
        return 3;
    if (count < 1)
        return 1;
    // Each zone needs four words, so a count the buffer cannot hold fails on overrun
    // before it can grow anything.
    for (int32_t i = 0; i < count; ++i) {
        const int32_t kind = chunk.readInt();
        if (chunk.overrun())
            return 3;
        MFZone* zone = createZone(kind);
        if (!zone)
            return 3;
        if (zone->readChunk(chunk, skip) != 1) {
            destroyZone(zone);
            return 3;
        }
        if (skip || !addZone(zone))
            destroyZone(zone);
    }
    return 1;
}

void MFZoneHandler::writeChunk(MFChunk& chunk) {
    chunk.writeInt(1);
    chunk.writeInt(bodyMagic);
    chunk.writeInt(int32_t(zoneList.size()));
    for (MFZone* zone : zoneList) {
        chunk.writeInt(zone->zoneType());
        zone->writeChunk(chunk);
    }
}

MFZone* MFZoneHandler::createZone(int32_t) {
    return new MFZone();
}

MFZone* MFZoneHandler::zoneAt(int32_t step) {
    for (MFZone* zone : zoneList)
        if (zone->start <= step && step <= zone->end && !zone->deleted.get())
            return zone;
    return nullptr;
}

const std::vector<MFZone*>& MFZoneHandler::zones() {
    return editing.get() ? emptyList : zoneList;
}

bool MFZoneHandler::freeRange(int32_t step, int32_t& lastFree) {
    lastFree = lastStep;
    for (MFZone* zone : zoneList) {
        if (step < zone->start) {
            lastFree = zone->start - 1;
            return true;
        }
        if (step <= zone->end)
            return false;
    }
    return true;
}

bool MFZoneHandler::purgeDeleted() {
    if (busy.get() || trash.empty() || editing.get())
        return false;
    std::size_t i = 0;
    while (i < trash.size()) {
        MFZone* zone = trash[i];
        if (zone->inUse.get())
            return true;
        if (!inList(zoneList, zone)) {
            ++i;
            continue;
        }
        editing.set(true);
        if (waitForAudio()) {
            takeOut(zoneList, zone);
            takeOut(trash, zone);
            destroyZone(zone);
            editing.set(false);
            zonesChanged();
            i = 0;
        } else {
            editing.set(false);
            ++i;
        }
    }
    return true;
}

bool MFZoneHandler::waitForAudio() {
    if (!busy.get())
        return true;
    for (int tries = 0; tries < waitTries; ++tries) {
        mfSleepOneMillisecond();
        if (!busy.get())
            return true;
    }
    MFMessageService::showMessage("Can't delete Zone. Reduce CPU Usage and try again.");
    return false;
}

MFZone* MFZoneHandler::zoneByIndex(int32_t index) {
    int32_t n = 0;
    for (MFZone* zone : zoneList) {
        if (zone->deleted.get())
            continue;
        if (n == index)
            return zone;
        ++n;
    }
    return nullptr;
}

int32_t MFZoneHandler::indexOfZone(const MFZone* zone) {
    if (!zone || editing.get())
        return -1;
    int32_t n = 0;
    for (const MFZone* z : zoneList) {
        if (z == zone)
            return n;
        if (!z->deleted.get())
            ++n;
    }
    return -1;
}

MFZoneHandler* MFZoneHandler::clipboard() {
    return zoneClipboard;
}
void MFZoneHandler::clearClipboard() {
    zoneClipboard = nullptr;
}

void MFZoneHandler::copyZones() {
    zoneClipboard = this;
}

void MFZoneHandler::pasteZones() {
    if (zoneClipboard)
        copyZonesFrom(*zoneClipboard);
}

void MFZoneHandler::copyZonesFrom(MFZoneHandler& source) {
    clearZones(false);
    // Pasting a lane onto itself ends here with nothing to copy, by design.
    for (std::size_t i = 0; i < source.zoneList.size(); ++i) {
        const MFZone* from = source.zoneList[i];
        if (from->deleted.get())
            continue;
        MFZone* zone = createZone(from->zoneType());
        zone->setRange(from->start, from->end);
        if (!addZone(zone))
            destroyZone(zone);
    }
}

void MFZoneHandler::randomise(int32_t steps) {
    clearZones(false);
    const float first = MFRandom::next(); // drawn even for 0 steps, to keep the sequence
    if (steps <= 0)
        return;
    float density = (1.0f / float(steps)) * first * 2.5f;
    float threshold = density;
    int32_t last = -1;
    MFZone* lastZone = nullptr;
    for (int32_t i = 0; i < steps; ++i) {
        const float r = MFRandom::next();
        if (threshold <= r) {
            threshold = last != -1 ? threshold * 0.8f : density;
        } else if (i == last + 1 && last >= 0) {
            lastZone->setEnd(i);
            threshold *= 0.92f;
            last = i;
        } else {
            MFZone* zone = createZone(0);
            zone->setRange(i, i);
            if (!addZone(zone)) {
                destroyZone(zone);
                return;
            }
            lastZone = zone;
            threshold = last == -1 ? density * 6.0f + 0.7f : density * 4.0f + 0.4f;
            density *= 0.93f;
            last = i;
        }
    }
}
