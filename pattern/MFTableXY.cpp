#include "pattern/MFTableXY.h"

#include "effects/MFSystemInfo.h"
#include "pattern/MFChunk.h"
#include "pattern/MFRandom.h"

#include <algorithm>
#include <cstdlib>

namespace {
// One clone per tag, shared by every instance in the process; editor thread only.
std::vector<std::unique_ptr<MFTableXY>>& tagClipboard() {
    static std::vector<std::unique_ptr<MFTableXY>> list;
    return list;
}

MFTableXY* clipEntry(int32_t tag) {
    for (auto& entry : tagClipboard())
        if (entry->tag == tag)
            return entry.get();
    return nullptr;
}
} // namespace

MFTableXY::MFTableXY(MFSystemInfo& owner_, int32_t size_, bool temporary_)
    : MFTable(owner_, size_) {
    type = tableXYType;
    temporary = temporary_;
    rows = new std::unique_ptr<MFTable>[1];
    rows[0] = std::make_unique<MFTable>(owner_, getSize());
    rowCount = 1;
    if (!temporary)
        owner.initObjects.push_back(this);
}

MFTableXY::~MFTableXY() {
    // A clipboard clone may outlive its owner: it never registered, so it leaves it alone.
    if (!temporary) {
        auto& list = owner.initObjects;
        list.erase(std::remove(list.begin(), list.end(), static_cast<MFInitInterface*>(this)),
                   list.end());
    }
    delete[] rows;
}

MFTable* MFTableXY::row(int32_t index) const {
    if (index < 0 || index >= rowCount)
        return nullptr;
    return rows[index].get();
}

MFTable* MFTableXY::current() const {
    return rows[std::clamp<int32_t>(currentRow, 0, rowCount - 1)].get();
}

template <typename Read> float MFTableXY::blend(Read&& read) const {
    if (isBusy())
        return 0.0f;
    const int32_t last = rowCount - 1;
    const int32_t r = std::clamp<int32_t>(currentRow, 0, last);
    const int32_t r2 = r < last ? r + 1 : r;
    const float cursor = rowCursor;
    const float f = cursor - static_cast<float>(static_cast<int32_t>(cursor));
    const float a = read(*rows[r]);
    if (r2 == r || f == 0.0f)
        return a;
    return a + (read(*rows[r2]) - a) * f;
}

void MFTableXY::setSize(int32_t n, int32_t mode) {
    MFTable::setSize(n, mode);
    for (int32_t i = 0; i < rowCount; ++i)
        rows[i]->setSize(n, mode);
}

void MFTableXY::setLength(float value) {
    MFTable::setLength(value);
    if (!(value >= 0.0f) || value > static_cast<float>(maximumSize))
        return;
    for (int32_t i = 0; i < rowCount; ++i)
        rows[i]->setSize(static_cast<int32_t>(value), 0);
}

void MFTableXY::setLengthTimesFour(float value) {
    MFTable::setLength(value * 4.0f);
    if (!(value >= 0.0f) || value > static_cast<float>(maximumSize))
        return;
    for (int32_t i = 0; i < rowCount; ++i)
        rows[i]->setSize(static_cast<int32_t>(value), 0);
}

void MFTableXY::raise(int32_t from, int32_t to) {
    current()->raise(from, to);
}
void MFTableXY::lower(int32_t from, int32_t to) {
    current()->lower(from, to);
}

void MFTableXY::fillDefault() {
    // Reads come from the rows, so init resets what the musician sees: the current row.
    if (values != nullptr)
        current()->fillDefault();
}

float MFTableXY::interpolateAtCursor() {
    return blend([](MFTable& t) { return t.interpolateAtCursor(); });
}
float MFTableXY::valueAt(int32_t index) {
    return stepValue(index);
}
float MFTableXY::valueAtPosition(float position) {
    readCursor = position;
    return blend([position](MFTable& t) { return t.valueAtPosition(position); });
}
float MFTableXY::normalisedAt(float position) {
    return blend([position](MFTable& t) { return t.normalisedAt(position); });
}

void MFTableXY::writeAtCursor(float value) {
    MFTable* t = current();
    t->writeCursor = static_cast<float>(writeCursor);
    t->writeAtCursor(value);
}
void MFTableXY::setValue(int32_t index, float value) {
    current()->setValue(index, value);
}
void MFTableXY::setNormalised(int32_t position, float value) {
    current()->setNormalised(position, value);
}

void MFTableXY::setIntegerMode(bool on) {
    MFTable::setIntegerMode(on);
    for (int32_t i = 0; i < rowCount; ++i)
        rows[i]->setIntegerMode(on);
}

float MFTableXY::rawAt(int32_t column, int32_t r) const {
    const MFTable* t = row(r);
    return t == nullptr ? 0.0f : t->rawEntry(column);
}

float MFTableXY::interpolatedAt(float column, int32_t r) {
    MFTable* t = row(r);
    return t == nullptr ? 0.0f : t->valueAtPosition(column);
}

float MFTableXY::normalisedAtRow(float position, int32_t r) {
    MFTable* t = row(r);
    return t == nullptr ? 0.0f : t->normalisedAt(position);
}

void MFTableXY::setRawOnRow(int32_t column, int32_t r, float value) {
    if (MFTable* t = row(r))
        t->storeRaw(column, value);
}

void MFTableXY::setRow(float position) {
    if (!(position >= 0.0f) || !(position < static_cast<float>(rowCount)))
        return;
    rowCursor = position;
    currentRow = static_cast<int32_t>(position);
}

void MFTableXY::setRowCount(int32_t n) {
    const int32_t old = rowCount;
    if (n < 1 || n == old || n > maximumRows)
        return;
    setFlags(flagBusy);
    const int32_t n0 = getSize();
    auto* fresh = new std::unique_ptr<MFTable>[static_cast<size_t>(n)];
    for (int32_t i = 0; i < n; ++i) {
        auto t = std::make_unique<MFTable>(owner, 0);
        t->clearFlags(~0u);
        t->setFlags(getFlags() & ~flagBusy);
        t->setRange(minimum, maximum);
        t->setDefault(defaultValue);
        t->setSize(n0, 0);
        t->clearFlags(flagBusy);
        if (i < old) {
            for (int32_t c = 0; c <= n0; ++c)
                t->storeRaw(c, rows[i]->rawEntry(c));
        } else {
            t->fillDefault();
        }
        fresh[i] = std::move(t);
    }
    delete[] rows;
    rows = fresh;
    rowCount = n;
    if (rowCursor >= static_cast<float>(n))
        rowCursor = static_cast<float>(n) - 1e-08f;
    if (currentRow > n - 1)
        currentRow = n - 1;
    clearFlags(flagBusy);
}

void MFTableXY::initAll() {
    fillDefault();
}
void MFTableXY::initCurrent() {
    fillDefault();
}

MFInitInterface* MFTableXY::clone() {
    auto* c = new MFTableXY(owner, getSize(), true);
    // Kept out of the sample registry: the clone lives in the clipboard, maybe past its owner.
    c->clearFlags(flagRegistered);
    c->setRange(minimum, maximum);
    c->setDefault(defaultValue);
    c->setRowCount(rowCount);
    for (int32_t r = 0; r < rowCount; ++r)
        for (int32_t col = 0; col <= getSize(); ++col)
            c->setRawOnRow(col, r, rawAt(col, r));
    c->rowCursor = static_cast<float>(currentRow);
    c->currentRow = static_cast<int32_t>(currentRow);
    c->id = id;
    c->tag = tag;
    c->reservedWord = reservedWord;
    c->name = name;
    return c;
}

void MFTableXY::copy(int32_t from, int32_t to) {
    auto& list = tagClipboard();
    list.erase(
        std::remove_if(list.begin(), list.end(), [this](const auto& e) { return e->tag == tag; }),
        list.end());
    std::unique_ptr<MFTableXY> c(static_cast<MFTableXY*>(clone()));
    c->copyFrom = from;
    c->copyTo = to;
    list.push_back(std::move(c));
}

void MFTableXY::paste() {
    // The tag clipboard belongs to the lane buttons; without an entry for this
    // table the plain table clipboard of the table view applies.
    if (clipEntry(tag) != nullptr)
        pasteFromTag();
    else
        MFTable::paste();
}

void MFTableXY::pasteFromTag() {
    MFTableXY* source = clipEntry(tag);
    const int32_t n = getSize();
    if (source == nullptr || n <= 0)
        return;
    const int32_t sourceRow = source->currentRow;
    int32_t srcFrom = source->copyFrom, srcTo = source->copyTo;
    if (srcFrom == srcTo) {
        srcFrom = 0;
        srcTo = source->getSize() - 1;
    }
    srcFrom = std::clamp(srcFrom, 0, source->getSize() - 1);
    srcTo = std::clamp(srcTo, srcFrom, source->getSize() - 1);
    int32_t from = owner.stepRangeStart, to = owner.stepRangeEnd;
    if (from == to) {
        from = 0;
        to = n - 1;
    }
    from = std::clamp(from, 0, n - 1);
    to = std::clamp(to, from, n - 1);
    const int32_t span = srcTo - srcFrom + 1;
    MFTable* target = current();
    for (int32_t i = from; i <= to; ++i)
        target->storeRaw(i, source->rawAt(srcFrom + (i - from) % span, sourceRow));
}

void MFTableXY::random() {
    if (values == nullptr)
        return;
    MFTable* t = current();
    const float lo = owner.randomLow;
    const float hi = owner.randomHigh;
    float span = std::abs(lo - hi);
    if (lo > hi)
        span = 1.0f - span;
    const int32_t n = t->getSize();
    for (int32_t i = 0; i < n; ++i) {
        float v = MFRandom::next() * span + lo;
        if (v > 1.0f)
            v -= 1.0f;
        t->setNormalised(i, v);
    }
}

void MFTableXY::jitter() {
    MFTable* t = current();
    const int32_t n = t->getSize();
    for (int32_t i = 0; i < n; ++i) {
        const float old = t->normalisedAt(static_cast<float>(i));
        t->setNormalised(i, MFRandom::next() * 0.2f + (old - 0.1f));
    }
}

void MFTableXY::rotateLeft(int32_t from, int32_t to) {
    MFTable* t = current();
    const int32_t n = t->getSize();
    if (to == 0)
        to = n;
    if (from < 0 || to > n || to - from < 2)
        return;
    const float kept = t->valueAt(from);
    for (int32_t i = from; i < to - 1; ++i)
        t->setValue(i, t->valueAt(i + 1));
    t->setValue(to - 1, kept);
}

void MFTableXY::rotateRight(int32_t from, int32_t to) {
    MFTable* t = current();
    const int32_t n = t->getSize();
    if (to == 0)
        to = n;
    if (from < 0 || to > n || to - from < 2)
        return;
    const float kept = t->valueAt(to - 1);
    for (int32_t i = to - 1; i > from; --i)
        t->setValue(i, t->valueAt(i - 1));
    t->setValue(from, kept);
}

void MFTableXY::writeChunk(MFChunk& chunk) {
    const int32_t n = getSize();
    chunk.writeInt(static_cast<int32_t>(magic));
    chunk.writeInt(version);
    chunk.writeFloat(defaultValue);
    chunk.writeFloat(maximum);
    chunk.writeFloat(minimum);
    chunk.writeInt(n);
    chunk.writeInt(rowCount);
    for (int32_t r = 0; r < rowCount; ++r)
        for (int32_t c = 0; c < n; ++c)
            chunk.writeFloat(rawAt(c, r));
    chunk.writeString(name.c_str());
}

int32_t MFTableXY::readChunk(MFChunk& chunk, bool skip) {
    const int32_t first = chunk.readInt();
    if (chunk.overrun())
        return 0;
    if (static_cast<uint32_t>(first) != magic) {
        chunk.stepBack();
        // A stale body is consumed and dropped; an older plain body is taken as it stands.
        const bool stale = static_cast<uint32_t>(first) == staleMarker;
        return readTableBody(chunk, skip || stale);
    }
    const int32_t ver = chunk.readInt();
    const float def = chunk.readFloat();
    const float high = chunk.readFloat();
    const float low = chunk.readFloat();
    const int32_t n = chunk.readInt();
    const int32_t rowsRead = chunk.readInt();
    if (chunk.overrun() || n < 0 || n > maximumSize || rowsRead < 0 || rowsRead > maximumRows ||
        static_cast<int64_t>(n) * rowsRead > chunk.remainingWords())
        return 0;
    if (!skip) {
        defaultValue = def;
        maximum = high;
        minimum = low;
        setSize(n, 0);
        setRowCount(rowsRead);
        clearFlags(flagBusy);
        // Rows carry their own range: the body's range applies to all of them.
        for (int32_t r = 0; r < rowCount; ++r) {
            rows[r]->setRange(low, high);
            rows[r]->setDefault(def);
            rows[r]->clearFlags(flagBusy);
        }
    }
    for (int32_t r = 0; r < rowsRead; ++r) {
        for (int32_t c = 0; c < n; ++c) {
            const float v = chunk.readFloat();
            if (skip)
                continue;
            if (ver < 1002) {
                if (MFTable* t = row(std::min(r, rowCount - 1)))
                    t->setNormalised(c, v);
            } else {
                setRawOnRow(c, r, v);
            }
        }
    }
    if (ver < 1001) {
        if (!skip)
            name = "Default";
    } else {
        char* text = chunk.readString();
        if (!skip)
            name = text != nullptr ? text : "";
        MFChunk::freeString(text);
    }
    return chunk.overrun() ? 0 : 1;
}
