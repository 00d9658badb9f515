// The editor's option menus: the preset browsers, the row-mode lists of the tables, the
// filter kind list, the hidden page holder and the two MIDI learn popups, and the routing
// of what is chosen in them.
#include "editor/MFEditorLayout.h"
#include "editor/MFUniClientEditor.h"
#include "editor/MFValueRouting.h"
#include "editor/controls/MFFrame.h"
#include "editor/controls/MFOptionMenu.h"
#include "editor/toolkit/CBitmap.h"
#include "engine/MFLaneTags.h"
#include "engine/MFUniClient.h"
#include "platform/MFFileDialog.h"
#include "platform/MFMessageService.h"
#include "presets/MFPaths.h"
#include "presets/MFPresetCategory.h"
#include "presets/MFPresetManager.h"
#include "presets/MFSettingsStore.h"

#include <cstdio>

using namespace mflayout;

namespace {
constexpr int32_t mainPresetStyle = 488; // save line, header, the name, sub-folders
constexpr int32_t effectPresetStyle = 456;
constexpr int32_t pageHolderTag = 320, filterKindTag = 469, learnMenuTag = 558;
constexpr int32_t pageCount = 14, filterKinds = 4;
constexpr int32_t filterKindBitmap = 1056, filterKindHighlight = 1055;
constexpr int32_t learnBitmap = 1077, learnHighlight = 1078;
constexpr int32_t learnWidth = 77, learnTextSize = 16;
// The row-mode lists come in pairs (list, highlight) in the order of the tables' bitmaps.
constexpr int32_t firstRowListBitmap = 1092, firstTableBitmap = 1004;
constexpr int32_t rowLineHeight = 15;
constexpr int32_t defaultRowLines = 6; // a list whose picture failed to load
constexpr int32_t mainTextSize = 17, mainFontSize = 12;
constexpr int32_t effectTextSize = 15, effectFontSize = 10;
constexpr int32_t browserMaxWidth = 320;
constexpr const char* learnTitles[2] = {"midi Learn", "clear"};

constexpr CColor presetText{202, 202, 202, 255};
constexpr CColor presetHighlight{255, 255, 0, 255};
constexpr CColor popupBackground{9, 9, 9, 255};
constexpr CColor disabledText{120, 120, 120, 255};
constexpr CColor scrollBack{92, 92, 92, 255};
constexpr CColor scrollThumb{192, 192, 192, 255};

void paintLikePresetMenus(MFOptionMenu& menu) {
    menu.setColours(popupBackground, presetHighlight, presetText, disabledText, scrollBack);
    menu.setScrollColours(scrollBack, scrollThumb);
}

const EffectGroupRow* groupOfPresetTag(int32_t tag) {
    for (const EffectGroupRow& g : effectGroups)
        if (g.presetTag == tag)
            return &g;
    return nullptr;
}

std::string numberedKey(const char* format, int32_t number) {
    char key[32];
    std::snprintf(key, sizeof key, format, int(number));
    return key;
}
} // namespace

const std::vector<MFOptionMenu*>& MFUniClientEditor::getPresetMenus(int32_t category) const {
    static const std::vector<MFOptionMenu*> none;
    return category >= 0 && category < presetCategoryCount ? lanePresetLists[category] : none;
}

std::string MFUniClientEditor::presetFolder(int32_t category) const {
    MFSettingsStore store;
    std::string folder;
    if (store.open(MFPresetManager::productName))
        store.getString(numberedKey("presetpath%d", category).c_str(), folder);
    store.close();
    return folder;
}

MFControl* MFUniClientEditor::addOptionMenu(const ControlRow& row) {
    MFOptionMenu* menu = nullptr;
    if (row.tag == mfrouting::mainPresetTag) {
        menu = addPresetMenu(row, 0, MFPresetCategory::wholeStateExtension, mainPresetStyle);
    } else if (const EffectGroupRow* g = groupOfPresetTag(row.tag)) {
        menu = addPresetMenu(row, mflane::presetCategory[g->lane], g->extension, effectPresetStyle);
    } else if (row.tag == filterKindTag) {
        menu = addRowMenu(row, filterKindBitmap, filterKindHighlight);
    } else if (row.tag == pageHolderTag) {
        // Holds the page index for the layout; never drawn and never pressed.
        menu = new MFOptionMenu(row.rect, this, row.tag, frame);
        for (int32_t page = 0; page < pageCount; ++page)
            menu->addEntry("page");
        menu->bind(&plugin.getRegistry().values[row.tag].mapped);
        menu->setVisible(false);
        menu->setMouseEnabled(false);
    } else if (row.tag == learnMenuTag) {
        menu = new MFOptionMenu(row.rect, this, row.tag, frame, nullptr, getBitmap(learnBitmap),
                                MFOptionMenu::stylePopup, getBitmap(learnHighlight));
        for (const char* title : learnTitles)
            menu->addEntry(title);
        menu->setPanelWidth(learnWidth);
        menu->setTextSize(learnTextSize);
        paintLikePresetMenus(*menu);
        learnMenu = menu;
    } else {
        for (const EffectGroupRow& g : effectGroups) {
            const MFLaneTags& t = mflane::tags[g.lane];
            if (row.tag != t.listA && row.tag != t.listB)
                continue;
            const int32_t list = firstRowListBitmap + 2 * (g.gridBitmap - firstTableBitmap);
            menu = addRowMenu(row, list, list + 1);
            break;
        }
    }
    if (!menu)
        return nullptr;
    menu->setPage(plugin.getPanels().pageWords(), row.pageBit);
    frame->addView(menu);
    controls.push_back(menu);
    return menu;
}

MFOptionMenu* MFUniClientEditor::addPresetMenu(const ControlRow& row, int32_t category,
                                               const char* extension, int32_t style) {
    const bool main = category == 0;
    auto* menu = new MFOptionMenu(row.rect, this, row.tag, frame,
                                  main ? nullptr : getBitmap(row.bitmap), nullptr, style);
    menu->setTextSize(main ? mainTextSize : effectTextSize);
    menu->setFontSize(main ? mainFontSize : effectFontSize);
    menu->setWidthLimits(row.rect.width(), browserMaxWidth);
    // The panel opens beneath the caption, as a drop-down.
    menu->setOpenOffset(0, row.rect.height());
    paintLikePresetMenus(*menu);
    menu->setExternalName(&shownPresetNames[category]);
    menu->setFactoryFolder(plugin.getPresetManager().factoryFolder(category).c_str());
    menu->fillPresets(presetFolder(category).c_str(), extension);
    lanePresetLists[category].push_back(menu);
    return menu;
}

MFOptionMenu* MFUniClientEditor::addRowMenu(const ControlRow& row, int32_t listBitmap,
                                            int32_t highlightBitmap) {
    CBitmap* list = getBitmap(listBitmap);
    auto* menu = new MFOptionMenu(row.rect, this, row.tag, frame, list, list,
                                  MFOptionMenu::styleBitmapRows, getBitmap(highlightBitmap));
    // One line for each row of the picture; its value is the line.
    const int32_t lines = list && list->isLoaded()   ? list->getHeight() / rowLineHeight
                          : row.tag == filterKindTag ? filterKinds
                                                     : defaultRowLines;
    for (int32_t i = 0; i < lines; ++i)
        menu->addEntry("entry");
    menu->setTextSize(rowLineHeight);
    paintLikePresetMenus(*menu);
    menu->bind(&plugin.getRegistry().values[row.tag].raw, mfrouting::scaleOf(row.tag));
    return menu;
}

void MFUniClientEditor::addTextLearnMenu() {
    textLearnMenu = new MFOptionMenu(CRect(), this, mfrouting::textLearnTag, frame, nullptr,
                                     nullptr, MFOptionMenu::stylePopup);
    for (const char* title : learnTitles)
        textLearnMenu->addEntry(title);
    textLearnMenu->setTextSize(effectTextSize);
    textLearnMenu->setFontSize(effectFontSize + 1);
    paintLikePresetMenus(*textLearnMenu);
    textLearnMenu->setMouseEnabled(false);
    textLearnMenu->setCallback(this);
    frame->addView(textLearnMenu);
}

void MFUniClientEditor::connectLearnMenu() {
    if (!learnMenu)
        return;
    for (MFControl* control : learnList)
        control->setLearnMenu(learnMenu);
    // Reached only by being opened from a control.
    learnMenu->setMouseEnabled(false);
    learnMenu->setCallback(this);
}

bool MFUniClientEditor::menuOpened(MFOptionMenu* menu) {
    if (menu == learnMenu || menu == textLearnMenu)
        menu->setValue(0.0f);
    return true;
}

void MFUniClientEditor::menuClosed(MFOptionMenu*) {}

void MFUniClientEditor::refreshPresetNames() {
    // Called inside the idle's pass: no load from another thread runs meanwhile.
    plugin.copyPresetNames(shownPresetNames, presetCategoryCount);
}

void MFUniClientEditor::refillPresetMenus(int32_t category) {
    if (category < 0 || category >= presetCategoryCount)
        return;
    const std::string folder = presetFolder(category);
    for (MFOptionMenu* menu : lanePresetLists[category])
        menu->fillPresets(folder.c_str(), menu->getExtension().c_str());
}

// --- Routing ---------------------------------------------------------------------------

bool MFUniClientEditor::routeMenu(CControl* control) {
    const int32_t tag = control->getTag();
    if (learnMenu && control == learnMenu) {
        MFMidiInput& midi = plugin.getMidiInput();
        const int32_t target = learnMenu->getLearnTag();
        if (target < 0)
            return true;
        if (control->getValue() == 0.0f)
            midi.armLearnPair(target, learnMenu->getLearnSubIndex());
        else if (control->getValue() == 1.0f)
            midi.clearAssignment(target); // gives up, changing nothing, after 500 ms
        return true;
    }
    if (textLearnMenu && control == textLearnMenu) {
        const int32_t target = textLearnMenu->getLearnTag();
        if (target < 0)
            return true;
        if (control->getValue() == 0.0f)
            plugin.getMidiInput().armLearnPair(target, 0);
        else if (control->getValue() == 1.0f)
            plugin.getMidiInput().clearAssignment(target);
        return true;
    }
    if (tag == mfrouting::mainPresetTag) {
        presetMenuChosen(*static_cast<MFOptionMenu*>(control), 0,
                         MFPresetCategory::wholeStateExtension);
        return true;
    }
    for (const EffectGroupRow& g : effectGroups) {
        const int32_t category = mflane::presetCategory[g.lane];
        if (tag == g.presetTag) {
            presetMenuChosen(*static_cast<MFOptionMenu*>(control), category, g.extension);
            return true;
        }
        if (tag == g.previousTag || tag == g.nextTag) {
            // At the press; through the browser, so the order is the one it shows.
            if (control->getValue() == 1.0f &&
                stepPresetByMenu(category, g.extension, tag == g.nextTag))
                plugin.notifyHostDisplay();
            return true;
        }
    }
    return false;
}

bool MFUniClientEditor::stepPresetByMenu(int32_t category, const char* extension, bool forward) {
    for (MFOptionMenu* menu : lanePresetLists[category]) {
        if (!menu->selectNeighbour(forward))
            return false;
        std::string path;
        if (!menu->getCurrentPath(path, extension))
            return false;
        plugin.getPresetManager().loadPreset(path.c_str(), category, extension);
        frame->setDirty();
        return true;
    }
    return false;
}

void MFUniClientEditor::presetMenuChosen(MFOptionMenu& menu, int32_t category,
                                         const char* extension) {
    MFPresetManager& presets = plugin.getPresetManager();
    switch (menu.chosenFixedLine()) {
    case MFOptionMenu::FixedLine::savePreset:
        // The dialog starts in the category's save folder; the lists are read again only
        // after a save.
        if (presets.savePreset(nullptr, category, extension))
            refillPresetMenus(category);
        break;
    case MFOptionMenu::FixedLine::loadPreset:
        presets.loadPreset(nullptr, category, extension);
        break;
    case MFOptionMenu::FixedLine::selectFolder:
        selectPresetFolder(menu, category, extension);
        break;
    case MFOptionMenu::FixedLine::header:
        break;
    case MFOptionMenu::FixedLine::none: {
        std::string path;
        if (menu.getCurrentPath(path, extension))
            presets.loadPreset(path.c_str(), category, extension);
        break;
    }
    }
    plugin.notifyHostDisplay();
    frame->setDirty();
}

void MFUniClientEditor::selectPresetFolder(MFOptionMenu& menu, int32_t category,
                                           const char* extension) {
    // The dialog picks a preset; its folder becomes the category's folder.
    std::string chosen;
    const MFFileDialog::Result result = plugin.getPresetManager().getFileDialog().run(
        MFFileDialog::Mode::open, MFOptionMenu::selectFolderTitle, menu.getFolder(),
        {{"Preset file", extension}}, chosen);
    if (result == MFFileDialog::Result::unavailable)
        MFMessageService::showNotice(MFPresetManager::noDialogNotice);
    if (result != MFFileDialog::Result::chosen)
        return;
    const std::string folder = MFPaths::folderOf(chosen);
    if (folder.empty())
        return;
    MFSettingsStore store;
    if (store.open(MFPresetManager::productName))
        store.setString(numberedKey("presetpath%d", category).c_str(), folder.c_str());
    store.close();
    refillPresetMenus(category);
}
