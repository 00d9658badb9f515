#pragma once

#include <string>
#include <vector>

class MFUniClient;

// A preset written as readable text, one directive per line ('#' starts a comment):
//
//   set <name|#tag> <value>                    a record's raw value
//   zone <lane> <pattern> <first> <last>       a zone on a lane ("loopbar" included)
//   table <lane> <A|B> <pattern> <v1> ... <vn> step table values, repeated to 32 steps
//   event <pan|level> <pattern> <v1> ... <vn>  the Stutter's event rows, repeated to 8
//   map <controller|pressure> <name|#tag> [row] a MIDI-learn assignment
//
// Lanes are named by their records ("loop", "xloop", "reverb"...). Names that the
// table repeats ("StutterAttack", "FilterAttack") are reached by tag.
struct PresetDirective {
    std::string verb;
    std::vector<std::string> words;
    int line = 0;
};

struct PresetSource {
    std::vector<PresetDirective> directives;
};

// False with a message naming the line on a directive it cannot read.
bool parsePresetSource(const std::string& text, PresetSource& out, std::string& error);

// Applies the directives to a freshly constructed plug-in.
bool applyPresetSource(const PresetSource& source, MFUniClient& plugin, std::string& error);
