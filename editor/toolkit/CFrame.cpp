#include "editor/toolkit/CFrame.h"

#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDrawContext.h"
#include "editor/toolkit/CSystemWindow.h"

#include <cairo.h>
#include <cmath>

CFrame::CFrame(const CRect& rect, CSystemWindow* systemWindow, CEditorInterface* owner,
               double deviceScale)
    : CViewContainer(rect), window(systemWindow), editor(owner),
      scale(deviceScale > 0.0 ? deviceScale : 1.0), region(rect) {
    frame = this;
    backBuffer =
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, int(std::ceil(rect.width() * scale)),
                                   int(std::ceil(rect.height() * scale)));
    context = std::make_unique<CDrawContext>(backBuffer, scale);
    setDirty();
}

CFrame::~CFrame() {
    // Children first: their destructors must still find a frame of the right type.
    removeAll();
    context.reset();
    cairo_surface_destroy(backBuffer);
}

void CFrame::idle() {
    redrawDirty();
}

void CFrame::setCursor(int kind) {
    if (window)
        window->setCursor(kind);
}

void CFrame::invalidRect(const CRect& rect) {
    region.add(rect);
}

void CFrame::setDirty(bool flag) {
    CView::setDirty(flag);
    if (flag)
        region.add(size);
}

bool CFrame::redrawDirty() {
    collectDirty(region, CPoint{});
    if (region.isEmpty())
        return false;
    ++drawPasses;
    for (const CRect& area : region) {
        context->pushClip(area);
        drawRect(*context, area);
        context->popClip();
    }
    cairo_surface_flush(backBuffer);
    for (const CRect& area : region)
        presentArea(area);
    region.clear();
    return true;
}

void CFrame::presentArea(const CRect& area) {
    if (!window)
        return;
    const CRect device = toDevice(area.intersection(size));
    if (device.isEmpty())
        return;
    window->present(cairo_image_surface_get_data(backBuffer),
                    cairo_image_surface_get_stride(backBuffer), device);
}

CRect CFrame::toDevice(const CRect& area) const {
    return {int(std::floor(area.left * scale)), int(std::floor(area.top * scale)),
            int(std::ceil(area.right * scale)), int(std::ceil(area.bottom * scale))};
}

void CFrame::drawBackgroundRect(CDrawContext& drawContext, const CRect& updateRect) {
    // Everything is redrawn over the background, so the background must cover the area:
    // without a bitmap (or with one that failed) it is black.
    if (!background || !background->isLoaded()) {
        drawContext.setFillColor(ccolor::black);
        drawContext.drawRect(updateRect, CDrawContext::drawFilled);
    }
    CViewContainer::drawBackgroundRect(drawContext, updateRect);
}
