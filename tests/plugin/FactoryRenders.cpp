#include "plugin/FactoryRenders.h"

#include "engine/MFLaneTags.h"
#include "engine/MFUniClient.h"
#include "pattern/MFZone.h"
#include "pattern/PatternTestSupport.h"
#include "presets/MFPresetCategory.h"
#include "presets/PresetTestSupport.h"
#include "support/FakeHost.h"
#include "tools/host/PluginHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

namespace fs = std::filesystem;

namespace factory {
namespace {

fs::path contentFolder() {
    return fs::path(CADENZOID_PLUGIN_PATH).parent_path() / "content";
}

std::vector<uint8_t> readBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

int laneOfCategory(int32_t category) {
    for (int lane = 0; lane < mflane::count; ++lane)
        if (mflane::presetCategory[lane] == category)
            return lane;
    return -1;
}

// The state a musician has after loading "default", then an effect preset, and painting
// one zone over the whole pattern of that effect's lane.
std::vector<uint8_t> effectOverDefault(const fs::path& preset, const MFPresetCategory& category) {
    FakeHost host;
    auto* client = new MFUniClient(FakeHost::callback());
    host.attach(client);
    MFPresetManager& manager = client->getPresetManager();
    const fs::path start = contentFolder() / "Presets" / "default.cdz";
    EXPECT_TRUE(manager.loadPreset(start.c_str(), 0));
    const std::string extension = preset.extension().string().substr(1);
    EXPECT_TRUE(manager.loadPreset(preset.c_str(), category.number, extension.c_str())) << preset;
    const int lane = laneOfCategory(category.number);
    EXPECT_GE(lane, 0) << category.name;
    if (lane < 0)
        return {};
    MFFloatZoneHandler* handler = client->getLane(lane).zones.handler(0);
    handler->clearZones(false);
    paint(*handler, 0, 31);
    void* data = nullptr;
    const int32_t size = client->getChunk(&data, false);
    const auto* bytes = static_cast<const uint8_t*>(data);
    return std::vector<uint8_t>(bytes, bytes + (size > 0 ? size : 0));
}

std::vector<State> collectStates() {
    std::vector<State> states;
    const fs::path content = contentFolder();
    std::vector<fs::path> whole;
    for (const auto& entry : fs::recursive_directory_iterator(content / "Presets"))
        if (entry.path().extension() == ".cdz")
            whole.push_back(entry.path());
    std::sort(whole.begin(), whole.end());
    for (const fs::path& path : whole)
        states.push_back(
            {fs::relative(path, content).replace_extension().string(), readBytes(path)});

    presettest::MessageCapture messages; // a failed load must not open a message box
    for (const MFPresetCategory& category : MFPresetCategory::makeList()) {
        if (category.number == 0)
            continue;
        std::vector<fs::path> presets;
        for (const auto& entry : fs::directory_iterator(content / category.name))
            presets.push_back(entry.path());
        std::sort(presets.begin(), presets.end());
        for (const fs::path& path : presets)
            states.push_back({fs::relative(path, content).replace_extension().string(),
                              effectOverDefault(path, category)});
    }
    EXPECT_TRUE(messages.shown().empty()) << messages.shown().front();
    return states;
}

// One plug-in instance in a host, played the way a render asks.
class Session {
public:
    Session(const State& state, const Render& how) : how(how) {
        EXPECT_TRUE(host.load(CADENZOID_PLUGIN_PATH)) << host.lastError();
        host.start(how.rate, maxBlock);
        EXPECT_NE(host.setChunk(state.bytes, true), 0) << state.name;
        stop(how.prerollBlocks, how.prerollSize);
    }

    void stop(int blocks, int size) {
        host.transport().playing = false;
        host.setBlockSize(size);
        const std::size_t n = std::size_t(size > 0 ? size : 0);
        std::vector<float> silence(n, 0.0f), out(n, 0.0f);
        for (int b = 0; b < blocks; ++b)
            host.process(silence.data(), silence.data(), out.data(), out.data(), size);
    }

    std::vector<float> play() {
        PluginHost::Transport& t = host.transport();
        t.playing = true;
        t.ppqPosition = how.start;
        t.cycleActive = how.cycle;
        t.cycleStart = how.cycleStart;
        t.cycleEnd = how.cycleEnd;
        if (how.blockSize > 0)
            host.setBlockSize(how.blockSize);
        else
            host.setRandomBlocks(uint32_t(17 + how.prerollBlocks));
        if (how.holdNote)
            host.queueMidi({host.framesProcessed(), {0x90, uint8_t(how.noteKey), 100}});
        const DemoLoop& loop = loopAt(how.rate);
        const std::size_t frames =
            std::min(loop.left.size(), std::size_t(how.seconds * double(how.rate)));
        std::vector<float> left(frames), right(frames);
        host.process(loop.left.data(), loop.right.data(), left.data(), right.data(),
                     int64_t(frames));
        if (how.holdNote)
            host.queueMidi({host.framesProcessed(), {0x80, uint8_t(how.noteKey), 0}});
        left.insert(left.end(), right.begin(), right.end());
        return left;
    }

private:
    Render how;
    PluginHost host;
};

} // namespace

const std::vector<State>& allStates() {
    static const std::vector<State> states = collectStates();
    return states;
}

const DemoLoop& loopAt(float rate) {
    static std::map<float, DemoLoop> loops;
    auto found = loops.find(rate);
    if (found == loops.end())
        found = loops.emplace(rate, DemoLoop::make(rate, 120.0, 4)).first;
    return found->second;
}

std::vector<float> render(const State& state, const Render& how) {
    Session session(state, how);
    return session.play();
}

std::pair<std::vector<float>, std::vector<float>> renderTwice(const State& state, const Render& how,
                                                              int gapBlocks) {
    Session session(state, how);
    std::vector<float> first = session.play();
    session.stop(gapBlocks, 256);
    return {std::move(first), session.play()};
}

std::string difference(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size())
        return "lengths differ";
    std::size_t first = a.size();
    double energy = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        // Bits, not values: -0 against +0 or two NaNs would hide a difference.
        if (std::memcmp(&a[i], &b[i], sizeof(float)) != 0 && first == a.size())
            first = i;
        const double d = double(a[i]) - double(b[i]);
        energy += d * d;
    }
    if (first == a.size())
        return {};
    const std::size_t frames = a.size() / 2;
    char text[160];
    std::snprintf(text, sizeof text, "first difference at frame %zu (%s), %.1f dBFS RMS",
                  first % frames, first < frames ? "left" : "right",
                  10.0 * std::log10(energy / double(a.size()) + 1e-300));
    return text;
}

} // namespace factory
