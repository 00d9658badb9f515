#include "presets/MFPresetCategory.h"

namespace {

struct CategoryRow {
    const char* name;
    int32_t number;
    bool userFolder;
    const char* extension;
};

// List order is the editor's lane order; the numbers are the state format's. X-Loop and
// Loop share one extension so that their presets can be exchanged.
constexpr CategoryRow rows[MFPresetCategory::count] = {
    {"Presets", 0, true, "cdz"},  {"X-Loop", 14, false, "sxl"},
    {"Loop", 1, false, "sxl"},    {"ScratchLoop", 3, false, "ssl"},
    {"Reverse", 4, false, "srv"}, {"Stretch", 2, false, "sst"},
    {"Vinyl", 5, false, "ssv"},   {"Tonal-Delay", 6, false, "std"},
    {"Stutter", 7, false, "str"}, {"Crush", 8, false, "scs"},
    {"Filter", 9, false, "sfl"},  {"Phaser", 10, false, "sph"},
    {"Chorus", 11, false, "sch"}, {"Delay", 12, false, "sdl"},
    {"Reverb", 13, false, "srb"},
};

} // namespace

std::vector<MFPresetCategory> MFPresetCategory::makeList() {
    std::vector<MFPresetCategory> list;
    list.reserve(count);
    for (const CategoryRow& row : rows) {
        MFPresetCategory category;
        category.name = row.name;
        category.fileTypeName = "Preset File";
        category.number = row.number;
        category.userFolder = row.userFolder;
        category.extension = row.extension;
        list.push_back(std::move(category));
    }
    return list;
}

const char* MFPresetCategory::extensionFor(int32_t number) {
    for (const CategoryRow& row : rows)
        if (row.number == number)
            return row.extension;
    return wholeStateExtension;
}

const MFPresetCategory* MFPresetCategory::findByNumber(const std::vector<MFPresetCategory>& list,
                                                       int32_t number) {
    for (const MFPresetCategory& category : list)
        if (category.number == number && !category.isNamedKey)
            return &category;
    return nullptr;
}
