#pragma once

#include "editor/toolkit/CRect.h"

#include <cstdint>

// The editor's layout as data: one row per control and one row per effect group, read in
// order by the editor's open. The order of the rows is the drawing order.
namespace mflayout {

enum class ViewClass : uint8_t {
    knob,
    hiddenKnob, // takes the mouse, draws nothing: the display beneath shows the value
    display,
    pictureDisplay, // a row of a picture strip after the bound float
    button,
    image,
    mouseArea,
    levelMeter,
    localLink, // opens the manual
    webLink,
    optionMenuPlace, // an option menu: the editor makes the one of the tag (its menus file)
    tableViewPlace,  // the step and event tables likewise
    zoneViewPlace,   // the lanes: filled by the zone view
};

// What a display shows of its bound float.
enum class Format : uint8_t {
    percent,
    bipolar,
    note,
    hertz,
    decibel,
    milliseconds,
    endlessMilliseconds, // a decay: "oo" at the top end, where it never ends
    strip,               // a picture strip of value names, indexed by the raw value
    stripOfMapped,       // the same, indexed by the mapped form
};

// What a control's float is.
enum class Bound : uint8_t {
    none,
    raw,    // the parameter's raw value of the control's own tag
    mapped, // the parameter's mapped form
    shown,  // the form in display units the engine keeps beside it
};

struct ControlRow {
    int16_t tag;
    ViewClass viewClass;
    CRect rect;
    int16_t pageBit;
    int16_t bitmap; // 0: none
    int16_t frameHeight;
    int16_t frames;
    float sensitivity;
    int8_t buttonMode;
    Bound bound;
    int16_t boundTag; // -1: the control's own tag
    Format format;
};

// One knob column of an effect panel.
struct KnobCell {
    int16_t knobTag;    // -1: the column is empty
    int16_t displayTag; // -1: the display has no tag of its own
    Format format;
    int16_t stripBitmap;
    int16_t stripLines;
    int16_t displayPageBit; // 0: the effect's own
};

constexpr int32_t knobColumns = 7;
constexpr int16_t knobColumnX[knobColumns] = {25, 85, 145, 205, 265, 325, 445};

struct EffectGroupRow {
    const char* name;
    int8_t lane; // the engine's lane index, for the tags of the lane's own controls
    int16_t pageBit;
    int16_t laneY;
    int16_t laneTag, laneBitmap;
    int16_t initTag, initBitmap;
    int16_t bypassTag, bypassBitmap;
    int16_t panelTag, panelBitmap, panelBottom;
    int16_t presetTag, captionBitmap;
    int16_t previousTag, nextTag, previousBitmap, nextBitmap;
    const char* extension;
    int16_t tableA, tableB, gridBitmap;
    int16_t subPageA, subPageB;
    KnobCell knobs[knobColumns];
};

constexpr int32_t groupCount = 14;
// In the order the groups are built: Reverb first, X-Loop last.
extern const EffectGroupRow effectGroups[groupCount];

// The rectangles shared by every group.
constexpr int16_t laneLeft = 184, laneRight = 760, laneHeight = 17;
constexpr CRect initRect(int16_t y) {
    return {147, y, 164, int16_t(y + laneHeight)};
}
constexpr CRect bypassRect(int16_t y) {
    return {165, y, 182, int16_t(y + laneHeight)};
}
constexpr CRect laneRect(int16_t y) {
    return {laneLeft, y, laneRight, int16_t(y + laneHeight)};
}
constexpr CRect panelRect(int16_t bottom) {
    return {4, 405, 533, bottom};
}
constexpr CRect knobRect(int16_t x) {
    return {x, 453, int16_t(x + 40), 493};
}
constexpr CRect knobDisplayRect(int16_t x) {
    return {int16_t(x - 1), 495, int16_t(x + 38), 510};
}
constexpr CRect attackKnobRect{403, 458, 431, 486};
constexpr CRect releaseKnobRect{497, 458, 525, 486};
constexpr CRect attackDisplayRect{398, 495, 437, 510};
constexpr CRect releaseDisplayRect{490, 495, 529, 510};
constexpr CRect presetMenuRect{397, 412, 528, 427};
constexpr CRect previousRect{397, 412, 412, 427};
constexpr CRect nextRect{513, 412, 528, 427};
constexpr CRect tableRect{185, 345, 761, 396};
constexpr CRect tableSwitchRect{136, 346, 177, 363};
constexpr CRect smoothRect{137, 381, 176, 396};
constexpr CRect randomRect{94, 380, 111, 397};
constexpr CRect recordRect{115, 380, 132, 397};
constexpr CRect rowModeRect{12, 381, 89, 396};

constexpr int16_t mainKnobBitmap = 1050, mainKnobFrame = 40;
constexpr int16_t smallKnobBitmap = 1052, smallKnobFrame = 28;
constexpr int16_t displayBitmap = 1049;
constexpr int16_t tableBackground = 1168;
constexpr int16_t tableSwitchBitmap = 1081;
constexpr int16_t smoothBitmap = 1072, smoothFrame = 15;
constexpr int16_t randomBitmap = 1090, recordBitmap = 1089;
constexpr int16_t stripLineHeight = 15;
constexpr float panelSensitivity = 0.5f;
constexpr float smoothSensitivity = 1.0f;

// Controls only some effects have, added after their group's own controls.
struct ExtraRow {
    int8_t group;     // index into effectGroups
    bool beforeKnobs; // a picture the knobs stand on
    ControlRow control;
};
extern const ExtraRow extraControls[];
extern const int32_t extraControlCount;

// The page marker and the playhead, added with the panel pictures.
extern const ControlRow markerAndPlayhead[2];
// The main preset menu, before the groups.
extern const ControlRow mainPresetMenu;
// The effect column, added after the first group.
extern const ControlRow columnControls[3];
// The global bars, added after the Filter group.
extern const ControlRow globalControls[];
extern const int32_t globalControlCount;
// The output section, added after the X-Loop group.
extern const ControlRow outputControls[];
extern const int32_t outputControlCount;

// The about panel and its controls, in the panel's own coordinates.
constexpr int32_t aboutPanelTag = 296475632;
constexpr CRect aboutPanelRect{184, 100, 586, 335};
constexpr int16_t aboutPanelBitmap = 1002;
extern const ControlRow aboutControls[5];

constexpr int32_t columnPictureTag = 322;
constexpr int32_t pageMarkerTag = 323;
constexpr int32_t playheadTag = 527;
constexpr int32_t columnRowPitch = 18;

} // namespace mflayout
