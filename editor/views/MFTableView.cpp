#include "editor/views/MFTableView.h"

#include "editor/controls/MFFrame.h"
#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/COffscreenContext.h"
#include "effects/MFSystemInfo.h"
#include "pattern/MFRandom.h"
#include "pattern/MFTable.h"
#include "pattern/MFTableXY.h"
#include "platform/MFDebugOutput.h"

#include <algorithm>
#include <atomic>
#include <cairo.h>
#include <cmath>
#include <cstdio>
#include <initializer_list>

namespace {
// The table views' own generator, shared by every view of the process, so that two
// random fills in a row differ; only the user-interface thread draws from it.
std::atomic<int32_t> fillSeed{MFRandom::initialSeed};

// Sub-step labels need a step this wide; both numbers need one wider than the second.
constexpr float subLabelWidth = 20.0f;
constexpr float fullLabelWidth = 30.0f;
constexpr int32_t labelShift = 3;
constexpr int32_t labelMinimumRoom = 15;
constexpr int32_t rulerTextSize = 8;
constexpr int32_t rulerCharWidth = 5;
constexpr CColor subLabelColour{0x19, 0x19, 0x19, 255};
// Below this part of the graph's width, a press in the overview window moves an end.
constexpr float overviewEdge = 0.2f;
constexpr float verticalZoomRange = 5.0f;

uint32_t toPixel(CColor c) {
    const uint32_t a = c.alpha;
    // The back buffer holds premultiplied words.
    return (a << 24) | ((uint32_t(c.red) * a / 255) << 16) | ((uint32_t(c.green) * a / 255) << 8) |
           (uint32_t(c.blue) * a / 255);
}

int32_t digits(int32_t v) {
    int32_t n = 1;
    while (v >= 10) {
        v /= 10;
        ++n;
    }
    return n;
}
} // namespace

// --- ruler -------------------------------------------------------------------------------

void MFTableView::rulerLabels(int32_t n, int32_t width, int32_t charWidth,
                              std::vector<RulerLabel>& out) {
    out.clear();
    if (n <= 0 || width <= 0)
        return;
    const float w = float(width) / float(n);
    for (int32_t s = 0; s < n; ++s) {
        const bool beat = s % 4 == 0;
        if (!beat && w <= subLabelWidth)
            continue;
        RulerLabel label{0, s / 4 + 1, beat ? 0 : s % 4 + 1, !beat && w > fullLabelWidth};
        int32_t chars = beat ? digits(label.beat) : digits(label.subStep);
        if (label.full)
            chars += digits(label.beat) + 1;
        const int32_t textWidth = chars * charWidth;
        int32_t x = int32_t(float(s) * w) - labelShift;
        if (x < 0)
            x = 0;
        if (x + textWidth > width) {
            if (width - x < labelMinimumRoom)
                continue;
            x = width - textWidth;
        }
        label.x = x;
        out.push_back(label);
    }
}

// --- set-up ------------------------------------------------------------------------------

MFTableView::MFTableView(const CRect& rect, CControlListener* l, int32_t t, MFFrame* owner,
                         MFTable* shown)
    : MFControl(rect, l, t, owner), table(nullptr) {
    setTable(shown);
    setViewSize(rect, false);
}

MFTableView::~MFTableView() {
    if (rowLabels)
        rowLabels->forget();
}

void MFTableView::setTable(MFTable* shown) {
    table = shown;
    tableXY = dynamic_cast<MFTableXY*>(shown);
    undoTable.reset();
    drawnOnce = false;
    layoutFlags = 0xFFFFFFFFu;
    setDirty();
}

void MFTableView::setRowLabels(CBitmap* bitmap) {
    if (bitmap)
        bitmap->remember();
    if (rowLabels)
        rowLabels->forget();
    rowLabels = bitmap;
}

void MFTableView::setColours(CColor bg, CColor bar, CColor lineC, CColor highlight, CColor text) {
    backgroundColour = bg;
    barColour = bar;
    lineColour = lineC;
    highlightColour = highlight;
    rulerTextColour = text;
}

void MFTableView::overrideFlags(uint32_t clear, uint32_t set) {
    flagsClear = clear;
    flagsSet = set;
    layoutFlags = 0xFFFFFFFFu;
    setDirty();
}

uint32_t MFTableView::viewFlags() const {
    return table ? (table->getFlags() & ~flagsClear) | flagsSet : 0;
}

void MFTableView::setViewSize(const CRect& rect, bool invalidate) {
    MFControl::setViewSize(rect, invalidate);
    buffer =
        std::make_unique<COffscreenContext>(std::max(1, size.width()), std::max(1, size.height()));
    layoutFlags = 0xFFFFFFFFu;
    layoutRects(viewFlags());
}

void MFTableView::layoutRects(uint32_t flags) {
    const uint32_t shape = flags & (flagRuler | flagOverview);
    if (shape == layoutFlags)
        return;
    layoutFlags = shape;
    graphRect = size;
    rulerRect = sideRect = overviewRect = CRect();
    if (flags & flagRuler) {
        rulerRect = CRect(size.left, size.top, size.right, size.top + rulerHeight);
        graphRect.top += rulerHeight;
        graphRect.right -= sideWidth;
        sideRect = CRect(graphRect.right, graphRect.top, size.right, size.bottom);
    }
    if (flags & flagOverview) {
        graphRect.bottom -= overviewHeight;
        overviewRect = CRect(graphRect.left, graphRect.bottom, graphRect.right, size.bottom);
        if (flags & flagRuler)
            sideRect.bottom = graphRect.bottom;
    }
    curveCache.assign(std::size_t(std::max(0, graphRect.width()) + 1), 0.0f);
}

// --- mappings ----------------------------------------------------------------------------

int32_t MFTableView::steps() const {
    return table ? table->getSize() : 0;
}

void MFTableView::shownWindow(float& start, float& width) const {
    const int32_t n = steps();
    if (n <= 0) {
        start = 0.0f;
        width = 1.0f;
        return;
    }
    const uint32_t flags = viewFlags();
    if ((flags & flagWholeSteps) && !(flags & flagCurve)) {
        start = 0.0f;
        width = 1.0f;
        return;
    }
    const int32_t shown = std::max(1, int32_t(float(n) * (1.0f - zoomX)));
    width = float(shown) / float(n);
    start = float(n - shown) * scrollX / float(n);
}

float MFTableView::columnPitch() const {
    float start, width;
    shownWindow(start, width);
    const int32_t n = steps();
    return n > 0 ? float(graphRect.width()) / (width * float(n)) : float(graphRect.width());
}

float MFTableView::columnLeft(int32_t column) const {
    float start, width;
    shownWindow(start, width);
    const float first = start * float(steps());
    return float(graphRect.left) + (float(column) - first) * columnPitch();
}

int32_t MFTableView::columnAt(int32_t x) const {
    const int32_t n = steps();
    if (n <= 0 || x < graphRect.left)
        return 0;
    if (x >= graphRect.right)
        return n - 1;
    const uint32_t flags = viewFlags();
    const float across = float(x - graphRect.left);
    int32_t column;
    if ((flags & flagWholeSteps) && !(flags & flagCurve)) {
        column = int32_t(across / (float(graphRect.width()) / float(n)));
    } else {
        const int32_t shown = std::max(1, int32_t(float(n) * (1.0f - zoomX)));
        column = int32_t(across * (float(shown) / float(graphRect.width())) +
                         float(n - shown) * scrollX);
    }
    return std::clamp(column, 0, n - 1);
}

float MFTableView::valueAt(int32_t y) const {
    if (y < graphRect.top)
        return 1.0f;
    if (y >= graphRect.bottom)
        return 0.0f;
    const float h = float(graphRect.height());
    const float s = zoomY * verticalZoomRange + 1.0f;
    const float v = ((float(graphRect.bottom - y) - (1.0f - scrollY) * (h - s * h)) / h) / s;
    return std::clamp(v, 0.0f, 1.0f);
}

int32_t MFTableView::valueY(float v) const {
    const float h = float(graphRect.height());
    const float s = zoomY * verticalZoomRange + 1.0f;
    const float above = v * s * h + (1.0f - scrollY) * (h - s * h);
    return graphRect.bottom - std::clamp(int32_t(above), 0, graphRect.height());
}

float MFTableView::readValue(int32_t column) const {
    return table ? table->normalisedAt(float(column)) : 0.0f;
}

void MFTableView::writeValue(int32_t column, float v) {
    if (table)
        table->setNormalised(column, v);
}

int32_t MFTableView::currentStepIndex() const {
    const int32_t n = steps();
    if (!currentStep || n <= 0)
        return -1;
    const float step = currentStep->load();
    if (!(step >= 0.0f))
        return -1;
    return int32_t(step) % n;
}

// --- drawing -----------------------------------------------------------------------------

void MFTableView::fill(const CRect& rect, CColor colour) {
    const CRect r = rect.intersection(renderClip);
    if (r.isEmpty() || !pixels)
        return;
    const uint32_t p = toPixel(colour);
    for (int32_t y = r.top; y < r.bottom; ++y) {
        uint32_t* row = pixels + (y - size.top) * stride - size.left;
        std::fill(row + r.left, row + r.right, p);
    }
}

void MFTableView::line(CPoint from, CPoint to, CColor colour) {
    if (!pixels)
        return;
    const uint32_t p = toPixel(colour);
    int32_t x = from.x, y = from.y;
    const int32_t dx = std::abs(to.x - x), dy = -std::abs(to.y - y);
    const int32_t sx = x < to.x ? 1 : -1, sy = y < to.y ? 1 : -1;
    int32_t error = dx + dy;
    for (;;) {
        if (renderClip.pointInside(CPoint(x, y)))
            pixels[(y - size.top) * stride + (x - size.left)] = p;
        if (x == to.x && y == to.y)
            break;
        const int32_t e2 = 2 * error;
        if (e2 >= dy) {
            error += dy;
            x += sx;
        }
        if (e2 <= dx) {
            error += dx;
            y += sy;
        }
    }
}

void MFTableView::drawBackground(uint32_t flags) {
    fill(size, backgroundColour);
    if ((flags & flagNoBackground) || !background || !background->isLoaded())
        return;
    cairo_surface_t* image = background->surface();
    cairo_surface_flush(image);
    const auto* source = reinterpret_cast<const uint32_t*>(cairo_image_surface_get_data(image));
    const int32_t sourceStride = cairo_image_surface_get_stride(image) / 4;
    const CRect area = renderClip.intersection(
        CRect(size.topLeft(), background->getWidth(), background->getHeight()));
    for (int32_t y = area.top; y < area.bottom; ++y) {
        const uint32_t* from = source + (y - size.top) * sourceStride + (area.left - size.left);
        std::copy(from, from + area.width(),
                  pixels + (y - size.top) * stride + (area.left - size.left));
    }
}

void MFTableView::drawBar(const CRect& slot, float v, bool current, uint32_t flags) {
    const int32_t top = valueY(v);
    CRect bar = CRect(slot.left, top, slot.right, slot.bottom).intersection(renderClip);
    if (bar.isEmpty()) {
        // An empty current step still shows where the sequencer is.
        if (current)
            fill(CRect(slot.left, slot.bottom - 1, slot.right, slot.bottom), highlightColour);
        return;
    }
    const auto frameBar = [this, &bar](CColor c) {
        fill(CRect(bar.left, bar.top, bar.right, bar.top + 1), c);
        fill(CRect(bar.left, bar.top, bar.left + 1, bar.bottom), c);
        fill(CRect(bar.right - 1, bar.top, bar.right, bar.bottom), c);
    };
    if (flags & flagOutline) {
        frameBar(current ? highlightColour : barColour);
        return;
    }
    if (!(flags & flagBitmapBars) || !rowLabels || !rowLabels->isLoaded()) {
        fill(bar, barColour);
    } else {
        // A section of the bitmap, its bottom on the graph's bottom, repeated across.
        cairo_surface_t* image = rowLabels->surface();
        cairo_surface_flush(image);
        const auto* source = reinterpret_cast<const uint32_t*>(cairo_image_surface_get_data(image));
        const int32_t sourceStride = cairo_image_surface_get_stride(image) / 4;
        const int32_t bw = rowLabels->getWidth();
        const int32_t bh = rowLabels->getHeight();
        for (int32_t y = bar.top; y < bar.bottom; ++y) {
            const int32_t sy = std::max(0, bh - (slot.bottom - y));
            const uint32_t* from = source + sy * sourceStride;
            uint32_t* to = pixels + (y - size.top) * stride - size.left;
            for (int32_t x = bar.left; x < bar.right;) {
                const int32_t into = (x - slot.left) % bw;
                const int32_t run = std::min(bw - into, bar.right - x);
                std::copy(from + into, from + into + run, to + x);
                x += run;
            }
        }
    }
    // The playing step keeps its look inside a frame of the highlight colour.
    if (current)
        frameBar(highlightColour);
}

void MFTableView::drawBars(uint32_t flags) {
    const int32_t n = steps();
    const int32_t highlight = (flags & flagCurrentStep) ? shownStep : -1;
    const int32_t gap = (flags & flagTouching) ? 0 : 1;
    for (int32_t i = 0; i < n; ++i) {
        const int32_t left = int32_t(columnLeft(i));
        const int32_t right = int32_t(columnLeft(i + 1));
        if (right <= std::max(graphRect.left, renderClip.left) ||
            left >= std::min(graphRect.right, renderClip.right))
            continue;
        const CRect slot(std::max(graphRect.left, left + gap), graphRect.top,
                         std::min(graphRect.right, right), graphRect.bottom);
        drawBar(slot, readValue(i), i == highlight, flags);
    }
}

void MFTableView::drawGrid() {
    const int32_t n = steps();
    const float pitch = columnPitch();
    int32_t every = 1;
    while (pitch * float(every) < float(gridMinimumPitch) && every < n)
        every *= 2;
    for (int32_t i = 0; i <= n; i += every) {
        const int32_t x = int32_t(columnLeft(i));
        if (x >= graphRect.left && x < graphRect.right)
            fill(CRect(x, graphRect.top, x + 1, graphRect.bottom), lineColour);
    }
}

void MFTableView::drawRuler() {
    fill(rulerRect, lineColour);
    fill(sideRect, lineColour);
    if (!font || !buffer)
        return;
    rulerLabels(steps(), graphRect.width(), rulerCharWidth, labels);
    // The text goes on with cairo: the raw pixels are handed back first.
    cairo_surface_mark_dirty(buffer->getSurface());
    buffer->setFont(font, rulerTextSize);
    char text[24];
    for (const RulerLabel& l : labels) {
        if (l.subStep == 0)
            std::snprintf(text, sizeof text, "%d", int(l.beat));
        else if (l.full)
            std::snprintf(text, sizeof text, "%d.%d", int(l.beat), int(l.subStep));
        else
            std::snprintf(text, sizeof text, "%d", int(l.subStep));
        buffer->setFontColor(l.subStep == 0 ? rulerTextColour : subLabelColour);
        const CRect at(l.x, 0, rulerRect.width(), rulerHeight);
        buffer->drawString(text, at, false, CDrawContext::alignLeft);
    }
    cairo_surface_flush(buffer->getSurface());
}

void MFTableView::drawOverview() {
    fill(overviewRect, backgroundColour);
    float start, width;
    shownWindow(start, width);
    const float w = float(overviewRect.width());
    fill(CRect(overviewRect.left + int32_t(start * w), overviewRect.top + 2,
               overviewRect.left + int32_t((start + width) * w), overviewRect.bottom - 1),
         lineColour);
    fill(CRect(overviewRect.left, overviewRect.top, overviewRect.right, overviewRect.top + 1),
         lineColour);
}

void MFTableView::rebuildCurveCache() {
    const int32_t n = steps();
    const int32_t w = graphRect.width();
    if (n <= 0 || w <= 0)
        return;
    scratchValues.resize(std::size_t(n));
    for (int32_t i = 0; i < n; ++i)
        scratchValues[std::size_t(i)] = readValue(i);
    const uint32_t flags = viewFlags();
    const float pitch = columnPitch();
    float smooth = 0.0f;
    if ((flags & flagSmoothCurve) && smoothValue)
        smooth = std::clamp(smoothValue->load(), 0.0f, 1.0f) * pitch;
    float start, width;
    shownWindow(start, width);
    const float first = start * float(n);
    curveCache.resize(std::size_t(w) + 1);
    for (int32_t px = 0; px <= w; ++px) {
        const float position = first + float(px) / pitch;
        const int32_t i = std::clamp(int32_t(position), 0, n - 1);
        const float into = (position - float(i)) * pitch;
        const float v = scratchValues[std::size_t(i)];
        if (smooth > 0.0f && into < smooth) {
            // The pattern loops: the first step ramps from the last.
            const float previous = scratchValues[std::size_t(i > 0 ? i - 1 : n - 1)];
            curveCache[std::size_t(px)] = previous + (v - previous) * (into / smooth);
        } else {
            curveCache[std::size_t(px)] = v;
        }
    }
}

void MFTableView::drawCurve(uint32_t flags) {
    if (flags & (flagCurve | flagSmoothCurve)) {
        // The values stand still while a few steps are redrawn: the cache holds.
        if (renderClip == size)
            rebuildCurveCache();
        const int32_t from = std::max(0, renderClip.left - graphRect.left);
        const int32_t w = std::min(graphRect.width(), renderClip.right - graphRect.left);
        // Each pixel column joins the previous height: a jump between two steps falls on
        // the first column of the new step, the gap, and never on the bar before it.
        // A zero lies on the graph's last row, where it stays visible.
        const auto curveY = [this](float v) { return std::min(valueY(v), graphRect.bottom - 1); };
        int32_t previous = curveY(curveCache[std::size_t(std::max(0, from - 1))]);
        for (int32_t px = from; px < w; ++px) {
            const int32_t y = curveY(curveCache[std::size_t(px)]);
            line(CPoint(graphRect.left + px, previous), CPoint(graphRect.left + px, y), lineColour);
            previous = y;
        }
    }
    if (flags & flagJoinTops) {
        const int32_t n = steps();
        const float half = columnPitch() * 0.5f;
        for (int32_t i = 1; i < n; ++i)
            line(CPoint(int32_t(columnLeft(i - 1) + half), valueY(readValue(i - 1))),
                 CPoint(int32_t(columnLeft(i) + half), valueY(readValue(i))), lineColour);
    }
}

void MFTableView::drawUndoCurve() {
    const int32_t n = std::min(steps(), undoTable->getSize());
    for (int32_t i = 0; i < n; ++i) {
        const int32_t y = valueY(undoTable->rawEntry(i));
        fill(CRect(int32_t(columnLeft(i)), y, int32_t(columnLeft(i + 1)), y + 1), lineColour);
    }
}

void MFTableView::renderGraph(const CRect& clip) {
    const uint32_t flags = viewFlags();
    layoutRects(flags);
    renderClip = clip.intersection(size);
    const bool whole = renderClip == size;
    cairo_surface_t* surface = buffer->getSurface();
    cairo_surface_flush(surface);
    pixels = reinterpret_cast<uint32_t*>(cairo_image_surface_get_data(surface));
    stride = cairo_image_surface_get_stride(surface) / 4;
    if (!pixels || buffer->getWidth() != size.width() || buffer->getHeight() != size.height())
        return;

    // A rebuild of the array stops a drawing pass only for a bounded while: a torn read
    // costs one wrong frame, a hang the whole host.
    table->setFlags(flagDrawing);
    int32_t tests = 0;
    while (table->isBusy() && tests < busySpinLimit)
        ++tests;
    if (table->isBusy())
        table->clearFlags(flagDrawing);

    drawBackground(flags);
    if (flags & flagCentreLine) {
        const int32_t middle = (graphRect.top + graphRect.bottom) / 2;
        fill(CRect(graphRect.left, middle, size.right, middle + 1), lineColour);
    }
    if (zeroLine || defaultLine) {
        const float range = std::abs(table->getMaximum() - table->getMinimum());
        const float atDefault =
            range > 0.0f ? (table->getDefault() - table->getMinimum()) / range : 0.0f;
        for (const float v : {zeroLine ? 0.0f : -1.0f, defaultLine ? atDefault : -1.0f}) {
            if (v < 0.0f || v > 1.0f)
                continue;
            const int32_t y = std::min(valueY(v), graphRect.bottom - 1);
            fill(CRect(graphRect.left, y, graphRect.right, y + 1), lineColour);
        }
    }
    // Views that show several rows have no single curve to mark.
    const bool single = rowAt(graphRect.top) < 0;
    if (undoTable && nudging && single)
        drawUndoCurve();
    drawBars(flags);
    // A background picture carries its own step grid.
    if ((flags & flagWholeSteps) && (!background || (flags & flagNoBackground)))
        drawGrid();
    if (dragging && !nudging && dragColumn >= 0 && single) {
        const int32_t x = int32_t(columnLeft(dragColumn) + columnPitch() * 0.5f);
        fill(CRect(x, graphRect.top, x + 1, valueY(readValue(dragColumn))), lineColour);
    }
    if (single)
        drawCurve(flags);
    // A part of the graph leaves the strips around it as they are.
    if ((flags & flagOverview) && whole)
        drawOverview();
    if ((flags & flagRuler) && whole)
        drawRuler();
    cairo_surface_mark_dirty(surface);
    pixels = nullptr;

    table->clearFlags(flagDrawing);
    if (!whole)
        return;
    takeSnapshot(drawnValues);
    drawnSize = steps();
    drawnRow = table->currentRowIndex();
    drawnSmooth = smoothValue ? smoothValue->load() : -1.0f;
    drawnOnce = true;
}

void MFTableView::draw(CDrawContext& context) {
    if (!isShown() || !table || !buffer || !buffer->isValid())
        return;
    if (bufferStale || !drawnOnce) {
        renderGraph(size);
        bufferStale = false;
        staleColumns = CRect();
        ++drawCount;
    } else if (!staleColumns.isEmpty()) {
        renderGraph(staleColumns);
        staleColumns = CRect();
        ++drawCount;
    }
    if (!rawBlit(context))
        buffer->copyFrom(context, size);
}

bool MFTableView::rawBlit(CDrawContext& context) const {
    // Rows of opaque pixels straight into the target, where nothing but an offset lies
    // between the view and the target's pixels; anything else goes through cairo.
    cairo_t* cr = context.cairo();
    cairo_surface_t* target = cairo_get_target(cr);
    if (cairo_surface_get_type(target) != CAIRO_SURFACE_TYPE_IMAGE ||
        cairo_image_surface_get_format(target) != CAIRO_FORMAT_ARGB32)
        return false;
    cairo_matrix_t m;
    cairo_get_matrix(cr, &m);
    if (m.xx != 1.0 || m.yy != 1.0 || m.xy != 0.0 || m.yx != 0.0)
        return false;
    double x1, y1, x2, y2;
    cairo_clip_extents(cr, &x1, &y1, &x2, &y2);
    const CRect area = size.intersection(
        CRect(int(std::ceil(x1)), int(std::ceil(y1)), int(std::floor(x2)), int(std::floor(y2))));
    if (area.isEmpty())
        return true;
    const int32_t dx = int32_t(m.x0), dy = int32_t(m.y0);
    if (double(dx) != m.x0 || double(dy) != m.y0)
        return false;
    const int32_t targetWidth = cairo_image_surface_get_width(target);
    const int32_t targetHeight = cairo_image_surface_get_height(target);
    const CRect device = area.offsetBy(CPoint(dx, dy));
    if (device.left < 0 || device.top < 0 || device.right > targetWidth ||
        device.bottom > targetHeight)
        return false;
    cairo_surface_t* source = buffer->getSurface();
    cairo_surface_flush(source);
    cairo_surface_flush(target);
    const auto* from = reinterpret_cast<const uint32_t*>(cairo_image_surface_get_data(source));
    auto* to = reinterpret_cast<uint32_t*>(cairo_image_surface_get_data(target));
    const int32_t fromStride = cairo_image_surface_get_stride(source) / 4;
    const int32_t toStride = cairo_image_surface_get_stride(target) / 4;
    for (int32_t y = area.top; y < area.bottom; ++y) {
        const uint32_t* row = from + (y - size.top) * fromStride + (area.left - size.left);
        std::copy(row, row + area.width(), to + (y + dy) * toStride + area.left + dx);
    }
    cairo_surface_mark_dirty_rectangle(target, device.left, device.top, device.width(),
                                       device.height());
    return true;
}

// --- idle --------------------------------------------------------------------------------

void MFTableView::takeSnapshot(std::vector<float>& into) const {
    const int32_t n = steps();
    into.resize(std::size_t(n));
    for (int32_t i = 0; i < n; ++i)
        into[std::size_t(i)] = readValue(i);
}

bool MFTableView::snapshotChanged() const {
    if (!drawnOnce || steps() != drawnSize || table->currentRowIndex() != drawnRow)
        return true;
    if (smoothValue && smoothValue->load() != drawnSmooth)
        return true;
    auto& scratch = const_cast<std::vector<float>&>(scratchValues);
    takeSnapshot(scratch);
    return scratch != drawnValues;
}

void MFTableView::setDirty(bool flag) {
    if (flag)
        bufferStale = true;
    MFControl::setDirty(flag);
}

void MFTableView::onIdle() {
    MFControl::onIdle();
    // A hidden table does no work; it draws afresh when its page shows.
    const bool shown = isShown();
    const bool appeared = shown && !shownAtIdle;
    shownAtIdle = shown;
    if (!shown || !table)
        return;
    // The step is read once here and the drawing shows this one, so that what goes to
    // the screen matches the steps invalidated below.
    const int32_t step = (viewFlags() & flagCurrentStep) ? currentStepIndex() : -1;
    if (isDirty() || appeared || snapshotChanged()) {
        shownStep = step;
        setDirty();
        return;
    }
    // The sequencer moved on: the graph is drawn again, but only the two steps whose mark
    // changed go to the screen. They lie under the playhead, so a playing idle repaints
    // no more than the playhead's own strips.
    if (step == shownStep)
        return;
    for (const int32_t column : {shownStep, step}) {
        if (column < 0)
            continue;
        const CRect slot(int32_t(columnLeft(column)), graphRect.top,
                         int32_t(columnLeft(column + 1)), graphRect.bottom);
        staleColumns = staleColumns.isEmpty() ? slot : staleColumns.unionWith(slot);
        invalidRect(slot);
    }
    shownStep = step;
}

// --- the gesture -------------------------------------------------------------------------

void MFTableView::fillLine(int32_t fromColumn, float fromValue, int32_t toColumn, float toValue) {
    if (fromColumn == toColumn) {
        writeValue(toColumn, toValue);
        return;
    }
    const int32_t direction = toColumn > fromColumn ? 1 : -1;
    const float span = float(toColumn - fromColumn);
    for (int32_t c = fromColumn;; c += direction) {
        const float t = float(c - fromColumn) / span;
        writeValue(c, fromValue + (toValue - fromValue) * t);
        if (c == toColumn)
            break;
    }
}

void MFTableView::startNudge() {
    const int32_t n = steps();
    if (!undoTable || undoTable->getSize() != n) {
        // A new table carries the plain flags: no write rules stand between the copy
        // and its values.
        undoTable = std::make_unique<MFTable>(table->getOwner(), n);
    }
    for (int32_t i = 0; i < n; ++i)
        undoTable->storeRaw(i, readValue(i));
    nudge = 0.0f;
    nudging = true;
}

void MFTableView::nudgeTo(CPoint where) {
    // From the press, not summed per move: back at the start is exactly the old curve.
    nudge = float(where.y - pressPoint.y) * nudgePerPixel;
    const int32_t n = std::min(steps(), undoTable->getSize());
    for (int32_t i = 0; i < n; ++i)
        writeValue(i, std::clamp(undoTable->rawEntry(i) + nudge, 0.0f, 1.0f));
}

void MFTableView::setShownWindow(float start, float width) {
    const int32_t n = std::max(1, steps());
    width = std::clamp(width, 1.0f / float(n), 1.0f);
    start = std::clamp(start, 0.0f, 1.0f - width);
    zoomX = 1.0f - width;
    scrollX = width < 1.0f ? start / (1.0f - width) : 0.0f;
}

void MFTableView::pressOverview(CPoint where) {
    inOverview = true;
    overviewLeft = overviewRight = overviewMove = false;
    float start, width;
    shownWindow(start, width);
    const float p = float(where.x - overviewRect.left) / float(std::max(1, overviewRect.width()));
    const float within = (p - start) / width;
    if (within < 0.0f || within > 1.0f) {
        // Outside the window: the window jumps there and the drag moves it.
        setShownWindow(p - width * 0.5f, width);
        overviewMove = true;
    } else if (within < overviewEdge) {
        overviewLeft = true;
    } else if (within > 1.0f - overviewEdge) {
        overviewRight = true;
    } else {
        overviewMove = true;
    }
    overviewGrab = p;
    if (mfFrame)
        mfFrame->setCursor(ccursor::horizontalResize);
}

void MFTableView::dragOverview(CPoint where) {
    const float p = float(where.x - overviewRect.left) / float(std::max(1, overviewRect.width()));
    const float d = p - overviewGrab;
    overviewGrab = p;
    float start, width;
    shownWindow(start, width);
    if (overviewMove)
        setShownWindow(start + d, width);
    else if (overviewLeft)
        setShownWindow(start + d, width - d);
    else if (overviewRight)
        setShownWindow(start, width + d);
}

int MFTableView::onMouseDown(CPoint where, long buttons) {
    if (!size.pointInside(where) || !isShown() || !table)
        return mouseNotHandled;
    const uint32_t flags = viewFlags();
    if (!(flags & flagEditable))
        return mouseNotHandled;
    layoutRects(flags);
    if ((flags & flagRuler) && sideRect.pointInside(where)) {
        notify();
        return mouseHandledNoMoves;
    }
    const int32_t row = rowAt(where.y);
    if (row >= 0)
        editRow = row;
    const int32_t column = columnAt(where.x);
    if (learnMenu && (buttons & (cbutton::right | cbutton::apple))) {
        // Each step takes its own controller: the popup learns the tag and the step.
        learnMenu->setVisible(true);
        learnMenu->setLearnTag(tag);
        learnMenu->setLearnSubIndex(column);
        learnMenu->openModal(learnMode, &where, tag);
        return mouseHandledNoMoves;
    }
    pressPoint = lastPoint = where;
    lineMode = nudging = false;
    if ((flags & flagOverview) && overviewRect.pointInside(where)) {
        pressOverview(where);
        setDirty();
        return mouseHandled;
    }
    if (flags & flagSwitches) {
        writeValue(column, readValue(column) == 0.0f ? 1.0f : 0.0f);
        setDirty();
        return mouseHandledNoMoves;
    }

    const float v = valueAt(where.y);
    dragColumn = column;
    valueAtPress = lastValue = v;
    if (buttons & cbutton::alt)
        startNudge();
    else
        writeValue(column, v);
    showHover();
    dragging = true;
    lineMode = (buttons & cbutton::shift) != 0;
    if (touchedFlag)
        touchedFlag->store(1.0f);
    value = 1.0f;
    notify();
    setDirty();
    return mouseHandled;
}

int MFTableView::onMouseMoved(CPoint where, long) {
    if (inOverview) {
        dragOverview(where);
        setDirty();
        return mouseHandled;
    }
    if (!dragging || !table)
        return mouseHandled;
    if (nudging) {
        nudgeTo(where);
    } else {
        const int32_t column = columnAt(where.x);
        const float v = valueAt(where.y);
        if (lineMode)
            fillLine(columnAt(pressPoint.x), valueAtPress, column, v);
        else
            // Every step between the last move and this one: a quick move leaves no gaps.
            fillLine(dragColumn, lastValue, column, v);
        dragColumn = column;
        lastValue = v;
    }
    lastPoint = where;
    setDirty();
    return mouseHandled;
}

int MFTableView::onMouseUp(CPoint, long) {
    const bool wasDragging = dragging;
    dragging = nudging = lineMode = false;
    inOverview = overviewLeft = overviewRight = overviewMove = false;
    dragColumn = -1;
    if (mfFrame)
        mfFrame->setCursor(ccursor::standard);
    if (touchedFlag)
        touchedFlag->store(0.0f);
    if (wasDragging) {
        value = 0.0f;
        notify();
    }
    startHideCount();
    setDirty();
    return mouseHandled;
}

// --- popup and random ----------------------------------------------------------------------

void MFTableView::valueChanged(CControl* control) {
    const int32_t which = control->getTag();
    if (which < tagCopy || which > tagFillDefault) {
        char text[96];
        std::snprintf(text, sizeof text, "unknown value innMFTableView valuechanged : val:%d",
                      int(which));
        mfDebugOutput(text);
        return;
    }
    if (!table || control->getValue() != 1.0f)
        return;
    switch (which) {
    case tagCopy:
        table->copy();
        break;
    case tagPaste:
        table->paste();
        break;
    case tagRandom:
        randomFill();
        break;
    default:
        table->fillDefault();
        break;
    }
    setDirty();
}

void MFTableView::randomFill() {
    if (!table)
        return;
    const MFSystemInfo& owner = table->getOwner();
    const float lo = owner.randomLow;
    const float hi = owner.randomHigh;
    float span = std::abs(lo - hi);
    if (lo > hi)
        span = 1.0f - span;
    // The busy flag keeps the audio side off the rows while they change; a plain table
    // would drop its own writes under it, so only a table of rows raises it.
    if (tableXY)
        table->setFlags(flagBusy);
    int32_t seed = fillSeed.load(std::memory_order_relaxed);
    const int32_t n = steps();
    for (int32_t i = 0; i < n; ++i) {
        seed = MFRandom::step(seed);
        float v = MFRandom::toUnit(seed) * span + lo;
        if (v > 1.0f)
            v -= 1.0f;
        writeValue(i, v);
    }
    fillSeed.store(seed, std::memory_order_relaxed);
    if (tableXY)
        table->clearFlags(flagBusy);
    setDirty();
}
