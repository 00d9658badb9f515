#include "engine/MFMouseAreaChunk.h"

#include "pattern/MFChunk.h"

MFMouseAreaChunk::MFMouseAreaChunk() : MFChunkableClass(mouseAreaType) {
    for (int32_t i = 0; i < fieldCount; ++i)
        fields[i] = &storage[i];
}

void MFMouseAreaChunk::setField(int32_t index, float v) {
    if (index >= 0 && index < fieldCount)
        *fields[index] = v;
}

float MFMouseAreaChunk::field(int32_t index) const {
    return index >= 0 && index < fieldCount ? float(*fields[index]) : 0.0f;
}

void MFMouseAreaChunk::writeChunk(MFChunk& chunk) {
    chunk.writeInt(bodyLeadWord);
    chunk.writeInt(fieldCount);
    for (auto* f : fields)
        chunk.writeFloat(*f);
}

int32_t MFMouseAreaChunk::readChunk(MFChunk& chunk, bool skip) {
    chunk.readInt();
    const int32_t count = chunk.readInt();
    // Floats beyond the six this object has are consumed and dropped, so a longer body
    // from a later writer keeps the stream aligned.
    for (int32_t i = 0; i < count && !chunk.overrun(); ++i) {
        const float v = chunk.readFloat();
        if (!skip && i < fieldCount && !chunk.overrun())
            *fields[i] = v;
    }
    return 1;
}
