#include "editor/toolkit/CFontDesc.h"

#include <cairo-ft.h>
#include <cairo.h>
#include <fontconfig/fontconfig.h>

namespace {
// The best installed face for a family name, as a fontconfig match with its file.
FcPattern* matchFamily(const char* family) {
    FcPattern* pattern = FcPatternCreate();
    if (!pattern)
        return nullptr;
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family));
    FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    FcPattern* match = FcFontMatch(nullptr, pattern, &result);
    FcPatternDestroy(pattern);
    if (match && result != FcResultMatch) {
        FcPatternDestroy(match);
        return nullptr;
    }
    return match;
}
} // namespace

CFontDesc::CFontDesc(const char* fontName, int pixels)
    : name(fontName ? fontName : ""), size(pixels) {
    if (FcPattern* match = matchFamily(name.c_str())) {
        FcChar8* family = nullptr;
        if (FcPatternGetString(match, FC_FAMILY, 0, &family) == FcResultMatch && family)
            matched = reinterpret_cast<const char*>(family);
        face = cairo_ft_font_face_create_for_pattern(match);
        FcPatternDestroy(match);
        if (cairo_font_face_status(face) != CAIRO_STATUS_SUCCESS) {
            cairo_font_face_destroy(face);
            face = nullptr;
            matched.clear();
        }
    }
    if (!face)
        face = cairo_toy_font_face_create(name.c_str(), CAIRO_FONT_SLANT_NORMAL,
                                          CAIRO_FONT_WEIGHT_NORMAL);
}

CFontDesc::~CFontDesc() {
    cairo_font_face_destroy(face);
}
