#pragma once

#include <cstdint>

// The tags that belong to one effect lane, so that the fan-out and the tick can treat
// the fourteen lanes as data. Lanes are numbered in chain order.
struct MFLaneTags {
    const char* name;
    int16_t lane;    // the lane record; its value is the panel button
    int16_t init;    // clears the current pattern's zones at release
    int16_t release; // envelope times
    int16_t attack;
    int16_t tableA; // the two step tables
    int16_t tableB;
    int16_t tableSwitch; // "Switch_c": which table is shown and recorded into
    int16_t randomA;
    int16_t record;
    int16_t listA;
    int16_t listB;
    int16_t randomB;
    int16_t previous;
    int16_t next;
    int16_t mix;
    int16_t bypass;
    int16_t smoothA;
    int16_t smoothB;
    float panelFactor; // the lane's place in the panel map
    int16_t pageBit;   // the editor page of the effect
    int16_t tablePageA;
    int16_t tablePageB;
};

namespace mflane {
constexpr int32_t count = 14;
enum : int32_t {
    xLoop,
    loop,
    scratchLoop,
    reverse,
    stretch,
    vinyl,
    tonalDelay,
    stutter,
    crush,
    filter,
    phaser,
    chorus,
    delay,
    reverb
};

// clang-format off
constexpr MFLaneTags tags[count] = {
    {"X-Loop",      528, 529, 534, 535, 542, 545, 546, 547, 548, 549, 550, 551, 552, 554,  6, 102, 73, 74, 1.001f, 14, 16, 17},
    {"Loop",        324, 325, 332, 333, 338, 341, 342, 343, 344, 345, 346, 347, 348, 350, 11, 103, 75, 76, 2.0f,  1, 18, 19},
    {"ScratchLoop", 437, 438, 446, 447, 452, 455, 456, 457, 458, 459, 460, 461, 462, 464, 17, 104, 79, 80, 3.0f,  3, 22, 23},
    {"Reverse",     352, 353, 358, 359, 365, 368, 369, 370, 371, 372, 373, 374, 375, 377, 21, 105, 81, 82, 4.0f,  4, 24, 25},
    {"Stretch",     379, 380, 386, 387, 392, 395, 396, 398, 399, 400, 401, 402, 404, 406, 25, 106, 77, 78, 5.0f,  2, 20, 21},
    {"Vinyl",       408, 409, 414, 415, 422, 425, 426, 427, 428, 429, 430, 431, 433, 435, 29, 107, 83, 84, 6.0f,  5, 26, 27},
    {"Tonal-Delay", 261, 262, 269, 270, 276, 279, 280, 281, 282, 283, 284, 285, 286, 288, 35, 108, 85, 86, 7.0f,  6, 28, 29},
    {"Stutter",     290, 291, 298, 299, 306, 309, 310, 311, 312, 313, 314, 315, 316, 318, 39, 109, 87, 88, 8.0f,  7, 30, 31},
    {"Crush",       234, 235, 241, 242, 247, 250, 251, 252, 253, 254, 255, 256, 257, 259, 43, 110, 89, 90, 9.0f,  8, 32, 33},
    {"Filter",      466, 467, 477, 478, 483, 486, 487, 488, 489, 490, 491, 492, 493, 495, 49, 111, 91, 92, 10.0f, 9, 34, 35},
    {"Phaser",      148, 149, 157, 158, 163, 166, 167, 168, 169, 170, 171, 172, 173, 175, 55, 112, 93, 94, 11.0f, 10, 36, 37},
    {"Chorus",      177, 178, 185, 186, 191, 194, 195, 196, 197, 198, 199, 200, 201, 203, 60, 113, 95, 96, 12.0f, 11, 38, 39},
    {"Delay",       205, 206, 213, 214, 220, 223, 224, 225, 226, 227, 228, 229, 230, 232, 66, 114, 97, 98, 13.0f, 12, 40, 41},
    {"Reverb",      119, 120, 127, 128, 133, 136, 137, 138, 139, 140, 141, 142, 144, 146, 72, 115, 99, 100, 14.0f, 13, 42, 43},
};
// clang-format on

// The effect preset category of each lane.
constexpr int32_t presetCategory[count] = {14, 1, 3, 4, 2, 5, 6, 7, 8, 9, 10, 11, 12, 13};

// Step tables are evaluated in the order of the lanes' blocks in the object, not the chain.
constexpr int32_t tableOrder[count] = {reverb,     phaser,      chorus, delay,   crush,
                                       tonalDelay, stutter,     loop,   reverse, stretch,
                                       vinyl,      scratchLoop, filter, xLoop};
} // namespace mflane
