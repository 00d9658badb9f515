// The editor's menus through the host's calls, under a real X server: MIDI learn from a
// right click, a factory preset chosen from the main browser and heard, and a preset saved
// from an effect's browser through the desktop's file dialog into the user's folder.
// Each test runs in a home of its own, with the factory content installed into it.

#include "HostedEditor.h"
#include "tests/support/ScopedEnv.h"

#include <X11/Xlib.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>

using namespace hosted;
namespace fs = std::filesystem;

namespace {

constexpr float rate = 48000.0f;
// The main browser's caption (31, 20, 171, 38); its panel opens beneath, lines of 17
// pixels after a margin of 2.
constexpr int mainMenuX = 100, mainMenuY = 29, mainPanelTop = 38, mainLine = 17;
// The effect column's Reverb row, and the Reverb browser's caption (397, 412, 528, 427)
// with its panel beneath in lines of 15.
constexpr int columnX = 60, reverbRowY = 335;
constexpr int effectMenuX = 460, effectMenuY = 419, effectPanelTop = 427, effectLine = 15;
constexpr int lineMargin = 2;

// A home of its own: settings and content under a temporary folder, the factory content
// copied in as an installer would, and a stand-in for the desktop's file dialog on PATH
// that answers every save with "FromBrowser" in the folder it was offered.
struct TestHome {
    TestHome() {
        std::string pattern = (fs::temp_directory_path() / "cdz-menus-XXXXXX").string();
        root = mkdtemp(pattern.data());
        config.emplace("XDG_CONFIG_HOME", (root / "config").c_str());
        data.emplace("XDG_DATA_HOME", (root / "data").c_str());
        content = root / "data" / "Maple Forge" / "Cadenzoid";
        fs::create_directories(content);
        const fs::path built = fs::path(EDITOR_PLUGIN_PATH).parent_path() / "content";
        fs::copy(built, content, fs::copy_options::recursive);
        const fs::path bin = root / "bin";
        fs::create_directories(bin);
        std::ofstream(bin / "zenity")
            << "#!/bin/sh\n"
               "for a in \"$@\"; do\n"
               "  case \"$a\" in --filename=*) f=\"${a#--filename=}\";; esac\n"
               "done\n"
               "echo \"${f}FromBrowser\"\n";
        fs::permissions(bin / "zenity", fs::perms::owner_all);
        const char* path = std::getenv("PATH");
        searchPath.emplace("PATH", (bin.string() + ":" + (path ? path : "")).c_str());
    }
    ~TestHome() {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }
    fs::path root;
    fs::path content;
    std::optional<ScopedEnv> config, data, searchPath;
};

// Deterministic input: a chord of three sines and a little hash noise.
float inputAt(int64_t n) {
    uint32_t x = uint32_t(n) * 2654435761u + 12345u;
    x ^= x >> 15;
    const double t = double(n) / double(rate);
    return float(0.2 * std::sin(2.0 * M_PI * 110.0 * t) + 0.15 * std::sin(2.0 * M_PI * 277.0 * t) +
                 0.1 * std::sin(2.0 * M_PI * 659.0 * t) + 0.05 * (double(x) / 4294967296.0 - 0.5));
}

std::vector<float> render(PluginHost& host, int64_t frames) {
    constexpr int block = 256;
    std::vector<float> in(block), l(block), r(block), out;
    for (int64_t done = 0; done < frames; done += block) {
        for (int i = 0; i < block; ++i)
            in[std::size_t(i)] = inputAt(done + i);
        host.process(in.data(), in.data(), l.data(), r.data(), block);
        out.insert(out.end(), l.begin(), l.end());
    }
    return out;
}

double rmsDifference(const std::vector<float>& a, const std::vector<float>& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i)
        sum += double(a[i] - b[i]) * double(a[i] - b[i]);
    return std::sqrt(sum / double(std::max<std::size_t>(1, a.size())));
}

class MenusThroughHost : public ::testing::Test, protected HostedEditor {
protected:
    void SetUp() override {
        if (!std::getenv("DISPLAY"))
            GTEST_SKIP() << "no X server in DISPLAY: these tests run under xvfb-run";
        ASSERT_TRUE(keeper.ok()) << "cannot reach the X server of DISPLAY, or it has no XTest";
        home = std::make_unique<TestHome>();
        ASSERT_TRUE(host.load(EDITOR_PLUGIN_PATH)) << host.lastError();
        host.start(rate, 512);
        ASSERT_TRUE(editor.connect());
        ASSERT_TRUE(editor.createParent(0, 0, editorWidth, editorHeight));
        ASSERT_EQ(editor.openEditor(), 1);
        ASSERT_TRUE(idleUntil([&] { return editor.editorWindow() != 0; }));
        idleTimes(5);
    }
    void TearDown() override {
        editor.closeEditor();
        host.unload();
        home.reset();
    }

    void moveTo(int x, int y) {
        xtest::moveTo(editor.display(), x, y);
        idleTimes(2);
    }
    void click(int x, int y, unsigned int button = 1) {
        moveTo(x, y);
        xtest::button(editor.display(), button, true);
        idleTimes(1);
        xtest::button(editor.display(), button, false);
        idleTimes(2);
    }
    // A controller message, handled at the next ticks of a block.
    void controller(uint8_t number, uint8_t value) {
        host.queueMidi({host.framesProcessed(), {0xB0, number, value}});
        render(host, 1024);
    }

    X11TestServer keeper;
    std::unique_ptr<TestHome> home;
};

// Right click on the GlobalWet knob, "midi Learn", then a controller: the knob follows it,
// in the parameter and on the screen, exactly as host automation to the same value draws.
TEST_F(MenusThroughHost, MidiLearnFromTheKnobsPopup) {
    const auto before = screenshot("menus-before-learn");
    click(knobX, knobY, 3);
    const auto popup = screenshot("menus-learn-popup");
    EXPECT_NE(area(popup, knobX + 1, knobY, knobX + 78, knobY + 30),
              area(before, knobX + 1, knobY, knobX + 78, knobY + 30))
        << "no learn popup beside the knob";
    click(knobX + 30, knobY + 7); // "midi Learn", the first of two lines of 15
    // Off the knob, so that no hover look mixes into the pictures below.
    moveTo(editorWidth + 5, editorHeight + 5);
    EXPECT_EQ(area(screenshot("menus-learn-closed"), 560, 447, 760, 521),
              area(before, 560, 447, 760, 521))
        << "the popup did not close";

    // The controller's 127 arrives as 127 / 127 within a float step.
    controller(20, 127);
    const float top = host.getParameter(globalWet);
    EXPECT_NEAR(top, 1.0f, 1e-6f);
    idleTimes(3);
    const auto high = knobArea(screenshot("menus-learn-cc-127"));
    controller(20, 0);
    EXPECT_NEAR(host.getParameter(globalWet), 0.0f, 1e-6f);
    idleTimes(3);
    const auto low = knobArea(screenshot("menus-learn-cc-0"));
    EXPECT_NE(high, low) << "the knob did not move with the controller";

    host.setParameter(globalWet, top);
    idleTimes(3);
    EXPECT_EQ(knobArea(screenshot("menus-learn-automated-top")), high)
        << "the controller's frame is not the one the value draws";
}

// "Dub Echo" from the main browser's "Grooves" folder, reached by hovering through the
// sub-menu: what plays is what loading the same file directly plays.
TEST_F(MenusThroughHost, FactoryPresetFromTheMainBrowserIsHeard) {
    const fs::path file = home->content / "Presets" / "Grooves" / "Dub Echo.cdz";
    ASSERT_TRUE(fs::exists(file));
    // Lines: "Save Preset", "--Presets--", then the folders in name order.
    std::vector<std::string> folders;
    for (const auto& entry : fs::directory_iterator(home->content / "Presets"))
        if (entry.is_directory())
            folders.push_back(entry.path().filename().string());
    std::sort(folders.begin(), folders.end());
    const int groovesLine =
        2 + int(std::find(folders.begin(), folders.end(), "Grooves") - folders.begin());
    std::vector<std::string> grooves;
    for (const auto& entry : fs::directory_iterator(home->content / "Presets" / "Grooves"))
        grooves.push_back(entry.path().stem().string());
    std::sort(grooves.begin(), grooves.end());
    const int dubLine =
        int(std::find(grooves.begin(), grooves.end(), "Dub Echo") - grooves.begin());
    auto lineY = [](int line) {
        return mainPanelTop + lineMargin + line * mainLine + mainLine / 2;
    };

    click(mainMenuX, mainMenuY);
    moveTo(mainMenuX, lineY(groovesLine));
    screenshot("menus-main-browser");
    // Across into the sub-menu, whose first line is level with "Grooves".
    moveTo(300, lineY(groovesLine));
    moveTo(300, lineY(groovesLine + dubLine));
    screenshot("menus-main-browser-grooves");
    click(300, lineY(groovesLine + dubLine));
    char name[64] = {};
    host.dispatch(vst::effGetProgramName, 0, 0, name);
    EXPECT_STREQ(name, "Dub Echo");
    const std::vector<float> viaBrowser = render(host, int64_t(rate) * 2);

    std::ifstream in(file, std::ios::binary);
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), {});
    // Two more instances: one left at its start state, one given the file's bytes.
    PluginHost untouchedHost;
    ASSERT_TRUE(untouchedHost.load(EDITOR_PLUGIN_PATH)) << untouchedHost.lastError();
    untouchedHost.start(rate, 512);
    const std::vector<float> untouched = render(untouchedHost, int64_t(rate) * 2);
    PluginHost fresh;
    ASSERT_TRUE(fresh.load(EDITOR_PLUGIN_PATH)) << fresh.lastError();
    fresh.start(rate, 512);
    fresh.setChunk(bytes, false);
    const std::vector<float> loadedDirectly = render(fresh, int64_t(rate) * 2);

    // The same state and the same input give the same samples: the tolerance only allows
    // for float noise, far below anything audible (-100 dB).
    ASSERT_EQ(viaBrowser.size(), loadedDirectly.size());
    std::printf("rms difference: browser against direct load %.3g, against the start state %.3g\n",
                rmsDifference(viaBrowser, loadedDirectly), rmsDifference(viaBrowser, untouched));
    EXPECT_LT(rmsDifference(viaBrowser, loadedDirectly), 1e-5);
    // And the preset is heard: it differs from the default state by far more than that.
    EXPECT_GT(rmsDifference(viaBrowser, untouched), 1e-3);
}

// "Save Preset" of the Reverb browser goes through the desktop's dialog, which starts in
// the user's Reverb folder; the file lands there with the Reverb extension and the browser
// lists it when it opens next.
TEST_F(MenusThroughHost, EffectBrowserSavesIntoTheUsersFolder) {
    click(columnX, reverbRowY); // the Reverb page
    click(effectMenuX, effectMenuY);
    screenshot("menus-reverb-browser");
    click(effectMenuX, effectPanelTop + lineMargin + effectLine / 2); // "Save Preset"
    const fs::path saved = home->content / "Reverb" / "FromBrowser.srb";
    EXPECT_TRUE(idleUntil([&] { return fs::exists(saved); }, 3000)) << saved;
    EXPECT_GT(fs::file_size(saved), 20u);
    char name[64] = {};
    EXPECT_EQ(host.dispatch(vst::effGetProgramName, 0, 0, name), 0);

    const auto closed = screenshot("menus-reverb-saved");
    click(effectMenuX, effectMenuY);
    const auto reopened = screenshot("menus-reverb-browser-after-save");
    EXPECT_NE(area(reopened, 397, effectPanelTop, 528, effectPanelTop + 40),
              area(closed, 397, effectPanelTop, 528, effectPanelTop + 40));
}

} // namespace
