#include "PatternTestSupport.h"
#include "pattern/MFChunk.h"
#include "pattern/MFRandom.h"
#include "platform/MFMessageService.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

std::vector<uint32_t> words(const MFChunk& c) {
    return std::vector<uint32_t>(c.data, c.data + c.capacity());
}

// Runs a writer through both passes and returns the words written.
// A header writer takes the measured size from the cursor, so it is left there for it.
template <class Writer>
std::vector<uint32_t> twoPass(MFChunk& c, Writer writer, bool startsWithHeader = false) {
    c.beginMeasure(120.0f, 44100.0f);
    writer(c);
    const int32_t measured = c.position;
    c.allocateMeasured();
    if (!startsWithHeader)
        c.position = 0;
    writer(c);
    EXPECT_EQ(c.position, measured) << "measuring and writing passes disagree";
    EXPECT_FALSE(c.overrun());
    return words(c);
}

std::vector<std::string> captured;
bool capture(MFMessageService::Kind, const char* text) {
    captured.emplace_back(text);
    return true;
}

} // namespace

TEST(Chunk, StringEncodingIsWordExact) {
    MFChunk c;
    const auto w = twoPass(c, [](MFChunk& k) {
        k.writeString("abcd");  // 4 bytes: 2 words
        k.writeString("abcde"); // 5 bytes: 3 words
        k.writeString("");      // 1 word
        k.writeString(nullptr); // 1 word
    });
    // Little-endian words written out by hand: 'a'=0x61 'b'=0x62 'c'=0x63 'd'=0x64 'e'=0x65.
    const std::vector<uint32_t> expected = {4, 0x64636261, 5, 0x64636261, 0x00000065, 0, 0};
    EXPECT_EQ(w, expected);

    c.position = 0;
    EXPECT_EQ(c.readStdString(), "abcd");
    char* five = c.readString();
    ASSERT_NE(five, nullptr);
    EXPECT_STREQ(five, "abcde");
    MFChunk::freeString(five);
    EXPECT_EQ(c.readString(), nullptr) << "an empty string reads back as null";
    EXPECT_EQ(c.readString(), nullptr);
    EXPECT_EQ(c.position, 7);
    EXPECT_FALSE(c.overrun());
}

TEST(Chunk, WordsAreLittleEndianAndBytesKeepTheCursorOnWords) {
    MFChunk c;
    const uint8_t six[6] = {1, 2, 3, 4, 5, 6};
    const auto w = twoPass(c, [&](MFChunk& k) {
        k.writeInt(-2);
        k.writeFloat(0.25f);
        k.writeBytes(six, 6); // cursor +1: the last two bytes stay in the next word
        k.writeInt(9);        // overwrites bytes 5 and 6 of the copy
    });
    EXPECT_EQ(w, (std::vector<uint32_t>{0xFFFFFFFEu, bitsOf(0.25f), 0x04030201u, 9u}));
    c.position = 0;
    EXPECT_EQ(c.readInt(), -2);
    EXPECT_EQ(c.readFloat(), 0.25f);
    uint8_t back[6] = {};
    c.readBytes(back, 6);
    EXPECT_EQ(c.position, 3);
    EXPECT_EQ(back[3], 4);
}

TEST(Chunk, ReadsPastTheEndYieldZeroAndMarkOverrun) {
    MFChunk c;
    uint32_t* buffer = new uint32_t[3]{5, 40, 0x41414141};
    c.attachOwned(buffer, 3);
    EXPECT_EQ(c.readInt(), 5);
    // Length 40 needs 10 more words but only 1 is left: no allocation, no read beyond.
    EXPECT_EQ(c.readString(), nullptr);
    EXPECT_TRUE(c.overrun());
    EXPECT_EQ(c.position, 3);
    EXPECT_EQ(c.readInt(), 0);
    EXPECT_EQ(c.readFloat(), 0.0f);
    uint32_t four[4] = {7, 7, 7, 7};
    c.readFour(four);
    EXPECT_EQ(four[0], 0u);
    EXPECT_EQ(four[3], 0u);
    EXPECT_EQ(c.position, 3);

    // Negative lengths are hostile too.
    uint32_t* negative = new uint32_t[2]{uint32_t(-8), 0};
    c.attachOwned(negative, 2);
    EXPECT_EQ(c.readString(), nullptr);
    EXPECT_TRUE(c.overrun());

    // A write past an allocated buffer is dropped.
    MFChunk w;
    w.beginMeasure(120.0f, 44100.0f);
    w.writeInt(1);
    w.allocateMeasured();
    w.position = 0;
    w.writeInt(1);
    w.writeInt(2);
    EXPECT_TRUE(w.overrun());
    EXPECT_EQ(w.data[0], 1u);
}

TEST(Chunk, HeaderRoundTripAndRejection) {
    MFChunk c;
    const auto w = twoPass(
        c,
        [](MFChunk& k) {
            k.writeHeader();
            k.writeInt(77);
        },
        true);
    // The first pass measured 6 words, the second records that size first.
    const std::vector<uint32_t> expected = {6, 3, bitsOf(120.0f), bitsOf(44100.0f), 26101977, 77};
    EXPECT_EQ(w, expected);

    MFChunk r;
    r.attachCopy(w.data(), w.size() * 4);
    r.tempo = 0;
    EXPECT_TRUE(r.parseHeader(false));
    EXPECT_EQ(r.sizeWords, 6);
    EXPECT_EQ(r.writerVersion, 3);
    EXPECT_EQ(r.tempo, 120.0f);
    EXPECT_EQ(r.readInt(), 77);

    captured.clear();
    MFMessageService::setHandler(&capture);
    auto bad = w;
    bad[4] = 26101978;
    r.attachCopy(bad.data(), bad.size() * 4);
    EXPECT_FALSE(r.parseHeader(false));
    ASSERT_EQ(captured.size(), 1u);
    EXPECT_EQ(captured[0], "\t This is no valid Cadenzoid format!");
    EXPECT_FALSE(r.parseHeader(true));
    EXPECT_EQ(captured.size(), 1u) << "silent parse shows nothing";
    r.attachCopy(bad.data(), 8); // shorter than a header
    EXPECT_FALSE(r.parseHeader(true));
    MFMessageService::setHandler(nullptr);
}

TEST(Random, FirstDrawsFromTheInitialSeed) {
    // Worked by hand: 645637 * 16807 = 10851221059, minus 2 * 2^32 = 2261286467, which as
    // int32 is -2033680829; its magnitude is below 2^31 - 1 so the remainder keeps it.
    // r = -2033680829 / 2^32 + 0.5 = 0.0264968.
    MFRandom::reseed();
    EXPECT_EQ(MFRandom::nextState(), -2033680829);
    EXPECT_EQ(MFRandom::nextState(), -723951435);
    EXPECT_EQ(MFRandom::nextState(), 190581523);
    MFRandom::reseed();
    // Tolerance: one float ulp near the values.
    EXPECT_NEAR(MFRandom::next(), 0.0264968f, 1e-6);
    EXPECT_NEAR(MFRandom::next(), 0.3314419f, 1e-6);
    MFRandom::reseed();
}
