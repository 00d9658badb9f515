#pragma once

#include "editor/toolkit/CColor.h"
#include "editor/toolkit/CPoint.h"
#include "editor/toolkit/CRect.h"

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;
class CFontDesc;

// Drawing on a cairo image surface in logical pixels. The device scale (1 for now) is
// known here and to the surface only; views and controls never see it.
class CDrawContext {
public:
    enum DrawStyle : int { drawStroked = 0, drawFilled = 1 };
    enum TextAlign : int { alignLeft = 0, alignCenter = 1, alignRight = 2 };

    // Draws on the surface (taking a reference on it); scale is device pixels per
    // logical pixel.
    explicit CDrawContext(cairo_surface_t* surface, double scale = 1.0);
    virtual ~CDrawContext();
    CDrawContext(const CDrawContext&) = delete;
    CDrawContext& operator=(const CDrawContext&) = delete;

    void setFrameColor(CColor colour) { frameColour = colour; }
    void setFillColor(CColor colour) { fillColour = colour; }
    void setFontColor(CColor colour) { fontColour = colour; }
    CColor getFrameColor() const { return frameColour; }
    CColor getFillColor() const { return fillColour; }
    CColor getFontColor() const { return fontColour; }
    // Size 0 takes the font's own size.
    void setFont(const CFontDesc* font, int size = 0);
    void setLineWidth(int width) { lineWidth = width < 1 ? 1 : width; }
    int getLineWidth() const { return lineWidth; }

    // Lines run through pixel centres; both end pixels are painted.
    void moveTo(CPoint point) { penPosition = point; }
    void lineTo(CPoint point);
    // Outline: the border pixels inside rect in the frame colour. Filled: every pixel of
    // rect in the fill colour.
    void drawRect(const CRect& rect, int style = drawStroked);
    // Text in the font colour, centred vertically in rect and clipped to it; opaque fills
    // rect with the fill colour first.
    void drawString(const char* text, const CRect& rect, bool opaque = false,
                    int align = alignCenter);
    // The advance width of text in the current font and size, in whole pixels (rounded up).
    int getStringWidth(const char* text);

    // The toolkit's own plumbing: containers move the origin for their children and
    // drawing passes clip to the area being redrawn. Each push needs its pop.
    void pushOrigin(CPoint delta);
    void popOrigin();
    void pushClip(const CRect& rect);
    void popClip();
    cairo_t* cairo() const { return cr; }
    cairo_surface_t* getSurface() const { return target; }
    double getScale() const { return scale; }

private:
    void useColour(CColor colour);
    void applyFont();

    cairo_surface_t* target;
    cairo_t* cr;
    double scale;
    CColor frameColour = ccolor::black;
    CColor fillColour = ccolor::white;
    CColor fontColour = ccolor::black;
    const CFontDesc* font = nullptr;
    int fontSize = 10;
    int lineWidth = 1;
    CPoint penPosition;
};
