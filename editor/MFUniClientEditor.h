#pragma once

#include "editor/MFEditorBase.h"
#include "editor/controls/MFOptionMenuExtraCallBack.h"
#include "editor/toolkit/CControlListener.h"
#include "editor/toolkit/CEditorInterface.h"
#include "editor/toolkit/CFontDesc.h"
#include "editor/toolkit/CSystemWindow.h"
#include "platform/MFRelaxed.h"
#include "platform/MFX11Window.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CBitmap;
class MFControl;
class MFFrame;
class MFViewContainer;
namespace mflayout {
struct ControlRow;
struct EffectGroupRow;
} // namespace mflayout
class MFKnob;
class MFLevelMeterPic;
class MFOptionMenu;
class MFSystemInfo;
class MFUniClient;
class MFZoneView;

// The editor as the host sees it. It lives as long as the plug-in; the window, the frame,
// its views and the shared bitmaps come with open and go with close. Controls report to
// valueChanged, which routes by tag into the plug-in; the way back has no call: controls
// compare their bound floats at each idle.
//
// The host drives everything from its user-interface thread: open, close, idle (which
// pumps the window's events) and the keys.
class MFUniClientEditor : public MFEditorBase,
                          public CControlListener,
                          public CEditorInterface,
                          public CSystemWindow,
                          public MFWindowEvents,
                          public MFOptionMenuExtraCallBack {
public:
    static constexpr int16_t width = 770;
    static constexpr int16_t height = 525;
    static constexpr int32_t keyF2 = 41;
    static constexpr int32_t fontSize = 12;
    static constexpr int32_t defaultTextSize = 10;
    static constexpr int32_t firstBitmapId = 1000;
    static constexpr int32_t lastBitmapId = 1188;
    static constexpr int32_t backgroundBitmap = 1000;

    explicit MFUniClientEditor(MFUniClient& plugin);
    ~MFUniClientEditor() override;

    // The plug-in module's factory: what it hands the engine.
    static AEffGUIEditor* create(MFUniClient& plugin);

    // parent is the host's X11 window id. A second open in the same parent does nothing
    // and succeeds; in another parent the old window goes first. False, with nothing left
    // open, when there is no display or the parent does not exist.
    bool open(void* parent) override;
    // The frame and its views without a window: for tests, benchmarks and snapshots.
    bool openHeadless();
    void close() override;
    void idle() override;
    // F2 mutates the parameters; every other key stays the host's.
    bool onKeyDown(int32_t character, int32_t virtualKey, int32_t modifiers) override;
    // The next idle repaints everything.
    void forceRedraw();
    // A skin bitmap by id: null outside 1000..1188 and for one that failed to decode.
    CBitmap* getBitmap(int32_t id) const;
    const MFSystemInfo* getEngineContext() const;

    // CControlListener
    void valueChanged(CControl* control) override;
    // MFOptionMenuExtraCallBack: the learn popups open with their first line lit.
    bool menuOpened(MFOptionMenu* menu) override;
    void menuClosed(MFOptionMenu* menu) override;
    // CEditorInterface: gestures reach the host for its own parameters only.
    void beginEdit(int32_t tag) override;
    void endEdit(int32_t tag) override;

    MFUniClient& getPlugin() const { return plugin; }
    MFFrame* getFrame() const { return frame; }
    // The control built for a tag, or null (the learn popup and menus not yet).
    MFControl* findControl(int32_t tag) const;
    MFViewContainer* getAboutPanel() const { return aboutPanel; }
    // The MIDI learn popup that the learning controls open; null while closed.
    MFOptionMenu* getLearnMenu() const { return learnMenu; }
    MFOptionMenu* getTextLearnMenu() const { return textLearnMenu; }
    static constexpr int32_t presetCategoryCount = 15;
    // The browsers of a preset category (0 the whole state, 1..14 the effects).
    const std::vector<MFOptionMenu*>& getPresetMenus(int32_t category) const;
    float getPlayheadPixel() const { return playheadPixel; }
    // Null until the first open.
    const CFontDesc* getFont() const { return font.get(); }

    static constexpr int32_t zoneViewCount = 15;
    // 0 is the pattern strip "loopbar"; 1 + n the lane of effect n in chain order. Null
    // while closed.
    MFZoneView* getZoneView(int32_t index) const {
        return index >= 0 && index < zoneViewCount ? zoneViews[index] : nullptr;
    }

private:
    // CSystemWindow: the frame's pixels and cursor go to the X11 window.
    void present(const unsigned char* argb32, int stride, const CRect& area) override;
    void setCursor(int kind) override;
    // MFWindowEvents
    void windowMouseDown(int x, int y, long buttons) override;
    void windowMouseUp(int x, int y, long buttons) override;
    void windowMouseMoved(int x, int y, long buttons) override;
    void windowWheel(int x, int y, float distance, long buttons) override;
    bool windowKeyDown(int virtualKey, int character, long modifiers) override;
    void windowEnterLeave(bool entered) override;
    void windowExpose(int x, int y, int w, int h) override;
    void windowClosed() override;

    CPoint toLogical(int x, int y) const;
    void buildFrame(CSystemWindow* window);
    void buildLayout();
    void addEffectGroup(const mflayout::EffectGroupRow& group, int32_t groupIndex);
    // onTop: held back and added after everything else, so that it draws over the rest.
    MFControl* addControl(const mflayout::ControlRow& row, bool onTop = false);
    // The lanes' place in the drawing order: the zone view joins here.
    void addLaneView(int32_t tag, const CRect& rect, int32_t bitmap, int32_t laneIndex);
    // A step table's or event table's place: the table view bound to the plug-in's table.
    MFControl* addTableView(const mflayout::ControlRow& row);
    void buildAboutPanel();
    // The option menus (MFUniClientEditorMenus.cpp).
    MFControl* addOptionMenu(const mflayout::ControlRow& row);
    MFOptionMenu* addPresetMenu(const mflayout::ControlRow& row, int32_t category,
                                const char* extension, int32_t style);
    MFOptionMenu* addRowMenu(const mflayout::ControlRow& row, int32_t listBitmap,
                             int32_t highlightBitmap);
    void addTextLearnMenu();
    void connectLearnMenu();
    void refreshPresetNames();
    void refillPresetMenus(int32_t category);
    std::string presetFolder(int32_t category) const;
    // The routing of the menus' choices; false for a control that is no menu of these.
    bool routeMenu(CControl* control);
    void presetMenuChosen(MFOptionMenu& menu, int32_t category, const char* extension);
    void selectPresetFolder(MFOptionMenu& menu, int32_t category, const char* extension);
    bool stepPresetByMenu(int32_t category, const char* extension, bool forward);
    void updatePageMarker();
    // The pattern and status rows from the plug-in's state, once an idle.
    void updateStateRows();
    void bindStatePictures();

    MFUniClient& plugin;
    MFFrame* frame = nullptr;
    MFX11Window window;
    unsigned long parentId = 0;
    bool windowLost = false;
    bool closePending = false;
    bool idling = false;
    uint32_t redrawsSeen = 0;
    std::unique_ptr<CFontDesc> font;

    // Every control built, in the order they were added.
    std::vector<MFControl*> controls;
    // While building: the views that join the frame last.
    std::vector<MFControl*> onTopViews;
    // Out of the view tree until it opens as modal; deleted before the frame.
    MFViewContainer* aboutPanel = nullptr;
    MFRelaxed<float> playheadFraction = 0.0f;
    MFRelaxed<float> playheadPixel = 0.0f;
    MFRelaxed<float> markerOffset = 0.0f;
    // Rows of the pictures that show the plug-in's state: the pattern playing (key strip
    // and name) and the status picture.
    MFRelaxed<float> patternRow = 0.0f;
    MFRelaxed<float> statusRow = 0.0f;
    MFZoneView* zoneViews[zoneViewCount] = {};
    MFOptionMenu* learnMenu = nullptr;
    MFOptionMenu* textLearnMenu = nullptr;
    // Controls that offer MIDI learn, gathered while building.
    std::vector<MFControl*> learnList;
    std::vector<MFOptionMenu*> lanePresetLists[presetCategoryCount];
    // The plug-in's preset names as the browsers show them, copied at idle.
    std::string shownPresetNames[presetCategoryCount];
};
