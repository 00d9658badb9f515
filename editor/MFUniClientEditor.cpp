#include "editor/MFUniClientEditor.h"

#include "editor/MFBitmapTable.h"
#include "editor/controls/MFFrame.h"
#include "editor/controls/MFViewContainer.h"
#include "engine/MFParameterTable.h"
#include "engine/MFUniClient.h"

#include <cmath>
#include <cstdint>

namespace {
// The playhead: 32 steps across the 576 pixels of a lane.
constexpr float stepFraction = 0.03125f;
constexpr float laneWidth = 576.0f;
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
    buildLayout();
    frame->setDirty();
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
    // The views go before the window, and the bitmaps after both. The about panel is the
    // frame's only while it is open.
    if (aboutPanel && frame->getModalControl() == aboutPanel)
        aboutPanel->closeModal();
    delete aboutPanel;
    aboutPanel = nullptr;
    delete frame;
    frame = nullptr;
    controls.clear();
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
    // A MIDI program change loading on its own thread replaces the zones and tables this
    // pass would read: its events and drawing wait for the next idle.
    if (!plugin.enterEditorPass())
        return;
    idling = true;
    if (window.isOpen())
        window.pump();
    // The window went away under us, or the host closed, inside pump: drop everything
    // now that pump has returned.
    if (!windowLost && !closePending) {
        const float step = plugin.getTransport().currentStep;
        playheadFraction = step * stepFraction;
        playheadPixel = playheadFraction * laneWidth;
        updatePageMarker();
        updateStateRows();
        const uint32_t redraws = plugin.getPanels().redrawCount();
        if (redraws != redrawsSeen) {
            redrawsSeen = redraws;
            frame->setDirty();
        }
        frame->idle();
    }
    idling = false;
    plugin.leaveEditorPass();
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
