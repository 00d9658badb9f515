#pragma once

#include "pattern/MFInitInterface.h"
#include "pattern/MFTable.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

// A stack of tables, one row per pattern. Edits go to the current row; reads
// blend the current row with the next one by the fractional row position.
class MFTableXY : public MFTable, public MFInitInterface {
public:
    static constexpr uint32_t magic = 0x27BAD581u;
    static constexpr int32_t version = 1002;
    static constexpr uint32_t staleMarker = 0x3ECCCCCDu;
    // Row counts read from a chunk beyond this are hostile.
    static constexpr int32_t maximumRows = 1024;

    MFTableXY(MFSystemInfo& owner, int32_t size, bool temporary = false);
    ~MFTableXY() override;

    int32_t readChunk(MFChunk& chunk, bool skip) override;
    void writeChunk(MFChunk& chunk) override;

    void setSize(int32_t n, int32_t mode) override;
    void setLength(float value) override;
    void setLengthTimesFour(float value) override;
    void raise(int32_t from, int32_t to) override;
    void lower(int32_t from, int32_t to) override;
    void fillDefault() override;
    float interpolateAtCursor() override;
    float valueAt(int32_t index) override;
    // valueAt without virtual calls, for the step tables' tick on the audio thread.
    float stepValue(int32_t index) {
        readCursor = static_cast<float>(index);
        if (isBusy())
            return 0.0f;
        const int32_t last = rowCount - 1;
        const int32_t r = std::clamp<int32_t>(currentRow, 0, last);
        const int32_t r2 = r < last ? r + 1 : r;
        const float cursor = rowCursor;
        const float f = cursor - static_cast<float>(static_cast<int32_t>(cursor));
        const float a = rows[r]->stepValue(index);
        if (r2 == r || f == 0.0f)
            return a;
        return a + (rows[r2]->stepValue(index) - a) * f;
    }
    float valueAtPosition(float position) override;
    void writeAtCursor(float value) override;
    void setValue(int32_t index, float value) override;
    float normalisedAt(float position) override;
    void setNormalised(int32_t position, float value) override;
    void setIntegerMode(bool on) override;
    int32_t currentRowIndex() const override { return currentRow; }

    float rawAt(int32_t column, int32_t row) const;
    float interpolatedAt(float column, int32_t row);
    float normalisedAtRow(float position, int32_t row);
    void setRawOnRow(int32_t column, int32_t row, float value);

    void setRow(float position);
    void setRowCount(int32_t n);
    int32_t getRowCount() const { return rowCount; }
    float getRowCursor() const { return rowCursor; }
    MFTable* row(int32_t index) const;
    const std::string& getName() const { return name; }

    // Init operations behind the lane buttons.
    void initAll() override;
    void initCurrent() override;
    void copy(int32_t from, int32_t to) override;
    void paste() override;
    void random() override;
    void rotateLeft(int32_t from, int32_t to) override;
    void rotateRight(int32_t from, int32_t to) override;
    void jitter() override;
    MFInitInterface* clone() override;
    using MFTable::copy;

private:
    MFTable* current() const;
    // Same read on rows r and r + 1, blended by the fraction of the row cursor.
    template <typename Read> float blend(Read&& read) const;
    void pasteFromTag();

    std::unique_ptr<MFTable>* rows = nullptr;
    MFRelaxed<int32_t> rowCount = 0;
    MFRelaxed<float> rowCursor = 0.0f;
    MFRelaxed<int32_t> currentRow = 0;
    std::string name = "Default";
};
