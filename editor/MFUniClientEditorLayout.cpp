// The building of the editor's views from the layout tables, in their drawing order.
#include "editor/MFEditorLayout.h"
#include "editor/MFUniClientEditor.h"
#include "editor/controls/MFButton.h"
#include "editor/controls/MFDisplay.h"
#include "editor/controls/MFFrame.h"
#include "editor/controls/MFImage.h"
#include "editor/controls/MFKnob.h"
#include "editor/controls/MFLevelMeterPic.h"
#include "editor/controls/MFLocalLink.h"
#include "editor/controls/MFMouseArea.h"
#include "editor/controls/MFViewContainer.h"
#include "editor/controls/MFWebLink.h"
#include "editor/views/MFZoneView.h"
#include "engine/MFLaneTags.h"
#include "engine/MFParameterTable.h"
#include "engine/MFUniClient.h"

#include <cstdio>
#include <utility>

using namespace mflayout;

namespace {
constexpr int32_t swingTag = 116;
constexpr int32_t meterFrames = 35;
constexpr int32_t displayTextSize = 9;
constexpr int32_t reverbGroup = 0, filterGroup = 12, xLoopGroup = 13;

float initialValue(int32_t tag) {
    for (const MFParameterRow& row : mfParameterTable)
        if (row.tag == tag)
            return row.initial;
    return 0.0f;
}

// A decay in milliseconds that reads "oo" where it never ends (shown as 0).
void formatEndlessMilliseconds(float value, char* text) {
    if (value <= 0.0f)
        std::snprintf(text, formatCapacity, "oo");
    else
        formatMilliseconds(value, text);
}

MFValueFormatter formatterOf(Format format) {
    switch (format) {
    case Format::percent:
        return formatPercent;
    case Format::bipolar:
        return formatPercentBipolar;
    case Format::note:
        return formatNote;
    case Format::hertz:
        return formatHertz;
    case Format::decibel:
        return formatDecibel;
    case Format::milliseconds:
        return formatMilliseconds;
    case Format::endlessMilliseconds:
        return formatEndlessMilliseconds;
    case Format::strip:
    case Format::stripOfMapped:
        break;
    }
    return nullptr;
}
} // namespace

MFControl* MFUniClientEditor::findControl(int32_t tag) const {
    for (MFControl* control : controls)
        if (control->getTag() == tag)
            return control;
    return nullptr;
}

MFControl* MFUniClientEditor::addControl(const ControlRow& row, bool onTop) {
    MFParameterRegistry& registry = plugin.getRegistry();
    const int32_t boundTag = row.boundTag >= 0 ? row.boundTag : row.tag;
    const MFRelaxed<float>* bound = nullptr;
    if (row.bound == Bound::raw)
        bound = &registry.values[boundTag].raw;
    else if (row.bound == Bound::mapped)
        bound = &registry.values[boundTag].mapped;
    else if (row.bound == Bound::shown)
        bound = &registry.values[boundTag].mappedAlt;
    CBitmap* bitmap = getBitmap(row.bitmap);
    if (row.viewClass == ViewClass::tableViewPlace)
        return addTableView(row);

    MFControl* made = nullptr;
    switch (row.viewClass) {
    case ViewClass::knob:
    case ViewClass::hiddenKnob: {
        auto* knob = new MFKnob(row.rect, this, row.tag, frame, bitmap, row.frameHeight, row.frames,
                                row.sensitivity);
        knob->bind(bound);
        knob->setTouchedFlag(&registry.values[row.tag].touch);
        knob->setDefaultValue(initialValue(row.tag));
        knob->setHidden(row.viewClass == ViewClass::hiddenKnob);
        knob->setHorizontal(row.tag == swingTag);
        made = knob;
        learnList.push_back(knob);
        break;
    }
    case ViewClass::display:
    case ViewClass::pictureDisplay: {
        auto* display = new MFDisplay(row.rect, this, row.tag, frame, bitmap);
        display->bind(bound);
        if (row.viewClass == ViewClass::pictureDisplay) {
            display->setFrames(row.frameHeight, row.frames);
            display->setShowText(false);
            // A mapped form bound to a picture is already the row's number.
            display->setRawBound(row.bound == Bound::mapped);
        } else {
            display->setFormatter(formatterOf(row.format));
            display->setTextColour(ccolor::white);
            display->setTextSize(displayTextSize);
        }
        // Displays here only show: the knob beside them takes the mouse.
        display->setMouseEnabled(false);
        made = display;
        break;
    }
    case ViewClass::button: {
        auto* button = new MFButton(row.rect, this, row.tag, frame, bitmap, row.buttonMode);
        button->bind(bound);
        made = button;
        if (row.buttonMode == MFButton::toggle)
            learnList.push_back(button);
        break;
    }
    case ViewClass::image: {
        auto* image = new MFImage(row.rect, this, row.tag, frame, bitmap);
        image->setMouseEnabled(false);
        image->setUseTransparent(true);
        made = image;
        break;
    }
    case ViewClass::mouseArea:
        made = new MFMouseArea(row.rect, this, row.tag, frame);
        break;
    case ViewClass::levelMeter: {
        auto* meter =
            new MFLevelMeterPic(row.rect, this, row.tag, frame, bitmap, meterFrames, meterFrames);
        meter->bind(row.tag == 560 ? &plugin.peakLeftValue() : &plugin.peakRightValue());
        made = meter;
        break;
    }
    case ViewClass::localLink:
    case ViewClass::webLink: // only in the about panel
    case ViewClass::tableViewPlace:
        // The menus and tables come later; their tags are routed already.
        return nullptr;
    case ViewClass::optionMenuPlace:
        return addOptionMenu(row);
    case ViewClass::zoneViewPlace:
        addLaneView(row.tag, row.rect, row.bitmap, -1);
        return nullptr;
    }
    made->setPage(plugin.getPanels().pageWords(), row.pageBit);
    if (onTop)
        onTopViews.push_back(made);
    else
        frame->addView(made);
    controls.push_back(made);
    return made;
}

void MFUniClientEditor::addLaneView(int32_t tag, const CRect& rect, int32_t bitmap,
                                    int32_t laneIndex) {
    // Colours for a lane without a sprite; every lane has a sprite here, so they are
    // never seen.
    constexpr CColor noSpriteFirst = {0, 0, 0, 0};
    constexpr CColor noSpriteLast = {0xAA, 0x40, 0xF9, 0x03};
    constexpr CColor noSpriteBorder = {0x31, 0xDE, 0x0B, 0x00};
    constexpr int32_t laneSteps = 32;
    constexpr int32_t laneMaxEnd = 32;
    MFZoneHandlerContainer<MFFloatZoneHandler>& lane =
        laneIndex < 0 ? plugin.getMasterLane() : plugin.getLane(laneIndex).zones;
    auto* view = new MFZoneView(rect, this, tag, frame, &lane);
    view->setup(laneSteps, nullptr, getBitmap(bitmap), true, true, 0, false, noSpriteFirst,
                noSpriteLast, false, noSpriteBorder, laneMaxEnd, MFZoneView::defaultAlpha);
    view->watchDirtyFlag(&lane.dirty);
    view->watchMark(&lane.markedPattern);
    frame->addView(view);
    zoneViews[laneIndex < 0 ? 0 : 1 + laneIndex] = view;
}

void MFUniClientEditor::addEffectGroup(const EffectGroupRow& g, int32_t groupIndex) {
    const MFLaneTags& t = mflane::tags[g.lane];
    const int16_t bit = g.pageBit;
    using VC = ViewClass;
    auto add = [this](int16_t tag, VC c, CRect r, int16_t pageBit, int16_t bitmap,
                      int16_t frameHeight, int16_t frames, float sensitivity, int8_t mode,
                      Bound bound, int16_t boundTag, Format format) {
        return addControl({tag, c, r, pageBit, bitmap, frameHeight, frames, sensitivity, mode,
                           bound, boundTag, format});
    };

    addLaneView(g.laneTag, laneRect(g.laneY), g.laneBitmap, g.lane);
    add(g.initTag, VC::button, initRect(g.laneY), 0, g.initBitmap, 0, 0, 0, MFButton::momentary,
        Bound::none, -1, Format::percent);
    auto* bypass = add(g.bypassTag, VC::button, bypassRect(g.laneY), 0, g.bypassBitmap, 0, 0, 0,
                       MFButton::toggle, Bound::mapped, -1, Format::percent);
    bypass->setValue(1.0f);
    // The panel pictures themselves went in first, under everything.

    for (int32_t i = 0; i < extraControlCount; ++i)
        if (extraControls[i].group == groupIndex && extraControls[i].beforeKnobs)
            addControl(extraControls[i].control);
    for (int32_t c = 0; c < knobColumns; ++c) {
        const KnobCell& k = g.knobs[c];
        if (k.knobTag >= 0)
            add(k.knobTag, VC::knob, knobRect(knobColumnX[c]), bit, mainKnobBitmap, mainKnobFrame,
                MFKnob::panelFrames, panelSensitivity, 0, Bound::raw, -1, Format::percent);
    }
    for (int32_t c = 0; c < knobColumns; ++c) {
        const KnobCell& k = g.knobs[c];
        if (k.knobTag < 0)
            continue;
        const int16_t pageBit = k.displayPageBit ? k.displayPageBit : bit;
        if (k.format == Format::strip || k.format == Format::stripOfMapped) {
            auto* strip = static_cast<MFDisplay*>(add(k.displayTag, VC::pictureDisplay,
                                                      knobDisplayRect(knobColumnX[c]), pageBit,
                                                      k.stripBitmap, stripLineHeight, k.stripLines,
                                                      0, 0, Bound::raw, k.knobTag, Format::strip));
            // The name shown is the nearest line: index = value * (lines - 1) + 0.5.
            strip->setRoundBound(true);
            if (k.format == Format::stripOfMapped)
                strip->bind(&plugin.getRegistry().values[k.knobTag].mapped);
        } else {
            // Times read the mapped form; frequencies, levels and decays the form the engine
            // keeps for display; the rest the knob's position.
            Bound bound = Bound::raw;
            if (k.format == Format::milliseconds)
                bound = Bound::mapped;
            else if (k.format == Format::hertz || k.format == Format::decibel ||
                     k.format == Format::endlessMilliseconds)
                bound = Bound::shown;
            add(k.displayTag, VC::display, knobDisplayRect(knobColumnX[c]), pageBit, displayBitmap,
                0, 0, 0, 0, bound, k.knobTag, k.format);
        }
    }
    add(t.attack, VC::knob, attackKnobRect, bit, smallKnobBitmap, smallKnobFrame,
        MFKnob::panelFrames, panelSensitivity, 0, Bound::raw, -1, Format::percent);
    add(t.release, VC::knob, releaseKnobRect, bit, smallKnobBitmap, smallKnobFrame,
        MFKnob::panelFrames, panelSensitivity, 0, Bound::raw, -1, Format::percent);
    add(-1, VC::display, attackDisplayRect, bit, displayBitmap, 0, 0, 0, 0, Bound::mapped, t.attack,
        Format::milliseconds);
    add(-1, VC::display, releaseDisplayRect, bit, displayBitmap, 0, 0, 0, 0, Bound::mapped,
        t.release, Format::milliseconds);
    add(g.presetTag, VC::optionMenuPlace, presetMenuRect, bit, g.captionBitmap, 0, 0, 0, 0,
        Bound::none, -1, Format::percent);
    add(g.previousTag, VC::button, previousRect, bit, g.previousBitmap, 0, 0, 0,
        MFButton::momentary, Bound::none, -1, Format::percent);
    add(g.nextTag, VC::button, nextRect, bit, g.nextBitmap, 0, 0, 0, MFButton::momentary,
        Bound::none, -1, Format::percent);
    add(g.tableA, VC::tableViewPlace, tableRect, g.subPageA, tableBackground, 0, 0, 0, 0,
        Bound::none, -1, Format::percent);
    add(g.tableB, VC::tableViewPlace, tableRect, g.subPageB, tableBackground, 0, 0, 0, 0,
        Bound::none, -1, Format::percent);
    add(t.tableSwitch, VC::button, tableSwitchRect, bit, tableSwitchBitmap, 0, 0, 0,
        MFButton::toggle, Bound::mapped, -1, Format::percent);
    const int16_t subPages[2] = {g.subPageA, g.subPageB};
    const int16_t smooth[2] = {t.smoothA, t.smoothB};
    const int16_t random[2] = {t.randomA, t.randomB};
    for (int32_t s = 0; s < 2; ++s) {
        add(-1, VC::display, smoothRect, subPages[s], displayBitmap, 0, 0, 0, 0, Bound::mapped,
            smooth[s], Format::milliseconds);
        // The face is a single frame of 15: the display beneath shows the value.
        add(smooth[s], VC::hiddenKnob, smoothRect, subPages[s], smoothBitmap, smoothFrame,
            MFKnob::panelFrames, smoothSensitivity, 0, Bound::raw, -1, Format::percent);
    }
    for (int32_t s = 0; s < 2; ++s)
        add(random[s], VC::button, randomRect, subPages[s], randomBitmap, 0, 0, 0,
            MFButton::momentary, Bound::none, -1, Format::percent);
    add(t.record, VC::button, recordRect, bit, recordBitmap, 0, 0, 0, MFButton::toggle,
        Bound::mapped, -1, Format::percent);
    add(t.listA, VC::optionMenuPlace, rowModeRect, g.subPageA, 0, 0, 0, 0, 0, Bound::none, -1,
        Format::percent);
    add(t.listB, VC::optionMenuPlace, rowModeRect, g.subPageB, 0, 0, 0, 0, 0, Bound::none, -1,
        Format::percent);

    for (int32_t i = 0; i < extraControlCount; ++i)
        if (extraControls[i].group == groupIndex && !extraControls[i].beforeKnobs)
            addControl(extraControls[i].control);
}

void MFUniClientEditor::buildAboutPanel() {
    aboutPanel = new MFViewContainer(aboutPanelRect, this, aboutPanelTag, frame,
                                     getBitmap(aboutPanelBitmap));
    aboutPanel->setControlFlags(MFControl::flagConstructed | MFControl::flagBitmap |
                                MFControl::flagShadow);
    aboutPanel->setShadow(MFControl::defaultShadowAlpha, MFControl::defaultShadowOffset,
                          MFControl::defaultShadowWidth);
    aboutPanel->setMouseEnabled(false);
    MFParameterRegistry& registry = plugin.getRegistry();
    for (const ControlRow& row : aboutControls) {
        CBitmap* bitmap = getBitmap(row.bitmap);
        if (row.viewClass == ViewClass::localLink) {
            // Beside the plug-in file, or in the shared content of a system install.
            aboutPanel->addView(
                new MFLocalLink(row.rect, this, row.tag, frame, bitmap, plugin.getManualFolder()));
        } else if (row.viewClass == ViewClass::webLink) {
            // No address is published yet: the links show and open nothing.
            aboutPanel->addView(new MFWebLink(row.rect, this, row.tag, frame, bitmap, ""));
        } else {
            auto* button = new MFButton(row.rect, this, row.tag, frame, bitmap, row.buttonMode);
            button->bind(&registry.values[row.tag].mapped);
            aboutPanel->addView(button);
        }
    }
}

void MFUniClientEditor::buildLayout() {
    addTextLearnMenu();
    learnList.clear();
    buildAboutPanel();

    for (const EffectGroupRow& g : effectGroups)
        addControl({g.panelTag, ViewClass::image, panelRect(g.panelBottom), g.pageBit,
                    g.panelBitmap, 0, 0, 0.0f, 0, Bound::none, -1, Format::percent});
    // The marker lies under the column picture, whose rows show the same choice.
    auto* marker = static_cast<MFImage*>(addControl(markerAndPlayhead[0]));
    marker->bindPosition(nullptr, &markerOffset);
    // Departing from its place under the lanes: the playhead must show over the zones it plays.
    auto* playhead = static_cast<MFImage*>(addControl(markerAndPlayhead[1], true));
    playhead->bindPosition(&playheadPixel, nullptr);
    addControl(mainPresetMenu);

    for (int32_t i = 0; i < groupCount; ++i) {
        addEffectGroup(effectGroups[i], i);
        if (i == reverbGroup)
            for (const ControlRow& row : columnControls)
                addControl(row);
        if (i == filterGroup)
            for (int32_t c = 0; c < globalControlCount; ++c)
                addControl(globalControls[c]);
        if (i == xLoopGroup)
            for (int32_t c = 0; c < outputControlCount; ++c)
                addControl(outputControls[c]);
    }

    connectLearnMenu();
    // The playhead goes over everything, with what lies beneath it kept aside.
    for (MFControl* view : onTopViews)
        frame->setOverlay(view);
    onTopViews.clear();

    updatePageMarker();
    bindStatePictures();
}

namespace {
// Rows of the status picture.
constexpr float statusHostSync = 0.0f;
constexpr float statusWaitingForNote = 1.0f;
constexpr float statusLearning = 2.0f;
constexpr float statusLoading = 3.0f;
constexpr float statusBypassed = 4.0f;
constexpr int32_t statusTag = 517, patternKeysTag = 523, patternNameTag = 524;
} // namespace

void MFUniClientEditor::bindStatePictures() {
    updateStateRows();
    // The pictures' rows are whole numbers already.
    const std::pair<int32_t, const MFRelaxed<float>*> bindings[] = {
        {statusTag, &statusRow}, {patternKeysTag, &patternRow}, {patternNameTag, &patternRow}};
    for (const auto& [tag, row] : bindings) {
        if (auto* picture = dynamic_cast<MFDisplay*>(findControl(tag))) {
            picture->setRawBound(true);
            picture->bind(row);
        }
    }
}

void MFUniClientEditor::updateStateRows() {
    patternRow = float(plugin.getPattern());
    const MFTransport& transport = plugin.getTransport();
    float status = statusHostSync;
    if (plugin.isLoading())
        status = statusLoading;
    else if (transport.bypassOn.load() == 0.0f)
        status = statusBypassed;
    else if (plugin.getMidiInput().learnTag.load() >= 0)
        status = statusLearning;
    else if (transport.positionMode.load() != 0 && transport.noteHeld.load() == 0.0f)
        status = statusWaitingForNote;
    statusRow = status;
}

void MFUniClientEditor::updatePageMarker() {
    const float page = plugin.getRegistry().values[320].mapped;
    markerOffset = page * float(columnRowPitch);
}
