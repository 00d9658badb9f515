#pragma once

#include <string>
#include <vector>

// The 189 bitmaps of the skin, ids 1000 to 1188, as data: each row names its size, the
// family of drawing that makes it, how many frames it stacks, and its options.

enum class Family {
    background,      // the window behind everything
    aboutPanel,      // the about box
    labelButton,     // a button with a word on it
    iconButton,      // a button with a symbol on it, such as a lane's init and on buttons
    tableBars,       // an effect's step-table bar texture and row labels
    panel,           // an effect's panel picture with its knob captions
    field,           // a recessed display field
    sliderFace,      // the face of a table's smoothing slider
    knob,            // a knob strip of 128 frames
    fader,           // the horizontal swing fader
    nameStrip,       // a display strip of value names, one line each
    tempoStrip,      // the step length of the pattern strip
    statusStrip,     // the status picture
    patternKeys,     // the twelve pattern keys with one lit
    keyPlate,        // the plate behind the pattern keys
    playhead,        // the bar that marks the playing step
    pageMarker,      // the arrow beside the chosen effect
    levelMeter,      // one channel of the output meter
    menuList,        // the lines of a bitmap menu, plain or highlighted
    presetCaption,   // the field of an effect's preset menu
    presetArrow,     // the arrow at either end of that field
    vinylPicture,    // the platter behind the Vinyl depth knob
    tableBackground, // the grid of the step tables
    effectColumn,    // the lamps of the effect column, one lit per frame
    laneSprite,      // the zone cells of a lane
    clipLamp,        // the output's clip indicator
};

// How a labelButton or iconButton looks in its frames.
enum class ButtonKind {
    momentary,  // frame 0 at rest, frame 1 held down
    toggle,     // frame 0 off, frame 1 on (lit)
    lampSwitch, // a lamp and "OFF" or "ON"
    bypassLamp, // a red lamp lit in frame 0 (the sequencer stopped), dark in frame 1
    abSwitch,   // two halves "A" and "B", the chosen one lit
};

enum class Icon { none, clear, power, record, random, copy, paste, next, previous };

struct BitmapEntry {
    int id = 0;
    int width = 0;
    int height = 0;
    Family family = Family::background;
    int frames = 1;
    int effect = -1; // index into effectArt(), or -1
    std::vector<std::string> labels;
    ButtonKind button = ButtonKind::momentary;
    Icon icon = Icon::none;
    bool highlight = false; // the highlighted variant of a menu
    // Pixels of the key colour are left out when drawn: only bitmaps that move over others.
    bool keyed = false;

    int frameHeight() const { return height / frames; }
};

constexpr int firstBitmapId = 1000;
constexpr int lastBitmapId = 1188;

// Every bitmap, sorted by id. Throws if the table does not cover 1000..1188 exactly once.
std::vector<BitmapEntry> skinTable();
