#pragma once

#include "vst/VstAbi.h"

#include <memory>

class MFUniClient;

// An in-process host for engine tests: builds the plug-in object directly and
// answers its callbacks with a time information block the test controls.
class FakeHost {
public:
    FakeHost();
    ~FakeHost();

    // Takes ownership of a plug-in built with callback() as its host.
    void attach(MFUniClient* plugin);
    MFUniClient& plugin() { return *owned; }
    static vst::HostCallback callback();

    vst::VstTimeInfo time{};
    bool provideTime = true;
    int timeRequests = 0;
    int beginEdits = 0;
    int endEdits = 0;
    int automations = 0;

    // Moves the host's own position on by n frames at its tempo.
    void advance(int n, double sampleRate);
    void setPlaying(double ppq, double tempo);

private:
    static intptr_t answer(vst::AEffect* effect, int32_t opcode, int32_t index, intptr_t value,
                           void* ptr, float opt);
    MFUniClient* owned = nullptr;
};
