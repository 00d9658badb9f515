#include "support/FakeHost.h"

#include "engine/MFUniClient.h"

#include <cstring>

using namespace vst;

FakeHost::FakeHost() {
    setPlaying(0.0, 120.0);
}

FakeHost::~FakeHost() {
    delete owned;
}

void FakeHost::attach(MFUniClient* p) {
    owned = p;
    p->getAeffect()->user = this;
}

HostCallback FakeHost::callback() {
    return &FakeHost::answer;
}

void FakeHost::setPlaying(double ppq, double tempo) {
    time = VstTimeInfo{};
    time.ppqPos = ppq;
    time.tempo = tempo;
    time.sampleRate = 44100.0;
    time.flags = kVstTransportPlaying | kVstPpqPosValid | kVstTempoValid;
}

void FakeHost::advance(int n, double sampleRate) {
    if (time.flags & kVstTransportPlaying)
        time.ppqPos += double(n) * time.tempo / (60.0 * sampleRate);
}

intptr_t FakeHost::answer(AEffect* effect, int32_t opcode, int32_t, intptr_t, void* ptr, float) {
    FakeHost* host = effect ? static_cast<FakeHost*>(effect->user) : nullptr;
    switch (opcode) {
    case audioMasterVersion:
        return 2400;
    case audioMasterGetTime:
        if (!host)
            return 0;
        ++host->timeRequests;
        return host->provideTime ? reinterpret_cast<intptr_t>(&host->time) : 0;
    case audioMasterGetVendorString:
        if (ptr)
            std::strcpy(static_cast<char*>(ptr), "FakeHost");
        return 1;
    case audioMasterBeginEdit:
        if (host)
            ++host->beginEdits;
        return 1;
    case audioMasterEndEdit:
        if (host)
            ++host->endEdits;
        return 1;
    case audioMasterAutomate:
        if (host)
            ++host->automations;
        return 1;
    default:
        return 0;
    }
}
