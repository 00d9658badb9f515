#include "engine/MFStateCodec.h"

#include "pattern/MFChunk.h"
#include "pattern/MFChunkableClass.h"
#include "platform/MFMessageService.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr const char* productName = "Cadenzoid";

MFMapEntry entryOf(int32_t tag, int32_t sub) {
    MFMapEntry e;
    e.tag = int16_t(tag);
    e.sub = int16_t(sub);
    return e;
}
} // namespace

MFStateCodec::MFStateCodec(MFParameterRegistry& registry_, MFMidiMaps& maps_,
                           std::vector<std::string>& names, MFStateOwner& owner_)
    : registry(registry_), maps(maps_), presetNames(names), owner(owner_) {}

void MFStateCodec::writeEntries(MFChunk& chunk, const std::vector<MFMapEntry>& list) {
    for (const MFMapEntry& e : list) {
        chunk.writeInt(e.tag);
        chunk.writeInt(e.sub);
    }
}

void MFStateCodec::writeState(MFChunk& chunk, int32_t category) {
    if (category < 0 || category >= MFParameterRegistry::categoryCount)
        return;
    chunk.writeHeader();
    chunk.writeInt(headerLength);
    chunk.writeInt(pluginVersion);
    chunk.writeInt(formatVersion);
    chunk.writeInt(productId);

    for (MFParameterRecord* r : registry.recordsByCategory[category]) {
        chunk.writeInt(r->id);
        if (r->chunkable) {
            MFChunk measure;
            measure.beginMeasure(chunk.tempo, chunk.sampleRate);
            r->chunkable->writeChunk(measure);
            chunk.writeInt(measure.position);
            r->chunkable->writeChunk(chunk);
        } else {
            chunk.writeInt(1);
            chunk.writeFloat(*r->value);
        }
    }
    chunk.writeInt(listEnd);

    if (category == 0) {
        for (int32_t i = 0; i < MFMidiMaps::controllerCount; ++i) {
            if (maps.controllers[i].empty())
                continue;
            chunk.writeInt(i);
            writeEntries(chunk, maps.controllers[i]);
            chunk.writeInt(mapListEnd);
        }
        chunk.writeInt(mapBlockEnd);
        chunk.writeInt(nameCount);
        for (int32_t i = 0; i < nameCount; ++i)
            chunk.writeString(i < int32_t(presetNames.size()) ? presetNames[i].c_str() : "");
    } else {
        chunk.writeString(presetNames[category].c_str());
    }

    chunk.writeInt(sectionNumber);
    if (category == 0) {
        chunk.writeInt(curProgram);
        chunk.writeInt(folderIndex);
        chunk.writeInt(int32_t(maps.global.size()));
        writeEntries(chunk, maps.global);
        chunk.writeInt(globalMapEnd);
    }
    chunk.writeInt(0);
    chunk.writeInt(0);
    chunk.writeString("Host");
}

bool MFStateCodec::readState(MFChunk& chunk, int32_t category, bool recallAll, bool silent,
                             bool onAudioThread) {
    if (category < 0 || category >= MFParameterRegistry::categoryCount)
        return false;
    if (!chunk.parseHeader(silent))
        return false;
    chunk.readInt(); // header length
    if (chunk.readInt() != pluginVersion || chunk.overrun()) {
        if (!silent)
            MFMessageService::showMessage("wrong plugin version");
        return false;
    }
    const int32_t format = chunk.readInt();
    bool foreign = format < 1 || chunk.overrun();
    if (!foreign && format > 1)
        foreign = chunk.readInt() != productId || chunk.overrun();
    if (foreign) {
        if (!silent)
            MFMessageService::showMessage("This is not a %s file", productName);
        return false;
    }

    // A stream that ends early or hides a broken body is refused before anything is
    // reset, so that a damaged preset never costs the musician the state they had.
    const int32_t bodyStart = chunk.position;
    readBody(chunk, category, format, recallAll, false);
    if (chunk.overrun()) {
        if (!silent)
            MFMessageService::showMessage("\t This is no valid %s format!", productName);
        return false;
    }
    chunk.position = bodyStart;

    if (!owner.beginLoad(onAudioThread))
        return false;
    for (MFParameterRecord* r : registry.recordsAll)
        if (r->category == category)
            owner.setParameter(r->index, r->defaultValue);
    readBody(chunk, category, format, recallAll, true);
    owner.finishLoad();
    return true;
}

void MFStateCodec::readBody(MFChunk& chunk, int32_t category, int32_t format, bool recallAll,
                            bool apply) {
    for (;;) {
        const int32_t id = chunk.readInt();
        if (id == listEnd || chunk.overrun())
            break;
        MFParameterRecord* r = registry.byId(category, id);
        const int32_t size = chunk.readInt();
        if (r && r->chunkable) {
            // The body's own reader knows its length; the size word is not trusted.
            const int32_t status = r->chunkable->readChunk(chunk, !apply);
            if (!apply && status == 0)
                chunk.skipWords(int64_t(chunk.capacity()) + 1); // refuse the stream
            if (apply && r->chunkable->type == MFChunkableClass::mouseAreaType)
                owner.setParameter(r->index, *r->value);
        } else {
            const float word = chunk.readFloat();
            // Every plain value saved is a normalised knob position. A word that is no
            // finite number is damage: the parameter stays on its default, as if the record
            // were missing (a NaN reached the effects' read positions). Beyond 0..1 it is
            // damage too, and would overflow the effects' sample arithmetic: clamped.
            const float value = std::clamp(word, 0.0f, 1.0f);
            if (apply && r && std::isfinite(word) && (r->keepOnPreset == 0 || recallAll))
                owner.setParameter(r->index, value);
            chunk.skipWords(int64_t(size) - 1);
        }
    }

    if (category == 0) {
        readMaps(chunk, format, recallAll, apply);
        const int32_t count = chunk.readInt();
        for (int32_t i = 0; i < count && i < nameCount && !chunk.overrun(); ++i) {
            std::string name = chunk.readStdString();
            if (apply && i < int32_t(presetNames.size()))
                presetNames[i] = name;
        }
    } else {
        std::string name = chunk.readStdString();
        if (apply)
            presetNames[category] = name;
    }

    const int32_t section = chunk.readInt();
    bool tail = section >= 10;
    if (category == 0 && tail) {
        const int32_t program = chunk.readInt();
        int32_t folder = folderIndex;
        if (section > 10)
            folder = chunk.readInt();
        if (recallAll && section < 13) {
            tail = false;
        } else {
            if (recallAll && apply) {
                folderIndex = folder;
                curProgram = program;
            }
            if (section < 14)
                tail = false;
            else
                readGlobalMap(chunk, format, recallAll, apply);
        }
    }
    if (tail && section >= 15) {
        const int64_t rows = chunk.readInt();
        const int64_t columns = chunk.readInt();
        if (rows < 0 || columns < 0)
            chunk.skipWords(int64_t(chunk.capacity()) + 1);
        else
            chunk.skipWords(rows * columns);
        if (section >= 16)
            chunk.readStdString();
    }
}

void MFStateCodec::readMaps(MFChunk& chunk, int32_t format, bool recallAll, bool apply) {
    // Deliberate departure: isolation protects the maps from preset loads only; a host
    // recall always restores the maps it carries, or reopening a session loses them.
    const bool keepMaps = isolateMaps && !recallAll;
    if (apply && !keepMaps) {
        maps.editing.set(true);
        for (auto& list : maps.controllers)
            list.clear();
        maps.editing.set(false);
    }
    if (apply)
        maps.editing.set(true);
    int32_t key = chunk.readInt();
    while (key != mapBlockEnd && !chunk.overrun()) {
        int32_t word = chunk.readInt();
        while (word != mapListEnd && !chunk.overrun()) {
            const MFMapEntry e = format >= 3 ? entryOf(word, chunk.readInt()) : entryOf(word, 0);
            // A controller number outside MIDI's range is dropped, not stored.
            if (apply && !keepMaps && key >= 0 && key < MFMidiMaps::controllerCount &&
                !chunk.overrun())
                maps.controllers[key].push_back(e);
            word = chunk.readInt();
        }
        key = chunk.readInt();
    }
    if (apply)
        maps.editing.set(false);
}

void MFStateCodec::readGlobalMap(MFChunk& chunk, int32_t format, bool recallAll, bool apply) {
    const bool keepMaps = isolateMaps && !recallAll; // as for the controller maps
    if (apply && !keepMaps) {
        maps.editing.set(true);
        maps.global.clear();
        maps.editing.set(false);
    }
    const int32_t count = chunk.readInt();
    if (apply)
        maps.editing.set(true);
    // Read as the writer writes: two words per entry, so pressure assignments survive.
    for (int32_t i = 0; i < count && !chunk.overrun(); ++i) {
        const int32_t first = chunk.readInt();
        const MFMapEntry e = format >= 3 ? entryOf(first, chunk.readInt()) : entryOf(first, 0);
        if (apply && !keepMaps && !chunk.overrun())
            maps.global.push_back(e);
    }
    chunk.readInt(); // the list's end mark
    if (apply)
        maps.editing.set(false);
}
