#pragma once

#include "editor/views/MFTableView.h"

// The Stutter's event tables: every row of the table (one per pattern) as a band of its
// own, one above the other. A press picks the band under the mouse, and within it the
// same mappings as the step table place the step and the value; the drag stays on that
// row. A band is a few pixels high, so each event is a cell lit by its value.
class MFEventTableView : public MFTableView {
public:
    MFEventTableView(const CRect& size, CControlListener* listener, int32_t tag, MFFrame* frame,
                     MFTableXY* table);

    // The row under y, or the nearest at the ends; -1 without rows.
    int32_t rowAt(int32_t y) const override;
    float valueAt(int32_t y) const override;
    // Band r of the graph, top to bottom.
    CRect bandRect(int32_t row) const;
    int32_t getEditRow() const { return editRow; }

protected:
    float readValue(int32_t column) const override;
    void writeValue(int32_t column, float value) override;
    void drawBars(uint32_t flags) override;
    void takeSnapshot(std::vector<float>& into) const override;

private:
    int32_t rows() const;
    int32_t targetRow() const;
};
