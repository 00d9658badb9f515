#include "SkinTable.h"

#include "SkinEffects.h"

#include <algorithm>
#include <stdexcept>

namespace {

BitmapEntry bitmap(int id, int width, int height, Family family, int frames = 1) {
    BitmapEntry entry;
    entry.id = id;
    entry.width = width;
    entry.height = height;
    entry.family = family;
    entry.frames = frames;
    return entry;
}

BitmapEntry labelButton(int id, int width, int height, ButtonKind kind,
                       std::vector<std::string> labels) {
    BitmapEntry entry = bitmap(id, width, height, Family::labelButton, 2);
    entry.button = kind;
    entry.labels = std::move(labels);
    return entry;
}

BitmapEntry iconButton(int id, int width, int height, ButtonKind kind, Icon icon,
                      Family family = Family::iconButton) {
    BitmapEntry entry = bitmap(id, width, height, family, 2);
    entry.button = kind;
    entry.icon = icon;
    return entry;
}

BitmapEntry strip(int id, int width, int lineHeight, Family family, std::vector<std::string> lines) {
    const int count = static_cast<int>(lines.size());
    BitmapEntry entry = bitmap(id, width, lineHeight * count, family, count);
    entry.labels = std::move(lines);
    return entry;
}

BitmapEntry menu(int id, int width, std::vector<std::string> lines, bool highlight,
                int effect = -1) {
    const int count = static_cast<int>(lines.size());
    BitmapEntry entry = bitmap(id, width, 15 * count, Family::menuList, count);
    entry.labels = std::move(lines);
    entry.highlight = highlight;
    entry.effect = effect;
    return entry;
}

BitmapEntry forEffect(BitmapEntry entry, int effect) {
    entry.effect = effect;
    return entry;
}

// Pictures show the division names with one plain slash: the effects' text names keep
// their literal backslashes and doubled slashes, which would read as glitches on stage.

// The note-value table, shortest first: a display's frame rises with the knob, while the
// table's row falls with it (v = 1 is the longest row).
const std::vector<std::string> noteValuesShortestFirst = {
    "1/128T", "1/128", "1/64T", "1/64", "1/32T", "1/32", "1/16T", "1/16",
    "1/8T",   "1/8",   "1/4T",  "1/4",  "1/2T",  "1/2",  "1/1T",  "bar"};
// The short table in its own order; Vinyl reads its rows without inverting.
const std::vector<std::string> shortValues = {"1/2",  "1/2T", "1/4",   "1/4T", "1/8",
                                              "1/8T", "1/16", "1/16T", "1/32", "1/32T"};
// The Stutter rates, 1 to 16 steps a beat, in the order of its rate list.
const std::vector<std::string> stutterRates = {"1/4",   "1/8",  "1/8T",  "1/16",
                                               "1/16T", "1/32", "1/32T", "1/64"};
// The modulation periods of Chorus (and Phaser), longest first as in the rate list, in beats:
// 16, 12, 8, 6, 4, 3, 8/3, 2, 1.5, 4/3, 1, 0.75, 2/3, 0.5, ... down to 1/48.
const std::vector<std::string> modulationPeriods = {
    "4 bars", "3 bars", "2 bars", "1.5 bars", "bar",  "3/4",   "1/1T",  "1/2",   "3/8",
    "1/2T",   "1/4",    "3/16",   "1/4T",     "1/8",  "3/32",  "1/8T",  "1/16",  "3/64",
    "1/16T",  "1/32",   "3/128",  "1/32T",    "1/64", "3/256", "1/64T", "1/128", "1/128T"};
// The straight reference list of the division sets, which names a quarter first and again
// in its place.
const std::vector<std::string> straightValues = {"1/4",  "bar",  "1/2",  "1/4",  "1/8",
                                                 "1/16", "1/32", "1/64", "1/128"};
const std::vector<std::string> patternNames = {"C",  "C#", "D",  "D#", "E",  "F",
                                               "F#", "G",  "G#", "A",  "A#", "B"};

} // namespace

std::vector<BitmapEntry> skinTable() {
    std::vector<BitmapEntry> table;
    auto add = [&table](BitmapEntry entry) { table.push_back(std::move(entry)); };

    add(bitmap(1000, 770, 525, Family::background));
    add(labelButton(1001, 50, 38, ButtonKind::momentary, {"ABOUT"}));
    add(bitmap(1002, 402, 235, Family::aboutPanel));
    add(labelButton(1003, 61, 32, ButtonKind::momentary, {"WEBSITE"}));
    add(labelButton(1035, 50, 38, ButtonKind::bypassLamp, {"BYPASS"}));
    add(labelButton(1047, 41, 34, ButtonKind::momentary, {"CHAOS"}));
    add(iconButton(1048, 18, 30, ButtonKind::momentary, Icon::copy));
    add(bitmap(1049, 39, 15, Family::field));
    add(bitmap(1050, 40, 40 * 128, Family::knob, 128));
    add(bitmap(1051, 74, 74 * 128, Family::knob, 128));
    add(bitmap(1052, 28, 28 * 128, Family::knob, 128));
    add(bitmap(1053, 62, 19 * 48, Family::fader, 48));
    // The filter section: the envelope source, the classic types, the filter bank.
    add(labelButton(1054, 57, 30, ButtonKind::toggle, {"AD ENV", "FOLLOW"}));
    add(menu(1055, 57, {"HIGHPASS", "BANDPASS", "LOWPASS", "COMB"}, true));
    add(menu(1056, 57, {"HIGHPASS", "BANDPASS", "LOWPASS", "COMB"}, false));
    add(labelButton(1058, 41, 34, ButtonKind::momentary, {"INIT"}));
    add(bitmap(1072, 41, 15, Family::sliderFace));
    // Frame p lights pattern p; frame 12 lights B too, since a value of 1 picks pattern 11.
    add(bitmap(1073, 105, 15 * 13, Family::patternKeys, 13));
    add(bitmap(1074, 195, 20, Family::keyPlate));
    add(bitmap(1075, 2, 101 * 35, Family::levelMeter, 35));
    add(labelButton(1076, 61, 32, ButtonKind::momentary, {"MANUAL"}));
    add(menu(1077, 77, {"midi Learn", "clear"}, false));
    add(menu(1078, 77, {"midi Learn", "clear"}, true));
    add(bitmap(1079, 26, 15, Family::clipLamp));
    add(labelButton(1080, 61, 32, ButtonKind::toggle, {"OFF", "ON"}));
    add(labelButton(1081, 41, 34, ButtonKind::abSwitch, {"A", "B"}));
    add(labelButton(1082, 41, 34, ButtonKind::lampSwitch, {"OFF", "ON"}));
    add(labelButton(1083, 61, 32, ButtonKind::toggle, {"OFF", "ON"}));
    add(iconButton(1084, 18, 30, ButtonKind::momentary, Icon::paste));
    BitmapEntry marker = bitmap(1085, 15, 14, Family::pageMarker);
    marker.keyed = true;
    add(marker);
    add(iconButton(1086, 17, 38, ButtonKind::momentary, Icon::next));
    add(iconButton(1087, 17, 38, ButtonKind::momentary, Icon::previous));
    BitmapEntry playhead = bitmap(1088, 18, 330, Family::playhead);
    playhead.keyed = true;
    add(playhead);
    add(iconButton(1089, 17, 34, ButtonKind::toggle, Icon::record));
    add(iconButton(1090, 17, 34, ButtonKind::momentary, Icon::random));
    add(strip(1091, 39, 15, Family::nameStrip, patternNames));
    add(forEffect(bitmap(1161, 70, 80, Family::vinylPicture), 5));
    add(strip(1162, 39, 15, Family::nameStrip, stutterRates));
    add(labelButton(1163, 30, 34, ButtonKind::momentary, {"INIT"}));
    add(strip(1165, 39, 15, Family::nameStrip, modulationPeriods));
    add(strip(1166, 39, 15, Family::nameStrip, shortValues));
    add(strip(1167, 39, 15, Family::nameStrip, noteValuesShortestFirst));
    add(bitmap(1168, 575, 51, Family::tableBackground));
    // Frame f follows the tempo area's value, left to right: from a step of 1/32 (tempo
    // index 5) to a step of a quarter (index 0). Each frame names the pattern's length too.
    add(strip(1169, 156, 17, Family::tempoStrip,
              {"1/32|1 bar", "1/16|2 bars", "1/8T|2 2/3 bars", "1/8|4 bars", "3/16|6 bars",
               "1/4|8 bars"}));
    add(bitmap(1170, 16, 252 * 14, Family::effectColumn, 14));
    // The status picture's frames:
    //   0 the sequencer follows the host's transport,
    //   1 it runs from MIDI notes and waits for one,
    //   2 MIDI learn is armed and waits for a controller,
    //   3 a preset or state is loading,
    //   4 the sequencer is bypassed.
    add(strip(1171, 177, 21, Family::statusStrip,
              {"HOST SYNC", "WAITING FOR A NOTE", "LEARN: MOVE A CONTROL", "LOADING", "BYPASSED"}));
    add(strip(1172, 38, 15, Family::nameStrip, straightValues));
    add(labelButton(1173, 57, 30, ButtonKind::toggle, {"CLASSIC", "DUAL"}));

    const auto& effects = effectArt();
    for (int e = 0; e < static_cast<int>(effects.size()); ++e) {
        const EffectArt& art = effects[e];
        add(forEffect(bitmap(art.tableBars, 20, 64, Family::tableBars), e));
        add(forEffect(bitmap(art.panel, 529, 116, Family::panel), e));
        add(forEffect(iconButton(art.bypassButton, 17, 34, ButtonKind::toggle, Icon::power), e));
        add(forEffect(iconButton(art.initButton, 17, 34, ButtonKind::momentary, Icon::clear), e));
        std::vector<std::string> lines = {"none"};
        lines.insert(lines.end(), art.tableTargets.begin(), art.tableTargets.end());
        add(menu(art.targetMenu, 77, lines, false, e));
        add(menu(art.targetMenu + 1, 77, lines, true, e));
        add(forEffect(bitmap(art.presetCaption, 131, 15, Family::presetCaption), e));
        add(forEffect(iconButton(art.previousArrow, 15, 30, ButtonKind::momentary, Icon::previous,
                                 Family::presetArrow),
                      e));
        add(forEffect(iconButton(art.nextArrow, 15, 30, ButtonKind::momentary, Icon::next,
                                 Family::presetArrow),
                      e));
        add(forEffect(bitmap(art.laneSprite, 18, 17 * 8, Family::laneSprite, 8), e));
    }
    add(bitmap(loopbarSprite, 18, 17 * 8, Family::laneSprite, 8));

    std::sort(table.begin(), table.end(),
              [](const BitmapEntry& a, const BitmapEntry& b) { return a.id < b.id; });
    int expected = firstBitmapId;
    for (const BitmapEntry& entry : table) {
        if (entry.id != expected)
            throw std::logic_error("skin table: expected id " + std::to_string(expected) +
                                   ", found " + std::to_string(entry.id));
        if (entry.height % entry.frames != 0)
            throw std::logic_error("skin table: frames do not divide the height of " +
                                   std::to_string(entry.id));
        ++expected;
    }
    if (expected != lastBitmapId + 1)
        throw std::logic_error("skin table ends at " + std::to_string(expected - 1));
    return table;
}
