#pragma once

#include <cstdint>
#include <string>

// A flat stream of little-endian 32-bit words with one cursor, counted in words.
// Writers run twice: once measuring (writes only advance the cursor), then into a
// zero-filled buffer of exactly the measured size. The stream never grows.
//
// Unlike a bare word stream, no access ever leaves the attached buffer: a read past the
// end yields 0 (or a null string), parks the cursor at the end and marks the chunk as
// overrun; a write past the end is dropped and marks it too. Valid streams are unaffected.
class MFChunk {
public:
    static constexpr int32_t headerMagic = 26101977;
    static constexpr int32_t currentWriterVersion = 3;
    static constexpr int32_t headerWords = 5;

    MFChunk() = default;
    MFChunk(const MFChunk&) = delete;
    MFChunk& operator=(const MFChunk&) = delete;
    virtual ~MFChunk();

    virtual void writeFloat(float value);
    virtual void readFloatInto(float& out);
    virtual float readFloat();
    // Moves the cursor one word back (never before the start).
    virtual void stepBack();
    virtual void readFour(uint32_t out[4]);
    virtual void readFourCleared(uint32_t out[4]);
    virtual void writeInt(int32_t value);
    virtual void readIntInto(int32_t& out);
    virtual int32_t readInt();
    // Length word plus the bytes padded to a whole word; null and "" both give one word 0.
    virtual void writeString(const char* text);
    // Advances by byteCount / 4 words, truncating: callers pass multiples of 4.
    virtual void writeBytes(const void* source, int32_t byteCount);
    // Null for an empty string or on overrun; otherwise free the result with freeString.
    virtual char* readString();
    virtual void readBytes(void* destination, int32_t byteCount);
    // Moves the cursor past n words; past the end it is an overrun like any read.
    void skipWords(int64_t n);

    static void freeString(char* text);
    // Convenience for callers that want value semantics; empty on null.
    std::string readStdString();

    // --- buffer management -------------------------------------------------------------
    // Starts the measuring pass: position 0, measuring on, tempo and rate recorded.
    void beginMeasure(float currentTempo, float currentRate);
    // Ends the measuring pass: releases any old buffer and allocates the measured size
    // zero-filled. The cursor is left on the measured size, as the writer expects it.
    void allocateMeasured();
    // Writes the five header words; in the second pass the current position is the size.
    void writeHeader();
    // Parses the five header words; false (with the "no valid format" message unless
    // silent) when the magic is wrong or the buffer is shorter than a header.
    bool parseHeader(bool silent);

    // Takes over a buffer allocated with new uint32_t[]: the chunk frees it.
    void attachOwned(uint32_t* words, int32_t wordCount);
    // Copies bytes into an owned buffer (a trailing partial word is zero-padded).
    void attachCopy(const void* bytes, std::size_t byteCount);
    // Lends a buffer the chunk must not free; detach() before the owner frees it.
    void attachLent(uint32_t* words, int32_t wordCount);
    // Forgets the buffer without freeing it and returns it; the caller owns it if it did.
    uint32_t* detach();
    void releaseData();

    int32_t capacity() const { return capacityWords; }
    bool overrun() const { return overrunFlag; }
    void clearOverrun() { overrunFlag = false; }
    int32_t remainingWords() const;

    int32_t magic = 0;
    int32_t writerVersion = 0;
    float tempo = 120.0f;
    float sampleRate = 44100.0f;
    uint32_t* data = nullptr;
    int32_t position = 0;
    int32_t sizeWords = 0;
    bool ownsData = false;
    bool measuring = true;
    std::string name;

private:
    bool canRead(int32_t words);
    bool canWrite(int32_t words);
    void markOverrun();

    int32_t capacityWords = 0;
    bool overrunFlag = false;
};
