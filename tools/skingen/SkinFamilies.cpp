#include "SkinFamilies.h"

#include "SkinEffects.h"
#include "SkinStyle.h"

#include <cmath>
#include <functional>
#include <stdexcept>

namespace {

// Runs draw(frame) with the origin moved to the top of each frame and drawing clipped to it.
void eachFrame(cairo_t* cr, const BitmapEntry& entry, const std::function<void(int)>& draw) {
    const int height = entry.frameHeight();
    for (int frame = 0; frame < entry.frames; ++frame) {
        cairo_save(cr);
        cairo_translate(cr, 0, frame * height);
        cairo_rectangle(cr, 0, 0, entry.width, height);
        cairo_clip(cr);
        draw(frame);
        cairo_restore(cr);
    }
}

Rgb accentOf(const BitmapEntry& entry) {
    return entry.effect >= 0 ? Palette::effectHue(entry.effect) : Palette::lit;
}

// A small triangle pointing left or right, centred in the box.
void arrow(cairo_t* cr, double centreX, double centreY, double size, bool right, Rgb colour) {
    const double half = size / 2.0;
    const double direction = right ? 1.0 : -1.0;
    setColour(cr, colour);
    cairo_move_to(cr, centreX - direction * half * 0.8, centreY - half);
    cairo_line_to(cr, centreX + direction * half * 0.8, centreY);
    cairo_line_to(cr, centreX - direction * half * 0.8, centreY + half);
    cairo_close_path(cr);
    cairo_fill(cr);
}

void drawIcon(cairo_t* cr, Icon icon, int width, int height, bool active, Rgb accent) {
    const double cx = width / 2.0;
    const double cy = height / 2.0;
    const Rgb ink = active ? Palette::lit : Palette::textDim;
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    switch (icon) {
    case Icon::clear: {
        // A cross: clears the lane.
        cairo_set_line_width(cr, 1.4);
        setColour(cr, active ? Palette::lit : Palette::textDim);
        const double r = 3.0;
        cairo_move_to(cr, cx - r, cy - r);
        cairo_line_to(cr, cx + r, cy + r);
        cairo_move_to(cr, cx + r, cy - r);
        cairo_line_to(cr, cx - r, cy + r);
        cairo_stroke(cr);
        break;
    }
    case Icon::power:
        lamp(cr, cx, cy, 3.0, accent, active);
        break;
    case Icon::record:
        lamp(cr, cx, cy, 3.5, Palette::alarm, active);
        break;
    case Icon::random: {
        // A die showing three.
        cairo_set_line_width(cr, 1.0);
        setColour(cr, ink);
        cairo_rectangle(cr, std::floor(cx) - 4.5, std::floor(cy) - 4.5, 9, 9);
        cairo_stroke(cr);
        for (int i = -1; i <= 1; ++i) {
            cairo_rectangle(cr, std::floor(cx) - 1 + i * 2.5, std::floor(cy) - 1 - i * 2.5, 2, 2);
            cairo_fill(cr);
        }
        break;
    }
    case Icon::copy: {
        // Two sheets, one over the other.
        const int x = static_cast<int>(cx) - 5;
        const int y = static_cast<int>(cy) - 5;
        cairo_set_line_width(cr, 1.0);
        setColour(cr, mix(ink, Palette::plate, 0.45));
        cairo_rectangle(cr, x + 0.5, y + 0.5, 6, 7);
        cairo_stroke(cr);
        fillRect(cr, x + 3, y + 3, 7, 8, active ? Palette::facePressed : Palette::faceLow);
        setColour(cr, ink);
        cairo_rectangle(cr, x + 3.5, y + 3.5, 6, 7);
        cairo_stroke(cr);
        break;
    }
    case Icon::paste: {
        // A clipboard with its clip.
        const int x = static_cast<int>(cx) - 4;
        const int y = static_cast<int>(cy) - 5;
        cairo_set_line_width(cr, 1.0);
        setColour(cr, ink);
        cairo_rectangle(cr, x + 0.5, y + 1.5, 8, 9);
        cairo_stroke(cr);
        fillRect(cr, x + 2, y, 5, 3, ink);
        fillRect(cr, x + 2, y + 5, 5, 1, mix(ink, Palette::plate, 0.4));
        fillRect(cr, x + 2, y + 7, 4, 1, mix(ink, Palette::plate, 0.4));
        break;
    }
    case Icon::next:
    case Icon::previous:
        arrow(cr, cx, cy, 7.0, icon == Icon::next, ink);
        break;
    case Icon::none:
        break;
    }
}

void drawLabelButton(cairo_t* cr, const BitmapEntry& entry) {
    eachFrame(cr, entry, [&](int frame) {
        const int w = entry.width;
        const int h = entry.frameHeight();
        fillRect(cr, 0, 0, w, h, Palette::plate);
        const bool on = frame == 1;
        const double size = h <= 16 ? 8.5 : 9.0;
        switch (entry.button) {
        case ButtonKind::momentary:
            buttonFace(cr, 0, 0, w, h, on);
            text(cr, entry.labels[0], 0, on ? 1 : 0, w, h, size, on ? Palette::lit : Palette::text);
            break;
        case ButtonKind::toggle:
            buttonFace(cr, 0, 0, w, h, on);
            if (on)
                fillRect(cr, 4, h - 3, w - 8, 1, Palette::lit);
            text(cr, entry.labels[frame], 0, 0, w, h - 1, size,
                 on ? Palette::lit : Palette::textDim);
            break;
        case ButtonKind::lampSwitch:
            buttonFace(cr, 0, 0, w, h, on);
            lamp(cr, 9.5, h / 2.0, 2.5, Palette::lit, on);
            text(cr, entry.labels[frame], 15, 0, w - 17, h, size,
                 on ? Palette::lit : Palette::textDim);
            break;
        case ButtonKind::bypassLamp:
            buttonFace(cr, 0, 0, w, h, !on);
            lamp(cr, 7.5, h / 2.0, 2.0, Palette::alarm, !on);
            text(cr, entry.labels[0], 11, 0, w - 12, h, 8.0, on ? Palette::textDim : Palette::lit);
            break;
        case ButtonKind::abSwitch: {
            const int half = w / 2;
            buttonFace(cr, 0, 0, half + 1, h, frame == 0);
            buttonFace(cr, half, 0, w - half, h, frame == 1);
            text(cr, entry.labels[0], 0, 0, half + 1, h, 9.5,
                 frame == 0 ? Palette::lit : Palette::textDim);
            text(cr, entry.labels[1], half, 0, w - half, h, 9.5,
                 frame == 1 ? Palette::lit : Palette::textDim);
            break;
        }
        }
    });
}

void drawIconButton(cairo_t* cr, const BitmapEntry& entry) {
    eachFrame(cr, entry, [&](int frame) {
        const int w = entry.width;
        const int h = entry.frameHeight();
        fillRect(cr, 0, 0, w, h, Palette::plate);
        const bool on = frame == 1;
        const bool pressed = entry.button == ButtonKind::momentary && on;
        buttonFace(cr, 0, 0, w, h, pressed);
        cairo_save(cr);
        if (pressed)
            cairo_translate(cr, 0, 1);
        drawIcon(cr, entry.icon, w, h, on, accentOf(entry));
        cairo_restore(cr);
    });
}

// The arrows sit on the ends of the preset caption's field, so they share its look.
void drawPresetArrow(cairo_t* cr, const BitmapEntry& entry) {
    eachFrame(cr, entry, [&](int frame) {
        const int w = entry.width;
        const int h = entry.frameHeight();
        const bool right = entry.icon == Icon::next;
        well(cr, right ? -2 : 0, 0, w + 2, h);
        if (!right)
            fillRect(cr, w - 1, 1, 1, h - 2, Palette::well);
        arrow(cr, w / 2.0 + (right ? 0.5 : -0.5), h / 2.0, 6.0, right,
              frame == 1 ? Palette::lit : Palette::textDim);
    });
}

void drawPresetCaption(cairo_t* cr, const BitmapEntry& entry) {
    well(cr, 0, 0, entry.width, entry.height);
    fillRect(cr, 18, 4, 2, entry.height - 8, Palette::effectHue(entry.effect));
}

// Bars of a step table cut from this texture: the effect's hue, brighter towards the top,
// in segments of four pixels so that levels can be read.
void drawTableBars(cairo_t* cr, const BitmapEntry& entry) {
    const Rgb top = Palette::effectHueBright(entry.effect);
    const Rgb bottom = Palette::effectHueDim(entry.effect);
    for (int y = 0; y < entry.height; ++y) {
        const double t = static_cast<double>(y) / (entry.height - 1);
        Rgb colour = mix(top, bottom, t);
        if (y % 4 == 3)
            colour = mix(colour, Palette::well, 0.55);
        fillRect(cr, 0, y, entry.width, 1, colour);
    }
}

void drawField(cairo_t* cr, const BitmapEntry& entry) {
    well(cr, 0, 0, entry.width, entry.height);
}

void drawSliderFace(cairo_t* cr, const BitmapEntry& entry) {
    well(cr, 0, 0, entry.width, entry.height);
    const double cy = entry.height / 2.0;
    arrow(cr, 4.5, cy, 5.0, false, Palette::textFaint);
    arrow(cr, entry.width - 4.5, cy, 5.0, true, Palette::textFaint);
}

void drawKnob(cairo_t* cr, const BitmapEntry& entry) {
    eachFrame(cr, entry, [&](int frame) {
        knob(cr, entry.width, static_cast<double>(frame) / (entry.frames - 1));
    });
}

// The swing fader: a groove, the amount lit from the left, and a thumb.
void drawFader(cairo_t* cr, const BitmapEntry& entry) {
    constexpr int thumbWidth = 9;
    constexpr int controlHeight = 18; // the control shows 18 of the 19 rows
    eachFrame(cr, entry, [&](int frame) {
        fillRect(cr, 0, 0, entry.width, entry.frameHeight(), Palette::plate);
        const int grooveLeft = 2;
        const int grooveWidth = entry.width - 4;
        const int travel = grooveWidth - thumbWidth;
        const int thumbLeft =
            grooveLeft + (travel * frame + (entry.frames - 1) / 2) / (entry.frames - 1);
        const int grooveTop = controlHeight / 2 - 2;
        well(cr, grooveLeft, grooveTop, grooveWidth, 5);
        fillRect(cr, grooveLeft + 1, grooveTop + 1, thumbLeft - grooveLeft, 3,
                 mix(Palette::text, Palette::textDim, 0.4));
        buttonFace(cr, thumbLeft, 2, thumbWidth, controlHeight - 4, false);
        fillRect(cr, thumbLeft + thumbWidth / 2, 5, 1, controlHeight - 10, Palette::lit);
    });
}

// Value names, one per frame, in the look of a text display.
void drawNameStrip(cairo_t* cr, const BitmapEntry& entry) {
    eachFrame(cr, entry, [&](int frame) {
        well(cr, 0, 0, entry.width, entry.frameHeight());
        text(cr, entry.labels[frame], 0, 0, entry.width, entry.frameHeight(), 9.0, Palette::lit,
             Align::centre, Weight::regular);
    });
}

void drawTempoStrip(cairo_t* cr, const BitmapEntry& entry) {
    eachFrame(cr, entry, [&](int frame) {
        const int h = entry.frameHeight();
        well(cr, 0, 0, entry.width, h);
        const std::string& line = entry.labels[frame];
        const auto bar = line.find('|');
        const double stepWidth = text(cr, "STEP", 7, 0, 40, h, 8.0, Palette::textDim, Align::left);
        text(cr, line.substr(0, bar), 7 + static_cast<int>(stepWidth) + 5, 0, 50, h, 10.0,
             Palette::lit, Align::left);
        text(cr, line.substr(bar + 1), 0, 0, entry.width - 7, h, 8.5, Palette::textDim, Align::right,
             Weight::regular);
    });
}

void drawStatusStrip(cairo_t* cr, const BitmapEntry& entry) {
    const Rgb lamps[] = {Palette::go, Palette::caution, Palette::caution, Palette::caution,
                         Palette::alarm};
    eachFrame(cr, entry, [&](int frame) {
        const int h = entry.frameHeight();
        well(cr, 0, 0, entry.width, h);
        // Waiting for a note shows the lamp dark: nothing is running yet.
        lamp(cr, 11.5, h / 2.0, 3.0, lamps[frame], frame != 1);
        text(cr, entry.labels[frame], 21, 0, entry.width - 24, h, 9.0,
             frame == 4 ? Palette::alarm : Palette::text, Align::left);
    });
}

// Twelve cells for the twelve patterns, naturals light and sharps dark as on a keyboard,
// over the width the pattern keys' mouse area divides evenly.
void drawPatternKeys(cairo_t* cr, const BitmapEntry& entry) {
    static const char* const names[] = {"C", "#", "D", "#", "E", "F", "#", "G", "#", "A", "#", "B"};
    static const bool sharp[] = {false, true,  false, true,  false, false,
                                 true,  false, true,  false, true,  false};
    eachFrame(cr, entry, [&](int frame) {
        const int h = entry.frameHeight();
        const int chosen = frame < 12 ? frame : 11;
        fillRect(cr, 0, 0, entry.width, h, Palette::wellEdge);
        for (int key = 0; key < 12; ++key) {
            const int left = (key * entry.width + 6) / 12;
            const int right = ((key + 1) * entry.width + 6) / 12;
            const int inner = key == 0 ? 0 : 1;
            Rgb cell = sharp[key] ? Palette::well : Palette::faceLow;
            Rgb ink = sharp[key] ? Palette::textFaint : Palette::text;
            if (key == chosen) {
                cell = Palette::lit;
                ink = Palette::ground;
            }
            fillRect(cr, left + inner, 0, right - left - inner, h, cell);
            text(cr, names[key], left + inner, 0, right - left - inner, h, 8.5, ink);
        }
    });
}

// The frame around the pattern keys, their name and the copy and paste buttons, on the
// card's colour that the buttons' corners show.
void drawKeyPlate(cairo_t* cr, const BitmapEntry& entry) {
    const int w = entry.width;
    const int h = entry.height;
    fillRect(cr, 0, 0, w, h, Palette::plate);
    fillRect(cr, 0, 0, w, 1, Palette::plateShade);
    fillRect(cr, 0, 1, 1, h - 1, Palette::plateShade);
    fillRect(cr, 1, h - 1, w - 1, 1, Palette::plateLight);
    fillRect(cr, w - 1, 1, 1, h - 2, Palette::plateLight);
}

// The playing position: it glides with the fractional step, so it is a line, lit at its left
// edge with a darker second pixel, and a flag on the pattern strip. Everything else is the
// key colour, so the lanes show through.
void drawPlayhead(cairo_t* cr, const BitmapEntry& entry) {
    fillRect(cr, 0, 0, entry.width, entry.height, Palette::key);
    fillRect(cr, 0, 0, 1, entry.height, Palette::lit);
    fillRect(cr, 1, 0, 1, entry.height, Palette::textFaint);
    for (int row = 0; row < 5; ++row)
        fillRect(cr, 1, row, 6 - row, 1, Palette::lit);
}

// An arrow pointing at the chosen effect's name, on the key colour.
void drawPageMarker(cairo_t* cr, const BitmapEntry& entry) {
    fillRect(cr, 0, 0, entry.width, entry.height, Palette::key);
    const int middle = entry.height / 2;
    for (int row = 0; row < entry.height - 4; ++row) {
        const int y = row + 2;
        const int reach = middle - std::abs(y - middle) + (y < middle ? 0 : -1);
        if (reach > 0)
            fillRect(cr, 4, y, reach + 1, 1, Palette::lit);
    }
}

// One channel of the output meter: frame k lights k of 34 parts of the height from the
// bottom, in segments of three pixels; green up to half, amber, red in the top tenth.
void drawLevelMeter(cairo_t* cr, const BitmapEntry& entry) {
    eachFrame(cr, entry, [&](int frame) {
        const int h = entry.frameHeight();
        const int litRows = (frame * h + (entry.frames - 1) / 2) / (entry.frames - 1);
        for (int y = 0; y < h; ++y) {
            const int fromBottom = h - 1 - y;
            const double height = static_cast<double>(fromBottom) / (h - 1);
            Rgb colour = height > 0.9   ? Palette::alarm
                         : height > 0.5 ? Palette::caution
                                        : Palette::go;
            const bool gap = fromBottom % 3 == 2;
            if (fromBottom >= litRows)
                colour = mix(colour, Palette::well, 0.82);
            fillRect(cr, 0, y, entry.width, 1, gap ? Palette::wellEdge : colour);
        }
    });
}

// The lines of a bitmap menu; the highlighted variant is what the hot line shows. Lines of
// a table's target menu carry the effect's hue in a mark at their left.
void drawMenuList(cairo_t* cr, const BitmapEntry& entry) {
    const bool narrow = entry.width < 70;
    const int indent = narrow ? 4 : 8;
    const double size = narrow ? 8.5 : 9.0;
    eachFrame(cr, entry, [&](int frame) {
        const int h = entry.frameHeight();
        const std::string& line = entry.labels[frame];
        const bool target = entry.effect >= 0 && frame > 0 && !line.empty();
        const bool none = entry.effect >= 0 && frame == 0;
        if (entry.highlight) {
            fillRect(cr, 0, 0, entry.width, h, Palette::text);
            if (target)
                fillRect(cr, 3, 4, 2, h - 8, Palette::effectHueDim(entry.effect));
            text(cr, line, indent, 0, entry.width - indent - 1, h, size, Palette::ground,
                 Align::left);
            return;
        }
        fillRect(cr, 0, 0, entry.width, h, grey(14));
        if (frame > 0)
            fillRect(cr, 3, 0, entry.width - 6, 1, grey(30));
        if (target)
            fillRect(cr, 3, 4, 2, h - 8, Palette::effectHue(entry.effect));
        text(cr, line.empty() ? "-" : line, indent, 0, entry.width - indent - 1, h, size,
             none || line.empty() ? Palette::textFaint : Palette::text, Align::left);
    });
}

// Fourteen rows of 18 pixels beside the effect names; frame k lights row k in its hue.
void drawEffectColumn(cairo_t* cr, const BitmapEntry& entry) {
    constexpr int rowPitch = 18;
    eachFrame(cr, entry, [&](int frame) {
        fillRect(cr, 0, 0, entry.width, entry.frameHeight(), Palette::plate);
        for (int row = 0; row < Palette::effectCount; ++row) {
            const int top = row * rowPitch;
            if (row == frame) {
                const Rgb hue = Palette::effectHueBright(row);
                well(cr, 3, top + 2, 10, 13);
                fillRect(cr, 5, top + 4, 6, 9, hue);
                fillRect(cr, 5, top + 4, 6, 1, mix(hue, Palette::lit, 0.6));
            } else {
                fillRect(cr, 7, top + 7, 2, 3,
                         mix(Palette::effectHueDim(row), Palette::plate, 0.35));
            }
        }
    });
}

// Zone cells: 0 a one-step zone, 1 a left end, 2 a middle step, 3 a right end; cells 4..7
// are the same for the zone sounding now, brighter. The views blend them at 180 of 255 over
// the lane's track, so the space around a zone's body repeats the track.
void drawLaneSprite(cairo_t* cr, const BitmapEntry& entry) {
    eachFrame(cr, entry, [&](int frame) {
        const int w = entry.width;
        const int h = entry.frameHeight();
        const int cell = frame % 4;
        const bool marked = frame >= 4;
        // The track as the window draws it, with this step's line at the cell's left edge.
        laneTrack(cr, -w, 0, 2 * w + 1, h);
        Rgb body;
        Rgb edge;
        if (entry.effect >= 0) {
            body =
                marked ? Palette::effectHueBright(entry.effect) : Palette::effectHueDim(entry.effect);
            edge = marked ? mix(body, Palette::lit, 0.55) : Palette::effectHue(entry.effect);
        } else {
            body = marked ? grey(205) : grey(98);
            edge = marked ? Palette::lit : grey(150);
        }
        const bool openLeft = cell == 2 || cell == 3;
        const bool openRight = cell == 1 || cell == 2;
        const double left = openLeft ? -2.0 : 1.0;
        const double right = openRight ? w + 2.0 : w - 1.0;
        const double top = 2.0;
        const double bottom = h - 2.0;
        const double radius = 3.0;
        cairo_new_path(cr);
        if (openLeft) {
            cairo_move_to(cr, left, top);
        } else {
            cairo_arc(cr, left + radius, top + radius, radius, M_PI, 1.5 * M_PI);
        }
        if (openRight) {
            cairo_line_to(cr, right, top);
            cairo_line_to(cr, right, bottom);
        } else {
            cairo_arc(cr, right - radius, top + radius, radius, 1.5 * M_PI, 2 * M_PI);
            cairo_arc(cr, right - radius, bottom - radius, radius, 0, 0.5 * M_PI);
        }
        if (openLeft) {
            cairo_line_to(cr, left, bottom);
        } else {
            cairo_arc(cr, left + radius, bottom - radius, radius, 0.5 * M_PI, M_PI);
        }
        cairo_close_path(cr);
        setColour(cr, body);
        cairo_fill_preserve(cr);
        cairo_save(cr);
        cairo_clip(cr);
        // A lit top edge, and a fine notch where each step begins inside a zone.
        fillRect(cr, -2, 2, w + 4, 1, edge);
        fillRect(cr, -2, h - 3, w + 4, 1, mix(body, Palette::wellEdge, 0.35));
        if (openLeft)
            fillRect(cr, 0, 4, 1, h - 8, mix(body, Palette::wellEdge, 0.3));
        cairo_restore(cr);
        cairo_new_path(cr);
    });
}

void drawClipLamp(cairo_t* cr, const BitmapEntry& entry) {
    // One frame, so it cannot change with the signal: an unlit clip lamp, a quiet label
    // that the meters beside it are the output's. A lit lamp at rest would read as a fault.
    well(cr, 0, 0, entry.width, entry.height);
    text(cr, "CLIP", 0, 0, entry.width, entry.height, 8.0, mix(Palette::alarm, Palette::well, 0.55));
}

} // namespace

void laneTrack(cairo_t* cr, int x, int y, int width, int height) {
    well(cr, x, y, width, height);
    constexpr int stepWidth = 18;
    // Step lines at x + 18 k inside the track, brighter at each beat and each half pattern.
    for (int step = 1; step * stepWidth < width; ++step) {
        Rgb line = mix(Palette::well, Palette::plateLight, 0.35);
        if (step % 4 == 0)
            line = mix(Palette::well, Palette::plateLight, 0.75);
        if (step % 16 == 0)
            line = Palette::plateLight;
        fillRect(cr, x + step * stepWidth, y + 1, 1, height - 2, line);
    }
}

void drawBitmap(cairo_t* cr, const BitmapEntry& entry) {
    switch (entry.family) {
    case Family::background:
        return drawBackground(cr, entry);
    case Family::aboutPanel:
        return drawAboutPanel(cr, entry);
    case Family::labelButton:
        return drawLabelButton(cr, entry);
    case Family::iconButton:
        return drawIconButton(cr, entry);
    case Family::tableBars:
        return drawTableBars(cr, entry);
    case Family::panel:
        return drawPanel(cr, entry);
    case Family::field:
        return drawField(cr, entry);
    case Family::sliderFace:
        return drawSliderFace(cr, entry);
    case Family::knob:
        return drawKnob(cr, entry);
    case Family::fader:
        return drawFader(cr, entry);
    case Family::nameStrip:
        return drawNameStrip(cr, entry);
    case Family::tempoStrip:
        return drawTempoStrip(cr, entry);
    case Family::statusStrip:
        return drawStatusStrip(cr, entry);
    case Family::patternKeys:
        return drawPatternKeys(cr, entry);
    case Family::keyPlate:
        return drawKeyPlate(cr, entry);
    case Family::playhead:
        return drawPlayhead(cr, entry);
    case Family::pageMarker:
        return drawPageMarker(cr, entry);
    case Family::levelMeter:
        return drawLevelMeter(cr, entry);
    case Family::menuList:
        return drawMenuList(cr, entry);
    case Family::presetCaption:
        return drawPresetCaption(cr, entry);
    case Family::presetArrow:
        return drawPresetArrow(cr, entry);
    case Family::vinylPicture:
        return drawVinylPicture(cr, entry);
    case Family::tableBackground:
        return drawTableBackground(cr, entry);
    case Family::effectColumn:
        return drawEffectColumn(cr, entry);
    case Family::laneSprite:
        return drawLaneSprite(cr, entry);
    case Family::clipLamp:
        return drawClipLamp(cr, entry);
    }
    throw std::logic_error("no drawing for bitmap " + std::to_string(entry.id));
}
