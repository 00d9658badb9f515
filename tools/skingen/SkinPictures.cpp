#include "SkinEffects.h"
#include "SkinFamilies.h"
#include "SkinStyle.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace {

// Window geometry that the background lays its cards and labels around.
constexpr int laneLeft = 184;
constexpr int laneWidth = 576;
constexpr int laneHeight = 17;
constexpr int loopbarTop = 73;
constexpr int firstLaneTop = 92;
constexpr int lanePitch = 18;
constexpr int panelLeft = 4; // the panel pictures' place in the window
constexpr int panelTop = 405;

std::string upper(std::string line) {
    std::transform(line.begin(), line.end(), line.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return line;
}

// A line cut into a card: dark above, light below.
void engraveHorizontal(cairo_t* cr, int x, int y, int width) {
    fillRect(cr, x, y, width, 1, Palette::plateShade);
    fillRect(cr, x, y + 1, width, 1, mix(Palette::plate, Palette::plateLight, 0.6));
}
void engraveVertical(cairo_t* cr, int x, int y, int height) {
    fillRect(cr, x, y, 1, height, Palette::plateShade);
    fillRect(cr, x + 1, y, 1, height, mix(Palette::plate, Palette::plateLight, 0.6));
}

void label(cairo_t* cr, const std::string& line, int x, int y, int width, int height, Align align) {
    text(cr, line, x, y, width, height, 8.5, Palette::textDim, align);
}

} // namespace

// The window behind all controls: four cards on the charcoal ground. The main card holds,
// from top to bottom and split by hairlines, the global bar (y 51..71), the pattern strip
// (73..90), the fourteen effect rows (92..343) and the table strip (345..396). The preset
// bar (18..39) has a card of its own, the panel (405..518) and the output section beside it
// too.
void drawBackground(cairo_t* cr, const BitmapEntry& entry) {
    fillRect(cr, 0, 0, entry.width, entry.height, Palette::ground);

    // Preset bar, with the name of the instrument at its right end.
    plate(cr, 6, 12, 758, 33);
    text(cr, "CADENZOID", 560, 18, 197, 22, 15.0, Palette::text, Align::right);
    text(cr, "step-sequenced multi-effect", 488, 18, 160, 22, 9.0, Palette::textFaint, Align::right,
         Weight::regular);

    // The main card and its hairlines between the regions.
    plate(cr, 6, 48, 758, 351);
    for (int y : {72, 91, 344})
        fillRect(cr, 7, y, 756, 1, Palette::plateShade);

    // Global bar labels, beside the controls they name.
    label(cr, "SWING", 40, 53, 75, 17, Align::right);
    label(cr, "NOTE RESTART", 200, 53, 104, 17, Align::right);
    label(cr, "PATTERNS", 340, 53, 78, 17, Align::right);

    // Pattern strip and lanes.
    laneTrack(cr, laneLeft, loopbarTop, laneWidth, laneHeight);
    const auto& effects = effectArt();
    for (int row = 0; row < static_cast<int>(effects.size()); ++row) {
        const int top = firstLaneTop + row * lanePitch;
        laneTrack(cr, laneLeft, top, laneWidth, laneHeight);
        text(cr, effects[row].name, 30, top, 114, laneHeight, 10.0, Palette::effectHue(row),
             Align::left);
    }

    // Table strip: the graph's field and the captions of the small controls at its left.
    well(cr, 185, 345, 576, 51);
    label(cr, "STEP TABLE", 14, 346, 110, 17, Align::left);
    caption(cr, "TARGET", 50, 368, 76);
    caption(cr, "RND", 103, 368, 20);
    caption(cr, "REC", 124, 368, 20);
    caption(cr, "SMOOTH", 157, 368, 40);

    // Panel card (mostly under the panel pictures) and the output section.
    plate(cr, 2, 402, 535, 121);
    plate(cr, 539, 402, 227, 121);
    text(cr, "OUTPUT", 548, 407, 80, 12, 9.0, Palette::text, Align::left);
    caption(cr, "DRY / WET", 595, 436, 74);
    caption(cr, "MASTER", 697, 436, 74);
    well(cr, 750, 412, 10, 106);
}

void drawAboutPanel(cairo_t* cr, const BitmapEntry& entry) {
    const int w = entry.width;
    const int h = entry.height;
    plate(cr, 0, 0, w, h);
    fillRect(cr, 0, 0, w, 1, Palette::textFaint);
    fillRect(cr, 0, h - 1, w, 1, Palette::wellEdge);
    fillRect(cr, 0, 0, 1, h, Palette::textFaint);
    fillRect(cr, w - 1, 0, 1, h, Palette::wellEdge);

    // The fourteen hues in a row under the name, as on the lanes.
    text(cr, "CADENZOID", 20, 14, 250, 24, 20.0, Palette::text, Align::left);
    text(cr, "step-sequenced multi-effect", 20, 38, 250, 14, 10.0, Palette::textDim, Align::left,
         Weight::regular);
    for (int e = 0; e < Palette::effectCount; ++e)
        fillRect(cr, 20 + e * 9, 56, 7, 3, Palette::effectHue(e));

    // Options, each on the row of the button the panel places for it.
    text(cr, "Manual and website", 20, 69, 150, 16, 10.0, Palette::text, Align::left,
         Weight::regular);
    engraveHorizontal(cr, 20, 94, w - 40);
    text(cr, "Equal-power wet and dry", 20, 105, 150, 16, 10.0, Palette::text, Align::left,
         Weight::regular);
    engraveHorizontal(cr, 20, 130, w - 40);
    text(cr, "Restart zones at the loop start", 20, 141, 160, 16, 10.0, Palette::text, Align::left,
         Weight::regular);
    engraveHorizontal(cr, 20, 166, w - 40);

    text(cr, "F2 mutates the parameters.  Right-click a control to learn a MIDI controller.", 20,
         180, w - 40, 14, 9.0, Palette::textDim, Align::left, Weight::regular);
    text(cr, "Click outside this panel to close it.", 20, 204, w - 40, 14, 9.0, Palette::textFaint,
         Align::left, Weight::regular);
}

// An effect's panel: its name in its hue, a caption over each knob of the knob table, the
// lane's attack and release, and what the few special panels add.
void drawPanel(cairo_t* cr, const BitmapEntry& entry) {
    const int w = entry.width;
    const int h = entry.height;
    const EffectArt& art = effectArt()[entry.effect];
    const Rgb hue = Palette::effectHue(entry.effect);
    plate(cr, 0, 0, w, h);

    const std::string title = upper(art.name);
    const double titleWidth = text(cr, title, 12, 5, 300, 18, 13.0, hue, Align::left);
    fillRect(cr, 12, 24, static_cast<int>(std::ceil(titleWidth)), 2,
             mix(hue, Palette::plate, 0.35));
    engraveHorizontal(cr, 12, 28, 368);
    engraveVertical(cr, 386, 30, 76);
    label(cr, "PRESET", 330, 7, 58, 15, Align::right);

    auto local = [](int windowX) { return windowX - panelLeft; };
    constexpr int captionTop = 36;
    // Columns stand 60 pixels apart; a caption may spread wider where both neighbours are
    // empty. The last column sits between the attack and release knobs.
    const int columns = static_cast<int>(knobColumns.size());
    for (int column = 0; column < columns; ++column) {
        if (art.knobCaptions[column] == nullptr)
            continue;
        const bool freeLeft = column == 0 || art.knobCaptions[column - 1] == nullptr;
        const bool freeRight = column >= columns - 2 || art.knobCaptions[column + 1] == nullptr;
        const int width = column == columns - 1 ? 40 : freeLeft && freeRight ? 78 : 58;
        caption(cr, art.knobCaptions[column], local(knobColumns[column]) + 20, captionTop, width);
    }
    caption(cr, "ATTACK", local(403) + 14, captionTop, 44);
    caption(cr, "RELEASE", local(497) + 14, captionTop, 44);

    const std::string name = art.name;
    if (name == "Stretch") {
        caption(cr, "SNAP", local(80) + 20, captionTop, 40);
    } else if (name == "Vinyl") {
        caption(cr, "TAPE STOP", local(333) + 20, captionTop);
    } else if (name == "Filter") {
        caption(cr, "TYPE", local(322) + 28, 30, 56);
        caption(cr, "ENV SOURCE", local(322) + 28, 79, 64);
    } else if (name == "Stutter") {
        // The two event tables sit in the panel itself.
        well(cr, local(237), 437 - panelTop, 144, 32);
        well(cr, local(237), 481 - panelTop, 144, 32);
        // The first table places each event left to right, the second sets its level.
        label(cr, "PAN", local(180), 437 - panelTop, 50, 14, Align::right);
        label(cr, "LEVEL", local(180), 481 - panelTop, 50, 14, Align::right);
    }
}

// The Vinyl mode's platter: a grooved rim around the depth knob, open at the top for the
// caption, and a tone arm. The knob covers the middle with its own square, so the middle is
// the card's colour. The picture also carries what of the panel it covers: the caption and
// the engraved line under the title.
void drawVinylPicture(cairo_t* cr, const BitmapEntry& entry) {
    constexpr int left = 128; // the picture's place in the window
    constexpr int top = 432;
    fillRect(cr, 0, 0, entry.width, entry.height, Palette::plate);
    engraveHorizontal(cr, 0, 28 - (top - panelTop), entry.width);
    caption(cr, "DEPTH", 165 - left, 36 - (top - panelTop));
    const double cx = 165 - left; // the knob's centre in the window: 145 + 20, 453 + 20
    const double cy = 473 - top;
    const double radius = 31.0;
    const double from = -50.0 * M_PI / 180.0;
    const double to = 230.0 * M_PI / 180.0;
    cairo_set_line_width(cr, 3.0);
    setColour(cr, Palette::wellEdge);
    cairo_arc(cr, cx, cy, radius, from, to);
    cairo_stroke(cr);
    cairo_set_line_width(cr, 0.6);
    setColour(cr, mix(Palette::wellEdge, Palette::plateLight, 0.5));
    for (double r : {radius - 1.0, radius + 0.8}) {
        cairo_new_sub_path(cr);
        cairo_arc(cr, cx, cy, r, from, to);
        cairo_stroke(cr);
    }
    cairo_set_line_width(cr, 1.6);
    setColour(cr, mix(Palette::effectHue(entry.effect >= 0 ? entry.effect : 5), Palette::plate, 0.3));
    cairo_arc(cr, cx, cy, radius, 150.0 * M_PI / 180.0, 195.0 * M_PI / 180.0);
    cairo_stroke(cr);
    // Tone arm: pivot at the top right, resting across the rim.
    setColour(cr, Palette::textDim);
    cairo_arc(cr, 64.0, 12.0, 3.0, 0, 2 * M_PI);
    cairo_fill(cr);
    cairo_set_line_width(cr, 1.5);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_move_to(cr, 64.0, 12.0);
    cairo_line_to(cr, 66.0, 44.0);
    cairo_line_to(cr, 61.0, 58.0);
    cairo_stroke(cr);
    fillRect(cr, 58, 57, 5, 4, Palette::text);
}

// The step tables' field: a line at each step, brighter at each beat, and quarter levels.
void drawTableBackground(cairo_t* cr, const BitmapEntry& entry) {
    const int w = entry.width;
    const int h = entry.height;
    well(cr, 0, 0, w, h);
    for (int quarter = 1; quarter < 4; ++quarter) {
        const int y = h - 1 - (quarter * (h - 2) + 2) / 4;
        fillRect(cr, 1, y, w - 2, 1,
                 mix(Palette::well, Palette::plateLight, quarter == 2 ? 0.45 : 0.22));
    }
    for (int step = 1; step * 18 < w; ++step) {
        const double amount = step % 16 == 0 ? 0.9 : step % 4 == 0 ? 0.6 : 0.25;
        fillRect(cr, step * 18, 1, 1, h - 2, mix(Palette::well, Palette::plateLight, amount));
    }
}
