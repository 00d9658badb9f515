#pragma once

#include <string>

typedef struct _cairo_font_face cairo_font_face_t;

// A font by family name and size in pixels. The name is matched through fontconfig
// once, at construction, so drawing and measuring use the same face: "Arial" resolves
// to a metric-compatible family where Arial itself is not installed.
class CFontDesc {
public:
    CFontDesc(const char* name, int size);
    ~CFontDesc();
    CFontDesc(const CFontDesc&) = delete;
    CFontDesc& operator=(const CFontDesc&) = delete;

    const std::string& getName() const { return name; }
    int getSize() const { return size; }
    void setSize(int pixels) { size = pixels; }

    // The face to draw with; never null (cairo's own default face if matching failed).
    cairo_font_face_t* fontFace() const { return face; }
    // The family fontconfig chose for the name, or empty if none was found.
    const std::string& matchedFamily() const { return matched; }

private:
    std::string name;
    std::string matched;
    int size;
    cairo_font_face_t* face = nullptr;
};
