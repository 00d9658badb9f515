// The library's two entry points; a host calls either with its callback.

#include "editor/MFUniClientEditor.h"
#include "engine/MFPluginData.h"
#include "engine/MFUniClient.h"

#include <new>

namespace {
vst::AEffect* createEffect(vst::HostCallback host) {
    if (!host || host(nullptr, vst::audioMasterVersion, 0, 0, nullptr, 0.0f) == 0)
        return nullptr;
    MFPluginData& data = MFPluginData::shared();
    if (data.productName.empty()) {
        data.productName = "Cadenzoid";
        data.versionText = "1.0.0.000";
    }
    try {
        MFUniClient* plugin = new MFUniClient(host, &MFUniClientEditor::create);
        return plugin->getAeffect();
    } catch (...) {
        // A host must never see an exception; a failed creation is a null effect.
        return nullptr;
    }
}
} // namespace

extern "C" __attribute__((visibility("default"))) vst::AEffect*
VSTPluginMain(vst::HostCallback host) {
    return createEffect(host);
}

// Older hosts look for "main"; it is the same function under a name the compiler reserves,
// so it is bound by symbol name.
extern "C" __attribute__((visibility("default"))) vst::AEffect*
mainEntry(vst::HostCallback host) __asm__("main");
vst::AEffect* mainEntry(vst::HostCallback host) {
    return createEffect(host);
}
