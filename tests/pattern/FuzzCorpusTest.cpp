// Seeds for the pattern fuzz targets, written by our own writers: valid bodies, the older
// forms written out by hand, and truncations. The test checks the committed corpus matches
// what the writers produce today; run it with CADENZOID_WRITE_CORPUS=1 to regenerate the
// files after a format change.
#include "PatternTestSupport.h"
#include "pattern/MFFloatZoneHandler.h"
#include "pattern/MFTableXY.h"
#include "pattern/MFZoneHandlerContainer.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace {

using Words = std::vector<uint32_t>;
using Seeds = std::vector<std::pair<std::string, std::string>>;

std::string bytesOf(const Words& words) {
    return std::string(reinterpret_cast<const char*>(words.data()), words.size() * 4);
}

// The body itself, then cut in half and three bytes short of its end.
void addWithTruncations(Seeds& seeds, const std::string& stem, const Words& words) {
    const std::string body = bytesOf(words);
    seeds.push_back({stem, body});
    for (std::size_t cut : {body.size() / 2, body.size() > 3 ? body.size() - 3 : 0})
        seeds.push_back({stem + "_cut" + std::to_string(cut), body.substr(0, cut)});
}

Seeds handlerSeeds(PatternContext& ctx) {
    Seeds seeds;
    MFFloatZoneHandler lane(ctx.info, 1, true);
    addWithTruncations(seeds, "seed_empty", writeWords(lane));
    paint(lane, 0, 31);
    paint(lane, 40, 40);
    paint(lane, 127, 127);
    addWithTruncations(seeds, "seed_three", writeWords(lane));
    seeds.push_back({"seed_legacy", bytesOf({0, 2, 0, 0, 1, 2, 0, 0, 5, 9})});
    return seeds;
}

Seeds containerSeeds(PatternContext& ctx) {
    Seeds seeds;
    MFZoneHandlerContainer<MFFloatZoneHandler> lane(ctx.info, 1, 12, true);
    addWithTruncations(seeds, "seed_empty12", writeWords(lane));
    lane.current = 0;
    paint(lane, 0, 31);
    lane.current = 6;
    paint(lane, 1, 2);
    paint(lane, 16, 19);
    paint(lane, 22, 22);
    addWithTruncations(seeds, "seed_loopbar", writeWords(lane));
    return seeds;
}

Seeds tableSeeds(PatternContext& ctx) {
    MFTable t(ctx.info, 32);
    for (int i = 0; i < 32; ++i)
        t.setValue(i, static_cast<float>(i % 7) / 7.0f);
    const Words valid = writeWords(t);
    return {{"seed_valid", bytesOf(valid)},
            {"seed_valid_cut20", bytesOf(Words(valid.begin(), valid.begin() + 20))},
            {"seed_nomarker", bytesOf({0, 0x41200000u, 0, 3, 0x3F000000u, 0x3F800000u, 0})},
            {"seed_hugecount", bytesOf({0, 0x3F800000u, 0, 0xFFCB4286u, 1, 0x7FFFFFFFu})}};
}

Seeds tableXYSeeds(PatternContext& ctx) {
    MFTableXY t(ctx.info, 32);
    t.setRowCount(12);
    t.setRange(0.0f, 12.0f);
    for (int r = 0; r < 12; ++r)
        for (int c = 0; c < 32; ++c)
            t.setRawOnRow(c, r, static_cast<float>((r + c) % 13));
    const Words valid = writeWords(t);
    return {{"seed_valid", bytesOf(valid)},
            {"seed_valid_cut200", bytesOf(Words(valid.begin(), valid.begin() + 200))},
            {"seed_v1001", bytesOf({0x27BAD581u, 1001, 0, 0x3F800000u, 0, 2, 2, 0x3F000000u, 0, 0,
                                    0, 2, 0x6261u})},
            {"seed_v1000", bytesOf({0x27BAD581u, 1000, 0, 0x3F800000u, 0, 2, 1, 0x3F000000u, 0})},
            {"seed_stale", bytesOf({0x3ECCCCCDu, 0x3F800000u, 0, 0xFFCB4286u, 1, 2, 0, 0})},
            {"seed_plain", bytesOf({0, 0x3F800000u, 0, 2, 0x3F000000u, 0})},
            {"seed_hugerows", bytesOf({0x27BAD581u, 1002, 0, 0x3F800000u, 0, 32, 0x40000000u})}};
}

void checkOrWrite(const std::string& target, const Seeds& seeds) {
    const char* source = std::getenv("CADENZOID_SOURCE");
    ASSERT_NE(source, nullptr) << "CADENZOID_SOURCE is set by CTest";
    const std::filesystem::path dir = std::filesystem::path(source) / "tests/fuzz/corpus" / target;
    const bool write = std::getenv("CADENZOID_WRITE_CORPUS") != nullptr;
    if (write)
        std::filesystem::create_directories(dir);
    for (const auto& [name, bytes] : seeds) {
        const auto file = dir / name;
        if (write) {
            std::ofstream(file, std::ios::binary) << bytes;
            continue;
        }
        std::ifstream in(file, std::ios::binary);
        ASSERT_TRUE(in) << file << " missing; regenerate with CADENZOID_WRITE_CORPUS=1";
        const std::string stored((std::istreambuf_iterator<char>(in)), {});
        EXPECT_EQ(stored, bytes) << file << " is stale";
    }
}

} // namespace

TEST(FuzzCorpus, SeedsMatchTheWriters) {
    PatternContext ctx;
    checkOrWrite("ZoneHandlerFuzz", handlerSeeds(ctx));
    checkOrWrite("ZoneContainerFuzz", containerSeeds(ctx));
    checkOrWrite("TableFuzz", tableSeeds(ctx));
    checkOrWrite("TableXYFuzz", tableXYSeeds(ctx));
}
