#pragma once

#include "editor/toolkit/CDirtyRegion.h"
#include "editor/toolkit/CViewContainer.h"

#include <cstdint>
#include <memory>
#include <vector>

typedef struct _cairo_surface cairo_surface_t;
class CDrawContext;
class CEditorInterface;
class CSystemWindow;

// The root of the view tree. It keeps one back buffer of its size: a pass redraws the
// dirty areas into it, in adding order, and pushes only those areas to the window.
// Without a window it draws into the back buffer alone, which is how it runs headless.
class CFrame : public CViewContainer {
public:
    // scale: device pixels per logical pixel of the back buffer.
    CFrame(const CRect& size, CSystemWindow* window, CEditorInterface* editor, double scale = 1.0);
    ~CFrame() override;

    // The toolkit's own idle: one drawing pass.
    virtual void idle();
    void setCursor(int kind);

    // Redraws whatever is dirty into the back buffer and presents it; false if nothing was.
    bool redrawDirty();
    // Pushes an area of the back buffer (window coordinates) to the window as it stands.
    void presentArea(const CRect& area);

    void invalidRect(const CRect& rect) override;
    void setDirty(bool flag = true) override;

    CEditorInterface* getEditor() const { return editor; }
    CSystemWindow* getSystemWindow() const { return window; }
    void setSystemWindow(CSystemWindow* systemWindow) { window = systemWindow; }
    double getScale() const { return scale; }
    // The back buffer: premultiplied ARGB32 of the frame's size times the scale.
    cairo_surface_t* getBackBuffer() const { return backBuffer; }
    // Passes that drew something, for the curious and the tests.
    long getDrawPassCount() const { return drawPasses; }

    // One view drawn over all the others with the pixels beneath it kept aside: when it
    // moves, those pixels come back instead of the views under it being redrawn, so a
    // playhead crossing a busy picture costs two small copies and its own paint. The frame
    // owns it; it is not a child and takes no mouse. Its invalidations must not reach the
    // frame: a move is seen by its size, a change by its dirty flag.
    void setOverlay(CView* view);
    CView* getOverlay() const { return overlay; }

    void onIdle() override;

protected:
    void drawBackgroundRect(CDrawContext& context, const CRect& updateRect) override;
    // Whether the overlay may show now; a frame with a modal panel keeps it off the panel.
    virtual bool overlayAllowed() const { return true; }
    void deleteOverlay();

private:
    CRect toDevice(const CRect& area) const;
    // Copies the back buffer's pixels under area into underOverlay, or back.
    void keepUnder(const CRect& area);
    void restoreUnder(const CRect& area);

    CSystemWindow* window;
    CEditorInterface* editor;
    double scale;
    cairo_surface_t* backBuffer = nullptr;
    std::unique_ptr<CDrawContext> context;
    CDirtyRegion region;
    long drawPasses = 0;
    CView* overlay = nullptr;
    bool overlayShown = false;
    CRect overlayArea;
    std::vector<uint32_t> underOverlay;
};
