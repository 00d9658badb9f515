#include "editor/controls/MFImage.h"

#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CDrawContext.h"

#include <cmath>

namespace {
// Positions past this are off any screen; it keeps a wild float from overflowing.
constexpr float positionLimit = 100000.0f;
} // namespace

MFImage::MFImage(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner, CBitmap* bitmap)
    : MFControl(rect, l, t, owner, bitmap), home(rect), lastWidth(rect.width()),
      lastHeight(rect.height()) {
    kind = kindImage;
    mouseEnabled = false;
}

MFImage::~MFImage() {
    if (alternate)
        alternate->forget();
}

int32_t MFImage::wholePart(const MFRelaxed<float>* bound) {
    const float v = bound->load();
    if (!(std::fabs(v) < positionLimit))
        return 0;
    return int32_t(v);
}

void MFImage::bindPosition(const MFRelaxed<float>* x, const MFRelaxed<float>* y) {
    xValue = x;
    yValue = y;
}

void MFImage::bindSize(const MFRelaxed<float>* width, const MFRelaxed<float>* height) {
    widthValue = width;
    heightValue = height;
}

void MFImage::bindAlpha(const MFRelaxed<float>* alpha) {
    alphaValue = alpha;
    useAlpha = alpha != nullptr;
}

void MFImage::setAlternateBitmap(CBitmap* bitmap) {
    if (bitmap)
        bitmap->remember();
    if (alternate)
        alternate->forget();
    alternate = bitmap;
}

void MFImage::setUseAlternate(bool flag) {
    if (useAlternate != flag) {
        useAlternate = flag;
        setDirty();
    }
}

void MFImage::draw(CDrawContext& context) {
    if (!isShown())
        return;
    CBitmap* bitmap = useAlternate && alternate ? alternate : background;
    if (!bitmap || !bitmap->isLoaded())
        return; // nothing to show; what lies beneath shows through
    const CPoint offset(bitmapOffsetX, bitmapOffsetY);
    if (useAlpha)
        bitmap->drawAlphaBlend(context, size, offset, lastAlpha);
    else if (useTransparent)
        bitmap->drawTransparent(context, size, offset);
    else
        bitmap->draw(context, size, offset);
}

void MFImage::onIdle() {
    MFControl::onIdle();
    const int32_t x = xValue ? wholePart(xValue) : lastX;
    const int32_t y = yValue ? wholePart(yValue) : lastY;
    const int32_t w = widthValue ? wholePart(widthValue) : lastWidth;
    const int32_t h = heightValue ? wholePart(heightValue) : lastHeight;
    if (x != lastX || y != lastY || w != lastWidth || h != lastHeight) {
        lastX = x;
        lastY = y;
        lastWidth = w;
        lastHeight = h;
        CRect moved(home.left + x, home.top + y, home.left + x + w, home.top + y + h);
        // setViewSize redraws the area left and the area entered, and nothing else.
        setViewSize(moved, true);
    }
    if (alphaValue) {
        float a = alphaValue->load();
        a = a > 0.0f ? (a < 1.0f ? a : 1.0f) : 0.0f;
        const int32_t alpha = int32_t(a * 255.0f);
        if (alpha != lastAlpha) {
            lastAlpha = alpha;
            setDirty();
        }
    }
}

bool MFImage::hitTest(CPoint where, long buttons) const {
    return acceptMouse && MFControl::hitTest(where, buttons);
}

int MFImage::onMouseDown(CPoint where, long buttons) {
    if (!acceptMouse || !hitTest(where, buttons))
        return mouseNotHandled;
    value = 1.0f;
    notify();
    return mouseHandled;
}

int MFImage::onMouseUp(CPoint, long) {
    if (!acceptMouse)
        return mouseNotHandled;
    value = 0.0f;
    notify();
    return mouseHandled;
}
