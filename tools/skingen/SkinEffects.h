#pragma once

#include <array>
#include <vector>

// What the skin needs to know of each effect: its name, its bitmaps, the captions of its
// panel's knob columns and the targets its step tables can drive. Index 0..13 is the
// chain order, which is also the order of the lanes from top to bottom.

// The x positions of the panel's main knob columns in window pixels; each knob is 40 wide.
constexpr std::array<int, 7> knobColumns = {25, 85, 145, 205, 265, 325, 445};

struct EffectArt {
    const char* name;
    int laneSprite;
    int initButton;
    int bypassButton;
    int panel;
    int presetCaption;
    int previousArrow;
    int nextArrow;
    int tableBars;  // the bar texture and row labels of the effect's step tables
    int targetMenu; // the row-mode menu's normal bitmap; its highlight is the next id
    std::array<const char*, 7> knobCaptions; // by knob column, null where there is no knob
    std::vector<const char*> tableTargets;   // the menu's lines after "none"
};

const std::vector<EffectArt>& effectArt();

// The pattern strip's lane has no effect and a neutral sprite.
constexpr int loopbarSprite = 1178;
