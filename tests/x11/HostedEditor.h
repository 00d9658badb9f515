#pragma once

// GoogleTest before Xlib, whose macros (None, Bool) would rename GoogleTest's names.
#include <gtest/gtest.h>

#include "tools/host/PluginEditorHost.h"
#include "tools/host/PluginHost.h"

#include "X11TestSupport.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

// A plug-in loaded as a Linux host loads it, with the host's editor side: a parent window
// on the host's own X connection and effEditIdle at about 30 Hz from the GUI thread.
namespace hosted {

constexpr int editorWidth = 770;
constexpr int editorHeight = 525;
constexpr int32_t globalWet = 101;
// The middle of the output section's GlobalWet knob (558, 447, 632, 521).
constexpr int knobX = 595;
constexpr int knobY = 484;
constexpr auto idlePeriod = std::chrono::milliseconds(33);

struct HostedEditor {
    PluginHost host;
    PluginEditorHost editor{host};

    // Idles as a host does until done() holds, or for timeoutMs.
    bool idleUntil(const std::function<bool()>& done, int timeoutMs = 3000) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        for (;;) {
            editor.idle();
            if (done())
                return true;
            if (std::chrono::steady_clock::now() >= end)
                return false;
            std::this_thread::sleep_for(idlePeriod);
        }
    }
    void idleTimes(int n) {
        for (int i = 0; i < n; ++i) {
            editor.idle();
            std::this_thread::sleep_for(idlePeriod);
        }
    }
    // The parent's pixels, also written as a PNG file into the build tree.
    std::vector<uint32_t> screenshot(const std::string& name) {
        const auto pixels =
            xtest::capture(editor.display(), editor.parentWindow(), editorWidth, editorHeight);
        std::filesystem::create_directories(CADENZOID_SHOT_DIR);
        writePng(std::string(CADENZOID_SHOT_DIR) + "/" + name + ".png", pixels, editorWidth,
                 editorHeight);
        return pixels;
    }
};

// A rectangle of a picture of the editor's size.
inline std::vector<uint32_t> area(const std::vector<uint32_t>& pixels, int left, int top, int right,
                                  int bottom) {
    std::vector<uint32_t> part;
    for (int y = top; y < bottom; ++y)
        for (int x = left; x < right; ++x)
            part.push_back(pixels[std::size_t(y) * editorWidth + std::size_t(x)]);
    return part;
}

// The GlobalWet knob's square.
inline std::vector<uint32_t> knobArea(const std::vector<uint32_t>& pixels) {
    return area(pixels, 558, 447, 632, 521);
}

} // namespace hosted
