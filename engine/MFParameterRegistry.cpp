#include "engine/MFParameterRegistry.h"

#include <cstring>

MFParameterRegistry::MFParameterRegistry() {
    for (auto& r : recordOfTag)
        r = -1;
    for (int32_t i = 0; i < recordCount; ++i) {
        const MFParameterRow& row = mfParameterTable[i];
        MFParameterRecord& r = records[i];
        r.id = row.id;
        r.index = row.tag;
        r.name = row.name;
        r.flags = row.isSwitch ? MFParameterRecord::flagSwitch : MFParameterRecord::flagValue;
        r.defaultValue = row.defaultValue;
        r.category = row.global ? globalCategory : 0;
        // A random nudge of a switch would flip effects in and out: only knobs mutate.
        if (row.tag < hostParameterCount && !row.isSwitch && isEditable(row))
            r.mutationAmount = knobMutationAmount;
        recordOfTag[row.tag] = int16_t(i);
        values[row.tag].raw = row.initial;
        values[row.tag].copy = row.initial;
    }
}

bool MFParameterRegistry::isEditable(const MFParameterRow& row) {
    // Knobs, bypass switches and envelope and smoothing times: what a "mutate" could move.
    if (row.tag >= 2 && row.tag <= 115 && row.tag != 101)
        return true;
    const char* n = row.name;
    const std::size_t len = std::strlen(n);
    auto endsWith = [&](const char* tail) {
        const std::size_t t = std::strlen(tail);
        return len >= t && std::strcmp(n + len - t, tail) == 0;
    };
    if (row.tag > 116 && (endsWith("Release") || endsWith("Attack")))
        return true;
    return std::strcmp(n, "StretchSnap") == 0 || std::strcmp(n, "classicfiltertyp_") == 0 ||
           std::strcmp(n, "env_mode") == 0;
}

void MFParameterRegistry::fillLists() {
    recordsAll.clear();
    recordsGlobal.clear();
    recordsEditable.clear();
    for (auto& list : recordsByCategory)
        list.clear();
    for (int32_t i = 0; i < recordCount; ++i) {
        const MFParameterRow& row = mfParameterTable[i];
        MFParameterRecord* r = &records[i];
        recordsAll.push_back(r);
        if (row.global)
            recordsGlobal.push_back(r);
        if (isEditable(row))
            recordsEditable.push_back(r);
        if (row.id != MFParameterRecord::notSaved)
            recordsByCategory[0].push_back(r);
        if (row.presetCategory > 0 && row.presetCategory < categoryCount)
            recordsByCategory[row.presetCategory].push_back(r);
        if (row.tag < hostParameterCount)
            recordByTag[row.tag] = r;
    }
}

MFParameterRecord* MFParameterRegistry::byTag(int32_t tag) {
    if (tag < 0 || tag >= mfTagCount || recordOfTag[tag] < 0)
        return nullptr;
    return &records[recordOfTag[tag]];
}

const MFParameterRow* MFParameterRegistry::rowByTag(int32_t tag) const {
    if (tag < 0 || tag >= mfTagCount || recordOfTag[tag] < 0)
        return nullptr;
    return &mfParameterTable[recordOfTag[tag]];
}

MFParameterRecord* MFParameterRegistry::byId(int32_t category, int32_t id) {
    if (category < 0 || category >= categoryCount || id == MFParameterRecord::notSaved)
        return nullptr;
    for (MFParameterRecord* r : recordsByCategory[category])
        if (r->id == id)
            return r;
    return nullptr;
}

MFParameterRecord* MFParameterRegistry::byName(const char* name) {
    for (auto& r : records)
        if (std::strcmp(r.name, name) == 0)
            return &r;
    return nullptr;
}
