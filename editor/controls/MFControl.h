#pragma once

#include "editor/toolkit/CColor.h"
#include "editor/toolkit/CControl.h"

#include <atomic>
#include <cstdint>
#include <vector>

class CFontDesc;
class MFFrame;

// The page bits of the editor: four 32-bit words that say which pages show. Any thread
// may change a bit; controls read them on the user-interface thread.
using MFPageWord = std::atomic<uint32_t>;

// The base of every control of the editor. On top of the toolkit's control it adds
// membership of a page, a modal state, hover links that show and hide other views after a
// few idle ticks, a background fill, bitmap and drop shadow, and a per-tick idle.
//
// A control shows when it is visible and, if it has a page mask, the mask has its page
// bit set. Every draw, press, idle and hit test starts with that test; a hidden control
// answers "not handled", so the press reaches what lies beneath.
class MFControl : public CControl {
public:
    // Style flags.
    static constexpr int32_t flagConstructed = 1;
    static constexpr int32_t flagFill = 2;
    static constexpr int32_t flagBitmap = 4;
    static constexpr int32_t flagShadow = 8;

    // A number for each class, for code that must tell them apart.
    enum Kind : int32_t {
        kindPlain = 0,
        kindKnob,
        kindButton,
        kindDisplay,
        kindImage,
        kindLevelMeter,
        kindMouseArea,
        kindViewContainer,
        kindWebLink,
        kindLocalLink,
        kindTextEdit,
    };

    static constexpr int32_t defaultShadowAlpha = 128;
    static constexpr int32_t defaultShadowOffset = -20;
    static constexpr int32_t defaultShadowWidth = 5;
    static constexpr int helpTextSize = 12;
    static constexpr int helpTextRise = 12;

    MFControl(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
              CBitmap* background = nullptr);
    ~MFControl() override;

    // The page test: visible, and the page bit set where there is a mask.
    bool isShown() const {
        if (!visible)
            return false;
        if (!pageMask)
            return true;
        const uint32_t word = pageMask[(pageBit >> 5) & 3].load(std::memory_order_relaxed);
        return (word >> (pageBit & 31)) & 1u;
    }
    // mask: four words, or null for always shown.
    void setPage(const MFPageWord* mask, int32_t bit) {
        pageMask = mask;
        pageBit = bit & 127;
    }
    int32_t getPageBit() const { return pageBit; }

    // The toolkit's operations, with the page test in front.
    void draw(CDrawContext& context) override;
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    int onMouseMoved(CPoint where, long buttons) override;
    int onMouseEntered(CPoint where, long buttons) override;
    int onMouseExited(CPoint where, long buttons) override;
    bool hitTest(CPoint where, long buttons) const override;
    virtual void setVisible(bool flag);
    bool isVisible() const { return visible; }
    void invalid() override;
    CRect getDrawnArea() const override;

    // Added operations.
    // Takes over every mouse event of the frame until closeModal.
    virtual void openModal(int32_t mode, const CPoint* where, int32_t tag);
    virtual void closeModal();
    virtual const char* getHelpString() const { return "no info"; }
    // The hover countdowns; derived controls call it first.
    void onIdle() override;
    void setViewSize(const CRect& rect, bool invalidate = true) override;
    virtual void setViewSizeAndMouseableArea(const CRect& rect);
    // Only the controls that offer MIDI learn keep it.
    virtual void setLearnMenu(MFControl*) {}
    // The popup that offers MIDI learn remembers which control, and which step of it,
    // opened it; other controls have nothing to remember.
    virtual void setLearnTag(int32_t) {}
    virtual void setLearnSubIndex(int32_t) {}
    virtual int32_t getLearnTag() const { return -1; }
    virtual int32_t getLearnSubIndex() const { return 0; }
    // Controls shown (or hidden) while the mouse hovers over this one.
    void addHoverShow(MFControl* view) { hoverShow.push_back(view); }
    void addHoverHide(MFControl* view) { hoverHide.push_back(view); }

    void setColour(CColor c) { colour = c; }
    void setTextColour(CColor c) { textColour = c; }
    void setControlFlags(int32_t flags) { controlFlags = flags; }
    int32_t getControlFlags() const { return controlFlags; }
    void setShadow(int32_t alpha, int32_t offset, int32_t width);
    void setHelpText(const char* text) { helpText = text; }
    void setFont(CFontDesc* desc) { font = desc; }
    void setTextSize(int32_t size) { textSize = size; }
    void setEnabled(bool flag) { enabled = flag; }
    bool isEnabled() const { return enabled; }
    void setSendEditEvents(bool flag) { sendEditEvents = flag; }
    int32_t getKind() const { return kind; }
    bool isHintVisible() const { return hintVisible; }
    int32_t getModalMode() const { return modalMode; }

    void beginEdit() override;
    void endEdit() override;

    MFFrame* getMFFrame() const { return mfFrame; }

protected:
    // Fill, bitmap and shadow as the style flags say; the helpText caption.
    void drawBase(CDrawContext& context);
    void drawShadow(CDrawContext& context);
    void drawHelpText(CDrawContext& context);
    void showHover();
    void hideHover();
    void startShowCount();
    void startHideCount();
    // Invalidates rect (in the container's coordinates) even while the control is not in
    // the view tree, as a modal control may be.
    void invalidInFrame(const CRect& rect);

    MFFrame* mfFrame;
    CColor colour = ccolor::black;
    CColor textColour = ccolor::black;
    MFControl* previousModal = nullptr;
    const char* helpText = nullptr;
    CFontDesc* font = nullptr;
    int32_t hintCountdownHide = -1;
    int32_t hintCountdownShow = -1;
    bool hintVisible = false;
    std::vector<MFControl*> hoverShow;
    std::vector<MFControl*> hoverHide;
    int32_t controlFlags = flagConstructed;
    const MFPageWord* pageMask = nullptr;
    int32_t pageBit = 0;
    int32_t kind = kindPlain;
    int32_t shadowAlpha = defaultShadowAlpha;
    int32_t shadowOffset = defaultShadowOffset;
    int32_t shadowWidth = defaultShadowWidth;
    int32_t textSize = 10;
    int32_t modalMode = 0;
    bool visible = true;
    bool enabled = true;
    bool sendEditEvents = true;
};
