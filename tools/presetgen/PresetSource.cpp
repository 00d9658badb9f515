#include "tools/presetgen/PresetSource.h"

#include "engine/MFUniClient.h"
#include "pattern/MFZone.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace {

bool toFloat(const std::string& word, float& out) {
    char* end = nullptr;
    out = std::strtof(word.c_str(), &end);
    return end && *end == '\0' && !word.empty();
}

bool toInt(const std::string& word, int& out) {
    char* end = nullptr;
    const long v = std::strtol(word.c_str(), &end, 10);
    out = int(v);
    return end && *end == '\0' && !word.empty();
}

std::string where(const PresetDirective& d) {
    return "line " + std::to_string(d.line) + ": ";
}

MFParameterRecord* recordNamed(MFUniClient& plugin, const std::string& word) {
    MFParameterRegistry& registry = plugin.getRegistry();
    if (!word.empty() && word[0] == '#') {
        int tag = 0;
        return toInt(word.substr(1), tag) ? registry.byTag(tag) : nullptr;
    }
    return registry.byName(word.c_str());
}

// The lane a name designates: an effect lane by its record's name, or the loop lane.
MFZoneHandlerContainer<MFFloatZoneHandler>* laneNamed(MFUniClient& plugin, const std::string& word,
                                                      int& laneIndex) {
    if (word == "loopbar") {
        laneIndex = -1;
        return &plugin.getMasterLane();
    }
    for (int lane = 0; lane < mflane::count; ++lane) {
        const MFParameterRecord* r = plugin.getRegistry().byTag(mflane::tags[lane].lane);
        if (r && word == r->name) {
            laneIndex = lane;
            return &plugin.getLane(lane).zones;
        }
    }
    return nullptr;
}

bool readValues(const PresetDirective& d, std::size_t first, std::vector<float>& values,
                std::string& error) {
    for (std::size_t i = first; i < d.words.size(); ++i) {
        float v = 0.0f;
        if (!toFloat(d.words[i], v)) {
            error = where(d) + "not a number: " + d.words[i];
            return false;
        }
        values.push_back(v);
    }
    if (values.empty()) {
        error = where(d) + "no values";
        return false;
    }
    return true;
}

void fillRow(MFTableXY& table, int pattern, const std::vector<float>& values) {
    const int steps = table.getSize();
    for (int column = 0; column < steps; ++column)
        table.setRawOnRow(column, pattern, values[std::size_t(column) % values.size()]);
    // The guard entry repeats the first step.
    table.setRawOnRow(steps, pattern, values[0]);
}

} // namespace

bool parsePresetSource(const std::string& text, PresetSource& out, std::string& error) {
    std::istringstream lines(text);
    std::string line;
    int number = 0;
    while (std::getline(lines, line)) {
        ++number;
        // A comment starts at a '#' that is not a tag ("#499").
        std::string body = line;
        for (std::size_t k = 0; k < line.size(); ++k) {
            if (line[k] == '#' &&
                (k + 1 >= line.size() || !std::isdigit(static_cast<unsigned char>(line[k + 1])))) {
                body = line.substr(0, k);
                break;
            }
        }
        std::istringstream words(body);
        PresetDirective d;
        d.line = number;
        if (!(words >> d.verb))
            continue;
        for (std::string w; words >> w;)
            d.words.push_back(w);
        static const char* const verbs[] = {"set", "zone", "table", "event", "map"};
        bool known = false;
        for (const char* v : verbs)
            known = known || d.verb == v;
        if (!known) {
            error = "line " + std::to_string(number) + ": unknown directive " + d.verb;
            return false;
        }
        out.directives.push_back(d);
    }
    return true;
}

bool applyPresetSource(const PresetSource& source, MFUniClient& plugin, std::string& error) {
    for (const PresetDirective& d : source.directives) {
        if (d.verb == "set") {
            float value = 0.0f;
            MFParameterRecord* r = d.words.size() == 2 ? recordNamed(plugin, d.words[0]) : nullptr;
            if (!r || !toFloat(d.words[1], value)) {
                error = where(d) + "expected: set <name|#tag> <value>";
                return false;
            }
            plugin.setParameter(r->index, value);
        } else if (d.verb == "zone") {
            int lane = 0, pattern = 0, first = 0, last = 0;
            auto* zones = d.words.size() == 4 ? laneNamed(plugin, d.words[0], lane) : nullptr;
            if (!zones || !toInt(d.words[1], pattern) || !toInt(d.words[2], first) ||
                !toInt(d.words[3], last) || pattern < 0 || pattern >= 12 || first < 0 ||
                last < first || last > 31) {
                error = where(d) + "expected: zone <lane> <pattern 0-11> <first> <last 0-31>";
                return false;
            }
            MFFloatZoneHandler* handler = zones->handler(pattern);
            MFZone* zone = handler->createZone(0);
            zone->start = first;
            zone->end = last;
            if (!handler->addZone(zone)) {
                delete zone;
                error = where(d) + "the lane refused the zone";
                return false;
            }
        } else if (d.verb == "table") {
            int lane = 0, pattern = 0;
            std::vector<float> values;
            if (d.words.size() < 4 || !laneNamed(plugin, d.words[0], lane) || lane < 0 ||
                (d.words[1] != "A" && d.words[1] != "B") || !toInt(d.words[2], pattern) ||
                pattern < 0 || pattern >= 12 || !readValues(d, 3, values, error)) {
                if (error.empty())
                    error = where(d) + "expected: table <lane> <A|B> <pattern> <values>";
                return false;
            }
            MFEffectLane& l = plugin.getLane(lane);
            fillRow(d.words[1] == "A" ? l.tableA : l.tableB, pattern, values);
        } else if (d.verb == "event") {
            int pattern = 0;
            std::vector<float> values;
            if (d.words.size() < 3 || (d.words[0] != "pan" && d.words[0] != "level") ||
                !toInt(d.words[1], pattern) || pattern < 0 || pattern >= 12 ||
                !readValues(d, 2, values, error)) {
                if (error.empty())
                    error = where(d) + "expected: event <pan|level> <pattern> <values>";
                return false;
            }
            fillRow(plugin.getEventTable(d.words[0] == "pan" ? 0 : 1), pattern, values);
        } else if (d.verb == "map") {
            int controller = -1, row = 0;
            MFParameterRecord* r = d.words.size() >= 2 ? recordNamed(plugin, d.words[1]) : nullptr;
            const bool pressure = !d.words.empty() && d.words[0] == "pressure";
            if (!r ||
                (!pressure &&
                 (!toInt(d.words[0], controller) || controller < 0 || controller > 127)) ||
                (d.words.size() == 3 && !toInt(d.words[2], row))) {
                error = where(d) + "expected: map <controller 0-127|pressure> <name|#tag> [row]";
                return false;
            }
            MFMapEntry entry;
            entry.tag = int16_t(r->index);
            entry.sub = int16_t(row);
            MFMidiMaps& maps = plugin.getMidiMaps();
            (pressure ? maps.global : maps.controllers[controller]).push_back(entry);
        }
    }
    return true;
}
