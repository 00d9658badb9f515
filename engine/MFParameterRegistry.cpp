#include "engine/MFParameterRegistry.h"

#include <cstring>

MFParameterRegistry::MFParameterRegistry() {
    for (auto& r : recordOfTag)
        r = -1;
    for (int32_t i = 0; i < recordCount; ++i) {
        const MFParameterSpec& spec = mfParameterTable[i];
        MFParameterRecord& r = records[i];
        r.id = spec.id;
        r.index = spec.tag;
        r.name = spec.name;
        r.flags = spec.isSwitch ? MFParameterRecord::flagSwitch : MFParameterRecord::flagValue;
        r.defaultValue = spec.defaultValue;
        r.category = spec.global ? globalCategory : 0;
        recordOfTag[spec.tag] = int16_t(i);
        values[spec.tag].raw = spec.initial;
        values[spec.tag].copy = spec.initial;
    }
}

bool MFParameterRegistry::isEditable(const MFParameterSpec& spec) {
    // Knobs, bypass switches and envelope and smoothing times: what a "mutate" could move.
    if (spec.tag >= 2 && spec.tag <= 115 && spec.tag != 101)
        return true;
    const char* n = spec.name;
    const std::size_t len = std::strlen(n);
    auto endsWith = [&](const char* tail) {
        const std::size_t t = std::strlen(tail);
        return len >= t && std::strcmp(n + len - t, tail) == 0;
    };
    if (spec.tag > 116 && (endsWith("Release") || endsWith("Attack")))
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
        const MFParameterSpec& spec = mfParameterTable[i];
        MFParameterRecord* r = &records[i];
        recordsAll.push_back(r);
        if (spec.global)
            recordsGlobal.push_back(r);
        if (isEditable(spec))
            recordsEditable.push_back(r);
        if (spec.id != MFParameterRecord::notSaved)
            recordsByCategory[0].push_back(r);
        if (spec.presetCategory > 0 && spec.presetCategory < categoryCount)
            recordsByCategory[spec.presetCategory].push_back(r);
        if (spec.tag < hostParameterCount)
            recordByTag[spec.tag] = r;
    }
}

MFParameterRecord* MFParameterRegistry::byTag(int32_t tag) {
    if (tag < 0 || tag >= mfTagCount || recordOfTag[tag] < 0)
        return nullptr;
    return &records[recordOfTag[tag]];
}

const MFParameterSpec* MFParameterRegistry::specByTag(int32_t tag) const {
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
