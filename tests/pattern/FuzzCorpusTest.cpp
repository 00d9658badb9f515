// Seeds for the fuzz targets, written by our own writers: valid bodies and truncations.
// The test checks the committed corpus matches what the writers produce today; run it
// with CADENZOID_WRITE_CORPUS=1 to regenerate the files after a format change.
#include "PatternTestSupport.h"
#include "pattern/MFChunk.h"
#include "pattern/MFFloatZoneHandler.h"
#include "pattern/MFZone.h"
#include "pattern/MFZoneHandlerContainer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<char>;

Bytes bodyOf(MFChunkableClass& object) {
    MFChunk c;
    c.beginMeasure(120.0f, 44100.0f);
    object.writeChunk(c);
    c.allocateMeasured();
    c.position = 0;
    object.writeChunk(c);
    const char* raw = reinterpret_cast<const char*>(c.data);
    return Bytes(raw, raw + std::size_t(c.capacity()) * 4);
}

void addWithTruncations(std::vector<std::pair<std::string, Bytes>>& seeds, const std::string& stem,
                        const Bytes& body) {
    seeds.push_back({stem, body});
    for (std::size_t cut : {body.size() / 2, body.size() > 3 ? body.size() - 3 : 0})
        seeds.push_back(
            {stem + "_cut" + std::to_string(cut), Bytes(body.begin(), body.begin() + long(cut))});
}

void paint(MFZoneHandlerInterface& lane, int32_t start, int32_t end) {
    MFZone* z = lane.createZone(0);
    z->setRange(start, end);
    lane.addZone(z);
}

std::vector<std::pair<std::string, Bytes>> handlerSeeds(PatternContext& ctx) {
    std::vector<std::pair<std::string, Bytes>> seeds;
    MFFloatZoneHandler lane(ctx.info, 1, true);
    addWithTruncations(seeds, "empty", bodyOf(lane));
    paint(lane, 0, 31);
    paint(lane, 40, 40);
    paint(lane, 127, 127);
    addWithTruncations(seeds, "three", bodyOf(lane));
    const int32_t legacy[] = {0, 2, 0, 0, 1, 2, 0, 0, 5, 9};
    const char* raw = reinterpret_cast<const char*>(legacy);
    seeds.push_back({"legacy", Bytes(raw, raw + sizeof legacy)});
    return seeds;
}

std::vector<std::pair<std::string, Bytes>> containerSeeds(PatternContext& ctx) {
    std::vector<std::pair<std::string, Bytes>> seeds;
    MFZoneHandlerContainer<MFFloatZoneHandler> lane(ctx.info, 1, 12, true);
    addWithTruncations(seeds, "empty12", bodyOf(lane));
    lane.current = 0;
    paint(lane, 0, 31);
    lane.current = 6;
    paint(lane, 1, 2);
    paint(lane, 16, 19);
    paint(lane, 22, 22);
    addWithTruncations(seeds, "loopbar", bodyOf(lane));
    return seeds;
}

void checkOrWrite(const std::string& target,
                  const std::vector<std::pair<std::string, Bytes>>& seeds) {
    const char* source = std::getenv("CADENZOID_SOURCE");
    ASSERT_NE(source, nullptr) << "CADENZOID_SOURCE is set by CTest";
    const std::filesystem::path dir = std::filesystem::path(source) / "tests/fuzz/corpus" / target;
    const bool write = std::getenv("CADENZOID_WRITE_CORPUS") != nullptr;
    if (write)
        std::filesystem::create_directories(dir);
    for (const auto& [name, bytes] : seeds) {
        const auto file = dir / ("seed_" + name);
        if (write) {
            std::ofstream(file, std::ios::binary).write(bytes.data(), long(bytes.size()));
            continue;
        }
        std::ifstream in(file, std::ios::binary);
        ASSERT_TRUE(in) << file << " missing; regenerate with CADENZOID_WRITE_CORPUS=1";
        const Bytes stored((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        EXPECT_EQ(stored, bytes) << file << " is stale";
    }
}

} // namespace

TEST(FuzzCorpus, SeedsMatchTheWriters) {
    PatternContext ctx;
    checkOrWrite("ZoneHandlerFuzz", handlerSeeds(ctx));
    checkOrWrite("ZoneContainerFuzz", containerSeeds(ctx));
}
