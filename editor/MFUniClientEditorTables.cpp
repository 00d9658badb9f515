// The step tables of the table strip and the Stutter's event tables: which table of the
// plug-in each place shows, and the strip's look.
#include "editor/MFEditorLayout.h"
#include "editor/MFUniClientEditor.h"
#include "editor/controls/MFFrame.h"
#include "editor/views/MFEventTableView.h"
#include "editor/views/MFTableView.h"
#include "engine/MFLaneTags.h"
#include "engine/MFUniClient.h"

using namespace mflayout;

namespace {
constexpr CColor tableBackgroundColour{33, 30, 29, 255};
constexpr CColor tableBarColour{136, 5, 5, 255};
constexpr CColor tableLineColour{74, 74, 74, 255};
constexpr CColor tableHighlightColour{255, 255, 0, 255};
constexpr CColor tableTextColour{0, 0, 0, 255};
constexpr int32_t eventTableTags[2] = {292, 297};

// Departs from the tables' own flags on purpose: 51 pixels leave no room for a zoom strip.
// The bars are cut from the effect's bitmap, and the curve shows the table's smoothing.
constexpr uint32_t stripClear = MFTableView::flagOverview;
constexpr uint32_t stripSet = MFTableView::flagSmoothCurve | MFTableView::flagBitmapBars;
} // namespace

MFControl* MFUniClientEditor::addTableView(const ControlRow& row) {
    MFParameterRegistry& registry = plugin.getRegistry();
    MFTableView* view = nullptr;
    for (int32_t e = 0; e < 2 && !view; ++e) {
        if (row.tag != eventTableTags[e])
            continue;
        view = new MFEventTableView(row.rect, this, row.tag, frame, &plugin.getEventTable(e));
    }
    for (int32_t lane = 0; lane < mflane::count && !view; ++lane) {
        const MFLaneTags& t = mflane::tags[lane];
        if (row.tag != t.tableA && row.tag != t.tableB)
            continue;
        const bool isA = row.tag == t.tableA;
        MFEffectLane& l = plugin.getLane(lane);
        view = new MFTableView(row.rect, this, row.tag, frame, isA ? &l.tableA : &l.tableB);
        view->overrideFlags(stripClear, stripSet);
        view->setSmoothValue(&registry.values[isA ? t.smoothA : t.smoothB].raw);
        view->watchStep(&plugin.getTransport().currentStep);
        for (const EffectGroupRow& g : effectGroups)
            if (g.tableA == row.tag || g.tableB == row.tag)
                view->setRowLabels(getBitmap(g.gridBitmap));
    }
    if (!view)
        return nullptr;
    view->setBackground(getBitmap(row.bitmap));
    view->setColours(tableBackgroundColour, tableBarColour, tableLineColour, tableHighlightColour,
                     tableTextColour);
    view->setTouchedFlag(&registry.values[row.tag].touch);
    view->setFont(font.get());
    view->setPage(plugin.getPanels().pageWords(), row.pageBit);
    frame->addView(view);
    controls.push_back(view);
    // A right click on a step learns a controller for that step alone.
    learnList.push_back(view);
    return view;
}
