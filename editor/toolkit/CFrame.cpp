#include "editor/toolkit/CFrame.h"

#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDrawContext.h"
#include "editor/toolkit/CSystemWindow.h"

#include <cairo.h>
#include <cmath>
#include <cstring>

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
    deleteOverlay();
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

void CFrame::setOverlay(CView* view) {
    deleteOverlay();
    overlay = view;
    if (!overlay)
        return;
    overlay->attached(nullptr, this);
    const CRect device = toDevice(overlay->getViewSize());
    underOverlay.reserve(std::size_t(device.width()) * std::size_t(device.height()));
    overlay->setDirty();
}

void CFrame::deleteOverlay() {
    if (!overlay)
        return;
    if (overlayShown)
        invalidRect(overlayArea);
    overlayShown = false;
    delete overlay;
    overlay = nullptr;
}

void CFrame::onIdle() {
    CViewContainer::onIdle();
    if (overlay)
        overlay->onIdle();
}

bool CFrame::redrawDirty() {
    collectDirty(region, CPoint{});
    const bool showOverlay = overlay && overlayAllowed();
    const CRect target = overlay ? overlay->getViewSize().intersection(size) : CRect{};
    bool regionMeetsOverlay = false;
    for (const CRect& area : region)
        regionMeetsOverlay = regionMeetsOverlay || area.overlaps(overlayArea);
    const bool overlayChanged = overlay && overlay->isDirty();
    // What lies beneath comes back first: the areas drawn next paint over it, and the
    // overlay keeps aside only what is beneath it.
    CRect restored;
    if (overlayShown && (!showOverlay || target != overlayArea || overlayChanged ||
                         (regionMeetsOverlay && showOverlay))) {
        restoreUnder(overlayArea);
        restored = overlayArea;
        overlayShown = false;
    }
    const bool drawOverlay = showOverlay && !overlayShown && !target.isEmpty();
    if (region.isEmpty() && restored.isEmpty() && !drawOverlay)
        return false;
    ++drawPasses;
    for (const CRect& area : region) {
        context->pushClip(area);
        drawRect(*context, area);
        context->popClip();
    }
    if (drawOverlay) {
        cairo_surface_flush(backBuffer);
        keepUnder(target);
        context->pushClip(target);
        overlay->draw(*context);
        context->popClip();
        overlay->setDirty(false);
        overlayArea = target;
        overlayShown = true;
    }
    cairo_surface_flush(backBuffer);
    for (const CRect& area : region)
        presentArea(area);
    if (!restored.isEmpty())
        presentArea(restored);
    if (drawOverlay)
        presentArea(overlayArea);
    region.clear();
    return true;
}

void CFrame::keepUnder(const CRect& area) {
    const CRect device = toDevice(area);
    const int stride = cairo_image_surface_get_stride(backBuffer);
    const unsigned char* pixels = cairo_image_surface_get_data(backBuffer);
    const std::size_t rowPixels = std::size_t(device.width());
    underOverlay.resize(rowPixels * std::size_t(device.height()));
    for (int y = device.top; y < device.bottom; ++y)
        std::memcpy(&underOverlay[std::size_t(y - device.top) * rowPixels],
                    pixels + std::ptrdiff_t(y) * stride + std::ptrdiff_t(device.left) * 4,
                    rowPixels * 4);
}

void CFrame::restoreUnder(const CRect& area) {
    const CRect device = toDevice(area);
    const int stride = cairo_image_surface_get_stride(backBuffer);
    unsigned char* pixels = cairo_image_surface_get_data(backBuffer);
    const std::size_t rowPixels = std::size_t(device.width());
    if (underOverlay.size() < rowPixels * std::size_t(device.height()))
        return;
    cairo_surface_flush(backBuffer);
    for (int y = device.top; y < device.bottom; ++y)
        std::memcpy(pixels + std::ptrdiff_t(y) * stride + std::ptrdiff_t(device.left) * 4,
                    &underOverlay[std::size_t(y - device.top) * rowPixels], rowPixels * 4);
    cairo_surface_mark_dirty_rectangle(backBuffer, device.left, device.top, device.width(),
                                       device.height());
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
