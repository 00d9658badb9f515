#pragma once

#include "editor/controls/MFControl.h"
#include "editor/controls/MFFrame.h"
#include "editor/toolkit/CBitmap.h"
#include "editor/toolkit/CControl.h"
#include "editor/toolkit/CControlListener.h"
#include "editor/toolkit/CEditorInterface.h"
#include "editor/toolkit/CSystemWindow.h"
#include "platform/MFRelaxed.h"

#include <cairo.h>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <vector>

// Helpers for driving the toolkit and the controls without a display.
namespace editortest {

// An opaque colour as a premultiplied ARGB word, as the back buffer holds it.
constexpr uint32_t argb(uint8_t r, uint8_t g, uint8_t b) {
    return 0xFF000000u | (uint32_t(r) << 16) | (uint32_t(g) << 8) | b;
}

// A bitmap of width x height whose pixel colours come from colour(x, y).
template <class Colour> CBitmap* makeBitmap(int width, int height, Colour colour) {
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    cairo_surface_flush(s);
    unsigned char* data = cairo_image_surface_get_data(s);
    const int stride = cairo_image_surface_get_stride(s);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            reinterpret_cast<uint32_t*>(data + y * stride)[x] = colour(x, y);
    cairo_surface_mark_dirty(s);
    return new CBitmap(s);
}

// A strip of rows of height rowHeight, each a solid colour from rows.
inline CBitmap* makeStrip(int width, int rowHeight, std::initializer_list<uint32_t> rows) {
    const std::vector<uint32_t> colours(rows);
    return makeBitmap(width, rowHeight * int(rows.size()),
                      [&](int, int y) { return colours[std::size_t(y / rowHeight)]; });
}

// A strip of count rows whose colour encodes the row number in its blue channel (and
// green above 255 rows), so a sampled pixel names the row drawn.
inline CBitmap* makeNumberedStrip(int width, int rowHeight, int count) {
    return makeBitmap(width, rowHeight * count,
                      [&](int, int y) { return 0xFF800000u | uint32_t(y / rowHeight + 1); });
}
// The row a pixel of a numbered strip came from, or -1 for anything else.
inline int numberedRow(uint32_t pixel) {
    return (pixel & 0xFFFF0000u) == 0xFF800000u ? int(pixel & 0xFFFFu) - 1 : -1;
}

inline uint32_t pixelAt(cairo_surface_t* surface, int x, int y) {
    cairo_surface_flush(surface);
    const unsigned char* data = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    return reinterpret_cast<const uint32_t*>(data + y * stride)[x];
}

// Records every change; with a sink it also stores the value there, as the plug-in stores
// what the editor sends into the float the control is bound to.
struct RecordingListener : CControlListener {
    void valueChanged(CControl* control) override {
        values.push_back(control->getValue());
        tags.push_back(control->getTag());
        if (sink)
            sink->store(control->getValue());
    }
    std::vector<float> values;
    std::vector<int32_t> tags;
    MFRelaxed<float>* sink = nullptr;
};

// A control that only records how it was opened as modal.
struct ModalProbe : MFControl {
    explicit ModalProbe(MFFrame* frame) : MFControl(CRect(0, 0, 10, 10), nullptr, -1, frame) {}
    void openModal(int32_t mode, const CPoint* where, int32_t tag) override {
        opened.push_back({mode, where ? *where : CPoint(-1, -1), tag});
        MFControl::openModal(mode, where, tag);
    }
    struct Opening {
        int32_t mode;
        CPoint where;
        int32_t tag;
    };
    std::vector<Opening> opened;
};

struct RecordingEditor : CEditorInterface {
    void beginEdit(int32_t tag) override { begins.push_back(tag); }
    void endEdit(int32_t tag) override { ends.push_back(tag); }
    std::vector<int32_t> begins;
    std::vector<int32_t> ends;
};

struct RecordingWindow : CSystemWindow {
    void present(const unsigned char*, int, const CRect& area) override {
        presented.push_back(area);
    }
    void setCursor(int kind) override { cursors.push_back(kind); }
    std::vector<CRect> presented;
    std::vector<int> cursors;
};

// A frame on a black background with a recording window and editor.
struct FrameFixture {
    explicit FrameFixture(CRect size = CRect(0, 0, 200, 200))
        : frame(std::make_unique<MFFrame>(size, &window, &editor)) {}

    // One host idle: counts, controls' idles, the drawing pass.
    void idle() { frame->idle(); }
    uint32_t pixel(int x, int y) const { return pixelAt(frame->getBackBuffer(), x, y); }
    void press(CPoint p, long buttons = cbutton::left) { frame->onMouseDown(p, buttons); }
    void move(CPoint p, long buttons = cbutton::left) { frame->onMouseMoved(p, buttons); }
    void release(CPoint p, long buttons = cbutton::left) { frame->onMouseUp(p, buttons); }
    void click(CPoint p, long buttons = cbutton::left) {
        press(p, buttons);
        release(p, buttons);
    }

    RecordingWindow window;
    RecordingEditor editor;
    RecordingListener listener;
    std::unique_ptr<MFFrame> frame;
};

} // namespace editortest
