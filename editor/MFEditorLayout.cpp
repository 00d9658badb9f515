#include "editor/MFEditorLayout.h"

#include "engine/MFLaneTags.h"

namespace mflayout {
namespace {
// Knob columns: a percent display, an empty column, a picture strip, another format.
constexpr KnobCell P(int16_t knob) {
    return {knob, -1, Format::percent, 0, 0, 0};
}
constexpr KnobCell N{-1, -1, Format::percent, 0, 0, 0};
constexpr KnobCell S(int16_t knob, int16_t display, int16_t strip, int16_t lines) {
    return {knob, display, Format::strip, strip, lines, 0};
}
constexpr KnobCell SM(int16_t knob, int16_t display, int16_t strip, int16_t lines) {
    return {knob, display, Format::stripOfMapped, strip, lines, 0};
}
constexpr KnobCell F(int16_t knob, int16_t display, Format format, int16_t pageBit = 0) {
    return {knob, display, format, 0, 0, pageBit};
}
// The value name strips and their line counts.
constexpr int16_t divisions8 = 1162, divisions27 = 1165, speeds10 = 1166, divisions16 = 1167;
constexpr Format hz = Format::hertz, ms = Format::milliseconds, bi = Format::bipolar;

using VC = ViewClass;
constexpr ControlRow row(int16_t tag, ViewClass c, CRect r, int16_t bit, int16_t bitmap,
                         int8_t mode = 0, Bound bound = Bound::none, int16_t boundTag = -1) {
    return {tag, c, r, bit, bitmap, 0, 0, 0.0f, mode, bound, boundTag, Format::percent};
}
constexpr ControlRow picture(int16_t tag, CRect r, int16_t bit, int16_t bitmap, int16_t frameHeight,
                             int16_t frames, Bound bound = Bound::none, int16_t boundTag = -1) {
    return {tag,      VC::pictureDisplay, r, bit, bitmap, frameHeight, frames, 0.0f, 0, bound,
            boundTag, Format::strip};
}
constexpr ControlRow knob(int16_t tag, CRect r, int16_t bitmap, int16_t frameHeight, int16_t frames,
                          float sensitivity) {
    return {tag,    VC::knob,    r, 0,          bitmap, frameHeight,
            frames, sensitivity, 0, Bound::raw, -1,     Format::percent};
}
constexpr ControlRow display(int16_t tag, CRect r, int16_t bit, int16_t boundTag, Bound bound,
                             Format format) {
    return {tag, VC::display, r, bit, displayBitmap, 0, 0, 0.0f, 0, bound, boundTag, format};
}
constexpr int8_t momentary = 0, toggle = 1;
} // namespace

// clang-format off
const EffectGroupRow effectGroups[groupCount] = {
//   name           lane                bit  y    lane(bmp)   init(bmp)   bypass(bmp) panel(bmp, bottom)  preset(caption) prev/next(bitmaps)     ext    tables A/B (grid)  sub-pages
    {"Reverb",      mflane::reverb,      13, 326, 119, 1181, 120, 1065, 115, 1041, 121, 1025, 514, 131, 1138, 144, 146, 1140, 1139, "srb", 133, 136, 1010, 42, 43,
     {P(67), P(68), P(69), P(70), N, P(71), P(72)}},
    {"Phaser",      mflane::phaser,      10, 272, 148, 1179, 149, 1064, 112, 1040, 150, 1023, 514, 161, 1132, 173, 175, 1134, 1133, "sph", 163, 166, 1009, 36, 37,
     {S(50, 151, divisions27, 27), P(51), P(52), P(53), P(54), N, P(55)}},
    {"Chorus",      mflane::chorus,      11, 290, 177, 1174, 178, 1059, 113, 1032, 179, 1018, 514, 189, 1120, 201, 203, 1122, 1121, "sch", 191, 194, 1004, 38, 39,
     {S(56, 184, divisions27, 27), P(57), P(58), P(59), N, N, P(60)}},
    {"Delay",       mflane::delay,       12, 308, 205, 1176, 206, 1061, 114, 1037, 207, 1020, 514, 217, 1123, 230, 232, 1125, 1124, "sdl", 220, 223, 1006, 40, 41,
     {S(61, 208, divisions16, 16), P(62), P(63), P(64), N, P(65), P(66)}},
    {"Crush",       mflane::crush,        8, 236, 234, 1175, 235, 1060, 110, 1036, 236, 1019, 514, 245, 1135, 257, 259, 1137, 1136, "scs", 247, 250, 1005, 32, 33,
     {P(40), N, F(41, 238, hz), N, P(42), N, P(43)}},
    {"Tonal-Delay", mflane::tonalDelay,   6, 200, 261, 1188, 262, 1070, 108, 1045, 263, 1031, 514, 273, 1153, 286, 288, 1155, 1154, "std", 276, 279, 1016, 28, 29,
     {F(30, 265, Format::note), P(31), P(32), P(33), N, F(34, 275, Format::decibel), P(35)}},
    {"Stutter",     mflane::stutter,      7, 218, 290, 1187, 291, 1057, 109, 1034, 293, 1029, 518, 303, 1150, 316, 318, 1152, 1151, "str", 306, 309, 1015, 30, 31,
     {S(36, 294, divisions8, 8), P(37), P(38), N, N, N, P(39)}},
    {"Loop",        mflane::loop,         1, 110, 324, 1177, 325, 1063, 103, 1039, 326, 1022, 511, 336, 1129, 348, 350, 1131, 1130, "sxl", 338, 341, 1008, 18, 19,
     {S(7, 327, divisions16, 16), P(8), N, P(9), N, F(10, 331, Format::endlessMilliseconds), P(11)}},
    {"Reverse",     mflane::reverse,      4, 146, 352, 1184, 353, 1067, 105, 1043, 354, 1026, 514, 363, 1141, 375, 377, 1143, 1142, "srv", 365, 368, 1012, 24, 25,
     {S(18, 355, divisions16, 16), N, P(19), N, F(20, 362, Format::endlessMilliseconds), N, P(21)}},
    {"Stretch",     mflane::stretch,      2, 164, 379, 1182, 380, 1066, 106, 1042, 381, 1030, 514, 390, 1147, 404, 406, 1149, 1148, "sst", 392, 395, 1011, 20, 21,
     {P(22), N, P(23), N, P(24), N, P(25)}},
    {"Vinyl",       mflane::vinyl,        5, 182, 408, 1185, 409, 1068, 107, 1033, 410, 1028, 514, 418, 1156, 433, 435, 1157, 1164, "ssv", 422, 425, 1013, 26, 27,
     {S(26, 411, speeds10, 10), N, P(27), N, P(28), N, P(29)}},
    {"ScratchLoop", mflane::scratchLoop,  3, 128, 437, 1186, 438, 1069, 104, 1044, 439, 1027, 514, 450, 1144, 462, 464, 1146, 1145, "ssl", 452, 455, 1014, 22, 23,
     {S(12, 442, divisions16, 16), F(13, 440, bi), F(14, 443, bi), F(15, 444, bi), P(16), N, P(17)}},
    {"Filter",      mflane::filter,       9, 254, 466, 1183, 467, 1062, 111, 1038, 468, 1021, 514, 481, 1126, 493, 495, 1128, 1127, "sfl", 483, 486, 1007, 34, 35,
     {F(44, 470, hz, 48), P(45), F(46, 472, bi), F(47, 473, ms), F(48, 475, ms), N, P(49)}},
    {"X-Loop",      mflane::xLoop,       14,  92, 528, 1180, 529, 1071, 102, 1046, 530, 1024, 514, 540, 1158, 552, 554, 1160, 1159, "sxl", 542, 545, 1017, 16, 17,
     {SM(2, 539, divisions16, 16), P(3), N, F(4, 532, bi), N, F(5, 538, bi), P(6)}},
};

namespace {
constexpr int8_t stutterGroup = 6, stretchGroup = 9, vinylGroup = 10, filterGroup = 12;
}

const ExtraRow extraControls[] = {
    {stutterGroup, false, row(292, VC::tableViewPlace, {237, 437, 381, 469}, 7, 0)},
    {stutterGroup, false, row(297, VC::tableViewPlace, {237, 481, 381, 513}, 7, 0)},
    {stutterGroup, false, row(305, VC::button, {201, 494, 231, 511}, 7, 1163, momentary)},
    {stretchGroup, false, row(403, VC::button, {80, 461, 121, 478}, 2, 1082, toggle, Bound::mapped)},
    {vinylGroup,   true,  row(432, VC::image, {128, 432, 198, 512}, 46, 1161)},
    {vinylGroup,   false, row(421, VC::button, {333, 468, 374, 485}, 5, 1082, toggle, Bound::mapped)},
    {filterGroup,  false, display(497, knobDisplayRect(25), 47, 44, Bound::shown, Format::hertz)},
    {filterGroup,  false, row(469, VC::optionMenuPlace, {322, 446, 379, 461}, 9, 1056)},
    {filterGroup,  false, row(476, VC::button, {322, 495, 379, 510}, 9, 1054, toggle, Bound::mapped)},
    {filterGroup,  false, row(498, VC::button, {322, 465, 379, 480}, 9, 1173, toggle, Bound::mapped)},
};
const int32_t extraControlCount = int32_t(sizeof extraControls / sizeof extraControls[0]);

const ControlRow markerAndPlayhead[2] = {
    row(pageMarkerTag, VC::image, {9, 94, 25, 114}, 0, 1085),
    row(playheadTag, VC::image, {185, 74, 202, 396}, 0, 1088),
};

const ControlRow mainPresetMenu = row(117, VC::optionMenuPlace, {31, 20, 171, 38}, 0, 0);

const ControlRow columnControls[3] = {
    row(320, VC::optionMenuPlace, {280, 16, 320, 36}, 0, 0), // holds the page; never drawn
    row(321, VC::mouseArea, {9, 91, 146, 342}, 0, 0),
    picture(columnPictureTag, {9, 92, 25, 344}, 0, 1170, 252, 14, Bound::mapped, 320),
};

const ControlRow globalControls[] = {
    row(520, VC::button, {13, 19, 30, 38}, 0, 1087, momentary),
    row(519, VC::button, {171, 19, 188, 38}, 0, 1086, momentary),
    row(504, VC::button, {194, 19, 244, 38}, 0, 1001, momentary),
    row(503, VC::button, {250, 19, 300, 38}, 0, 1035, toggle, Bound::mapped),
    picture(517, {305, 18, 482, 39}, 0, 1171, 21, 5),
    {116, VC::knob, {120, 53, 182, 71}, 0, 1053, 19, 48, panelSensitivity, 0, Bound::raw, -1, Format::percent},
    display(518, {185, 54, 224, 69}, 0, 116, Bound::raw, Format::percent),
    row(501, VC::button, {309, 53, 350, 70}, 0, 1082, toggle, Bound::mapped),
    row(525, VC::button, {423, 53, 464, 70}, 0, 1082, toggle, Bound::mapped),
    row(526, VC::image, {469, 51, 664, 71}, 45, 1074),
    row(0, VC::mouseArea, {471, 53, 575, 69}, 45, 0),
    picture(523, {472, 54, 577, 69}, 45, 1073, 15, 13),
    picture(524, {580, 54, 619, 69}, 45, 1091, 15, 12),
    row(563, VC::button, {622, 54, 640, 69}, 45, 1048, momentary),
    row(564, VC::button, {643, 54, 661, 69}, 45, 1084, momentary),
    row(565, VC::button, {675, 53, 716, 70}, 0, 1047, momentary),
    row(557, VC::button, {720, 53, 761, 70}, 0, 1058, momentary),
    row(499, VC::mouseArea, {28, 74, 183, 90}, 0, 0),
    picture(500, {27, 74, 183, 91}, 0, 1169, 17, 6, Bound::raw, 499),
    row(502, VC::zoneViewPlace, {184, 73, 760, 90}, 0, 1178),
};
const int32_t globalControlCount = int32_t(sizeof globalControls / sizeof globalControls[0]);

const ControlRow outputControls[] = {
    knob(1, {660, 447, 734, 521}, 1051, 74, 128, panelSensitivity),
    knob(101, {558, 447, 632, 521}, 1051, 74, 128, panelSensitivity),
    row(558, VC::optionMenuPlace, {752, 412, 752, 427}, 0, 1078),
    row(560, VC::levelMeter, {752, 414, 754, 515}, 0, 1075),
    row(561, VC::levelMeter, {755, 414, 757, 515}, 0, 1075),
    picture(562, {721, 505, 747, 520}, 0, 1079, 15, 1),
};
const int32_t outputControlCount = int32_t(sizeof outputControls / sizeof outputControls[0]);

const ControlRow aboutControls[5] = {
    row(507, VC::localLink, {182, 69, 243, 85}, 0, 1076),
    row(509, VC::webLink, {253, 69, 314, 85}, 0, 1076),
    row(511, VC::webLink, {252, 69, 313, 85}, 0, 1003),
    row(512, VC::button, {182, 105, 243, 121}, 0, 1080, momentary, Bound::mapped),
    row(514, VC::button, {182, 141, 243, 157}, 0, 1083, toggle, Bound::mapped),
};
// clang-format on

} // namespace mflayout
