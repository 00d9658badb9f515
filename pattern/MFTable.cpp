#include "pattern/MFTable.h"

#include "effects/MFSystemInfo.h"
#include "pattern/MFChunk.h"

#include <algorithm>
#include <cmath>

MFTable* MFTable::clipboard = nullptr;

MFTable::MFTable(MFSystemInfo& owner_, int32_t size_) : MFChunkableClass(tableType), owner(owner_) {
    nominalSize = static_cast<float>(size_);
    setSize(std::clamp(size_, 0, maximumSize), 0);
    clearFlags(flagBusy);
}

MFTable::~MFTable() {
    releaseValues();
    if (clipboard == this)
        clipboard = nullptr;
}

void MFTable::releaseValues() {
    if (values == nullptr)
        return;
    if (getFlags() & flagRegistered)
        owner.bufferRegistry.remove(values);
    delete[] values;
    values = nullptr;
}

void MFTable::store(int32_t index, float value) {
    const int32_t n = getSize();
    if (index == 0 || index == n) {
        std::atomic_ref<float>(values[0]).store(value, std::memory_order_relaxed);
        std::atomic_ref<float>(values[n]).store(value, std::memory_order_relaxed);
        return;
    }
    std::atomic_ref<float>(values[index]).store(value, std::memory_order_relaxed);
}

float MFTable::rawEntry(int32_t index) const {
    if (values == nullptr || index < 0 || index > getSize())
        return 0.0f;
    return load(index);
}

void MFTable::storeRaw(int32_t index, float value) {
    if (values == nullptr || isBusy() || index < 0 || index > getSize())
        return;
    store(index, value);
}

float MFTable::leftNeighbour(int32_t index) const {
    return load(index == 0 ? getSize() - 1 : index - 1);
}

float MFTable::step() const {
    return (minimum == 0.0f && maximum == 1.0f) ? 0.05f : 1.0f;
}

void MFTable::setSize(int32_t n, int32_t mode) {
    const int32_t old = getSize();
    if (n < 0 || n == old - 1)
        return;
    setFlags(flagBusy);
    if (n == 0) {
        releaseValues();
        size.store(0, std::memory_order_release);
        return; // busy stays set: the caller clears it
    }
    n = std::min(n, maximumSize);
    float* fresh = new float[static_cast<size_t>(n) + 1];
    std::fill(fresh, fresh + n + 1, defaultValue);
    if (values != nullptr && old > 0) {
        if (mode == 1) {
            // Stretch: each new entry takes the old entry at the same relative position.
            for (int32_t i = 0; i < n; ++i)
                fresh[i] = values[static_cast<int64_t>(i) * old / n];
        } else if (mode == 2) {
            // Repeat: the old pattern is tiled over the new length.
            for (int32_t i = 0; i < n; ++i)
                fresh[i] = values[i % old];
        } else {
            std::copy(values, values + std::min(old, n), fresh);
        }
    }
    fresh[n] = fresh[0];
    const bool registered = (getFlags() & flagRegistered) != 0;
    releaseValues();
    if (registered)
        owner.bufferRegistry.add(fresh, (static_cast<size_t>(n) + 1) * sizeof(float));
    values = fresh;
    size.store(static_cast<uint32_t>(n), std::memory_order_release);
    clearFlags(flagBusy);
}

void MFTable::setLength(float value) {
    lengthValue = value;
    // The length is given in beats; the table holds one entry per control tick.
    const float ticks = owner.samplesPerBeat * value / owner.controlBlockSize;
    if (!(ticks >= 0.0f) || ticks > static_cast<float>(maximumSize))
        return;
    setSize(static_cast<int32_t>(ticks), 0);
}

void MFTable::setLengthTimesFour(float value) {
    setLength(value * 4.0f);
}

void MFTable::raise(int32_t from, int32_t to) {
    if (values == nullptr)
        return;
    from = std::max(from, 0);
    to = std::min(to, getSize());
    const float s = step();
    for (int32_t i = from; i < to; ++i)
        setValue(i, std::min(load(i) + s, maximum));
}

void MFTable::lower(int32_t from, int32_t to) {
    if (values == nullptr)
        return;
    from = std::max(from, 0);
    to = std::min(to, getSize());
    const float s = step();
    for (int32_t i = from; i < to; ++i)
        setValue(i, std::max(load(i) - s, minimum));
}

void MFTable::fillDefault() {
    const int32_t n = getSize();
    for (int32_t i = 0; i <= n; ++i)
        setNormalised(i, defaultValue);
}

float MFTable::linearAt(float position) const {
    const int32_t n = getSize();
    const int32_t i = static_cast<int32_t>(position);
    if (i >= n)
        return load(n);
    const float a = load(i);
    const float b = load(i + 1);
    return a + (b - a) * (position - static_cast<float>(i));
}

float MFTable::interpolateAtCursor() {
    const float position = readCursor;
    if (values == nullptr || isBusy() || !(position >= 0.0f) ||
        position > static_cast<float>(getSize()))
        return 0.0f;
    return linearAt(position);
}

float MFTable::valueAt(int32_t index) {
    return stepValue(index);
}

float MFTable::valueAtPosition(float position) {
    if (!(getFlags() & flagInterpolate)) {
        // Also rejects NaN and positions no int can hold before the cast.
        if (!(position >= 0.0f) || position > static_cast<float>(maximumSize))
            return 0.0f;
        return valueAt(static_cast<int32_t>(position));
    }
    if (values == nullptr || isBusy() || !(position >= 0.0f) ||
        position > static_cast<float>(getSize()))
        return 0.0f;
    readCursor = position;
    return linearAt(position);
}

void MFTable::writeAtCursor(float value) {
    const float cursor = writeCursor;
    if (!(cursor >= 0.0f) || cursor > static_cast<float>(maximumSize))
        return;
    setValue(static_cast<int32_t>(cursor), value);
}

void MFTable::writeAtCursor2(float value) {
    writeAtCursor(value);
}

void MFTable::writeRounded(float value) {
    const float rounded = value + 0.5f;
    if (!(std::fabs(rounded) < 2.0e9f))
        return;
    writeAtCursor2(static_cast<float>(static_cast<int32_t>(rounded)));
}

void MFTable::setValue(int32_t index, float value) {
    if (values == nullptr || isBusy() || index < 0 || index > getSize())
        return;
    if ((getFlags() & flagNoEqualNeighbours) && leftNeighbour(index % getSize()) == value)
        value =
            (value > maximum - neighbourNudge) ? value - neighbourNudge : value + neighbourNudge;
    store(index, value);
}

float MFTable::normalisedAt(float position) {
    if (values == nullptr || isBusy() || !(position >= 0.0f) ||
        position > static_cast<float>(getSize()))
        return 0.0f;
    if (!(getFlags() & flagInterpolate))
        position = static_cast<float>(static_cast<int32_t>(position));
    const float range = std::fabs(maximum - minimum);
    if (!(range > 0.0f))
        return 0.0f;
    return std::clamp((linearAt(position) - minimum) / range, 0.0f, 1.0f);
}

void MFTable::setNormalised(int32_t position, float value) {
    value = std::clamp(value, 0.0f, 1.0f);
    if (value != value)
        value = 0.0f;
    float v = value * std::fabs(maximum - minimum) + minimum;
    if (values == nullptr || isBusy() || position < 0 || position > getSize())
        return;
    const uint32_t f = getFlags();
    if ((f & flagNoEqualNeighbours) && leftNeighbour(position % getSize()) == v)
        v += neighbourNudge;
    if (f & flagInteger) {
        if (v >= 0.0f)
            v += 0.5f;
        v = std::clamp(static_cast<float>(static_cast<int32_t>(v)), minimum, maximum);
    }
    store(position, v);
}

void MFTable::setIntegerMode(bool on) {
    if (!on) {
        clearFlags(flagInteger);
        return;
    }
    if (isBusy())
        return;
    const int32_t n = getSize();
    if (n > 0 && values != nullptr) {
        for (int32_t i = 0; i < n; ++i) {
            const float v = std::clamp(static_cast<float>(static_cast<int32_t>(load(i) + 0.5f)),
                                       minimum, maximum);
            store(i, v);
        }
    }
    setFlags(flagInteger);
}

void MFTable::copy() {
    clipboard = this;
}

void MFTable::paste() {
    MFTable* source = clipboard;
    const int32_t n = getSize();
    if (source == nullptr || source == this || source->getSize() != n || n <= 0)
        return;
    for (int32_t i = 0; i < n; ++i)
        setValue(i, source->valueAt(i));
}

void MFTable::setValues(const std::vector<float>& list) {
    const int32_t n = static_cast<int32_t>(std::min<size_t>(list.size(), maximumSize + 1u));
    for (int32_t i = 0; i < n; ++i)
        setNormalised(i, list[static_cast<size_t>(i)]);
}

void MFTable::writeChunk(MFChunk& chunk) {
    const int32_t n = getSize();
    chunk.writeFloat(defaultValue);
    chunk.writeFloat(maximum);
    chunk.writeFloat(minimum);
    chunk.writeInt(static_cast<int32_t>(bodyMarker));
    chunk.writeInt(bodyVersion);
    chunk.writeInt(n);
    for (int32_t i = 0; i < n; ++i)
        chunk.writeFloat(normalisedAt(static_cast<float>(i)));
}

namespace {
struct BodyHeader {
    float def = 0.0f, high = 0.0f, low = 0.0f;
    int32_t version = 0;
    int32_t count = 0;
};

// Reads up to the count, and checks the count against the words left before
// anyone allocates from it.
bool readBodyHeader(MFChunk& chunk, BodyHeader& h) {
    h.def = chunk.readFloat();
    h.high = chunk.readFloat();
    h.low = chunk.readFloat();
    const int32_t word = chunk.readInt();
    if (static_cast<uint32_t>(word) == MFTable::bodyMarker) {
        h.version = chunk.readInt();
        h.count = chunk.readInt();
    } else {
        h.version = 0;
        h.count = word;
    }
    if (chunk.overrun())
        return false;
    return h.count >= 0 && h.count <= MFTable::maximumSize && h.count <= chunk.remainingWords();
}
} // namespace

int32_t MFTable::readTableBody(MFChunk& chunk, bool skip) {
    BodyHeader h;
    if (!readBodyHeader(chunk, h))
        return 0;
    if (skip) {
        for (int32_t i = 0; i < h.count; ++i)
            chunk.readFloat();
        return chunk.overrun() ? 0 : 1;
    }
    defaultValue = h.def;
    maximum = h.high;
    minimum = h.low;
    setFlags(flagBusy);
    setSize(h.count, 0);
    clearFlags(flagBusy);
    for (int32_t i = 0; i < h.count; ++i) {
        const float v = chunk.readFloat();
        // Older bodies hold normalised values, newer ones are taken as they stand.
        if (h.version < 1)
            setNormalised(i, v);
        else
            setValue(i, v);
    }
    return chunk.overrun() ? 0 : 1;
}

int32_t MFTable::readChunk(MFChunk& chunk, bool skip) {
    return readTableBody(chunk, skip);
}

void MFTable::collectValues(MFChunk& chunk, std::vector<float>& list) {
    BodyHeader h;
    if (!readBodyHeader(chunk, h))
        return;
    list.reserve(list.size() + static_cast<size_t>(h.count));
    for (int32_t i = 0; i < h.count; ++i)
        list.push_back(chunk.readFloat());
}
