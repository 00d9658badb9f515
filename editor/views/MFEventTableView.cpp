#include "editor/views/MFEventTableView.h"

#include "pattern/MFTableXY.h"

#include <algorithm>

namespace {
// Rows too thin for bars show their events as cells lit in proportion to the value: the
// row the pattern plays in the highlight colour, the others in grey.
constexpr CColor otherRowColour{150, 150, 150, 255};

CColor mix(CColor a, CColor b, float t) {
    auto channel = [t](uint8_t x, uint8_t y) {
        return uint8_t(float(x) + (float(y) - float(x)) * std::clamp(t, 0.0f, 1.0f));
    };
    return {channel(a.red, b.red), channel(a.green, b.green), channel(a.blue, b.blue), 255};
}
} // namespace

MFEventTableView::MFEventTableView(const CRect& rect, CControlListener* l, int32_t t,
                                   MFFrame* owner, MFTableXY* shown)
    : MFTableView(rect, l, t, owner, shown) {
    // Bands of events: no zoom strip, no single curve, no sequencer step to mark.
    overrideFlags(flagOverview | flagCurve | flagCurrentStep | flagWholeSteps, 0);
}

int32_t MFEventTableView::rows() const {
    return tableXY ? tableXY->getRowCount() : 0;
}

int32_t MFEventTableView::targetRow() const {
    const int32_t n = rows();
    if (n <= 0)
        return -1;
    return std::clamp(editRow >= 0 ? editRow : tableXY->currentRowIndex(), 0, n - 1);
}

CRect MFEventTableView::bandRect(int32_t row) const {
    const int32_t n = std::max(1, rows());
    const int32_t h = graphRect.height();
    return CRect(graphRect.left, graphRect.top + row * h / n, graphRect.right,
                 graphRect.top + (row + 1) * h / n);
}

int32_t MFEventTableView::rowAt(int32_t y) const {
    const int32_t n = rows();
    if (n <= 0)
        return -1;
    const int32_t h = std::max(1, graphRect.height());
    return std::clamp((y - graphRect.top) * n / h, 0, n - 1);
}

float MFEventTableView::valueAt(int32_t y) const {
    const int32_t row = targetRow();
    if (row < 0)
        return MFTableView::valueAt(y);
    const CRect band = bandRect(row);
    if (y < band.top)
        return 1.0f;
    if (y >= band.bottom)
        return 0.0f;
    // The band's top pixel row is full, its bottom row empty.
    const int32_t h = std::max(1, band.height() - 1);
    return std::clamp(float(band.bottom - 1 - y) / float(h), 0.0f, 1.0f);
}

float MFEventTableView::readValue(int32_t column) const {
    const int32_t row = targetRow();
    return row >= 0 ? tableXY->normalisedAtRow(float(column), row) : 0.0f;
}

void MFEventTableView::writeValue(int32_t column, float v) {
    const int32_t row = targetRow();
    if (MFTable* t = row >= 0 ? tableXY->row(row) : nullptr)
        t->setNormalised(column, v);
}

void MFEventTableView::drawBars(uint32_t flags) {
    const int32_t n = steps();
    const int32_t count = rows();
    const int32_t playing = tableXY ? tableXY->currentRowIndex() : -1;
    const int32_t gap = (flags & flagTouching) ? 0 : 1;
    for (int32_t r = 0; r < count; ++r) {
        const CRect band = bandRect(r);
        const CColor full = r == playing ? highlightColour : otherRowColour;
        for (int32_t i = 0; i < n; ++i) {
            const int32_t left = std::max(graphRect.left, int32_t(columnLeft(i)) + gap);
            const int32_t right = std::min(graphRect.right, int32_t(columnLeft(i + 1)));
            const float v = tableXY->normalisedAtRow(float(i), r);
            fill(CRect(left, band.top, right, band.bottom), mix(backgroundColour, full, v));
        }
        // The row the mouse edits carries a mark at its left end.
        if (r == editRow)
            fill(CRect(graphRect.left, band.top, graphRect.left + 1, band.bottom), highlightColour);
    }
}

void MFEventTableView::takeSnapshot(std::vector<float>& into) const {
    const int32_t n = steps();
    const int32_t count = rows();
    into.resize(std::size_t(n * count));
    for (int32_t r = 0; r < count; ++r)
        for (int32_t i = 0; i < n; ++i)
            into[std::size_t(r * n + i)] = tableXY->normalisedAtRow(float(i), r);
}
