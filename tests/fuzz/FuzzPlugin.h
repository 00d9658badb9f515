#pragma once

// What the plug-in-level fuzz targets share: a private home for the settings and
// content the plug-in reads at construction, a quiet message handler, and one plug-in
// instance per process (construction is far costlier than one load).
#include "engine/MFUniClient.h"
#include "platform/MFMessageService.h"
#include "vst/VstAbi.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <unistd.h>

// A fresh folder under /dev/shm or the system's temporary folder, removed at exit.
// XDG_CONFIG_HOME and XDG_DATA_HOME point into it before any plug-in is built, so that
// fuzzing never reads or writes the user's settings and presets.
class FuzzHome {
public:
    FuzzHome() {
        const std::filesystem::path base = scratchBase();
        std::string pattern = (base / "cadenzoid-fuzz-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            std::abort();
        root = pattern;
        std::filesystem::create_directories(root / "config");
        std::filesystem::create_directories(root / "data");
        setenv("XDG_CONFIG_HOME", (root / "config").c_str(), 1);
        setenv("XDG_DATA_HOME", (root / "data").c_str(), 1);
        // Messages about damaged files are expected by the thousand: keep them silent.
        MFMessageService::setHandler([](MFMessageService::Kind, const char*) { return false; });
    }
    ~FuzzHome() {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    FuzzHome(const FuzzHome&) = delete;
    FuzzHome& operator=(const FuzzHome&) = delete;

    // A scratch folder for the target's own files, inside the home.
    std::filesystem::path scratch() const { return root / "scratch"; }

private:
    // Two targets write files for every input: on a disk file system that cost ten times
    // the fuzzing itself. A RAM-backed folder is taken when there is one, unless TMPDIR
    // names a place.
    static std::filesystem::path scratchBase() {
        std::error_code ignored;
        if (!std::getenv("TMPDIR") && std::filesystem::is_directory("/dev/shm", ignored) &&
            ::access("/dev/shm", W_OK) == 0)
            return "/dev/shm";
        return std::filesystem::temp_directory_path();
    }

    std::filesystem::path root;
};

inline FuzzHome& fuzzHome() {
    static FuzzHome home;
    return home;
}

// The host answers with a playing transport, so that loads are followed by ticks that
// walk the lanes and tables the state just built.
inline intptr_t fuzzHostCallback(vst::AEffect*, int32_t opcode, int32_t, intptr_t, void*, float) {
    static vst::VstTimeInfo time = [] {
        vst::VstTimeInfo t{};
        t.sampleRate = 44100.0;
        t.tempo = 133.0;
        t.ppqPos = 7.25;
        t.timeSigNumerator = 4;
        t.timeSigDenominator = 4;
        t.flags = vst::kVstTransportPlaying | vst::kVstPpqPosValid | vst::kVstTempoValid |
                  vst::kVstTimeSigValid | vst::kVstBarsValid;
        return t;
    }();
    if (opcode == vst::audioMasterVersion)
        return 2400;
    if (opcode == vst::audioMasterGetTime) {
        time.ppqPos += 0.1;
        return reinterpret_cast<intptr_t>(&time);
    }
    return 0;
}

inline MFUniClient& fuzzPlugin() {
    fuzzHome();
    static std::unique_ptr<MFUniClient> plugin = [] {
        auto p = std::make_unique<MFUniClient>(&fuzzHostCallback);
        p->dispatcher(vst::effSetSampleRate, 0, 0, nullptr, 44100.0f);
        p->dispatcher(vst::effSetBlockSize, 0, 512, nullptr, 0.0f);
        p->dispatcher(vst::effMainsChanged, 0, 1, nullptr, 0.0f);
        return p;
    }();
    return *plugin;
}

// Runs a few blocks of a busy input and aborts on any output that is not a finite
// number: whatever state was loaded, the host must get audio back.
inline void fuzzCheckAudio(MFUniClient& plugin) {
    // No load may leave a parameter that is not a number: the effects would carry it
    // into their read positions long after the load that set it.
    for (int32_t tag = 0; tag < mfTagCount; ++tag)
        if (!std::isfinite(plugin.getRegistry().rawValue(tag)))
            std::abort();
    constexpr int32_t frames = 512;
    static float in[2][frames];
    static float out[2][frames];
    static bool filled = false;
    if (!filled) {
        uint32_t seed = 12345;
        for (int32_t i = 0; i < frames; ++i) {
            seed = seed * 1664525u + 1013904223u;
            const float noise = float(int32_t(seed >> 9) - (1 << 22)) / float(1 << 22);
            in[0][i] = 0.5f * std::sin(0.05f * float(i)) + 0.3f * noise;
            in[1][i] = 0.5f * std::cos(0.031f * float(i)) - 0.3f * noise;
        }
        filled = true;
    }
    float* inputs[2] = {in[0], in[1]};
    float* outputs[2] = {out[0], out[1]};
    for (int block = 0; block < 4; ++block) {
        plugin.processReplacing(inputs, outputs, frames);
        for (int c = 0; c < 2; ++c)
            for (int32_t i = 0; i < frames; ++i)
                if (!std::isfinite(out[c][i]))
                    std::abort();
    }
}
