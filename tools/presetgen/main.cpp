// Builds the factory content from readable descriptions: every "<name>.preset" under
// the source folder becomes a preset file under the output folder, written by the
// plug-in's own state writer from a freshly constructed plug-in.
//
//   cadenzoid-presetgen <source folder> <output folder>
//
// The first folder of a description's path names its category ("Presets" for whole
// states, an effect's name for that effect's presets); the rest of the path is kept.

#include "engine/MFUniClient.h"
#include "pattern/MFChunk.h"
#include "presets/MFPresetCategory.h"
#include "tools/presetgen/PresetSource.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace {

intptr_t hostCallback(vst::AEffect*, int32_t opcode, int32_t, intptr_t, void*, float) {
    return opcode == vst::audioMasterVersion ? 2400 : 0;
}

bool generate(const fs::path& source, const fs::path& relative, const fs::path& outputRoot) {
    const std::string categoryName = relative.begin()->string();
    static const std::vector<MFPresetCategory> categories = MFPresetCategory::makeList();
    const MFPresetCategory* category = nullptr;
    for (const MFPresetCategory& c : categories)
        if (c.name == categoryName)
            category = &c;
    if (!category) {
        std::cerr << source.string() << ": no preset category is called \"" << categoryName
                  << "\"\n";
        return false;
    }
    std::ifstream in(source);
    std::stringstream text;
    text << in.rdbuf();

    PresetSource description;
    std::string error;
    auto plugin = std::make_unique<MFUniClient>(hostCallback);
    if (!parsePresetSource(text.str(), description, error) ||
        !applyPresetSource(description, *plugin, error)) {
        std::cerr << source.string() << ": " << error << "\n";
        return false;
    }

    MFChunk chunk;
    chunk.beginMeasure(120.0f, 44100.0f);
    plugin->writeState(chunk, category->number);
    chunk.allocateMeasured();
    plugin->writeState(chunk, category->number);

    fs::path target = outputRoot / relative;
    target.replace_extension(MFPresetCategory::extensionFor(category->number));
    fs::create_directories(target.parent_path());
    std::ofstream out(target, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(chunk.data), std::streamsize(chunk.position) * 4);
    if (!out) {
        std::cerr << target.string() << ": cannot write\n";
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: cadenzoid-presetgen <source folder> <output folder>\n";
        return 2;
    }
    const fs::path sourceRoot = argv[1];
    const fs::path outputRoot = argv[2];

    // The plug-in reads its settings and default preset at construction; the factory
    // content must come out the same on every machine, so it sees empty folders.
    const fs::path isolated = outputRoot / ".generator-home";
    fs::create_directories(isolated);
    setenv("XDG_CONFIG_HOME", isolated.c_str(), 1);
    setenv("XDG_DATA_HOME", isolated.c_str(), 1);

    int written = 0;
    bool ok = true;
    for (const auto& entry : fs::recursive_directory_iterator(sourceRoot)) {
        if (!entry.is_regular_file() || entry.path().extension() != ".preset")
            continue;
        if (generate(entry.path(), fs::relative(entry.path(), sourceRoot), outputRoot))
            ++written;
        else
            ok = false;
    }
    fs::remove_all(isolated);
    std::cout << "cadenzoid-presetgen: " << written << " presets written to " << outputRoot.string()
              << "\n";
    return ok ? 0 : 1;
}
