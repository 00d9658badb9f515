#pragma once

#include "editor/controls/MFControl.h"
#include "editor/controls/MFValueFormats.h"
#include "platform/MFRelaxed.h"

#include <string>

// Where a display takes its text from when it is not a formatted number.
class MFTextSourceInterface {
public:
    virtual ~MFTextSourceInterface() = default;
    virtual const char* getDisplayText() = 0;
};

// A value shown as text, as a row of a picture strip, or both. The text is the text
// source's, or the formatted value with prefix and suffix; below zeroThreshold it is
// zeroText. It follows its bound float at each idle and repaints only when what it shows
// would change.
class MFDisplay : public MFControl {
public:
    static constexpr float defaultZeroThreshold = -1200000.0f;
    static constexpr float dragStep = -0.01f;
    static constexpr float fineDragStep = -0.0005f;
    static constexpr int32_t textCapacity = formatCapacity;

    MFDisplay(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
              CBitmap* background = nullptr);

    void draw(CDrawContext& context) override;
    int onMouseDown(CPoint where, long buttons) override;
    int onMouseUp(CPoint where, long buttons) override;
    int onMouseMoved(CPoint where, long buttons) override;
    void onIdle() override;

    void bind(const MFRelaxed<float>* bound, float boundMinimum = 0.0f, float boundMaximum = 1.0f);
    void setFormatter(MFValueFormatter f) { formatter = f; }
    void setTextSource(MFTextSourceInterface* source) { textSource = source; }
    void setPrefix(const char* text) { textPrefix = text ? text : ""; }
    void setSuffix(const char* text) { textSuffix = text ? text : ""; }
    void setValueLabel(const char* text) { valueLabel = text ? text : ""; }
    void setZeroText(const char* text, float threshold) {
        zeroText = text ? text : "";
        zeroThreshold = threshold;
    }
    void setDigits(int32_t width, int32_t fraction) {
        digits = width;
        decimals = fraction;
    }
    // A picture strip: frames of frameHeight, count of them.
    void setFrames(int32_t height, int32_t count) {
        frameHeight = height;
        frameCount = count > 0 ? count : 1;
    }
    void setInsets(int32_t l, int32_t t, int32_t r, int32_t b) {
        insetLeft = l;
        insetTop = t;
        insetRight = r;
        insetBottom = b;
    }
    void setAlpha(int32_t a) { alpha = a; }
    void setUseTransparent(bool flag) { useTransparent = flag; }
    void setShowText(bool flag) { showText = flag; }
    // The bound float itself is the row (no normalising).
    void setRawBound(bool flag) { rawBound = flag; }
    // Half a row is added before truncating.
    void setRoundBound(bool flag) { roundBound = flag; }
    void setInteger(bool flag) { integer = flag; }
    void setHorizontal(bool flag) { horizontal = flag; }
    void setSensitivity(float s) { sensitivity = s; }

    // The value shown: the bound float, or the control's value without one.
    float shownValue() const;
    // The text as it would be drawn now, into text (textCapacity bytes).
    void formatText(char* text) const;
    int32_t frameRow() const;

private:
    int32_t frameOffset() const { return frameRow() * frameHeight; }

    CPoint lastPoint;
    MFValueFormatter formatter = nullptr;
    MFTextSourceInterface* textSource = nullptr;
    std::string textSuffix;
    std::string textPrefix;
    std::string valueLabel;
    std::string zeroText;
    const MFRelaxed<float>* boundValue = nullptr;
    float boundMin = 0.0f;
    float boundMax = 1.0f;
    float sensitivity = 1.0f;
    float zeroThreshold = defaultZeroThreshold;
    int32_t digits = 3;
    int32_t decimals = 3;
    int32_t frameHeight = 0;
    int32_t frameCount = 1;
    int32_t lastFrameOffset = -1;
    float lastShown = 0.0f;
    int32_t insetLeft = 0, insetTop = 0, insetRight = 0, insetBottom = 0;
    int32_t alpha = 255;
    bool useTransparent = false;
    bool showText = true;
    bool dragging = false;
    bool rawBound = false;
    bool integer = false;
    bool horizontal = false;
    bool roundBound = false;
};
