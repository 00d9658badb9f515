#include "editor/MFUniClientEditor.h"

#include "editor/MFBitmapTable.h"
#include "editor/controls/MFFrame.h"
#include "editor/controls/MFKnob.h"
#include "editor/controls/MFLevelMeterPic.h"
#include "editor/views/MFZoneView.h"
#include "engine/MFLaneTags.h"
#include "engine/MFParameterTable.h"
#include "engine/MFUniClient.h"

#include <cmath>
#include <cstdint>

namespace {
// The output section: two large knobs and the two level meters.
struct OutputKnobRow {
    int32_t tag;
    CRect rect;
};
constexpr OutputKnobRow outputKnobs[] = {
    {1, {660, 447, 734, 521}},   // output level
    {101, {558, 447, 632, 521}}, // "GlobalWet"
};
constexpr int32_t largeKnobBitmap = 1051;
constexpr int32_t largeKnobFrameHeight = 74;
constexpr float panelSensitivity = 0.5f;
constexpr int32_t meterBitmap = 1075;
constexpr int32_t meterTags[2] = {560, 561};
constexpr CRect meterRects[2] = {{752, 414, 754, 515}, {755, 414, 757, 515}};
constexpr int32_t meterFrames = 35;
constexpr int32_t firstBypassTag = 102;
constexpr int32_t lastBypassTag = 115;
// A bypass button's 0 or 1 becomes 0 or 0.5: half or more is on.
constexpr float bypassScale = 0.5f;

// The lanes: 576 x 17 pixels, 32 steps of one sprite cell each.
constexpr int32_t laneLeft = 184;
constexpr int32_t laneRight = 760;
constexpr int32_t laneHeight = 17;
constexpr int32_t laneSteps = 32;
constexpr int32_t laneMaxEnd = 32;
constexpr int32_t patternStripTag = 502;
constexpr int32_t patternStripTop = 73;
constexpr int32_t patternStripBitmap = 1178;
// Top y and sprite of each effect's lane, in chain order (the order of mflane).
struct LaneRow {
    int32_t top;
    int32_t bitmap;
};
constexpr LaneRow laneRows[mflane::count] = {
    {92, 1180},  {110, 1177}, {128, 1186}, {146, 1184}, {164, 1182}, {182, 1185}, {200, 1188},
    {218, 1187}, {236, 1175}, {254, 1183}, {272, 1179}, {290, 1174}, {308, 1176}, {326, 1181},
};
// Colours for a lane without a sprite, kept as the words the layout gives them; every lane
// has a sprite here, so they are never seen.
constexpr CColor colourFromWord(uint32_t word) {
    return {uint8_t(word), uint8_t(word >> 8), uint8_t(word >> 16), uint8_t(word >> 24)};
}
constexpr CColor laneColourFirst = colourFromWord(0);
constexpr CColor laneColourLast = colourFromWord(66666666);
constexpr CColor laneColourBorder = colourFromWord(777777);

float initialValue(int32_t tag) {
    for (const MFParameterRow& row : mfParameterTable)
        if (row.tag == tag)
            return row.initial;
    return 0.0f;
}
} // namespace

MFUniClientEditor::MFUniClientEditor(MFUniClient& owner)
    : MFEditorBase(owner, width, height), plugin(owner) {}

MFUniClientEditor::~MFUniClientEditor() {
    close();
}

AEffGUIEditor* MFUniClientEditor::create(MFUniClient& plugin) {
    return new MFUniClientEditor(plugin);
}

bool MFUniClientEditor::open(void* parent) {
    const auto id = static_cast<unsigned long>(reinterpret_cast<uintptr_t>(parent));
    if (opened) {
        // Hosts do not always pair open and close: the same parent again changes nothing,
        // another one moves the editor there.
        if (id == parentId)
            return true;
        close();
    }
    // Departing from an open that cannot fail: with no display or a bad parent the host
    // must hear so, rather than wait on a window that never shows.
    if (id == 0 || !window.open(id, width, height, this))
        return false;
    parentId = id;
    windowLost = false;
    buildFrame(this);
    return true;
}

bool MFUniClientEditor::openHeadless() {
    if (!opened)
        buildFrame(nullptr);
    return true;
}

void MFUniClientEditor::buildFrame(CSystemWindow* systemWindow) {
    MFBitmapTable::acquire();
    opened = true;
    frame = new MFFrame(CRect(0, 0, width, height), systemWindow, this);
    frame->setBackground(getBitmap(backgroundBitmap));
    frame->setTextSize(defaultTextSize);
    // Made at the first open rather than with the editor: hosts construct every plug-in
    // when they scan, and matching a font starts fontconfig. Kept until the editor goes.
    if (!font)
        font = std::make_unique<CFontDesc>("Arial", fontSize);
    frame->setFont(font.get());
    redrawsSeen = plugin.getPanels().redrawCount();
    addZoneViews();
    buildOutputSection();
    frame->setDirty();
}

void MFUniClientEditor::buildOutputSection() {
    MFKnob* knobs[2] = {};
    for (int i = 0; i < 2; ++i) {
        const OutputKnobRow& row = outputKnobs[i];
        auto* knob = new MFKnob(row.rect, this, row.tag, frame, getBitmap(largeKnobBitmap),
                                largeKnobFrameHeight, MFKnob::panelFrames, panelSensitivity);
        MFParameterRegistry& registry = plugin.getRegistry();
        knob->bind(&registry.raw(row.tag));
        knob->setTouchedFlag(&registry.values[row.tag].touch);
        knob->setDefaultValue(initialValue(row.tag));
        frame->addView(knob);
        knobs[i] = knob;
    }
    outputKnob = knobs[0];
    wetKnob = knobs[1];

    const MFRelaxed<float>* peaks[2] = {&plugin.peakLeftValue(), &plugin.peakRightValue()};
    MFLevelMeterPic* meters[2] = {};
    for (int i = 0; i < 2; ++i) {
        auto* meter = new MFLevelMeterPic(meterRects[i], this, meterTags[i], frame,
                                          getBitmap(meterBitmap), meterFrames, meterFrames);
        meter->bind(peaks[i]);
        frame->addView(meter);
        meters[i] = meter;
    }
    meterLeft = meters[0];
    meterRight = meters[1];
}

void MFUniClientEditor::addZoneViews() {
    auto add = [&](int32_t index, int32_t top, int32_t tag, int32_t bitmap,
                   MFZoneHandlerContainer<MFFloatZoneHandler>& lane) {
        auto* view = new MFZoneView(CRect(laneLeft, top, laneRight, top + laneHeight), this, tag,
                                    frame, &lane);
        view->setup(laneSteps, nullptr, getBitmap(bitmap), true, true, 0, false, laneColourFirst,
                    laneColourLast, false, laneColourBorder, laneMaxEnd, MFZoneView::defaultAlpha);
        view->watchDirtyFlag(&lane.dirty);
        frame->addView(view);
        zoneViews[index] = view;
    };
    add(0, patternStripTop, patternStripTag, patternStripBitmap, plugin.getMasterLane());
    for (int32_t lane = 0; lane < mflane::count; ++lane)
        add(1 + lane, laneRows[lane].top, mflane::tags[lane].lane, laneRows[lane].bitmap,
            plugin.getLane(lane).zones);
}

void MFUniClientEditor::close() {
    if (!opened)
        return;
    if (idling) {
        // A host may close from inside a callback the idle made (an automation, a key):
        // the frame is still on the stack, so it goes when the idle returns.
        closePending = true;
        return;
    }
    closePending = false;
    // The views go before the window, and the bitmaps after both.
    delete frame;
    frame = nullptr;
    outputKnob = wetKnob = nullptr;
    meterLeft = meterRight = nullptr;
    for (MFZoneView*& view : zoneViews)
        view = nullptr;
    window.close();
    parentId = 0;
    windowLost = false;
    opened = false;
    MFBitmapTable::release();
}

void MFUniClientEditor::idle() {
    if (!opened || idling)
        return;
    idling = true;
    if (window.isOpen())
        window.pump();
    // The window went away under us, or the host closed, inside pump: drop everything
    // now that pump has returned.
    if (!windowLost && !closePending) {
        const uint32_t redraws = plugin.getPanels().redrawCount();
        if (redraws != redrawsSeen) {
            redrawsSeen = redraws;
            frame->setDirty();
        }
        frame->idle();
    }
    idling = false;
    if (windowLost || closePending)
        close();
}

bool MFUniClientEditor::onKeyDown(int32_t, int32_t virtualKey, int32_t) {
    if (virtualKey != keyF2)
        return false;
    plugin.mutateParameters();
    return true;
}

void MFUniClientEditor::forceRedraw() {
    if (opened && frame)
        frame->forceRedraw();
}

CBitmap* MFUniClientEditor::getBitmap(int32_t id) const {
    if (id < firstBitmapId || id > lastBitmapId)
        return nullptr;
    return MFBitmapTable::getBitmap(id);
}

const MFSystemInfo* MFUniClientEditor::getEngineContext() const {
    return &plugin.getContext();
}

void MFUniClientEditor::valueChanged(CControl* control) {
    const int32_t tag = control->getTag();
    const float value = control->getValue();
    if (tag >= firstBypassTag && tag <= lastBypassTag)
        plugin.setParameterAutomated(tag, value * bypassScale);
    else if (tag >= 0 && tag < MFUniClient::hostParameterCount)
        plugin.setParameterAutomated(tag, value);
    else
        plugin.setParameter(tag, value);
    control->setDirty();
}

void MFUniClientEditor::beginEdit(int32_t tag) {
    if (tag >= 0 && tag < MFUniClient::hostParameterCount)
        plugin.beginEdit(tag);
}

void MFUniClientEditor::endEdit(int32_t tag) {
    if (tag >= 0 && tag < MFUniClient::hostParameterCount)
        plugin.endEdit(tag);
}

void MFUniClientEditor::present(const unsigned char* argb32, int stride, const CRect& area) {
    window.present(argb32, stride, area.left, area.top, area.width(), area.height());
}

void MFUniClientEditor::setCursor(int kind) {
    window.setCursor(kind);
}

CPoint MFUniClientEditor::toLogical(int x, int y) const {
    // The window speaks in device pixels; the views in the layout's pixels.
    const double scale = frame ? frame->getScale() : 1.0;
    return CPoint(int(std::floor(x / scale)), int(std::floor(y / scale)));
}

void MFUniClientEditor::windowMouseDown(int x, int y, long buttons) {
    if (frame)
        frame->onMouseDown(toLogical(x, y), buttons);
}

void MFUniClientEditor::windowMouseUp(int x, int y, long buttons) {
    if (frame)
        frame->onMouseUp(toLogical(x, y), buttons);
}

void MFUniClientEditor::windowMouseMoved(int x, int y, long buttons) {
    if (frame)
        frame->onMouseMoved(toLogical(x, y), buttons);
}

void MFUniClientEditor::windowWheel(int x, int y, float distance, long buttons) {
    if (frame)
        frame->onWheel(toLogical(x, y), distance, buttons);
}

bool MFUniClientEditor::windowKeyDown(int virtualKey, int character, long modifiers) {
    return onKeyDown(character, virtualKey, int32_t(modifiers));
}

void MFUniClientEditor::windowEnterLeave(bool entered) {
    if (frame && !entered)
        frame->onMouseExited(CPoint(-1, -1), 0);
}

void MFUniClientEditor::windowExpose(int x, int y, int w, int h) {
    if (!frame)
        return;
    // The back buffer is brought up to date first, then the exposed part goes out as is.
    frame->redrawDirty();
    const CPoint topLeft = toLogical(x, y);
    const CPoint bottomRight = toLogical(x + w - 1, y + h - 1);
    frame->presentArea(CRect(topLeft.x, topLeft.y, bottomRight.x + 1, bottomRight.y + 1));
}

void MFUniClientEditor::windowClosed() {
    windowLost = true;
}
