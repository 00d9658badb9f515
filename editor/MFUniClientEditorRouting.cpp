// Value routing: every control's change reaches the plug-in here, by its tag.
#include "editor/MFEditorLayout.h"
#include "editor/MFUniClientEditor.h"
#include "editor/MFValueRouting.h"
#include "editor/controls/MFFrame.h"
#include "editor/controls/MFMouseArea.h"
#include "editor/controls/MFViewContainer.h"
#include "engine/MFUniClient.h"

using namespace mfrouting;

namespace {
// The plug-in's mouse area states: pattern keys, the effect column, the tempo modes.
constexpr int32_t patternKeysArea = 0, columnArea = 1, tempoArea = 2;
} // namespace

void MFUniClientEditor::valueChanged(CControl* control) {
    const int32_t tag = control->getTag();
    const float value = control->getValue();
    auto copyArea = [this, control](int32_t area) {
        auto* mouse = static_cast<MFMouseArea*>(control);
        for (int32_t f = 0; f < MFMouseArea::fieldCount; ++f)
            plugin.getMouseArea(area).setField(f, mouse->getState()[f]);
    };

    // The menus first: the learn popups, the browsers and the steps through them.
    if (routeMenu(control)) {
        control->setDirty();
        return;
    }
    if (tag == patternKeysTag) {
        copyArea(patternKeysArea);
        plugin.setParameterAutomated(tag, value);
    } else if (tag >= firstBypassTag && tag <= lastBypassTag) {
        plugin.setParameterAutomated(tag, value * bypassScale);
    } else if (tag > 0 && tag < MFUniClient::hostParameterCount) {
        plugin.setParameterAutomated(tag, value);
    } else if (tag == columnTag) {
        copyArea(columnArea);
        plugin.setParameter(tag, value);
    } else if (tag == tempoTag) {
        copyArea(tempoArea);
        plugin.setParameter(tag, value);
    } else if (tag == aboutTag) {
        if (value == 0.0f && aboutPanel && frame->getModalControl() != aboutPanel)
            aboutPanel->openModal(MFViewContainer::modeClosesOutside, nullptr, tag);
    } else if (tag == nextProgramTag || tag == previousProgramTag) {
        if (value == 1.0f) {
            // The same order as the host's list, wrapping across the library's folders.
            plugin.stepProgram(tag == nextProgramTag ? 1 : -1);
            plugin.notifyHostDisplay();
        }
    } else {
        // The table views arrive with their own routing.
        plugin.setParameter(tag, value * scaleOf(tag));
    }
    control->setDirty();
}
