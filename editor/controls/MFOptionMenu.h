#pragma once

#include "editor/controls/MFControl.h"
#include "editor/controls/MFOptionMenuEntryInfo.h"
#include "editor/toolkit/CControlListener.h"
#include "platform/MFRelaxed.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class MFOptionMenuExtraCallBack;
class MFScrollbarY;

// A menu drawn inside the frame. Closed, it shows a caption in the layout; open, it is the
// frame's modal control: a panel on top of everything that takes every mouse event until
// it closes. Lines may hold sub-menus (again MFOptionMenu, owned by their line), which open
// beside the panel while the mouse hovers their line. A list taller than the frame gets a
// scroll bar.
//
// As a preset browser it lists a folder on disk: a few fixed lines, then one line per
// sub-folder (a sub-menu) and one per preset file. It reads the disk only in fillPresets,
// never when the panel opens.
class MFOptionMenu : public MFControl, public CControlListener {
public:
    // Style flags.
    static constexpr int32_t stylePopup = 0x1;          // no closed look, no arrow
    static constexpr int32_t styleBitmapRows = 0x2;     // closed look: a row of the caption
    static constexpr int32_t stylePresetBrowser = 0x8;  // fillPresets applies
    static constexpr int32_t styleSelectFolder = 0x10;  // first line "Select Folder"
    static constexpr int32_t styleSubFolders = 0x20;    // sub-folders become sub-menus
    static constexpr int32_t styleExternalName = 0x40;  // closed look: the plug-in's name
    static constexpr int32_t styleSavePreset = 0x80;    // a line "Save Preset"
    static constexpr int32_t styleHeader = 0x100;       // a disabled line "--Presets--"
    static constexpr int32_t styleFromText = 0x200;     // lines from a text, one a line
    static constexpr int32_t styleLoadPreset = 0x800;   // a line "Load Preset"
    static constexpr int32_t styleSubMenu = 0x1000;     // a browser's sub-folder
    static constexpr int32_t styleNumbered = 0x2000;    // lines drawn as "%d %s"
    static constexpr int32_t styleLeftAligned = 0x4000; // text at the left, not centred
    static constexpr int32_t styleArrowLeft = 0x8000;   // the arrow at the left
    static constexpr int32_t styleNoFill = 0x10000;     // the closed look is not filled
    static constexpr int32_t styleFlatValue = 0x80000;  // the value counts across sub-menus
    // What a browser's sub-folder menu is made with.
    static constexpr int32_t subFolderStyle =
        stylePopup | stylePresetBrowser | styleSubMenu | styleNumbered;

    // Line flags for addEntry.
    static constexpr int32_t entryDisabled = 0x1;
    static constexpr int32_t entrySeparator = 0x2;

    static constexpr int32_t maxLines = 1024;
    static constexpr int32_t growBy = 32;
    static constexpr int32_t maxPathBytes = 1024;
    // Sub-folders deeper than this are not read (a link loop must end somewhere).
    static constexpr int32_t maxFolderDepth = 8;
    // Step commands from a child button.
    static constexpr int32_t nextTag = 10051;
    static constexpr int32_t previousTag = 10052;
    static constexpr int32_t frameMargin = 2;

    static constexpr const char* selectFolderTitle = "Select Folder";
    static constexpr const char* savePresetTitle = "Save Preset";
    static constexpr const char* loadPresetTitle = "Load Preset";
    static constexpr const char* headerTitle = "--Presets--";
    static constexpr const char* noFile = "none";

    enum class FixedLine { none, selectFolder, savePreset, loadPreset, header };

    // caption: the closed look's picture; openBackground: the open panel's picture (its
    // rows are the lines); rowHighlight: the picture of the line under the mouse.
    MFOptionMenu(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
                 CBitmap* caption = nullptr, CBitmap* openBackground = nullptr, int32_t style = 0,
                 CBitmap* rowHighlight = nullptr);
    ~MFOptionMenu() override;

    // The learn target.
    void setLearnMenu(MFControl* menu) override { learnMenu = menu; }
    void setLearnTag(int32_t t) override { learnTag = t; }
    void setLearnSubIndex(int32_t index) override { learnSub = index; }
    int32_t getLearnTag() const override { return learnTag; }
    int32_t getLearnSubIndex() const override { return learnSub; }

    // Lines. index -1 appends. 0 when the menu holds maxLines already.
    virtual int32_t addEntry(const char* text, int32_t index = -1, int32_t flags = 0);
    // Takes ownership of the menu; it reports its choices to this one.
    virtual int32_t addSubMenu(MFOptionMenu* menu, const char* title);
    virtual int32_t addUserEntryLong(const char* text, int32_t index, int32_t flags,
                                     int32_t number);
    // The current line's title; withSubMenu adds the sub-menu's current title behind it.
    virtual bool getCurrentTitle(std::string& text, bool withSubMenu) const;
    virtual int32_t getCurrentIndex() const;
    virtual bool getEntry(int32_t index, std::string& text) const;
    virtual bool setEntryTitle(int32_t index, const char* text);
    virtual bool setEntryEnabled(int32_t index, bool enabled);
    virtual void removeAllEntries();
    virtual int32_t getNbEntries() const { return int32_t(entries.size()); }
    // -1 for none.
    virtual int32_t findEntry(const char* text) const;
    virtual MFOptionMenu* getSubMenu(int32_t index) const;
    virtual const MFOptionMenuEntryInfo* getEntryInfo(int32_t index) const;
    virtual int32_t getStyle() const { return style; }
    void setStyle(int32_t flags) {
        style = flags;
        setDirty();
    }
    virtual MFOptionMenu* getParentMenu() const { return parentMenu; }
    // Browsers only: the file of the current line, with the folder and the extension. A
    // choice made in a sub-menu arrives whole, from however deep it was made.
    virtual bool getCurrentPath(std::string& out, const char* fileExtension) const;

    // Rebuilds a browser's lines from the folder (null keeps the folder it has).
    void fillPresets(const char* folderPath, const char* fileExtension);
    // A read-only folder listed with the one fillPresets reads (the factory content):
    // folders of the same name join, and a file of the user's wins over one of the same
    // name. Set before fillPresets; empty for none.
    void setFactoryFolder(const char* folderPath);
    const std::string& getFolder() const { return path; }
    const std::string& getExtension() const { return extension; }
    // What the line at index is, among the fixed lines of a browser.
    FixedLine fixedLineAt(int32_t index) const;
    // The fixed line that the last choice was; none for a file or a sub-menu's file.
    FixedLine chosenFixedLine() const;
    // Moves the choice to the file after (or before) the one named by the external name,
    // or else the current one, across sub-menus and wrapping at the ends. False when the
    // browser holds no file.
    bool selectNeighbour(bool forward);
    // The step command of a child button: one line up or down, wrapping.
    void stepCommand(int32_t direction);

    void setExternalName(const std::string* name) { externalName = name; }
    void setCallback(MFOptionMenuExtraCallBack* cb) { callback = cb; }
    void setLinesFromText(const char* text) { sourceText = text ? text : ""; }
    // The closed look follows this float: line = bound / scale, to the nearest.
    void bind(const MFRelaxed<float>* bound, float scale = 1.0f);
    void setWidthLimits(int32_t minimum, int32_t maximum);
    void setPanelWidth(int32_t pixels) { width = pixels; }
    // Where the panel opens, from the requested point.
    void setOpenOffset(int32_t dx, int32_t dy);
    void setMargins(int32_t top, int32_t bottom, int32_t left, int32_t right);
    // Pixel size of the text; 0 takes it from the line height.
    void setFontSize(int32_t pixels) { fontSize = pixels; }
    void setColours(CColor fill, CColor highlight, CColor text, CColor disabled, CColor border);
    void setScrollColours(CColor back, CColor thumb);
    void setArrowBitmap(CBitmap* bitmap);

    bool isOpen() const { return open; }
    const CRect& getOpenRect() const { return openRect; }
    const CRect& getListRect() const { return listRect; }
    MFScrollbarY* getScrollBar() const { return scrollBar.get(); }
    bool isScrollBarShown() const { return scrollShown; }
    float getScrollPos() const { return scrollPos; }
    void setScrollPos(float position);
    int32_t getHotLine() const { return hotLine; }
    MFOptionMenu* getOpenSubMenu() const { return subOpen; }
    // The first line shown and the rectangle of a line while open (frame coordinates).
    int32_t firstShownLine() const;
    int32_t visibleRows() const;
    CRect lineRect(int32_t line) const;
    int32_t lineAt(CPoint where) const;
    int32_t rowHeight() const;

    void setValue(float v) override;
    void draw(CDrawContext& context) override;
    void drawRect(CDrawContext& context, const CRect& updateRect) override;
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    int onMouseMoved(CPoint where, long buttons) override;
    bool onWheel(CPoint where, float distance, long buttons) override;
    void onIdle() override;
    CRect getDrawnArea() const override;
    // Opens the panel one pixel right of where, or at the closed look's corner when where
    // is null. Mode 2 opens it for MIDI learn of the control with this tag.
    void openModal(int32_t mode, const CPoint* where, int32_t tag) override;
    // Closes the panel and any sub-menu, without choosing.
    void closeModal() override;

    // CControlListener: choices of the sub-menus, the scroll bar and the step buttons.
    void valueChanged(CControl* control) override;

private:
    int32_t insertLine(MFOptionMenuEntryInfo&& line, int32_t index);
    void openPanel(CPoint at, bool nearPoint);
    void closePanel();
    MFOptionMenu* root();
    // The open panel (or the open sub-menu's, and so on) that holds where.
    MFOptionMenu* panelAt(CPoint where);
    bool panelContains(CPoint where) const;
    void track(CPoint where);
    void choose(int32_t line);
    void notifyUp();
    void openSubMenu(int32_t line);
    void closeSubMenu();
    bool lineChoosable(int32_t line) const;
    int32_t flatIndexOf(int32_t line) const;
    int32_t computeWidth() const;
    void drawClosed(CDrawContext& context);
    void drawPanel(CDrawContext& context);
    void drawArrow(CDrawContext& context, const CRect& area, bool right);
    std::string lineText(int32_t line) const;
    void invalidPanel();
    void refillFromText();
    void fillFolder(const char* folderPath, const char* fileExtension, int32_t depth);
    int32_t textPixels() const;

    MFOptionMenuExtraCallBack* callback = nullptr;
    CBitmap* caption = nullptr;
    CBitmap* openBackground = nullptr;
    CBitmap* rowHighlight = nullptr;
    CBitmap* arrow = nullptr;
    std::unique_ptr<MFScrollbarY> scrollBar;
    MFControl* learnMenu = nullptr;
    CColor fillColour{9, 9, 9, 255};
    CColor hiColour{255, 255, 0, 255};
    CColor lineTextColour{202, 202, 202, 255};
    CColor disabledColour{110, 110, 110, 255};
    CColor borderColour{92, 92, 92, 255};
    CColor scrollBack{92, 92, 92, 255};
    CColor scrollThumb{192, 192, 192, 255};
    CRect closedRect;
    CRect openRect;
    CRect listRect;
    std::string path;
    std::string factoryPath;
    // The folder each line's file lies in, where it is not path (a factory file).
    std::vector<std::string> lineFolders;
    std::string extension;
    std::string fileString = noFile;
    std::string sourceText;
    const std::string* externalName = nullptr;
    std::string shownName;
    std::vector<MFOptionMenuEntryInfo> entries;
    MFOptionMenu* subOpen = nullptr;
    MFOptionMenu* parentMenu = nullptr;
    const MFRelaxed<float>* boundValue = nullptr;
    float boundScale = 1.0f;
    int32_t width = -1;
    int32_t minWidth = 0;
    int32_t maxWidth = 0;
    int32_t hotLine = -1;
    int32_t style;
    int32_t marginTop = 2, marginBottom = 2;
    int32_t marginLeft = 5, marginRight = 0;
    int32_t offsetX = 0, offsetY = 0;
    int32_t fontSize = 0;
    int32_t depth = 0;
    float scrollPos = 0.0f;
    int32_t learnTag = -1;
    int32_t learnSub = 0;
    CPoint pressPoint;
    bool open = false;
    bool scrollShown = false;
    bool scrollDragging = false;
    // The press that opened the panel: its release chooses only after the mouse moved.
    bool openingPress = false;
    bool chosenAtPress = false;
    bool choosing = false;
    // Set while the lines are rebuilt, so that nothing draws or walks them half made.
    bool busy = false;
};
