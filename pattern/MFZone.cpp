#include "pattern/MFZone.h"

#include "pattern/MFChunk.h"

int32_t MFZone::readChunk(MFChunk& chunk, bool skip) {
    if (chunk.readInt() != 0 || chunk.overrun())
        return 4;
    if (skip) {
        chunk.readInt();
        chunk.readInt();
        return chunk.overrun() ? 4 : 1;
    }
    end = 127;
    start = 0;
    const int32_t newStart = chunk.readInt();
    const int32_t newEnd = chunk.readInt();
    if (chunk.overrun())
        return 4;
    setStart(newStart);
    setEnd(newEnd);
    return 1;
}

void MFZone::writeChunk(MFChunk& chunk) {
    chunk.writeInt(0);
    chunk.writeInt(start);
    chunk.writeInt(end);
}

void MFZone::setRange(int32_t newStart, int32_t newEnd) {
    start = newStart;
    end = newEnd;
    notifyListeners(*this);
}

void MFZone::setEnd(int32_t newEnd) {
    end = newEnd;
    notifyListeners(*this);
}

void MFZone::setStart(int32_t newStart) {
    start = newStart;
    notifyListeners(*this);
}
