// The editor's menus in the layout: MIDI learn through the learn popup, and the preset
// browsers saving, loading and stepping through their folders.
#include "PluginEditorRig.h"
#include "engine/MidiTestEvents.h"

#include "editor/controls/MFOptionMenu.h"
#include "engine/MFLaneTags.h"
#include "pattern/MFTableXY.h"
#include "platform/MFFileDialog.h"
#include "presets/MFPresetManager.h"
#include "presets/MFSettingsStore.h"
#include "support/ScopedEnv.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

using namespace editortest;
namespace fs = std::filesystem;

namespace {
constexpr int32_t globalWetTag = 101;
constexpr CPoint globalWetKnob(595, 484);
constexpr int32_t reverbCategory = 13, reverbPresetTag = 131, reverbNextTag = 146;

// A dialog that answers with a fixed path, or says that none exists.
struct ScriptedDialog : MFFileDialog {
    Result run(Mode mode, const std::string&, const std::string& folder,
               const std::vector<FileType>& types, std::string& path) override {
        modes.push_back(mode);
        folders.push_back(folder);
        extensions.push_back(types.empty() ? "" : types[0].extension);
        if (!available)
            return Result::unavailable;
        path = answer;
        return Result::chosen;
    }
    bool available = true;
    std::string answer;
    std::vector<Mode> modes;
    std::vector<std::string> folders;
    std::vector<std::string> extensions;
};

// A home of the test's own for settings and content, so that tests running side by side
// never see each other's folders; the previous home comes back at the end.
struct OwnHome : TempFolder {
    ScopedEnv config{"XDG_CONFIG_HOME", (root / "config").c_str()};
    ScopedEnv data{"XDG_DATA_HOME", (root / "data").c_str()};
    // Sets a settings value in this home.
    void set(const char* name, const std::string& value) const {
        MFSettingsStore store;
        if (store.open(MFPresetManager::productName))
            store.setString(name, value.c_str());
        store.close();
    }
};

struct EditorRig : PluginWithEditor {
    EditorRig() { plugin().setFileDialog(dialog); }
    // Runs blocks of silence so that queued MIDI reaches its tick.
    void process(int blocks = 2) {
        constexpr int block = 128;
        float l[block] = {}, r[block] = {}, ol[block], orr[block];
        float* in[2] = {l, r};
        float* out[2] = {ol, orr};
        for (int i = 0; i < blocks; ++i)
            plugin().processReplacing(in, out, block);
    }
    void controller(uint8_t number, uint8_t value) {
        MidiTestEvents events;
        events.add(0, 0xB0, number, value);
        dispatch(vst::effProcessEvents, 0, 0, const_cast<vst::VstEvents*>(events.list()));
        process();
    }
    ScriptedDialog dialog;
};

int32_t entriesFor(const MFMidiMaps& maps, int32_t tag) {
    int32_t count = 0;
    for (const auto& list : maps.controllers)
        for (const MFMapEntry& e : list)
            count += e.tag == tag;
    return count;
}
} // namespace

// A right click on a knob opens the learn popup beside it; "midi Learn" arms the knob and
// the next controller takes it over; "clear" removes it again.
TEST(EditorMenus, LearnPopupArmsAndClearsTheKnobsController) {
    EditorRig rig;
    rig.editor().openHeadless();
    rig.plugin().setSampleRate(44100.0f);
    rig.plugin().resume();
    MFOptionMenu* learn = rig.editor().getLearnMenu();
    ASSERT_NE(learn, nullptr);
    EXPECT_FALSE(learn->getMouseEnabled());

    rig.click(globalWetKnob, cbutton::right);
    ASSERT_EQ(rig.frame().getModalControl(), learn);
    EXPECT_EQ(learn->getLearnTag(), globalWetTag);
    EXPECT_EQ(learn->getValue(), 0.0f) << "the open callback starts on the first line";
    EXPECT_EQ(learn->getOpenRect(), CRect(globalWetKnob.x + 1, globalWetKnob.y,
                                          globalWetKnob.x + 78, globalWetKnob.y + 30));
    rig.click(centre(learn->lineRect(0)));
    EXPECT_EQ(rig.frame().getModalControl(), nullptr);
    EXPECT_EQ(int32_t(rig.plugin().getMidiInput().learnTag), globalWetTag);

    // A controller value v reaches the parameter as v / 127, within a float step.
    rig.controller(20, 127);
    EXPECT_NEAR(rig.plugin().getParameter(globalWetTag), 1.0f, 1e-6f);
    rig.controller(20, 0);
    EXPECT_EQ(rig.plugin().getParameter(globalWetTag), 0.0f);
    EXPECT_EQ(entriesFor(rig.plugin().getMidiMaps(), globalWetTag), 1);

    // "clear" on the second line: the controller lets go.
    rig.click(globalWetKnob, cbutton::right);
    rig.click(centre(learn->lineRect(1)));
    EXPECT_EQ(entriesFor(rig.plugin().getMidiMaps(), globalWetTag), 0);
    rig.controller(20, 127);
    EXPECT_EQ(rig.plugin().getParameter(globalWetTag), 0.0f);
}

// A right click on one step of a table learns a controller for that step alone: the
// controllers of the table's other steps stay, and the new one moves only its own step.
TEST(EditorMenus, ARightClickOnATableStepLearnsThatStepAlone) {
    constexpr int32_t filterPage = 9, step = 5, otherStep = 4;
    EditorRig rig;
    rig.editor().openHeadless();
    rig.plugin().setSampleRate(44100.0f);
    rig.plugin().resume();
    rig.showPage(filterPage);
    rig.idle();
    const int32_t tableTag = mflane::tags[mflane::filter].tableA;
    MFMidiInput& midi = rig.plugin().getMidiInput();
    ASSERT_TRUE(midi.assignByMenuPlace(tableTag, otherStep, 10));

    const CPoint onStep(185 + 18 * step + 9, 380);
    rig.click(onStep, cbutton::right);
    MFOptionMenu* learn = rig.editor().getLearnMenu();
    ASSERT_EQ(rig.frame().getModalControl(), learn);
    EXPECT_EQ(learn->getLearnTag(), tableTag);
    EXPECT_EQ(learn->getLearnSubIndex(), step);
    rig.click(centre(learn->lineRect(0)));
    EXPECT_EQ(int32_t(midi.learnTag), tableTag);
    EXPECT_EQ(int32_t(midi.learnSub), step);
    EXPECT_EQ(rig.plugin().getMidiMaps().controllers[10].size(), 1u) << "the other step's";

    MFTableXY& table = rig.plugin().getLane(mflane::filter).tableA;
    std::vector<float> before;
    for (int32_t s = 0; s < 32; ++s)
        before.push_back(table.normalisedAt(float(s)));
    rig.controller(21, 127);
    for (int32_t s = 0; s < 32; ++s) {
        if (s == step)
            EXPECT_NEAR(table.normalisedAt(float(s)), 1.0f, 1e-6f);
        else
            EXPECT_EQ(table.normalisedAt(float(s)), before[std::size_t(s)]) << "step " << s;
    }
}

// "Save Preset" of an effect browser asks the dialog in the effect's folder and writes the
// effect's file there; the browser lists it after the save, not before. Choosing it loads it.
TEST(EditorMenus, EffectBrowserSavesIntoItsFolderAndListsTheFileAfterwards) {
    const OwnHome home;
    TempFolder folder;
    EditorRig rig;
    home.set("presetpath13", folder.path());
    home.set("presetsavepath13", folder.path());
    rig.editor().openHeadless();
    ASSERT_EQ(rig.editor().getPresetMenus(reverbCategory).size(), 1u);
    MFOptionMenu* browser = rig.editor().getPresetMenus(reverbCategory)[0];
    EXPECT_EQ(browser->getTag(), reverbPresetTag);
    EXPECT_EQ(browser->getNbEntries(), 2); // "Save Preset" and the header

    rig.dialog.answer = folder.path() + "Cathedral";
    rig.plugin().setParameter(67, 0.8125f); // "ReverbRoom"
    browser->setValue(0.0f);
    rig.editor().valueChanged(browser);
    ASSERT_EQ(rig.dialog.modes.size(), 1u);
    EXPECT_EQ(rig.dialog.modes[0], MFFileDialog::Mode::save);
    EXPECT_EQ(rig.dialog.folders[0], folder.path());
    EXPECT_EQ(rig.dialog.extensions[0], "srb");
    EXPECT_TRUE(fs::exists(folder.root / "Cathedral.srb"));
    ASSERT_EQ(browser->getNbEntries(), 3);
    EXPECT_EQ(browser->findEntry("Cathedral"), 2);

    // Loading it back through the browser restores the room.
    rig.plugin().setParameter(67, 0.25f);
    browser->setValue(2.0f);
    rig.editor().valueChanged(browser);
    EXPECT_FLOAT_EQ(rig.plugin().getParameter(67), 0.8125f);
    EXPECT_EQ(rig.plugin().getPresetNames()[reverbCategory], "Cathedral");
    rig.idle();

    // A file added behind the browser's back shows only after the next save.
    fs::copy_file(folder.root / "Cathedral.srb", folder.root / "Attic.srb");
    EXPECT_EQ(browser->findEntry("Attic"), -1);
}

// The effect's next button steps through the browser's files in the order it shows them,
// wrapping at the end.
TEST(EditorMenus, NextButtonStepsThroughTheBrowser) {
    const OwnHome home;
    TempFolder folder;
    EditorRig rig;
    home.set("presetpath13", folder.path());
    rig.editor().openHeadless();
    for (const char* name : {"b", "A", "c"}) {
        rig.plugin().setParameter(67, float(name[0] & 0x1f) / 32.0f);
        ASSERT_TRUE(rig.plugin().getPresetManager().savePreset(
            (folder.path() + name + ".srb").c_str(), reverbCategory, "srb"));
    }
    MFOptionMenu* browser = rig.editor().getPresetMenus(reverbCategory)[0];
    browser->fillPresets(folder.path().c_str(), "srb");
    MFControl next(CRect(), &rig.editor(), reverbNextTag, rig.editor().getFrame());
    std::vector<std::string> seen;
    for (int i = 0; i < 4; ++i) {
        rig.idle(); // the browser learns the current name
        next.setValue(1.0f);
        rig.editor().valueChanged(&next);
        next.setValue(0.0f);
        rig.editor().valueChanged(&next);
        seen.push_back(rig.plugin().getPresetNames()[reverbCategory]);
    }
    EXPECT_EQ(seen, (std::vector<std::string>{"A", "b", "c", "A"}));
    EXPECT_FLOAT_EQ(rig.plugin().getParameter(67), float('A' & 0x1f) / 32.0f);
}

// The text popup offers the same two lines in words: "midi Learn" arms the control that
// opened it, "clear" lets its controllers go.
TEST(EditorMenus, TextPopupLearnsAndClears) {
    EditorRig rig;
    rig.editor().openHeadless();
    MFOptionMenu* popup = rig.editor().getTextLearnMenu();
    ASSERT_NE(popup, nullptr);
    EXPECT_EQ(popup->getTag(), 1000000);
    std::string first, second;
    popup->getEntry(0, first);
    popup->getEntry(1, second);
    EXPECT_EQ(first, "midi Learn");
    EXPECT_EQ(second, "clear");

    const CPoint where(200, 200);
    popup->openModal(2, &where, 67);
    ASSERT_EQ(rig.frame().getModalControl(), popup);
    rig.click(centre(popup->lineRect(0)));
    EXPECT_EQ(int32_t(rig.plugin().getMidiInput().learnTag), 67);
    EXPECT_EQ(int32_t(rig.plugin().getMidiInput().learnSub), 0);

    ASSERT_TRUE(rig.plugin().getMidiInput().assignByMenuPlace(67, 0, 30));
    popup->openModal(2, &where, 67);
    rig.click(centre(popup->lineRect(1)));
    EXPECT_EQ(entriesFor(rig.plugin().getMidiMaps(), 67), 0);
}

// A browser with the "Select Folder" and "Load Preset" lines: both ask the dialog. The
// folder of the file chosen becomes the category's folder, and the browsers of the
// category list it; the file chosen to load is loaded. With no dialog these and the save
// report it and change nothing.
TEST(EditorMenus, SelectFolderAndLoadPresetGoThroughTheDialog) {
    const OwnHome home;
    TempFolder first, second;
    EditorRig rig;
    home.set("presetpath13", first.path());
    rig.editor().openHeadless();
    ASSERT_TRUE(rig.plugin().getPresetManager().savePreset((second.path() + "Vault.srb").c_str(),
                                                           reverbCategory, "srb"));
    const int32_t style = MFOptionMenu::stylePresetBrowser | MFOptionMenu::styleSelectFolder |
                          MFOptionMenu::styleSavePreset | MFOptionMenu::styleLoadPreset |
                          MFOptionMenu::styleHeader;
    auto* menu = new MFOptionMenu(CRect(10, 10, 100, 25), &rig.editor(), reverbPresetTag,
                                  rig.editor().getFrame(), nullptr, nullptr, style);
    rig.frame().addView(menu);
    menu->fillPresets(first.path().c_str(), "srb");
    ASSERT_EQ(menu->getNbEntries(), 4);
    MFOptionMenu* browser = rig.editor().getPresetMenus(reverbCategory)[0];
    EXPECT_EQ(browser->findEntry("Vault"), -1);

    rig.dialog.answer = second.path() + "Vault.srb";
    menu->setValue(0.0f); // "Select Folder"
    rig.editor().valueChanged(menu);
    ASSERT_EQ(rig.dialog.modes.size(), 1u);
    EXPECT_EQ(rig.dialog.modes[0], MFFileDialog::Mode::open);
    EXPECT_EQ(rig.dialog.folders[0], first.path());
    EXPECT_EQ(browser->getFolder(), second.path());
    EXPECT_EQ(browser->findEntry("Vault"), 2);
    EXPECT_EQ(rig.plugin().getPresetNames()[reverbCategory], "Vault") << "only from the save";

    rig.plugin().setParameter(67, 0.125f);
    rig.plugin().getPresetManager().savePreset((second.path() + "Other.srb").c_str(),
                                               reverbCategory, "srb");
    rig.plugin().setParameter(67, 0.5f);
    rig.dialog.answer = second.path() + "Other.srb";
    menu->setValue(2.0f); // "Load Preset"
    rig.editor().valueChanged(menu);
    ASSERT_EQ(rig.dialog.modes.size(), 2u);
    EXPECT_EQ(rig.dialog.modes[1], MFFileDialog::Mode::open);
    EXPECT_EQ(rig.dialog.extensions[1], "srb");
    EXPECT_FLOAT_EQ(rig.plugin().getParameter(67), 0.125f);
    EXPECT_EQ(rig.plugin().getPresetNames()[reverbCategory], "Other");

    // Without any dialog program the three lines report it and change nothing.
    rig.dialog.available = false;
    const MessageCapture notices;
    for (float line : {0.0f, 1.0f, 2.0f}) {
        menu->setValue(line);
        rig.editor().valueChanged(menu);
    }
    EXPECT_EQ(notices.shown(), std::vector<std::string>(3, MFPresetManager::noDialogNotice));
    EXPECT_EQ(browser->getFolder(), second.path());
    EXPECT_EQ(rig.plugin().getPresetNames()[reverbCategory], "Other");
    EXPECT_TRUE(fs::is_empty(first.root));
    EXPECT_EQ(std::distance(fs::directory_iterator(second.root), fs::directory_iterator()), 2);
}
