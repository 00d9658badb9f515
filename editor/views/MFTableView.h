#pragma once

#include "editor/controls/MFControl.h"
#include "editor/toolkit/CColor.h"
#include "editor/toolkit/CControlListener.h"
#include "platform/MFRelaxed.h"

#include <cstdint>
#include <memory>
#include <vector>

class CBitmap;
class COffscreenContext;
class MFTable;
class MFTableXY;

// The bar-graph editor of a step table: one bar per step, drawn with the mouse. A drag
// paints the steps it passes, shift draws a straight line from the press, alt nudges the
// whole curve up and down from a copy taken at the press, and the right button hands the
// step to the MIDI learn popup. Switch tables toggle a step at the press instead.
//
// The table belongs to the plug-in; the view only reads and writes its floats, and the
// audio side reads the same floats with no lock. The whole graph is drawn in one pass into
// a buffer of its own and goes to the frame's back buffer in one copy, since it repaints on
// every mouse move.
class MFTableView : public MFControl, public CControlListener {
public:
    // The table's flags that the view reads.
    static constexpr uint32_t flagBusy = 0x1;
    static constexpr uint32_t flagDrawing = 0x2;
    static constexpr uint32_t flagCurve = 0x8;
    static constexpr uint32_t flagTouching = 0x10;
    static constexpr uint32_t flagRuler = 0x40;
    static constexpr uint32_t flagOverview = 0x80;
    static constexpr uint32_t flagWholeSteps = 0x100;
    static constexpr uint32_t flagSwitches = 0x800;
    static constexpr uint32_t flagCentreLine = 0x4000;
    static constexpr uint32_t flagOutline = 0x10000;
    static constexpr uint32_t flagEditable = 0x20000;
    static constexpr uint32_t flagCurrentStep = 0x40000;
    static constexpr uint32_t flagSmoothCurve = 0x100000;
    static constexpr uint32_t flagNoBackground = 0x200000;
    static constexpr uint32_t flagBitmapBars = 0x400000;
    static constexpr uint32_t flagJoinTops = 0x1000000;

    // The entries of a popup of table operations.
    static constexpr int32_t tagCopy = 10055;
    static constexpr int32_t tagPaste = 10056;
    static constexpr int32_t tagRandom = 10057;
    static constexpr int32_t tagFillDefault = 10058;

    // Tests of the busy flag before a drawing pass goes on regardless.
    static constexpr int32_t busySpinLimit = 10000;
    // Value change per pixel of an alt drag: down lowers, up raises.
    static constexpr float nudgePerPixel = -0.002f;
    static constexpr int32_t rulerHeight = 8;
    static constexpr int32_t sideWidth = 10;
    static constexpr int32_t overviewHeight = 8;
    static constexpr int32_t gridMinimumPitch = 8;
    static constexpr int32_t learnMode = 2;

    // One label of the step ruler, x relative to the ruler's left end.
    struct RulerLabel {
        int32_t x;
        int32_t beat;
        int32_t subStep; // 0 for a beat's own label
        bool full;       // "beat.sub" rather than the sub-step alone
    };
    // Where the labels of n steps go on a ruler `width` pixels wide, with text about
    // charWidth pixels per character. Beats every fourth step; sub-steps only where a
    // step is wider than 20 pixels.
    static void rulerLabels(int32_t n, int32_t width, int32_t charWidth,
                            std::vector<RulerLabel>& out);

    MFTableView(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
                MFTable* table);
    ~MFTableView() override;

    void setTable(MFTable* shown);
    MFTable* getTable() const { return table; }
    // The small bitmap the bars are cut from (with flagBitmapBars).
    void setRowLabels(CBitmap* bitmap);
    void setLearnMenu(MFControl* menu) override { learnMenu = menu; }
    MFControl* getLearnMenu() const { return learnMenu; }
    // The table's smoothing, 0..1 of a step: the curve ramps over that part of each step.
    void setSmoothValue(const MFRelaxed<float>* value) { smoothValue = value; }
    // The sequencer's position in steps, written by the audio side.
    void watchStep(const MFRelaxed<float>* step) { currentStep = step; }
    // Set to 1 while the user draws, so the audio side leaves the table alone.
    void setTouchedFlag(MFRelaxed<float>* flag) { touchedFlag = flag; }
    void setColours(CColor background, CColor bar, CColor line, CColor highlight, CColor text);
    // Optional guide lines at the value 0 and at the table's default.
    void setGuideLines(bool zero, bool atDefault) {
        zeroLine = zero;
        defaultLine = atDefault;
    }
    // The editor's own look on top of the table's flags.
    void overrideFlags(uint32_t clear, uint32_t set);
    // The flags the view acts on: the table's, with the overrides.
    uint32_t viewFlags() const;

    void draw(CDrawContext& context) override;
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseMoved(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    void onIdle() override;
    // A view marked dirty draws its graph afresh; one drawn only because a neighbour's
    // area covers it (the playhead passing) copies the graph it has.
    void setDirty(bool flag = true) override;
    void setViewSize(const CRect& rect, bool invalidate = true) override;
    // The popup of table operations.
    void valueChanged(CControl* control) override;

    // Fills the table from the view's own generator, within the owner's random range.
    void randomFill();

    // The mappings: the step under x, the value at y (both clamped to the table).
    int32_t columnAt(int32_t x) const;
    virtual float valueAt(int32_t y) const;
    // The left pixel of a step's slot, and its width.
    float columnLeft(int32_t column) const;
    float columnPitch() const;

    const CRect& getGraphRect() const { return graphRect; }
    // Drawing passes that rendered the graph (a copy of the graph it has does not count).
    long getDrawCount() const { return drawCount; }
    bool isDragging() const { return dragging; }
    bool isNudging() const { return nudging; }
    const MFTable* getUndoTable() const { return undoTable.get(); }
    const std::vector<float>& getCurveCache() const { return curveCache; }

protected:
    // Where reads and writes of a step go; the event rows redirect them to one row.
    virtual float readValue(int32_t column) const;
    virtual void writeValue(int32_t column, float value);
    // The table's row under y, for views that show several; -1 for none.
    virtual int32_t rowAt(int32_t) const { return -1; }
    // The bars, into the graph's buffer.
    virtual void drawBars(uint32_t flags);
    // The values the last pass drew, so that the idle can tell a change.
    virtual void takeSnapshot(std::vector<float>& into) const;

    int32_t steps() const;
    // A bar of value v in a column's slot, bottom to top of rect.
    void drawBar(const CRect& slot, float v, bool current, uint32_t flags);
    // Pixels of the buffer, relative to the view's top left.
    void fill(const CRect& rect, CColor colour);
    void line(CPoint from, CPoint to, CColor colour);
    uint32_t* pixels = nullptr;
    int32_t stride = 0;

    MFTable* table;
    MFTableXY* tableXY = nullptr;
    CBitmap* rowLabels = nullptr;
    CColor backgroundColour{33, 30, 29, 255};
    CColor barColour{136, 5, 5, 255};
    CColor lineColour{74, 74, 74, 255};
    CColor highlightColour{255, 255, 0, 255};
    CColor rulerTextColour = ccolor::black;
    CRect graphRect;
    // The sequencer's step as the last idle read it: the step the drawing marks.
    int32_t shownStep = -1;
    int32_t editRow = -1;

    // The bar top's y for a value, in view coordinates.
    int32_t valueY(float v) const;

private:
    void layoutRects(uint32_t flags);
    // Draws the graph into the buffer; clip (in the view's coordinates) limits the pixels
    // written, for a redraw of a few steps.
    void renderGraph(const CRect& clip);
    // Copies the buffer's rows into the context's pixels when nothing but an offset lies
    // between them; false leaves it to cairo.
    bool rawBlit(CDrawContext& context) const;
    void drawBackground(uint32_t flags);
    void drawGrid();
    void drawRuler();
    void drawOverview();
    void drawCurve(uint32_t flags);
    void drawUndoCurve();
    void rebuildCurveCache();
    // Steps between two columns on a straight line between two values.
    void fillLine(int32_t fromColumn, float fromValue, int32_t toColumn, float toValue);
    void startNudge();
    void nudgeTo(CPoint where);
    void pressOverview(CPoint where);
    void dragOverview(CPoint where);
    // The shown window of the overview, as fractions of the table.
    void shownWindow(float& start, float& width) const;
    void setShownWindow(float start, float width);
    int32_t currentStepIndex() const;
    bool snapshotChanged() const;

    std::unique_ptr<COffscreenContext> buffer;
    std::unique_ptr<MFTable> undoTable;
    std::vector<float> curveCache;
    std::vector<float> drawnValues;
    std::vector<float> scratchValues;
    std::vector<RulerLabel> labels;
    MFControl* learnMenu = nullptr;
    const MFRelaxed<float>* smoothValue = nullptr;
    const MFRelaxed<float>* currentStep = nullptr;
    MFRelaxed<float>* touchedFlag = nullptr;
    CRect rulerRect;
    // Where the drawing functions may write; the whole view but for a partial redraw.
    CRect renderClip;
    // Steps whose pixels are out of date while the rest of the buffer holds.
    CRect staleColumns;
    CRect sideRect;
    CRect overviewRect;
    uint32_t flagsClear = 0;
    uint32_t flagsSet = 0;
    uint32_t layoutFlags = 0xFFFFFFFFu;
    CPoint lastPoint;
    CPoint pressPoint;
    float zoomX = 0.0f;
    float scrollX = 0.0f;
    float zoomY = 0.0f;
    float scrollY = 0.5f;
    int32_t dragColumn = -1;
    float valueAtPress = 0.0f;
    float lastValue = 0.0f;
    float nudge = 0.0f;
    float overviewGrab = 0.0f;
    float drawnSmooth = -1.0f;
    int32_t drawnSize = -1;
    int32_t drawnRow = -1;
    long drawCount = 0;
    bool dragging = false;
    bool nudging = false;
    bool lineMode = false;
    bool inOverview = false;
    bool overviewLeft = false;
    bool overviewRight = false;
    bool overviewMove = false;
    bool drawnOnce = false;
    bool bufferStale = true;
    bool shownAtIdle = false;
    bool zeroLine = false;
    bool defaultLine = false;
};
