#include "pattern/MFChunk.h"

#include "platform/MFMessageService.h"

#include <cstring>

MFChunk::~MFChunk() {
    releaseData();
}

void MFChunk::markOverrun() {
    overrunFlag = true;
    position = capacityWords;
}

int32_t MFChunk::remainingWords() const {
    return position >= 0 && position < capacityWords ? capacityWords - position : 0;
}

bool MFChunk::canRead(int32_t words) {
    if (data && position >= 0 && words >= 0 && words <= capacityWords - position)
        return true;
    markOverrun();
    return false;
}

void MFChunk::skipWords(int64_t n) {
    if (n <= 0)
        return;
    if (n > int64_t(remainingWords()) || !data) {
        markOverrun();
        return;
    }
    position += int32_t(n);
}

bool MFChunk::canWrite(int32_t words) {
    return canRead(words);
}

void MFChunk::writeFloat(float value) {
    if (measuring) {
        ++position;
        return;
    }
    if (!canWrite(1))
        return;
    std::memcpy(data + position, &value, 4);
    ++position;
}

void MFChunk::readFloatInto(float& out) {
    out = readFloat();
}

float MFChunk::readFloat() {
    float value = 0.0f;
    if (!canRead(1))
        return value;
    std::memcpy(&value, data + position, 4);
    ++position;
    return value;
}

void MFChunk::stepBack() {
    if (position > 0)
        --position;
}

void MFChunk::readFour(uint32_t out[4]) {
    for (int i = 0; i < 4; ++i)
        out[i] = uint32_t(readInt());
}

void MFChunk::readFourCleared(uint32_t out[4]) {
    std::memset(out, 0, 16);
    readFour(out);
}

void MFChunk::writeInt(int32_t value) {
    if (measuring) {
        ++position;
        return;
    }
    if (!canWrite(1))
        return;
    std::memcpy(data + position, &value, 4);
    ++position;
}

void MFChunk::readIntInto(int32_t& out) {
    out = readInt();
}

int32_t MFChunk::readInt() {
    int32_t value = 0;
    if (!canRead(1))
        return value;
    std::memcpy(&value, data + position, 4);
    ++position;
    return value;
}

void MFChunk::writeString(const char* text) {
    const std::size_t length = text ? std::strlen(text) : 0;
    if (length == 0 || length > std::size_t(INT32_MAX - 4)) {
        writeInt(0);
        return;
    }
    const int32_t n = int32_t(length);
    const int32_t bodyWords = n / 4 + (n % 4 != 0 ? 1 : 0);
    if (measuring) {
        position += 1 + bodyWords;
        return;
    }
    if (!canWrite(1 + bodyWords))
        return;
    std::memcpy(data + position, &n, 4);
    std::memcpy(data + position + 1, text, length);
    position += 1 + bodyWords;
}

void MFChunk::writeBytes(const void* source, int32_t byteCount) {
    if (byteCount <= 0)
        return;
    if (measuring) {
        position += byteCount / 4;
        return;
    }
    // The copy touches ceil(byteCount / 4) words even though the cursor moves by fewer.
    if (!canWrite(byteCount / 4 + (byteCount % 4 != 0 ? 1 : 0)))
        return;
    std::memcpy(data + position, source, std::size_t(byteCount));
    position += byteCount / 4;
}

char* MFChunk::readString() {
    const int32_t n = readInt();
    if (n == 0 || overrunFlag)
        return nullptr;
    if (n < 0) {
        markOverrun();
        return nullptr;
    }
    // Bounded by the buffer: a length beyond the remaining words is hostile, not a request.
    const int32_t bodyWords = n / 4 + (n % 4 != 0 ? 1 : 0);
    if (!canRead(bodyWords))
        return nullptr;
    char* text = new char[std::size_t(n) + 1];
    std::memcpy(text, data + position, std::size_t(n));
    text[n] = 0;
    position += bodyWords;
    return text;
}

void MFChunk::readBytes(void* destination, int32_t byteCount) {
    if (byteCount <= 0)
        return;
    if (!canRead(byteCount / 4 + (byteCount % 4 != 0 ? 1 : 0))) {
        std::memset(destination, 0, std::size_t(byteCount));
        return;
    }
    std::memcpy(destination, data + position, std::size_t(byteCount));
    position += byteCount / 4;
}

void MFChunk::freeString(char* text) {
    delete[] text;
}

std::string MFChunk::readStdString() {
    char* text = readString();
    std::string result = text ? std::string(text) : std::string();
    freeString(text);
    return result;
}

void MFChunk::beginMeasure(float currentTempo, float currentRate) {
    measuring = true;
    position = 0;
    overrunFlag = false;
    tempo = currentTempo;
    sampleRate = currentRate;
}

void MFChunk::allocateMeasured() {
    measuring = false;
    releaseData();
    const int32_t words = position > 0 ? position : 0;
    data = new uint32_t[std::size_t(words > 0 ? words : 1)]();
    capacityWords = words;
    ownsData = true;
    overrunFlag = false;
}

void MFChunk::writeHeader() {
    const int32_t size = position;
    position = 0;
    writeInt(size);
    writeInt(currentWriterVersion);
    writeFloat(tempo);
    writeFloat(sampleRate);
    writeInt(headerMagic);
}

bool MFChunk::parseHeader(bool silent) {
    position = 0;
    overrunFlag = false;
    if (capacityWords >= headerWords) {
        sizeWords = readInt();
        writerVersion = readInt();
        tempo = readFloat();
        sampleRate = readFloat();
        magic = readInt();
        if (magic == headerMagic)
            return true;
    } else {
        markOverrun();
    }
    if (!silent)
        MFMessageService::showMessage("\t This is no valid %s format!", "Cadenzoid");
    return false;
}

void MFChunk::attachOwned(uint32_t* words, int32_t wordCount) {
    releaseData();
    data = words;
    capacityWords = words && wordCount > 0 ? wordCount : 0;
    ownsData = words != nullptr;
    position = 0;
    overrunFlag = false;
}

void MFChunk::attachCopy(const void* bytes, std::size_t byteCount) {
    const std::size_t words = (byteCount + 3) / 4;
    if (words > std::size_t(INT32_MAX)) {
        attachOwned(nullptr, 0);
        markOverrun();
        return;
    }
    uint32_t* copy = new uint32_t[words > 0 ? words : 1]();
    if (byteCount > 0)
        std::memcpy(copy, bytes, byteCount);
    attachOwned(copy, int32_t(words));
}

void MFChunk::attachLent(uint32_t* words, int32_t wordCount) {
    releaseData();
    data = words;
    capacityWords = words && wordCount > 0 ? wordCount : 0;
    ownsData = false;
    position = 0;
    overrunFlag = false;
}

uint32_t* MFChunk::detach() {
    uint32_t* words = data;
    data = nullptr;
    capacityWords = 0;
    ownsData = false;
    return words;
}

void MFChunk::releaseData() {
    if (ownsData)
        delete[] data;
    data = nullptr;
    capacityWords = 0;
    ownsData = false;
}
