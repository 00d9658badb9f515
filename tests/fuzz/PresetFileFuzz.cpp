// Hostile preset files through the real load flow: the 20-byte probe, the size checks
// and the state reader of the plug-in. The first input byte picks the category (whole
// state or one effect); the rest is the file.
#include "FuzzPlugin.h"
#include "presets/MFPresetCategory.h"

#include <fstream>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MFUniClient& plugin = fuzzPlugin();
    if (size == 0)
        return 0;
    constexpr int32_t categories = 15;
    const int32_t category = data[0] % categories;

    const std::filesystem::path folder = fuzzHome().scratch() / "Loaded";
    std::filesystem::create_directories(folder);
    const std::filesystem::path file =
        folder / (std::string("fuzz.") + MFPresetCategory::extensionFor(category));
    {
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data + 1), std::streamsize(size - 1));
        if (!out)
            std::abort();
    }
    // One load per input; nothing is written back.
    plugin.getPresetManager().loadPreset(file.c_str(), category);
    fuzzCheckAudio(plugin);
    return 0;
}
