#pragma once

#include "editor/toolkit/CFrame.h"

#include <cstdint>

class CFontDesc;
class MFControl;

// The editor's frame. A modal control, while set, takes every mouse and wheel event in
// place of the view tree and is drawn on top of it. Its idle counts ticks, repaints
// everything after forceRedraw, runs every control's idle, then draws what changed.
class MFFrame : public CFrame {
public:
    static constexpr int32_t defaultHintDelayTicks = 2;
    static constexpr int32_t defaultHintHoldTicks = 5;
    static constexpr int32_t defaultTextSize = 10;

    MFFrame(const CRect& size, CSystemWindow* window, CEditorInterface* editor, double scale = 1.0);
    ~MFFrame() override;

    void draw(CDrawContext& context) override;
    void drawRect(CDrawContext& context, const CRect& updateRect) override;
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    int onMouseMoved(CPoint where, long buttons) override;
    bool onWheel(CPoint where, float distance, long buttons) override;
    void idle() override;

    // The next idle repaints the whole frame. Only sets a flag.
    void forceRedraw() { redrawAllFlag = true; }
    bool isRedrawAllPending() const { return redrawAllFlag; }
    MFControl* getModalControl() const { return modalControl; }
    void setModalControl(MFControl* control) { modalControl = control; }
    int32_t getIdleCounter() const { return idleCounter; }

    // What controls take when they are made.
    void setFont(CFontDesc* desc) { font = desc; }
    CFontDesc* getFont() const { return font; }
    void setTextSize(int32_t size) { textSize = size; }
    int32_t getTextSize() const { return textSize; }

    int32_t hintDelayTicks = defaultHintDelayTicks;
    int32_t hintHoldTicks = defaultHintHoldTicks;

protected:
    // An open panel stays above the playhead: the playhead steps aside while it is open.
    bool overlayAllowed() const override { return modalControl == nullptr; }

private:
    MFControl* modalControl = nullptr;
    bool redrawAllFlag = false;
    int32_t idleCounter = 0;
    CFontDesc* font = nullptr;
    int32_t textSize = defaultTextSize;
};
