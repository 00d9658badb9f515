#include "engine/MFControllerNames.h"

namespace {

// The learn menu's names. There is no row for controller 118, so every name after
// "#117" stands one place before its controller; presets and habits rely on the
// places as they are, so the table is kept so.
constexpr const char* names[MFControllerNames::count] = {
    "Banksel",      "Modulation",   "Breath",       "#3",           "Foot",         "Portamento",
    "DataEntry",    "Volume",       "Balance",      "#9",           "Pan",          "Expression",
    "GenPurp1",     "GenPurp2",     "GenPurp3",     "GenPurp4",     "#16",          "#17",
    "#18",          "#19",          "#20",          "#21",          "#22",          "#23",
    "#24",          "#25",          "#26",          "#27",          "#28",          "#29",
    "#30",          "#31",          "BankSelLSB",   "Mod LSB",      "BreathLSB",    "FootLSB",
    "PortaLSB",     "DataEntLSB",   "VolumeLSB",    "BalanceLSB",   "#40",          "Pan LSB",
    "Expr LSB",     "#43",          "#44",          "#45",          "#46",          "#47",
    "#48",          "#49",          "#50",          "#51",          "#52",          "#53",
    "#54",          "#55",          "#56",          "#57",          "#58",          "#59",
    "#60",          "#61",          "#62",          "#63",          "Sustain",      "Porta On/Off",
    "Sostenuto",    "Soft pedal",   "Legato fs",    "Hold 2",       "Sound var",    "Harmonique",
    "Release time", "Attack time",  "Cut-off",      "#75",          "#76",          "#77",
    "#78",          "#79",          "GenPurp5",     "GenPurp6",     "GenPurp7",     "GenPurp8",
    "Porta ",       "#85",          "#86",          "#87",          "#88",          "#89",
    "#90",          "ExtFx1 Depth", "ExtFx2 Depth", "ExtFx3 Depth", "ExtFx4 Depth", "ExtFx5 Depth",
    "Data inc",     "Data dec",     "Nrpn LSB",     "Nrpn MSB",     "Rpn LSB",      "Rpn MSB",
    "#102",         "#103",         "#104",         "#105",         "#106",         "#107",
    "#108",         "#109",         "#110",         "#111",         "#112",         "#113",
    "#114",         "#115",         "#116",         "#117",         "#119",         "AllSound off",
    "Reset ",       "Local ",       "AllNotes off", "Omni ON",      "Omni OFF",     "Mono ON",
    "Poly ON",
};

} // namespace

const char* MFControllerNames::controllerName(int32_t index) {
    if (index < 0 || index >= count)
        return "";
    return names[index];
}
